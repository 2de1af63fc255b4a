// Textures (.paa, .pac). Its operations arrive with the texture reader.
#pragma once

namespace archivefile {

class VexDLL;

class PacFile {
public:
    explicit PacFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

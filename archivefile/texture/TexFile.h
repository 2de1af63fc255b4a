// Texture index files. Its operations arrive with the texture-index reader.
#pragma once

namespace archivefile {

class VexDLL;

class TexFile {
public:
    explicit TexFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

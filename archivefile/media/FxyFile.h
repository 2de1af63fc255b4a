// Font tables (.fxy). Its operations arrive with the font reader.
#pragma once

namespace archivefile {

class VexDLL;

class FxyFile {
public:
    explicit FxyFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

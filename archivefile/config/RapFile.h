// Binarised configs turned back into text. Its operations arrive with the config decoder.
#pragma once

namespace archivefile {

class VexDLL;

class RapFile {
public:
    explicit RapFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

// Archives (.pbo): reading, extraction and building. Its operations arrive with the archive reader.
#pragma once

namespace archivefile {

class VexDLL;

class ArchiveFile {
public:
    explicit ArchiveFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

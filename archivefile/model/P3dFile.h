// Model headers, kinds and LOD names. Its operations arrive with the model reader.
#pragma once

namespace archivefile {

class VexDLL;

class P3dFile {
public:
    explicit P3dFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

// Config text compiled into a class tree and binarised. Its operations arrive with the config
// compiler.
#pragma once

namespace archivefile {

class VexDLL;

class Rapify {
public:
    explicit Rapify(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

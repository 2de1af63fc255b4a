// Terrain-editor projects. This library does not read them; the root keeps the handler so that every
// tool finds the same set of handlers.
#pragma once

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexDLL;

class ARCHIVEFILE_EXPORT PewFile {
public:
    explicit PewFile(VexDLL* parent) : parent_(parent) {}
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

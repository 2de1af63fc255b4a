// Terrain-editor projects. This library does not read them; the root keeps the handler so that every
// tool finds the same set of handlers.
#pragma once

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexDLL;

/// Terrain-editor projects (.pew): not read by this library; the root keeps the handler.
class ARCHIVEFILE_EXPORT PewFile {
public:
    /// A handler of the root `parent`.
    explicit PewFile(VexDLL* parent) : parent_(parent) {}
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

private:
    VexDLL* parent_;
};

}  // namespace archivefile

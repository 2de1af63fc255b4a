// The root object with the texture-index handler as well.
#pragma once

#include <memory>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/VexDLL.h"

namespace archivefile {

class TexFile;

/// The root with the texture-index handler as well.
class ARCHIVEFILE_EXPORT VexDLLExt : public VexDLL {
public:
    VexDLLExt();
    ~VexDLLExt() override;

    /// The texture-index handler; null when its allocation failed.
    TexFile* texFile() const { return textureIndex_.get(); }

private:
    std::unique_ptr<TexFile> textureIndex_;
};

}  // namespace archivefile

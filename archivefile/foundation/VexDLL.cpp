#include "archivefile/foundation/VexDLL.h"

#include <charconv>

#include "archivefile/animation/RtmFile.h"
#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/Handler.h"
#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/media/FxyFile.h"
#include "archivefile/media/VexSound.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/terrain/PewFile.h"
#include "archivefile/terrain/WrpFile.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TexFile.h"

namespace archivefile {

VexDLL::VexDLL() {
    archive_ = createHandler<ArchiveFile>(this);
    rapFile_ = createHandler<RapFile>(this);
    rapify_ = createHandler<Rapify>(this);
    model_ = createHandler<P3dFile>(this);
    font_ = createHandler<FxyFile>(this);
    terrainProject_ = createHandler<PewFile>(this);
    texture_ = createHandler<PacFile>(this);
    sound_ = createHandler<VexSound>(this);
    world_ = createHandler<WrpFile>(this);
    animation_ = createHandler<RtmFile>(this);
}

VexDLL::~VexDLL() = default;

std::string VexDLL::versionText() {
    // "%.2f" of the version, without the process locale's decimal comma.
    char text[16];
    const auto written = std::to_chars(text, text + sizeof text, static_cast<double>(Version), std::chars_format::fixed, 2);
    return std::string(text, written.ptr);
}

const char* VexDLL::VersionStr() {
    versionString_.Strdup(versionText().c_str());
    return versionString_;
}

const char* VexDLL::buildText() { return ARCHIVEFILE_BUILD_ID; }

VexDLLExt::VexDLLExt() : textureIndex_(createHandler<TexFile>(this)) {}

VexDLLExt::~VexDLLExt() = default;

}  // namespace archivefile

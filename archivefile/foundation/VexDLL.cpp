#include "archivefile/foundation/VexDLL.h"

#include "archivefile/animation/RtmFile.h"
#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/Handler.h"
#include "archivefile/foundation/TextFormat.h"
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

std::string VexDLL::versionText() { return formatText("%.2f", static_cast<double>(Version)); }

const char* VexDLL::VersionStr() {
    versionString_.Format("%.2f", static_cast<double>(Version));
    return versionString_;
}

const char* VexDLL::buildText() { return ARCHIVEFILE_BUILD_ID; }

VexDLLExt::VexDLLExt() : textureIndex_(createHandler<TexFile>(this)) {}

VexDLLExt::~VexDLLExt() = default;

}  // namespace archivefile

// The library's root object: it creates one instance of every format handler and keeps them for
// its lifetime; handlers reach each other through it.
#pragma once

#include <memory>
#include <string>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/GenString.h"

namespace archivefile {

class ArchiveFile;
class RapFile;
class Rapify;
class FxyFile;
class PacFile;
class PewFile;
class P3dFile;
class WrpFile;
class VexSound;
class RtmFile;

/// The library's root: one handler of every kind, kept for the root's lifetime. Handlers reach each
/// other through it; a program makes one root and calls the handlers it hands out.
class ARCHIVEFILE_EXPORT VexDLL {
public:
    /// The library's version.
    static constexpr float Version = 4.11f;

    /// Makes one handler of every kind; destroying the root destroys them.
    VexDLL();
    virtual ~VexDLL();
    VexDLL(const VexDLL&) = delete;
    VexDLL& operator=(const VexDLL&) = delete;

    /// The version as "%.2f" formats it in the "C" locale ("4.11" whatever locale the host program
    /// set); valid until the next call or the root's destruction.
    const char* VersionStr();
    /// The same text as a string.
    static std::string versionText();
    /// The build the library was compiled from (a commit, or "local").
    static const char* buildText();

    /// @name The handlers
    //@{
    /// The handler of each kind; null when its allocation failed.
    ArchiveFile* archiveFile() const { return archive_.get(); }
    RapFile* rapFile() const { return rapFile_.get(); }
    Rapify* rapify() const { return rapify_.get(); }
    FxyFile* fxyFile() const { return font_.get(); }
    PacFile* pacFile() const { return texture_.get(); }
    PewFile* pewFile() const { return terrainProject_.get(); }
    P3dFile* p3dFile() const { return model_.get(); }
    WrpFile* wrpFile() const { return world_.get(); }
    VexSound* vexSound() const { return sound_.get(); }
    RtmFile* rtmFile() const { return animation_.get(); }
    //@}

private:
    GenString versionString_;
    std::unique_ptr<ArchiveFile> archive_;
    std::unique_ptr<RapFile> rapFile_;
    std::unique_ptr<Rapify> rapify_;
    std::unique_ptr<FxyFile> font_;
    std::unique_ptr<PacFile> texture_;
    std::unique_ptr<PewFile> terrainProject_;
    std::unique_ptr<P3dFile> model_;
    std::unique_ptr<WrpFile> world_;
    std::unique_ptr<VexSound> sound_;
    std::unique_ptr<RtmFile> animation_;
};

}  // namespace archivefile

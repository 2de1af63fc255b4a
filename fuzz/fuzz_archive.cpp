// Opens arbitrary bytes as an archive, loads and decodes every entry, lists it, and extracts it into a
// folder three levels below the run's own folder: anything written beside those levels means an entry
// got out of the output folder, and stops the run.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/VexDLL.h"
#include "fuzz/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;

bool quiet(const char*, ...) { return true; }

// Whether `folder` holds nothing but `expected`.
bool holdsOnly(const fs::path& folder, std::initializer_list<const char*> expected) {
    for (const auto& item : fs::directory_iterator(folder)) {
        bool known = false;
        for (const char* name : expected) known = known || item.path().filename() == name;
        if (!known) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::VexDLL root;
    static const ScratchFolder scratch("fuzz_archive");
    const fs::path& base = scratch.path();
    const fs::path output = base / "a" / "b" / "out";
    const fs::path archivePath = base / "in.pbo";
    fs::create_directories(output);
    if (std::FILE* file = std::fopen(archivePath.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }

    using archivefile::ArchiveFile;
    ArchiveFile& archive = *root.archiveFile();
    archive.setConfigOptions(archivefile::Rapify::ExtendedSyntax);
    // Inputs of odd size decode only binarised configs and keep every other entry's bytes.
    const bool keepText = (size & 1) != 0;
    const int opened = archive.OpenPbo(archivePath.c_str(), quiet, 0);
    if (opened == 0 || opened == archivefile::AE_BadSha) {
        for (archivefile::pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
            archive.GetFileData(entry, ArchiveFile::DecodeData | (keepText ? ArchiveFile::KeepTextBytes : 0));
            entry->FreeData();
        }
        archive.ExtractPreOpened(ArchiveFile::DecodeText | (keepText ? ArchiveFile::KeepText : 0), nullptr,
                                 output.c_str(), 0);
        archive.ClosePbo();
    }
    archive.ExtractPbo(archivePath.c_str(), quiet, archivefile::ArchiveFile::ListOnly);

    if (!holdsOnly(base, {"in.pbo", "a"}) || !holdsOnly(base / "a", {"b"}) || !holdsOnly(base / "a" / "b", {"out"}))
        std::abort();
    fs::remove_all(output);
    return 0;
}

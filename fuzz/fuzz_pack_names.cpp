// The files a folder carries about its own archive: the prefix file ($PBOPREFIX$ or PboPrefix.txt,
// with its property lines) and PboName.h naming the archive. The input is split at its first zero
// byte into the two; the folder, with a small config.cpp, is packed, and the archive must land in
// the scratch folder and nowhere else.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string_view>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/VexDLL.h"
#include "fuzz/ScratchFolder.h"

namespace {

namespace fs = std::filesystem;

bool quiet(const char*, ...) { return true; }

void put(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder scratch("fuzz_pack_names");
    static archivefile::VexDLL root;
    const fs::path work = scratch.path() / "w";
    const fs::path folder = work / "mod";
    fs::create_directories(folder);
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t split = input.find('\0');
    // The first byte of the prefix part picks which of the two names the prefix file has.
    const bool upperName = size > 0 && (data[0] & 1) != 0;
    put(folder / (upperName ? "$PBOPREFIX$" : "PboPrefix.txt"), input.substr(0, split));
    if (split != std::string_view::npos) put(folder / "PboName.h", input.substr(split + 1));
    put(folder / "config.cpp", "class AddonInfo { class M { units[] = {}; }; };\n");

    archivefile::ArchiveFile& archive = *root.archiveFile();
    archive.setBuildTime(0);
    const int code = archive.MakePboNew(folder.c_str(), archivefile::ArchiveFile::StyleKern, nullptr, quiet);
    if (code == 0) {
        // A built archive stands beside the folder, under whatever name it was given.
        const fs::path built(archive.builtArchive());
        if (built.parent_path() != work) __builtin_trap();
    }
    archive.ClosePbo();
    std::error_code ignored;
    fs::remove_all(work, ignored);
    return 0;
}

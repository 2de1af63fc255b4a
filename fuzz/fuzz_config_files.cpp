// Config text read from disk, as a build reads it: the input is split at its zero bytes into a main
// file and the files it may include, beside it, in a subfolder and under the include root, so that
// relative and rooted includes, missing files, include cycles and deep chains are all reached. The
// first byte chooses the compile options.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string_view>

#include "archivefile/config/Rapify.h"
#include "fuzz/ScratchFolder.h"

namespace {

bool silent(const char*, ...) { return true; }

// Where each part of the input goes, in order; the last one is below the include root, named
// "\x\tag\c.hpp" from a config.
constexpr const char* placements[] = {"mod/config.cpp", "mod/a.hpp", "mod/sub/b.hpp", "root/x/tag/c.hpp"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder scratch("fuzz_config_files");
    static const bool made = [] {
        std::filesystem::create_directories(scratch.path() / "mod/sub");
        std::filesystem::create_directories(scratch.path() / "root/x/tag");
        return true;
    }();
    (void)made;
    if (size == 0) return 0;
    constexpr int choices =
        archivefile::Rapify::ForceKern | archivefile::Rapify::ExtendedSyntax | archivefile::Rapify::KernByDefault;
    const int options = data[0] & choices;
    std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
    for (const char* placement : placements) {
        const std::size_t end = rest.find('\0');
        const std::string_view part = rest.substr(0, end);
        std::ofstream(scratch.path() / placement, std::ios::binary | std::ios::trunc).write(part.data(), part.size());
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }

    archivefile::Rapify compiler(nullptr);
    compiler.SetIncludeRoot((scratch.path() / "root").c_str());
    const int code = compiler.OpenRapText((scratch.path() / "mod/config.cpp").c_str(), options, silent);
    compiler.ErrorString(code);
    if (code == 0) compiler.rap_FindEmbeddedClass("Main");
    compiler.Close();
    return 0;
}

// A binarised config opened by name and its text written back to disk, the way vex decodes a file:
// arbitrary bytes go through the file's loading, the decoder and the text's temporary-file write.
// The last byte picks the indentation and whether array-append entries are read.
#include <cstddef>
#include <cstdint>
#include <fstream>

#include "archivefile/config/RapFile.h"
#include "fuzz/ScratchFolder.h"

namespace {
bool quiet(const char*, ...) { return true; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder scratch("fuzz_rapfile_open");
    const std::filesystem::path input = scratch.path() / "config.bin";
    const std::filesystem::path output = scratch.path() / "config.cpp";
    std::ofstream(input, std::ios::binary | std::ios::trunc).write(reinterpret_cast<const char*>(data), size);

    archivefile::RapFile rap(nullptr);
    rap.SetCallBack(quiet);
    const int last = size > 0 ? data[size - 1] : 0;
    rap.SetTabChar((last & 1) != 0);
    if (rap.OpenRap(input.c_str(), last & archivefile::RapFile::ExtendedSyntax) == 0) {
        // What was decoded is what lands on disk, byte for byte.
        const std::string decoded(rap.decodedText());
        if (rap.WriteDecodedText(output.c_str()) != 0) __builtin_trap();
        std::ifstream written(output, std::ios::binary);
        const std::string back((std::istreambuf_iterator<char>(written)), std::istreambuf_iterator<char>());
        if (back != decoded) __builtin_trap();
    }
    rap.Close();
    return 0;
}

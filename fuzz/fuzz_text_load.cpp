// Loads arbitrary bytes as a text file: byte-order marks, embedded zeros, odd sizes.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/VexFileIO.h"
#include "fuzz/ScratchFolder.h"

namespace {
bool quiet(const char*, ...) { return true; }
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ScratchFolder scratch("fuzz_text_load");
    static const std::string file = (scratch.path() / "text").string();
    if (std::FILE* out = std::fopen(file.c_str(), "wb")) {
        std::fwrite(data, 1, size, out);
        std::fclose(out);
    }
    archivefile::VexFileIO stream;
    stream.SetCallBack(quiet);
    archivefile::guarded(stream, [&] {
        if (!stream.OpenFile(file.c_str(), nullptr, true)) return;
        // Walk the text as the config reader does: zero-terminated, within the loaded size.
        while (!stream.Eof()) stream.ReadByte();
    });
    std::vector<unsigned char> image(data, data + size);
    image.push_back(0);
    image.push_back(0);
    archivefile::FileStringA::fs_RemoveBom(image);
    return 0;
}

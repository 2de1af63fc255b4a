// generate_info_folder FOLDER [FILES]: writes FILES (10,000 by default) small files of every kind
// that `vex info` tells apart, spread over folders of a hundred, for timing `vex info -r FOLDER`:
// editable and binarised models, texture indexes, fonts of both layouts, binarised configs,
// archives, textures, sounds and text. Every file is made here, byte by byte.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/MlodBytes.h"
#include "bench/SampleFiles.h"

namespace {

using archivefile::bench::MlodBytes;

std::string number(std::int32_t value) {
    std::string out;
    MlodBytes::i32(out, value);
    return out;
}

// One file of each kind; `n` varies what can vary.
std::string binarisedModel(int n) {
    static const int kinds[] = {7, 40, 43, 47, 48, 49, 50, 52, 56};
    const int kind = kinds[n % 9];
    std::string out = "ODOL" + number(kind) + number(3);
    if (kind >= 40) out += number(0x3F800000) + number(0x551184E7) + number(0x58635FA9);
    return out + std::string(static_cast<std::size_t>(200 + n % 300), '\x11');
}

std::string rap(int) {
    return std::string("\0raP\0\0\0\0\x08\0\0\0\x1E\0\0\0\0\x01\x01\x02x\0\x05\0\0\0\x1E\0\0\0\0\0\0\0", 34);
}

std::string archive(int n) {
    const std::string data = "file number " + std::to_string(n);
    std::string out = "readme.txt";
    out += '\0';
    out += number(0) + number(0) + number(0) + number(1700000000) + number(static_cast<std::int32_t>(data.size()));
    return out + std::string(21, '\0') + data;
}

std::string oldFont(int) { return std::string(2688, 'F'); }
std::string newFont(int) { return "VXFo" + number(257) + std::string(6496, '\x02'); }
std::string texture(int) { return std::string("\x01\xffGGATCGVA\x04\0\0\0\x80\x80\x80\xff", 18) + std::string(4096, '\x33'); }
std::string sound(int) { return "WSS0" + number(0) + std::string(18, '\0') + std::string(2000, '\x40'); }
std::string text(int n) { return "// notes " + std::to_string(n) + "\nvalue = " + std::to_string(n * 7) + ";\n"; }
std::string editableModel(int) { return archivefile::bench::sampleModel(); }
std::string textureIndex(int) { return archivefile::bench::sampleTextureIndex(); }

struct Kind {
    const char* extension;
    std::function<std::string(int)> bytes;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: generate_info_folder FOLDER [FILES]\n", stderr);
        return 2;
    }
    const int files = argc > 2 ? std::atoi(argv[2]) : 10000;
    const std::vector<Kind> kinds{
        {".p3d", editableModel}, {".p3d", binarisedModel}, {".bin", textureIndex}, {".fxy", oldFont},
        {".fxy", newFont},       {".bin", rap},            {".pbo", archive},      {".paa", texture},
        {".wss", sound},         {".hpp", text},
    };
    const std::filesystem::path folder = argv[1];
    for (int n = 0; n < files; ++n) {
        const Kind& kind = kinds[static_cast<std::size_t>(n) % kinds.size()];
        const auto path = folder / ("part" + std::to_string(n / 100)) / ("file" + std::to_string(n) + kind.extension);
        std::filesystem::create_directories(path.parent_path());
        const std::string bytes = kind.bytes(n);
        std::ofstream out(path, std::ios::binary);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out) {
            std::fprintf(stderr, "generate_info_folder: cannot write %s\n", path.c_str());
            return 1;
        }
    }
    std::printf("%s: %d files; time with: vex info -r %s\n", folder.c_str(), files, folder.c_str());
    return 0;
}

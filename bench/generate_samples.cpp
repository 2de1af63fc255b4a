// generate_samples SAMPLES-FOLDER: writes the model and the texture index of the demo mod
// (mod/data/lamp.p3d and mod/data/textures.bin) from the bytes in SampleFiles.h.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/SampleFiles.h"

namespace {

bool write(const std::filesystem::path& file, const std::string& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        std::fprintf(stderr, "generate_samples: cannot write %s\n", file.c_str());
        return false;
    }
    std::printf("%s: %zu bytes\n", file.c_str(), bytes.size());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: generate_samples SAMPLES-FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path data = std::filesystem::path(argv[1]) / "mod" / "data";
    const bool written = write(data / "lamp.p3d", archivefile::bench::sampleModel()) &&
                         write(data / "textures.bin", archivefile::bench::sampleTextureIndex());
    return written ? 0 : 1;
}

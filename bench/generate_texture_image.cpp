// generate_texture_image OUT.png WIDTH HEIGHT [--opaque]: writes a painted-looking PNG made here, for
// timing `vex texture from-png` and for the sample in samples/.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/TextureImageGenerator.h"
#include "tools/vex/PngImage.h"

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fputs("usage: generate_texture_image OUT.png WIDTH HEIGHT [--opaque]\n", stderr);
        return 2;
    }
    const auto width = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
    const auto height = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    const bool opaque = argc > 4 && std::strcmp(argv[4], "--opaque") == 0;
    if (width == 0 || height == 0 || width > 16384 || height > 16384) {
        std::fputs("generate_texture_image: sides from 1 to 16384\n", stderr);
        return 2;
    }
    std::string error;
    if (!vex::PngImage::write(argv[1], archivefile::bench::paintedImage(width, height, !opaque), error)) {
        std::fprintf(stderr, "generate_texture_image: %s\n", error.c_str());
        return 1;
    }
    return 0;
}

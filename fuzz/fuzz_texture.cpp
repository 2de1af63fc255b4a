// Reads arbitrary bytes as a texture: any type word, taggs, palette count, mipmap records and blocks,
// each block expanded as the reader does; every mipmap that reads is then decoded into an image. Every
// input must end in a code, within time and memory bounded by its size.
#include <cstddef>
#include <cstdint>

#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TextureImage.h"

namespace {
bool quiet(const char*, ...) { return true; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::PacFile texture(nullptr);
    if (texture.Open(data, static_cast<int>(size), quiet) == 0) {
        const archivefile::PacFile::MipMaps& mipmaps = texture.mipMaps();
        for (const archivefile::PacFile::MipMap* m = mipmaps.GetFirst(); m != nullptr; m = mipmaps.GetNext(m)) {
            archivefile::TextureImage image;
            texture.decodeImage(*m, image, quiet);
        }
    }
    texture.Close();
    return 0;
}

// Images made here for texture tests, benchmarks and the sample: soft gradients, a few discs and fine
// grain, the mix of smooth areas and detail that painted textures have, with an alpha channel that
// fades out towards the corners.
#pragma once

#include <cstdint>

#include "archivefile/texture/TextureImage.h"

namespace archivefile::bench {

// The same size and seed always give the same pixels. Without alpha every pixel is opaque.
TextureImage paintedImage(std::uint32_t width, std::uint32_t height, bool alpha, std::uint32_t seed = 1);

}  // namespace archivefile::bench

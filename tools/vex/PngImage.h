// PNG files in and out of vex, as 8-bit RGBA images. "-" names standard output for a PNG written.
#pragma once

#include <string>

#include "archivefile/texture/TextureImage.h"

namespace vex {

class PngImage {
public:
    // Any PNG (grey, palette, 16-bit, interlaced, with or without transparency) as RGBA; false with the
    // reason, in which the file is `name`, in `error`. Images wider or higher than `largestSide` are
    // refused before they are decoded.
    static bool read(const std::string& path, const std::string& name, archivefile::TextureImage& image,
                     unsigned largestSide, std::string& error);
    // The image as an 8-bit RGBA PNG; an earlier file is replaced only once the new one is complete.
    static bool write(const std::string& path, const archivefile::TextureImage& image, std::string& error);
};

}  // namespace vex

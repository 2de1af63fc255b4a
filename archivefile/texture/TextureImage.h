// An image of 8-bit red, green, blue and alpha, rows from the top: what a texture's mipmap decodes to and
// what a texture is made from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// An RGBA image, 8 bits a channel, rows from the top.
class ARCHIVEFILE_EXPORT TextureImage {
public:
    TextureImage() = default;
    /// An image of transparent black.
    TextureImage(std::uint32_t width, std::uint32_t height);

    /// The width and height in pixels.
    std::uint32_t width() const { return width_; }
    /// The height in pixels.
    std::uint32_t height() const { return height_; }
    /// @name Pixels
    //@{
    /// All pixels, four bytes each; or the pixel at (x, y), unchecked.
    std::span<std::uint8_t> pixels() { return pixels_; }
    std::span<const std::uint8_t> pixels() const { return pixels_; }
    std::uint8_t* pixel(std::uint32_t x, std::uint32_t y) { return &pixels_[(std::size_t{y} * width_ + x) * 4]; }
    const std::uint8_t* pixel(std::uint32_t x, std::uint32_t y) const {
        return &pixels_[(std::size_t{y} * width_ + x) * 4];
    }
    //@}

    /// Whether every pixel's alpha is 255.
    bool isOpaque() const;

    /// The image scaled to `width` x `height`, each at most the image's own and either equal or half: a
    /// tent filter over four source pixels, applied in linear light to colours weighted by their alpha,
    /// so that mipmaps keep their brightness and transparent pixels lend no colour to their neighbours.
    /// Textures repeat across surfaces, so the filter wraps round at the edges.
    TextureImage halved(std::uint32_t width, std::uint32_t height) const;

private:
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::vector<std::uint8_t> pixels_;
};

}  // namespace archivefile

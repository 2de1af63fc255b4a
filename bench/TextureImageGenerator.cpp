#include "bench/TextureImageGenerator.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace archivefile::bench {

namespace {

std::uint32_t hashed(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
    std::uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    return h ^ h >> 12;
}

std::uint8_t channel(double value) { return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

}  // namespace

TextureImage paintedImage(std::uint32_t width, std::uint32_t height, bool alpha, std::uint32_t seed) {
    struct Disc {
        double x, y, radius, r, g, b;
    };
    const Disc discs[] = {{0.3, 0.35, 0.2, 220, 60, 40}, {0.7, 0.6, 0.25, 40, 90, 200}, {0.45, 0.8, 0.12, 240, 210, 60}};
    TextureImage image(width, height);
    const double tau = 2 * std::numbers::pi;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const double u = (x + 0.5) / width;
            const double v = (y + 0.5) / height;
            double r = 90 + 70 * std::sin(tau * u);
            double g = 120 + 50 * std::cos(tau * v);
            double b = 150 - 90 * (u + v) / 2;
            for (const Disc& disc : discs) {
                const double distance = std::hypot(u - disc.x, v - disc.y) / disc.radius;
                const double cover = std::clamp((1 - distance) * 8, 0.0, 1.0);
                r += (disc.r - r) * cover;
                g += (disc.g - g) * cover;
                b += (disc.b - b) * cover;
            }
            const double grain = static_cast<double>(hashed(x, y, seed) % 25) - 12;
            std::uint8_t* p = image.pixel(x, y);
            p[0] = channel(r + grain);
            p[1] = channel(g + grain);
            p[2] = channel(b + grain);
            const double corner = std::hypot(u - 0.5, v - 0.5) / std::numbers::sqrt2 * 2;
            p[3] = alpha ? channel(255 * std::clamp((1 - corner) * 3, 0.0, 1.0)) : 255;
        }
    }
    return image;
}

}  // namespace archivefile::bench

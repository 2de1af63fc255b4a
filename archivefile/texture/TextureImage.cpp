#include "archivefile/texture/TextureImage.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace archivefile {

namespace {

// sRGB values in linear light, and back. The way back has a table fine enough that every one of the
// 256 values is reached from its own linear value.
const std::array<float, 256>& linearOf() {
    static const std::array<float, 256> table = [] {
        std::array<float, 256> values{};
        for (int i = 0; i < 256; ++i) {
            const double c = i / 255.0;
            values[static_cast<std::size_t>(i)] =
                static_cast<float>(c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4));
        }
        return values;
    }();
    return table;
}

constexpr int EncodeSteps = 65535;

const std::vector<std::uint8_t>& srgbOf() {
    static const std::vector<std::uint8_t> table = [] {
        std::vector<std::uint8_t> values(EncodeSteps + 1);
        for (int i = 0; i <= EncodeSteps; ++i) {
            const double l = static_cast<double>(i) / EncodeSteps;
            const double c = l <= 0.0031308 ? l * 12.92 : 1.055 * std::pow(l, 1 / 2.4) - 0.055;
            values[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(std::lround(std::clamp(c, 0.0, 1.0) * 255));
        }
        return values;
    }();
    return table;
}

struct Linear {
    float r, g, b, a;  // colour weighted by alpha
};

Linear operator*(float weight, const Linear& p) { return {weight * p.r, weight * p.g, weight * p.b, weight * p.a}; }
Linear operator+(const Linear& p, const Linear& q) { return {p.r + q.r, p.g + q.g, p.b + q.b, p.a + q.a}; }

// Output `i` of a line of `size` values halved, or copied when not halved: taps 1, 3, 3, 1 (in
// eighths) centred between source values 2i and 2i + 1, wrapping round at the ends.
template <class Source>
Linear filtered(Source source, std::uint32_t i, std::uint32_t size, bool halve) {
    if (!halve) return source(i);
    const std::uint32_t at = 2 * i;
    const std::uint32_t before = (at + size - 1) % size;
    const std::uint32_t after = (at + 1) % size;
    const std::uint32_t beyond = (at + 2) % size;
    return 0.125f * source(before) + 0.375f * source(at) + 0.375f * source(after) + 0.125f * source(beyond);
}

}  // namespace

TextureImage::TextureImage(std::uint32_t width, std::uint32_t height)
    : width_(width), height_(height), pixels_(std::size_t{width} * height * 4, 0) {}

bool TextureImage::isOpaque() const {
    for (std::size_t i = 3; i < pixels_.size(); i += 4)
        if (pixels_[i] != 255) return false;
    return true;
}

TextureImage TextureImage::halved(std::uint32_t width, std::uint32_t height) const {
    const bool halveRows = width != width_;
    const bool halveColumns = height != height_;
    const std::array<float, 256>& linear = linearOf();
    const std::vector<std::uint8_t>& srgb = srgbOf();

    // Rows first, from the pixels into linear light; then columns of that into the result.
    std::vector<Linear> rows(std::size_t{width} * height_);
    for (std::uint32_t y = 0; y < height_; ++y) {
        const std::uint8_t* line = pixel(0, y);
        const auto source = [&](std::uint32_t x) {
            const std::uint8_t* p = line + std::size_t{x} * 4;
            const float alpha = p[3] / 255.0f;
            return Linear{alpha * linear[p[0]], alpha * linear[p[1]], alpha * linear[p[2]], alpha};
        };
        for (std::uint32_t x = 0; x < width; ++x)
            rows[std::size_t{y} * width + x] = filtered(source, x, width_, halveRows);
    }

    TextureImage result(width, height);
    const auto encode = [&srgb](float value) {
        return srgb[static_cast<std::size_t>(std::lround(std::clamp(value, 0.0f, 1.0f) * EncodeSteps))];
    };
    for (std::uint32_t y = 0; y < height; ++y) {
        // A row of the result at a time, so that the filter reads along the rows of `rows`.
        for (std::uint32_t x = 0; x < width; ++x) {
            const auto source = [&](std::uint32_t row) { return rows[std::size_t{row} * width + x]; };
            const Linear p = filtered(source, y, height_, halveColumns);
            std::uint8_t* out = result.pixel(x, y);
            const float alpha = std::clamp(p.a, 0.0f, 1.0f);
            const float unweight = alpha > 0 ? 1 / p.a : 0;
            out[0] = encode(p.r * unweight);
            out[1] = encode(p.g * unweight);
            out[2] = encode(p.b * unweight);
            out[3] = static_cast<std::uint8_t>(std::lround(alpha * 255));
        }
    }
    return result;
}

}  // namespace archivefile

// Textures to and from RGBA images: mipmaps decoded for viewing, and images made into textures with their
// mipmaps, in the layouts the reader expects. DXT blocks go through libsquish both ways.
#include <squish.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TextureImage.h"

namespace archivefile {

namespace {

constexpr std::uint32_t SmallestSide = 4;
constexpr std::uint32_t LargestSide = 16384;  // the largest power of two a record's 15-bit width holds
constexpr std::size_t LargestBlock = 0xFFFFFF;  // a record's 24-bit size
constexpr std::uint64_t RecordHeader = 7;     // width, height and size
constexpr std::uint64_t ValueTaggSize = 16;   // name, length and value
constexpr std::uint64_t OffsetTaggSize = 76;  // name, length and sixteen offsets

bool isDxt(int type) { return type == PacFile::TypeDxt1 || type == PacFile::TypeDxt5; }

int squishFlags(int type, PacFile::Quality quality) {
    const int format = type == PacFile::TypeDxt1 ? squish::kDxt1 : squish::kDxt5;
    switch (quality) {
    case PacFile::Quality::Fast: return format | squish::kColourRangeFit;
    case PacFile::Quality::Best: return format | squish::kColourIterativeClusterFit;
    case PacFile::Quality::Normal: break;
    }
    return format | squish::kColourClusterFit;
}

std::size_t dxtBytes(int type, std::uint32_t width, std::uint32_t height) {
    const std::size_t blocks = std::size_t{(width + 3) / 4} * ((height + 3) / 4);
    return blocks * (type == PacFile::TypeDxt1 ? 8 : 16);
}

std::uint16_t word(std::span<const std::uint8_t> bytes, std::size_t i) {
    return static_cast<std::uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
}

// n bits widened to 8 so that 0 stays 0 and the largest value becomes 255.
std::uint8_t widened(unsigned value, int bits) {
    return static_cast<std::uint8_t>(bits == 4 ? value * 17 : value << 3 | value >> 2);
}

// 8 bits narrowed to n, rounded to the nearest.
unsigned narrowed(std::uint8_t value, unsigned largest) { return (value * largest + 127) / 255; }

std::vector<std::uint8_t> encodePixels(const TextureImage& image, int type, PacFile::Quality quality) {
    const std::span<const std::uint8_t> rgba = image.pixels();
    const std::size_t count = rgba.size() / 4;
    std::vector<std::uint8_t> out;
    if (isDxt(type)) {
        out.resize(dxtBytes(type, image.width(), image.height()));
        squish::CompressImage(rgba.data(), static_cast<int>(image.width()), static_cast<int>(image.height()),
                              out.data(), squishFlags(type, quality));
        return out;
    }
    out.resize(count * 2);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t* p = &rgba[i * 4];
        unsigned value = 0;
        if (type == PacFile::TypeArgb4444) {
            value = narrowed(p[3], 15) << 12 | narrowed(p[0], 15) << 8 | narrowed(p[1], 15) << 4 | narrowed(p[2], 15);
        } else if (type == PacFile::TypeArgb1555) {
            value = (p[3] >= 128 ? 0x8000u : 0u) | narrowed(p[0], 31) << 10 | narrowed(p[1], 31) << 5 |
                    narrowed(p[2], 31);
        } else {
            // Intensity in the low byte, alpha in the high one; colour becomes its luma.
            const unsigned luma = (2126 * p[0] + 7152 * p[1] + 722 * p[2] + 5000) / 10000;
            value = static_cast<unsigned>(p[3]) << 8 | luma;
        }
        out[2 * i] = static_cast<std::uint8_t>(value);
        out[2 * i + 1] = static_cast<std::uint8_t>(value >> 8);
    }
    return out;
}

// Average and largest colour of the image, channel by channel, as 0xAARRGGBB.
std::pair<std::uint32_t, std::uint32_t> averageAndLargest(const TextureImage& image) {
    const std::span<const std::uint8_t> rgba = image.pixels();
    std::uint64_t sum[4] = {};
    std::uint8_t largest[4] = {};
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        for (std::size_t c = 0; c < 4; ++c) {
            sum[c] += rgba[i + c];
            largest[c] = std::max(largest[c], rgba[i + c]);
        }
    }
    const std::uint64_t count = std::max<std::uint64_t>(rgba.size() / 4, 1);
    const auto packed = [](auto r, auto g, auto b, auto a) {
        return static_cast<std::uint32_t>(a) << 24 | static_cast<std::uint32_t>(r) << 16 |
               static_cast<std::uint32_t>(g) << 8 | static_cast<std::uint32_t>(b);
    };
    const auto mean = [count](std::uint64_t total) { return (total + count / 2) / count; };
    return {packed(mean(sum[0]), mean(sum[1]), mean(sum[2]), mean(sum[3])),
            packed(largest[0], largest[1], largest[2], largest[3])};
}

}  // namespace

int PacFile::decodeImage(const MipMap& mipmap, TextureImage& image, LogCallback callback) {
    sendLinesTo(callback);
    const int result = guarded(
        stream_,
        [&] {
            const std::uint32_t width = mipmap.width;
            const std::uint32_t height = mipmap.height;
            const std::span<const std::uint8_t> pixels = mipmap.pixels();
            if (width == 0 || height == 0)
                stream_.Throw(UnknownFormat, "PacFile: a %u x %u mipmap has no pixels\r\n", width, height);
            if (isDxt(type_)) {
                const std::size_t needed = dxtBytes(type_, width, height);
                // A side under 4 still takes whole blocks, more than the real size the reader expands to
                // (a 2 x 2 DXT1 mipmap is 2 bytes by it, one block of 8 on disk): a block stored as it is
                // holds them all.
                const std::span<const std::uint8_t> blocks =
                    pixels.size() < needed && !mipmap.compressed ? mipmap.stored() : pixels;
                if (blocks.size() < needed)
                    stream_.Throw(UnknownFormat, "PacFile: a %u x %u mipmap holds %zu bytes of DXT blocks, not %zu\r\n",
                                  width, height, blocks.size(), needed);
                image = TextureImage(width, height);
                squish::DecompressImage(image.pixels().data(), static_cast<int>(width), static_cast<int>(height),
                                        blocks.data(), type_ == TypeDxt1 ? squish::kDxt1 : squish::kDxt5);
                return;
            }
            if (type_ != TypeArgb4444 && type_ != TypeArgb1555 && type_ != TypeGrey && type_ != TypeIndexed)
                stream_.Throw(UnknownFormat, "PacFile: %s textures cannot be turned into images\r\n", GetTypeStr(type_));
            const std::size_t count = std::size_t{width} * height;
            // Expanded blocks always have the real size; this guards the loop below all the same.
            if (pixels.size() < count * (type_ == TypeIndexed ? 1 : 2)) raise(BadCompression);
            image = TextureImage(width, height);
            std::uint8_t* out = image.pixels().data();
            for (std::size_t i = 0; i < count; ++i, out += 4) {
                if (type_ == TypeIndexed) {
                    const unsigned index = pixels[i];
                    if (index >= palette_.count)
                        stream_.Throw(UnknownFormat, "PacFile: pixel %zu names colour %u of a palette of %u\r\n", i,
                                      index, static_cast<unsigned>(palette_.count));
                    std::memcpy(out, palette_.triplets + 3 * index, 3);
                    out[3] = 255;
                    continue;
                }
                const unsigned value = word(pixels, i);
                if (type_ == TypeArgb4444) {
                    out[0] = widened(value >> 8 & 15, 4);
                    out[1] = widened(value >> 4 & 15, 4);
                    out[2] = widened(value & 15, 4);
                    out[3] = widened(value >> 12, 4);
                } else if (type_ == TypeArgb1555) {
                    out[0] = widened(value >> 10 & 31, 5);
                    out[1] = widened(value >> 5 & 31, 5);
                    out[2] = widened(value & 31, 5);
                    out[3] = value & 0x8000 ? 255 : 0;
                } else {
                    out[0] = out[1] = out[2] = static_cast<std::uint8_t>(value);
                    out[3] = static_cast<std::uint8_t>(value >> 8);
                }
            }
        },
        [] {});
    sendLinesTo(callback_);
    return result;
}

bool PacFile::canBuildFrom(std::uint32_t width, std::uint32_t height) {
    const auto fits = [](std::uint32_t side) {
        return std::has_single_bit(side) && side >= SmallestSide && side <= LargestSide;
    };
    return fits(width) && fits(height);
}

int PacFile::buildFromImage(const TextureImage& image, int type, Quality quality, LogCallback callback) {
    return replaceWith(callback, [&] {
        if (!isDxt(type) && type != TypeArgb4444 && type != TypeArgb1555 && type != TypeGrey)
            stream_.Throw(UnknownFormat, "PacFile: textures are made as DXT1, DXT5, RGB4, RGB5 or GREY, not %s\r\n",
                          GetTypeStr(type));
        if (!canBuildFrom(image.width(), image.height()))
            stream_.Throw(UnknownFormat,
                          "PacFile: the image is %u x %u; a texture's sides are powers of two from 4 to 16384\r\n",
                          image.width(), image.height());
        type_ = static_cast<std::uint16_t>(type);
        const auto [average, largest] = averageAndLargest(image);
        AVGC_ = {1, average};
        MAXC_ = {1, largest};
        if (!image.isOpaque()) FLAG_ = {1, 1};
        OFFS_.present = 1;

        // Everything before the first record: type word, taggs and an empty palette's count.
        std::uint64_t position = 2 + ValueTaggSize * (FLAG_.present ? 3 : 2) + OffsetTaggSize + 2;
        BlockCoder coder;
        TextureImage smaller;
        const TextureImage* level = &image;
        while (true) {
            std::vector<std::uint8_t> pixels = encodePixels(*level, type, quality);
            // DXT blocks are stored as they are unless LZO shrinks them; the other types are always
            // LZSS, which the reader takes them to be when the width's top bit is clear.
            const bool lzss = !isDxt(type);
            const std::int64_t packed = coder.compress(pixels, lzss ? BlockCoder::LzssFlag : BlockCoder::LzoFlag);
            MipMap mipmap;
            mipmap.width = static_cast<std::uint16_t>(level->width());
            mipmap.height = static_cast<std::uint16_t>(level->height());
            mipmap.compressed = !lzss && packed > 0 && static_cast<std::uint64_t>(packed) < pixels.size();
            std::vector<std::uint8_t> stored = lzss || mipmap.compressed
                                                   ? std::vector<std::uint8_t>(coder.output().begin(), coder.output().end())
                                                   : pixels;
            if (stored.size() > LargestBlock)
                stream_.Throw(UnknownFormat, "PacFile: the %u x %u mipmap takes %zu bytes, more than a record holds (%zu)\r\n",
                              level->width(), level->height(), stored.size(), LargestBlock);
            OFFS_.offsets[static_cast<std::size_t>(OFFS_.count++)] = static_cast<std::uint32_t>(position);
            position += RecordHeader + stored.size();
            mipmap.setBlock(std::move(stored), pixels);
            mipMaps_.AddChain(std::move(mipmap));
            if (level->width() == SmallestSide && level->height() == SmallestSide) break;
            smaller = level->halved(std::max(SmallestSide, level->width() / 2),
                                    std::max(SmallestSide, level->height() / 2));
            level = &smaller;
        }
        return 0;
    });
}

}  // namespace archivefile

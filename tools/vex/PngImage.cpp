#include "tools/vex/PngImage.h"

#include <spng.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/VexFileIO.h"

namespace vex {

namespace {

using Context = std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)>;

// Decoded PNGs are mostly looked at and painted over, then thrown away: the fastest compression level
// with one fixed filter writes a 2048 x 2048 image about eight times faster than the default settings,
// for files a few percent larger.
constexpr int CompressionLevel = 1;
constexpr int FilterChoice = SPNG_FILTER_CHOICE_UP;

// Bounds for hostile files: no chunk, nor all the chunks kept together, may claim more than this.
constexpr std::size_t ChunkLimit = 64u << 20;

// Deflate gives at most 1032 bytes for each byte it reads, so a file shorter than its rows divided by
// this cannot hold them: such a header is refused before the image it claims is allocated.
constexpr std::uint64_t LargestDeflateRatio = 1032;

// vex says itself why an output cannot be made.
bool silent(const char*, ...) { return true; }

// The whole file, or false with the reason in `error`.
bool readAll(const std::string& path, const std::string& name, std::vector<unsigned char>& bytes, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    if (file) bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) error = "cannot read " + name;
    return error.empty();
}

}  // namespace

bool PngImage::read(const std::string& path, const std::string& name, archivefile::TextureImage& image,
                    unsigned largestSide, std::string& error) {
    std::vector<unsigned char> bytes;
    if (!readAll(path, name, bytes, error)) return false;
    Context context(spng_ctx_new(0), spng_ctx_free);
    if (!context) {
        error = "out of memory";
        return false;
    }
    spng_ihdr header{};
    std::size_t size = 0;
    int status = spng_set_chunk_limits(context.get(), ChunkLimit, ChunkLimit);
    if (status == 0) status = spng_set_png_buffer(context.get(), bytes.data(), bytes.size());
    if (status == 0) status = spng_get_ihdr(context.get(), &header);
    if (status == 0 && (header.width > largestSide || header.height > largestSide)) {
        error = name + " is " + std::to_string(header.width) + " x " + std::to_string(header.height) +
                ", larger than any texture (" + std::to_string(largestSide) + " a side)";
        return false;
    }
    std::size_t rows = 0;
    if (status == 0) status = spng_decoded_image_size(context.get(), SPNG_FMT_PNG, &rows);
    // Each row begins with its filter byte.
    if (status == 0 && (rows + header.height) / LargestDeflateRatio > bytes.size()) {
        error = name + " is not a PNG that can be read: it is too short for an image of " +
                std::to_string(header.width) + " x " + std::to_string(header.height);
        return false;
    }
    if (status == 0) status = spng_decoded_image_size(context.get(), SPNG_FMT_RGBA8, &size);
    if (status == 0) {
        image = archivefile::TextureImage(header.width, header.height);
        status = spng_decode_image(context.get(), image.pixels().data(), size, SPNG_FMT_RGBA8, SPNG_DECODE_TRNS);
    }
    if (status != 0) {
        error = name + " is not a PNG that can be read: " + spng_strerror(status);
        return false;
    }
    return true;
}

bool PngImage::write(const std::string& path, const archivefile::TextureImage& image, std::string& error) {
    Context context(spng_ctx_new(SPNG_CTX_ENCODER), spng_ctx_free);
    if (!context) {
        error = "out of memory";
        return false;
    }
    spng_ihdr header{};
    header.width = image.width();
    header.height = image.height();
    header.bit_depth = 8;
    header.color_type = SPNG_COLOR_TYPE_TRUECOLOR_ALPHA;
    int status = spng_set_option(context.get(), SPNG_ENCODE_TO_BUFFER, 1);
    if (status == 0) status = spng_set_option(context.get(), SPNG_IMG_COMPRESSION_LEVEL, CompressionLevel);
    if (status == 0) status = spng_set_option(context.get(), SPNG_FILTER_CHOICE, FilterChoice);
    if (status == 0) status = spng_set_ihdr(context.get(), &header);
    if (status == 0)
        status = spng_encode_image(context.get(), image.pixels().data(), image.pixels().size(), SPNG_FMT_PNG,
                                   SPNG_ENCODE_FINALIZE);
    std::size_t length = 0;
    const std::unique_ptr<void, decltype(&std::free)> png(
        status == 0 ? spng_get_png_buffer(context.get(), &length, &status) : nullptr, std::free);
    if (status != 0 || !png) {
        error = std::string("cannot make the PNG: ") + spng_strerror(status);
        return false;
    }
    if (path == "-") {
        if (std::fwrite(png.get(), 1, length, stdout) != length || std::fflush(stdout) != 0) {
            error = "cannot write to standard output";
            return false;
        }
        return true;
    }
    archivefile::VexFileIO out;
    out.SetCallBack(silent);
    try {
        if (!out.CreateFileA(path.c_str())) {
            error = "cannot create " + path;
            return false;
        }
        out.WriteBlock(png.get(), length);
        out.CloseOutput();
    } catch (archivefile::Generic_Errors) {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

}  // namespace vex

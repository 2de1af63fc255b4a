#include "archivefile/texture/TextureImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "archivefile/texture/PacFile.h"
#include "bench/TextureImageGenerator.h"
#include "tests/support/TempFolder.h"
#include "tests/texture/PacBytes.h"

using namespace archivefile;
using archivefile::testing::PacBytes;
using archivefile::testing::TempFolder;
using archivefile::testing::collect;
using archivefile::testing::lines;
using archivefile::testing::packed;

namespace {

TextureImage imageOf(std::uint32_t width, std::uint32_t height, std::vector<std::uint8_t> rgba) {
    TextureImage image(width, height);
    std::copy(rgba.begin(), rgba.end(), image.pixels().begin());
    return image;
}

std::vector<std::uint8_t> pixelsOf(const TextureImage& image) { return {image.pixels().begin(), image.pixels().end()}; }

// Largest difference of any channel (or of alpha alone) between two images of one size.
int largestError(const TextureImage& a, const TextureImage& b, bool alphaOnly = false) {
    int largest = 0;
    for (std::size_t i = alphaOnly ? 3 : 0; i < a.pixels().size(); i += alphaOnly ? 4 : 1)
        largest = std::max(largest, std::abs(a.pixels()[i] - b.pixels()[i]));
    return largest;
}

double psnr(const TextureImage& a, const TextureImage& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels().size(); ++i) sum += std::pow(a.pixels()[i] - b.pixels()[i], 2);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.pixels().size()) / std::max(sum, 1e-9));
}

// Why a mipmap could not be decoded, apart from the lines of reading it.
std::string reasons;

bool collectReason(const char* text, ...) {
    reasons += text;
    return true;
}

// The first mipmap of a texture given as bytes, decoded.
class TextureDecode : public ::testing::Test {
protected:
    int decode(const PacBytes& bytes, TextureImage& image) {
        data_ = bytes.bytes();
        lines.clear();
        reasons.clear();
        const int opened = pac.Open(reinterpret_cast<const unsigned char*>(data_.data()), static_cast<int>(data_.size()),
                                    collect);
        return opened != 0 ? opened : pac.decodeImage(*pac.mipMaps().GetFirst(), image, collectReason);
    }
    PacFile pac{nullptr};

private:
    std::string data_;
};

}  // namespace

TEST(TextureImage, HalvingWorksInLinearLightAndWeighsColourByAlpha) {
    // Black and white average to the grey of half the light, not to 128.
    const TextureImage checker = imageOf(2, 2, {0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 0, 0, 255});
    EXPECT_EQ(pixelsOf(checker.halved(1, 1)), (std::vector<std::uint8_t>{188, 188, 188, 255}));
    // A transparent red pixel lends no red to its opaque blue neighbour.
    const TextureImage fringe = imageOf(2, 1, {255, 0, 0, 0, 0, 0, 255, 255});
    EXPECT_EQ(pixelsOf(fringe.halved(1, 1)), (std::vector<std::uint8_t>{0, 0, 255, 128}));
    // Taps of 1, 3, 3, 1 eighths, wrapping round: a lone white pixel gives 3/8 and 1/8 of its light.
    const TextureImage line = imageOf(4, 1, {255, 255, 255, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255});
    EXPECT_EQ(pixelsOf(line.halved(2, 1)), (std::vector<std::uint8_t>{165, 165, 165, 255, 99, 99, 99, 255}));
    // A side that is not halved is kept as it is.
    EXPECT_EQ(pixelsOf(line.halved(4, 1)), pixelsOf(line));
}

TEST_F(TextureDecode, EveryPixelLayoutDecodes) {
    const auto typed = [](std::uint16_t type, const std::string& taggs, std::uint16_t storedWidth, const std::string& block) {
        return PacBytes().word(type).raw(taggs).word(0).mipmap(storedWidth, 1, block).end();
    };
    const std::string avgc = PacBytes().value("GGATCGVA", 0).bytes();
    const std::string maxc = PacBytes().value("GGATCXAM", 0).bytes();
    TextureImage image;
    // ARGB4444 0xF8C4 and ARGB1555 0xFE01, little-endian; GREY is intensity then alpha.
    ASSERT_EQ(decode(typed(0x4444, avgc, 1, packed("\xC4\xF8", BlockCoder::LzssFlag)), image), 0);
    EXPECT_EQ(pixelsOf(image), (std::vector<std::uint8_t>{136, 204, 68, 255}));
    ASSERT_EQ(decode(typed(0x1555, avgc + maxc + PacBytes().offsets({112}).bytes(), 1,
                           packed("\x01\xFE", BlockCoder::LzssFlag)),
                     image),
              0);
    EXPECT_EQ(pixelsOf(image), (std::vector<std::uint8_t>{255, 132, 8, 255}));
    ASSERT_EQ(decode(typed(0x8080, "", 1, packed("\x40\x80", BlockCoder::LzssFlag)), image), 0);
    EXPECT_EQ(pixelsOf(image), (std::vector<std::uint8_t>{64, 64, 64, 128}));

    // Index textures look their colours up in the palette; an index past it is refused.
    const auto indexed = [](const std::string& indices) {
        return PacBytes().value("GGATCGVA", 0).palette("\x10\x20\x30\x40\x50\x60").mipmap(2, 1, packed(indices, BlockCoder::RunFlag)).end();
    };
    ASSERT_EQ(decode(indexed(std::string("\x01\x00", 2)), image), 0);
    EXPECT_EQ(pixelsOf(image), (std::vector<std::uint8_t>{0x40, 0x50, 0x60, 255, 0x10, 0x20, 0x30, 255}));
    EXPECT_EQ(decode(indexed(std::string("\x02\x00", 2)), image), PacFile::UnknownFormat);
    EXPECT_EQ(reasons, "PacFile: pixel 0 names colour 2 of a palette of 2\r\n");
    EXPECT_EQ(lines.find("PacFile"), std::string::npos);

    // A 2 x 2 DXT5 mipmap stored as it is shows from its whole block, though its real size is 4 bytes;
    // one that holds less than a block, and types that are not images, are refused with a reason.
    const std::string red("\xFF\xFF\0\0\0\0\0\0\x00\xF8\0\0\0\0\0\0", 16);
    ASSERT_EQ(decode(PacBytes().word(0xFF05).raw(maxc).word(0).mipmap(2, 2, red).end(), image), 0);
    EXPECT_EQ(pixelsOf(image), (std::vector<std::uint8_t>{255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255, 255, 0, 0, 255}));
    EXPECT_EQ(decode(PacBytes().word(0xFF05).raw(maxc).word(0).mipmap(2, 2, "abcd").end(), image), PacFile::UnknownFormat);
    EXPECT_EQ(reasons, "PacFile: a 2 x 2 mipmap holds 4 bytes of DXT blocks, not 16\r\n");
    EXPECT_EQ(decode(PacBytes().word(0).mipmap(4, 4, std::string(8, 'a')).end(), image), PacFile::UnknownFormat);
    EXPECT_EQ(reasons, "PacFile: DEMO textures cannot be turned into images\r\n");
}

TEST(TextureBuild, EveryFormatComesBackWithinItsError) {
    struct Case {
        int type;
        bool alpha;
        int colourError;   // the largest difference of a channel allowed, or
        double leastPsnr;  // for DXT, the least PSNR over all channels
    };
    const Case cases[] = {
        {PacFile::TypeArgb4444, true, 8, 0}, {PacFile::TypeArgb1555, true, 5, 0}, {PacFile::TypeGrey, true, 0, 0},
        {PacFile::TypeDxt1, false, 0, 30},   {PacFile::TypeDxt5, true, 0, 30},
    };
    TempFolder folder;
    for (const Case& c : cases) {
        SCOPED_TRACE(PacFile::GetTypeStr(c.type));
        TextureImage image = bench::paintedImage(64, 32, c.alpha);
        for (std::size_t i = 0; i < image.pixels().size(); i += 4) {
            std::uint8_t* p = &image.pixels()[i];
            if (c.type == PacFile::TypeGrey) p[1] = p[2] = p[0];
            // One bit of alpha keeps only what is opaque and what is not.
            if (c.type == PacFile::TypeArgb1555) p[3] = p[3] >= 128 ? 255 : 0;
        }
        PacFile built(nullptr);
        ASSERT_EQ(built.buildFromImage(image, c.type, PacFile::Quality::Normal, collect), 0);
        const std::string path = folder / "built.paa";
        ASSERT_EQ(built.CreatePac(path.c_str()), 0);

        PacFile read(nullptr);
        lines.clear();
        ASSERT_EQ(read.Open(path.c_str(), collect), 0);
        EXPECT_EQ(read.type(), c.type);
        EXPECT_TRUE(read.avgc().present && read.maxc().present && read.offs().present);
        EXPECT_EQ(read.flag().present, c.alpha ? 1 : 0);
        EXPECT_EQ(read.offs().count, 5);  // 64 x 32, 32 x 16, 16 x 8, 8 x 4, 4 x 4
        EXPECT_EQ(read.mipMaps().GetLast()->width, 4);
        const std::string again = folder / "again.paa";
        ASSERT_EQ(read.CreatePac(again.c_str()), 0);
        EXPECT_EQ(TempFolder::read(again), TempFolder::read(path));
        TextureImage decoded;
        ASSERT_EQ(read.decodeImage(*read.mipMaps().GetFirst(), decoded, collect), 0);
        if (c.leastPsnr > 0) {
            EXPECT_GT(psnr(image, decoded), c.leastPsnr);
            if (c.alpha) {
                EXPECT_LE(largestError(image, decoded, true), 18);
            }
        } else {
            EXPECT_LE(largestError(image, decoded), c.colourError);
        }
    }
}

TEST(TextureBuild, SidesArePowersOfTwoFromFourUp) {
    PacFile pac(nullptr);
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {{4, 4}, {4, 16}, {2048, 2048}};
    for (const auto& [width, height] : sizes) {
        ASSERT_EQ(pac.buildFromImage(TextureImage(width, height), PacFile::TypeDxt1, PacFile::Quality::Fast, collect), 0);
        EXPECT_EQ(pac.mipMaps().GetFirst()->width, width);
        EXPECT_EQ(pac.mipMaps().GetLast()->height, 4);
    }
    EXPECT_EQ(pac.mipMaps().size(), 10u);

    // A uniform colour is its own average and largest colour.
    std::vector<std::uint8_t> flat;
    for (int i = 0; i < 16; ++i) flat.insert(flat.end(), {10, 20, 30, 255});
    ASSERT_EQ(pac.buildFromImage(imageOf(4, 4, flat), PacFile::TypeArgb4444, PacFile::Quality::Normal, collect), 0);
    EXPECT_EQ(pac.avgc().value, 0xFF0A141Eu);
    EXPECT_EQ(pac.maxc().value, 0xFF0A141Eu);

    lines.clear();
    EXPECT_EQ(pac.buildFromImage(TextureImage(12, 8), PacFile::TypeDxt1, PacFile::Quality::Fast, collect),
              PacFile::UnknownFormat);
    EXPECT_EQ(lines, "PacFile: the image is 12 x 8; a texture's sides are powers of two from 4 to 16384\r\n");
    EXPECT_EQ(pac.buildFromImage(TextureImage(8, 2), PacFile::TypeGrey, PacFile::Quality::Fast, collect),
              PacFile::UnknownFormat);
    EXPECT_EQ(pac.buildFromImage(TextureImage(8, 8), PacFile::TypeArgb8888, PacFile::Quality::Fast, collect),
              PacFile::UnknownFormat);
    EXPECT_EQ(pac.mipMaps().size(), 0u);
}

#include <gtest/gtest.h>

#include <string>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/texture/TexFile.h"
#include "bench/TexIndexBytes.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;
using archivefile::bench::TexIndexBytes;
using archivefile::testing::TempFolder;

namespace {

// The first entry's header starts after the signature, the version and the count.
constexpr std::size_t Header = 12;

std::string number(std::uint32_t value) {
    std::string out;
    TexIndexBytes::u32(out, value);
    return out;
}

TexIndexBytes::Entry texture(const char* path = "x\\a\\data\\wall_co.paa") {
    TexIndexBytes::Entry entry;
    entry.path = path;
    entry.pixelFormat = 1;
    entry.mipmaps = 3;
    return entry;
}

}  // namespace

class TextureIndex : public ::testing::Test {
protected:
    static inline std::string lines;
    static bool collect(const char* text, ...) {
        lines += text;
        return true;
    }

    int open(const std::string& bytes) {
        lines.clear();
        image = bytes;
        index.SetCallBack(collect);
        return index.OpenTex(nullptr, reinterpret_cast<const unsigned char*>(image.data()),
                             static_cast<unsigned>(image.size()));
    }

    // One entry with `bytes` written over its bytes at `offset`, counted from the entry's start.
    int openPatched(std::size_t offset, const std::string& bytes, TexIndexBytes::Entry entry = texture()) {
        std::string index = TexIndexBytes().add(entry).bytes();
        index.replace(Header + offset, bytes.size(), bytes);
        return open(index);
    }

    VexDLLExt root;
    TexFile& index = *root.texFile();
    std::string image;
};

TEST_F(TextureIndex, EntriesAreLocatedWithPathMipmapsAndPixelFormat) {
    TexIndexBytes bytes;
    bytes.add(texture()).add({"x\\a\\data\\icon_ca.paa", 10, 1, 16, 12, 77, {1, 1, 1, 1}});
    ASSERT_EQ(open(bytes.bytes()), 0) << lines;
    const TexBody& body = *index.GetTexBody();
    ASSERT_EQ(body.size(), 2u);
    EXPECT_STREQ(body[0].path, "x\\a\\data\\wall_co.paa");
    EXPECT_EQ(body[0].mipmapCount, 3);
    EXPECT_EQ(body[0].pixelFormat(), 1u);
    EXPECT_EQ(body[1].pixelFormat(), 10u);
    EXPECT_EQ(body[1].smallCount, 12);
    EXPECT_EQ(body[1].trailing, 77u);
    EXPECT_EQ(lines, "");
    index.Close();
    EXPECT_TRUE(index.GetTexBody()->empty());
}

TEST_F(TextureIndex, AnEmptyIndexAndOneFromAFile) {
    EXPECT_EQ(open(TexIndexBytes().bytes()), 0);
    EXPECT_TRUE(index.GetTexBody()->empty());
    TempFolder folder;
    folder.write("index.bin", TexIndexBytes().add(texture()).bytes());
    EXPECT_EQ(index.OpenTex((folder / "index").c_str(), nullptr, 0), 0) << "the extension bin is supplied";
    EXPECT_EQ(index.GetTexBody()->size(), 1u);
    EXPECT_EQ(index.OpenTex((folder / "absent.bin").c_str(), nullptr, 0), GE_InvalidFile);
}

TEST_F(TextureIndex, SignatureVersionAndEndOfFile) {
    const std::string good = TexIndexBytes().add(texture()).bytes();
    EXPECT_EQ(open("0DHX" + good.substr(4)), TexFile::NotIndex);
    EXPECT_EQ(open(good.substr(0, 4) + number(2) + good.substr(8)), TexFile::NotIndex);
    EXPECT_EQ(open(good + "x"), TexFile::ResidualBytes);
    EXPECT_EQ(open(good.substr(0, good.size() - 1)), GE_PrematureEof);
    EXPECT_EQ(open(TexIndexBytes().add(texture()).bytes(1'000'000'000)), GE_PrematureEof) << "a count of a billion";
    EXPECT_EQ(open("0D"), GE_PrematureEof);
}

TEST_F(TextureIndex, HeaderFieldsAreCheckedInTheirOrder) {
    // Two faults in one header: the one checked first gives the code.
    const std::string bad = std::string("\x07\x00\x00\x00", 4);
    auto twoFaults = [&](std::size_t first, std::size_t second) {
        std::string bytes = TexIndexBytes().add(texture()).bytes();
        bytes.replace(Header + first, 4, bad);
        bytes.replace(Header + second, 2, bad.substr(0, 2));
        return open(bytes);
    };
    EXPECT_EQ(twoFaults(4, 32), TexFile::Always0At4);
    EXPECT_EQ(twoFaults(32, 0), TexFile::Always0At32);
    EXPECT_EQ(twoFaults(0, 36), TexFile::Always1);
    EXPECT_EQ(twoFaults(36, 52), TexFile::AlwaysDefault);
    EXPECT_EQ(twoFaults(52, 28), TexFile::Always257);
    EXPECT_EQ(openPatched(28, bad), TexFile::AlwaysDefault);
    EXPECT_EQ(openPatched(52, std::string("\x02\x01", 2)), TexFile::Always257) << "258";
}

TEST_F(TextureIndex, PixelFormatsFlagsAndSmallCountsEndInTheSharedCode4) {
    TexIndexBytes::Entry format2 = texture();
    format2.pixelFormat = 2;
    EXPECT_EQ(open(TexIndexBytes().add(format2).bytes()), GE_DebugTrap);
    EXPECT_EQ(lines, "2: x\\a\\data\\wall_co.paa\r\n");

    for (std::size_t flag = 40; flag <= 43; ++flag) {
        EXPECT_EQ(openPatched(flag, "\x01"), 0) << flag;
        EXPECT_EQ(openPatched(flag, "\x02"), GE_DebugTrap) << flag;
    }

    TexIndexBytes::Entry many = texture();
    many.smallCount = 13;
    EXPECT_EQ(open(TexIndexBytes().add(many).bytes()), GE_DebugTrap);
    EXPECT_EQ(lines, "13:3 x\\a\\data\\wall_co.paa\r\n");
    many.smallCount = 12;
    EXPECT_EQ(open(TexIndexBytes().add(many).bytes()), 0);
}

TEST_F(TextureIndex, MipmapCountsAndOnlyTheFirstMipmapRecordAreChecked) {
    // After the header: the path and its zero, the small count, then the mipmap count and records.
    const std::size_t mipmaps = 54 + std::string("x\\a\\data\\wall_co.paa").size() + 1 + 4;
    EXPECT_EQ(openPatched(mipmaps, number(2)), TexFile::MipmapCountsDiffer);
    EXPECT_EQ(openPatched(mipmaps + 4 + 4, std::string("\x01\x00", 2)), TexFile::MipmapNot0);
    EXPECT_EQ(openPatched(mipmaps + 4 + 7, "\x04"), GE_DebugTrap) << "the byte at 7 must be 3";
    EXPECT_EQ(openPatched(mipmaps + 4 + 6, "\x04"), GE_DebugTrap) << "the byte at 6 is the pixel format";
    EXPECT_EQ(openPatched(mipmaps + 4 + 4 + 12, std::string("\x01\x00", 2)), 0) << "the second record is not checked";
    EXPECT_EQ(openPatched(mipmaps + 4 + 7 + 12, "\x09"), 0);

    TexIndexBytes::Entry none = texture();
    none.mipmaps = 0;
    EXPECT_EQ(open(TexIndexBytes().add(none).bytes()), 0);
    EXPECT_EQ(openPatched(44, number(0xFFFFFFFF)), TexFile::MipmapCountsDiffer);
}

TEST_F(TextureIndex, CodesHaveTheirTexts) {
    EXPECT_STREQ(index.ErrorString(10), "Tex: non mime");
    EXPECT_STREQ(index.ErrorString(13), "Always00 not not zero");
    EXPECT_STREQ(index.ErrorString(16), "not always 11 ");
    EXPECT_STREQ(index.ErrorString(17), "TEXFILE_MIPMAP_NOT_0 ");
    EXPECT_STREQ(index.ErrorString(4), "debug trap (you shouldn't see this)");
    EXPECT_STREQ(index.ErrorString(19), "dll Unknown throw Error");
}

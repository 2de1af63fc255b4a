#include "archivefile/texture/PacFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "archivefile/foundation/GenericError.h"
#include "tests/support/TempFolder.h"
#include "tests/texture/PacBytes.h"

using namespace archivefile;
using archivefile::testing::PacBytes;
using archivefile::testing::TempFolder;
using archivefile::testing::collect;
using archivefile::testing::lines;
using archivefile::testing::packed;

namespace {

class PacRead : public ::testing::Test {
protected:
    int open(const PacBytes& bytes, int filter = 0) {
        lines.clear();
        data_ = bytes.bytes();
        return pac.Open(reinterpret_cast<const unsigned char*>(data_.data()), static_cast<int>(data_.size()), collect,
                        filter);
    }
    // The texture written back by CreatePac.
    std::string written() {
        const std::string path = folder / "written.paa";
        EXPECT_EQ(pac.CreatePac(path.c_str()), 0);
        return TempFolder::read(path);
    }

    PacFile pac{nullptr};
    TempFolder folder;

private:
    std::string data_;
};

// A DXT1 texture: AVGC, OFFS, an 8 x 8 mipmap stored as it is and a 4 x 4 one in LZO.
const std::string Dxt8x8(32, '\x11');
const std::string Dxt4x4 = packed(std::string(8, '\x22'), BlockCoder::LzoFlag);

PacBytes dxt1() {
    return PacBytes()
        .word(0xFF01)
        .value("GGATCGVA", 0x80402010)
        .offsets({96, 135})
        .word(0)
        .mipmap(8, 8, Dxt8x8)
        .mipmap(0x8004, 4, Dxt4x4)
        .end();
}

int listedMipmaps() {
    int count = 0;
    for (std::size_t at = lines.find("Real Size"); at != std::string::npos; at = lines.find("Real Size", at + 1)) ++count;
    return count;
}

}  // namespace

TEST_F(PacRead, ListsEveryPartAndWritesTheSameBytesBack) {
    ASSERT_EQ(open(dxt1()), 0);
    EXPECT_EQ(lines, "Type: DXT1\r\nAVGC: 80402010\r\nOFFS: 2 entries\r\nPallete size 0 RGBtriplets\r\n"
                     "    8 x    8 Real Size      32: Size in file      32\r\n"
                     "*   4 x    4 Real Size       8: Size in file      " + std::to_string(Dxt4x4.size()) + "\r\n");
    EXPECT_EQ(pac.type(), PacFile::TypeDxt1);
    ASSERT_EQ(pac.mipMaps().size(), 2u);
    const PacFile::MipMap* second = pac.mipMaps().GetNext(pac.mipMaps().GetFirst());
    EXPECT_TRUE(second->compressed);
    EXPECT_EQ(std::string(second->pixels().begin(), second->pixels().end()), std::string(8, '\x22'));
    EXPECT_EQ(written(), dxt1().bytes());

    // Every tagg, in the order the writer uses, and a procedure text.
    const PacBytes every = PacBytes()
                               .word(0xFF01)
                               .value("GGATCGVA", 1)
                               .value("GGATCXAM", 0xFFFFFFFF)
                               .value("GGATZIWS", 0x05040302)
                               .value("GGATGALF", 2)
                               .tagg("GGATCORP", "proc = 1;")
                               .offsets({165})
                               .word(0)
                               .mipmap(4, 4, std::string(8, 'x'))
                               .end();
    ASSERT_EQ(open(every), 0);
    EXPECT_EQ(lines, "Type: DXT1\r\nAVGC: 00000001\r\nMAXC: FFFFFFFF\r\nSWIZ: 05040302\r\nFLAG: 00000002\r\n"
                     "PROC:\r\nproc = 1;\r\nOFFS: 1 entries\r\nPallete size 0 RGBtriplets\r\n"
                     "    4 x    4 Real Size       8: Size in file       8\r\n");
    EXPECT_EQ(written(), every.bytes());
    EXPECT_EQ(lines.substr(lines.rfind("Writing")), "Writing: DXT1\r\n");
}

TEST_F(PacRead, TheFirstWordChoosesTheType) {
    // A file that begins with a tagg is an index texture, read from its first byte.
    const PacBytes indexed = PacBytes()
                                 .value("GGATCGVA", 7)
                                 .palette("\x01\x02\x03\x04\x05\x06")
                                 .mipmap(2, 2, packed(std::string("\x00\x01\x01\x00", 4), BlockCoder::RunFlag))
                                 .end();
    ASSERT_EQ(open(indexed), 0);
    EXPECT_EQ(lines, "Type: INDX\r\nAVGC: 00000007\r\nPallete size 2 RGBtriplets\r\n"
                     "    2 x    2 Real Size       4: Size in file       5\r\n");
    EXPECT_EQ(pac.palette().count, 2);
    EXPECT_EQ(pac.palette().triplets[5], 6);
    EXPECT_EQ(written(), indexed.bytes());

    // Any other unknown word is the old form without a type word: type 0, read from the start, which
    // may carry a palette too.
    const PacBytes demo = PacBytes().palette("abc").mipmap(2, 2, "zz").end();
    ASSERT_EQ(open(demo), 0);
    EXPECT_EQ(lines, "Type: DEMO\r\nPallete size 1 RGBtriplets\r\n    2 x    2 Real Size       2: Size in file       2\r\n");
    EXPECT_EQ(written(), demo.bytes());

    // A filter without the type's bit skips the file before anything is listed.
    const PacBytes dxt5 = PacBytes().word(0xFF05).value("GGATCXAM", 0).word(0).end();
    EXPECT_EQ(open(dxt5, 0x2), PacFile::Skipped);
    EXPECT_EQ(pac.mipMaps().size(), 0u);
    EXPECT_EQ(lines, "");
    EXPECT_EQ(open(demo, 0x3FF), PacFile::Skipped);
    EXPECT_EQ(open(indexed, 0x1), 0);
}

TEST_F(PacRead, TaggsAreReadOnceWithTheirOwnLength) {
    const auto dxt5With = [](const PacBytes& taggs) {
        return PacBytes().word(0xFF05).value("GGATCXAM", 0).raw(taggs.bytes()).word(0).end();
    };
    EXPECT_EQ(open(dxt5With(PacBytes().value("GGatcxam", 1))), PacFile::TagRepeated);
    EXPECT_EQ(open(dxt5With(PacBytes().offsets({}).offsets({}))), PacFile::TagRepeated);
    EXPECT_EQ(open(dxt5With(PacBytes().tagg("GGATGALF", "abc"))), PacFile::BadTagLength);
    EXPECT_EQ(open(dxt5With(PacBytes().tagg("GGATSFFO", std::string(60, '\0')))), PacFile::BadTagLength);
    EXPECT_EQ(open(dxt5With(PacBytes().value("GGATABCD", 1))), PacFile::UnknownTagg);
    // Names compare without regard to case.
    EXPECT_EQ(open(dxt5With(PacBytes().value("GGATgalf", 3))), 0);
    EXPECT_EQ(lines, "Type: DXT5\r\nMAXC: 00000000\r\nFLAG: 00000003\r\nPallete size 0 RGBtriplets\r\n");

    const auto dxt1With = [](const PacBytes& taggs) {
        return PacBytes().word(0xFF01).value("GGATCGVA", 0).offsets({}).raw(taggs.bytes()).word(0).end();
    };
    EXPECT_EQ(open(dxt1With(PacBytes().tagg("GGATCORP", "x"))), PacFile::BadTagLength);
    EXPECT_EQ(open(dxt1With(PacBytes().tagg("GGATCORP", "ab").tagg("GGATCORP", "cd"))), PacFile::TagRepeated);
    EXPECT_EQ(open(PacBytes().word(0xFF01).raw("GGATCORP").number(1000).raw("abc")), GE_PrematureEof);

    PacFile::Palette palette;
    VexFileIO stream;
    const unsigned char triplets[6] = {1, 2, 3, 4, 5, 6};
    stream.OpenPseudoFile(triplets, sizeof triplets);
    EXPECT_EQ(palette.Read(&stream, 1), 0);
    EXPECT_EQ(palette.Read(&stream, 1), PacFile::TagRepeated);
}

TEST_F(PacRead, ThePaletteCountSharesItsWordWithTheTaggs) {
    const auto indexedWith = [](std::uint16_t count) {
        return PacBytes().value("GGATCGVA", 0).word(count).raw(std::string(3 * 0x7FFF, '\0')).end();
    };
    EXPECT_EQ(open(PacBytes().word(0xFF01).value("GGATCGVA", 0).word(1).raw("abc").end()), PacFile::UnknownTagg);
    EXPECT_EQ(open(indexedWith(0x8000)), PacFile::UnknownTagg);
    EXPECT_EQ(open(indexedWith(9999)), PacFile::UnknownTagg);
    // 0x4747 reads as the "GG" of a tagg, whose name is then what the triplets hold.
    EXPECT_EQ(open(indexedWith(0x4747)), PacFile::UnknownTagg);
    EXPECT_EQ(open(PacBytes().value("GGATCGVA", 0).word(0x4747).raw("ATZIWS").number(4).number(0).word(0).end()),
              GE_DebugTrap);
    // A count past the end of the file.
    EXPECT_EQ(open(PacBytes().value("GGATCGVA", 0).word(100).raw("abc")), GE_PrematureEof);
}

TEST_F(PacRead, TaggsMustSuitTheType) {
    const auto typed = [](std::uint16_t type, const PacBytes& taggs) {
        return PacBytes().word(type).raw(taggs.bytes()).word(0).end();
    };
    EXPECT_EQ(open(typed(0xFF01, PacBytes().value("GGATCGVA", 0))), GE_DebugTrap);
    EXPECT_STREQ(pac.typeRuleBroken(), "a DXT1 texture needs AVGC and OFFS");
    EXPECT_EQ(open(typed(0xFF05, PacBytes().value("GGATCXAM", 0).tagg("GGATCORP", "ab"))), GE_DebugTrap);
    EXPECT_EQ(open(typed(0x8080, PacBytes().value("GGATZIWS", 0))), GE_DebugTrap);
    EXPECT_EQ(open(typed(0x8080, PacBytes().value("GGATCXAM", 0).value("GGATGALF", 0))), 0);

    // These types are listed, then always refused.
    EXPECT_EQ(open(typed(0x8888, PacBytes().value("GGATCGVA", 5))), GE_DebugTrap);
    EXPECT_EQ(lines, "Type: RGB8\r\nAVGC: 00000005\r\nPallete size 0 RGBtriplets\r\n");
    EXPECT_STREQ(pac.typeRuleBroken(), "this type is listed but its mipmaps are not read");
}

TEST_F(PacRead, MipmapRecordsSitWhereTheOffsetsSay) {
    const auto dxt1With = [](const PacBytes& offsets, int records) {
        PacBytes bytes = PacBytes().word(0xFF01).value("GGATCGVA", 0).raw(offsets.bytes()).word(0);
        for (int i = 0; i < records; ++i) bytes.mipmap(4, 4, std::string(8, '\0'));
        return bytes.end();
    };
    // Records start at 96 and take 15 bytes each.
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({96, 111, 126}), 3)), 0);
    EXPECT_EQ(pac.offs().count, 3);
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({96, 112, 126}), 3)), PacFile::MipMapCountExceeded);
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({96, 111}), 3)), PacFile::MipMapCountExceeded);
    EXPECT_EQ(listedMipmaps(), 2);
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({96, 111, 126}), 2)), PacFile::MipMapCountExceeded);
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({96, 5000000}), 2)), PacFile::MipMapCountExceeded);
    EXPECT_EQ(open(dxt1With(PacBytes().offsets({100, 0, 200}), 1)), PacFile::MipMapExtraNonZeros);

    // With none of the sixteen zero, the count is 15: a 16th record is one too many.
    const std::initializer_list<std::uint32_t> sixteen = {96,  111, 126, 141, 156, 171, 186, 201,
                                                         216, 231, 246, 261, 276, 291, 306, 321};
    EXPECT_EQ(open(dxt1With(PacBytes().offsets(sixteen), 15)), 0);
    EXPECT_EQ(lines.find("OFFS: 15 entries\r\n"), lines.find("OFFS"));
    EXPECT_EQ(open(dxt1With(PacBytes().offsets(sixteen), 16)), PacFile::MipMapCountExceeded);
}

TEST_F(PacRead, TheFileEndsWithTheEndRecordAndOneZero) {
    const PacBytes body = PacBytes().word(0xFF05).value("GGATCXAM", 0).word(0).mipmap(4, 4, std::string(16, 'a'));
    EXPECT_EQ(open(PacBytes(body).word(0).word(0)), GE_PrematureEof);
    EXPECT_EQ(open(PacBytes(body).word(0).word(0).word(1)), PacFile::NoEndingZeroes);
    EXPECT_EQ(open(PacBytes(body).end().raw("x")), GE_ResidualBytes);
    EXPECT_EQ(open(PacBytes()), GE_PrematureEof);
    // A failed open leaves nothing behind.
    EXPECT_EQ(pac.mipMaps().size(), 0u);
    EXPECT_FALSE(pac.maxc().present);
}

TEST_F(PacRead, BlocksExpandByTheirTypesSelectors) {
    const std::string pixels = "0123456789abcdefghijklmnopqrstuv";  // 4 x 4 at two bytes a pixel
    const auto rgb5 = [](std::uint16_t width, const std::string& block) {
        return PacBytes()
            .word(0x1555)
            .value("GGATCGVA", 0)
            .value("GGATCXAM", 0)
            .offsets({112})
            .word(0)
            .mipmap(width, 4, block)
            .end();
    };
    const auto pixelsOf = [this] {
        const auto span = pac.mipMaps().GetFirst()->pixels();
        return std::string(span.begin(), span.end());
    };
    ASSERT_EQ(open(rgb5(4, packed(pixels, BlockCoder::LzssFlag))), 0);
    EXPECT_EQ(pixelsOf(), pixels);
    ASSERT_EQ(open(rgb5(0x8004, packed(pixels, BlockCoder::LzoFlag))), 0);
    EXPECT_EQ(pixelsOf(), pixels);
    EXPECT_NE(lines.find("*   4 x    4 Real Size      32"), std::string::npos);
    // Stored bytes are not LZSS.
    EXPECT_EQ(open(rgb5(4, pixels)), PacFile::BadCompression);
    // An LZSS block whose checksum is off by one.
    std::string broken = packed(pixels, BlockCoder::LzssFlag);
    ++broken.back();
    EXPECT_EQ(open(rgb5(4, broken)), PacFile::BadCompression);

    // An index texture in the marker form is LZSS (or LZO), not byte-run.
    const PacBytes marked = PacBytes()
                                .value("GGATCGVA", 0)
                                .palette("abc")
                                .markedMipmap(4, 2, packed(std::string(8, '\0'), BlockCoder::LzssFlag))
                                .end();
    ASSERT_EQ(open(marked), 0);
    EXPECT_TRUE(pac.mipMaps().GetFirst()->marker);
    EXPECT_NE(lines.find("*   4 x    2 Real Size       8"), std::string::npos);
    EXPECT_EQ(written(), marked.bytes());

    // A block may hold more than its real size; a stored DXT block less is refused.
    ASSERT_EQ(open(PacBytes().word(0xFF05).value("GGATCXAM", 0).word(0).mipmap(4, 4, std::string(20, 'd')).end()), 0);
    EXPECT_EQ(pac.mipMaps().GetFirst()->pixels().size(), 16u);
    EXPECT_EQ(open(PacBytes().word(0xFF05).value("GGATCXAM", 0).word(0).mipmap(4, 4, std::string(15, 'd')).end()),
              PacFile::BadCompression);
}

TEST_F(PacRead, HostileSizesEndInACode) {
    const auto grey = [](std::uint16_t width, std::uint16_t height, const std::string& block) {
        return PacBytes().word(0x8080).word(0).mipmap(width, height, block).end();
    };
    // 32767 x 65535 at two bytes a pixel is more than 32 bits and more than 16 bytes of LZO can give.
    EXPECT_EQ(open(grey(0xFFFF, 0xFFFF, std::string(16, '\0'))), PacFile::BadCompression);
    EXPECT_NE(lines.find("*32767 x 65535 Real Size 4294770690: Size in file      16"), std::string::npos);
    // A 24-bit size past the end of the file.
    EXPECT_EQ(open(PacBytes().word(0x8080).word(0).word(4).word(4).raw("\xFF\xFF\xFF").raw("abc")),
              GE_PrematureEof);
}

TEST_F(PacRead, FilesOpenByTheirNameWithPacBeforePaa) {
    lines.clear();
    folder.write("a.paa", dxt1().bytes());
    EXPECT_EQ(pac.Open((folder / "a").c_str(), collect), 0);
    folder.write("a.pac", PacBytes().word(0xFF05).value("GGATCXAM", 0).word(0).end().bytes());
    EXPECT_EQ(pac.Open((folder / "a").c_str(), collect), 0);
    EXPECT_EQ(pac.type(), PacFile::TypeDxt5);
    EXPECT_EQ(pac.Open((folder / "a.paa").c_str(), collect), 0);
    EXPECT_EQ(pac.type(), PacFile::TypeDxt1);
    EXPECT_EQ(pac.Open((folder / "b").c_str(), collect), GE_InvalidFile);
    EXPECT_STREQ(pac.ErrorString(PacFile::UnknownTagg), "PaxFile: Unkown Tagg");
    EXPECT_STREQ(pac.ErrorString(PacFile::MipMapCountExceeded), "PaxFile: MipMapOffsets.nMaps exceeded");
    EXPECT_STREQ(pac.ErrorString(7), "residual bytes in file");
}

TEST_F(PacRead, CreatePacAddsItsExtensionAndLeavesNothingOnFailure) {
    ASSERT_EQ(open(dxt1()), 0);
    EXPECT_EQ(pac.CreatePac((folder / "out").c_str()), 0);
    EXPECT_EQ(TempFolder::read(folder / "out.paa"), dxt1().bytes());
    EXPECT_EQ(pac.CreatePac((folder / "missing/out.paa").c_str()), GE_CannotWrite);

    // A procedure text shorter than two cannot be written; an earlier file stays as it was.
    const PacBytes proc =
        PacBytes().word(0xFF01).value("GGATCGVA", 0).tagg("GGATCORP", std::string("a\0", 2)).offsets({}).word(0).end();
    ASSERT_EQ(open(proc), 0);
    folder.write("proc.paa", "earlier");
    EXPECT_EQ(pac.CreatePac((folder / "proc.paa").c_str()), PacFile::BadTagLength);
    EXPECT_EQ(TempFolder::read(folder / "proc.paa"), "earlier");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
}

#include <gtest/gtest.h>

#include <string>

#include "tests/archive/ArchiveTestSupport.h"

using namespace archivefile;
using archivefile::testing::ArchiveBytes;
using archivefile::testing::rapConfig;
using archivefile::testing::ArchiveTest;

namespace {

const std::string Start = "======<HEADER>=======\r\n";
const std::string End = "======</HEADER>============\r\n";

std::string hex(const std::string& bytes) {
    return Sha1::hexText({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

}  // namespace

TEST(Sha1, KnownDigests) {
    EXPECT_EQ(hex(std::string(reinterpret_cast<const char*>(Sha1::of({}).data()), 20)),
              "DA39A3EE5E6B4B0D3255BFEF95601890AFD80709");
    Sha1 pieces;
    for (const char c : std::string("abc")) pieces.update({reinterpret_cast<const std::uint8_t*>(&c), 1});
    const auto digest = pieces.final();
    EXPECT_EQ(Sha1::hexText(digest), "A9993E364706816ABA3E25717850C26C9CD0D89D");
}

using ArchiveRead = ArchiveTest;

TEST_F(ArchiveRead, EveryTypeOpensWithItsReport) {
    const std::string kqm = ArchiveBytes().entry("config.cpp", "class A{};").body();
    ASSERT_EQ(open(kqm), 0);
    EXPECT_EQ(archive.GetPboType(), 0);
    EXPECT_EQ(lines, Start + "Pbo Type is: KQM Addon\r\n" + End);

    ASSERT_EQ(open(ArchiveBytes().properties({{"product", "X"}}).entry("mission.sqm", "m").body()), 0);
    EXPECT_EQ(archive.GetPboType(), 0x80);
    EXPECT_FALSE(archive.HasPrefix());
    EXPECT_EQ(lines, Start + "product=X\r\nPbo Type is: Vanguard Mission\r\n" + End);

    ASSERT_EQ(open(ArchiveBytes().properties({{"prefix", "a\\b"}}).entry("x.txt", "x").body()), 0);
    EXPECT_EQ(archive.GetPboType(), 0x100);
    EXPECT_EQ(lines, Start + "prefix=a\\b\r\nPbo Type is: Xbox Regal or Kern but missing checksum/sha "
                             "(possibly a mission.pbo)\r\n" + End + "Warning: no sha key\r\n");

    const std::string regal =
        ArchiveBytes().properties({{"prefix", "p"}}).entry("description.ext", "d").withChecksum("\xDE\xAD\xBE\xEF");
    ASSERT_EQ(open(regal), 0);
    EXPECT_EQ(archive.GetPboType(), 0x200);
    EXPECT_EQ(lines, Start + "prefix=p\r\nPbo Type is: Regal Campaign\r\nChecksum: 'DEADBEEF'\r\n" + End);

    const std::string kern =
        ArchiveBytes().properties({{"prefix", "p"}, {"svn", "7"}}).entry("config.bin", "b").withSha();
    ASSERT_EQ(open(kern), 0);
    EXPECT_EQ(archive.GetPboType(), 0x400);
    EXPECT_EQ(lines, Start + "prefix=p\r\nsvn=7\r\nPbo Type is: Kern Addon\r\nSha: '" +
                         hex(kern.substr(kern.size() - 20)) + "'\r\n" + End);
    ASSERT_EQ(archive.properties().size(), 2u);
    EXPECT_STREQ(archive.properties()[1].name, "svn");

    const std::string bare = ArchiveBytes().entry("readme.txt", "r").withSha();
    ASSERT_EQ(open(bare), 0);
    EXPECT_EQ(archive.GetPboType(), 0x10000);
    EXPECT_EQ(lines, Start + "Pbo Type is: Kern Unknown Addon (no config). No prefix (pboname assumed)\r\nSha: '" +
                         hex(bare.substr(bare.size() - 20)) + "'\r\n" + End);
    EXPECT_EQ(archive.headerReport(), lines);
}

TEST_F(ArchiveRead, ContentKindLooksOnlyAtRootFiles) {
    const ArchiveBytes missionAddon =
        ArchiveBytes().entry("sub\\config.cpp", "").entry("CONFIG.BIN", "").entry("mission.sqm", "");
    ASSERT_EQ(open(missionAddon.body(), ArchiveFile::Brief), 0);
    EXPECT_STREQ(archive.contentLine(), "Mission Addon\r\n");
    ASSERT_EQ(open(ArchiveBytes().entry("sub\\config.cpp", "").entry("description.ext", "").body()), 0);
    EXPECT_STREQ(archive.contentLine(), "Campaign\r\n");
    ASSERT_EQ(open(ArchiveBytes().properties({{"prefix", "p"}}).entry("mission.sqm", "").withSha()), 0);
    EXPECT_EQ(archive.contentKind(), 9);
    EXPECT_STREQ(archive.contentLine(), "Mission with irrelevant prefix\r\n");
    ASSERT_EQ(open(ArchiveBytes().entry("config.cpp", "").entry("description.ext", "").withSha()), 0);
    EXPECT_STREQ(archive.contentLine(), "Campaign Addon. No prefix (pboname assumed)\r\n");
}

TEST_F(ArchiveRead, PrefixPropertyIsFoundInAnyCaseAndGreaterThanBecomesZ) {
    ASSERT_EQ(open(ArchiveBytes().properties({{"PREFIX", "a>b\\c>"}}).entry("x", "x").withSha()), 0);
    EXPECT_TRUE(archive.HasPrefix());
    EXPECT_STREQ(archive.GetPrefix(), "aZb\\cZ");
    EXPECT_STREQ(archive.SetPrefix("new"), "new");
    ASSERT_EQ(open(ArchiveBytes().entry("x", "x").body()), 0);
    EXPECT_EQ(archive.SetPrefix("new"), nullptr);
}

TEST_F(ArchiveRead, SecondPropertiesEntryIsRefused) {
    const std::string bytes = ArchiveBytes().properties({{"product", "a"}}).properties({{"product", "b"}}).body();
    EXPECT_EQ(open(bytes), -8);
    EXPECT_STREQ(archive.ErrorString(-8), "ArchiveFile multiple product entries");
    EXPECT_FALSE(archive.isOpen());
}

TEST_F(ArchiveRead, DamagedHeadersFailWithTheirCodes) {
    const std::string good = ArchiveBytes().properties({{"prefix", "p"}}).entry("name.txt", "12345").withSha();
    // Cut inside the properties, inside a name (no terminator), inside the fields, inside the end entry
    // and inside the data area.
    for (const int cut : {25, 33, 40, 55, 70, 83}) {
        EXPECT_EQ(open(good.substr(0, static_cast<std::size_t>(cut))), -1) << "cut at " << cut;
        EXPECT_FALSE(archive.isOpen());
    }
    EXPECT_STREQ(archive.ErrorString(-1), "ArchiveFile PboFile Truncated");

    // Sizes that claim more data than the file holds.
    EXPECT_EQ(open(ArchiveBytes().add({"big.bin", "abc"}).header("more.bin", 0, 0, 0, 0, 0x7FFFFFFF).body()), -1);
    EXPECT_EQ(open(ArchiveBytes().add({"odd", "x", 0, 0x12345678}).body()), -9);
    EXPECT_EQ(open(ArchiveBytes().add({"stored", std::string(80, 'x'), 0, 0, 100}).body()), -9);
    EXPECT_EQ(open(ArchiveBytes().header("", 0x11223344, 0, 0, 0, 0).body()), -9);
    EXPECT_STREQ(archive.ErrorString(-9), "ArchiveFile unknown header type");
    EXPECT_EQ(open(std::string(1000, 'a')), -1);
    EXPECT_EQ(archive.OpenPbo((folder / "missing").c_str(), collect), -3);
}

TEST_F(ArchiveRead, CompressedMarkWithEqualSizesIsAcceptedOnlyWithoutPrefix) {
    const ArchiveBytes::Entry marked{"m.txt", "same", 0, ArchiveBytes::Compressed, 4};
    ASSERT_EQ(open(ArchiveBytes().properties({{"product", "x"}}).add(marked).body()), 0);
    ASSERT_EQ(archive.GetFileData(&entry("m.txt")), 0);
    EXPECT_EQ(text(entry("m.txt")), "same");
    EXPECT_EQ(open(ArchiveBytes().properties({{"prefix", "x"}}).add(marked).withSha()), -9);
}

TEST_F(ArchiveRead, TrailerProblemsAreWarningsUnlessStrict) {
    const ArchiveBytes prefixed = ArchiveBytes().properties({{"prefix", "p"}}).entry("a", "a");
    EXPECT_EQ(open(prefixed.body(), ArchiveFile::Strict), -25);
    EXPECT_EQ(open(prefixed.body()), 0);
    EXPECT_EQ(archive.strangeValues(), -25);
    EXPECT_STREQ(archive._StrangeValuesStr(), "Warning: no shakey on kern prefix");

    const std::string stray = ArchiveBytes().entry("a", "a").body() + "!";
    EXPECT_EQ(open(stray, ArchiveFile::Strict | ArchiveFile::Brief), -24);
    EXPECT_EQ(open(stray, ArchiveFile::Brief), 0);
    EXPECT_EQ(lines, "Warning: ArchiveFile has residual bytes (possibly a tool signature)\r\n");
    EXPECT_EQ(archive.strangeValues(), -24);
    // Five bytes are a checksum only in an archive with a prefix.
    EXPECT_EQ(open(ArchiveBytes().entry("a", "a").withChecksum("1234"), ArchiveFile::Strict), -24);
}

TEST_F(ArchiveRead, WrongShaIsReportedAndLeavesTheArchiveOpen) {
    std::string bytes = ArchiveBytes().properties({{"prefix", "p"}}).entry("a.txt", "hello").withSha();
    const std::string stored = hex(bytes.substr(bytes.size() - 20));
    bytes[bytes.size() - 22] = 'J';  // the last data byte
    EXPECT_EQ(open(bytes, ArchiveFile::Brief), -17);
    EXPECT_EQ(lines.substr(0, lines.find("calculated")), "Warning: Bad Sha detected\r\nWarning: ");
    EXPECT_NE(lines.find("Warning: should be= '" + stored + "'\r\n"), std::string::npos);
    EXPECT_EQ(lines.find("calculated='" + stored), std::string::npos);
    ASSERT_TRUE(archive.isOpen());
    ASSERT_EQ(archive.GetFileData(&entry("a.txt")), 0);
    EXPECT_EQ(text(entry("a.txt")), "hellJ");

    // A trailer without its zero lead byte is wrong before any hashing.
    std::string marked = ArchiveBytes().entry("a.txt", "hello").withSha();
    marked[marked.size() - 21] = 1;
    EXPECT_EQ(open(marked, ArchiveFile::Brief), -17);
    EXPECT_NE(lines.find("calculated='" + std::string(40, '0') + "'"), std::string::npos);
}

TEST_F(ArchiveRead, OddHeaderFieldsAreNotedAsStrangeValues) {
    ASSERT_EQ(open(ArchiveBytes().add({"a", "a", 0, 0, 0, 9}).body()), 0);
    EXPECT_EQ(archive.strangeValues(), 2);
    // A properties entry with a size in it.
    ASSERT_EQ(open(ArchiveBytes().header("", ArchiveBytes::Properties, 1, 0, 0, 0).raw({'\0'}).entry("a", "a").body()),
              0);
    EXPECT_EQ(archive.strangeValues(), 1);
    EXPECT_EQ(std::string(archive._StrangeValuesStr()).rfind("Strange values in header: 1st/last entry", 0), 0u);
}

TEST_F(ArchiveRead, EntriesAreWalkedInHeaderOrderAndFoundByName) {
    ASSERT_EQ(open(ArchiveBytes().entry("a\\one.txt", "1").entry("two.txt", "22").entry("three.txt", "333").body()), 0);
    ASSERT_EQ(archive.entryCount(), 3u);
    pbo_entry* first = archive.GetChain();
    EXPECT_STREQ(archive.GetEntryFilename(first), "a\\one.txt");
    EXPECT_EQ(archive.GetNext(archive.GetNext(first)), archive.GetLast());
    EXPECT_EQ(archive.GetPrevious(first), nullptr);
    EXPECT_EQ(archive.GetNext(archive.GetLast()), nullptr);
    EXPECT_EQ(archive.FindEntry("A/ONE.TXT"), first);
    EXPECT_EQ(archive.GetLast()->dataOffset(), 3u);
    ASSERT_EQ(archive.GetFileData(archive.GetLast()), 0);
    EXPECT_EQ(text(*archive.GetLast()), "333");
}

TEST_F(ArchiveRead, ArchiveNamesAndExtensions) {
    EXPECT_EQ(ArchiveFile::HasPboExt("x.PBO"), 1u);
    EXPECT_EQ(ArchiveFile::HasPboExt("dir.pbo\\x.ifa"), 4u);
    EXPECT_EQ(ArchiveFile::HasPboExt("x.pbo.txt"), 0u);
    folder.write("named.pbo", ArchiveBytes().entry("a", "a").body());
    EXPECT_EQ(ArchiveFile::PboExists((folder / "named").c_str()), 1u);
    EXPECT_EQ(ArchiveFile::PboExists((folder / "other.pbo").c_str()), 0u);
    EXPECT_EQ(archive.OpenPbo((folder / "named").c_str(), collect), 0);
    folder.write("game.ifa", ArchiveBytes().entry("a", "a").body());
    EXPECT_EQ(archive.OpenPbo((folder / "game").c_str(), collect), 0);
}

TEST_F(ArchiveRead, CompressedEntriesExpandOrFailWithCompressionError) {
    const std::string plain = "text text text text text text text text";
    ASSERT_EQ(open(ArchiveBytes().compressed("c.txt", plain).body()), 0);
    ASSERT_TRUE(entry("c.txt").isCompressed());
    ASSERT_EQ(archive.GetFileData(&entry("c.txt")), 0);
    EXPECT_EQ(text(entry("c.txt")), plain);

    // Ten stored bytes cannot expand to four gigabytes: refused before anything is allocated.
    const ArchiveBytes::Entry huge{"huge", std::string(10, '\xFF'), 0, ArchiveBytes::Compressed, 0xFFFFFFF0};
    ASSERT_EQ(open(ArchiveBytes().add(huge).body()), 0);
    EXPECT_EQ(archive.GetFileData(&entry("huge")), -6);
    EXPECT_FALSE(entry("huge").hasData());
    // A block whose checksum does not match its bytes.
    std::string damaged = ArchiveBytes().compressed("c.txt", plain).body();
    damaged.back() ^= 0x55;
    ASSERT_EQ(open(damaged), 0);
    EXPECT_EQ(archive.GetFileData(&entry("c.txt")), -6);
    EXPECT_STREQ(archive.ErrorString(-6), "ArchiveFile compression error");
}

TEST_F(ArchiveRead, DecodingTurnsByteOrderMarksIntoPlainText) {
    const std::string utf16("\xFF\xFE\x41\x42\xE9\x4E", 6);  // two units, neither with a zero byte
    const ArchiveBytes bytes = ArchiveBytes()
                                   .entry("utf8.txt", "\xEF\xBB\xBFplain")
                                   .entry("utf16.txt", utf16)
                                   .entry("big.txt", "\xFE\xFF\x41\x42")
                                   .entry("binary.bin", std::string("\xFF\xFE\x41\0", 4))
                                   .entry("raw.txt", "\xEF\xBB\xBFkept");
    ASSERT_EQ(open(bytes.body()), 0);
    ASSERT_EQ(archive.GetFileData(&entry("utf8.txt"), ArchiveFile::DecodeData), 0);
    EXPECT_EQ(text(entry("utf8.txt")), "plain");
    EXPECT_EQ(entry("utf8.txt").realSize(), 5u);
    ASSERT_EQ(archive.GetFileData(&entry("utf16.txt"), ArchiveFile::DecodeData), 0);
    EXPECT_EQ(text(entry("utf16.txt")), "\xE4\x89\x81\xE4\xBB\xA9");
    EXPECT_EQ(archive.GetFileData(&entry("big.txt"), ArchiveFile::DecodeData), -19);
    ASSERT_EQ(archive.GetFileData(&entry("binary.bin"), ArchiveFile::DecodeData), 0);
    EXPECT_EQ(entry("binary.bin").data().size(), 4u);
    ASSERT_EQ(archive.GetFileData(&entry("raw.txt")), 0);
    EXPECT_EQ(text(entry("raw.txt")), "\xEF\xBB\xBFkept");
}

TEST_F(ArchiveRead, DataStartingWithZeroGoesToTheConfigDecoder) {
    const std::string notRap("\0not a config", 13);
    ArchiveBytes bytes =
        ArchiveBytes().entry("config.bin", rapConfig).entry("data.bin", notRap).entry("tiny", std::string(4, '\0'));
    ASSERT_EQ(open(bytes.body()), 0);
    ASSERT_EQ(archive.GetFileData(&entry("config.bin"), ArchiveFile::DecodeData), 0);
    const pbo_entry& config = entry("config.cpp");
    EXPECT_TRUE(config.WasRapified());
    EXPECT_NE(text(config).find("x = 5;"), std::string::npos);
    EXPECT_NE(text(config).find("test : config.bin"), std::string::npos);

    lines.clear();
    ASSERT_EQ(archive.GetFileData(&entry("data.bin"), ArchiveFile::DecodeData), 0);
    EXPECT_FALSE(entry("data.bin").WasRapified());
    EXPECT_EQ(text(entry("data.bin")), notRap);
    EXPECT_NE(lines.find("\r\nRapfile:"), std::string::npos);
    // Four bytes or fewer are never taken for a config.
    ASSERT_EQ(archive.GetFileData(&entry("tiny"), ArchiveFile::DecodeData), 0);
    EXPECT_FALSE(entry("tiny").WasRapified());

    // Keeping text bytes, only what carries the whole signature is decoded, and quietly.
    ASSERT_EQ(open(bytes.entry("utf8.txt", "\xEF\xBB\xBFkept").body()), 0);
    constexpr int flags = ArchiveFile::DecodeData | ArchiveFile::KeepTextBytes;
    ASSERT_EQ(archive.GetFileData(&entry("config.bin"), flags), 0);
    EXPECT_NE(text(entry("config.cpp")).find("x = 5;"), std::string::npos);
    lines.clear();
    ASSERT_EQ(archive.GetFileData(&entry("data.bin"), flags), 0);
    EXPECT_EQ(text(entry("data.bin")), notRap);
    EXPECT_EQ(lines, "");
    ASSERT_EQ(archive.GetFileData(&entry("utf8.txt"), flags), 0);
    EXPECT_EQ(text(entry("utf8.txt")), "\xEF\xBB\xBFkept");
}

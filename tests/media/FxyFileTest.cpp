#include <gtest/gtest.h>

#include <string>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/VexDLL.h"
#include "archivefile/media/FxyFile.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;
using archivefile::testing::TempFolder;

namespace {

// A new-layout table: "VXFo", the version and `records` bytes of records.
std::string newTable(std::int32_t version = 257, std::size_t records = 464 * 14) {
    std::string out = "VXFo";
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>((version >> shift) & 0xFF);
    for (std::size_t i = 0; i < records; ++i) out += static_cast<char>(i % 251);
    return out;
}

}  // namespace

class Font : public ::testing::Test {
protected:
    int open(const std::string& bytes) {
        image = bytes;
        return font.OpenFxy(nullptr, reinterpret_cast<const unsigned char*>(image.data()),
                            static_cast<unsigned>(image.size()));
    }

    const unsigned char* record(unsigned index) const { return reinterpret_cast<const unsigned char*>(font.GetEntry(index)); }

    VexDLL root;
    FxyFile& font = *root.fxyFile();
    std::string image;
};

TEST_F(Font, OldLayoutIsAFileOfExactlyItsSizeWhateverItsFirstBytes) {
    ASSERT_EQ(open(std::string(2688, 'a')), 0);
    EXPECT_EQ(font.IsKern(), 0);
    EXPECT_EQ(font.entryCount(), 224u);
    EXPECT_EQ(record(0), reinterpret_cast<const unsigned char*>(image.data()));
    EXPECT_EQ(record(223), record(0) + 223 * 12);
    EXPECT_EQ(record(224), nullptr);

    ASSERT_EQ(open(newTable(257, 2688 - 8)), 0);
    EXPECT_EQ(font.IsKern(), 0) << "a 2688-byte file that begins with VXFo is an old table";
}

TEST_F(Font, NewLayoutIsSignatureVersionAndWholeRecords) {
    ASSERT_EQ(open(newTable()), 0);
    EXPECT_EQ(font.IsKern(), 1);
    EXPECT_EQ(font.entryCount(), 464u);
    EXPECT_EQ(record(0), reinterpret_cast<const unsigned char*>(image.data()) + 8);
    EXPECT_EQ(record(463), record(0) + 463 * 14);
    EXPECT_EQ(record(464), nullptr);
}

TEST_F(Font, AnythingElseIsNotAWholeTable) {
    EXPECT_EQ(open(newTable(256)), FxyFile::NonModularSize);
    EXPECT_EQ(open(newTable(257, 464 * 14 + 1)), FxyFile::NonModularSize);
    EXPECT_EQ(open(newTable(257, 464 * 14 - 1)), FxyFile::NonModularSize);
    EXPECT_EQ(open(std::string(2689, 'a')), FxyFile::NonModularSize);
    EXPECT_EQ(open("VXFo\x01"), GE_PrematureEof);
    EXPECT_EQ(open(""), GE_PrematureEof);
    EXPECT_EQ(font.GetEntry(0), nullptr) << "a failed open leaves the font closed";
    EXPECT_STREQ(font.ErrorString(10), "Fxy: non modular filesize");
    EXPECT_STREQ(font.ErrorString(1), "Premature EOF");
}

TEST_F(Font, FromAFileWithTheExtensionSupplied) {
    TempFolder folder;
    folder.write("table.fxy", newTable());
    EXPECT_EQ(font.OpenFxy((folder / "table").c_str(), nullptr, 0), 0);
    EXPECT_EQ(font.IsKern(), 1);
    EXPECT_EQ(font.OpenFxy((folder / "absent.fxy").c_str(), nullptr, 0), GE_InvalidFile);
    font.Close();
    EXPECT_EQ(font.GetEntry(0), nullptr);
}

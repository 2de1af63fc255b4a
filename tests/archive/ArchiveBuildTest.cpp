#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/Sha1.h"
#include "tests/archive/ArchiveTestSupport.h"

using namespace archivefile;
using archivefile::testing::ArchiveTest;
using archivefile::testing::TempFolder;
namespace fs = std::filesystem;

namespace {

std::string bytesOf(const std::string& file) { return TempFolder::read(file); }

}  // namespace

class ArchiveBuild : public ArchiveTest {
protected:
    // A small mod folder: text, a binary file, a subfolder, and a prefix file.
    std::string makeFolder(const char* prefix = "x\\demo\\addons\\lamps") {
        folder.write("src/readme.txt", "lamps for every room\n");
        folder.write("src/data/Beam.BIN", std::string("\x00\x01\x02\xFF\x00\x10", 6));
        folder.write("src/data/notes.txt", std::string(3000, 'a'));
        folder.write("src/Thumbs.db", "thumbnails");
        if (prefix) folder.write("src/$PBOPREFIX$", std::string(prefix) + "\r\nsecond line is not the prefix\r\n");
        return folder / "src";
    }

    int build(const std::string& source, int flags, const std::string& output, const char* prefix = nullptr) {
        lines.clear();
        archive.setBuildTime(1'700'000'000);
        return archive.MakePboNew(source.c_str(), flags, output.c_str(), collect, nullptr, prefix);
    }
};

TEST_F(ArchiveBuild, EntriesAreSortedByPathIgnoringCaseAndCarryTheGivenTime) {
    const std::string source = makeFolder();
    ASSERT_EQ(build(source, ArchiveFile::StyleKern, folder / "out.pbo"), 0) << lines;
    ASSERT_EQ(archive.OpenPbo((folder / "out.pbo").c_str(), collect, ArchiveFile::Brief), 0);
    std::vector<std::string> names;
    for (pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
        names.emplace_back(entry->name());
        EXPECT_EQ(entry->timeStamp(), 1'700'000'000u);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"data\\Beam.BIN", "data\\notes.txt", "readme.txt"}));
    EXPECT_STREQ(archive.GetPrefix(), "x\\demo\\addons\\lamps");
    EXPECT_NE(lines.find("Using folder's prefix:x\\demo\\addons\\lamps \r\n"), std::string::npos);
    EXPECT_NE(lines.find("excluding $PBOPREFIX$\r\n"), std::string::npos);
    EXPECT_EQ(lines.find("Thumbs.db"), std::string::npos);
}

TEST_F(ArchiveBuild, KernTrailerIsTheShaOfEverythingBeforeIt) {
    const std::string source = makeFolder(nullptr);
    folder.write("src/mission.sqm", "version = 12;\n");
    ASSERT_EQ(build(source, ArchiveFile::StyleKern, folder / "m.pbo"), 0) << lines;
    EXPECT_NE(lines.find("Creating KerN noPrefix (mission/campaign/or rootAddon) pbo:\r\n"), std::string::npos);
    const std::string bytes = bytesOf(folder / "m.pbo");
    ASSERT_GT(bytes.size(), 21u);
    const std::string body = bytes.substr(0, bytes.size() - 21);
    const Sha1::Digest digest =
        Sha1::of({reinterpret_cast<const std::uint8_t*>(body.data()), body.size()});
    EXPECT_EQ(bytes[bytes.size() - 21], '\0');
    EXPECT_EQ(bytes.substr(bytes.size() - 20), std::string(digest.begin(), digest.end()));
    EXPECT_NE(lines.find("Writing sha '" + Sha1::hexText(digest) + "'\r\n"), std::string::npos);
    // Only the tool signature stands in the properties entry.
    EXPECT_EQ(bytes.substr(0, 21 + 22), std::string("\0sreV\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0Tavin\0ArchiveFile.dll\0\0", 43));
}

TEST_F(ArchiveBuild, RegalTrailerCarriesTheFirstShaBytes) {
    const std::string source = makeFolder();
    ASSERT_EQ(build(source, ArchiveFile::StyleRegal, folder / "r.pbo"), 0) << lines;
    const std::string bytes = bytesOf(folder / "r.pbo");
    const std::string body = bytes.substr(0, bytes.size() - 5);
    const Sha1::Digest digest = Sha1::of({reinterpret_cast<const std::uint8_t*>(body.data()), body.size()});
    EXPECT_EQ(bytes.substr(bytes.size() - 5), '\0' + std::string(digest.begin(), digest.begin() + 4));
    EXPECT_NE(lines.find("Creating Xbox Regal Style Pbo:\r\nPrefix = x\\demo\\addons\\lamps\r\n"), std::string::npos);
}

TEST_F(ArchiveBuild, VanguardNamesItsProductBeforeTheToolSignatureAndItsKeptProperties) {
    const std::string source = makeFolder(nullptr);
    folder.write("src/PboPrefix.txt", "x\r\n======<HEADER>=======\r\nproduct=shelf\r\nTAVIN=old\r\nPbo Type is: \r\n");
    ASSERT_EQ(build(source, ArchiveFile::StyleVanguard, folder / "v.pbo"), 0);
    EXPECT_EQ(bytesOf(folder / "v.pbo").substr(21, 59),
              std::string("product\0TGR: Vanguard\0Tavin\0ArchiveFile.dll\0product\0shelf\0\0", 59));
}

TEST_F(ArchiveBuild, PrefixOptionWinsOverThePrefixFile) {
    const std::string source = makeFolder();
    ASSERT_EQ(build(source, ArchiveFile::StyleKern, folder / "p.pbo", "/other/prefix/"), 0);
    EXPECT_NE(lines.find("Ignoring folder's prefix file\r\n"), std::string::npos);
    ASSERT_EQ(archive.OpenPbo((folder / "p.pbo").c_str(), collect, ArchiveFile::Brief), 0);
    EXPECT_STREQ(archive.GetPrefix(), "other\\prefix");
}

TEST_F(ArchiveBuild, EveryStyleOpensAsItsTypeAndPacksAgainIntoTheSameBytes) {
    const std::string source = makeFolder();
    // Configs whose text chooses the inline style or leaves the choice, decoded on the way, and a
    // text with a byte-order mark, which is kept.
    folder.write("src/config.cpp", "#define _TGR_\nclass Lamps { count = 3; };\n");
    folder.write("src/sub/config.cpp", "class Base; class Lamp: Base { colours[] += {\"red\"}; };\n");
    folder.write("src/stringtable.xml", "\xEF\xBB\xBF<Project name=\"lamps\"/>\n");
    archive.setConfigOptions(Rapify::ExtendedSyntax | Rapify::KernByDefault);
    // Every style opens as its own type, and its unpacked folder packs into the very same bytes.
    const std::pair<int, int> styles[] = {
        {ArchiveFile::StyleKqm, ArchiveFile::TypeNoProperties},
        {ArchiveFile::StyleVanguard, ArchiveFile::TypeProperties},
        {ArchiveFile::StyleKernNoSha, ArchiveFile::TypePrefixNoTrailer},
        {ArchiveFile::StyleRegal, ArchiveFile::TypePrefixChecksum},
        {ArchiveFile::StyleKern, ArchiveFile::TypePrefixSha},
    };
    for (const auto& [style, type] : styles) {
        const std::string first = folder / "first.pbo", second = folder / "second.pbo";
        const std::string unpacked = folder / "unpacked";
        fs::remove_all(unpacked);
        ASSERT_EQ(build(source, style | ArchiveFile::CompressEntries, first), 0) << lines;
        ASSERT_EQ(archive.OpenPbo(first.c_str(), collect, ArchiveFile::Brief), 0) << lines;
        EXPECT_EQ(archive.GetPboType(), type) << style;
        archive.ClosePbo();
        constexpr int flags = ArchiveFile::IgnorePrefix | ArchiveFile::DecodeText | ArchiveFile::KeepText;
        ASSERT_EQ(archive.ExtractPbo(first.c_str(), collect, flags, nullptr, unpacked.c_str()), 0) << lines;
        ASSERT_TRUE(fs::exists(unpacked + "/first/sub/config.cpp"));
        // Unpacked files keep the entries' times, so the second build needs no fixed time.
        archive.setBuildTime(std::nullopt);
        ASSERT_EQ(archive.MakePboNew((unpacked + "/first").c_str(), style | ArchiveFile::CompressEntries,
                                     second.c_str(), collect, nullptr,
                                     style >= ArchiveFile::StyleKernNoSha ? "x\\demo\\addons\\lamps" : nullptr),
                  0)
            << lines;
        EXPECT_EQ(bytesOf(first), bytesOf(second)) << "style " << style;
    }
}

TEST_F(ArchiveBuild, PropertiesOfAnUnpackedArchiveComeBack) {
    const std::string source = makeFolder(nullptr);
    folder.write("src/PboPrefix.txt",
                 "x\\kept\r\n======<HEADER>=======\r\nprefix=x\\kept\r\nproduct=demo shelf\r\nTavin=ArchiveFile.dll\r\n"
                 "Pbo Type is: Kern \r\nAddon\r\n======</HEADER>============\r\n");
    ASSERT_EQ(build(source, ArchiveFile::StyleKern, folder / "k.pbo"), 0) << lines;
    // They are that archive's alone: the next one built, given no prefix, has none of them.
    ASSERT_TRUE(archive.CreatePbo((folder / "next.pbo").c_str(), ArchiveFile::StyleKern, nullptr, collect));
    ASSERT_EQ(archive.AddNewEntry("mission.sqm", "x", 1), 0);
    ASSERT_EQ(archive.SavePbo(), 0);
    const auto propertiesOf = [&](const std::string& path) {
        std::vector<std::string> properties;
        EXPECT_EQ(archive.OpenPbo(path.c_str(), collect, ArchiveFile::Brief), 0);
        for (const TokenPair& property : archive.properties())
            properties.push_back(std::string(property.name.view()) + "=" + std::string(property.value.view()));
        return properties;
    };
    EXPECT_EQ(propertiesOf(folder / "k.pbo"),
              (std::vector<std::string>{"prefix=x\\kept", "Tavin=ArchiveFile.dll", "product=demo shelf"}));
    EXPECT_EQ(propertiesOf(folder / "next.pbo"), (std::vector<std::string>{"Tavin=ArchiveFile.dll"}));
}

TEST_F(ArchiveBuild, FailuresLeaveNoArchiveBehind) {
    EXPECT_EQ(build((folder / "missing").c_str(), ArchiveFile::StyleKern, folder / "x.pbo"), AE_NoFile);
    EXPECT_NE(lines.find("Folder does not exist"), std::string::npos);

    // The config fails to compile after the archive's header is already written.
    const std::string source = makeFolder();
    folder.write("src/config.cpp", "class Broken {\n  value = 1;\n");
    const std::string output = folder.write("old.pbo", "earlier archive");
    EXPECT_EQ(build(source, ArchiveFile::StyleKern, output), AE_RapError);
    EXPECT_NE(lines.find("config.cpp"), std::string::npos);
    EXPECT_EQ(bytesOf(output), "earlier archive");
    std::size_t files = 0;
    for (const auto& item : fs::directory_iterator(folder.path())) files += item.is_regular_file();
    EXPECT_EQ(files, 1u);
}

TEST_F(ArchiveBuild, AnUnreadableFileStopsTheBuild) {
    const std::string source = makeFolder();
    const std::string locked = folder.write("src/locked.txt", "secret");
    fs::permissions(locked, fs::perms::none);
    if (std::FILE* probe = std::fopen(locked.c_str(), "rb")) {
        std::fclose(probe);
        GTEST_SKIP() << "running with rights that read any file";
    }
    EXPECT_EQ(build(source, ArchiveFile::StyleKern, folder / "u.pbo"), AE_CannotReadFile);
    EXPECT_NE(lines.find("cannot read file to enter into header"), std::string::npos);
    EXPECT_FALSE(fs::exists(folder / "u.pbo"));
}

TEST_F(ArchiveBuild, AKernArchiveWithoutPrefixNeedsAMissionOrAConfig) {
    const std::string source = makeFolder(nullptr);
    EXPECT_EQ(build(source, ArchiveFile::StyleKern, folder / "n.pbo"), AE_NoMissionOrConfig);
    // The folder is looked at before any entry is built.
    EXPECT_EQ(lines.find("Building entries..\r\n"), std::string::npos);
    EXPECT_NE(lines.find("No mission.sqm or config detected: "), std::string::npos);
    EXPECT_FALSE(fs::exists(folder / "n.pbo"));
    EXPECT_EQ(build(source, ArchiveFile::StyleKqm, folder / "n.pbo"), 0);
}

TEST_F(ArchiveBuild, AnArchiveBuiltEntryByEntryReadsBack) {
    const std::string loose = folder.write("loose/wall.paa", "texture bytes");
    const std::string output = folder / "built.pbo";
    EXPECT_EQ(archive.SavePbo(), AE_CodeBug);
    lines.clear();
    archive.setBuildTime(1'700'000'000);
    archive.setNeverCompress("paa");
    ASSERT_TRUE(archive.CreatePbo(output.c_str(), ArchiveFile::StyleKern | ArchiveFile::CompressEntries, "x\\demo",
                                  collect));
    EXPECT_FALSE(archive.CreatePbo((folder / "other.pbo").c_str(), ArchiveFile::StyleKern, "", collect));
    const std::string notes(400, 't');
    EXPECT_EQ(archive.AddNewEntry("/data/notes.txt", "old", 3), 0);
    EXPECT_EQ(archive.ProcessAddNewEntry("data\\wall.paa", loose.c_str()), 0);
    EXPECT_EQ(archive.AddNewEntry("empty.txt", nullptr, 0), 0);
    EXPECT_EQ(archive.AddNewEntry("DATA/Notes.TXT", notes.data(), notes.size()), 0);
    EXPECT_EQ(archive.AddNewEntry("", "x", 1), AE_NoFile);
    EXPECT_EQ(archive.ProcessAddNewEntry("gone.txt", (folder / "gone.txt").c_str()), AE_NoFile);
    ASSERT_EQ(archive.SavePbo(), 0) << lines;
    // Every message of the build went to the callback given: an empty entry is compressed and
    // rejected like any other, and the totals have no line end of their own.
    EXPECT_EQ(lines.substr(0, lines.find("Writing sha '")),
              "Creating KerN style pbo:\r\nPrefix = x\\demo\r\nreplacing existing content DATA\\Notes.TXT\r\n"
              "ArchiveFile No File found: an entry needs a name\r\n"
              "ArchiveFile No File found: " + folder / "gone.txt" + "\r\n"
              "compressing data\\notes.txtfrom 400 to 54 (86%)\r\n"
              "compressing empty.txtfrom 0 to 4 ( 0%) rejected\r\n"
              "Overall compression from 413 to 67 (84% reduction)");

    ASSERT_EQ(archive.OpenPbo(output.c_str(), collect, ArchiveFile::Brief), 0);
    EXPECT_EQ(archive.GetPboType(), ArchiveFile::TypePrefixSha);
    EXPECT_STREQ(archive.GetPrefix(), "x\\demo");
    std::vector<std::string> contents;
    for (pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
        ASSERT_EQ(archive.GetFileData(entry), 0);
        contents.push_back(std::string(entry->name()) + "=" + text(*entry).substr(0, 7));
        EXPECT_EQ(entry->timeStamp(), 1'700'000'000u);
    }
    EXPECT_EQ(contents, (std::vector<std::string>{"data\\notes.txt=ttttttt", "data\\wall.paa=texture", "empty.txt="}));
}

TEST_F(ArchiveBuild, TheArchiveGoesBesideTheFolderWhateverItsName) {
    makeFolder();
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    folder.write("src/PboName.h", "#define PBONAME \"lamps\"\n");
    const int named = build("src/", ArchiveFile::StyleKern, "");
    const bool besideIt = fs::exists(folder / "lamps.pbo");
    const bool reported = lines.find("Renaming output to lamps.pbo\r\n") != std::string::npos;
    fs::remove(folder / "src/PboName.h");
    folder.write("src/PboName.hpp", "..\\..\\escape\n");
    const int climbing = build("src", ArchiveFile::StyleKern, "");
    const std::string refusal = lines;
    fs::remove(folder / "src/PboName.hpp");
    fs::current_path(folder.path() / "src");
    const int dot = build(".", ArchiveFile::StyleKern, "");
    fs::current_path(before);

    EXPECT_EQ(named, 0);
    EXPECT_TRUE(besideIt);
    EXPECT_TRUE(reported);
    EXPECT_EQ(climbing, AE_IllegalFolder);
    EXPECT_NE(refusal.find("Cannot take the archive name ..\\..\\escape from PboName.hpp: "), std::string::npos);
    EXPECT_FALSE(fs::exists(folder.path().parent_path() / "escape.pbo"));
    EXPECT_EQ(dot, 0);
    EXPECT_TRUE(fs::exists(folder / "src.pbo"));
}

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Platform.h"
#include "tests/archive/ArchiveTestSupport.h"

using namespace archivefile;
using archivefile::testing::ArchiveBytes;
using archivefile::testing::rapConfig;
using archivefile::testing::TempFolder;
namespace fs = std::filesystem;

namespace {

const std::string End = "======</HEADER>============\r\n";

// Every file below `root`, as sorted relative paths.
std::vector<std::string> filesUnder(const fs::path& root) {
    std::vector<std::string> files;
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(root, error); it != fs::recursive_directory_iterator(); ++it)
        if (!it->is_directory() || it->is_symlink()) files.push_back(fs::relative(it->path(), root).generic_string());
    std::sort(files.begin(), files.end());
    return files;
}

bool cancelAtSecond(const char* text, ...) {
    if (std::string(text) == "second.txt") archivefile::raise(GE_UserCancelled);
    return true;
}

}  // namespace

class ArchiveExtract : public archivefile::testing::ArchiveTest {
protected:
    int extract(const std::string& bytes, int flags = 0, const char* fileList = nullptr, const char* dest = nullptr) {
        lines.clear();
        archivePath = folder.write("game.pbo", bytes);
        return archive.ExtractPbo(archivePath.c_str(), collect, flags, fileList, dest ? dest : out.c_str());
    }

    std::string out = folder / "out";
    std::string archivePath;
};

TEST_F(ArchiveExtract, ExtractsUnderThePrefixWithTimesAndThePrefixFile) {
    const std::string bytes = ArchiveBytes()
                                  .properties({{"prefix", "a\\b"}})
                                  .entry("x.txt", "hello", 1000000000)
                                  .entry("sub\\y.bin", std::string("\0\1", 2))
                                  .withSha();
    archivePath = folder.write("game.pbo", bytes);
    ASSERT_TRUE(Platform::setModificationTime(archivePath, 1234567890));
    lines.clear();
    ASSERT_EQ(archive.ExtractPbo(archivePath.c_str(), collect, 0, nullptr, out.c_str()), 0);
    EXPECT_FALSE(archive.isOpen());

    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"a/b/PboPrefix.txt", "a/b/sub/y.bin", "a/b/x.txt"}));
    EXPECT_EQ(TempFolder::read(out + "/a/b/x.txt"), "hello");
    EXPECT_EQ(Platform::modificationTime(out + "/a/b/x.txt"), 1000000000);
    // An entry without a time of its own takes the archive's.
    EXPECT_EQ(Platform::modificationTime(out + "/a/b/sub/y.bin"), 1234567890);

    const std::string report = lines.substr(0, lines.find(End) + End.size());
    EXPECT_EQ(TempFolder::read(out + "/a/b/PboPrefix.txt"), "a\\b\r\n" + report);
    EXPECT_EQ(lines.substr(report.size()),
              "x.txt\r\nsub\\y.bin\r\nCreating prefix file for a\\b\r\n--------------------\r\n");
}

TEST_F(ArchiveExtract, OutputFolderFollowsPrefixDestinationAndIgnorePrefix) {
    const std::string prefixed = ArchiveBytes().properties({{"prefix", "p"}}).entry("x.txt", "x").withSha();
    ASSERT_EQ(extract(prefixed, ArchiveFile::Brief, nullptr, ""), 0);
    EXPECT_EQ(filesUnder(folder / "game"), (std::vector<std::string>{"p/PboPrefix.txt", "p/x.txt"}));
    EXPECT_EQ(lines, "x.txt\r\n");

    ASSERT_EQ(extract(prefixed, ArchiveFile::IgnorePrefix | ArchiveFile::Brief), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/PboPrefix.txt", "game/x.txt"}));

    fs::remove_all(out);
    ASSERT_EQ(extract(ArchiveBytes().entry("x.txt", "x").body()), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/x.txt"}));
}

TEST_F(ArchiveExtract, FileListSelectsByNameOrExtension) {
    const std::string bytes = ArchiveBytes()
                                  .properties({{"prefix", "p"}})
                                  .entry("m\\a.p3d", "a")
                                  .entry("b.P3D", "b")
                                  .entry("c.txt", "c")
                                  .entry("d\\c.txt", "d")
                                  .withSha();
    ASSERT_EQ(extract(bytes, 0, "*.p3d"), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"p/b.P3D", "p/m/a.p3d"}));

    fs::remove_all(out);
    ASSERT_EQ(extract(bytes, ArchiveFile::Brief, " c.txt , B.p3d"), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"p/b.P3D", "p/c.txt", "p/d/c.txt"}));

    ASSERT_EQ(extract(bytes, ArchiveFile::Brief, "none.txt"), 0);
    EXPECT_EQ(lines, "Warning: no file(s) to extract\r\n");
    EXPECT_EQ(extract(bytes, ArchiveFile::Brief | ArchiveFile::Strict, "none.txt,*.wrp"), -26);
}

TEST_F(ArchiveExtract, PrefixFilesInsideArchivesAreNotWritten) {
    const std::string bytes =
        ArchiveBytes().properties({{"prefix", "p"}}).entry("$PBOPREFIX$", "other").entry("x.txt", "x").withSha();
    ASSERT_EQ(extract(bytes, ArchiveFile::Brief), 0);
    EXPECT_NE(lines.find("$PBOPREFIX$ ignoring erroneous prefix file inside pbo\r\n"), std::string::npos);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"p/PboPrefix.txt", "p/x.txt"}));

    // Asking for the prefix file writes only that.
    fs::remove_all(out);
    ASSERT_EQ(extract(bytes, ArchiveFile::Brief, "pboprefix.TXT"), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"p/PboPrefix.txt"}));
    EXPECT_EQ(TempFolder::read(out + "/p/PboPrefix.txt").rfind("p\r\n======<HEADER>=======\r\n", 0), 0u);

    fs::remove_all(out);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(extract(ArchiveBytes().entry("x.txt", "x").body(), ArchiveFile::Brief, "$PBOPREFIX$"), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Warning: this pbo has no prefix to extract");
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(ArchiveExtract, StarsBecomeZInTargetsWhileThePrefixFileStaysInThePrefixFolder) {
    // A prefix written with a leading backslash is still a folder below the destination.
    const std::string bytes =
        ArchiveBytes().properties({{"prefix", "\\pa\\p*b"}}).entry("x*.txt", "x").entry("s*\\y.txt", "y").withSha();
    ASSERT_EQ(extract(bytes, ArchiveFile::Brief), 0) << lines;
    EXPECT_EQ(filesUnder(out),
              (std::vector<std::string>{"pa/p*b/PboPrefix.txt", "pa/pzb/sz/y.txt", "pa/pzb/xz.txt"}));
    EXPECT_EQ(TempFolder::read(out + "/pa/p*b/PboPrefix.txt").rfind("\\pa\\p*b\r\n", 0), 0u);

    // A prefix file that cannot be written is a warning with the system's words, and code -3.
    fs::remove_all(out);
    fs::create_directories(out + "/pa/p*b/PboPrefix.txt");
    EXPECT_EQ(extract(bytes, ArchiveFile::Brief), AE_NoFile);
    EXPECT_NE(lines.find("Warning: cannot create prefix file Is a directory\r\n"), std::string::npos);
}

TEST_F(ArchiveExtract, ConfigBinBecomesConfigCppOnlyWhenDecoding) {
    const std::string bytes = ArchiveBytes().entry("config.bin", rapConfig).entry("star*.txt", "\xEF\xBB\xBFs").body();
    ASSERT_EQ(extract(bytes, ArchiveFile::DecodeText | ArchiveFile::Brief), 0);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/config.cpp", "game/starz.txt"}));
    EXPECT_NE(TempFolder::read(out + "/game/config.cpp").find("x = 5;"), std::string::npos);
    EXPECT_NE(lines.find("config.bin (rapfiled) (renaming output to config.cpp)\r\n"), std::string::npos);
    EXPECT_EQ(TempFolder::read(out + "/game/starz.txt"), "s");

    fs::remove_all(out);
    ASSERT_EQ(extract(bytes, ArchiveFile::DecodeText | ArchiveFile::KeepText | ArchiveFile::Brief), 0);
    EXPECT_NE(TempFolder::read(out + "/game/config.cpp").find("x = 5;"), std::string::npos);
    EXPECT_EQ(TempFolder::read(out + "/game/starz.txt"), "\xEF\xBB\xBFs");

    fs::remove_all(out);
    ASSERT_EQ(extract(bytes, ArchiveFile::Brief), 0);
    EXPECT_EQ(TempFolder::read(out + "/game/config.bin"), rapConfig);
}

TEST_F(ArchiveExtract, ListModeWritesNothingAndGivesOneLinePerEntry) {
    const std::string bytes = ArchiveBytes()
                                  .entry("a.txt", "hello", 1000000000)
                                  .add({"c.bin", std::string(10, 'z'), 0, ArchiveBytes::Compressed, 100})
                                  .body() + "!";
    ASSERT_EQ(extract(bytes, ArchiveFile::ListOnly), 0);
    EXPECT_EQ(lines.substr(lines.find(End) + End.size()),
              "Warning: ArchiveFile has residual bytes (possibly a tool signature)\r\n"
              "a.txt:Sun Sep  9 01:46:40 2001: size 5\r\n"
              "c.bin:Thu Jan  1 00:00:00 1970: size 100 (compressed or encrypted) 10\r\n"
              "Warning: ArchiveFile has residual bytes (possibly a tool signature)\r\n");
    ASSERT_EQ(extract(bytes, ArchiveFile::ListOnly | ArchiveFile::Brief), 0);
    EXPECT_EQ(lines, "Warning: ArchiveFile has residual bytes (possibly a tool signature)\r\na.txt\r\nc.bin\r\n"
                     "Warning: ArchiveFile has residual bytes (possibly a tool signature)\r\n");
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(ArchiveExtract, UnsafeNamesAreRefusedAndTheRestIsExtracted) {
    ArchiveBytes bytes;
    for (const char* name : {"..\\escape.txt", "\\root.txt", "/abs.txt", "c:\\drive.txt", "d:rel.txt",
                             "ok\\..\\..\\up.txt", "NUL.txt", "sub\\com1", "good.txt"})
        bytes.entry(name, "x");
    EXPECT_EQ(extract(bytes.body(), ArchiveFile::Brief), -14);
    EXPECT_EQ(filesUnder(folder.path()), (std::vector<std::string>{"game.pbo", "out/game/good.txt"}));
    EXPECT_NE(lines.find("..\\escape.txt refused: "), std::string::npos);
    EXPECT_NE(lines.find("NUL.txt refused: "), std::string::npos);
    EXPECT_NE(lines.find("good.txt\r\n"), std::string::npos);

    // A prefix that climbs out is refused before anything is written.
    fs::remove_all(out);
    EXPECT_EQ(extract(ArchiveBytes().properties({{"prefix", "..\\..\\evil"}}).entry("x.txt", "x").withSha()), -14);
    EXPECT_NE(lines.find("Cannot use prefix ..\\..\\evil"), std::string::npos);
    EXPECT_EQ(filesUnder(folder.path()), (std::vector<std::string>{"game.pbo"}));
}

TEST_F(ArchiveExtract, SymbolicLinksAreNotFollowedOutOfTheOutputFolder) {
    const fs::path outside = folder.path() / "outside";
    fs::create_directories(outside);
    folder.write("outside/target.txt", "keep");
    fs::create_directories(out + "/game/inside");
    fs::create_directory_symlink(outside, out + "/game/link");
    fs::create_directory_symlink(out + "/game/inside", out + "/game/alias");
    fs::create_symlink(outside / "target.txt", out + "/game/file.txt");

    const std::string bytes =
        ArchiveBytes().entry("link\\x.txt", "x").entry("alias\\y.txt", "y").entry("file.txt", "new").body();
    EXPECT_EQ(extract(bytes, ArchiveFile::Brief), -14);
    EXPECT_NE(lines.find("link\\x.txt refused: "), std::string::npos);
    EXPECT_EQ(filesUnder(outside), (std::vector<std::string>{"target.txt"}));
    EXPECT_EQ(TempFolder::read((outside / "target.txt").string()), "keep");
    EXPECT_EQ(TempFolder::read(out + "/game/inside/y.txt"), "y");
    // The link that was there is replaced by the file, not written through.
    EXPECT_FALSE(fs::is_symlink(out + "/game/file.txt"));
    EXPECT_EQ(TempFolder::read(out + "/game/file.txt"), "new");
}

TEST_F(ArchiveExtract, WrongShaExtractsRegardlessUnlessStrict) {
    std::string bytes = ArchiveBytes().entry("a.txt", "hello").withSha();
    bytes[bytes.size() - 22] ^= 1;
    EXPECT_EQ(extract(bytes, ArchiveFile::Brief), -17);
    EXPECT_NE(lines.find("Warning: Content extracted regardless\r\n"), std::string::npos);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/a.txt"}));

    fs::remove_all(out);
    EXPECT_EQ(extract(bytes, ArchiveFile::Brief | ArchiveFile::Strict), -17);
    EXPECT_NE(lines.find("Warning: Content NOT extracted\r\n"), std::string::npos);
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(archive.isOpen());
}

TEST_F(ArchiveExtract, TheKeyPollCallbackGivenCancelsAtTheFirstLine) {
    archivePath = folder.write("game.pbo", ArchiveBytes().entry("a.txt", "a").body());
    EXPECT_EXIT(
        {
            Platform::watchInterrupt();
            std::raise(SIGINT);
            std::exit(-archive.ExtractPbo(archivePath.c_str(), VexFileIO::KeyPollCallBack, 0, nullptr, out.c_str()));
        },
        ::testing::ExitedWithCode(-AE_UserCancelled), "");
}

TEST_F(ArchiveExtract, FailuresStopTheRunAndLeaveNoPartialFile) {
    EXPECT_EQ(extract(ArchiveBytes().body()), -23);
    EXPECT_STREQ(archive.ErrorString(-23), "Pbo is empty (no files inside)");

    const std::string damaged = ArchiveBytes()
                                    .entry("first.txt", "1")
                                    .add({"bad.bin", "xyzw", 0, ArchiveBytes::Compressed, 50})
                                    .entry("last.txt", "3")
                                    .body();
    EXPECT_EQ(extract(damaged, ArchiveFile::Brief), -6);
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/first.txt"}));
    // The failing entry's line never got its end.
    EXPECT_EQ(lines, "first.txt\r\nbad.bin");

    fs::remove_all(out);
    archivePath = folder.write("game.pbo", ArchiveBytes().entry("first.txt", "1").entry("second.txt", "2").body());
    EXPECT_EQ(archive.ExtractPbo(archivePath.c_str(), cancelAtSecond, ArchiveFile::Brief, nullptr, out.c_str()), -12);
    EXPECT_STREQ(archive.ErrorString(-12), "User cancelled");
    EXPECT_EQ(filesUnder(out), (std::vector<std::string>{"game/first.txt"}));
}

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <string>

#include "archivefile/foundation/FileString.h"
#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;

namespace {
std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const TextException& error) {
        return error.what();
    }
    return {};
}
}  // namespace

TEST(FileStringA, PartsOfAWindowsPath) {
    const FileStringA path("C:\\data\\x.p3d");
    EXPECT_EQ(path.fs_HasDrive(), 1);
    EXPECT_EQ(path.fs_FileIs(), FK_Model);
    EXPECT_STREQ(path.fs_GetExtOnly(), ".p3d");
    EXPECT_EQ(path.fs_GetExtOnly(), path.c_str() + 9);
    EXPECT_STREQ(path.fs_GetFilenameAndExtOnly(), "x.p3d");
    EXPECT_EQ(path.fs_GetFilenameOnly(), "x");
    EXPECT_EQ(path.fs_GetDriveAndPathOnly(), "C:\\data");
    EXPECT_EQ(path.fs_GetDriveFileAndPathNoExt(), "C:\\data\\x");
    EXPECT_STREQ(path.fs_GetExtOnly("folder.d\\noext"), "");
    EXPECT_EQ(path.fs_GetDriveAndPathOnly("\\top.txt"), "\\");
}

TEST(FileStringA, LastSlashIsTheOneNearestTheEnd) {
    const FileStringA path;
    const char* mixed = "a/b\\c/d\\e";
    EXPECT_EQ(path.fs_GetLastSlash(mixed), mixed + 7);
    const char* forwardLast = "a\\b/c";
    EXPECT_EQ(path.fs_GetLastSlash(forwardLast), forwardLast + 3);
    EXPECT_EQ(path.fs_GetLastSlash("plain"), nullptr);
    const char* trailing = "dir\\";
    EXPECT_EQ(path.fs_GetTrailingSlash(trailing), trailing + 3);
    EXPECT_EQ(path.fs_GetTrailingSlash("dir\\x"), nullptr);
}

TEST(FileStringA, DrivesRootsAndNetworkPaths) {
    const FileStringA path;
    EXPECT_EQ(messageOf([&] { path.fs_HasDrive(""); }), "hasdrive invalid n:");
    EXPECT_EQ(messageOf([&] { path.fs_HasDrive("c:name"); }), "hasdrive invalid n:");
    EXPECT_EQ(messageOf([&] { path.fs_HasDrive("1:\\x"); }), "hasdrive invalid n:");
    EXPECT_EQ(path.fs_HasDrive("relative\\path"), 0);
    EXPECT_EQ(path.fs_HasDrive("d:/x"), 1);
    EXPECT_EQ(path.fs_HasVnc("\\\\server\\share"), 1);
    EXPECT_EQ(path.fs_HasVnc("//server/share"), 0);
    EXPECT_EQ(path.fs_HasRoot("/x"), 1);
    EXPECT_EQ(path.fs_HasRoot("x/"), 0);
    EXPECT_EQ(path.fs_DriveType("\\\\s\\x"), 3);
    EXPECT_EQ(path.fs_DriveType("c:\\x"), 2);
    EXPECT_EQ(path.fs_DriveType("\\x"), 1);
    EXPECT_EQ(path.fs_DriveType("x"), 0);
}

TEST(FileStringA, TwoCharacterDriveTextBecomesThatDrivesFolder) {
    FileStringA lower("c:");
    EXPECT_EQ(std::string(lower.fs_set_to_hardpath()), Platform::currentFolder());
    FileStringA upper("C:");
    EXPECT_EQ(messageOf([&] { upper.fs_set_to_hardpath(); }), "No memory");
    FileStringA other("c:\\x");
    EXPECT_STREQ(other.fs_set_to_hardpath(), "c:\\x");
}

TEST(FileKind, WholeNamesComeBeforeExtensionsAndCaseIsIgnored) {
    EXPECT_EQ(paths::fileKind("addons\\CONFIG.BIN"), FK_ConfigBin);
    EXPECT_EQ(paths::fileKind("config.cpp"), FK_ConfigCpp);
    EXPECT_EQ(paths::fileKind("x\\Mission.SQM"), FK_MissionSqm);
    EXPECT_EQ(paths::fileKind("page.HTML"), FK_Markup);
    EXPECT_EQ(paths::fileKind("script.h"), FK_H);
    EXPECT_EQ(paths::fileKind("script.hpp"), FK_Hpp);
    EXPECT_EQ(paths::fileKind("other.cpp"), FK_Cpp);
    EXPECT_EQ(paths::fileKind("t.paa"), FK_Texture);
    EXPECT_EQ(paths::fileKind("noext"), FK_Unknown);
    EXPECT_EQ(paths::fileKind("dir.p3d\\file"), FK_Unknown);
}

TEST(FileStringA, EditsAndComparisons) {
    FileStringA path("folder/name");
    EXPECT_STREQ(path.fs_AddExt("pbo"), "folder/name.pbo");
    EXPECT_STREQ(path.fs_AddExt(".txt"), "folder/name.pbo");
    EXPECT_STREQ(path.fs_ReplaceExt(".bak"), "folder/name.bak");
    EXPECT_STREQ(path.fs_RemoveExt(), "folder/name");
    EXPECT_STREQ(path.fs_ReplaceFilenameAndExt("other.cfg"), "folder/other.cfg");
    EXPECT_STREQ(path.fs_ConvertToBackSlash(), "folder\\other.cfg");
    // Texts compare as they stand, with or without case: a slash is not a backslash.
    EXPECT_EQ(path.fs_Compare("FOLDER\\Other.cfg"), 1);
    EXPECT_EQ(path.fs_Compare("FOLDER\\Other.cfg", 1), 0);
    EXPECT_EQ(path.fs_Compare("folder/other.cfg"), 0);
    EXPECT_EQ(FileString("a\\B.txt").CompareFull("A\\b.TXT"), 1);
    EXPECT_EQ(FileString("a\\B.txt").CompareFull("a/B.txt"), 0);
    EXPECT_EQ(path.fs_CompareExt("CFG"), 1);
    const std::array<const char*, 3> names{"a.cfg", "x\\OTHER.CFG", "b"};
    EXPECT_EQ(path.fs_CompareList(names), 2);
    EXPECT_EQ(messageOf([&] { path.fs_ReplaceFilenameAndExt(nullptr); }),
              "ArchiveFile.dll coding error: FileStringEx: 'no with'");
    FileStringA empty;
    EXPECT_EQ(messageOf([&] { empty.fs_RemoveExt(); }), "ArchiveFile.dll coding error: FileStringEx");
    EXPECT_EQ(messageOf([&] { path.fs_Extract(3, 100); }), "bad extract parms");
    EXPECT_STREQ(path.fs_Extract(0, 6), "folder");
    EXPECT_STREQ(path.fs_format_folder_and_file("out", "a.txt"), "out\\a.txt");
    EXPECT_STREQ(path.fs_format_folder_and_file("out/", "a.txt"), "out/a.txt");
    EXPECT_STREQ(path.fs_build_destination("out", "\\sub\\a.txt"), "out/sub/a.txt");
    EXPECT_STREQ(path.fs_RemoveTrailingSlash(), "out/sub/a.txt");
    EXPECT_STREQ(path.fs_AppendTrailingSlash(), "out/sub/a.txt\\");
    EXPECT_STREQ(path.fs_RemoveTrailingSlash(), "out/sub/a.txt");
}

TEST(FileStringA, TextFilesAndFolders) {
    archivefile::testing::TempFolder folder;
    const FileStringA path;
    const std::string file = folder.write("t.txt", "line");
    EXPECT_EQ(path.fs_ReadTextFile(file.c_str()), "line");
    EXPECT_EQ(messageOf([&] { path.fs_ReadTextFile((folder / "none").c_str()); }), "bad read");
    EXPECT_EQ(path.fs_FolderExists(folder.path().c_str()), 1);
    EXPECT_EQ(messageOf([&] { path.fs_FolderExists((folder / "none").c_str(), true); }),
              "Folder does not exist " + (folder / "none"));
    {
        auto created = path.fs_CreateTextFile((folder / "bom.txt").c_str(), FileStringA::Utf8WithBom);
        ASSERT_TRUE(created);
        std::fputs("x", created.get());
    }
    EXPECT_EQ(archivefile::testing::TempFolder::read(folder / "bom.txt"), "\xEF\xBB\xBFx");
    EXPECT_EQ(messageOf([&] { path.fs_CreateTextFile((folder / "u16.txt").c_str(), FileStringA::Utf16Text); }),
              "Coding Error: FileStringEx::_WriteBom() AsUnicode");
}

TEST(FileString, DatesDrivesAndDestinations) {
    archivefile::testing::TempFolder folder;
    FileString file(folder.write("dated.txt", "x").c_str());
    EXPECT_TRUE(file.SetFileDate(1000000000));
    EXPECT_EQ(file.GetFileDate(), 1000000000);
    EXPECT_EQ(file.GetFileSize(), 1);
    EXPECT_EQ(FileString::SetDrive(Platform::currentDrive()), 0);
    EXPECT_EQ(FileString::SetDrive(27), -1);
    EXPECT_EQ(FileString::SetDrive(1), Platform::currentDrive());
    EXPECT_EQ(FileString("d:\\x").GetDrive(), 4);
    EXPECT_TRUE(FileString("c:\\x").IsAbsolute());
    EXPECT_FALSE(FileString("c:x").IsAbsolute());
    EXPECT_FALSE(FileString("x\\y").IsAbsolute());

    FileString destination;
    EXPECT_EQ(messageOf([&] { destination.ParseDestination((folder / "missing").c_str()); }),
              "Ouput folder does not exist\n");
    EXPECT_EQ(std::string(destination.ParseDestination((folder.path().string() + "/").c_str())),
              folder.path().string());

    FileString name("dir/model.p3d");
    EXPECT_STREQ(name.ReplaceExt("rtm"), "dir/model.rtm");
    EXPECT_STREQ(name.AddExtNew(".bak"), "dir/model.rtm.bak");
    ::testing::internal::CaptureStderr();
    EXPECT_STREQ(name.ReplaceExt("a/b.c", "d"), "a/b.d");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "\nDebug: FileString::ReplaceExt obsolete call\n");
    FileString rooted("\\x\\y");
    EXPECT_STREQ(rooted.RemoveLeadingSlash(), "x\\y");
}

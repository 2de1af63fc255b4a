#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include <sys/stat.h>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/VexFileIO.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;
using archivefile::testing::TempFolder;
namespace fs = std::filesystem;

namespace {

std::string messages;
bool collect(const char* text, ...) { messages += text; return true; }

int codeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (Generic_Errors code) {
        return code;
    }
    return 0;
}

}  // namespace

TEST(VexFileIORead, ValuesAreLittleEndian) {
    const unsigned char bytes[] = {0x01, 0xFE, 0xFF, 0x03, 0x02, 0x01, 0x78, 0x56, 0x34, 0x12,
                                   0x00, 0x00, 0xC0, 0x3F, 'h', 'i', 0, 0xAA};
    VexFileIO stream;
    stream.OpenPseudoFile(bytes, sizeof bytes);
    EXPECT_EQ(stream.ReadByte(), 1);
    EXPECT_EQ(stream.ReadShort(), -2);
    EXPECT_EQ(stream.ReadTriByte(), 0x010203);
    EXPECT_EQ(stream.ReadLong(), 0x12345678);
    EXPECT_EQ(stream.ReadFloat(), 1.5f);
    EXPECT_STREQ(stream.ReadAsciiz(), "hi");
    EXPECT_EQ(stream.BytesRemaining(), 1u);
    EXPECT_EQ(stream.ReadByte(), 0xAA);
    EXPECT_TRUE(stream.Eof());
}

TEST(VexFileIORead, EveryReadPastTheEndIsPrematureEof) {
    const unsigned char bytes[] = {1, 2, 3};
    VexFileIO stream;
    stream.OpenPseudoFile(bytes, sizeof bytes);
    const std::function<void()> reads[] = {
        [&] { stream.ReadLong(); },          [&] { stream.ReadFloat(); },
        [&] { stream.ReadDouble(); },        [&] { stream.ReadUlongPair(); },
        [&] { stream.ReadXYZTriplet(1); },   [&] { stream.ReadXYZTransformPtr(); },
        [&] { stream.FreadPtr(2, 2); },      [&] { stream.AddOffset(4); },
        [&] { stream.MoveTo(4); },           [&] { stream.AddOffset(-1); },
    };
    for (const auto& read : reads) {
        stream.MoveTo(0);
        EXPECT_EQ(codeOf(read), GE_PrematureEof);
    }
    stream.MoveTo(3);
    EXPECT_EQ(codeOf([&] { stream.ReadByte(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.ReadShort(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.ReadTriByte(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.GetAddress(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.ReadAsciiz(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.GetMimeSignature(); }), GE_PrematureEof);
    // No byte left is the end even for a read of none; before the end such a read points in place.
    EXPECT_EQ(codeOf([&] { stream.FreadPtr(4, 0); }), GE_PrematureEof);
    stream.MoveTo(2);
    EXPECT_EQ(stream.FreadPtr(0, 4), bytes + 2);
    // A text without its terminator.
    stream.MoveTo(0);
    EXPECT_EQ(codeOf([&] { stream.ReadAsciiz(); }), GE_PrematureEof);
    EXPECT_EQ(codeOf([&] { stream.ReadAsciizH(); }), GE_PrematureEof);
}

TEST(VexFileIORead, HugeModeReadsFromTheFile) {
    TempFolder folder;
    const std::string file = folder.write("big.bin", std::string("\x2A\0\0\0name\0tail", 13));
    VexFileIO stream;
    ASSERT_TRUE(stream.openHuge(file.c_str()));
    EXPECT_EQ(stream.IsHuge(), 1);
    EXPECT_EQ(stream.size(), 13u);
    EXPECT_EQ(stream.ReadLong(), 42);
    EXPECT_EQ(stream.ReadAsciizH(), "name");
    const auto rest = stream.GetAddressAndUpdateH(4);
    EXPECT_EQ(std::string(rest.begin(), rest.end()), "tail");
    EXPECT_EQ(codeOf([&] { stream.ReadByte(); }), GE_PrematureEof);
    stream.MoveTo(4);
    EXPECT_EQ(stream.ReadAsciizH(), "name");
    EXPECT_EQ(codeOf([&] { stream.ReadAsciizH(); }), GE_PrematureEof);
}

TEST(VexFileIOText, EmbeddedZeroEndsTheTextWithAWarning) {
    TempFolder folder;
    VexFileIO stream;
    // An empty file is at its end at once, its image zero-terminated.
    ASSERT_TRUE(stream.OpenFile(folder.write("empty.bin", "").c_str()));
    EXPECT_EQ(stream.size(), 0u);
    EXPECT_TRUE(stream.Eof());
    EXPECT_EQ(stream.image()[0], 0);
    const std::string file = folder.write("cfg.cpp", std::string("abc\0def", 7));
    messages.clear();
    stream.SetCallBack(collect);
    ASSERT_TRUE(stream.OpenFile(file.c_str(), nullptr, true));
    EXPECT_EQ(stream.size(), 3u);
    EXPECT_EQ(messages, "Warning: " + file + " Filesize of 7 bytes does not match actual character content of 3\r\n");
}

TEST(VexFileIOText, ByteOrderMarksAreHandledOnLoad) {
    TempFolder folder;
    VexFileIO stream;
    messages.clear();
    stream.SetCallBack(collect);
    ASSERT_TRUE(stream.OpenFile(folder.write("u16.cpp", std::string("\xFF\xFEx\0=\0\xE9\0", 8)).c_str(), nullptr, true));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(stream.image()), stream.size()), "x=\xC3\xA9");
    ASSERT_TRUE(stream.OpenFile(folder.write("u8.cpp", "\xEF\xBB\xBFok").c_str(), nullptr, true));
    EXPECT_EQ(stream.size(), 2u);
    EXPECT_FALSE(stream.OpenFile(folder.write("be.cpp", std::string("\xFE\xFF\0x", 4)).c_str(), nullptr, true));
    EXPECT_FALSE(stream.ReadActive());
    EXPECT_EQ(messages, "Unicode Error\r\n");
}

TEST(VexFileIOText, MissingNamesAndFiles) {
    VexFileIO stream;
    EXPECT_THROW(stream.OpenFile(nullptr), TextException);
    EXPECT_THROW(stream.OpenFile(""), TextException);
    EXPECT_FALSE(stream.OpenFile("/nonexistent/folder/file"));
    TempFolder folder;
    folder.write("config.cpp", "class A {};");
    EXPECT_TRUE(stream.OpenFile((folder / "config").c_str(), "cpp", true));
    EXPECT_STREQ(stream.GetFileNameNoExt(), "config");
}

TEST(VexFileIOText, APipeOrAFolderIsNeverOpenedAsAFile) {
    // A name that became a pipe after it was looked at must not keep the open waiting for a writer.
    TempFolder folder;
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(Platform::openRegularFile(folder / "pipe"), nullptr);
    EXPECT_EQ(Platform::lastError(), ENXIO);
    EXPECT_EQ(Platform::openRegularFile(folder.path().string()), nullptr);
    EXPECT_EQ(Platform::lastError(), EISDIR);
    std::FILE* file = Platform::openRegularFile(folder.write("file.txt", "x"));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file), 'x');
    std::fclose(file);
}

TEST(VexFileIOWrite, OutputAppearsOnlyWhenComplete) {
    TempFolder folder;
    const std::string target = folder.write("out.bin", "old");
    VexFileIO stream;
    ASSERT_TRUE(stream.CreateFileA(target.c_str()));
    EXPECT_FALSE(stream.CreateFileA(target.c_str()));
    stream.WriteAsciiz(nullptr);
    stream.WriteLenString("");
    stream.WriteShort(-2);
    stream.WriteTriByte(0x010203);
    stream.WriteLong(0x12345678);
    stream.WriteFloat(1.5f);
    stream.WriteAsciiz("hi");
    EXPECT_EQ(TempFolder::read(target), "old");
    const auto written = stream.ReadBackWriteFile();
    EXPECT_EQ(std::string(written.begin(), written.end()),
              std::string("\0\0\0\0\0\xFE\xFF\x03\x02\x01\x78\x56\x34\x12\0\0\xC0\x3Fhi\0", 21));
    stream.WriteByte(0x1FF);
    stream.CloseOutput();
    EXPECT_EQ(TempFolder::read(target).size(), 22u);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(VexFileIOWrite, AFailedOperationLeavesTheEarlierFile) {
    TempFolder folder;
    const std::string target = folder.write("out.bin", "old");
    VexFileIO stream;
    const int result = guarded(stream, [&] {
        stream.CreateFileA(target.c_str());
        stream.WriteChars("half");
        stream.WriteChars(nullptr);
    });
    EXPECT_EQ(result, GE_CodeBug);
    EXPECT_EQ(TempFolder::read(target), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
    EXPECT_EQ(codeOf([&] { stream.WriteByte(1); }), GE_CannotWrite);
}

TEST(VexFileIOFiles, MakeFoldersPreparesTheFoldersOfAFilePath) {
    TempFolder folder;
    VexFileIO stream;
    EXPECT_EQ(stream.MakeFolders((folder.path().string() + "\\a\\b\\c.txt").c_str()), 1);
    EXPECT_TRUE(fs::is_directory(folder.path() / "a" / "b"));
    EXPECT_FALSE(fs::exists(folder.path() / "a" / "b" / "c.txt"));
    EXPECT_EQ(stream.MakeFolders((folder.path().string() + "/x/y/").c_str()), 1);
    EXPECT_TRUE(fs::is_directory(folder.path() / "x" / "y"));
    folder.write("file", "");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(stream.MakeFolders((folder.path().string() + "/file/sub/z.txt").c_str()), 0);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("/file/sub"), std::string::npos);
}

TEST(VexFileIOFiles, RenameStaysInTheFolderOfABareTargetAndReplacesIt) {
    TempFolder folder;
    const std::string from = folder.write("sub/x.bin", "new");
    folder.write("sub/y.bin", "old");
    VexFileIO stream;
    EXPECT_EQ(stream.Rename(from.c_str(), "y.bin"), 1);
    EXPECT_EQ(TempFolder::read(folder / "sub/y.bin"), "new");
    EXPECT_FALSE(fs::exists(from));
    EXPECT_EQ(stream.Rename("", "y.bin"), -1);
    // Names of the file itself, by either separator, by its own bare name or through "./", lose nothing.
    const std::string y = folder / "sub/y.bin";
    for (const std::string& same : {folder.path().string() + "\\sub\\y.bin", std::string("y.bin"),
                                    folder / "sub/./y.bin"}) {
        EXPECT_EQ(stream.Rename(y.c_str(), same.c_str()), 1) << same;
        EXPECT_EQ(TempFolder::read(folder / "sub/y.bin"), "new") << same;
    }
    // Letter case makes another file here.
    EXPECT_EQ(stream.Rename(y.c_str(), "Y.bin"), 1);
    EXPECT_EQ(TempFolder::read(folder / "sub/Y.bin"), "new");
    EXPECT_FALSE(fs::exists(folder / "sub/y.bin"));
    // A missing source leaves the target as it was.
    messages.clear();
    stream.SetCallBack(collect);
    EXPECT_EQ(stream.Rename((folder / "sub/missing").c_str(), "Y.bin"), -1);
    EXPECT_NE(messages.find("Path and file="), std::string::npos);
    EXPECT_EQ(TempFolder::read(folder / "sub/Y.bin"), "new");
}

TEST(VexFileIOFiles, RaPifiedSignatureAndBanner) {
    TempFolder folder;
    VexFileIO stream;
    EXPECT_EQ(stream.FileIsRaPified(folder.write("a.bin", std::string("\0raP\x01", 5)).c_str()), 1);
    EXPECT_EQ(stream.FileIsRaPified(folder.write("b.bin", "class").c_str()), 0);
    EXPECT_EQ(stream.FileIsRaPified((folder / "none").c_str()), -1);

    GenString banner;
    stream.Banner(&banner, "");
    std::vector<std::string> lines;
    std::string line;
    while (banner.GetNextLine(line)) lines.push_back(line);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], std::string(68, '/'));
    EXPECT_EQ(lines[1], "//Produced from tavin's Orv Tools Dll version 4.11");
    EXPECT_EQ(lines[2].rfind("//", 0), 0u);
    EXPECT_NE(lines[2].find(" : Source 'file' date "), std::string::npos);
    EXPECT_EQ(lines[4], lines[0]);
    EXPECT_EQ(lines[5], "");
}

TEST(KeyPollCallBack, CancelsWhenCalledButAnErrorTextStillReachesStandardError) {
    EXPECT_EXIT(
        {
            Platform::watchInterrupt();
            std::raise(SIGINT);
            VexFileIO stream;
            stream.SetCallBack(VexFileIO::KeyPollCallBack);
            // Found as the stream's callback, the key-poll callback is passed over: the error is
            // written and keeps its own code although a cancel is pending.
            const int error = guarded(stream, [&] { stream.Throw(GE_InvalidFile, "bad header\r\n"); });
            const int cancelled = guarded(stream, [&] { stream.PrintToStdErr("progress", VexFileIO::KeyPollCallBack); });
            std::exit(error == GE_InvalidFile ? cancelled : 100);
        },
        ::testing::ExitedWithCode(GE_UserCancelled), "^bad header\n$");
}

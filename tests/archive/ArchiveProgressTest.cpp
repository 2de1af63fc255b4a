#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/NamePatterns.h"
#include "archivefile/foundation/Progress.h"
#include "tests/archive/ArchiveTestSupport.h"

using namespace archivefile;
using archivefile::testing::ArchiveBytes;
namespace fs = std::filesystem;

namespace {

// Every call, in order: "begin 3/10", "advance 1/5", "end".
class RecordedProgress : public Progress {
public:
    void begin(const Counts& total) override { calls.push_back("begin " + text(total)); }
    void advance(const Counts& done) override {
        calls.push_back("advance " + text(done));
        if (--cancelAfter == 0) archivefile::raise(GE_UserCancelled);
    }
    void end() override { calls.push_back("end"); }
    void checkpoint() override {
        if (--cancelAtCheckpoint == 0) archivefile::raise(GE_UserCancelled);
    }

    std::vector<std::string> calls;
    int cancelAfter = -1;
    int cancelAtCheckpoint = -1;

private:
    static std::string text(const Counts& counts) {
        return std::to_string(counts.files) + "/" + std::to_string(counts.bytes);
    }
};

}  // namespace

class ArchiveProgress : public archivefile::testing::ArchiveTest {
protected:
    void SetUp() override { archive.setProgress(&progress); }

    int extract(const std::string& bytes, const char* fileList = nullptr) {
        lines.clear();
        const std::string path = folder.write("game.pbo", bytes);
        return archive.ExtractPbo(path.c_str(), collect, ArchiveFile::Brief, fileList, out.c_str());
    }

    RecordedProgress progress;
    std::string out = folder / "out";
};

TEST_F(ArchiveProgress, ExtractionCountsTheSelectedEntriesAndTheFilesWritten) {
    const std::string bytes = ArchiveBytes()
                                  .entry("a.txt", "hello")
                                  .entry("$PBOPREFIX$", "ignored")
                                  .add({"c.bin", std::string(10, 'z'), 0, ArchiveBytes::Compressed, 100})
                                  .entry("skip.wss", "xy")
                                  .body();
    NamePatterns selection("*.txt,*.bin,$PBOPREFIX$");
    archive.setSelection(&selection);
    EXPECT_EQ(extract(bytes), -6);
    // The prefix file inside is selected but never written; the damaged entry stops the run.
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"begin 3/112", "advance 1/5", "end"}));
}

TEST_F(ArchiveProgress, PatternsSelectEntriesAndTellWhichMatchedNothing) {
    const std::string bytes = ArchiveBytes()
                                  .properties({{"prefix", "p"}})
                                  .entry("data\\wall.paa", "w")
                                  .entry("data\\sub\\x.txt", "x")
                                  .entry("sounds\\click1.wss", "c")
                                  .withSha();
    NamePatterns selection("data, CLICK*.wss, none*");
    archive.setSelection(&selection);
    ASSERT_EQ(extract(bytes), 0) << lines;
    EXPECT_TRUE(fs::exists(out + "/p/data/sub/x.txt"));
    EXPECT_TRUE(fs::exists(out + "/p/sounds/click1.wss"));
    // A selection is no whole extraction: the prefix file is not written.
    EXPECT_FALSE(fs::exists(out + "/p/PboPrefix.txt"));
    EXPECT_EQ(selection.unmatched(), std::vector<std::string>{"none*"});
    EXPECT_EQ(archive.extractionFolder(), out + "/p");
}

TEST_F(ArchiveProgress, ACancelFromTheProgressLeavesOnlyWholeFiles) {
    progress.cancelAfter = 1;
    EXPECT_EQ(extract(ArchiveBytes().entry("a.txt", "1").entry("b.txt", "2").body()), AE_UserCancelled);
    EXPECT_TRUE(fs::exists(out + "/game/a.txt"));
    EXPECT_FALSE(fs::exists(out + "/game/b.txt"));
    EXPECT_EQ(progress.calls.back(), "end");

    // A build cancelled the same way leaves the earlier archive as it was.
    folder.write("src/config.cpp", "class A {};\r\n");
    folder.write("src/z.txt", "zzz");
    const std::string output = folder.write("built.pbo", "earlier");
    progress.calls.clear();
    progress.cancelAfter = 2;
    EXPECT_EQ(archive.MakePboNew((folder / "src").c_str(), ArchiveFile::StyleKern, output.c_str(), collect), AE_UserCancelled);
    EXPECT_EQ(archivefile::testing::TempFolder::read(output), "earlier");
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"begin 2/16", "advance 1/13", "advance 1/3", "end"}));
}

TEST_F(ArchiveProgress, BuildsCountEveryStoredFileAndLeaveOutExcludedOnes) {
    folder.write("src/config.cpp", "class A {};\r\n");
    folder.write("src/data/wall.paa", "1234");
    folder.write("src/work/notes.txt", "notes");
    NamePatterns exclusion("WORK, *.bak");
    archive.setExclusion(&exclusion);
    const std::string output = folder / "built.pbo";
    ASSERT_EQ(archive.MakePboNew((folder / "src").c_str(), ArchiveFile::StyleKern, output.c_str(), collect), 0) << lines;
    EXPECT_NE(lines.find("excluding work\\notes.txt\r\n"), std::string::npos);
    EXPECT_EQ(exclusion.unmatched(), std::vector<std::string>{"*.bak"});
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"begin 2/17", "advance 1/13", "advance 1/4", "end"}));
    EXPECT_EQ(archive.builtArchive(), output);
}

TEST_F(ArchiveProgress, ACancelInsideALargeEntryStopsBeforeTheEntryEnds) {
    // Large enough to be read, written and hashed in several pieces.
    const std::string large(Progress::PieceSize * 2 + 10, 'L');
    progress.cancelAtCheckpoint = 1;
    EXPECT_EQ(extract(ArchiveBytes().entry("large.bin", large).body()), AE_UserCancelled);
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"begin 1/" + std::to_string(large.size()), "end"}));
    EXPECT_FALSE(fs::exists(out + "/game/large.bin"));

    folder.write("src/large.bin", large);
    const std::string output = folder.write("built.pbo", "earlier");
    progress.calls.clear();
    progress.cancelAtCheckpoint = 1;
    EXPECT_EQ(archive.MakePboNew((folder / "src").c_str(), ArchiveFile::StyleKern, output.c_str(), collect, nullptr, "p"),
              AE_UserCancelled);
    EXPECT_EQ(progress.calls, (std::vector<std::string>{"begin 1/" + std::to_string(large.size()), "end"}));
    EXPECT_EQ(archivefile::testing::TempFolder::read(output), "earlier");
    for (const auto& item : fs::recursive_directory_iterator(folder.path()))
        EXPECT_FALSE(item.path().filename().string().starts_with(".part-")) << item.path();
}

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/media/VexSound.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TexFile.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;

namespace {
std::string lines;
bool collect(const char* text, ...) {
    lines += text;
    return true;
}
}  // namespace

TEST(Guarded, NoExceptionEscapesAnExportedOperation) {
    VexFileIO stream;
    stream.SetCallBack(collect);
    lines.clear();
    EXPECT_EQ(guarded(stream, [] { std::vector<char>().reserve(std::vector<char>().max_size() + 1u); }), GE_OutOfMemory);
    EXPECT_EQ(lines, "");
    EXPECT_EQ(guarded(stream, [] { throw std::runtime_error("map::at"); }), GE_CodeBug);
    EXPECT_EQ(lines, "internal error: map::at\r\n");
    lines.clear();
    EXPECT_EQ(guarded(stream, [] { throw 42; }), GE_CodeBug);
    EXPECT_EQ(lines, "internal error: an unknown exception\r\n");
}

// Whatever reads a file by name refuses a folder and a device with code 3 and a line naming it,
// instead of reading one as a file of absurd size or waiting on the other.
TEST(Guarded, FoldersAndDevicesAreInvalidFilesForEveryReader) {
    archivefile::testing::TempFolder folder;
    VexDLLExt root;
    const std::vector<std::pair<const char*, std::function<int(const char*)>>> readers = {
        {"config text", [&](const char* path) { return root.rapify()->OpenRapText(path, 0, collect); }},
        {"binarised config",
         [&](const char* path) {
             root.rapFile()->SetCallBack(collect);
             return root.rapFile()->OpenRap(path);
         }},
        {"model", [&](const char* path) { return root.p3dFile()->Open(path, collect); }},
        {"texture", [&](const char* path) { return root.pacFile()->Open(path, collect); }},
        {"sound", [&](const char* path) { return root.vexSound()->Open(path, collect, 0); }},
        {"texture index",
         [&](const char* path) {
             root.texFile()->SetCallBack(collect);
             return root.texFile()->OpenTex(path, nullptr, 0);
         }},
    };
    // With an extension, so that readers that add their own to a bare name open these as named.
    const std::string subfolder = folder / "sub.dat";
    const std::string device = folder / "device.dat";
    std::filesystem::create_directory(subfolder);
    std::filesystem::create_symlink("/dev/null", device);
    for (const auto& [kind, open] : readers) {
        lines.clear();
        EXPECT_EQ(open(subfolder.c_str()), GE_InvalidFile) << kind;
        EXPECT_NE(lines.find(subfolder + " is a folder, not a file\r\n"), std::string::npos) << kind << ": " << lines;
        lines.clear();
        EXPECT_EQ(open(device.c_str()), GE_InvalidFile) << kind;
        EXPECT_NE(lines.find(device + " is not a regular file\r\n"), std::string::npos) << kind << ": " << lines;
    }
}

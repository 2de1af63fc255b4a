#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "archivefile/foundation/GenericError.h"
#include "bench/MlodBytes.h"
#include "tests/archive/ArchiveTestSupport.h"

using namespace archivefile;
using archivefile::bench::MlodBytes;
using archivefile::testing::ArchiveTest;

class ArchiveModelCheck : public ArchiveTest {
protected:
    // A mod with the prefix x\mod: a model whose faces name a texture of the mod (by its full name),
    // a material named from the folder's root and with a drive, a texture under the include root (in
    // other case), a procedural texture, a drawing and two files that are nowhere.
    std::string makeFolder() {
        folder.write("src/$PBOPREFIX$", "x\\mod");
        folder.write("src/data/wall_co.paa", "texture");
        folder.write("src/data/wall.rvmat", "material");
        folder.write("root/x/Shared/data/Metal_CO.paa", "shared texture");
        MlodBytes::Lod lod = MlodBytes::box(1.0f, 1.0f, "\\x\\mod\\data\\WALL_CO.paa", "data\\wall.rvmat");
        lod.faces[0].material = "P:\\x\\mod\\data\\wall.rvmat";
        lod.faces[1].texture = "x\\shared\\data\\metal_co.paa";
        lod.faces[2].texture = "#(argb,8,8,3)color(1,1,1,1)";
        lod.faces[3].texture = "x\\mod\\data\\sketch.tga";
        lod.faces[4].material = "x\\mod\\data\\gone.rvmat";
        lod.faces[5].material = "x\\mod\\data\\gone.rvmat";
        folder.write("src/data/house.p3d", MlodBytes::model({lod}));
        return folder / "src";
    }

    static bool cancelOnTypeLine(const char* text, ...) {
        if (std::string(text).starts_with("MLOD")) archivefile::raise(GE_UserCancelled);
        return true;
    }

    int build(const std::string& source, int flags) {
        lines.clear();
        archive.setIncludeRoot((folder / "root").c_str());
        return archive.MakePboNew(source.c_str(), ArchiveFile::StyleKern | flags, (folder / "out.pbo").c_str(), collect);
    }
};

TEST_F(ArchiveModelCheck, WhatEditableModelsNameAndIsNowhereIsListedAndStopsTheBuild) {
    const std::string source = makeFolder();
    EXPECT_EQ(build(source, ArchiveFile::CheckModels), AE_MissingFiles);
    EXPECT_NE(lines.find("scanning p3d\r\ndata\\house.p3d: MLOD nLods=1\r\n"
                         "unbinarised p3d has tga-only reference detected\r\n"
                         "missing x\\mod\\data\\sketch.tga\r\n"
                         "missing x\\mod\\data\\gone.rvmat\r\n"
                         "</end missing files>\r\n"),
              std::string::npos)
        << lines;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.pbo"));
}

TEST_F(ArchiveModelCheck, AModelThatNamesOnlyWhatIsThereBuilds) {
    const std::string source = makeFolder();
    folder.write("src/data/sketch.tga", "drawing");
    folder.write("src/data/gone.rvmat", "back again");
    EXPECT_EQ(build(source, ArchiveFile::CheckModels), 0) << lines;
    EXPECT_NE(lines.find("unbinarised p3d has tga-only reference detected\r\n"), std::string::npos);
    EXPECT_EQ(lines.find("missing"), std::string::npos);
    EXPECT_LT(lines.find("scanning p3d\r\n"), lines.find("Using folder's prefix:x\\mod \r\n")) << "models come first";
}

TEST_F(ArchiveModelCheck, AModelThatCannotBeReadStopsTheBuildAndACancelStaysACancel) {
    const std::string source = makeFolder();
    folder.write("src/broken.p3d", std::string("ODOL\x39\0\0\0\x01\0\0\0", 12));
    EXPECT_EQ(build(source, ArchiveFile::CheckModels), AE_ModelOrWorldFormat);
    EXPECT_NE(lines.find("broken.p3d: P3D: bad header\r\n"), std::string::npos) << lines;
    // Without the option models are not opened.
    EXPECT_EQ(build(source, 0), 0) << lines;
    EXPECT_EQ(lines.find("scanning p3d"), std::string::npos);

    std::filesystem::remove(folder / "src/broken.p3d");
    EXPECT_EQ(archive.MakePboNew(source.c_str(), ArchiveFile::StyleKern | ArchiveFile::CheckModels,
                                 (folder / "out.pbo").c_str(), cancelOnTypeLine),
              AE_UserCancelled);
}

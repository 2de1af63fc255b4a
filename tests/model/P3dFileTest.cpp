#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "archivefile/foundation/GenericError.h"
#include "tests/model/ModelTestSupport.h"

using namespace archivefile;
using archivefile::bench::MlodBytes;
using archivefile::testing::ModelTest;
using archivefile::testing::TempFolder;

namespace {

float floatOf(std::uint32_t bits) { return std::bit_cast<float>(bits); }

// A model of three LODs: a visual LOD naming a texture and a material, its geometry with a mass
// tagg, and a memory LOD with an inactive tagg.
std::vector<MlodBytes::Lod> threeLods() {
    MlodBytes::Lod visual = MlodBytes::box(1.5f, 2.0f, "x\\a\\data\\wall_co.paa", "x\\a\\data\\wall.rvmat");
    visual.faces[1].texture = "x\\a\\data\\door_co.tga";
    visual.faces[2].material.clear();
    visual.flags = 0x1234;
    MlodBytes::Lod geometry = MlodBytes::box(1e13f, 2.0f, "", "");
    geometry.faces[0].vertices = 3;
    geometry.taggs.push_back({"#Mass#", std::string(32, '\x40')});
    MlodBytes::Lod memory = MlodBytes::box(1e15f, 0.5f, "", "");
    memory.taggs.push_back({"proxy", "", 0});
    return {visual, geometry, memory};
}

}  // namespace

class LodNames : public ModelTest {};

TEST_F(LodNames, EverySpecialResolutionIsNamedByItsExactBits) {
    // A few of each sort: the view LODs of small values, the huge ones, and the shadow volumes of
    // the views, whose bits make odd floats.
    const std::pair<std::uint32_t, const char*> table[] = {
        {0x447A0000, "View Gunner"}, {0x461C6800, "Stencil Shadow 2"}, {0x551184E7, "Geometry"},
        {0x58635FA9, "Memory"}, {0x5A2A87BF, "View Commander Fire Geometry"}, {0x5A9536C7, "Wreck"},
        {0xCAFA8000, "Shadow Volume - View Cargo"}, {0x37E08000, "Shadow Volume - View Gunner"},
    };
    for (const auto& [bits, name] : table) {
        EXPECT_STREQ(P3dFile::lodName(floatOf(bits)), name) << std::hex << bits;
        // One bit away is another float, and no longer special.
        EXPECT_STREQ(P3dFile::lodName(floatOf(bits + 1)), "") << std::hex << bits;
        EXPECT_STREQ(P3dFile::lodName(floatOf(bits - 1)), "") << std::hex << bits;
    }
    EXPECT_STREQ(P3dFile::lodName(1e13f), "Geometry");
    EXPECT_STREQ(P3dFile::lodName(0.0f), "");
    EXPECT_STREQ(P3dFile::lodName(-0.0f), "");
}

TEST_F(LodNames, LodTypeTextIsTheExactNumberABlankAndTheName) {
    ASSERT_EQ(openBytes(odol(47, 4, floats({1e13f, 1.5f, 1000.0f, floatOf(0x8EAEE000)}))), 0);
    EXPECT_STREQ(model.LodTypeStr(0), "1e+13 Geometry");
    EXPECT_STREQ(model.LodTypeStr(1), "1.5 ");
    EXPECT_STREQ(model.LodTypeStr(2), "1000.0 View Gunner");
    EXPECT_STREQ(model.LodTypeStr(3), "-4.3110016e-30 Shadow Volume - View Pilot");
    EXPECT_STREQ(model.LodTypeStr(4), "0.0 ");
    model.Close();
    EXPECT_EQ(model.GetResolution(0), 0.0f);
}

TEST_F(LodNames, AnglesAreWrittenWithTheirDegrees) {
    GenString out;
    EXPECT_STREQ(model.CalcRadian(&out, 3.14159274f), "3.1415927;//rad 180.0");
    EXPECT_STREQ(model.CalcRadian(&out, 0.5f), "0.5;//rad 28.64789");
}

class EditableModel : public ModelTest {};

TEST_F(EditableModel, SeveralLodsWithTaggsAreReadAndWrittenBackByteForByte) {
    const std::string bytes = MlodBytes::model(threeLods());
    ASSERT_EQ(openFile(bytes), 0) << lines;
    EXPECT_EQ(lines, "MLOD nLods=3\r\n");
    EXPECT_EQ(model.GetType(), 0);
    EXPECT_EQ(model.GetResolution(0), 1.5f);
    EXPECT_EQ(model.GetResolution(1), 1e13f);
    EXPECT_EQ(model.GetResolution(2), 1e15f);
    EXPECT_STREQ(model.LodTypeStr(2), "1e+15 Memory");

    const MlodModel& body = *model.GetMLodPtr();
    ASSERT_EQ(body.lods().size(), 3u);
    EXPECT_EQ(body.lods()[0].pointCount(), 8u);
    EXPECT_EQ(body.lods()[0].normalCount(), 6u);
    EXPECT_EQ(body.lods()[0].flags, 0x1234);
    EXPECT_EQ(body.lods()[0].faces[1].texture, "x\\a\\data\\door_co.tga");
    EXPECT_EQ(body.lods()[1].faces[0].vertexCount(), 3);
    ASSERT_EQ(body.lods()[1].taggs.size(), 3u);
    EXPECT_EQ(body.lods()[1].taggs[1].name, "#Mass#");
    EXPECT_EQ(body.lods()[1].taggs[1].data.size(), 32u);
    EXPECT_EQ(body.lods()[1].taggs[2].name, "#EndOfFile#");
    EXPECT_EQ(body.lods()[2].taggs[1].active, 0);

    EXPECT_EQ(written(0), bytes);
    EXPECT_EQ(written(P3dHeader::OwnKind), bytes);
    ASSERT_EQ(openBytes(bytes), 0) << "from memory as from a file";
    EXPECT_EQ(written(0), bytes);
}

TEST_F(EditableModel, NamesTexturesAndMaterialsOnceEach) {
    ASSERT_EQ(openBytes(MlodBytes::model(threeLods())), 0);
    const std::vector<std::string> expected{"x\\a\\data\\wall_co.paa", "x\\a\\data\\wall.rvmat", "x\\a\\data\\door_co.tga"};
    EXPECT_EQ(model.GetP3dFilenames(), expected);
    ASSERT_EQ(openBytes(odol(40, 1, floats({1.0f}))), 0);
    EXPECT_TRUE(model.GetP3dFilenames().empty());
}

TEST_F(EditableModel, DamagedBodiesEndInTheirCodes) {
    const std::string good = MlodBytes::model(threeLods());
    // The first LOD starts at 12; its counts at 24, 28 and 32, its points at 40.
    const auto patched = [&](std::size_t at, const std::string& with) {
        std::string bytes = good;
        bytes.replace(at, with.size(), with);
        return bytes;
    };
    const auto number = [](std::int32_t value) {
        std::string out;
        MlodBytes::i32(out, value);
        return out;
    };
    EXPECT_EQ(openBytes(patched(8, number(INT32_MIN))), GE_PrematureEof) << "a LOD count of 2^31";
    EXPECT_EQ(openBytes(patched(8, number(INT32_MAX))), GE_PrematureEof) << "a LOD count beyond the file";
    EXPECT_EQ(openBytes(patched(8, number(4))), GE_PrematureEof) << "one LOD more than there is";
    EXPECT_EQ(openBytes(patched(8, number(2))), GE_ResidualBytes) << "one LOD less than there is";
    EXPECT_EQ(openBytes(patched(24, number(-1))), GE_PrematureEof) << "a negative point count";
    EXPECT_EQ(openBytes(patched(32, number(1 << 24))), GE_PrematureEof) << "a face count beyond the file";
    EXPECT_EQ(openBytes(patched(12, "SP3X")), P3dFile::WrongHeaderType) << "a demonstration form is no LOD";
    EXPECT_EQ(openBytes(patched(16, number(32))), P3dFile::WrongHeaderType);
    EXPECT_EQ(openBytes(patched(20, number(257))), P3dFile::WrongHeaderType);
    const std::size_t faces = 40 + 8 * 16 + 6 * 12;
    EXPECT_EQ(openBytes(patched(faces, number(5))), P3dFile::VertexMiscount);
    EXPECT_EQ(openBytes(good + "x"), GE_ResidualBytes);
    EXPECT_EQ(openBytes(good.substr(0, good.size() - 1)), GE_PrematureEof);

    // The first LOD's taggs: "TAGG", then the "box" tagg of 14 bytes, then the end tagg.
    const std::size_t tagg = good.find("TAGG");
    EXPECT_EQ(openBytes(patched(tagg, "GGAT")), P3dFile::Undecodable);
    EXPECT_EQ(openBytes(patched(tagg + 4 + 1 + 4, number(0x7FFFFFF0))), GE_PrematureEof) << "a tagg length past the end";
    EXPECT_EQ(openBytes(patched(tagg + 4 + 1 + 4, number(-2))), GE_PrematureEof);
    EXPECT_EQ(openBytes(good.substr(0, faces + 72 + 3)), GE_PrematureEof) << "a file cut inside a face";

    EXPECT_EQ(model.GetMLodPtr(), nullptr);
    EXPECT_EQ(model.GetType(), 0);
    EXPECT_EQ(model.GetLodCount(), 3u) << "the header keeps what was read";
}

class BinarisedModel : public ModelTest {};

TEST_F(BinarisedModel, ResolutionTableOfKinds40AndUpIsReadAndTheRestKept) {
    const std::string bytes = odol(49, 3, floats({1.0f, 1e13f, 1e15f}) + std::string("rest of the body\0\x01", 18));
    ASSERT_EQ(openFile(bytes), 0);
    EXPECT_EQ(model.GetResolution(1), 1e13f);
    EXPECT_EQ(model.GetOdolPtr()->resolutions().size(), 3u);
    EXPECT_EQ(written(49), bytes);
    EXPECT_EQ(written(P3dHeader::OwnKind), bytes);
}

TEST_F(BinarisedModel, Kind7HasNoResolutions) {
    const std::string bytes = odol(7, 2, floats({1e13f, 1e15f}));
    ASSERT_EQ(openBytes(bytes), 0);
    EXPECT_EQ(model.GetResolution(0), 0.0f);
    EXPECT_STREQ(model.LodTypeStr(0), "0.0 ");
    EXPECT_EQ(written(7), bytes);
}

TEST_F(BinarisedModel, ResidueAndTruncationAreWarningsAndSucceed) {
    ASSERT_EQ(openBytes(odol(43, 0, "extra")), 0);
    EXPECT_EQ(lines, "ODOL43 (kern2a) nLods=0\r\nWarning: V7 residue of 5 bytes\r\n");

    // Five LODs named, two values and two bytes there: the figure is 24 less the two bytes left.
    const std::string cut = odol(40, 5, floats({1.0f, 2.0f}) + "ab");
    ASSERT_EQ(openBytes(cut), 0);
    EXPECT_EQ(lines, "ODOL40 (kern) nLods=5\r\nWarning: V7 truncated file by 22 bytes\r\n");
    EXPECT_EQ(model.GetResolution(1), 2.0f);
    EXPECT_EQ(model.GetResolution(2), 0.0f);
    EXPECT_EQ(written(40), cut);

    ASSERT_EQ(openBytes(odol(52, INT32_MIN, floats({1.0f}))), 0) << "a LOD count of 2^31 reads no more than is there";
    EXPECT_EQ(model.GetOdolPtr()->resolutions().size(), 1u);
    EXPECT_EQ(openBytes(odol(7, 9, "ab")), 0);
    EXPECT_EQ(lines, "ODOL7 nLods=9\r\nWarning: V7 truncated file by 22 bytes\r\n");
}

class ModelFiles : public ModelTest {};

TEST_F(ModelFiles, MissingFilesAndNamesWithoutExtension) {
    EXPECT_EQ(model.Open((folder / "absent.p3d").c_str(), collect), GE_InvalidFile);
    EXPECT_EQ(model.Open("", collect), GE_InvalidFile);
    folder.write("named.p3d", odol(7, 1));
    EXPECT_EQ(model.Open((folder / "named").c_str(), collect), 0);
}

TEST_F(ModelFiles, NothingToWriteLeavesNoFile) {
    model.Close();
    const std::string path = folder / "empty.p3d";
    EXPECT_EQ(model.CreateP3d(0, path.c_str()), P3dFile::Undecodable);
    EXPECT_FALSE(std::filesystem::exists(path));
    ASSERT_EQ(openBytes(odol(7, 1, "body")), 0);
    EXPECT_EQ(model.CreateP3d(0, (folder / "no/such/folder/x.p3d").c_str()), GE_InvalidFile);
    EXPECT_NE(lines.find("no/such/folder/x.p3d"), std::string::npos) << "the reason reaches the caller";
}

TEST_F(ModelFiles, CodesHaveTheirTexts) {
    EXPECT_STREQ(model.ErrorString(10), "P3D: compression");
    EXPECT_STREQ(model.ErrorString(19), "P3D: P3DERR_VERTEX_MISCOUNT");
    EXPECT_STREQ(model.ErrorString(24), "P3D: truncated bytes in V7modelinfo");
    EXPECT_STREQ(model.ErrorString(1), "Premature EOF");
    EXPECT_STREQ(model.ErrorString(25), "dll Unknown throw Error");
}

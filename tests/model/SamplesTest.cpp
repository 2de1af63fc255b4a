#include <gtest/gtest.h>

#include <string>

#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/texture/TexFile.h"
#include "bench/SampleFiles.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;
using archivefile::testing::TempFolder;

namespace {
bool quiet(const char*, ...) { return true; }
}  // namespace

// The files in samples/ are what generate_samples writes; regenerate them when the bytes change.
TEST(Samples, TheModelAndTheTextureIndexAreTheGeneratorsBytes) {
    const std::string data = std::string(ARCHIVEFILE_SAMPLES) + "/mod/data/";
    EXPECT_EQ(TempFolder::read(data + "lamp.p3d"), bench::sampleModel());
    EXPECT_EQ(TempFolder::read(data + "textures.bin"), bench::sampleTextureIndex());

    VexDLLExt root;
    P3dFile& model = *root.p3dFile();
    ASSERT_EQ(model.Open((data + "lamp.p3d").c_str(), quiet), 0);
    EXPECT_EQ(model.GetLodCount(), 4u);
    EXPECT_STREQ(model.LodTypeStr(2), "1e+13 Geometry");
    ASSERT_EQ(root.texFile()->OpenTex((data + "textures.bin").c_str(), nullptr, 0), 0);
    EXPECT_EQ(root.texFile()->GetTexBody()->size(), 3u);
}

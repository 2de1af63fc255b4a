#include <gtest/gtest.h>

#include <string>

#include "bench/SampleFiles.h"
#include "tests/support/TempFolder.h"

// The files in samples/ are what generate_samples writes; regenerate them when the bytes change.
TEST(Samples, TheModelAndTheTextureIndexAreTheGeneratorsBytes) {
    using archivefile::testing::TempFolder;
    const std::string data = std::string(ARCHIVEFILE_SAMPLES) + "/mod/data/";
    EXPECT_EQ(TempFolder::read(data + "lamp.p3d"), archivefile::bench::sampleModel());
    EXPECT_EQ(TempFolder::read(data + "textures.bin"), archivefile::bench::sampleTextureIndex());
}

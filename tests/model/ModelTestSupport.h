// What the model tests share: a root with its model handler, a folder for the files they write, the
// lines the handler reports, and the bytes of binarised headers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "archivefile/foundation/VexDLL.h"
#include "archivefile/model/P3dFile.h"
#include "bench/MlodBytes.h"
#include "tests/support/TempFolder.h"

namespace archivefile::testing {

using bench::MlodBytes;

class ModelTest : public ::testing::Test {
protected:
    static inline std::string lines;
    static bool collect(const char* text, ...) {
        lines += text;
        return true;
    }

    // A binarised model: "ODOL", the version, the prefix of kind 58, the LOD count and `body`.
    static std::string odol(std::int32_t version, std::int32_t lodCount, const std::string& body = "",
                            const std::string& prefix = "") {
        std::string out = "ODOL";
        MlodBytes::i32(out, version);
        if (version == 58) MlodBytes::text(out, prefix);
        MlodBytes::i32(out, lodCount);
        return out + body;
    }

    static std::string floats(std::initializer_list<float> values) {
        std::string out;
        for (const float value : values) MlodBytes::f32(out, value);
        return out;
    }

    int openBytes(const std::string& bytes) {
        lines.clear();
        image = bytes;
        return model.Open(reinterpret_cast<const unsigned char*>(image.data()), static_cast<unsigned>(image.size()),
                          collect);
    }

    int openFile(const std::string& bytes, const std::string& name = "model.p3d") {
        lines.clear();
        return model.Open(folder.write(name, bytes).c_str(), collect);
    }

    // Writes the model read last and gives the file's bytes.
    std::string written(int kind) {
        const std::string path = folder / "written.p3d";
        EXPECT_EQ(model.CreateP3d(kind, path.c_str()), 0);
        return TempFolder::read(path);
    }

    VexDLL root;
    P3dFile& model = *root.p3dFile();
    TempFolder folder;
    std::string image;
};

}  // namespace archivefile::testing

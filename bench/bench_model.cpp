// Reading editable models, in bytes of model per second: a generated model of MODEL_BENCH_MB
// megabytes (50 by default) of four grid LODs (points, triangles naming textures, a selection tagg),
// opened from memory and from a file. The goal is at least 300 MB/s.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "archivefile/model/P3dFile.h"
#include "bench/MlodBytes.h"

namespace {

using archivefile::P3dFile;
using archivefile::bench::MlodBytes;

bool silent(const char*, ...) { return true; }

const std::string& generatedModel() {
    static const std::string bytes = [] {
        const char* megabytes = std::getenv("MODEL_BENCH_MB");
        const double target = (megabytes ? std::atof(megabytes) : 50.0) * 1024 * 1024;
        // A grid point costs about 217 bytes: itself, two triangles and its share of the taggs.
        const int side = static_cast<int>(std::sqrt(target / 4 / 217));
        std::vector<MlodBytes::Lod> lods;
        for (int lod = 0; lod < 4; ++lod)
            lods.push_back(MlodBytes::grid(static_cast<float>(lod + 1), side,
                                           "x\\bench\\data\\ground" + std::to_string(lod) + "_co.paa"));
        return MlodBytes::model(lods);
    }();
    return bytes;
}

const std::string& modelFile() {
    static const std::string path = [] {
        const auto file = std::filesystem::temp_directory_path() / "archivefile-bench-model.p3d";
        std::ofstream(file, std::ios::binary).write(generatedModel().data(), static_cast<std::streamsize>(generatedModel().size()));
        return file.string();
    }();
    return path;
}

void BM_ReadEditableModelFromMemory(benchmark::State& state) {
    const std::string& bytes = generatedModel();
    P3dFile model(nullptr);
    for (auto _ : state) {
        if (model.Open(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()), silent) != 0) {
            state.SkipWithError("the generated model did not open");
            break;
        }
        model.Close();
    }
    state.counters["model_MB"] = static_cast<double>(bytes.size()) / (1024.0 * 1024.0);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_ReadEditableModelFromMemory)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadEditableModelFromFile(benchmark::State& state) {
    const std::string& path = modelFile();
    P3dFile model(nullptr);
    for (auto _ : state) {
        if (model.Open(path.c_str(), silent) != 0) {
            state.SkipWithError("the generated model did not open");
            break;
        }
        model.Close();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(generatedModel().size()));
}
BENCHMARK(BM_ReadEditableModelFromFile)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

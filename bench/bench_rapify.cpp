// Speed of binarising configs and of reading raP back, on the generated mod tree (CONFIG_BENCH_MB,
// 50 by default): the whole compile from text to raP in bytes of expanded text per second, the raP
// writer alone, and raP decoded to text and read into a tree, in bytes of raP per second. Peak memory
// is measured on `vex config compile` of the same tree (see scripts/bench.sh).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "bench/ConfigTreeGenerator.h"

namespace {

using archivefile::Rapify;

bool silent(const char*, ...) { return true; }

// The generated tree is written in the extended syntax, and has array appends, which only the offset
// styles hold.
constexpr int Extended = Rapify::ExtendedSyntax;

const archivefile::bench::ConfigTree& generatedTree() {
    static const archivefile::bench::ConfigTree tree = archivefile::bench::writeBenchmarkTree("archivefile-bench-rapify-tree");
    return tree;
}

// The raP of the generated tree in KerN style, made once.
const std::vector<std::uint8_t>& generatedRaP() {
    static const std::vector<std::uint8_t> bytes = [] {
        Rapify compiler(nullptr);
        compiler.SetIncludeRoot(generatedTree().includeRoot.c_str());
        std::vector<std::uint8_t> out;
        if (compiler.OpenRapText(generatedTree().config.c_str(), Extended, silent) != 0 ||
            compiler.OutputRap(out, true) != 0)
            std::abort();
        return out;
    }();
    return bytes;
}

void BM_CompileToRaP(benchmark::State& state) {
    Rapify compiler(nullptr);
    compiler.SetIncludeRoot(generatedTree().includeRoot.c_str());
    std::vector<std::uint8_t> out;
    std::int64_t expanded = 0;
    for (auto _ : state) {
        if (compiler.OpenRapText(generatedTree().config.c_str(), Extended, silent) != 0 ||
            compiler.OutputRap(out, true) != 0) {
            state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
            break;
        }
        expanded = compiler.statistics().expandedBytes;
        compiler.Close();
    }
    state.counters["expanded_MB"] = static_cast<double>(expanded) / (1024.0 * 1024.0);
    state.counters["raP_MB"] = static_cast<double>(out.size()) / (1024.0 * 1024.0);
    state.SetBytesProcessed(state.iterations() * expanded);
}
BENCHMARK(BM_CompileToRaP)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();

void BM_OutputRapOnly(benchmark::State& state) {
    Rapify compiler(nullptr);
    compiler.SetIncludeRoot(generatedTree().includeRoot.c_str());
    if (compiler.OpenRapText(generatedTree().config.c_str(), Extended, silent) != 0) {
        state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
        return;
    }
    std::vector<std::uint8_t> out;
    for (auto _ : state) {
        if (compiler.OutputRap(out, true) != 0) {
            state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(out.size()));
}
// KerN style, with the size pass.
BENCHMARK(BM_OutputRapOnly)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DecodeRaPToText(benchmark::State& state) {
    const std::vector<std::uint8_t>& bytes = generatedRaP();
    archivefile::RapFile decoder(nullptr);
    for (auto _ : state) {
        if (decoder.Rap2Text(bytes, "config", Extended) != 0) {
            state.SkipWithError("decoding failed");
            break;
        }
        benchmark::DoNotOptimize(decoder.decodedText().data());
        decoder.Close();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_DecodeRaPToText)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ProcessBinary(benchmark::State& state) {
    const std::vector<std::uint8_t>& bytes = generatedRaP();
    Rapify compiler(nullptr);
    compiler.SetCallBack(silent);
    for (auto _ : state) {
        if (compiler.ProcessBinary(bytes.data(), static_cast<int>(bytes.size()), Extended) != 0) {
            state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
            break;
        }
        compiler.Close();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(BM_ProcessBinary)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

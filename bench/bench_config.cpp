// Speed of the config compiler's front end (preprocess and parse) in bytes of expanded text per
// second: on the generated mod tree (CONFIG_BENCH_MB, 50 by default), and on plain text without
// defines. Peak memory is measured on `vex config check` of the same tree (see scripts/bench.sh).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "archivefile/config/Rapify.h"
#include "bench/ConfigTreeGenerator.h"

namespace {

using archivefile::Rapify;

// The compiler's notices ("#else", "#endif") are not what is measured.
bool silent(const char*, ...) { return true; }

const archivefile::bench::ConfigTree& generatedTree() {
    static const archivefile::bench::ConfigTree tree = archivefile::bench::writeBenchmarkTree("archivefile-bench-config-tree");
    return tree;
}

void BM_CheckGeneratedTree(benchmark::State& state) {
    const auto& tree = generatedTree();
    Rapify compiler(nullptr);
    compiler.SetIncludeRoot(tree.includeRoot.c_str());
    std::int64_t expanded = 0;
    for (auto _ : state) {
        if (compiler.OpenRapText(tree.config.c_str(), Rapify::ExtendedSyntax, silent) != 0) {
            state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
            break;
        }
        expanded = compiler.statistics().expandedBytes;
        state.counters["classes"] = static_cast<double>(compiler.statistics().classes);
        state.counters["files"] = static_cast<double>(compiler.statistics().filesRead);
        compiler.Close();
    }
    state.counters["expanded_MB"] = static_cast<double>(expanded) / (1024.0 * 1024.0);
    state.SetBytesProcessed(state.iterations() * expanded);
}
BENCHMARK(BM_CheckGeneratedTree)->Unit(benchmark::kMillisecond)->MinTime(3.0)->UseRealTime();

// Classes of values and arrays as a decoder writes them: no defines, no includes.
std::string plainText(std::size_t bytes) {
    std::mt19937 random(7);
    std::string text;
    for (int n = 0; text.size() < bytes; ++n) {
        text += "class Item" + std::to_string(n) + "\r\n{\r\n";
        text += "\tlabel = \"Item number " + std::to_string(n) + "\";\r\n";
        text += "\tweight = " + std::to_string(random() % 100000) + ";\r\n";
        text += "\tscale = " + std::to_string(random() % 1000) + ".25;\r\n";
        text += "\tcorners[] = {{0.5,-1.25,3},{" + std::to_string(random() % 100) + ",2,\"edge\"}};\r\n";
        text += "};\r\n";
    }
    return text;
}

void BM_CompilePlainText(benchmark::State& state) {
    const std::string text = plainText(static_cast<std::size_t>(state.range(0)) << 20);
    Rapify compiler(nullptr);
    for (auto _ : state) {
        if (compiler.Text2RapClass(text, 0, silent) != 0) {
            state.SkipWithError(compiler.ErrorString(compiler.ErrorCode()));
            break;
        }
        compiler.Close();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_CompilePlainText)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

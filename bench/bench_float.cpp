// Float text: the rate at which exact float text is produced for random ordinary floats.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "archivefile/foundation/GenString.h"

namespace {

std::vector<float> ordinaryFloats(std::size_t count) {
    std::mt19937 random(7);
    std::vector<float> values;
    while (values.size() < count) {
        const std::uint32_t bits = random();
        float value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isnormal(value) && (bits & 0x7F000000u) != 0) values.push_back(value);
    }
    return values;
}

// Typical config values: short decimals.
std::vector<float> configFloats(std::size_t count) {
    std::mt19937 random(11);
    std::uniform_int_distribution<int> hundredths(-100000, 100000);
    std::vector<float> values;
    for (std::size_t i = 0; i < count; ++i) values.push_back(static_cast<float>(hundredths(random)) / 100.0f);
    return values;
}

void floatText(benchmark::State& state, const std::vector<float>& values) {
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(archivefile::GenString::floatText(values[i]));
        i = (i + 1) % values.size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void BM_FloatToStrRandomBits(benchmark::State& state) {
    static const auto values = ordinaryFloats(1 << 16);
    floatText(state, values);
}

void BM_FloatToStrConfigValues(benchmark::State& state) {
    static const auto values = configFloats(1 << 16);
    floatText(state, values);
}

void BM_FloatToStrDouble(benchmark::State& state) {
    static const auto values = configFloats(1 << 16);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(archivefile::GenString::floatText(static_cast<double>(values[i])));
        i = (i + 1) % values.size();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

}  // namespace

BENCHMARK(BM_FloatToStrRandomBits);
BENCHMARK(BM_FloatToStrConfigValues);
BENCHMARK(BM_FloatToStrDouble);

BENCHMARK_MAIN();

// Block coder speed on 1 MiB of config-like text (argument 0) and 1 MiB of mixed binary (argument 1).
// LzssEncodePlainSearch runs the plain window search that defines the encoder's output, so the speed-up
// of LzssEncode is the ratio of the two; it also fails if the two ever produce different bytes.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"
#include "tests/foundation/BlockCoderReference.h"

namespace {

using archivefile::BlockCoder;
using Bytes = std::vector<uint8_t>;

constexpr size_t SampleSize = size_t{1} << 20;

const Bytes& sample(const benchmark::State& state) {
    static const Bytes text = archivefile::reference::configText(SampleSize);
    static const Bytes binary = archivefile::reference::mixedBinary(SampleSize);
    return state.range(0) == 0 ? text : binary;
}

template <typename Encode>
Bytes encoded(const Bytes& in, Encode encode) {
    Bytes out(BlockCoder::maxCompressedSize(in.size()));
    out.resize(static_cast<size_t>(encode(in, out)));
    return out;
}

// Throughput is counted in bytes of the uncompressed sample, in both directions.
void finish(benchmark::State& state, size_t stored) {
    state.SetLabel(state.range(0) == 0 ? "config text" : "mixed binary");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * SampleSize));
    state.counters["stored%"] = 100.0 * static_cast<double>(stored) / SampleSize;
}

void LzssEncode(benchmark::State& state) {
    const Bytes& in = sample(state);
    Bytes out(BlockCoder::maxCompressedSize(in.size()));
    size_t written = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(written = BlockCoder::encodeLzss(in, out));
    finish(state, written);
}

void LzssEncodePlainSearch(benchmark::State& state) {
    const Bytes& in = sample(state);
    Bytes out;
    for (auto _ : state) {
        out = archivefile::reference::encodeLzss(in);
        benchmark::DoNotOptimize(out.data());
    }
    if (out != encoded(in, BlockCoder::encodeLzss))
        state.SkipWithError("the encoder's bytes differ from the plain search");
    finish(state, out.size());
}

template <typename Encode, typename Decode>
void decodeBenchmark(benchmark::State& state, Encode encode, Decode decode) {
    const Bytes& in = sample(state);
    const Bytes stored = encoded(in, encode);
    Bytes out(in.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(decode(stored, out));
        benchmark::ClobberMemory();
    }
    if (out != in)
        state.SkipWithError("the decoded block differs from the sample");
    finish(state, stored.size());
}

template <typename Encode>
void encodeBenchmark(benchmark::State& state, Encode encode) {
    const Bytes& in = sample(state);
    Bytes out(BlockCoder::maxCompressedSize(in.size()));
    int64_t written = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(written = static_cast<int64_t>(encode(in, out)));
    finish(state, static_cast<size_t>(written));
}

void LzssDecode(benchmark::State& state) {
    decodeBenchmark(state, BlockCoder::encodeLzss,
                    [](const Bytes& s, Bytes& o) { return BlockCoder::decodeLzss(s, o, false); });
}
void RunEncode(benchmark::State& state) { encodeBenchmark(state, BlockCoder::encodeRun); }
void RunDecode(benchmark::State& state) {
    decodeBenchmark(state, BlockCoder::encodeRun, [](const Bytes& s, Bytes& o) { return BlockCoder::decodeRun(s, o); });
}
void LzoEncode(benchmark::State& state) { encodeBenchmark(state, BlockCoder::encodeLzo); }
void LzoDecode(benchmark::State& state) {
    decodeBenchmark(state, BlockCoder::encodeLzo, [](const Bytes& s, Bytes& o) { return BlockCoder::decodeLzo(s, o); });
}

BENCHMARK(LzssEncode)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LzssEncodePlainSearch)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(LzssDecode)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(RunEncode)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(RunDecode)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(LzoEncode)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(LzoDecode)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

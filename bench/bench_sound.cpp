// Sound speed: each WSS codec both ways on a second-long mix of a sweep and noise at 44.1 kHz
// (samples a second; the goal is at least 50 million in each direction), and reading and checking
// 1,000 WAVE files of 1 MiB, samples copied out (bytes a second; the goal is at least 500 MB/s).
// The WAVE files are generated once under ${BENCH_DATA:-$TMPDIR/archivefile-bench}/sound.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "archivefile/media/VexSound.h"
#include "archivefile/media/WssCodec.h"

namespace {

namespace fs = std::filesystem;
using archivefile::VexSound;
using archivefile::WssCodec;
using Samples = std::vector<std::int16_t>;

constexpr std::size_t SampleCount = 44100;

const Samples& sound() {
    static const Samples samples = [] {
        std::mt19937 random(1);
        std::uniform_int_distribution<int> noise(-2048, 2047);
        Samples made(SampleCount);
        for (std::size_t i = 0; i < made.size(); ++i) {
            const double t = static_cast<double>(i) / 44100.0;
            const double tone = 12000 * std::sin(2 * std::numbers::pi * (50 * t + 2000 * t * t));
            made[i] = static_cast<std::int16_t>(std::lround(tone) + noise(random));
        }
        return made;
    }();
    return samples;
}

int compressionOf(const benchmark::State& state) { return static_cast<int>(state.range(0)); }

void finish(benchmark::State& state) {
    state.SetLabel(compressionOf(state) == WssCodec::Byte ? "byte" : "nibble");
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * SampleCount));
}

void Compress(benchmark::State& state) {
    const WssCodec codec;
    for (auto _ : state) benchmark::DoNotOptimize(codec.compress(compressionOf(state), sound(), 1));
    finish(state);
}

void Expand(benchmark::State& state) {
    const WssCodec codec;
    const std::vector<std::uint8_t> data = codec.compress(compressionOf(state), sound(), 1);
    Samples samples(WssCodec::expandedSamples(compressionOf(state), data.size()));
    for (auto _ : state) {
        codec.expand(compressionOf(state), data, 1, samples);
        benchmark::DoNotOptimize(samples.data());
    }
    finish(state);
}

constexpr int FileCount = 1000;
constexpr std::uint32_t FileSize = 1u << 20;

fs::path waveFolder() {
    const char* data = std::getenv("BENCH_DATA");
    const fs::path base = data != nullptr ? fs::path(data) : fs::temp_directory_path() / "archivefile-bench";
    return base / "sound";
}

// Stereo 16-bit WAVE files of exactly 1 MiB, a header and noise.
std::vector<std::string> waveFiles() {
    const fs::path folder = waveFolder();
    fs::create_directories(folder);
    std::mt19937 random(2);
    std::vector<char> bytes(FileSize);
    const std::uint32_t dataSize = FileSize - 44;
    const auto put32 = [&](std::size_t at, std::uint32_t value) {
        for (int i = 0; i < 4; ++i) bytes[at + static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * i));
    };
    std::vector<std::string> files;
    for (int i = 0; i < FileCount; ++i) {
        const fs::path path = folder / ("sound" + std::to_string(i) + ".wav");
        files.push_back(path.string());
        if (fs::exists(path) && fs::file_size(path) == FileSize) continue;
        for (char& byte : bytes) byte = static_cast<char>(random());
        const char header[] = "RIFF----WAVEfmt \x10\0\0\0\x01\0\x02\0\x44\xac\0\0\x10\xb1\x02\0\x04\0\x10\0data----";
        std::copy(header, header + 44, bytes.begin());
        put32(4, FileSize - 8);
        put32(40, dataSize);
        std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    return files;
}

bool quiet(const char*, ...) { return true; }

void readAll(benchmark::State& state, VexSound& reader, const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        if (reader.Open(file.c_str(), quiet, 0) != 0) state.SkipWithError("a WAVE file did not read");
        benchmark::DoNotOptimize(reader.samples().data());
    }
    reader.Close();
}

// One pass before the timing brings the files into the page cache: the disk is not what is measured.
void ReadAndCheckWaveFiles(benchmark::State& state) {
    const std::vector<std::string> files = waveFiles();
    VexSound reader(nullptr);
    readAll(state, reader, files);
    for (auto _ : state) readAll(state, reader, files);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * FileCount * FileSize);
}

}  // namespace

BENCHMARK(Compress)->Arg(WssCodec::Byte)->Arg(WssCodec::Nibble);
BENCHMARK(Expand)->Arg(WssCodec::Byte)->Arg(WssCodec::Nibble);
BENCHMARK(ReadAndCheckWaveFiles)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

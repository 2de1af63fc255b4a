// Reading and listing textures: 1,000 DXT5 textures of 1024 x 1024 with all their mipmaps (about 1 MiB
// each on disk, blocks partly LZO-compressed as real ones are), each opened by name, read through with
// every block expanded, listed to a callback and closed. Throughput is counted in bytes of the files;
// the goal is at least 200 MB/s. The files are written once under the system's temporary folder.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/texture/PacFile.h"

namespace {

using archivefile::BlockCoder;
using archivefile::PacFile;
using Bytes = std::vector<std::uint8_t>;

constexpr int TextureCount = 1000;
constexpr std::uint32_t Side = 1024;

void put16(Bytes& out, std::uint32_t value) {
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}
void put32(Bytes& out, std::uint32_t value) {
    put16(out, value & 0xFFFF);
    put16(out, value >> 16);
}

// DXT5 blocks as an encoder leaves them for a painted image: alpha opaque over most of it, colour
// endpoints that drift slowly, and indices that vary.
Bytes blocksOf(std::uint32_t side, std::mt19937& random) {
    Bytes blocks;
    const std::uint32_t count = (side / 4) * (side / 4);
    std::uint16_t colour = static_cast<std::uint16_t>(random());
    for (std::uint32_t i = 0; i < count; ++i) {
        const bool opaque = random() % 4 != 0;
        for (int b = 0; b < 8; ++b)
            blocks.push_back(opaque ? (b < 2 ? 0xFF : 0) : static_cast<std::uint8_t>(random()));
        colour = static_cast<std::uint16_t>(colour + random() % 3);
        put16(blocks, colour);
        put16(blocks, static_cast<std::uint16_t>(colour + 0x0841));
        put32(blocks, static_cast<std::uint32_t>(random()));
    }
    return blocks;
}

Bytes texture(std::uint32_t seed) {
    std::mt19937 random(seed);
    BlockCoder coder;
    std::vector<Bytes> records;
    for (std::uint32_t side = Side; side >= 4; side /= 2) {
        const Bytes blocks = blocksOf(side, random);
        const std::int64_t packed = coder.compress(blocks, BlockCoder::LzoFlag);
        const bool compressed = packed > 0 && static_cast<std::size_t>(packed) < blocks.size();
        Bytes record;
        put16(record, side | (compressed ? 0x8000 : 0));
        put16(record, side);
        const Bytes stored = compressed ? Bytes(coder.output().begin(), coder.output().end()) : blocks;
        put16(record, stored.size() & 0xFFFF);
        record.push_back(static_cast<std::uint8_t>(stored.size() >> 16));
        record.insert(record.end(), stored.begin(), stored.end());
        records.push_back(std::move(record));
    }
    Bytes file;
    put16(file, PacFile::TypeDxt5);
    for (const char* name : {"GGATCGVA", "GGATCXAM"}) {
        file.insert(file.end(), name, name + 8);
        put32(file, 4);
        put32(file, 0xFF808080);
    }
    const std::string offs = "GGATSFFO";
    file.insert(file.end(), offs.begin(), offs.end());
    put32(file, 64);
    std::uint32_t position = static_cast<std::uint32_t>(file.size()) + 64 + 2;
    for (std::size_t i = 0; i < 16; ++i) {
        put32(file, i < records.size() ? position : 0);
        if (i < records.size()) position += static_cast<std::uint32_t>(records[i].size());
    }
    put16(file, 0);
    for (const Bytes& record : records) file.insert(file.end(), record.begin(), record.end());
    for (int i = 0; i < 3; ++i) put16(file, 0);
    return file;
}

struct TextureSet {
    std::vector<std::string> paths;
    std::uint64_t bytes = 0;
};

const TextureSet& textureSet() {
    static const TextureSet set = [] {
        TextureSet made;
        const std::filesystem::path folder = std::filesystem::temp_directory_path() / "archivefile-bench-textures";
        std::filesystem::create_directories(folder);
        for (int i = 0; i < TextureCount; ++i) {
            const std::filesystem::path path = folder / ("texture" + std::to_string(i) + ".paa");
            const Bytes bytes = texture(static_cast<std::uint32_t>(i));
            std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                        static_cast<std::streamsize>(bytes.size()));
            made.paths.push_back(path.string());
            made.bytes += bytes.size();
        }
        return made;
    }();
    return set;
}

// The lines are made and delivered; where they go is not what is measured.
bool ignoreLine(const char*, ...) { return true; }

void OpenAndList(benchmark::State& state) {
    const TextureSet& set = textureSet();
    PacFile pac(nullptr);
    for (auto _ : state) {
        for (const std::string& path : set.paths) {
            if (pac.Open(path.c_str(), ignoreLine) != 0) state.SkipWithError("a texture did not open");
            pac.Close();
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * set.bytes));
    state.counters["MiB/texture"] = static_cast<double>(set.bytes) / TextureCount / (1 << 20);
}
BENCHMARK(OpenAndList)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

// Config decoding rate, in bytes of binarised input per second, over a generated offset-style raP of
// about 16 MiB: thousands of classes nested a few deep, holding ints, floats, strings, flat and nested
// arrays, extern and delete entries. Argument 0 draws floats the way configs hold them (short
// decimals); argument 1 draws them from random bits, which need the most digits.
#include <benchmark/benchmark.h>

#include <bit>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "archivefile/config/RapFile.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

class RapGenerator {
public:
    explicit RapGenerator(bool randomFloats) : randomFloats_(randomFloats) {}

    Bytes generate(std::size_t targetSize) {
        out_ = {0x00, 'r', 'a', 'P'};
        i32(0);
        i32(8);
        const std::size_t enumField = out_.size();
        i32(0);
        // The root holds top-level classes until the file is large enough.
        std::vector<std::size_t> fields;
        text("");
        const std::size_t classes = targetSize / 8000;
        count(static_cast<std::uint32_t>(classes));
        for (std::size_t i = 0; i < classes; ++i) fields.push_back(classEntry("Class" + std::to_string(i)));
        i32(static_cast<std::int32_t>(out_.size() + 4));
        for (const std::size_t field : fields) {
            patch(field, out_.size());
            body(1);
        }
        patch(enumField, out_.size());
        i32(2);
        text("first");
        i32(0);
        text("");
        i32(1);
        return out_;
    }

private:
    void byte(int value) { out_.push_back(static_cast<std::uint8_t>(value)); }
    void i32(std::int32_t value) {
        for (int shift = 0; shift < 32; shift += 8)
            byte(static_cast<int>((static_cast<std::uint32_t>(value) >> shift) & 0xFF));
    }
    void text(const std::string& value) {
        out_.insert(out_.end(), value.begin(), value.end());
        byte(0);
    }
    void count(std::uint32_t n) {
        for (; n > 0x7F; n >>= 7) byte(static_cast<int>(n & 0x7F) | 0x80);
        byte(static_cast<int>(n));
    }
    void patch(std::size_t field, std::size_t value) {
        for (int i = 0; i < 4; ++i)
            out_[field + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    std::size_t classEntry(const std::string& name) {
        byte(0);
        text(name);
        i32(0);
        return out_.size() - 4;
    }
    int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }
    float floatValue() {
        if (!randomFloats_) return static_cast<float>(pick(2000001) - 1000000) / 100.0f;
        std::uint32_t bits;
        do bits = static_cast<std::uint32_t>(random_());
        while ((bits & 0x7F000000u) == 0 || (bits & 0x7F800000u) == 0x7F800000u);
        return std::bit_cast<float>(bits);
    }
    void element(int depth) {
        switch (pick(depth < 2 ? 4 : 3)) {
        case 0:
            byte(0);
            text("item" + std::to_string(pick(1000)));
            break;
        case 1:
            byte(2);
            i32(pick(100000) - 50000);
            break;
        case 2:
            byte(1);
            i32(std::bit_cast<std::int32_t>(floatValue()));
            break;
        default: {
            byte(3);
            const int n = 1 + pick(4);
            count(static_cast<std::uint32_t>(n));
            for (int i = 0; i < n; ++i) element(depth + 1);
        }
        }
    }

    // One class body, its children's bodies following it in depth-first order.
    void body(int depth) {
        text(pick(3) == 0 ? "Base" + std::to_string(pick(50)) : "");
        const int entries = 12 + pick(16);
        count(static_cast<std::uint32_t>(entries));
        std::vector<std::size_t> fields;
        for (int i = 0; i < entries; ++i) {
            const std::string name = "entry" + std::to_string(i);
            const int kind = pick(20);
            if (kind < 5) {
                byte(1), byte(1), text(name), i32(std::bit_cast<std::int32_t>(floatValue()));
            } else if (kind < 9) {
                byte(1), byte(2), text(name), i32(pick(1 << 20));
            } else if (kind < 12) {
                byte(1), byte(0), text(name), text("\\data\\models\\part_" + std::to_string(pick(500)) + ".p3d");
            } else if (kind < 16) {
                byte(2), text(name);
                const int n = 2 + pick(10);
                count(static_cast<std::uint32_t>(n));
                for (int j = 0; j < n; ++j) element(0);
            } else if (kind < 18 && depth < 4) {
                fields.push_back(classEntry("Sub" + std::to_string(i)));
            } else {
                byte(kind == 18 ? 3 : 4), text("Other" + std::to_string(i));
            }
        }
        i32(static_cast<std::int32_t>(out_.size() + 4));
        for (const std::size_t field : fields) {
            patch(field, out_.size());
            body(depth + 1);
        }
    }

    Bytes out_;
    std::mt19937 random_{17};
    bool randomFloats_;
};

void DecodeRap(benchmark::State& state) {
    static const Bytes configFloats = RapGenerator(false).generate(std::size_t{16} << 20);
    static const Bytes randomFloats = RapGenerator(true).generate(std::size_t{16} << 20);
    const Bytes& input = state.range(0) == 0 ? configFloats : randomFloats;
    archivefile::RapFile rap(nullptr);
    for (auto _ : state) {
        if (rap.Rap2Text(input, "bench") != 0)
            state.SkipWithError(std::string(rap.decodedText().substr(0, 200)).c_str());
    }
    state.SetLabel(state.range(0) == 0 ? "config floats" : "random floats");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
    state.counters["input MiB"] = static_cast<double>(input.size()) / (1 << 20);
    state.counters["text MiB"] = static_cast<double>(rap.decodedText().size()) / (1 << 20);
}

}  // namespace

BENCHMARK(DecodeRap)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();

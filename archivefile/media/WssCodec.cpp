#include "archivefile/media/WssCodec.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace archivefile {

namespace {

// One step of the logarithmic scale: code 127 is a full 16-bit swing.
double byteScale() { return std::log(32768.0) / 127.0; }

int clampSample(int value) { return std::clamp(value, -32768, 32767); }

// The signed move of every byte as it is stored, so that decoding is one look-up a sample.
const std::array<std::int32_t, 256>& byteMoves() {
    static const std::array<std::int32_t, 256> moves = [] {
        const auto& steps = WssCodec::byteSteps();
        std::array<std::int32_t, 256> table{};
        for (int stored = 0; stored < 256; ++stored) {
            const int code = stored < 128 ? stored : std::max(stored - 256, -127);
            table[static_cast<std::size_t>(stored)] = code < 0 ? -steps[static_cast<std::size_t>(-code)]
                                                               : steps[static_cast<std::size_t>(code)];
        }
        return table;
    }();
    return moves;
}

// The code magnitude for every distance the encoder can meet (two 16-bit values are at most 65535
// apart), taken from the rounded logarithm exactly as the scale defines it; a table keeps the
// logarithm out of the per-sample loop.
const std::array<std::uint8_t, 65536>& byteCodes() {
    static const std::array<std::uint8_t, 65536> codes = [] {
        std::array<std::uint8_t, 65536> table{};
        for (std::size_t distance = 0; distance < table.size(); ++distance) {
            const double m = std::floor(std::log(1.0 + static_cast<double>(distance)) / byteScale() + 0.5);
            table[distance] = static_cast<std::uint8_t>(std::min(127.0, m));
        }
        return table;
    }();
    return codes;
}

constexpr std::array<std::int32_t, 89> imaSteps = {
    7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,    28,
    31,    34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,   118,
    130,   143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,   494,
    544,   598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,
    2272,  2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,
    9493,  10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};

constexpr std::array<std::int32_t, 8> imaIndexMoves = {-1, -1, -1, -1, 2, 4, 6, 8};

// The state of one channel. Both directions are written without branches on the data: with noise
// the bits of the codes are unpredictable, and mispredicted branches would cost more than the sums.
struct ImaChannel {
    std::int32_t predictor = 0;
    std::int32_t index = 0;

    // Applies a four-bit code and gives the new sample; the encoder calls this too, so that both
    // sides always hold the same state.
    std::int32_t decode(std::uint32_t code) {
        const std::int32_t step = imaSteps[static_cast<std::size_t>(index)];
        const auto bit = [code](std::uint32_t mask) { return static_cast<std::int32_t>((code & mask) != 0); };
        const std::int32_t difference = (step >> 3) + bit(4) * step + bit(2) * (step >> 1) + bit(1) * (step >> 2);
        predictor = clampSample(predictor + (bit(8) != 0 ? -difference : difference));
        index = std::clamp(index + imaIndexMoves[code & 7], 0, 88);
        return predictor;
    }

    std::uint32_t encode(std::int32_t sample) {
        std::int32_t difference = sample - predictor;
        const std::uint32_t sign = difference < 0 ? 8 : 0;
        difference = std::abs(difference);
        const std::int32_t step = imaSteps[static_cast<std::size_t>(index)];
        const std::uint32_t high = difference >= step;
        difference -= static_cast<std::int32_t>(high) * step;
        const std::uint32_t middle = difference >= (step >> 1);
        difference -= static_cast<std::int32_t>(middle) * (step >> 1);
        const std::uint32_t low = difference >= (step >> 2);
        const std::uint32_t code = sign | high << 2 | middle << 1 | low;
        decode(code);
        return code;
    }
};

}  // namespace

const std::array<std::int16_t, 128>& WssCodec::byteSteps() {
    static const std::array<std::int16_t, 128> steps = [] {
        std::array<std::int16_t, 128> table{};
        for (std::size_t m = 0; m < table.size(); ++m)
            table[m] = static_cast<std::int16_t>(std::floor(std::exp(static_cast<double>(m) * byteScale()) - 1.0 + 0.5));
        return table;
    }();
    return steps;
}

std::size_t WssCodec::expandedSamples(int compression, std::size_t bytes) {
    return compression == Nibble ? bytes * 2 : bytes;
}

std::size_t WssCodec::compressedBytes(int compression, std::size_t samples) {
    return compression == Nibble ? samples / 2 + samples % 2 : samples;
}

void WssCodec::expand(int compression, std::span<const std::uint8_t> data, int channels,
                      std::span<std::int16_t> samples) const {
    if (compression == Nibble)
        expandNibbles(data, channels, samples);
    else
        expandBytes(data, channels, samples);
}

std::vector<std::uint8_t> WssCodec::compress(int compression, std::span<const std::int16_t> samples, int channels) const {
    std::vector<std::uint8_t> data(compressedBytes(compression, samples.size()));
    if (compression == Nibble)
        compressNibbles(samples, channels, data);
    else
        compressBytes(samples, channels, data);
    return data;
}

// Each channel is coded in a pass of its own, its state in local variables: a state kept in memory
// would have to be reloaded after every byte written, since bytes may alias anything.

void WssCodec::expandBytes(std::span<const std::uint8_t> data, int channels, std::span<std::int16_t> samples) {
    const auto& moves = byteMoves();
    const auto stride = static_cast<std::size_t>(channels);
    for (std::size_t first = 0; first < stride; ++first) {
        std::int32_t value = 0;
        for (std::size_t i = first; i < data.size(); i += stride) {
            value = clampSample(value + moves[data[i]]);
            samples[i] = static_cast<std::int16_t>(value);
        }
    }
}

void WssCodec::compressBytes(std::span<const std::int16_t> samples, int channels, std::span<std::uint8_t> data) {
    const auto& codes = byteCodes();
    const auto& steps = byteSteps();
    const auto stride = static_cast<std::size_t>(channels);
    for (std::size_t first = 0; first < stride; ++first) {
        std::int32_t value = 0;
        for (std::size_t i = first; i < samples.size(); i += stride) {
            const std::int32_t error = samples[i] - value;
            const std::uint8_t m = codes[static_cast<std::size_t>(std::abs(error))];
            if (error < 0) {
                data[i] = static_cast<std::uint8_t>(256 - m);
                value = clampSample(value - steps[m]);
            } else {
                data[i] = m;
                value = clampSample(value + steps[m]);
            }
        }
    }
}

void WssCodec::expandNibbles(std::span<const std::uint8_t> data, int channels, std::span<std::int16_t> samples) {
    const auto stride = static_cast<std::size_t>(channels);
    const std::size_t count = data.size() * 2;
    for (std::size_t first = 0; first < stride; ++first) {
        ImaChannel state;
        for (std::size_t i = first; i < count; i += stride)
            samples[i] = static_cast<std::int16_t>(state.decode((data[i / 2] >> (4 * (i % 2))) & 0x0Fu));
    }
}

// `data` starts zeroed: each code is added into its half of a byte.
void WssCodec::compressNibbles(std::span<const std::int16_t> samples, int channels, std::span<std::uint8_t> data) {
    const auto stride = static_cast<std::size_t>(channels);
    for (std::size_t first = 0; first < stride; ++first) {
        ImaChannel state;
        for (std::size_t i = first; i < samples.size(); i += stride)
            data[i / 2] = static_cast<std::uint8_t>(data[i / 2] | state.encode(samples[i]) << (4 * (i % 2)));
    }
}

}  // namespace archivefile

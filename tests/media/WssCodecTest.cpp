#include "archivefile/media/WssCodec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

namespace archivefile {
namespace {

using Samples = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

Samples expanded(int compression, const Bytes& data, int channels) {
    Samples samples(WssCodec::expandedSamples(compression, data.size()));
    WssCodec().expand(compression, data, channels, samples);
    return samples;
}

// A sine at half scale whose frequency rises from 20 Hz to 5 kHz over two seconds at 44.1 kHz, and
// white noise over the same range.
Samples sweep() {
    Samples samples(88200);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / 44100;
        samples[i] = static_cast<std::int16_t>(std::lround(16384 * std::sin(2 * std::numbers::pi * (20 * t + 1245 * t * t))));
    }
    return samples;
}

Samples noise() {
    std::mt19937 random(7);
    Samples samples(88200);
    for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(static_cast<int>(random() % 32768) - 16384);
    return samples;
}

double roundTripSnr(int compression, const Samples& original) {
    const Bytes data = WssCodec().compress(compression, original, 1);
    EXPECT_EQ(data.size(), WssCodec::compressedBytes(compression, original.size()));
    const Samples decoded = expanded(compression, data, 1);
    double signal = 0, error = 0;
    for (std::size_t i = 0; i < original.size(); ++i) {
        signal += double(original[i]) * original[i];
        error += (double(original[i]) - decoded[i]) * (double(original[i]) - decoded[i]);
    }
    return 10 * std::log10(signal / error);
}

TEST(WssCodec, ByteCodesMoveARunningValuePerChannel) {
    for (int code = 0; code <= 4; ++code) EXPECT_EQ(WssCodec::byteSteps()[code], 0) << code;
    // 127 and -127 are full swings, -128 reads as -127, and the value is clamped to 16 bits.
    EXPECT_EQ(expanded(WssCodec::Byte, {127, 0x81, 0x80, 5, 0xFB, 127, 127}, 1),
              (Samples{32767, 0, -32767, -32766, -32767, 0, 32767}));
    EXPECT_EQ(expanded(WssCodec::Byte, {0x81, 0x81}, 1), (Samples{-32767, -32768}));
    // Interleaved channels each start at 0.
    EXPECT_EQ(expanded(WssCodec::Byte, {100, 5, 100, 5}, 2), (Samples{3592, 1, 7184, 2}));
}

TEST(WssCodec, ByteEncoderPicksTheRoundedLogarithmOfTheDistance) {
    const Samples input{1000, -1000, 32767, -32768, 5, 0};
    const Bytes data = WssCodec().compress(WssCodec::Byte, input, 1);
    EXPECT_EQ(data, (Bytes{84, 163, 127, 129, 85, 22}));
    EXPECT_EQ(expanded(WssCodec::Byte, data, 1), (Samples{969, -1056, 31711, -1056, -5, 0}));
}

TEST(WssCodec, NibblesAreImaCodesLowHalfFirst) {
    EXPECT_EQ(expanded(WssCodec::Nibble, {0xF7, 0x77, 0x80, 0x03}, 1), (Samples{11, -19, 44, 180, 199, 182, 295, 309}));
    // Two channels alternate nibble by nibble, each with its own predictor and step.
    EXPECT_EQ(expanded(WssCodec::Nibble, {0x77, 0xFF}, 2), (Samples{11, 11, -19, -19}));
    // An odd number of samples leaves the last high nibble zero.
    const Bytes data = WssCodec().compress(WssCodec::Nibble, Samples{1000, 2000, 3000}, 1);
    ASSERT_EQ(data.size(), 2u);
    EXPECT_EQ(data[1] >> 4, 0);
}

// Closed-loop encoding keeps the error bounded whatever the length. The bounds sit a little below what
// the codecs reach (byte code: 40.4 dB on the sweep, 29.5 dB on noise; nibbles: 28.4 and 15.6 dB), so
// that a coarser step or an error that adds up fails.
TEST(WssCodec, RoundTripsReachTheirSignalToNoiseRatio) {
    const Samples swept = sweep();
    const Samples random = noise();
    EXPECT_GE(roundTripSnr(WssCodec::Byte, swept), 38.0);
    EXPECT_GE(roundTripSnr(WssCodec::Byte, random), 27.0);
    EXPECT_GE(roundTripSnr(WssCodec::Nibble, swept), 26.0);
    EXPECT_GE(roundTripSnr(WssCodec::Nibble, random), 13.0);

    // Stereo: each channel codes exactly as it would alone.
    Samples stereo;
    for (std::size_t i = 0; i < swept.size(); ++i) stereo.insert(stereo.end(), {swept[i], random[i]});
    for (const int compression : {WssCodec::Byte, WssCodec::Nibble}) {
        const Samples both = expanded(compression, WssCodec().compress(compression, stereo, 2), 2);
        const Samples alone = expanded(compression, WssCodec().compress(compression, random, 1), 1);
        for (std::size_t i = 0; i < alone.size(); ++i) ASSERT_EQ(both[2 * i + 1], alone[i]) << compression << " " << i;
    }
}

}  // namespace
}  // namespace archivefile

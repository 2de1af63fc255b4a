// The two ways WSS files store compressed samples, both working on 16-bit samples with the channels
// interleaved sample by sample, each channel keeping its own state from the start of the data:
//
// - Byte (compression 8): one signed byte a sample, a step on a logarithmic scale added to a running
//   value that starts at 0. Code m in 0..127 moves by T[m] = floor(exp(m * c) - 1 + 0.5) with
//   c = ln(32768) / 127, so T[127] = 32767 and codes 0 to 4 do not move at all; a negative code moves
//   down by the same amount, and -128 counts as -127. The running value is clamped to 16 bits.
// - Nibble (compression 4): four bits a sample, IMA ADPCM: predictor 0 and step index 0 for every
//   channel at the start, no block headers, two codes a byte with the earlier sample in the low four
//   bits. An odd number of samples leaves the last high four bits 0.
//
// Both encoders are closed loops: each code is chosen against the value the decoder will have
// reached, so that errors do not add up over a long sound.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// The two WSS sample compressions; see the file's comment.
class ARCHIVEFILE_EXPORT WssCodec {
public:
    /// The compression values of the WSS header.
    static constexpr int Nibble = 4;
    static constexpr int Byte = 8;

    /// How many samples `bytes` of data hold: two a byte for nibbles, one for bytes.
    static std::size_t expandedSamples(int compression, std::size_t bytes);
    /// How many bytes `samples` samples take once compressed.
    static std::size_t compressedBytes(int compression, std::size_t samples);

    /// `samples` must have room for expandedSamples(compression, data.size()) samples.
    void expand(int compression, std::span<const std::uint8_t> data, int channels, std::span<std::int16_t> samples) const;
    /// `samples` compressed, channels interleaved.
    std::vector<std::uint8_t> compress(int compression, std::span<const std::int16_t> samples, int channels) const;

    /// The step of each byte code, 0 to 127.
    static const std::array<std::int16_t, 128>& byteSteps();

private:
    static void expandBytes(std::span<const std::uint8_t> data, int channels, std::span<std::int16_t> samples);
    static void compressBytes(std::span<const std::int16_t> samples, int channels, std::span<std::uint8_t> data);
    static void expandNibbles(std::span<const std::uint8_t> data, int channels, std::span<std::int16_t> samples);
    static void compressNibbles(std::span<const std::int16_t> samples, int channels, std::span<std::uint8_t> data);
};

}  // namespace archivefile

// Compression and expansion of whole blocks held in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// The block coder shared by archives and textures. The method is picked by flag bits tested in the order
/// byte-run, LZO, LZSS; the first one set wins, and a block with none of them is stored as it is.
///
/// Decoders are told the expanded length up front (it always comes from a header field) and never read
/// past the source or write past the destination, whatever the bytes say. Their result is the number of
/// source bytes consumed, or a negative value:
///   Corrupt    an LZSS reference with offset 0, or an LZO stream the library rejects;
///   Truncated  the source ended before the expected length was produced (or before the LZSS checksum);
///   -consumed  the LZSS checksum matched neither signedness; it is never above -4, since the four
///              checksum bytes are always part of what was consumed.
/// Allocation failures raise GE_OutOfMemory; a destination too small for an encoder raises GE_CodeBug.
class ARCHIVEFILE_EXPORT BlockCoder {
public:
    static constexpr unsigned RunFlag = 0x10;      ///< byte-run packets
    static constexpr unsigned LzoFlag = 0x01;      ///< LZO1X
    static constexpr unsigned LzssFlag = 0x02;     ///< LZSS with a trailing additive checksum
    static constexpr unsigned LzssAltFlag = 0x04;  ///< the same LZSS, under the bit some writers use
    static constexpr unsigned MarkerFlag = 0x100;  ///< set in texture selectors (257, 260, 272); selects nothing

    static constexpr int64_t Corrupt = -1;
    static constexpr int64_t Truncated = -2;

    /// Compresses `source` with the method the flags select into the object's own buffer, replacing what
    /// an earlier call left there. Returns the compressed length, or Corrupt if LZO refused the block.
    int64_t compress(std::span<const uint8_t> source, unsigned flags);

    /// The bytes of the last successful compress.
    std::span<const uint8_t> output() const { return {output_.get(), outputSize_}; }

    /// Expands `source` into exactly `destination.size()` bytes with the method the flags select.
    static int64_t decompress(std::span<const uint8_t> source, std::span<uint8_t> destination, unsigned flags);

    /// Whether `stored` bytes could expand to `expected` bytes under the method the flags select at all.
    /// Readers ask this before allocating a destination whose size came from a file.
    static bool canExpandTo(uint64_t stored, uint64_t expected, unsigned flags);

    /// Room that every encoder below needs in its destination for `sourceSize` bytes of input.
    static size_t maxCompressedSize(size_t sourceSize);

    /// LZSS: returns the bytes written, checksum included. Decoding accepts a checksum taken over unsigned
    /// or over signed bytes; `signedSum` only says which one to try first.
    static size_t encodeLzss(std::span<const uint8_t> source, std::span<uint8_t> destination);
    /// LZSS expansion; see the class for its results.
    static int64_t decodeLzss(std::span<const uint8_t> source, std::span<uint8_t> destination, bool signedSum);

    /// Sum of the bytes modulo 2^32, each taken as 0..255, or as -128..127 when `signedSum` is set.
    static uint32_t checksum(std::span<const uint8_t> bytes, bool signedSum);

    /// Byte-run packets: returns the bytes written.
    static size_t encodeRun(std::span<const uint8_t> source, std::span<uint8_t> destination);
    /// Byte-run expansion; see the class for its results.
    static int64_t decodeRun(std::span<const uint8_t> source, std::span<uint8_t> destination);

    /// LZO1X: encoding returns the bytes written or Corrupt.
    static int64_t encodeLzo(std::span<const uint8_t> source, std::span<uint8_t> destination);
    /// LZO1X expansion; see the class for its results.
    static int64_t decodeLzo(std::span<const uint8_t> source, std::span<uint8_t> destination);

private:
    std::unique_ptr<uint8_t[]> output_;
    size_t outputSize_ = 0;
};

}  // namespace archivefile

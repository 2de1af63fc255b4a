// Expands arbitrary bytes as an LZSS block and holds the result against the plain decoder.
// Input: two bytes of expected length, a byte whose low bit picks the checksum signedness tried first,
// then the stored block.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"
#include "tests/foundation/BlockCoderReference.h"

using archivefile::BlockCoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3)
        return 0;
    const std::size_t expected = data[0] | data[1] << 8;
    const bool signedFirst = (data[2] & 1) != 0;
    // An exact copy, so that the address sanitizer sees a read one byte past the block.
    const std::vector<std::uint8_t> stored(data + 3, data + size);
    std::vector<std::uint8_t> out(expected);
    const std::int64_t result = BlockCoder::decodeLzss(stored, out, signedFirst);

    const std::int64_t consumed = result < 0 ? -result : result;
    const bool reachedChecksum = result != BlockCoder::Corrupt && result != BlockCoder::Truncated;
    if (reachedChecksum && (consumed < 4 || consumed > static_cast<std::int64_t>(stored.size())))
        std::abort();
    if (reachedChecksum && !BlockCoder::canExpandTo(stored.size(), expected, BlockCoder::LzssFlag))
        std::abort();

    std::vector<std::uint8_t> plain(expected);
    if (archivefile::reference::decodeLzss(stored, plain) != result)
        std::abort();
    if (reachedChecksum && plain != out)
        std::abort();
    return 0;
}

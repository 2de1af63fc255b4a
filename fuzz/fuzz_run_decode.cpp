// Expands arbitrary bytes as a byte-run block.
// Input: two bytes of expected length, then the stored block.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"

using archivefile::BlockCoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::size_t expected = data[0] | data[1] << 8;
    // An exact copy, so that the address sanitizer sees a read one byte past the block.
    const std::vector<std::uint8_t> stored(data + 2, data + size);
    std::vector<std::uint8_t> out(expected);
    const std::int64_t result = BlockCoder::decodeRun(stored, out);
    if (result < 0 && result != BlockCoder::Truncated)
        std::abort();
    if (result > static_cast<std::int64_t>(stored.size()))
        std::abort();
    if (result >= 0 && !BlockCoder::canExpandTo(stored.size(), expected, BlockCoder::RunFlag))
        std::abort();
    return 0;
}

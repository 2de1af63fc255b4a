// Expands arbitrary bytes as an LZO1X block.
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
    const std::vector<std::uint8_t> stored(data + 2, data + size);
    std::vector<std::uint8_t> out(expected);
    const std::int64_t result = BlockCoder::decodeLzo(stored, out);
    if (result < 0 && result != BlockCoder::Corrupt && result != BlockCoder::Truncated)
        std::abort();
    if (result == 0 || result > static_cast<std::int64_t>(stored.size()))
        std::abort();
    if (result > 0 && !BlockCoder::canExpandTo(stored.size(), expected, BlockCoder::LzoFlag))
        std::abort();
    // A stream followed by other bytes decodes the same when cut where the decoder said it ended.
    if (result > 0 && result < static_cast<std::int64_t>(stored.size())) {
        std::vector<std::uint8_t> again(expected);
        const std::vector<std::uint8_t> cut(stored.begin(), stored.begin() + result);
        if (BlockCoder::decodeLzo(cut, again) != result || again != out)
            std::abort();
    }
    return 0;
}

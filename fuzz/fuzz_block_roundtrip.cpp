// Compresses arbitrary bytes with each method, expands them again and compares; LZSS output must also be
// byte for byte what the plain search produces.
// Input: one selector byte (low three bits pick the flags; bit 7 stretches the data past the window by
// repeating it with a changing byte), then the data.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"
#include "tests/foundation/BlockCoderReference.h"

using archivefile::BlockCoder;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    static constexpr unsigned selectors[] = {0x02, 0x04, 0x10, 0x01, 0x00, 257, 260, 272};
    const unsigned flags = selectors[data[0] & 7];
    std::vector<std::uint8_t> in(data + 1, data + size);
    if ((data[0] & 0x80) && !in.empty()) {
        const std::size_t period = in.size();
        for (std::size_t copy = 1; in.size() < 9000; ++copy) {
            for (std::size_t i = 0; i < period; ++i)
                in.push_back(in[i]);
            in[in.size() - 1 - copy % period] ^= static_cast<std::uint8_t>(copy);
        }
    }

    BlockCoder coder;
    const std::int64_t length = coder.compress(in, flags);
    if (length < 0 || static_cast<std::size_t>(length) != coder.output().size())
        std::abort();
    if (!BlockCoder::canExpandTo(coder.output().size(), in.size(), flags))
        std::abort();
    std::vector<std::uint8_t> back(in.size());
    if (BlockCoder::decompress(coder.output(), back, flags) != length || back != in)
        std::abort();
    const bool lzss = (flags & (BlockCoder::RunFlag | BlockCoder::LzoFlag)) == 0 &&
                      (flags & (BlockCoder::LzssFlag | BlockCoder::LzssAltFlag)) != 0;
    if (lzss) {
        const std::vector<std::uint8_t> plain = archivefile::reference::encodeLzss(in);
        if (!std::equal(plain.begin(), plain.end(), coder.output().begin(), coder.output().end()))
            std::abort();
    }
    return 0;
}

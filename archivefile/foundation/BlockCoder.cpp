// The block coder's dispatcher, the byte-run coder and the LZO1X method. LZSS is in BlockCoderLzss.cpp.
#include "archivefile/foundation/BlockCoder.h"

#include <lzo/lzo1x.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "archivefile/foundation/GenericError.h"

namespace archivefile {

namespace {

static_assert(std::endian::native == std::endian::little,
              "the word-at-a-time scans take the lowest lane as the first byte");

enum class Method { Stored, Run, Lzo, Lzss };

// Bits other than the method bits (the texture marker among them) select nothing.
Method methodOf(unsigned flags) {
    if (flags & BlockCoder::RunFlag)
        return Method::Run;
    if (flags & BlockCoder::LzoFlag)
        return Method::Lzo;
    if (flags & (BlockCoder::LzssFlag | BlockCoder::LzssAltFlag))
        return Method::Lzss;
    return Method::Stored;
}

constexpr size_t RunPacket = 128;
constexpr size_t MaxReference = 18;

uint64_t loadWord(const uint8_t* p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// Index of the lowest zero byte of `word`, or 8 when it has none. The borrow of the subtraction can only
// mark bytes above a real zero, so the lowest marked byte is exact.
size_t firstZeroByte(uint64_t word) {
    constexpr uint64_t ones = 0x0101010101010101;
    const uint64_t marks = (word - ones) & ~word & (ones << 7);
    return static_cast<size_t>(std::countr_zero(marks)) / 8;
}

// First position at or after `from` where three equal bytes start, or `size` when there is none.
size_t nextTriple(const uint8_t* source, size_t from, size_t size) {
    size_t i = from;
    for (; i + 10 <= size; i += 8) {
        const uint64_t here = loadWord(source + i);
        const size_t found =
            firstZeroByte((here ^ loadWord(source + i + 1)) | (here ^ loadWord(source + i + 2)));
        if (found < 8)
            return i + found;
    }
    for (; i + 2 < size; ++i) {
        if (source[i] == source[i + 1] && source[i] == source[i + 2])
            return i;
    }
    return size;
}

// Length of the run of `source[from]` starting at `from`.
size_t runLength(const uint8_t* source, size_t from, size_t size) {
    const uint64_t pattern = uint64_t{source[from]} * 0x0101010101010101;
    size_t i = from + 1;
    for (; i + 8 <= size; i += 8) {
        const uint64_t difference = loadWord(source + i) ^ pattern;
        if (difference != 0)
            return i + static_cast<size_t>(std::countr_zero(difference)) / 8 - from;
    }
    while (i < size && source[i] == source[from])
        ++i;
    return i - from;
}

constexpr size_t LzoWorkSize = 524288;
static_assert(LzoWorkSize >= LZO1X_1_MEM_COMPRESS);

bool lzoReady() {
    static const bool ready = lzo_init() == LZO_E_OK;
    return ready;
}

// The decoder's status when given the first `length` bytes of `source`, and whether it filled the
// destination exactly.
bool lzoDecodes(std::span<const uint8_t> source, size_t length, std::span<uint8_t> destination, int* status) {
    uint8_t none = 0;
    uint8_t* out = destination.empty() ? &none : destination.data();
    lzo_uint produced = destination.size();
    *status = lzo1x_decompress_safe(source.data(), length, out, &produced, nullptr);
    return (*status == LZO_E_OK || *status == LZO_E_INPUT_NOT_CONSUMED) && produced == destination.size();
}

}  // namespace

size_t BlockCoder::maxCompressedSize(size_t sourceSize) {
    // Twice the input and the checksum covers LZSS and byte-run; LZO's worst case is larger for tiny blocks.
    return std::max(2 * sourceSize + 4, sourceSize + sourceSize / 16 + 64 + 3);
}

bool BlockCoder::canExpandTo(uint64_t stored, uint64_t expected, unsigned flags) {
    // value <= units * each, without overflow whatever size a header claims
    auto atMost = [](uint64_t value, uint64_t units, uint64_t each) {
        return value / each < units || value <= units * each;
    };
    switch (methodOf(flags)) {
    case Method::Stored:
        return expected <= stored;
    case Method::Run:
        // Two bytes make a packet of at most 128.
        return atMost(expected, stored / 2, RunPacket);
    case Method::Lzo:
        // A zero byte in a match length adds 255, so no stream expands more than 256 times.
        return atMost(expected, stored, 256);
    case Method::Lzss: {
        if (stored < 4)
            return false;
        // After the checksum: 17 bytes for each full group of eight references of 18, then a flag byte
        // and as many references as the rest holds, and a literal in an odd byte left over.
        const uint64_t payload = stored - 4;
        const uint64_t rest = payload % 17;
        const uint64_t restBytes = rest == 0 ? 0 : (rest - 1) / 2 * MaxReference + (rest - 1) % 2;
        return expected <= restBytes || atMost(expected - restBytes, payload / 17, 8 * MaxReference);
    }
    }
    return false;
}

int64_t BlockCoder::compress(std::span<const uint8_t> source, unsigned flags) {
    output_.reset();
    outputSize_ = 0;
    const size_t capacity = maxCompressedSize(source.size());
    try {
        output_ = std::make_unique_for_overwrite<uint8_t[]>(capacity);
    } catch (const std::bad_alloc&) {
        raise(GE_OutOfMemory);
    }
    const std::span<uint8_t> destination(output_.get(), capacity);
    int64_t written = 0;
    switch (methodOf(flags)) {
    case Method::Stored:
        std::copy(source.begin(), source.end(), destination.begin());
        written = static_cast<int64_t>(source.size());
        break;
    case Method::Run:
        written = static_cast<int64_t>(encodeRun(source, destination));
        break;
    case Method::Lzo:
        written = encodeLzo(source, destination);
        break;
    case Method::Lzss:
        written = static_cast<int64_t>(encodeLzss(source, destination));
        break;
    }
    if (written > 0)
        outputSize_ = static_cast<size_t>(written);
    return written;
}

int64_t BlockCoder::decompress(std::span<const uint8_t> source, std::span<uint8_t> destination, unsigned flags) {
    switch (methodOf(flags)) {
    case Method::Run:
        return decodeRun(source, destination);
    case Method::Lzo:
        return decodeLzo(source, destination);
    case Method::Lzss:
        return decodeLzss(source, destination, false);
    case Method::Stored:
        break;
    }
    if (source.size() < destination.size())
        return Truncated;
    std::copy_n(source.begin(), destination.size(), destination.begin());
    return static_cast<int64_t>(destination.size());
}

size_t BlockCoder::encodeRun(std::span<const uint8_t> source, std::span<uint8_t> destination) {
    if (destination.size() < maxCompressedSize(source.size()))
        raise(GE_CodeBug);
    const uint8_t* const input = source.data();
    const size_t size = source.size();
    uint8_t* out = destination.data();
    size_t position = 0;
    while (position < size) {
        if (size - position >= 3 && input[position] == input[position + 1] &&
            input[position] == input[position + 2]) {
            const uint8_t byte = input[position];
            size_t run = runLength(input, position, size);
            position += run;
            for (; run >= RunPacket; run -= RunPacket) {
                *out++ = 0xFF;
                *out++ = byte;
            }
            if (run > 0) {
                *out++ = static_cast<uint8_t>((run - 1) | 0x80);
                *out++ = byte;
            }
        }
        // Two equal bytes cost no more as literals than as a run, so only three start one.
        const size_t literalsEnd = nextTriple(input, position, size);
        while (position < literalsEnd) {
            const size_t count = std::min(literalsEnd - position, RunPacket);
            *out++ = static_cast<uint8_t>(count - 1);
            std::memcpy(out, input + position, count);
            out += count;
            position += count;
        }
    }
    return static_cast<size_t>(out - destination.data());
}

int64_t BlockCoder::decodeRun(std::span<const uint8_t> source, std::span<uint8_t> destination) {
    const uint8_t* in = source.data();
    const uint8_t* const inEnd = in + source.size();
    uint8_t* out = destination.data();
    uint8_t* const outEnd = out + destination.size();
    // Like LZSS, decoding stops as soon as the expected length is there, even inside a packet.
    while (out < outEnd) {
        if (in == inEnd)
            return Truncated;
        const uint8_t control = *in++;
        if (control & 0x80) {
            if (in == inEnd)
                return Truncated;
            const size_t count = std::min<size_t>((control & 0x7F) + 1, static_cast<size_t>(outEnd - out));
            std::memset(out, *in++, count);
            out += count;
        } else {
            const size_t count = std::min<size_t>(control + 1, static_cast<size_t>(outEnd - out));
            if (static_cast<size_t>(inEnd - in) < count)
                return Truncated;
            std::memcpy(out, in, count);
            in += count;
            out += count;
        }
    }
    return in - source.data();
}

int64_t BlockCoder::encodeLzo(std::span<const uint8_t> source, std::span<uint8_t> destination) {
    if (destination.size() < maxCompressedSize(source.size()))
        raise(GE_CodeBug);
    if (!lzoReady())
        return Corrupt;
    std::unique_ptr<uint8_t[]> work;
    try {
        work = std::make_unique_for_overwrite<uint8_t[]>(LzoWorkSize);
    } catch (const std::bad_alloc&) {
        raise(GE_OutOfMemory);
    }
    uint8_t none = 0;
    lzo_uint written = destination.size();
    // The library's prototype lacks const on the source; it only reads it.
    const int status = lzo1x_1_compress(const_cast<uint8_t*>(source.empty() ? &none : source.data()),
                                        source.size(), destination.data(), &written, work.get());
    return status == LZO_E_OK ? static_cast<int64_t>(written) : Corrupt;
}

int64_t BlockCoder::decodeLzo(std::span<const uint8_t> source, std::span<uint8_t> destination) {
    // The library reads the first byte before it checks the length.
    if (source.empty())
        return Truncated;
    if (!lzoReady())
        return Corrupt;
    int status = LZO_E_OK;
    if (!lzoDecodes(source, source.size(), destination, &status))
        return status == LZO_E_INPUT_OVERRUN ? Truncated : Corrupt;
    if (status == LZO_E_OK)
        return static_cast<int64_t>(source.size());
    // The stream ended before the source did, and the library does not say where. The shortest prefix that
    // still decodes is that end: any shorter one runs out of input. Every trial writes the same bytes.
    size_t low = 1;
    size_t high = source.size();
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (lzoDecodes(source, middle, destination, &status))
            high = middle;
        else
            low = middle + 1;
    }
    return static_cast<int64_t>(high);
}

}  // namespace archivefile

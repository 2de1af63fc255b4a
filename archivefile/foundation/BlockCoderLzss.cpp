// LZSS with a 4095-byte window, references of 3 to 18 bytes and a trailing 32-bit additive checksum.
#include "archivefile/foundation/BlockCoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <vector>

#include "archivefile/foundation/GenericError.h"

namespace archivefile {

namespace {

static_assert(std::endian::native == std::endian::little,
              "the word-at-a-time comparisons take the lowest lane as the first byte");

constexpr size_t Window = 4095;
constexpr size_t MinMatch = 3;
constexpr size_t MaxReference = 18;

uint64_t loadWord(const uint8_t* p) {
    uint64_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// Length of the match between `candidate` and `position`, whose first three bytes are known to agree.
// It may run into the bytes being encoded; only the end of the input stops it.
size_t matchLength(const uint8_t* source, size_t size, size_t candidate, size_t position) {
    const size_t limit = size - position;
    size_t length = MinMatch;
    while (length + 8 <= limit) {
        const uint64_t difference = loadWord(source + candidate + length) ^ loadWord(source + position + length);
        if (difference != 0)
            return length + static_cast<size_t>(std::countr_zero(difference)) / 8;
        length += 8;
    }
    while (length < limit && source[candidate + length] == source[position + length])
        ++length;
    return length;
}

struct Match {
    size_t length = 0;
    size_t position = 0;
};

// The encoder's search walks the window from its start, takes the first position whose three bytes equal
// those at the current position, extends it, keeps it only when strictly longer than the best so far, and
// resumes after the end of that candidate's match. The output is defined by exactly that walk, so this
// finder reproduces it rather than searching better. It keeps the positions of the window chained by a
// hash of their three bytes, oldest first, and so visits the same candidates in the same order while
// stepping only over positions that share the hash, instead of testing every position of the window.
class MatchFinder {
public:
    explicit MatchFinder(std::span<const uint8_t> source)
        : source_(source.data()), size_(source.size()),
          // Small blocks get a small table: the hash decides only speed, never which match is found.
          hashBits_(std::clamp(static_cast<unsigned>(std::bit_width(source.size())), 8u, 14u)),
          buckets_(size_t{1} << hashBits_), next_(RingSize), hashes_(RingSize) {}

    // Makes every position before `position` a candidate and drops those that fell out of the window.
    // `position` has three bytes of input.
    void advanceTo(size_t position) {
        for (; added_ < position; ++added_) {
            add(added_);
            if (added_ >= Window)
                drop(added_ - Window);
        }
    }

    // Needs advanceTo(position) first.
    Match find(size_t position) const {
        Match best;
        const uint32_t prefix = prefixAt(position);
        size_t candidate = buckets_[hashOf(prefix)].oldest;
        while (candidate != None) {
            if (prefixAt(candidate) != prefix) {
                candidate = next_[candidate % RingSize];
                continue;
            }
            const size_t length = matchLength(source_, size_, candidate, position);
            if (length > best.length)
                best = {length, candidate};
            const size_t resume = candidate + length;
            if (resume >= position)
                break;
            do
                candidate = next_[candidate % RingSize];
            while (candidate != None && candidate < resume);
        }
        return best;
    }

private:
    static constexpr size_t None = SIZE_MAX;
    static constexpr size_t RingSize = Window + 1;  // one slot per position of the window, reused in turn

    struct Bucket {
        size_t oldest = None;  // first position of the window with this hash, None when there is none
        size_t newest = None;  // meaningful only while oldest is not None
    };

    uint32_t prefixAt(size_t position) const {
        const uint8_t* p = source_ + position;
        return p[0] | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16;
    }

    uint32_t hashOf(uint32_t prefix) const { return (prefix * 2654435761u) >> (32 - hashBits_); }

    void add(size_t position) {
        const uint32_t hash = hashOf(prefixAt(position));
        hashes_[position % RingSize] = static_cast<uint16_t>(hash);
        next_[position % RingSize] = None;
        Bucket& bucket = buckets_[hash];
        if (bucket.oldest == None)
            bucket.oldest = position;
        else
            next_[bucket.newest % RingSize] = position;
        bucket.newest = position;
    }

    // Positions leave in increasing order, so the one leaving is always the oldest of its bucket.
    void drop(size_t position) {
        buckets_[hashes_[position % RingSize]].oldest = next_[position % RingSize];
    }

    const uint8_t* source_;
    size_t size_;
    unsigned hashBits_;
    size_t added_ = 0;
    std::vector<Bucket> buckets_;
    std::vector<size_t> next_;      // the next position of the window with the same hash, or None
    std::vector<uint16_t> hashes_;  // each window position's hash, to find its bucket when it leaves
};

// Writes items in groups of eight behind a flag byte whose bit i is set when item i is a literal. The
// flag byte of a group is reserved when its first item arrives, so an input with no items gets none.
class ItemWriter {
public:
    explicit ItemWriter(uint8_t* out) : out_(out) {}

    void literal(uint8_t byte) {
        begin(true);
        *out_++ = byte;
    }

    void reference(size_t offset, size_t length) {
        begin(false);
        *out_++ = static_cast<uint8_t>(offset);
        *out_++ = static_cast<uint8_t>((offset >> 8) << 4 | (length - MinMatch));
    }

    uint8_t* position() const { return out_; }

private:
    void begin(bool literal) {
        if (items_ == 0) {
            flags_ = out_++;
            *flags_ = 0;
        }
        if (literal)
            *flags_ |= static_cast<uint8_t>(1u << items_);
        items_ = (items_ + 1) % 8;
    }

    uint8_t* out_;
    uint8_t* flags_ = nullptr;
    unsigned items_ = 0;
};

struct ByteSums {
    uint32_t asUnsigned;
    uint32_t asSigned;
};

// Both sums in one pass, eight bytes at a time. A byte taken as signed equals (byte ^ 0x80) - 128, so the
// signed sum is the unsigned sum of the flipped bytes less 128 for each byte.
ByteSums sumBytes(std::span<const uint8_t> bytes) {
    constexpr uint64_t evenBytes = 0x00FF00FF00FF00FF;
    constexpr uint64_t topBits = 0x8080808080808080;
    auto fold = [](uint64_t lanes) {
        return (lanes & 0xFFFF) + (lanes >> 16 & 0xFFFF) + (lanes >> 32 & 0xFFFF) + (lanes >> 48);
    };
    const uint8_t* p = bytes.data();
    size_t remaining = bytes.size();
    uint64_t plain = 0;
    uint64_t flipped = 0;
    while (remaining >= 8) {
        // A 16-bit lane gains at most 2 * 255 per word, so 128 words fit before it has to be folded.
        const size_t words = std::min<size_t>(remaining / 8, 128);
        uint64_t plainLanes = 0;
        uint64_t flippedLanes = 0;
        for (size_t i = 0; i < words; ++i) {
            const uint64_t word = loadWord(p + 8 * i);
            plainLanes += (word & evenBytes) + (word >> 8 & evenBytes);
            flippedLanes += ((word ^ topBits) & evenBytes) + ((word ^ topBits) >> 8 & evenBytes);
        }
        plain += fold(plainLanes);
        flipped += fold(flippedLanes);
        p += 8 * words;
        remaining -= 8 * words;
    }
    for (; remaining > 0; --remaining, ++p) {
        plain += *p;
        flipped += *p ^ 0x80u;
    }
    return {static_cast<uint32_t>(plain), static_cast<uint32_t>(flipped - 128 * uint64_t{bytes.size()})};
}

// Copies one reference whose source lies wholly inside the output, with at least 24 bytes of room after
// `out`: word copies may write past the reference's end, into bytes the next items overwrite.
void copyReference(uint8_t* out, size_t offset, size_t length) {
    const uint8_t* from = out - offset;
    if (offset >= 8) {
        for (size_t done = 0; done < length; done += 8)
            std::memcpy(out + done, from + done, 8);
    } else if (offset == 1) {
        std::memset(out, *from, length);
    } else {
        for (size_t i = 0; i < length; ++i)
            out[i] = from[i];
    }
}

}  // namespace

uint32_t BlockCoder::checksum(std::span<const uint8_t> bytes, bool signedSum) {
    const ByteSums sums = sumBytes(bytes);
    return signedSum ? sums.asSigned : sums.asUnsigned;
}

size_t BlockCoder::encodeLzss(std::span<const uint8_t> source, std::span<uint8_t> destination) {
    if (destination.size() < maxCompressedSize(source.size()))
        raise(GE_CodeBug);
    const uint8_t* const input = source.data();
    const size_t size = source.size();
    ItemWriter writer(destination.data());
    try {
        MatchFinder finder(source);
        size_t position = 0;
        while (position < size) {
            Match match;
            if (size - position >= MinMatch) {
                finder.advanceTo(position);
                match = finder.find(position);
            }
            if (match.length < MinMatch) {
                writer.literal(input[position++]);
                continue;
            }
            // A match longer than one reference becomes as many full references as fit; the rest of it
            // is searched for afresh, which may well find it again.
            const size_t offset = position - match.position;
            const size_t each = std::min(match.length, MaxReference);
            for (size_t n = match.length <= MaxReference ? 1 : match.length / MaxReference; n > 0; --n) {
                writer.reference(offset, each);
                position += each;
            }
        }
    } catch (const std::bad_alloc&) {
        raise(GE_OutOfMemory);
    }
    uint8_t* end = writer.position();
    const uint32_t sum = sumBytes(source).asUnsigned;
    for (int shift = 0; shift < 32; shift += 8)
        *end++ = static_cast<uint8_t>(sum >> shift);
    return static_cast<size_t>(end - destination.data());
}

int64_t BlockCoder::decodeLzss(std::span<const uint8_t> source, std::span<uint8_t> destination, bool signedSum) {
    const uint8_t* in = source.data();
    const uint8_t* const inEnd = in + source.size();
    uint8_t* const outStart = destination.data();
    uint8_t* out = outStart;
    uint8_t* const outEnd = out + destination.size();

    // A group of eight items takes at most 17 source bytes and yields at most 144 bytes; while both fit,
    // with room for the word copies to spill over, the group needs no bounds checks.
    constexpr ptrdiff_t groupSource = 17;
    constexpr ptrdiff_t groupOutput = 8 * MaxReference + 8;
    while (out < outEnd) {
        if (inEnd - in >= groupSource && outEnd - out >= groupOutput && out - outStart >= ptrdiff_t{Window}) {
            unsigned flags = *in++;
            for (int item = 0; item < 8; ++item, flags >>= 1) {
                if (flags & 1) {
                    *out++ = *in++;
                    continue;
                }
                const size_t offset = in[0] | static_cast<size_t>(in[1] & 0xF0) << 4;
                const size_t length = (in[1] & 0x0F) + MinMatch;
                in += 2;
                if (offset == 0)
                    return Corrupt;
                copyReference(out, offset, length);
                out += length;
            }
            continue;
        }

        // Near either end, and in the first window where references may reach before the output.
        if (in == inEnd)
            return Truncated;
        unsigned flags = *in++;
        for (int item = 0; item < 8 && out < outEnd; ++item, flags >>= 1) {
            if (flags & 1) {
                if (in == inEnd)
                    return Truncated;
                *out++ = *in++;
                continue;
            }
            if (inEnd - in < 2)
                return Truncated;
            const size_t offset = in[0] | static_cast<size_t>(in[1] & 0xF0) << 4;
            const size_t length = std::min<size_t>((in[1] & 0x0F) + MinMatch, static_cast<size_t>(outEnd - out));
            in += 2;
            if (offset == 0)
                return Corrupt;
            // The window before the block counts as spaces, so that text blocks may refer to it.
            for (size_t i = 0; i < length; ++i, ++out)
                *out = static_cast<size_t>(out - outStart) < offset ? uint8_t{' '} : *(out - offset);
        }
    }

    if (inEnd - in < 4)
        return Truncated;
    const uint32_t stored = in[0] | static_cast<uint32_t>(in[1]) << 8 | static_cast<uint32_t>(in[2]) << 16 |
                            static_cast<uint32_t>(in[3]) << 24;
    in += 4;
    const auto consumed = static_cast<int64_t>(in - source.data());
    // Writers disagree on whether bytes are summed signed or unsigned; either is accepted, the caller's
    // guess first.
    const ByteSums sums = sumBytes(destination);
    const uint32_t first = signedSum ? sums.asSigned : sums.asUnsigned;
    const uint32_t second = signedSum ? sums.asUnsigned : sums.asSigned;
    return stored == first || stored == second ? consumed : -consumed;
}

}  // namespace archivefile

#include "archivefile/foundation/BlockCoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <set>
#include <string_view>
#include <vector>

#include "tests/foundation/BlockCoderReference.h"

namespace archivefile {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

Bytes noise(size_t size, unsigned seed, uint8_t low = 0) {
    std::mt19937 random(seed);
    Bytes data(size);
    for (uint8_t& b : data)
        b = static_cast<uint8_t>(low + random() % (256u - low));
    return data;
}

// A short pattern repeated, with a byte changed now and then so that matches end at varying places.
Bytes repetitive(size_t size, size_t period, unsigned seed) {
    std::mt19937 random(seed);
    Bytes data(size);
    for (size_t i = 0; i < size; ++i)
        data[i] = i >= period && random() % 97 != 0 ? data[i - period] : static_cast<uint8_t>('a' + random() % 4);
    return data;
}

template <typename Encode>
Bytes encoded(const Bytes& in, Encode encode) {
    Bytes out(BlockCoder::maxCompressedSize(in.size()));
    out.resize(encode(in, out));
    return out;
}
Bytes lzss(const Bytes& in) { return encoded(in, BlockCoder::encodeLzss); }
Bytes run(const Bytes& in) { return encoded(in, BlockCoder::encodeRun); }
Bytes lzo(const Bytes& in) {
    return encoded(in, [](const Bytes& i, Bytes& o) { return static_cast<size_t>(BlockCoder::encodeLzo(i, o)); });
}

TEST(LzssEncode, SmallBlocksEncodeExactly) {
    EXPECT_EQ(lzss({}), Bytes({0, 0, 0, 0}));
    EXPECT_EQ(lzss(bytesOf("abcdefgh")), Bytes({0xFF, 'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 0x24, 0x03, 0, 0}));
    // The run after the literal is one match of 39 bytes: two references of 18, then the remaining three
    // bytes are found afresh, at the earliest place that matches rather than the nearest.
    Bytes run41 = bytesOf("x");
    run41.insert(run41.end(), 40, 'a');
    EXPECT_EQ(lzss(run41), Bytes({0x03, 'x', 'a', 0x01, 0x0F, 0x01, 0x0F, 0x25, 0x00, 0xA0, 0x0F, 0, 0}));
}

TEST(LzssEncode, WindowReachesBack4095Bytes) {
    // Filler in which no three bytes repeat and none are 'X', 'Y' or 'Z', so that it is all literals and
    // the groups line up the same way every time.
    std::mt19937 random(3);
    std::set<uint32_t> seen;
    Bytes filler = {0x80, 0x80};
    while (filler.size() < 4093) {
        const auto byte = static_cast<uint8_t>(0x80 + random() % 128);
        const uint32_t triple = filler[filler.size() - 2] << 16 | filler.back() << 8 | byte;
        if (seen.insert(triple).second)
            filler.push_back(byte);
    }
    for (size_t gap : {4092u, 4093u}) {
        Bytes in = bytesOf("XYZ");
        in.insert(in.end(), filler.begin(), filler.begin() + static_cast<ptrdiff_t>(gap));
        in.insert(in.end(), {'X', 'Y', 'Z'});
        const Bytes out = lzss(in);
        // 4095 items before the last: a reference fills the group; three literals start a new one.
        const Bytes tail = gap == 4092 ? Bytes({0xFF, 0xF0}) : Bytes({0x07, 'X', 'Y', 'Z'});
        EXPECT_EQ(Bytes(out.end() - 4 - static_cast<ptrdiff_t>(tail.size()), out.end() - 4), tail) << gap;
    }
}

TEST(LzssEncode, MatchesThePlainSearchAndDecodes) {
    std::vector<Bytes> inputs;
    for (size_t size : {0, 1, 2, 3, 4, 17, 18, 19, 37, 100, 4095, 4096, 4097, 9000}) {
        inputs.push_back(noise(size, static_cast<unsigned>(size)));
        inputs.push_back(reference::configText(size, static_cast<unsigned>(size)));
        inputs.push_back(repetitive(size, 1 + size % 13, static_cast<unsigned>(size)));
    }
    for (size_t size : {30000u, 100000u})
        inputs.push_back(reference::mixedBinary(size, static_cast<unsigned>(size)));
    inputs.push_back(repetitive(70000, 3000, 7));  // matches at the far end of the window
    inputs.push_back(reference::configText(1 << 20, 9));
    inputs.push_back(repetitive(1 << 20, 5, 9));
    for (const Bytes& in : inputs) {
        const Bytes out = lzss(in);
        ASSERT_EQ(out, reference::encodeLzss(in)) << in.size();
        Bytes back(in.size());
        ASSERT_EQ(BlockCoder::decodeLzss(out, back, false), static_cast<int64_t>(out.size()));
        ASSERT_EQ(back, in);
    }
}

TEST(LzssDecode, ReferencesBeforeTheStartReadSpaces) {
    // 'A', then a reference 3 back of length 4: two bytes before the start, then 'A' and the first space.
    const Bytes stream = {0x01, 'A', 0x03, 0x01, 0xE2, 0, 0, 0};
    Bytes out(5);
    EXPECT_EQ(BlockCoder::decodeLzss(stream, out, false), 8);
    EXPECT_EQ(out, bytesOf("A  A "));
}

TEST(LzssDecode, StopsAtTheExpectedLengthInsideAReferenceOrGroup) {
    Bytes out(5);
    EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0x01, 'a', 0x01, 0x0F, 0xE5, 0x01, 0, 0}), out, false), 8);
    EXPECT_EQ(out, bytesOf("aaaaa"));
    Bytes two(2);
    EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0xFF, 'a', 'b', 0xC3, 0, 0, 0, 'c'}), two, false), 7);
    Bytes none;
    EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0, 0, 0, 0}), none, true), 4);
}

TEST(LzssDecode, ChecksumOfEitherSignednessIsAccepted) {
    // 0x80 + 0xFF + 0x01 is 0x180 unsigned and -128 signed.
    for (bool signedFirst : {false, true}) {
        Bytes out(3);
        EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0x07, 0x80, 0xFF, 0x01, 0x80, 0x01, 0, 0}), out, signedFirst), 8);
        EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0x07, 0x80, 0xFF, 0x01, 0x80, 0xFF, 0xFF, 0xFF}), out, signedFirst), 8);
        EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0x07, 0x80, 0xFF, 0x01, 0x81, 0x01, 0, 0}), out, signedFirst), -8);
    }
    const Bytes high(5000, 0xFF);
    EXPECT_EQ(BlockCoder::checksum(high, false), 5000u * 255u);
    EXPECT_EQ(BlockCoder::checksum(high, true), static_cast<uint32_t>(-5000));
    // The sums are taken eight bytes at a time; byte by byte is the plain reading, across every split
    // into words and a tail.
    for (size_t size = 0; size < 300; ++size) {
        const Bytes data = noise(size, static_cast<unsigned>(size));
        uint32_t plain = 0, withSign = 0;
        for (uint8_t b : data) {
            plain += b;
            withSign += static_cast<uint32_t>(static_cast<int8_t>(b));
        }
        ASSERT_EQ(BlockCoder::checksum(data, false), plain);
        ASSERT_EQ(BlockCoder::checksum(data, true), withSign);
    }
}

TEST(LzssDecode, DamagedStreamsFailWithoutOverrun) {
    Bytes out(10);
    EXPECT_EQ(BlockCoder::decodeLzss(Bytes({0x00, 0x00, 0x00, 0, 0, 0, 0}), out, false), BlockCoder::Corrupt);
    Bytes nothing;
    EXPECT_EQ(BlockCoder::decodeLzss(Bytes(), nothing, false), BlockCoder::Truncated);
    // Every cut of a valid stream needs bytes that are not there; the copies are exact so that the address
    // sanitizer sees any read past them.
    const Bytes in = reference::configText(6000, 4);
    const Bytes full = lzss(in);
    Bytes back(in.size());
    for (size_t cut = 0; cut < full.size(); ++cut) {
        const Bytes part(full.begin(), full.begin() + static_cast<ptrdiff_t>(cut));
        ASSERT_EQ(BlockCoder::decodeLzss(part, back, false), BlockCoder::Truncated) << cut;
    }
}

TEST(Run, PacketsFollowRunsOfThreeOrMore) {
    Bytes many(300, 'z');
    EXPECT_EQ(run(many), Bytes({0xFF, 'z', 0xFF, 'z', 0xAB, 'z'}));
    EXPECT_EQ(run(bytesOf("abcccd")), Bytes({0x01, 'a', 'b', 0x82, 'c', 0x00, 'd'}));
    EXPECT_EQ(run(bytesOf("aab")), Bytes({0x02, 'a', 'a', 'b'}));
    EXPECT_EQ(run(Bytes(129, 0xEE)), Bytes({0xFF, 0xEE, 0x80, 0xEE}));
    Bytes literals(130);
    std::iota(literals.begin(), literals.end(), uint8_t{0});
    const Bytes out = run(literals);
    ASSERT_EQ(out.size(), 132u);
    EXPECT_EQ(out[0], 0x7F);
    EXPECT_EQ(out[129], 0x01);
}

TEST(Run, DecodesWithinBothBuffers) {
    for (const Bytes& in : {reference::mixedBinary(50000, 2), repetitive(3000, 1, 2), noise(1000, 2)}) {
        const Bytes out = run(in);
        Bytes back(in.size());
        ASSERT_EQ(BlockCoder::decodeRun(out, back), static_cast<int64_t>(out.size()));
        ASSERT_EQ(back, in);
        for (size_t cut = out.size() > 400 ? out.size() - 400 : 0; cut < out.size(); ++cut)
            ASSERT_EQ(BlockCoder::decodeRun(Bytes(out.begin(), out.begin() + static_cast<ptrdiff_t>(cut)), back),
                      BlockCoder::Truncated);
    }
    Bytes three(3);
    EXPECT_EQ(BlockCoder::decodeRun(Bytes({0x85, 'x'}), three), 2);
    EXPECT_EQ(three, bytesOf("xxx"));
    EXPECT_EQ(BlockCoder::decodeRun(Bytes({0x04, 'a', 'b', 'c', 'd', 'e'}), three), 4);
    EXPECT_EQ(three, bytesOf("abc"));
}

TEST(Lzo, RoundTripsAndRefusesDamage) {
    const Bytes in = reference::mixedBinary(40000, 5);
    Bytes stream = lzo(in);
    Bytes back(in.size());
    EXPECT_EQ(BlockCoder::decodeLzo(stream, back), static_cast<int64_t>(stream.size()));
    EXPECT_EQ(back, in);
    Bytes shorter(in.size() - 1), longer(in.size() + 1);
    EXPECT_EQ(BlockCoder::decodeLzo(stream, shorter), BlockCoder::Corrupt);
    EXPECT_EQ(BlockCoder::decodeLzo(stream, longer), BlockCoder::Corrupt);
    EXPECT_LT(BlockCoder::decodeLzo(Bytes(stream.begin(), stream.end() - 1), back), 0);
    EXPECT_EQ(BlockCoder::decodeLzo(Bytes(), back), BlockCoder::Truncated);
    // Bytes after the stream are not part of it.
    const auto length = static_cast<int64_t>(stream.size());
    stream.insert(stream.end(), {1, 2, 3, 4, 5, 6, 7});
    std::fill(back.begin(), back.end(), 0);
    EXPECT_EQ(BlockCoder::decodeLzo(stream, back), length);
    EXPECT_EQ(back, in);
}

TEST(BlockCoder, FlagBitsPickTheMethod) {
    const Bytes in = reference::configText(20000, 6);
    BlockCoder coder;
    auto compressed = [&](unsigned flags) {
        const int64_t length = coder.compress(in, flags);
        EXPECT_EQ(length, static_cast<int64_t>(coder.output().size()));
        return Bytes(coder.output().begin(), coder.output().end());
    };
    for (unsigned flags : {0x02u, 0x04u, 260u, 0x06u})
        EXPECT_EQ(compressed(flags), lzss(in)) << flags;
    for (unsigned flags : {0x10u, 272u, 0x13u})
        EXPECT_EQ(compressed(flags), run(in)) << flags;
    for (unsigned flags : {0x01u, 257u, 0x03u})
        EXPECT_EQ(compressed(flags), lzo(in)) << flags;
    for (unsigned flags : {0x00u, 0x100u, 0x08u})
        EXPECT_EQ(compressed(flags), in) << flags;
    for (unsigned flags : {0x00u, 0x01u, 0x02u, 0x04u, 0x10u, 257u, 260u, 272u}) {
        const Bytes stream = compressed(flags);
        Bytes back(in.size());
        EXPECT_EQ(BlockCoder::decompress(stream, back, flags), static_cast<int64_t>(stream.size())) << flags;
        EXPECT_EQ(back, in) << flags;
    }
}

TEST(BlockCoder, ExpandedLengthsAreBoundedByTheStoredLength) {
    // Zeros expand the most with every method: what the encoders make of them must stay admissible.
    const Bytes zeros(1 << 20, 0);
    for (unsigned flags : {0x01u, 0x02u, 0x10u, 0x00u}) {
        BlockCoder coder;
        coder.compress(zeros, flags);
        EXPECT_TRUE(BlockCoder::canExpandTo(coder.output().size(), zeros.size(), flags)) << flags;
    }
    // The largest lengths a few stored sizes can give.
    EXPECT_FALSE(BlockCoder::canExpandTo(3, 0, 0x02));
    EXPECT_TRUE(BlockCoder::canExpandTo(4, 0, 0x02));
    EXPECT_FALSE(BlockCoder::canExpandTo(4, 1, 0x02));
    EXPECT_TRUE(BlockCoder::canExpandTo(4 + 2, 1, 0x02));
    EXPECT_FALSE(BlockCoder::canExpandTo(4 + 2, 2, 0x02));
    EXPECT_TRUE(BlockCoder::canExpandTo(4 + 17 + 6, 144 + 36 + 1, 260));
    EXPECT_FALSE(BlockCoder::canExpandTo(4 + 17 + 6, 144 + 36 + 2, 260));
    EXPECT_TRUE(BlockCoder::canExpandTo(5, 256, 0x10));
    EXPECT_FALSE(BlockCoder::canExpandTo(5, 257, 0x10));
    EXPECT_TRUE(BlockCoder::canExpandTo(10, 10, 0x100));
    EXPECT_FALSE(BlockCoder::canExpandTo(10, 11, 0x100));
    for (unsigned flags : {0x00u, 0x01u, 0x02u, 0x10u})
        EXPECT_FALSE(BlockCoder::canExpandTo(1000, UINT64_MAX, flags)) << flags;
}

}  // namespace
}  // namespace archivefile

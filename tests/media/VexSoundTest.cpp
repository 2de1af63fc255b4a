#include "archivefile/media/VexSound.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "archivefile/foundation/VexDLL.h"
#include "tests/support/TempFolder.h"

namespace archivefile {
namespace {

using testing::TempFolder;

std::string le16(int value) { return {static_cast<char>(value), static_cast<char>(value >> 8)}; }
std::string le32(std::int64_t value) { return le16(static_cast<int>(value)) + le16(static_cast<int>(value >> 16)); }

// The six format fields, as both forms hold them; pcm() gives consistent ones.
std::string fields(int channels, int rate, int bytesPerSecond, int blockAlign, int bits, int tag = 1) {
    return le16(tag) + le16(channels) + le32(rate) + le32(bytesPerSecond) + le16(blockAlign) + le16(bits);
}
std::string pcm(int channels, int rate, int bits) {
    return fields(channels, rate, rate * channels * bits / 8, channels * bits / 8, bits);
}

// A chunk with its pad byte; `length` overrides the length field.
std::string chunk(const std::string& id, const std::string& body, std::int64_t length = -1) {
    return id + le32(length < 0 ? std::int64_t(body.size()) : length) + body + std::string(body.size() % 2, '\0');
}
std::string wave(const std::string& chunks, std::int64_t riffLength = -1) {
    return "RIFF" + le32(riffLength < 0 ? std::int64_t(chunks.size() + 4) : riffLength) + "WAVE" + chunks;
}
std::string wss(int compression, const std::string& format, int outputSize, const std::string& data) {
    return "WSS0" + le32(compression) + format + le16(outputSize) + data;
}

class Sound : public ::testing::Test {
protected:
    static inline std::vector<std::string> calls;
    static bool collect(const char* text, ...) {
        calls.emplace_back(text);
        return true;
    }

    int open(const std::string& bytes, int flags = 0, const char* name = "sound.wav") {
        calls.clear();
        return sound.Open(folder.write(name, bytes).c_str(), collect, flags);
    }

    static inline std::string elsewhere;
    static bool collectElsewhere(const char* text, ...) {
        elsewhere += text;
        return true;
    }

    static std::string lines() {
        std::string text;
        for (const std::string& call : calls) text += call;
        return text;
    }

    std::string samples() const { return {sound.samples().begin(), sound.samples().end()}; }

    VexDLL root;
    VexSound& sound = *root.vexSound();
    TempFolder folder;
};

TEST_F(Sound, WaveReportComesInItsPieces) {
    const std::string data(44100, '\x11');
    ASSERT_EQ(open(wave(chunk("fmt ", pcm(1, 22050, 16)) + chunk("data", data))), 0);
    EXPECT_EQ(std::vector<std::string>(calls.begin(), calls.begin() + 4),
              (std::vector<std::string>{"WAV", "Mono", "Un", "Compressed\r\n"}));
    EXPECT_NE(lines().find("Playtime:          1.00 Seconds\r\nAudio data        44100 bytes\r\n"), std::string::npos);
    EXPECT_EQ(samples(), data);
    EXPECT_EQ(sound.IsMono(), 1);
}

TEST_F(Sound, WssReportsCompressionAndTheStereoPlaytime) {
    ASSERT_EQ(open(wss(4, pcm(1, 8000, 16), 0, std::string(4000, '\x70')), 0, "a.wss"), 0);
    EXPECT_EQ(lines(), "WSS MonoNibbleCompressed\r\n"
                       "SampleRate        8000\r\n"
                       "Bytes per Second  16000 \r\n"
                       "BlockAlign            2\r\n"
                       "BitsPerSample        16\r\n"
                       "Playtime:          1.00 Seconds\r\n"
                       "Audio data         4000 bytes (compressed)\r\n");
    EXPECT_EQ(sound.GetCompressedType(), 4u);
    EXPECT_EQ(sound.samples().size(), 16000u);

    // Two seconds of stereo show as one: the channel count divides once more than it should.
    ASSERT_EQ(open(wss(0, pcm(2, 8000, 16), 0, std::string(64000, '\0')), 0, "b.wss"), 0);
    EXPECT_EQ(calls[1], "Stereo");
    EXPECT_NE(lines().find("Playtime:          1.00 Seconds\r\n"), std::string::npos);
    EXPECT_EQ(sound.IsMono(), 0);

    // Byte-compressed data expands to 16-bit samples, whatever width the header gives.
    ASSERT_EQ(open(wss(8, pcm(1, 8000, 8), 0, "\x64\x05"), 0, "c.wss"), 0);
    EXPECT_EQ(samples(), le16(3592) + le16(3593));
    EXPECT_EQ(sound.description().bitsPerSample, 16);
    EXPECT_EQ(sound.description().bytesPerSecond, 16000);
}

TEST_F(Sound, DoubtfulFilesWarnAndFailOnlyWhenStrict) {
    const std::string badLength = wave(chunk("fmt ", pcm(1, 8000, 8)) + chunk("data", "ab"), 100);
    EXPECT_EQ(open(badLength), 0);
    EXPECT_EQ(calls[0], "riff format overall size doesn't match actual data 100 vs actual 38\r\n");
    EXPECT_EQ(open(badLength, VexSound::Strict), 11);
    EXPECT_EQ(lines(), calls[0]);

    const std::string stereoNibbles = wss(4, pcm(2, 8000, 16), 0x1234, "ab");
    EXPECT_EQ(open(stereoNibbles, 0, "s.wss"), 0);
    const std::string unused = "Unused short       4660 (x1234)\r\n";
    const std::string sizeOnStereo = "\r\nCompression output size specified, but wss isn't mono channel!\r\n";
    const std::string compressionOnStereo = "\r\nCompression but wss isn't mono channel!\r\n";
    EXPECT_NE(lines().find("BitsPerSample        16\r\n" + unused + sizeOnStereo + compressionOnStereo + "Playtime:"),
              std::string::npos);
    EXPECT_EQ(open(stereoNibbles, VexSound::Strict, "s.wss"), 11);
    EXPECT_EQ(calls.back(), sizeOnStereo);
    EXPECT_EQ(open(wss(4, pcm(2, 8000, 16), 0, "ab"), VexSound::Strict, "t.wss"), 11);
    EXPECT_EQ(calls.back(), compressionOnStereo);

    // An output size word on a mono sound is only shown.
    EXPECT_EQ(open(wss(8, pcm(1, 8000, 16), 7, "ab"), VexSound::Strict, "m.wss"), 0);
    EXPECT_NE(lines().find("Unused short          7 (x0007)\r\nPlaytime:"), std::string::npos);
}

TEST_F(Sound, FormatFaultsGiveTheirCodeAndLine) {
    const std::string fmt = chunk("fmt ", pcm(1, 8000, 16));
    const std::string data = chunk("data", "abcd");
    struct Case {
        const char* what;
        std::string bytes;
        int code;
        std::string last;  // the last text logged
    };
    const Case cases[] = {
        {"odd size", wave(fmt + data) + "x", 11, "wav file has odd byte size (49 bytes)\r\n"},
        {"not RIFF", "RIFX" + wave(fmt + data).substr(4), 11, ""},
        {"not WAVE", "RIFF" + le32(40) + "WAVX" + fmt + data.substr(0, 8), 11, "WAV"},
        {"no fmt", wave(chunk("fmt_", pcm(1, 8000, 16))), 11, "WAV"},
        {"fmt too short", wave(chunk("fmt ", pcm(1, 8000, 16).substr(0, 12))), 11, "WAV"},
        {"fmt of 2^31 bytes", wave(chunk("fmt ", pcm(1, 8000, 16), 0x80000000LL)), 11, "WAV"},
        {"not PCM", wave(chunk("fmt ", fields(1, 8000, 16000, 2, 16, 3)) + data), 11, "WAV"},
        {"three channels", wave(chunk("fmt ", pcm(3, 8000, 16)) + data), 12, "WAV"},
        {"compression 5", wss(5, pcm(1, 8000, 16), 0, ""), 10, "Mono"},
        {"12 bits", wave(chunk("fmt ", fields(1, 8000, 16000, 2, 12)) + data), 11, "BitsPerSample        12\r\n"},
        {"block align 0", wss(0, fields(1, 8000, 0, 0, 16), 0, ""), 11, "\r\nBad Byte Alignment (0)\r\n"},
        {"32 bits", wave(chunk("fmt ", fields(1, 8000, 32000, 4, 32)) + data), 11, "\r\nBits per sample not 8 ,16 , 24\r\n"},
        {"align not the frame", wave(chunk("fmt ", fields(1, 8000, 32000, 4, 16)) + data), 11, "BitsPerSample        16\r\n"},
        {"rate not the bytes per second", wave(chunk("fmt ", fields(1, 8000, 8000, 2, 16)) + data), 11,
         "BitsPerSample        16\r\n"},
        {"fmt of 17", wave(chunk("fmt ", pcm(1, 8000, 16) + "\0", 17)), 11, "Illegal Wavefmt chunksize is 17\r\n"},
        {"fmt of 20, extension 0", wave(chunk("fmt ", pcm(1, 8000, 16) + le16(0) + "xx") + data), 11,
         "Illegal Wavefmt chunksize is 20\r\n"},
        {"fmt of 20, extension 2", wave(chunk("fmt ", pcm(1, 8000, 16) + le16(2) + "xx") + data), 11,
         "cannot handle additional fmt data 2 bytes\r\n"},
        {"data past the end", wave(fmt + "data" + le32(6) + "abcd"), 1, "BitsPerSample        16\r\n"},
        {"chunk length negative", wave(fmt + "LIST" + le32(-16) + "abcd"), 1, "Subchunk: LIST: -16 bytes\r\n"},
        {"chunk header cut short", wave(fmt + data + "LI"), 1, "BitsPerSample        16\r\n"},
        {"stereo with a spare byte", wave(chunk("fmt ", pcm(2, 8000, 16)) + chunk("data", "abcde")), 11,
         "\r\nWarning: file is corrupt. Data size is not block aligned\r\n"},
        {"empty", "", 1, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(open(c.bytes), c.code) << c.what;
        EXPECT_EQ(calls.empty() ? "" : calls.back(), c.last) << c.what;
        EXPECT_TRUE(sound.samples().empty()) << c.what;
    }
    EXPECT_STREQ(sound.ErrorString(10), "Unsupported/Unknown compression type");
    EXPECT_STREQ(sound.ErrorString(11), "WSSERR_UNKNOWN_FORMAT");
    EXPECT_STREQ(sound.ErrorString(12), "WSSERR_UNKNOWN_CHANNELS");
    EXPECT_STREQ(sound.ErrorString(1), "Premature EOF");
}

TEST_F(Sound, ChunkWalkSkipsPadsAndKeepsTheLastData) {
    const std::string bytes = wave(chunk("fmt ", pcm(1, 8000, 8) + le16(0)) + chunk("data", "first") +
                                   chunk("LIST", "abcde") + chunk("data", "xy") + chunk("junk", ""));
    ASSERT_EQ(open(bytes), 0);
    EXPECT_NE(lines().find("BitsPerSample        8\r\nSubchunk: LIST: 5 bytes\r\nSubchunk: junk: 0 bytes\r\n"
                           "Playtime:          0.00 Seconds\r\nAudio data            2 bytes\r\n"),
              std::string::npos);
    EXPECT_EQ(samples(), "xy");
    EXPECT_STREQ(sound.description().chunkId, "junk");

    ASSERT_EQ(open(bytes, VexSound::HeaderOnly), 0);
    EXPECT_EQ(sound.description().dataSize, 2);
    EXPECT_TRUE(sound.samples().empty());
}

TEST_F(Sound, OpenByExtensionNeedsTheRightOne) {
    const std::string file = folder.write("x.WSS", wss(0, pcm(1, 8000, 8), 0, "ab"));
    EXPECT_EQ(sound.Open(file.c_str(), true, collect), 0);
    EXPECT_EQ(samples(), "ab");
    EXPECT_EQ(sound.Open(file.c_str(), false, collect), 3);
    // Each Open sends every line to its own callback.
    ASSERT_EQ(sound.Open(file.c_str(), true, collectElsewhere), 0);
    EXPECT_EQ(elsewhere.substr(0, 8), "WSS Mono");
    EXPECT_EQ(sound.Open((folder / "absent.wss").c_str(), true, collect), 3);
}

TEST_F(Sound, CreateWritesEachForm) {
    const std::string format = pcm(1, 8000, 8);
    ASSERT_EQ(open(wss(0, format, 0x0102, "abc"), 0, "in.wss"), 0);
    // WAVE: the RIFF length counts the pad byte after odd data.
    ASSERT_EQ(sound.Create((folder / "out.wav").c_str(), VexSound::WaveForm), 0);
    EXPECT_EQ(TempFolder::read(folder / "out.wav"),
              "RIFF" + le32(40) + "WAVE" + "fmt " + le32(16) + format + "data" + le32(3) + "abc" + std::string(1, '\0'));
    // Uncompressed WSS keeps the output size word.
    ASSERT_EQ(sound.Create((folder / "out.wss").c_str(), VexSound::Uncompressed), 0);
    EXPECT_EQ(TempFolder::read(folder / "out.wss"), wss(0, format, 0x0102, "abc"));

    // Compressing clears the word and describes the 16-bit samples the data expands to.
    ASSERT_EQ(open(wave(chunk("fmt ", pcm(1, 8000, 16)) + chunk("data", le16(1000) + le16(-1000) + le16(32767)))), 0);
    ASSERT_EQ(sound.Create((folder / "byte.wss").c_str(), VexSound::ByteCompressed), 0);
    EXPECT_EQ(TempFolder::read(folder / "byte.wss"), wss(8, pcm(1, 8000, 16), 0, "\x54\xA3\x7F"));
    ASSERT_EQ(open(wss(0, format, 9, "\x80\xFF"), 0, "in.wss"), 0);
    ASSERT_EQ(sound.Create((folder / "nibble.wss").c_str(), VexSound::NibbleCompressed), 0);
    EXPECT_EQ(sound.description().outputSize, 0);
    calls.clear();
    ASSERT_EQ(sound.Open((folder / "nibble.wss").c_str(), collect, 0), 0);
    EXPECT_EQ(calls[0] + calls[1] + calls[2], "WSS MonoNibble");
    EXPECT_EQ(sound.samples().size(), 4u);

    EXPECT_EQ(sound.Create((folder / "x.wss").c_str(), 3), 10);
    EXPECT_EQ(sound.Create((folder / "absent/x.wss").c_str(), 0), 1);
    ASSERT_EQ(open(wss(0, format, 0, "abc"), VexSound::HeaderOnly, "in.wss"), 0);
    EXPECT_EQ(sound.Create((folder / "x.wss").c_str(), 0), 5);
    EXPECT_FALSE(std::filesystem::exists(folder / "x.wss"));

    // A rate that fits 8-bit stereo has too many bytes a second for the 16-bit samples of compressed data.
    const std::string fast = fields(2, 1000000000, 2000000000, 2, 8);
    EXPECT_EQ(open(wss(8, fast, 0, "ab"), 0, "fast.wss"), 11);
    ASSERT_EQ(open(wss(0, fast, 0, "ab"), 0, "fast.wss"), 0);
    EXPECT_EQ(sound.Create((folder / "fast8.wss").c_str(), VexSound::ByteCompressed), 10);

    // Samples from elsewhere come in whole frames of 1 or 2 channels, at most 4 bytes a frame.
    EXPECT_EQ(sound.setSamples(3, 8000, 16, std::vector<unsigned char>(6)), 12);
    EXPECT_EQ(sound.setSamples(2, 8000, 16, std::vector<unsigned char>(6)), 11);
    EXPECT_EQ(sound.setSamples(2, 44100, 24, std::vector<unsigned char>(12)), 11);
    ASSERT_EQ(sound.setSamples(1, 44100, 24, std::vector<unsigned char>(12, 1)), 0);
    ASSERT_EQ(sound.Create((folder / "s.wav").c_str(), VexSound::WaveForm), 0);
    EXPECT_EQ(TempFolder::read(folder / "s.wav"), wave(chunk("fmt ", pcm(1, 44100, 24)) + chunk("data", std::string(12, '\1'))));
}

}  // namespace
}  // namespace archivefile

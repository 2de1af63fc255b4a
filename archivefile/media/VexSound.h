// Sounds in the game's own WSS form and as RIFF/WAVE files with PCM data: read, checked and described
// through the caller's callback, and written in either form from the samples held in memory.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/VexFileIO.h"
#include "archivefile/media/WssCodec.h"

namespace archivefile {

class VexDLL;

/// The sound handler (.wss, .wav): reads, checks and describes sounds through the callback and writes
/// them in either form. 0 or one of Errors (or a shared code), whose text ErrorString gives.
class ARCHIVEFILE_EXPORT VexSound {
public:
    /// The sound handler's own result codes; the shared codes 0 to 9 keep their meaning.
    enum Errors : int {
        UnknownCompression = 10,
        UnknownFormat = 11,
        UnknownChannels = 12,
    };

    /// Bits of the flags given to Open: read and check the header only (the samples stay on disk),
    /// and turn the warnings about a doubtful file into failures.
    static constexpr int HeaderOnly = 1;
    static constexpr int Strict = 2;

    /// What Create writes: a WAVE file, or a WSS file with one of the WSS compressions.
    static constexpr int WaveForm = -1;
    static constexpr int Uncompressed = 0;
    static constexpr int NibbleCompressed = WssCodec::Nibble;
    static constexpr int ByteCompressed = WssCodec::Byte;

    /// The sound as its header describes it. After a full read the format fields describe the samples
    /// in memory: compressed data expands to 16-bit samples, so a compressed file whose header gives
    /// another width is described as 16-bit from then on.
    struct Description {
        std::int32_t compression = 0;
        std::uint16_t formatTag = 0;
        std::uint16_t channels = 0;
        std::int32_t sampleRate = 0;
        std::int32_t bytesPerSecond = 0;
        std::uint16_t blockAlign = 0;
        std::uint16_t bitsPerSample = 0;
        /// WSS only: written back as read, and 0 after a Create that compresses.
        std::uint16_t outputSize = 0;
        std::int32_t dataSize = 0;
        /// The sample data in the file, valid while it is open.
        const unsigned char* data = nullptr;
        char chunkId[5] = {};
        std::int32_t chunkLength = 0;
    };

    /// A handler of the root `parent`.
    explicit VexSound(VexDLL* parent);

    /// Opens `path` whatever its extension and reads it with the flags above; 0 or an error code
    /// (3 when the file cannot be opened).
    int Open(const char* path, LogCallback callback, int flags);
    /// The same for a file that must carry the extension "wss" (`wss`) or "wav"; a full read, not strict.
    int Open(const char* path, bool wss, LogCallback callback);
    /// Writes the samples in memory as a WAVE file (WaveForm) or as a WSS file compressed with 0, 4 or 8.
    int Create(const char* path, int compression);
    /// The WSS compression of the sound (0, 4 or 8), and whether it is mono.
    unsigned int GetCompressedType() const { return static_cast<unsigned int>(description_.compression); }
    /// 1 for a mono sound.
    int IsMono() const { return description_.channels == 1 ? 1 : 0; }
    /// Forgets the sound, its samples included.
    void Close();
    /// The text of `code`: one of Errors or a shared code.
    const char* ErrorString(int code) const;

    /// The sound as its header describes it.
    const Description& description() const { return description_; }
    /// The samples in memory as little-endian PCM, frames of description().blockAlign bytes (8-bit
    /// samples unsigned, wider ones signed); empty until a full read or setSamples.
    std::span<const unsigned char> samples() const { return samples_; }
    /// Makes `pcm` the sound in memory, described as an uncompressed sound of that format, so that
    /// Create can write it: 0, 11 for a width other than 8, 16 or 24 bits, a frame of more than 4 bytes
    /// (24-bit stereo, which no reader of these files accepts) or data that is not whole frames, 12 for
    /// other than 1 or 2 channels.
    int setSamples(int channels, int sampleRate, int bitsPerSample, std::vector<unsigned char> pcm);
    /// Every line, warnings and errors included, goes to `callback` (standard error when null) until the
    /// next Open or SetCallBack.
    void SetCallBack(LogCallback callback);
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

private:
    int _Process(int flags);
    void openInput(const char* path);
    void readHeader(int flags);
    void readWaveStart(bool strict);
    void readFormat();
    void readWssEnd(bool strict);
    void readWaveChunks();
    void reportLength();
    void loadSamples();
    bool id(const char* expected);
    [[gnu::format(printf, 2, 3)]] void note(const char* format, ...);
    void releaseInput();
    void checkDataSize(std::uint64_t size, std::uint64_t headerBytes, int code);
    void describeSixteenBit(Description& sound, int code);
    void writeFormat(const Description& sound);
    void writeWave();
    void writeWss(int compression);

    VexDLL* parent_;
    VexFileIO stream_;
    Description description_;
    std::vector<unsigned char> samples_;
    bool samplesRead_ = false;
    WssCodec codec_;
};

}  // namespace archivefile

#include <limits>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/media/VexSound.h"

namespace archivefile {

namespace {

// The RIFF length counts 36 bytes of header and a pad byte beside the data.
constexpr std::uint64_t waveHeaderBytes = 37;

// The codecs take 16-bit samples: 8-bit samples (unsigned) are widened, 24-bit ones keep their top
// 16 bits.
std::vector<std::int16_t> sixteenBitSamples(std::span<const unsigned char> pcm, int bitsPerSample) {
    const std::size_t width = static_cast<std::size_t>(bitsPerSample / 8);
    std::vector<std::int16_t> samples(pcm.size() / width);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const unsigned char* sample = pcm.data() + i * width;
        if (width == 1)
            samples[i] = static_cast<std::int16_t>((sample[0] - 128) * 256);
        else
            samples[i] = static_cast<std::int16_t>(sample[width - 2] | sample[width - 1] << 8);
    }
    return samples;
}

}  // namespace

int VexSound::Create(const char* path, int compression) {
    return guarded(
        stream_,
        [&] {
            if (compression != WaveForm && compression != Uncompressed && compression != NibbleCompressed &&
                compression != ByteCompressed)
                raise(UnknownCompression);
            if (!samplesRead_)
                throw TextException("VexSound::Create: no samples in memory to write; read a sound in full first\r\n");
            if (path == nullptr || *path == '\0' || !stream_.CreateFileA(path)) raise(GE_PrematureEof);
            if (compression == WaveForm)
                writeWave();
            else
                writeWss(compression);
            stream_.CloseOutput();
        },
        [] {});
}

int VexSound::setSamples(int channels, int sampleRate, int bitsPerSample, std::vector<unsigned char> pcm) {
    Close();
    return guarded(
        stream_,
        [&] {
            if (channels != 1 && channels != 2) raise(UnknownChannels);
            if (bitsPerSample != 8 && bitsPerSample != 16 && bitsPerSample != 24) raise(UnknownFormat);
            const int blockAlign = channels * bitsPerSample / 8;
            const std::int64_t bytesPerSecond = static_cast<std::int64_t>(sampleRate) * blockAlign;
            if (blockAlign > 4 || sampleRate <= 0 || bytesPerSecond > std::numeric_limits<std::int32_t>::max() ||
                pcm.size() % static_cast<std::size_t>(blockAlign) != 0)
                raise(UnknownFormat);
            checkDataSize(pcm.size(), waveHeaderBytes, UnknownFormat);
            Description& sound = description_;
            sound.formatTag = 1;
            sound.channels = static_cast<std::uint16_t>(channels);
            sound.sampleRate = sampleRate;
            sound.bytesPerSecond = static_cast<std::int32_t>(bytesPerSecond);
            sound.blockAlign = static_cast<std::uint16_t>(blockAlign);
            sound.bitsPerSample = static_cast<std::uint16_t>(bitsPerSample);
            sound.dataSize = static_cast<std::int32_t>(pcm.size());
            samples_ = std::move(pcm);
            samplesRead_ = true;
        },
        [this] { Close(); });
}

void VexSound::writeFormat(const Description& sound) {
    stream_.WriteShort(sound.formatTag);
    stream_.WriteShort(sound.channels);
    stream_.WriteLong(sound.sampleRate);
    stream_.WriteLong(sound.bytesPerSecond);
    stream_.WriteShort(sound.blockAlign);
    stream_.WriteShort(sound.bitsPerSample);
}

void VexSound::writeWave() {
    const std::uint64_t size = samples_.size();
    checkDataSize(size, waveHeaderBytes, GE_CannotWrite);
    const std::uint64_t pad = size % 2;
    stream_.WriteChars("RIFF");
    stream_.WriteLong(static_cast<std::int32_t>(size + 36 + pad));
    stream_.WriteChars("WAVE");
    stream_.WriteChars("fmt ");
    stream_.WriteLong(16);
    writeFormat(description_);
    stream_.WriteChars("data");
    stream_.WriteLong(static_cast<std::int32_t>(size));
    stream_.WriteBlock(samples_.data(), size);
    if (pad != 0) stream_.WriteByte(0);
}

void VexSound::writeWss(int compression) {
    Description written = description_;
    std::vector<std::uint8_t> compressed;
    std::span<const unsigned char> data = samples_;
    if (compression != Uncompressed) {
        // The header describes the samples the data expands to.
        describeSixteenBit(written, UnknownCompression);
        const std::vector<std::int16_t> pcm = sixteenBitSamples(samples_, description_.bitsPerSample);
        compressed = codec_.compress(compression, pcm, description_.channels);
        data = compressed;
        description_.outputSize = 0;
        written.outputSize = 0;
    }
    checkDataSize(data.size(), 0, GE_CannotWrite);
    stream_.WriteChars("WSS0");
    stream_.WriteLong(compression);
    writeFormat(written);
    stream_.WriteShort(written.outputSize);
    stream_.WriteBlock(data.data(), data.size());
}

}  // namespace archivefile

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstring>
#include <limits>

#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/media/VexSound.h"

namespace archivefile {

// The expanded samples are handed out in the host's byte order as little-endian PCM.
static_assert(std::endian::native == std::endian::little, "a big-endian host needs byte swapping in VexSound");

namespace {

// Doubtful files are accepted with a warning line, and refused as an unknown format when strict.
int warningCode(bool strict) { return strict ? int{VexSound::UnknownFormat} : int{GE_NoError}; }

}  // namespace

VexSound::VexSound(VexDLL* parent) : parent_(parent), stream_(parent) {}

void VexSound::SetCallBack(LogCallback callback) {
    stream_.SetErrCallBack(callback);
    stream_.SetCallBack(callback);
}

int VexSound::Open(const char* path, LogCallback callback, int flags) {
    SetCallBack(callback);
    Close();
    const int opened = guarded(stream_, [&] { openInput(path); });
    return opened != GE_NoError ? opened : _Process(flags);
}

int VexSound::Open(const char* path, bool wss, LogCallback callback) {
    if (path == nullptr || FileStringA(path).fs_CompareExt(wss ? "wss" : "wav") == 0) {
        SetCallBack(callback);
        Close();
        return GE_InvalidFile;
    }
    return Open(path, callback, 0);
}

void VexSound::Close() {
    stream_.abandonOutput();
    releaseInput();
    description_ = {};
}

const char* VexSound::ErrorString(int code) const {
    switch (code) {
    case UnknownCompression: return "Unsupported/Unknown compression type";
    case UnknownFormat: return "WSSERR_UNKNOWN_FORMAT";
    case UnknownChannels: return "WSSERR_UNKNOWN_CHANNELS";
    default: return GenericError::ErrorString(code);
    }
}

void VexSound::openInput(const char* path) {
    if (path == nullptr || *path == '\0' || !stream_.OpenFile(path))
        raise(GE_InvalidFile);
    // The data is handed out in place, which needs the whole file in memory.
    if (stream_.IsHuge() != 0) stream_.Throw(GE_OutOfMemory, "VexSound: '%s' is too large to be held in memory\r\n", path);
}

// The description of a failed read stays for the caller to look at; what pointed into the file goes.
void VexSound::releaseInput() {
    stream_.CloseInput();
    description_.data = nullptr;
    samples_ = {};
    samplesRead_ = false;
}

int VexSound::_Process(int flags) {
    return guarded(
        stream_,
        [&] {
            readHeader(flags);
            if ((flags & HeaderOnly) == 0) loadSamples();
        },
        [this] { releaseInput(); });
}

void VexSound::note(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = vformatText(format, args);
    va_end(args);
    stream_.PrintToStdErr(text.c_str());
}

// Reads a 4-byte id and compares it byte for byte.
bool VexSound::id(const char* expected) {
    stream_.Fread(description_.chunkId, 1, 4);
    return std::memcmp(description_.chunkId, expected, 4) == 0;
}

void VexSound::readHeader(int flags) {
    const bool strict = (flags & Strict) != 0;
    description_ = {};
    const bool wss = id("WSS0");
    if (wss) {
        note("WSS ");
        description_.compression = stream_.ReadLong();
    } else {
        readWaveStart(strict);
    }
    readFormat();
    if (wss)
        readWssEnd(strict);
    else
        readWaveChunks();
    reportLength();
}

void VexSound::readWaveStart(bool strict) {
    stream_.MoveTo(0);
    if (stream_.size() % 2 != 0)
        stream_.Throw(UnknownFormat, "wav file has odd byte size (%llu bytes)\r\n",
                      static_cast<unsigned long long>(stream_.size()));
    if (!id("RIFF")) raise(UnknownFormat);
    description_.chunkLength = stream_.ReadLong();
    const auto remaining = static_cast<long long>(stream_.BytesRemaining());
    if (description_.chunkLength != remaining)
        stream_.Throw(warningCode(strict),
                      "riff format overall size doesn't match actual data %d vs actual %lld\r\n",
                      description_.chunkLength, remaining);
    note("WAV");
    if (!id("WAVE")) raise(UnknownFormat);
    if (!id("fmt ")) raise(UnknownFormat);
    description_.chunkLength = stream_.ReadLong();
    if (description_.chunkLength < 16) raise(UnknownFormat);
}

void VexSound::readFormat() {
    Description& sound = description_;
    sound.formatTag = static_cast<std::uint16_t>(stream_.ReadShort());
    if (sound.formatTag != 1) raise(UnknownFormat);
    sound.channels = static_cast<std::uint16_t>(stream_.ReadShort());
    if (sound.channels == 1)
        note("Mono");
    else if (sound.channels == 2)
        note("Stereo");
    else
        raise(UnknownChannels);
    switch (sound.compression) {
    case Uncompressed: note("Un"); break;
    case NibbleCompressed: note("Nibble"); break;
    case ByteCompressed: note("Byte"); break;
    default: raise(UnknownCompression);
    }
    note("Compressed\r\n");

    sound.sampleRate = stream_.ReadLong();
    note("SampleRate        %d\r\n", sound.sampleRate);
    sound.bytesPerSecond = stream_.ReadLong();
    note("Bytes per Second  %d \r\n", sound.bytesPerSecond);
    sound.blockAlign = static_cast<std::uint16_t>(stream_.ReadShort());
    note("BlockAlign            %d\r\n", sound.blockAlign);
    sound.bitsPerSample = static_cast<std::uint16_t>(stream_.ReadShort());
    note("BitsPerSample        %d\r\n", sound.bitsPerSample);

    if (sound.bitsPerSample % 8 != 0) raise(UnknownFormat);
    if (sound.blockAlign < 1 || sound.blockAlign > 4)
        stream_.Throw(UnknownFormat, "\r\nBad Byte Alignment (%d)\r\n", sound.blockAlign);
    if (sound.bitsPerSample != 8 && sound.bitsPerSample != 16 && sound.bitsPerSample != 24)
        stream_.Throw(UnknownFormat, "\r\nBits per sample not 8 ,16 , 24\r\n");
    if (sound.blockAlign != sound.channels * sound.bitsPerSample / 8 ||
        static_cast<std::int64_t>(sound.sampleRate) * sound.blockAlign != sound.bytesPerSecond)
        raise(UnknownFormat);
}

void VexSound::readWssEnd(bool strict) {
    Description& sound = description_;
    sound.outputSize = static_cast<std::uint16_t>(stream_.ReadShort());
    if (sound.outputSize != 0) {
        note("Unused short     %6d (x%04X)\r\n", sound.outputSize, sound.outputSize);
        if (IsMono() == 0)
            stream_.Throw(warningCode(strict),
                          "\r\nCompression output size specified, but wss isn't mono channel!\r\n");
    }
    if (sound.compression != Uncompressed && IsMono() == 0)
        stream_.Throw(warningCode(strict), "\r\nCompression but wss isn't mono channel!\r\n");
    // The samples are the rest of the file.
    const std::uint64_t remaining = stream_.BytesRemaining();
    checkDataSize(remaining, 0, UnknownFormat);
    sound.dataSize = static_cast<std::int32_t>(remaining);
    sound.data = stream_.takeBytes(remaining).data();
}

// Sizes of sample data are signed 32-bit counts in both forms, and WAVE adds its header bytes to them.
void VexSound::checkDataSize(std::uint64_t size, std::uint64_t headerBytes, int code) {
    if (size + headerBytes > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
        stream_.Throw(code, "VexSound: %llu bytes of sample data are more than a sound file can hold\r\n",
                      static_cast<unsigned long long>(size));
}

// Compressed data holds 16-bit samples, whatever width the header gives; a rate that is valid for
// narrower samples may give more bytes a second at 16 bits than the field holds.
void VexSound::describeSixteenBit(Description& sound, int code) {
    const std::int64_t blockAlign = std::int64_t{sound.channels} * 2;
    const std::int64_t bytesPerSecond = std::int64_t{sound.sampleRate} * blockAlign;
    if (bytesPerSecond < std::numeric_limits<std::int32_t>::min() ||
        bytesPerSecond > std::numeric_limits<std::int32_t>::max())
        stream_.Throw(code,
                      "VexSound: at %d samples a second, 16-bit samples need more bytes a second than a sound "
                      "file can hold\r\n",
                      sound.sampleRate);
    sound.bitsPerSample = 16;
    sound.blockAlign = static_cast<std::uint16_t>(blockAlign);
    sound.bytesPerSecond = static_cast<std::int32_t>(bytesPerSecond);
}

void VexSound::readWaveChunks() {
    Description& sound = description_;
    const std::int32_t formatLength = sound.chunkLength;
    if (formatLength != 16) {
        if (formatLength < 18) stream_.Throw(UnknownFormat, "Illegal Wavefmt chunksize is %d\r\n", formatLength);
        const int extension = stream_.ReadShort();
        if (extension + 18 != formatLength)
            stream_.Throw(UnknownFormat, "Illegal Wavefmt chunksize is %d\r\n", formatLength);
        if (extension != 0) stream_.Throw(UnknownFormat, "cannot handle additional fmt data %d bytes\r\n", extension);
    }
    while (!stream_.Eof()) {
        const bool data = id("data");
        sound.chunkLength = stream_.ReadLong();
        const std::int32_t length = sound.chunkLength;
        if (!data) note("Subchunk: %s: %d bytes\r\n", sound.chunkId, length);
        // A length past the end, or one so large that it reads as negative, is a file cut short.
        if (length < 0) raise(GE_PrematureEof);
        if (data) {
            // A later data chunk replaces an earlier one.
            sound.dataSize = length;
            sound.data = stream_.takeBytes(static_cast<std::uint64_t>(length)).data();
        } else {
            stream_.AddOffset(length);
        }
        if (length % 2 != 0) stream_.AddOffset(1);
    }
}

void VexSound::reportLength() {
    const Description& sound = description_;
    // Compressed data is counted against the bytes per second of the samples it expands to. The
    // channel count divides although bytes per second already counts every channel, so a stereo sound
    // shows half its length; that is the figure the report gives, on purpose.
    float factor = 1.0f;
    if (sound.compression == NibbleCompressed) factor = 4.0f;
    if (sound.compression == ByteCompressed) factor = 2.0f;
    const float seconds = static_cast<float>(sound.dataSize) * factor /
                          static_cast<float>(static_cast<std::int64_t>(sound.channels) * sound.bytesPerSecond);
    note("Playtime:          %.2f Seconds\r\n", static_cast<double>(seconds));
    note("Audio data     %8d bytes%s\r\n", sound.dataSize, sound.compression != Uncompressed ? " (compressed)" : "");
    if (sound.compression == Uncompressed && sound.dataSize % sound.blockAlign != 0)
        stream_.Throw(UnknownFormat, "\r\nWarning: file is corrupt. Data size is not block aligned\r\n");
}

void VexSound::loadSamples() {
    Description& sound = description_;
    const std::span<const unsigned char> data(sound.data, static_cast<std::size_t>(sound.dataSize));
    if (sound.compression == Uncompressed) {
        samples_.assign(data.begin(), data.end());
    } else {
        describeSixteenBit(sound, UnknownFormat);
        std::vector<std::int16_t> pcm(WssCodec::expandedSamples(sound.compression, data.size()));
        codec_.expand(sound.compression, data, sound.channels, pcm);
        // Only whole frames are kept: a byte-compressed stereo sound may end half-way through one.
        const std::size_t frames = pcm.size() / sound.channels;
        samples_.resize(frames * sound.channels * sizeof(std::int16_t));
        std::copy_n(reinterpret_cast<const unsigned char*>(pcm.data()), samples_.size(), samples_.begin());
    }
    samplesRead_ = true;
}

}  // namespace archivefile

#include "archivefile/texture/TexFile.h"

#include <cstring>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"

namespace archivefile {

namespace {

std::uint32_t u32At(const unsigned char* bytes, std::size_t offset) {
    std::uint32_t value;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
}

std::uint16_t u16At(const unsigned char* bytes, std::size_t offset) {
    std::uint16_t value;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
}

constexpr std::uint32_t Default = 0xFFFFFFFF;

bool knownPixelFormat(std::uint32_t code) { return code == 1 || code == 4 || code == 6 || code == 10; }

}  // namespace

std::uint32_t TexFile::Entry::pixelFormat() const { return u32At(header, 48); }

// The reading itself, behind the public class so that its state can change without changing the
// class that callers see.
class TexFile::Inner {
public:
    explicit Inner(VexDLL* parent) : stream(parent) {}

    int open(const char* path, const unsigned char* data, unsigned int length) {
        close();
        const int code = guarded(stream, [&]() -> int {
            if (data != nullptr) {
                stream.OpenPseudoFile(data, length);
            } else if (path == nullptr || *path == '\0' || !stream.OpenFile(path, "bin")) {
                return GE_InvalidFile;
            } else if (stream.IsHuge() != 0) {
                // Entries are located in place, which needs the whole file in memory.
                stream.Throw(GE_OutOfMemory, "TexFile: '%s' is too large to be held in memory\r\n", path);
            }
            return read();
        });
        if (code != GE_NoError) close();
        return code;
    }

    void close() {
        body.clear();
        stream.CloseInput();
    }

    VexFileIO stream;
    Body body;

private:
    int read() {
        if (std::memcmp(stream.GetMimeSignature(), "0DHT", 4) != 0 || stream.ReadLong() != 1) return NotIndex;
        // Entries are added as they are read, never reserved from the count: a count of a billion in a
        // short file ends at its end instead of asking for memory.
        const std::int32_t count = stream.ReadLong();
        for (std::int32_t i = 0; i < count; ++i) {
            Entry& entry = body.emplace_back();
            if (const int code = readEntry(entry); code != GE_NoError) return code;
        }
        return stream.Eof() ? int{GE_NoError} : int{ResidualBytes};
    }

    int readEntry(Entry& entry) {
        const unsigned char* header = stream.FreadPtr(Entry::HeaderSize, 1);
        entry.header = header;
        if (u32At(header, 4) != 0) return Always0At4;
        if (u32At(header, 32) != 0) return Always0At32;
        if (u32At(header, 0) != 1) return Always1;
        if (u32At(header, 36) != Default) return AlwaysDefault;
        if (u16At(header, 52) != 257) return Always257;
        if (u32At(header, 28) != Default) return AlwaysDefault;

        entry.path = stream.ReadAsciiz();
        const std::uint32_t format = entry.pixelFormat();
        if (!knownPixelFormat(format)) stream.Throw(GE_DebugTrap, "%d: %s\r\n", static_cast<int>(format), entry.path);
        if (header[43] > 1 || header[42] > 1 || header[41] > 1 || header[40] > 1) raise(GE_DebugTrap);

        const std::uint32_t headerMipmaps = u32At(header, 44);
        entry.smallCount = stream.ReadLong();
        if (entry.smallCount > 12)
            stream.Throw(GE_DebugTrap, "%d:%d %s\r\n", entry.smallCount, static_cast<int>(headerMipmaps), entry.path);
        entry.mipmapCount = stream.ReadLong();
        if (static_cast<std::uint32_t>(entry.mipmapCount) != headerMipmaps) return MipmapCountsDiffer;
        entry.mipmaps = stream.FreadPtr(Entry::MipmapSize, headerMipmaps);
        if (headerMipmaps > 0) {
            const unsigned char* first = entry.mipmaps;
            if (u16At(first, 4) != 0) return MipmapNot0;
            if (first[7] != 3 || first[6] != static_cast<unsigned char>(format)) raise(GE_DebugTrap);
        }
        entry.trailing = stream.readUnsigned();
        return GE_NoError;
    }
};

TexFile::TexFile(VexDLL* parent) : parent_(parent), inner_(std::make_unique<Inner>(parent)) {}

TexFile::~TexFile() = default;

int TexFile::OpenTex(const char* path, const unsigned char* data, unsigned int length) {
    return inner_->open(path, data, length);
}

const TexBody* TexFile::GetTexBody() const { return &inner_->body; }

void TexFile::Close() { inner_->close(); }

void TexFile::SetCallBack(LogCallback callback) {
    inner_->stream.SetErrCallBack(callback);
    inner_->stream.SetCallBack(callback);
}

const char* TexFile::ErrorString(int code) const {
    switch (code) {
    case NotIndex: return "Tex: non mime";
    case ResidualBytes: return "residual bytes at eof";
    case Always0At4:
    case Always0At32: return "Always00 not not zero";
    case Always1: return "Always1 not1";
    case AlwaysDefault: return "alwaysdefault not=-1";
    case Always257: return "not always 11 ";
    case MipmapNot0: return "TEXFILE_MIPMAP_NOT_0 ";
    case MipmapCountsDiffer: return "nMipmaps not same";
    default: return GenericError::ErrorString(code);
    }
}

}  // namespace archivefile

// The texture handler's tables, its records and the mipmap list. Reading is in PacRead.cpp, writing in
// PacWrite.cpp, conversion to and from images in PacImage.cpp.
#include "archivefile/texture/PacFile.h"

#include <algorithm>
#include <cstring>

#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"

namespace archivefile {

PacFile::PacFile(VexDLL* parent) : parent_(parent), stream_(parent) {}

PacFile::~PacFile() = default;

void PacFile::Clear() {
    mipMaps_.clear();
    AVGC_ = {};
    MAXC_ = {};
    SWIZ_ = {};
    FLAG_ = {};
    PROC_.present = 0;
    PROC_.text.Clear();
    OFFS_ = {};
    palette_ = {};
}

int PacFile::replaceWith(LogCallback callback, const std::function<int()>& body) {
    Close();
    typeRuleBroken_ = "";
    callback_ = callback;
    sendLinesTo(callback);
    const int result = guarded(stream_, body, [] {});
    // Only a texture that was read or made through stays: its palette and blocks live in the file image.
    if (result != 0) Close();
    return result;
}

void PacFile::sendLinesTo(LogCallback callback) {
    stream_.SetErrCallBack(callback);
    stream_.SetCallBack(callback);
}

void PacFile::Close() {
    Clear();
    stream_.abandonOutput();
    stream_.CloseInput();
}

const char* PacFile::GetTypeStr(int type) {
    switch (type) {
    case TypeDxt1: return "DXT1";
    case TypeDxt2: return "DXT2";
    case TypeDxt3: return "DXT3";
    case TypeDxt4: return "DXT4";
    case TypeDxt5: return "DXT5";
    case TypeArgb4444: return "RGB4";
    case TypeArgb1555: return "RGB5";
    case TypeArgb8888: return "RGB8";
    case TypeGrey: return "GREY";
    case TypeIndexed: return "INDX";
    default: return "DEMO";
    }
}

int PacFile::typeFilterBit(int type) {
    switch (type) {
    case TypeIndexed: return 0x1;
    case TypeDxt1: return 0x2;
    case TypeDxt2: return 0x4;
    case TypeDxt3: return 0x8;
    case TypeDxt4: return 0x10;
    case TypeDxt5: return 0x20;
    case TypeArgb4444: return 0x40;
    case TypeArgb1555: return 0x80;
    case TypeArgb8888: return 0x100;
    case TypeGrey: return 0x200;
    default: return 0;
    }
}

const char* PacFile::ErrorString(int code) const {
    switch (code) {
    case UnknownFormat: return "PaxFile: Unknown PaaFile Format";
    case UnknownTagg: return "PaxFile: Unkown Tagg";
    case InvalidTag: return "PaxFile: invalid tag";
    case NoOffsetTagg: return "PaxFile: No Offset tagg supplied";
    case NoEndingZeroes: return "PaxFile: No ending zeroes";
    case MipMapCountExceeded: return "PaxFile: MipMapOffsets.nMaps exceeded";
    case BadCompression: return "PaxFile: bad compression";
    case TagRepeated: return "PaxFile: tag repeated";
    case BadTagLength: return "PaxFile: bad tag length";
    case MipMapExtraNonZeros: return "PaxFile: mip map extra non zeros";
    default: return GenericError::ErrorString(code);
    }
}

// ---- Records -------------------------------------------------------------------------------------

int PacFile::Tagg::Read(VexFileIO* stream) {
    if (present) return TagRepeated;
    if (stream->ReadLong() != 4) return BadTagLength;
    value = stream->readUnsigned();
    present = 1;
    return 0;
}

void PacFile::Tagg::Write(VexFileIO* stream, const char* name) const {
    if (!present) return;
    stream->WriteBlock(name, 8);
    stream->WriteLong(4);
    stream->WriteLong(static_cast<std::int32_t>(value));
}

int PacFile::ProcTagg::Read(VexFileIO* stream) {
    if (present) return TagRepeated;
    const std::int32_t length = stream->ReadLong();
    if (length < 2) return BadTagLength;
    text.MemDup(stream->FreadPtr(1, static_cast<std::uint64_t>(length)), length);
    present = 1;
    return 0;
}

int PacFile::ProcTagg::Write(VexFileIO* stream) const {
    const int length = text.GetLen();
    if (length < 2) return BadTagLength;
    stream->WriteBlock("GGATCORP", 8);
    stream->WriteLong(length);
    stream->WriteChars(text);
    return 0;
}

int PacFile::OFFSTagg::Read(VexFileIO* stream) {
    if (present) return TagRepeated;
    if (stream->ReadLong() != 64) return BadTagLength;
    for (std::uint32_t& offset : offsets) offset = stream->readUnsigned();
    const auto firstZero = std::find(offsets.begin(), offsets.end(), 0u);
    // Sixteen offsets in use count as fifteen; readers have always admitted no more than that.
    count = firstZero == offsets.end() ? 15 : static_cast<std::int32_t>(firstZero - offsets.begin());
    if (std::any_of(firstZero, offsets.end(), [](std::uint32_t offset) { return offset != 0; }))
        return MipMapExtraNonZeros;
    present = 1;
    return 0;
}

void PacFile::OFFSTagg::Write(VexFileIO* stream) const {
    if (!present) return;
    stream->WriteBlock("GGATSFFO", 8);
    stream->WriteLong(64);
    for (const std::uint32_t offset : offsets) stream->WriteLong(static_cast<std::int32_t>(offset));
}

int PacFile::Palette::Read(VexFileIO* stream, int colours) {
    if (present) return TagRepeated;
    triplets = stream->FreadPtr(3, static_cast<std::uint64_t>(colours));
    count = static_cast<std::uint16_t>(colours);
    present = 1;
    return 0;
}

void PacFile::Palette::Write(VexFileIO* stream) const {
    stream->WriteShort(count);
    if (count != 0) stream->Fwrite(triplets, 3, count);
}

// ---- Mipmaps -------------------------------------------------------------------------------------

bool PacFile::MipMap::expand(std::span<const std::uint8_t> stored, std::uint64_t realSize, unsigned selector) {
    stored_ = stored;
    if (!BlockCoder::canExpandTo(stored.size(), realSize, selector)) return false;
    constexpr unsigned methods =
        BlockCoder::RunFlag | BlockCoder::LzoFlag | BlockCoder::LzssFlag | BlockCoder::LzssAltFlag;
    if ((selector & methods) == 0) {
        // A block stored as it is needs no copy: its pixels are its first bytes.
        pixels_ = stored.first(static_cast<std::size_t>(realSize));
        return true;
    }
    const auto size = static_cast<std::size_t>(realSize);
    expanded_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    if (BlockCoder::decompress(stored, {expanded_.get(), size}, selector) < 0) {
        expanded_.reset();
        return false;
    }
    pixels_ = {expanded_.get(), size};
    return true;
}

void PacFile::MipMap::setBlock(std::vector<std::uint8_t> stored, std::span<const std::uint8_t> pixels) {
    ownedStored_ = std::move(stored);
    expanded_ = std::make_unique_for_overwrite<std::uint8_t[]>(pixels.size());
    std::copy(pixels.begin(), pixels.end(), expanded_.get());
    stored_ = ownedStored_;
    pixels_ = {expanded_.get(), pixels.size()};
}

PacFile::MipMap* PacFile::MipMaps::AddChain(MipMap mipmap) {
    mipmap.position_ = list_.size();
    list_.push_back(std::make_unique<MipMap>(std::move(mipmap)));
    return list_.back().get();
}

PacFile::MipMap* PacFile::MipMaps::GetFirst() const { return list_.empty() ? nullptr : list_.front().get(); }

PacFile::MipMap* PacFile::MipMaps::GetLast() const { return list_.empty() ? nullptr : list_.back().get(); }

PacFile::MipMap* PacFile::MipMaps::GetNext(const MipMap* mipmap) const {
    if (mipmap == nullptr || mipmap->position_ + 1 >= list_.size()) return nullptr;
    return list_[mipmap->position_ + 1].get();
}

PacFile::MipMap* PacFile::MipMaps::GetPrevious(const MipMap* mipmap) const {
    if (mipmap == nullptr || mipmap->position_ == 0 || mipmap->position_ > list_.size()) return nullptr;
    return list_[mipmap->position_ - 1].get();
}

}  // namespace archivefile

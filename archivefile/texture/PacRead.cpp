// Reading a texture: the type word, the taggs, the palette and the mipmap records, each listed as it is
// read, with the taggs checked against the type.
#include <string_view>

#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/texture/PacFile.h"

namespace archivefile {

namespace {

constexpr std::uint16_t GG = 0x4747;

// The block selectors of mipmap records: LZO, LZSS and byte-run; a block with none is stored as it is.
constexpr unsigned LzoSelector = 257;
constexpr unsigned LzssSelector = 260;
constexpr unsigned RunSelector = 272;
constexpr unsigned StoredSelector = 0;

// Records in the marker form carry their real width and height after these two words.
constexpr std::uint16_t MarkerWidth = 1234;
constexpr std::uint16_t MarkerHeight = 8765;
constexpr std::uint16_t CompressedBit = 0x8000;

bool isKnownType(int word) {
    return word == PacFile::TypeIndexed || PacFile::typeFilterBit(word) != 0;
}

// Bytes of pixels a mipmap of this type and size expands to. 64 bits: 32767 x 65535 x 2 does not fit in 32.
std::uint64_t realSizeOf(int type, std::uint64_t width, std::uint64_t height) {
    const std::uint64_t pixels = width * height;
    switch (type) {
    case PacFile::TypeDxt2:
    case PacFile::TypeDxt3:
    case PacFile::TypeDxt4:
    case PacFile::TypeDxt5:
    case PacFile::TypeIndexed: return pixels;
    case PacFile::TypeArgb4444:
    case PacFile::TypeArgb1555:
    case PacFile::TypeGrey: return pixels * 2;
    case PacFile::TypeArgb8888: return pixels * 4;
    default: return pixels / 2;  // DXT1 and type 0
    }
}

// Every type but DXT and type 0 is always compressed: byte-run for an index texture in the plain form,
// otherwise LZO when the width's top bit says so and LZSS when it does not. DXT blocks are LZO or stored.
unsigned selectorOf(int type, const PacFile::MipMap& mipmap) {
    switch (type) {
    case PacFile::TypeIndexed:
        if (!mipmap.marker) return RunSelector;
        [[fallthrough]];
    case PacFile::TypeArgb4444:
    case PacFile::TypeArgb1555:
    case PacFile::TypeArgb8888:
    case PacFile::TypeGrey: return mipmap.compressed ? LzoSelector : LzssSelector;
    default: return mipmap.compressed ? LzoSelector : StoredSelector;
    }
}

// The taggs as bits, for the rules below.
constexpr unsigned Avgc = 1, Maxc = 2, Flag = 4, Swiz = 8, Proc = 16, Offs = 32;

struct TypeRule {
    unsigned required;
    unsigned forbidden;
    const char* broken;  // what typeRuleBroken() says
    bool read = true;    // false: the type is listed, then refused, whatever its taggs
};

TypeRule ruleOf(int type) {
    switch (type) {
    case PacFile::TypeDemo:
        return {0, Flag | Swiz | Proc | Maxc | Offs, "type 0 takes no FLAG, SWIZ, PROC, MAXC or OFFS tagg"};
    case PacFile::TypeIndexed:
        return {Avgc, Flag | Swiz | Proc | Maxc | Offs,
                "an index texture needs AVGC and takes no FLAG, SWIZ, PROC, MAXC or OFFS tagg"};
    case PacFile::TypeArgb4444: return {Avgc, Swiz | Proc, "an RGB4 texture needs AVGC and takes no SWIZ or PROC tagg"};
    case PacFile::TypeArgb1555:
        return {Maxc | Avgc | Offs, Swiz | Proc, "an RGB5 texture needs MAXC, AVGC and OFFS and takes no SWIZ or PROC tagg"};
    case PacFile::TypeGrey: return {0, Swiz | Proc, "a GREY texture takes no SWIZ or PROC tagg"};
    case PacFile::TypeDxt1: return {Avgc | Offs, 0, "a DXT1 texture needs AVGC and OFFS"};
    case PacFile::TypeDxt5: return {Maxc, Proc, "a DXT5 texture needs MAXC and takes no PROC tagg"};
    // RGB8 and DXT2 to DXT4 are listed but their mipmaps are not read.
    default: return {0, 0, "this type is listed but its mipmaps are not read", false};
    }
}

}  // namespace

int PacFile::Open(const char* path, LogCallback callback, int typeFilter) {
    return replaceWith(callback, [&] {
        const std::string_view name = path != nullptr ? path : "";
        if (name.empty()) raise(GE_InvalidFile);
        // A name without extension may be either kind; one with an extension is opened as named.
        const bool named = paths::extension(name) != paths::none;
        if (!stream_.OpenFile(path, "pac") && (named || !stream_.OpenFile(path, "paa"))) raise(GE_InvalidFile);
        // The palette and the pixel blocks are used in place, which needs the whole file in memory.
        if (stream_.IsHuge() != 0) raise(GE_OutOfMemory);
        return Process(callback, typeFilter);
    });
}

int PacFile::Open(const unsigned char* data, int length, LogCallback callback, int typeFilter) {
    return replaceWith(callback, [&] {
        if (data == nullptr || length < 0) raise(GE_InvalidFile);
        stream_.OpenPseudoFile(data, static_cast<std::uint64_t>(length));
        return Process(callback, typeFilter);
    });
}

int PacFile::Process(LogCallback, int typeFilter) {
    Clear();
    type_ = static_cast<std::uint16_t>(stream_.ReadShort());
    if (type_ == TypeIndexed || !isKnownType(type_)) {
        stream_.MoveTo(0);
        if (type_ != TypeIndexed) type_ = TypeDemo;
    }
    if (typeFilter != 0 && (typeFilter & typeFilterBit(type_)) == 0) return Skipped;
    stream_.Throw(GE_NoError, "Type: %s\r\n", GetTypeStr(type_));

    int paletteCount = 0;
    int result;
    while ((result = ReadTagg(paletteCount)) == 0) {}
    if (result != EndOfTaggs) return result;
    if (paletteCount != 0 && type_ != TypeDemo && type_ != TypeIndexed) return UnknownTagg;
    stream_.Throw(GE_NoError, "Pallete size %d RGBtriplets\r\n", paletteCount);
    if ((result = palette_.Read(&stream_, paletteCount)) != 0) return result;

    checkTaggsSuitType();

    if ((result = mipMaps_.ReadMipMaps(&stream_, type_, OFFS_)) != 0) return result;
    if (stream_.ReadShort() != 0) return NoEndingZeroes;
    return stream_.Eof() ? 0 : static_cast<int>(GE_ResidualBytes);
}

int PacFile::ReadTagg(int& paletteCount) {
    const std::int16_t word = stream_.ReadShort();
    if (static_cast<std::uint16_t>(word) != GG) {
        // The word after the last tagg is the palette count, and it travels as a signed word where
        // older readers also return 9999 for an unknown tagg: counts of 0x8000 and more, and 9999, are
        // refused like an unknown tagg. A count of 0x4747 cannot be told from a tagg and is read as one.
        if (word < 0 || word == 9999) return UnknownTagg;
        paletteCount = word;
        return EndOfTaggs;
    }
    char name[6];
    stream_.Fread(name, 1, sizeof name);
    const auto is = [&name](std::string_view tagg) { return paths::equalIgnoringCase({name, sizeof name}, tagg); };
    if (is("ATCGVA")) return ProcessAVGC();
    if (is("ATGALF")) return ProcessFLAG();
    if (is("ATSFFO")) return ProcessOFFS();
    if (is("ATCXAM")) return ProcessMAXC();
    if (is("ATZIWS")) return ProcessSWIZ();
    if (is("ATCORP")) return ProcessPROC();
    return UnknownTagg;
}

int PacFile::ProcessAVGC() {
    if (const int result = AVGC_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "AVGC: %08X\r\n", AVGC_.value);
    return 0;
}

int PacFile::ProcessMAXC() {
    if (const int result = MAXC_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "MAXC: %08X\r\n", MAXC_.value);
    return 0;
}

int PacFile::ProcessFLAG() {
    if (const int result = FLAG_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "FLAG: %08X\r\n", FLAG_.value);
    return 0;
}

int PacFile::ProcessSWIZ() {
    if (const int result = SWIZ_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "SWIZ: %08X\r\n", SWIZ_.value);
    return 0;
}

int PacFile::ProcessPROC() {
    if (const int result = PROC_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "PROC:\r\n%s\r\n", PROC_.text.GetName());
    return 0;
}

int PacFile::ProcessOFFS() {
    if (const int result = OFFS_.Read(&stream_)) return result;
    stream_.Throw(GE_NoError, "OFFS: %d entries\r\n", OFFS_.count);
    return 0;
}

void PacFile::checkTaggsSuitType() {
    const unsigned present = (AVGC_.present ? Avgc : 0) | (MAXC_.present ? Maxc : 0) | (FLAG_.present ? Flag : 0) |
                             (SWIZ_.present ? Swiz : 0) | (PROC_.present ? Proc : 0) | (OFFS_.present ? Offs : 0);
    const TypeRule rule = ruleOf(type_);
    if (!rule.read || (present & rule.required) != rule.required || (present & rule.forbidden) != 0) {
        typeRuleBroken_ = rule.broken;
        raise(GE_DebugTrap);
    }
}

int PacFile::MipMaps::ReadMipMaps(VexFileIO* stream, int type, const OFFSTagg& offsets) {
    std::int32_t count = 0;
    while (true) {
        const auto position = static_cast<std::uint64_t>(stream->Ftell());
        std::uint16_t width = static_cast<std::uint16_t>(stream->ReadShort());
        std::uint16_t height = static_cast<std::uint16_t>(stream->ReadShort());
        if (width == 0 && height == 0) break;
        if (offsets.present && (count >= offsets.count || position != offsets.offsets[static_cast<std::size_t>(count)]))
            return MipMapCountExceeded;
        MipMap mipmap;
        if (width == MarkerWidth && height == MarkerHeight) {
            mipmap.marker = true;
            width = static_cast<std::uint16_t>(stream->ReadShort());
            height = static_cast<std::uint16_t>(stream->ReadShort());
        }
        mipmap.compressed = (width & CompressedBit) != 0;
        mipmap.width = static_cast<std::uint16_t>(width & ~CompressedBit);
        mipmap.height = height;
        const auto sizeInFile = static_cast<std::uint32_t>(stream->ReadTriByte());
        const std::uint64_t realSize = realSizeOf(type, mipmap.width, mipmap.height);
        // The real size is printed in 64 bits: 32767 x 65535 x 2 does not fit in 32.
        stream->Throw(GE_NoError, "%c%4d x %4d Real Size %7llu: Size in file %7d\r\n",
                      mipmap.compressed || mipmap.marker ? '*' : ' ', mipmap.width, mipmap.height,
                      static_cast<unsigned long long>(realSize), static_cast<int>(sizeInFile));
        const std::span<const std::uint8_t> stored(stream->FreadPtr(1, sizeInFile), sizeInFile);
        if (!mipmap.expand(stored, realSize, selectorOf(type, mipmap))) return BadCompression;
        AddChain(std::move(mipmap));
        ++count;
    }
    if (offsets.present && count != offsets.count) return MipMapCountExceeded;
    return 0;
}

}  // namespace archivefile

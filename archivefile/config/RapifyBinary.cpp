// Binarised configs read back into a class tree, so that a text can be merged with an existing
// config.bin. Only the offset styles are read: the inline style cannot hold what a merge needs.
// Offsets come from the file and are trusted for nothing: each body must lie inside the file, never
// inside a body still open above it, and all bodies together may not hold more bytes than the file,
// so that any input ends, in time bounded by its size, with a tree or a code.
#include <charconv>
#include <cstring>
#include <string>

#include "archivefile/config/RapFormat.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

using namespace rapformat;

struct Rapify::RapInput {
    RapInput(VexDLL* parent, const std::string& name, bool appendEntries)
        : stream(parent), name(name), appendEntries(appendEntries) {}

    struct Span {
        std::uint64_t start;
        std::uint64_t end;
    };

    VexFileIO stream;
    const std::string& name;
    bool appendEntries;  // array-append entries are read (the extended syntax)
    std::uint64_t headerSize = 0;
    std::int32_t enumOffset = 0;
    std::vector<Span> openBodies;
    std::uint64_t bodyBytes = 0;
    bool reported = false;

    std::uint64_t position() const { return static_cast<std::uint64_t>(stream.Ftell()); }
    std::int32_t longAt(std::uint64_t offset) const {
        std::uint32_t value = 0;
        for (int i = 3; i >= 0; --i) value = (value << 8) | stream.image()[offset + static_cast<std::uint64_t>(i)];
        return static_cast<std::int32_t>(value);
    }
};

namespace {

std::string numberText(float value) {
    char digits[32];
    const auto written = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, written.ptr);
}

std::string numberText(std::int32_t value) {
    char digits[16];
    const auto written = std::to_chars(digits, digits + sizeof digits, value);
    return std::string(digits, written.ptr);
}

}  // namespace

// ---- Entry points -------------------------------------------------------------------------------

int Rapify::ProcessBinary(const unsigned char* bytes, int size, int options) {
    const std::size_t length = bytes != nullptr && size > 0 ? static_cast<std::size_t>(size) : 0;
    return readBinary({bytes, length}, {}, options);
}

int Rapify::Rap2Class(const char* fileName, int options) {
    const std::string name = fileName ? fileName : "";
    if (stream_.FileIsRaPified(name.c_str()) != 1) return OpenRapText(name.c_str(), options, callback_);
    VexFileIO file(parent_);
    file.SetCallBack(callback_);
    bool opened = false;
    const int code = guarded(file, [&] { opened = file.OpenFile(name.c_str()); });
    if (!opened) {
        resetCompile(0, callback_);
        records_.push_back({name, {}, 0});
        notify(formatText("cannot open %s\r\n", name.c_str()).c_str());
        _SetError(code != GE_NoError ? code : GE_InvalidFile);
        treeResult_ = errorCode_;
        return errorCode_;
    }
    return readBinary({file.image(), static_cast<std::size_t>(file.size())}, name, options);
}

int Rapify::Rap2Class(const char* name, int options, std::span<const std::uint8_t> bytes) {
    const std::string label = name ? name : "";
    if (bytes.size() >= sizeof Signature && std::memcmp(bytes.data(), Signature, sizeof Signature) == 0)
        return readBinary(bytes, label, options);
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return Text2RapClass(text, options, callback_, label.c_str());
}

int Rapify::readBinary(std::span<const std::uint8_t> bytes, const std::string& name, int options) {
    const int code = guarded(
        stream_,
        [&] {
            resetCompile(0, callback_);
            trees_.push_back({name, CreateRapClass(RapClass::ClassKind), {}});
            records_.push_back({name, {}, 0});
            statistics_.filesRead = 1;
            RapInput in(parent_, name, (options & ExtendedSyntax) != 0);
            in.stream.SetCallBack(callback_);
            in.stream.OpenPseudoFile(bytes.data(), bytes.size());
            readBinaryTree(in);
        },
        [] {});
    if (code != GE_NoError && code != errorCode_) _SetError(code);
    finishCompile();
    treeResult_ = errorCode_;
    return errorCode_;
}

// ---- The file as a whole ------------------------------------------------------------------------

void Rapify::readBinaryTree(RapInput& in) {
    try {
        const std::uint64_t size = in.stream.size();
        const unsigned char* image = in.stream.image();
        if (size < sizeof Signature || std::memcmp(image, Signature, sizeof Signature) != 0)
            failReading(in, RAP_TgrExtern, 0, "not a binarised config: only raP files of the offset styles are read");
        if (size >= TgrHeaderSize && std::memcmp(image + 4, InlineMarker, sizeof InlineMarker) == 0)
            failReading(in, RAP_TgrExtern, 4, "a TGR-style raP: only the offset styles are read");
        // The marks behind the signature block make the signed style; any other header is read as
        // the KerN style, whatever its marks after the signature hold.
        constexpr std::uint64_t signedMarks = SignatureBlockOffset + SignatureBlockSize;
        if (size >= signedMarks + 8 && in.longAt(signedMarks) == HeaderMarkZero &&
            in.longAt(signedMarks + 4) == HeaderMarkEight) {
            modeWord_ = SignedStyle;
            in.headerSize = SignedHeaderSize;
        } else {
            modeWord_ = KernStyle;
            in.headerSize = KernHeaderSize;
        }
        in.stream.MoveTo(in.headerSize - 4);
        in.enumOffset = in.stream.ReadLong();
        readBody(in, trees_.back().primary, in.headerSize, 0);
        readEnumTable(in);
    } catch (Generic_Errors code) {
        // A read past the end, raised by the stream, carries no words of its own.
        if (!in.reported && code == GE_PrematureEof) failReading(in, code, in.position(), "the file ends early");
        throw;
    }
}

void Rapify::readEnumTable(RapInput& in) {
    const std::uint64_t size = in.stream.size();
    const std::uint64_t field = in.headerSize - 4;
    if (in.enumOffset < 0 || static_cast<std::uint64_t>(in.enumOffset) > size)
        failReading(in, GE_PrematureEof, field,
                    formatText("the enum table offset %d lies outside the file", in.enumOffset));
    const auto start = static_cast<std::uint64_t>(in.enumOffset);
    // A file that ends with its last body has no enum table.
    if (start == size) return;
    if (start < in.headerSize)
        failReading(in, GE_InvalidFile, field,
                    formatText("the enum table offset %d points into the header", in.enumOffset));
    in.stream.MoveTo(start);
    const std::int32_t count = in.stream.ReadLong();
    // Every item takes at least five bytes.
    if (count < 0 || static_cast<std::uint64_t>(count) > in.stream.BytesRemaining() / 5)
        failReading(in, GE_InvalidFile, start, formatText("the enum table's count %d does not fit the file", count));
    trees_.back().enumBlock = true;
    std::vector<EnumItem>& items = trees_.back().enums;
    for (std::int32_t item = 0; item < count; ++item) {
        std::string name = in.stream.ReadAsciiz();
        if (name.empty()) name = OrdinalEnumName;
        items.push_back({std::move(name), in.stream.ReadLong()});
    }
    if (in.stream.BytesRemaining() != 0)
        failReading(in, GE_ResidualBytes, in.position(),
                    formatText("%llu bytes follow the enum table",
                               static_cast<unsigned long long>(in.stream.BytesRemaining())));
}

// ---- Bodies and entries -------------------------------------------------------------------------

void Rapify::readBody(RapInput& in, RapClass* cls, std::uint64_t start, int depth) {
    if (depth > MaxClassDepth)
        failReading(in, GE_InvalidFile, start, formatText("classes nested deeper than %d levels", MaxClassDepth));
    in.stream.MoveTo(start);
    const std::string_view inherited = in.stream.ReadAsciiz();
    // The root of a tree stands for the file and inherits from nothing.
    if (depth == 0 && !inherited.empty())
        failReading(
            in, GE_InvalidFile, start,
            formatText("the root class inherits from %.*s", static_cast<int>(inherited.size()), inherited.data()));
    cls->setText(inherited);
    const std::uint32_t count = readCount(in);
    std::vector<PendingBody> children;
    for (std::uint32_t entry = 0; entry < count; ++entry) readBinaryEntry(in, cls, children);
    // The offset at which the body ends: bodies are found through their class entries instead.
    in.stream.ReadLong();
    const std::uint64_t end = in.position();

    // Bodies that do not overlap hold no more bytes together than the file has after its header;
    // more means bodies shared between entries or laid over each other.
    in.bodyBytes += end - start;
    if (in.bodyBytes > in.stream.size() - in.headerSize)
        failReading(in, GE_InvalidFile, start, "class bodies overlap or are shared");

    in.openBodies.push_back({start, end});
    for (const PendingBody& child : children) {
        const std::string_view name = child.cls->nameView();
        if (child.offset < 0 || static_cast<std::uint64_t>(child.offset) >= in.stream.size())
            failReading(in, GE_PrematureEof, child.entryOffset,
                        formatText("class %.*s: body offset %d lies outside the file", static_cast<int>(name.size()),
                                   name.data(), child.offset));
        const auto offset = static_cast<std::uint64_t>(child.offset);
        if (offset < in.headerSize)
            failReading(in, GE_InvalidFile, child.entryOffset,
                        formatText("class %.*s: body offset %d points into the header", static_cast<int>(name.size()),
                                   name.data(), child.offset));
        for (const RapInput::Span& open : in.openBodies)
            if (offset >= open.start && offset < open.end)
                failReading(in, GE_InvalidFile, child.entryOffset,
                            formatText("class %.*s: body offset %d points back into a class body being read",
                                       static_cast<int>(name.size()), name.data(), child.offset));
        readBody(in, child.cls, offset, depth + 1);
    }
    in.openBodies.pop_back();
}

void Rapify::readBinaryEntry(RapInput& in, RapClass* cls, std::vector<PendingBody>& bodies) {
    const std::uint64_t entryOffset = in.position();
    const int type = in.stream.ReadByte();
    switch (type) {
    case ClassEntry: {
        RapClass* node = cls->rapc_AddEmbeddedEntry(RapClass::ClassKind);
        node->setName(readName(in, entryOffset));
        bodies.push_back({node, in.stream.ReadLong(), entryOffset});
        ++statistics_.classes;
        return;
    }
    case ValueEntry: {
        const int subtype = in.stream.ReadByte();
        if (subtype > IntValue)
            failReading(in, GE_InvalidFile, entryOffset, formatText("a named value of subtype %d", subtype));
        RapClass* node = cls->rapc_AddEmbeddedEntry(RapClass::StringKind);
        node->setName(readName(in, entryOffset));
        if (subtype == StringValue) {
            node->setText(in.stream.ReadAsciiz());
        } else if (subtype == FloatValue) {
            node->setKind(RapClass::FloatKind);
            node->setText(numberText(in.stream.ReadFloat()));
        } else {
            node->setKind(RapClass::IntKind);
            node->setText(numberText(in.stream.ReadLong()));
        }
        ++statistics_.values;
        return;
    }
    case ArrayEntry: {
        RapClass* node = cls->rapc_AddEmbeddedEntry(RapClass::ArrayKind);
        node->setName(readName(in, entryOffset));
        readElements(in, node, 1);
        ++statistics_.values;
        return;
    }
    case ArrayAppendEntry: {
        if (!in.appendEntries) break;
        const std::int32_t flags = in.stream.ReadLong();
        if (flags != ArrayAppendFlags)
            failReading(in, GE_InvalidFile, entryOffset, formatText("an array-append entry with flags %d", flags));
        RapClass* node = cls->rapc_AddEmbeddedEntry(RapClass::ArrayAppendKind);
        node->setName(readName(in, entryOffset));
        readElements(in, node, 1);
        ++statistics_.values;
        return;
    }
    case ExternEntry:
    case DeleteEntry: {
        RapClass* node = cls->rapc_AddEmbeddedEntry(type == ExternEntry ? RapClass::ExternKind : RapClass::DeleteKind);
        node->setName(readName(in, entryOffset));
        ++statistics_.externClasses;
        return;
    }
    default: break;
    }
    failReading(in, GE_InvalidFile, entryOffset, formatText("an entry of unknown type %d", type));
}

void Rapify::readElements(RapInput& in, RapClass* array, int depth) {
    if (depth > MaxArrayDepth)
        failReading(in, GE_InvalidFile, in.position(),
                    formatText("arrays nested deeper than %d levels", MaxArrayDepth));
    const std::uint32_t count = readCount(in);
    for (std::uint32_t n = 0; n < count; ++n) {
        const std::uint64_t elementOffset = in.position();
        const int subtype = in.stream.ReadByte();
        switch (subtype) {
        case StringValue: array->rapc_AddEmbeddedEntry(RapClass::StringKind)->setText(in.stream.ReadAsciiz()); break;
        case FloatValue:
            array->rapc_AddEmbeddedEntry(RapClass::FloatKind)->setText(numberText(in.stream.ReadFloat()));
            break;
        case IntValue:
            array->rapc_AddEmbeddedEntry(RapClass::IntKind)->setText(numberText(in.stream.ReadLong()));
            break;
        case NestedArray: readElements(in, array->rapc_AddEmbeddedEntry(RapClass::ArrayKind), depth + 1); break;
        default:
            failReading(in, GE_InvalidFile, elementOffset, formatText("an array element of unknown type %d", subtype));
        }
    }
}

// ---- Reading helpers ----------------------------------------------------------------------------

std::uint32_t Rapify::readCount(RapInput& in) {
    const std::uint64_t start = in.position();
    std::uint32_t value = 0;
    for (int shift = 0;; shift += 7) {
        const int byte = in.stream.ReadByte();
        if (shift == 28 && byte > 0x0F) failReading(in, GE_InvalidFile, start, "a count runs past 32 bits");
        value |= static_cast<std::uint32_t>(byte & 0x7F) << shift;
        if ((byte & 0x80) == 0) break;
    }
    // Every entry and element takes at least one byte, so a larger count cannot be met.
    if (value > in.stream.BytesRemaining())
        failReading(in, GE_PrematureEof, start,
                    formatText("a count of %u exceeds the %llu bytes that remain", value,
                               static_cast<unsigned long long>(in.stream.BytesRemaining())));
    return value;
}

std::string_view Rapify::readName(RapInput& in, std::uint64_t entryOffset) {
    const std::string_view name = in.stream.ReadAsciiz();
    if (name.empty()) failReading(in, GE_InvalidFile, entryOffset, "an entry without a name");
    return name;
}

void Rapify::failReading(RapInput& in, int code, std::uint64_t offset, const std::string& what) {
    in.reported = true;
    const auto at = static_cast<unsigned long long>(offset);
    notify((in.name.empty() ? formatText("%s at offset %llu\r\n", what.c_str(), at)
                            : formatText("%s: %s at offset %llu\r\n", in.name.c_str(), what.c_str(), at))
               .c_str());
    fail(code);
}

}  // namespace archivefile

// The raP writer: the current tree binarised in the style its text chose. In the offset styles a
// size pass lays out every class body before a byte is written, so that each class entry can carry
// the offset of its body; the writing pass then fills one buffer, which goes to the caller's memory
// or, complete, to a file.
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

#include "archivefile/config/RapFormat.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/Sha1.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

using namespace rapformat;

struct Rapify::RapOutput {
    // What the size pass found for one class body; bodies are listed in the order they are written,
    // depth first with each parent before its children.
    struct BodySizes {
        std::uint64_t body = 0;     // xCalcBody
        std::uint64_t overall = 0;  // xCalcOverallOffset: this body and every body below it
        std::size_t bodies = 0;     // bodies listed from this one to the end of its subtree
    };

    std::vector<std::uint8_t>& bytes;
    int style;
    std::vector<BodySizes> sizes;
    // Where the next body goes: xIterate's running offset.
    std::uint64_t offset = 0;

    void byte(int value) { bytes.push_back(static_cast<std::uint8_t>(value)); }
    void asciiz(std::string_view text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        bytes.push_back(0);
    }
    void long32(std::int32_t value) {
        const auto bits = static_cast<std::uint32_t>(value);
        const std::uint8_t le[4] = {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(bits >> 8),
                                    static_cast<std::uint8_t>(bits >> 16), static_cast<std::uint8_t>(bits >> 24)};
        bytes.insert(bytes.end(), le, le + 4);
    }
    void offset32(std::uint64_t value) { long32(static_cast<std::int32_t>(value)); }
    void count(std::uint64_t value) {
        for (; value >= 0x80; value >>= 7) byte(static_cast<int>((value & 0x7F) | 0x80));
        byte(static_cast<int>(value));
    }
};

namespace {

std::uint64_t childCount(const RapClass* node) {
    std::uint64_t count = 0;
    for (const RapClass* child = node->firstChild(); child; child = child->next()) ++count;
    return count;
}

std::string_view storedEnumName(const std::string& name) { return name == OrdinalEnumName ? std::string_view() : name; }

// How messages name an entry: elements of an array have no name of their own.
std::string entryLabel(const RapClass* node) {
    if (!node->nameView().empty()) return std::string(node->nameView());
    if (node->parent() != nullptr && !node->parent()->nameView().empty())
        return "an element of " + std::string(node->parent()->nameView());
    return "an element of an array";
}

}  // namespace

// ---- Entry points -------------------------------------------------------------------------------

void Rapify::SetCallBack(LogCallback callback) {
    callback_ = callback;
    stream_.SetCallBack(callback);
}

int Rapify::OutputRap(const char* file, bool force) {
    if (treeResult_ != GE_NoError) return treeResult_;
    const std::string target = file ? file : "";
    return guarded(
        stream_,
        [&] {
            if (target.empty()) failWriting(RAP_CannotWrite, target, "no file named to write the raP to\r\n");
            // The stream has named the file and the reason.
            if (!stream_.CreateFileA(target.c_str())) failWriting(RAP_CannotWrite, target, {});
            std::vector<std::uint8_t> bytes;
            buildRap(bytes, force);
            try {
                stream_.WriteBlock(bytes.data(), bytes.size());
                stream_.CloseOutput();
            } catch (Generic_Errors code) {
                if (code != GE_CannotWrite) throw;
                failWriting(RAP_CannotWrite, target, formatText("cannot write %s\r\n", target.c_str()));
            }
        },
        [] {});
}

int Rapify::OutputRap(std::vector<std::uint8_t>& bytes, bool force) {
    bytes.clear();
    if (treeResult_ != GE_NoError) return treeResult_;
    return guarded(
        stream_, [&] { buildRap(bytes, force); }, [&] { bytes = {}; });
}

void Rapify::failWriting(int code, std::string_view file, const std::string& line) {
    if (!line.empty()) notify(line.c_str());
    _SetError(code);
    if (errorCode_ == code) {
        errorFile_ = file;
        errorLine_ = 0;
    }
    raise(code);
}

void Rapify::failKind(const RapClass* node, int code, const std::string& detail) {
    failWriting(code, rap_GetFilename(), formatText("%s %s\r\n", entryLabel(node).c_str(), detail.c_str()));
}

// ---- The file as a whole ------------------------------------------------------------------------

void Rapify::buildRap(std::vector<std::uint8_t>& bytes, bool force) {
    RapClass* primary = GetFirst();
    CheckPrimary(primary);
    if (primary->firstChild() == nullptr) failWriting(RAP_NoClasses, rap_GetFilename(), {});
    int style = modeWord_ & StyleMask;
    if (style == TgrStyle && force) style = KernStyle;

    bytes.clear();
    RapOutput out{bytes, style, {}};
    if (style == TgrStyle)
        writeInlineStyle(out, primary);
    else
        writeOffsetStyle(out, primary);
}

void Rapify::writeInlineStyle(RapOutput& out, const RapClass* primary) {
    out.bytes.insert(out.bytes.end(), std::begin(Signature), std::end(Signature));
    out.bytes.insert(out.bytes.end(), std::begin(InlineMarker), std::end(InlineMarker));
    // The root is written as one class entry of its own, with an empty name.
    out.byte(ClassEntry);
    out.asciiz({});
    writeInlineBody(primary, out, 0);
    // With no offset to point at it, the enum table follows the root. Inline-style files come with
    // and without one, so a text that chose this style by its header gets one only from an enum
    // block: decoded and compiled again, such a file keeps its bytes.
    if (!inlineByHeader_ || currentTree().enumBlock) writeEnumTable(out);
}

void Rapify::writeOffsetStyle(RapOutput& out, const RapClass* primary) {
    const bool signature = out.style == SignedStyle;
    const std::uint64_t header = signature ? SignedHeaderSize : KernHeaderSize;
    const std::vector<EnumItem>& enums = enumTable();
    std::uint64_t enumSize = 4;
    for (const EnumItem& item : enums) enumSize += storedEnumName(item.name).size() + 1 + 4;

    const std::uint64_t enumOffset = header + xCalcOverallOffset(primary, out, 0);
    const std::uint64_t total = enumOffset + enumSize;
    if (total > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
        failWriting(RAP_CannotWrite, rap_GetFilename(),
                    formatText("the binarised config would take %llu bytes, more than its 32-bit offsets reach\r\n",
                               static_cast<unsigned long long>(total)));

    out.bytes.reserve(total);
    out.bytes.insert(out.bytes.end(), std::begin(Signature), std::end(Signature));
    if (signature) out.bytes.insert(out.bytes.end(), SignatureBlockSize, 0);
    out.long32(HeaderMarkZero);
    out.long32(HeaderMarkEight);
    out.offset32(enumOffset);

    out.offset = header;
    xIterate(primary, out, 0, 0);

    writeEnumTable(out);
    if (out.bytes.size() != total) throw TextException("raP writer: the written size differs from the laid-out size");

    if (signature) {
        // The closing step: the block holds the SHA-1 of every byte after it.
        const std::span<const std::uint8_t> signedBytes(out.bytes.data() + SignatureBlockOffset + SignatureBlockSize,
                                                        out.bytes.size() - SignatureBlockOffset - SignatureBlockSize);
        Sha1::Digest digest{};
        try {
            digest = Sha1::of(signedBytes);
        } catch (Generic_Errors) {
            failWriting(RAP_CannotWrite, rap_GetFilename(), "cannot compute the signature block\r\n");
        }
        std::copy(digest.begin(), digest.end(), out.bytes.begin() + static_cast<std::ptrdiff_t>(SignatureBlockOffset));
    }
}

void Rapify::writeEnumTable(RapOutput& out) {
    const std::vector<EnumItem>& enums = enumTable();
    out.long32(static_cast<std::int32_t>(enums.size()));
    for (const EnumItem& item : enums) {
        out.asciiz(storedEnumName(item.name));
        out.long32(item.value);
    }
}

// ---- The size pass ------------------------------------------------------------------------------

std::uint64_t Rapify::xCalcTotal(const RapClass* cls) {
    std::uint64_t entries = 0;
    std::uint64_t size = 0;
    for (const RapClass* entry = cls->firstChild(); entry; entry = entry->next()) {
        ++entries;
        size += 1 + entry->nameView().size() + 1;
        switch (entry->kind()) {
        case RapClass::ClassKind: size += 4; break;
        case RapClass::StringKind: size += 1 + entry->textView().size() + 1; break;
        case RapClass::FloatKind:
        case RapClass::IntKind: size += 5; break;
        case RapClass::ArrayKind: size += elementListSize(entry, 1); break;
        case RapClass::ArrayAppendKind: size += 4 + elementListSize(entry, 1); break;
        case RapClass::ExternKind:
        case RapClass::DeleteKind: break;
        default:
            failKind(entry, RAP_UnknownPacket, formatText("is of kind %d, which has no binarised form", entry->kind()));
        }
    }
    return compressedSize(entries) + size;
}

std::uint64_t Rapify::elementListSize(const RapClass* array, int depth) {
    if (depth > MaxArrayDepth)
        failKind(array, RAP_UnknownPacket, formatText("nests arrays deeper than %d levels", MaxArrayDepth));
    std::uint64_t elements = 0;
    std::uint64_t size = 0;
    for (const RapClass* element = array->firstChild(); element; element = element->next()) {
        ++elements;
        switch (element->kind()) {
        case RapClass::StringKind: size += 1 + element->textView().size() + 1; break;
        case RapClass::FloatKind:
        case RapClass::IntKind: size += 5; break;
        case RapClass::ArrayKind: size += 1 + elementListSize(element, depth + 1); break;
        default:
            failKind(element, RAP_UnknownArrayType,
                     formatText("is of kind %d, which cannot stand in an array", element->kind()));
        }
    }
    return compressedSize(elements) + size;
}

std::uint64_t Rapify::xCalcBody(const RapClass* cls) { return xCalcTotal(cls) + cls->textView().size() + 1 + 4; }

std::uint64_t Rapify::xCalcOverallOffset(const RapClass* cls, RapOutput& out, int depth) {
    if (depth > MaxClassDepth)
        failKind(cls, RAP_UnknownPacket, formatText("nests classes deeper than %d levels", MaxClassDepth));
    const std::size_t index = out.sizes.size();
    out.sizes.emplace_back();
    const std::uint64_t body = xCalcBody(cls);
    std::uint64_t overall = body;
    for (const RapClass* entry = cls->firstChild(); entry; entry = entry->next())
        if (entry->kind() == RapClass::ClassKind) overall += xCalcOverallOffset(entry, out, depth + 1);
    out.sizes[index] = {body, overall, out.sizes.size() - index};
    return overall;
}

// ---- The writing pass ---------------------------------------------------------------------------

void Rapify::xIterate(const RapClass* cls, RapOutput& out, std::size_t index, int depth) {
    out.offset += out.sizes[index].body;
    const std::uint64_t end = out.offset;
    out.asciiz(cls->textView());
    out.count(childCount(cls));

    // A class entry points at its body: after this one, behind the bodies of the classes before it.
    std::size_t child = index + 1;
    std::uint64_t childOffset = end;
    for (const RapClass* entry = cls->firstChild(); entry; entry = entry->next()) {
        if (entry->kind() != RapClass::ClassKind) {
            writeEntry(entry, out, depth);
            continue;
        }
        out.byte(ClassEntry);
        out.asciiz(entry->nameView());
        out.offset32(childOffset);
        childOffset += out.sizes[child].overall;
        child += out.sizes[child].bodies;
    }
    out.offset32(end);

    child = index + 1;
    for (const RapClass* entry = cls->firstChild(); entry; entry = entry->next()) {
        if (entry->kind() != RapClass::ClassKind) continue;
        xIterate(entry, out, child, depth + 1);
        child += out.sizes[child].bodies;
    }
}

void Rapify::writeInlineBody(const RapClass* cls, RapOutput& out, int depth) {
    if (depth > MaxClassDepth)
        failKind(cls, RAP_UnknownPacket, formatText("nests classes deeper than %d levels", MaxClassDepth));
    out.asciiz(cls->textView());
    out.count(childCount(cls));
    for (const RapClass* entry = cls->firstChild(); entry; entry = entry->next()) writeEntry(entry, out, depth);
}

void Rapify::writeEntry(const RapClass* entry, RapOutput& out, int depth) {
    switch (entry->kind()) {
    case RapClass::ClassKind:
        // Offset-style class entries are written by xIterate, which knows where their bodies go.
        out.byte(ClassEntry);
        out.asciiz(entry->nameView());
        writeInlineBody(entry, out, depth + 1);
        break;
    case RapClass::StringKind:
        out.byte(ValueEntry);
        out.byte(StringValue);
        out.asciiz(entry->nameView());
        out.asciiz(entry->textView());
        break;
    case RapClass::FloatKind:
        out.byte(ValueEntry);
        out.byte(FloatValue);
        out.asciiz(entry->nameView());
        out.long32(std::bit_cast<std::int32_t>(floatValue(entry)));
        break;
    case RapClass::IntKind:
        out.byte(ValueEntry);
        out.byte(IntValue);
        out.asciiz(entry->nameView());
        out.long32(intValue(entry));
        break;
    case RapClass::ArrayKind:
        out.byte(ArrayEntry);
        out.asciiz(entry->nameView());
        writeElements(entry, out, 1);
        break;
    case RapClass::ExternKind:
    case RapClass::DeleteKind:
        // The inline style has no way to declare a class without its body or to remove one.
        if (out.style == TgrStyle)
            failWriting(RAP_TgrExtern, rap_GetFilename(),
                        formatText("%s %s cannot be written in TGR style: define _KERN_ or force KerN style\r\n",
                                   entry->kind() == RapClass::ExternKind ? "class" : "delete", entry->name()));
        out.byte(entry->kind() == RapClass::ExternKind ? ExternEntry : DeleteEntry);
        out.asciiz(entry->nameView());
        break;
    case RapClass::ArrayAppendKind:
        // Nor to add to an inherited array.
        if (out.style == TgrStyle)
            failWriting(RAP_TgrExtern, rap_GetFilename(),
                        formatText("%s[] += cannot be written in TGR style: define _KERN_ or force KerN style\r\n",
                                   entry->name()));
        out.byte(ArrayAppendEntry);
        out.long32(ArrayAppendFlags);
        out.asciiz(entry->nameView());
        writeElements(entry, out, 1);
        break;
    default:
        failKind(entry, RAP_UnknownPacket, formatText("is of kind %d, which has no binarised form", entry->kind()));
    }
}

void Rapify::writeElements(const RapClass* array, RapOutput& out, int depth) {
    if (depth > MaxArrayDepth)
        failKind(array, RAP_UnknownPacket, formatText("nests arrays deeper than %d levels", MaxArrayDepth));
    out.count(childCount(array));
    for (const RapClass* element = array->firstChild(); element; element = element->next()) {
        switch (element->kind()) {
        case RapClass::StringKind:
            out.byte(StringValue);
            out.asciiz(element->textView());
            break;
        case RapClass::FloatKind:
            out.byte(FloatValue);
            out.long32(std::bit_cast<std::int32_t>(floatValue(element)));
            break;
        case RapClass::IntKind:
            out.byte(IntValue);
            out.long32(intValue(element));
            break;
        case RapClass::ArrayKind:
            out.byte(NestedArray);
            writeElements(element, out, depth + 1);
            break;
        default:
            failKind(element, RAP_UnknownArrayType,
                     formatText("is of kind %d, which cannot stand in an array", element->kind()));
        }
    }
}

// ---- Values -------------------------------------------------------------------------------------

float Rapify::floatValue(const RapClass* node) {
    const std::string_view text = node->textView();
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') ++first;
    float value = 0;
    const auto read = std::from_chars(first, last, value);
    if (read.ptr == last && read.ec == std::errc()) return value;
    if (read.ptr == last && read.ec == std::errc::result_out_of_range) {
        // Beyond the range of a float the value becomes infinity or zero, with its sign, as the
        // nearest float to the text would be.
        double wide = 0;
        bool huge = false;
        if (std::from_chars(first, last, wide).ec == std::errc()) {
            huge = std::abs(wide) > 1;
        } else {
            const std::size_t exponent = text.find_first_of("eE");
            huge = exponent == std::string_view::npos || exponent + 1 >= text.size() || text[exponent + 1] != '-';
        }
        const float magnitude = huge ? std::numeric_limits<float>::infinity() : 0.0f;
        return *first == '-' ? -magnitude : magnitude;
    }
    failKind(node, RAP_UnknownPacket,
             formatText("holds '%.*s', which is not a number", static_cast<int>(text.size()), text.data()));
}

std::int32_t Rapify::intValue(const RapClass* node) {
    const std::string_view text = node->textView();
    std::int32_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size())
        failKind(node, RAP_UnknownPacket,
                 formatText("holds '%.*s', which is not a 32-bit integer", static_cast<int>(text.size()), text.data()));
    return value;
}

}  // namespace archivefile

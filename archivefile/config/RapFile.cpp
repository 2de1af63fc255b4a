#include "archivefile/config/RapFile.h"

#include <cstring>

#include "archivefile/config/RapFormat.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

using namespace rapformat;

namespace {

int lengthOf(std::string_view text) { return static_cast<int>(text.size()); }

// Whatever the compiler writes must decode again: the root, its deepest classes and, inside them, its
// deepest arrays.
static_assert(RapFile::maximumNesting >= 1 + Rapify::MaxClassDepth + Rapify::MaxArrayDepth);
// One option word serves a config's compile and its decoding.
static_assert(RapFile::ExtendedSyntax == Rapify::ExtendedSyntax);

}  // namespace

RapFile::RapFile(VexDLL* parent) : parent_(parent), stream_(parent), output_(&stream_) {}

int RapFile::OpenRap(const char* path, int options) {
    const std::string_view name = path != nullptr ? path : "";
    appendEntries_ = (options & ExtendedSyntax) != 0;
    return decodeInput(
        [&] {
            if (name.empty()) stream_.Throw(GE_InvalidFile, "RapFile: no file to open\r\n");
            if (!stream_.OpenFile(path)) {
                stream_.ReportError(path);
                stream_.Throw(GE_InvalidFile, "RapFile: cannot open '%s'\r\n", path);
            }
            if (stream_.IsHuge() != 0) {
                // Names are read in place, which needs the whole file in memory.
                stream_.Throw(GE_OutOfMemory, "RapFile: '%s' is too large to be held in memory\r\n", path);
            }
        },
        name);
}

int RapFile::Rap2Text(std::span<const std::uint8_t> bytes, const char* name, int options) {
    appendEntries_ = (options & ExtendedSyntax) != 0;
    return decodeInput([&] { stream_.OpenPseudoFile(bytes.data(), bytes.size()); }, name != nullptr ? name : "");
}

template <class OpenInput>
int RapFile::decodeInput(OpenInput&& openInput, std::string_view name) {
    Close();
    name_ = name;
    reported_ = false;
    bool opened = false;
    const int code = guarded(stream_, [&] {
        openInput();
        opened = true;
        decodeImage();
    });
    // The input is released either way; memory handed in by a caller is not ours to keep.
    stream_.CloseInput();
    if (code != GE_NoError && opened) {
        try {
            // Added to the text as it stands, so that the partial text shows where decoding stopped.
            output_.OutputStr(0, "//%s\r\n", ErrorString(code));
        } catch (Generic_Errors) {
            // Not even the comment fits: the result code alone tells what happened.
        }
    }
    return code;
}

int RapFile::WriteDecodedText(const char* path) {
    return guarded(stream_, [&] {
        if (path == nullptr || *path == '\0')
            stream_.Throw(GE_CannotWrite, "RapFile: no file name to write the text to\r\n");
        if (!stream_.CreateFileA(path)) raise(GE_CannotWrite);
        const std::string_view text = output_.text();
        stream_.WriteBlock(text.data(), text.size());
        stream_.CloseOutput();
    });
}

void RapFile::Close() {
    stream_.abandonOutput();
    stream_.CloseInput();
    output_.CloseRapFileOutput();
    inheritedClass_.clear();
    style_ = TgrStyle;
}

const char* RapFile::ErrorString(int code) const {
    switch (code) {
    case UnknownEntryType: return "RapFile: Unknown Entry type";
    case UnknownArrayType: return "RapFile: Unknown ArrayType";
    case ArrayWithoutName: return "Rapfile: Token Name expected for entry";
    case NamedEmbeddedArray: return "Embedded arrays cannot have names";
    case EnhancedTypeInTgr: return "Rapfile: File is tgr style but has enhanced types embedded";
    case MissingName: return "Rapfile: Missing name for class or array";
    case NotRapFile: return "RapFile: Not a raP file";
    case UnknownHeader: return "Is xbox text meta file";
    default: return GenericError::ErrorString(code);
    }
}

// ---- The file as a whole -------------------------------------------------------------------------

void RapFile::decodeImage() {
    nesting_ = 0;
    openBodies_.clear();
    bodyBytes_ = 0;
    // Decoded text runs to about twice the size of its raP.
    output_.reserve(2 * stream_.size());
    try {
        readHeader();
        if (style_ == TgrStyle) {
            output_.AddToOutput("#define _TGR_\r\n\r\n");
            // The inline root is commented out while its entries stand at the top level, so that the
            // text compiles back to the same tree.
            decodeEntry(-1);
            // The inline style has no offset for its enum table: the table follows the root.
            decodeEnumTable(position());
        } else {
            output_.AddToOutput(style_ == KernStyle ? "#define _KERN_\r\n\r\n"
                                                    : "#define _XBOX_ WithSignature\r\n\r\n");
            decodeOffsetRoot();
            decodeEnumTable(enumTableStart());
        }
    } catch (Generic_Errors code) {
        // A read past the end raised by the stream carries no words of its own yet.
        if (!reported_) report(ErrorString(code), position());
        throw;
    }
}

void RapFile::readHeader() {
    const std::uint64_t size = stream_.size();
    const unsigned char* image = stream_.image();
    if (size < TgrHeaderSize || std::memcmp(image, Signature, sizeof Signature) != 0) fail(NotRapFile, 0);
    if (image[4] == 4 && image[5] == 0 && image[6] == 0) {
        style_ = TgrStyle;
        headerSize_ = TgrHeaderSize;
        stream_.MoveTo(TgrHeaderSize);
        return;
    }
    // The offset header follows the signature directly, or behind the signature block.
    if (size < 4 + 8) fail(NotRapFile, 0);
    stream_.MoveTo(4);
    if (stream_.ReadLong() == 0 && stream_.ReadLong() == 8) {
        style_ = KernStyle;
        headerSize_ = KernHeaderSize;
    } else {
        if (size < 4 + 28) fail(NotRapFile, 0);
        stream_.MoveTo(24);
        if (stream_.ReadLong() != 0 || stream_.ReadLong() != 8) fail(UnknownHeader, 0);
        style_ = SignedStyle;
        headerSize_ = SignedHeaderSize;
    }
    enumTableOffset_ = stream_.ReadLong();
}

void RapFile::decodeOffsetRoot() {
    output_.OutputStr(0, "//Class %s{\r\n", name_.c_str());
    const std::uint64_t start = position();
    openBodies_.push_back({start, start});
    segmentStart_ = start;
    nesting_ = 1;
    inheritedClass_ = readAsciiz();
    decodeEntries(readCount(), 0);
    // The body's end offset: bodies are reached through their class entries instead.
    stream_.ReadLong();
    countBodyBytes(position() - segmentStart_, name_);
    openBodies_.pop_back();
    output_.OutputStr(0, "//};\r\n");
}

std::uint64_t RapFile::enumTableStart() {
    const std::uint64_t offsetField = headerSize_ - 4;
    if (enumTableOffset_ < 0 || static_cast<std::uint64_t>(enumTableOffset_) > stream_.size())
        fail(GE_PrematureEof, offsetField,
             formatText("the enum table offset %lld lies outside the file", static_cast<long long>(enumTableOffset_)));
    const auto tableStart = static_cast<std::uint64_t>(enumTableOffset_);
    if (tableStart < headerSize_)
        fail(GE_InvalidFile, offsetField,
             formatText("the enum table offset %llu points into the file header",
                        static_cast<unsigned long long>(tableStart)));
    return tableStart;
}

void RapFile::decodeEnumTable(std::uint64_t tableStart) {
    // A file that ends where its table would begin has none.
    if (tableStart == stream_.size()) return;
    stream_.MoveTo(tableStart);
    const std::int32_t count = stream_.ReadLong();
    if (count < 0) fail(GE_InvalidFile, tableStart, formatText("the enum table's count %d is negative", count));
    output_.AddToOutput("\r\n");
    output_.OutputStr(0, "//ndefs=%d\r\n", count);
    output_.OutputStr(0, "enum {\r\n");
    for (std::int32_t item = 0; item < count; ++item) {
        const char* name = stream_.ReadAsciiz();
        const std::int32_t value = stream_.ReadLong();
        // The compiler stores items of this name without one.
        if (*name == '\0') name = "OrdinalEnum";
        output_.OutputStr(0, item + 1 < count ? "\t%s = %d,\r\n" : "\t%s = %d\r\n", name, value);
    }
    output_.OutputStr(0, "};\r\n");
    if (stream_.BytesRemaining() != 0)
        fail(GE_ResidualBytes, position(),
             formatText("%llu bytes follow the enum table", static_cast<unsigned long long>(stream_.BytesRemaining())));
}

// ---- Entries -------------------------------------------------------------------------------------

void RapFile::decodeEntries(std::uint32_t count, int indent) {
    for (std::uint32_t entry = 0; entry < count; ++entry) decodeEntry(indent);
}

void RapFile::decodeEntry(int indent) {
    const std::uint64_t start = position();
    switch (stream_.ReadByte()) {
    case ClassEntry: decodeClass(indent, start); break;
    case ValueEntry: decodeValue(indent, start); break;
    case ArrayEntry: decodeArray(indent, start, "[] = {"); break;
    case ExternEntry: decodeNamedEntry("class ", indent, start); break;
    case DeleteEntry: decodeNamedEntry("delete ", indent, start); break;
    case ArrayAppendEntry:
        if (!appendEntries_) fail(UnknownEntryType, start);
        decodeArrayAppend(indent, start);
        break;
    default: fail(UnknownEntryType, start);
    }
}

void RapFile::decodeClass(int indent, std::uint64_t entryStart) {
    const std::string_view name = readAsciiz();
    // Only the inline root of the oldest style goes without a name.
    if (name.empty() && nesting_ > 0) fail(MissingName, entryStart);
    enterNesting(entryStart);
    if (style_ == TgrStyle) {
        decodeInlineClassBody(name, indent);
    } else {
        decodeClassBody(name, indent);
    }
    --nesting_;
}

void RapFile::decodeInlineClassBody(std::string_view name, int indent) {
    const std::string_view inherited = readAsciiz();
    inheritedClass_ = inherited;
    if (inherited.empty()) {
        output_.OutputParts(indent, "class ", name, " {");
    } else {
        output_.OutputParts(indent, "class ", name, ": ", inherited, " {");
    }
    const std::uint32_t count = readCount();
    if (count == 0) {
        output_.AddToOutput("};\r\n");
        return;
    }
    output_.AddToOutput("\r\n");
    decodeEntries(count, indent + 1);
    output_.OutputParts(indent, "};\r\n");
}

void RapFile::decodeClassBody(std::string_view name, int indent) {
    output_.OutputParts(indent, "class ", name);
    const std::uint64_t offsetField = position();
    const std::int32_t stored = stream_.ReadLong();
    const std::uint64_t resumeAt = position();
    countBodyBytes(resumeAt - segmentStart_, name);

    // Every body is decoded once, where its entry sends the reader: an offset that leads outside the
    // file, into the header or back into a body still being decoded would loop or read nonsense.
    if (stored < 0 || static_cast<std::uint64_t>(stored) >= stream_.size())
        fail(GE_PrematureEof, offsetField,
             formatText("class %.*s: body offset %d lies outside the file", lengthOf(name), name.data(), stored));
    const auto start = static_cast<std::uint64_t>(stored);
    if (start < headerSize_)
        fail(GE_InvalidFile, offsetField,
             formatText("class %.*s: body offset %d points into the file header", lengthOf(name), name.data(), stored));
    openBodies_.back().resumeAt = resumeAt;
    for (const OpenBody& body : openBodies_) {
        if (start >= body.start && start < body.resumeAt)
            fail(GE_InvalidFile, offsetField,
                 formatText("class %.*s: body offset %d points back into a class body being decoded", lengthOf(name),
                            name.data(), stored));
    }
    openBodies_.push_back({start, start});
    segmentStart_ = start;
    stream_.MoveTo(start);

    const std::string_view inherited = readAsciiz();
    inheritedClass_ = inherited;
    if (!inherited.empty()) output_.OutputParts(0, ": ", inherited);
    const std::uint32_t count = readCount();
    if (count == 0) {
        output_.AddToOutput("{};\r\n");
    } else {
        output_.AddToOutput("\r\n");
        output_.OutputParts(indent, "{\r\n");
        decodeEntries(count, indent + 1);
        output_.OutputParts(indent, "};\r\n");
    }
    stream_.ReadLong();
    countBodyBytes(position() - segmentStart_, name);

    openBodies_.pop_back();
    stream_.MoveTo(resumeAt);
    segmentStart_ = resumeAt;
}

void RapFile::decodeValue(int indent, std::uint64_t entryStart) {
    const int type = stream_.ReadByte();
    if (type == NestedArray) fail(NamedEmbeddedArray, entryStart);
    if (type > NestedArray) fail(UnknownEntryType, entryStart);
    const std::string_view name = readAsciiz();
    if (name.empty()) fail(MissingName, entryStart);
    output_.OutputParts(indent, name, " = ");
    switch (type) {
    case StringValue: output_.DoubleUpQuotes(readAsciiz()); break;
    case FloatValue: output_.AddToOutput(GenString::floatText(stream_.ReadFloat())); break;
    default: output_.OutputParts(0, stream_.ReadLong()); break;
    }
    output_.AddToOutput(";\r\n");
}

void RapFile::decodeArrayAppend(int indent, std::uint64_t entryStart) {
    // The inline style cannot add to an inherited array any more than it can declare an extern class.
    if (style_ == TgrStyle) fail(EnhancedTypeInTgr, entryStart);
    const std::int32_t flags = stream_.ReadLong();
    if (flags != ArrayAppendFlags)
        fail(UnknownEntryType, entryStart, formatText("an array-append entry with flags %d", flags));
    decodeArray(indent, entryStart, "[] += {");
}

void RapFile::decodeArray(int indent, std::uint64_t entryStart, std::string_view assignment) {
    const std::string_view name = readAsciiz();
    if (name.empty()) fail(ArrayWithoutName, entryStart);
    output_.OutputParts(indent, name, assignment);
    const std::uint32_t count = readCount();
    enterNesting(entryStart);
    decodeElements(count, indent + 1);
    --nesting_;
    output_.AddToOutput("};\r\n");
}

void RapFile::decodeElements(std::uint32_t count, int indent) {
    for (std::uint32_t element = 0; element < count; ++element) {
        if (element != 0) output_.AddToOutput(",");
        switch (stream_.ReadByte()) {
        case StringValue: output_.DoubleUpQuotes(readAsciiz()); break;
        case FloatValue: output_.AddToOutput(GenString::floatText(stream_.ReadFloat())); break;
        case IntValue: output_.OutputParts(0, stream_.ReadLong()); break;
        case NestedArray: {
            const std::uint64_t start = position() - 1;
            const std::uint32_t nested = readCount();
            output_.AddToOutput("\r\n");
            output_.OutputParts(indent, "{ ");
            enterNesting(start);
            decodeElements(nested, indent + 1);
            --nesting_;
            output_.AddToOutput(" }");
            break;
        }
        default: fail(UnknownArrayType, position() - 1);
        }
    }
}

void RapFile::decodeNamedEntry(const char* keyword, int indent, std::uint64_t entryStart) {
    // The inline style has no way to declare a class without its body or to remove one.
    if (style_ == TgrStyle) fail(EnhancedTypeInTgr, entryStart);
    const std::string_view name = readAsciiz();
    if (name.empty()) fail(MissingName, entryStart);
    output_.OutputParts(indent, keyword, name, ";\r\n");
}

// ---- Reading helpers -----------------------------------------------------------------------------

void RapFile::enterNesting(std::uint64_t entryStart) {
    if (++nesting_ > maximumNesting)
        fail(GE_InvalidFile, entryStart, formatText("classes and arrays nested deeper than %d levels", maximumNesting));
}

void RapFile::countBodyBytes(std::uint64_t bytes, std::string_view name) {
    // Bodies that do not overlap hold no more bytes together than the file has after its header, so
    // more means bodies shared between entries or laid over each other; stopping here bounds the work
    // of any input by its size.
    bodyBytes_ += bytes;
    if (bodyBytes_ > stream_.size() - headerSize_)
        fail(GE_InvalidFile, position(),
             formatText("class %.*s: class bodies overlap or are shared", lengthOf(name), name.data()));
}

std::string_view RapFile::readAsciiz() { return stream_.ReadAsciiz(); }

std::uint32_t RapFile::readCount() {
    const std::uint64_t start = position();
    std::uint32_t value = 0;
    for (int shift = 0;; shift += 7) {
        const int byte = stream_.ReadByte();
        if (shift == 28 && byte > 0x0F) fail(GE_InvalidFile, start, "a count runs past 32 bits");
        value |= static_cast<std::uint32_t>(byte & 0x7F) << shift;
        if ((byte & 0x80) == 0) break;
    }
    // Every entry and element takes at least one byte, so a larger count cannot be satisfied.
    if (value > stream_.BytesRemaining())
        fail(GE_PrematureEof, start,
             formatText("a count of %u exceeds the %llu bytes that remain", value,
                        static_cast<unsigned long long>(stream_.BytesRemaining())));
    return value;
}

void RapFile::fail(int code, std::uint64_t offset, std::string_view detail) {
    reported_ = true;
    report(detail.empty() ? std::string_view(ErrorString(code)) : detail, offset);
    raise(code);
}

void RapFile::report(std::string_view what, std::uint64_t offset) {
    const auto at = static_cast<unsigned long long>(offset);
    const std::string line =
        name_.empty() ? formatText("%.*s at offset %llu\r\n", lengthOf(what), what.data(), at)
                      : formatText("%s: %.*s at offset %llu\r\n", name_.c_str(), lengthOf(what), what.data(), at);
    stream_.PrintToStdErr(line.c_str());
}

}  // namespace archivefile

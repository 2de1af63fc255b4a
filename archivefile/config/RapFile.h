// Binarised configs ("raP") turned back into config text that the compiler accepts again, from a file
// or from memory (the archive reader hands over the entries it finds).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/config/RapTextOutput.h"
#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;

/// The decoder of binarised configs ("raP") back to config text, from a file or from memory. 0 or one
/// of Errors (or a shared code), whose text ErrorString gives.
class ARCHIVEFILE_EXPORT RapFile {
public:
    /// The decoder's own result codes; the shared codes 0 to 9 keep their meaning.
    enum Errors : int {
        UnknownEntryType = 10,
        UnknownArrayType = 11,
        ArrayWithoutName = 12,
        NamedEmbeddedArray = 13,
        EnhancedTypeInTgr = 14,
        MissingName = 15,
        NotRapFile = 100,
        UnknownHeader = 101,
    };

    /// The three layouts that share the raP signature: classes inline, class bodies by offset, and by
    /// offset behind a signature block.
    enum Style : int { TgrStyle = 0, KernStyle = 1, SignedStyle = 2 };

    /// Option bit of OpenRap and Rap2Text: array-append entries (entry type 5, `name[] += {...};`) are
    /// decoded; without it they are an unknown entry type. The same bit as Rapify::ExtendedSyntax.
    static constexpr int ExtendedSyntax = 0x2;

    /// Classes and arrays nested deeper than this are refused rather than followed.
    static constexpr int maximumNesting = 1000;

    /// A handler of the root `parent`.
    explicit RapFile(VexDLL* parent);

    /// Decode a whole binarised config, from a file or from memory, into text; 0 or an error code.
    int OpenRap(const char* path, int options = 0);
    /// `name` stands in the root's "//Class %s{" line.
    int Rap2Text(std::span<const std::uint8_t> bytes, const char* name = "", int options = 0);
    /// The text decoded by the last OpenRap or Rap2Text; after a failure, the text as far as it came,
    /// ended by a comment line that names the error.
    std::string_view decodedText() const { return output_.text(); }
    /// Writes the decoded text to `path`, replacing an earlier file only once the text is complete.
    int WriteDecodedText(const char* path);
    /// The inherited class of the root class decoded last ("" for none).
    const char* GetInheritedClass() const { return inheritedClass_.c_str(); }
    /// Releases the decoded text and the input.
    void Close();
    /// The text of `code`: one of Errors or a shared code.
    const char* ErrorString(int code) const;
    /// Indents decoded text with tabs (true) or blanks.
    void SetTabChar(bool tab) { output_.SetTabChar(tab); }
    /// Where the decoder's lines go (null: standard error).
    void SetCallBack(LogCallback callback) { stream_.SetCallBack(callback); }

    /// The style of the file decoded last.
    Style style() const { return style_; }
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

private:
    // A class body whose entries are being decoded: where it starts, and where its own entries go on
    // once the child body being decoded now is done.
    struct OpenBody {
        std::uint64_t start;
        std::uint64_t resumeAt;
    };

    template <class OpenInput>
    int decodeInput(OpenInput&& openInput, std::string_view name);
    void decodeImage();
    void readHeader();
    void decodeOffsetRoot();
    // Where the header of an offset-style file places the enum table, checked against the file.
    std::uint64_t enumTableStart();
    void decodeEnumTable(std::uint64_t tableStart);
    void decodeEntries(std::uint32_t count, int indent);
    void decodeEntry(int indent);
    void decodeClass(int indent, std::uint64_t entryStart);
    void decodeInlineClassBody(std::string_view name, int indent);
    void decodeClassBody(std::string_view name, int indent);
    void decodeValue(int indent, std::uint64_t entryStart);
    // `assignment` follows the name: "[] = {" or "[] += {".
    void decodeArray(int indent, std::uint64_t entryStart, std::string_view assignment);
    void decodeArrayAppend(int indent, std::uint64_t entryStart);
    void decodeElements(std::uint32_t count, int indent);
    void decodeNamedEntry(const char* keyword, int indent, std::uint64_t entryStart);
    void enterNesting(std::uint64_t entryStart);
    void countBodyBytes(std::uint64_t bytes, std::string_view name);
    std::string_view readAsciiz();
    std::uint32_t readCount();
    std::uint64_t position() const { return static_cast<std::uint64_t>(stream_.Ftell()); }
    // Delivers a line naming the failure and where it happened, then raises `code`; without a
    // detail the line carries the code's own message.
    [[noreturn]] void fail(int code, std::uint64_t offset, std::string_view detail = {});
    void report(std::string_view what, std::uint64_t offset);

    VexDLL* parent_;
    VexFileIO stream_;
    RapTextOutput output_;
    Style style_ = TgrStyle;
    std::string name_;
    std::string inheritedClass_;
    std::uint64_t headerSize_ = 0;
    std::int64_t enumTableOffset_ = 0;
    int nesting_ = 0;
    std::vector<OpenBody> openBodies_;
    std::uint64_t segmentStart_ = 0;
    std::uint64_t bodyBytes_ = 0;
    bool reported_ = false;
    bool appendEntries_ = false;
};

}  // namespace archivefile

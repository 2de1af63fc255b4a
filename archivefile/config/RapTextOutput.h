// The text sink through which a binarised config is written back as config text: it indents lines,
// quotes strings and gathers the whole text in one growing buffer.
#pragma once

#include <charconv>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexFileIO;

/// The text sink of the config decoder: indented lines, quoted strings, one growing buffer.
class ARCHIVEFILE_EXPORT RapTextOutput {
public:
    /// `reporter` receives the "no memory" line when the text cannot grow; null means standard error.
    explicit RapTextOutput(VexFileIO* reporter = nullptr) : reporter_(reporter) {}

    /// True indents with tabs, false with blanks (one character per level either way).
    void SetTabChar(bool tab) { indentCharacter_ = tab ? '\t' : ' '; }

    /// Appends a formatted line piece. A negative indent comments the line out with "//", a positive
    /// one writes that many indentation characters, 0 continues the current line.
    [[gnu::format(printf, 3, 4)]] void OutputStr(int indent, const char* format, ...);

    /// The same indentation, followed by the parts as they stand: texts, and ints written as "%d"
    /// writes them. Most lines of a decoded config are written this way, without a format to parse.
    template <class... Parts>
    void OutputParts(int indent, const Parts&... parts) {
        try {
            addIndent(indent);
            (addPart(parts), ...);
        } catch (const std::bad_alloc&) {
            outOfMemory();
        }
    }

    /// Appends `text` as it stands.
    void AddToOutput(std::string_view text);
    /// Appends `text` in double quotes, each double quote inside it doubled, as the config parser reads
    /// strings back.
    void DoubleUpQuotes(std::string_view text);

    /// Makes room for about `bytes` of text at once, sparing the copies of repeated growth; when that
    /// much memory cannot be had the text simply grows as it goes.
    void reserve(std::size_t bytes);

    /// Releases the text and the memory it took.
    void CloseRapFileOutput() { std::string().swap(text_); }

    /// The text so far.
    std::string_view text() const { return text_; }

private:
    void addIndent(int indent) {
        if (indent < 0) {
            text_ += "//";
        } else if (indent > 0) {
            text_.append(static_cast<std::size_t>(indent), indentCharacter_);
        }
    }
    void addPart(std::string_view part) { text_ += part; }
    void addPart(const char* part) { text_ += part; }
    void addPart(std::int32_t value) {
        char digits[16];
        const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        text_.append(digits, end);
    }
    [[noreturn]] void outOfMemory();

    std::string text_;
    char indentCharacter_ = ' ';
    VexFileIO* reporter_;
};

}  // namespace archivefile

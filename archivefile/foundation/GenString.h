// A zero-terminated 8-bit text that either owns its memory or points at text that belongs to someone
// else (a file image, a literal), with the formatting used for every message and the exact float text.
#pragma once

#include <cstdarg>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/SharedTypes.h"

namespace archivefile {

class VexFileIO;

/// A zero-terminated 8-bit text that owns its memory or points at text owned elsewhere, with the
/// printf-style formatting of every message and the exact float text. Methods that change the text
/// return it (null for an empty holder); a failed allocation raises 2.
class ARCHIVEFILE_EXPORT GenString {
public:
    /// @name Construction
    //@{
    /// An empty holder; a text formatted as printf does; copies and moves (a copy owns its text).
    GenString() = default;
    [[gnu::format(printf, 2, 3)]] explicit GenString(const char* format, ...);
    GenString(const GenString& other);
    GenString(GenString&& other) noexcept;
    GenString& operator=(const GenString& other);
    GenString& operator=(GenString&& other) noexcept;
    ~GenString() { Clear(); }
    //@}

    /// The held text; null for an empty holder.
    operator const char*() const { return text_; }
    /// The held text; null for an empty holder.
    const char* GetName() const { return text_; }
    /// The held text, or an empty view for an empty holder.
    std::string_view view() const { return text_ ? std::string_view(text_) : std::string_view(); }
    /// The length of the held text; 0 for an empty holder.
    int GetLen() const;
    /// Whether the text is this holder's own memory.
    bool owns() const { return mother_ != nullptr; }

    /// @name Ownership
    //@{
    /// Points at text that belongs to someone else, freeing any text of its own.
    void SetPtr(const char* foreign);
    /// Forgets its own text without freeing it: whoever took the text over frees it.
    void Release();
    /// Frees its own text and holds none.
    void Clear();
    /// Replaces the text with `n` writable bytes of its own (and room for the terminator).
    char* Alloc(int n);

    //@}
    /// @name Copying and appending
    /// Every change allocates exactly what the new text needs.
    //@{
    /// A copy of `text`; a null text makes an empty text, or with `nullAsEmpty` false an empty holder.
    /// Strncpy copies at most `count` characters, MemDup exactly `count` bytes; Strcat and Strncat
    /// append.
    const char* Strdup(const char* text, bool nullAsEmpty = true);
    const char* Strcpy(const char* text) { return Strdup(text); }
    const char* Strncpy(const char* text, int count);
    const char* Strncat(const char* text, int count);
    const char* Strcat(const char* text);
    const char* Strcat(const GenString& other) { return Strcat(other.text_); }
    GenString& operator+=(const char* text) { Strcat(text); return *this; }
    GenString& operator+=(const GenString& other) { Strcat(other.text_); return *this; }
    const char* MemDup(const void* bytes, int count);

    //@}
    /// @name Formatting
    //@{
    /// Replaces the text with the printf-style formatted text (Add appends it instead). Texts that came
    /// from a file or a user go in as arguments, never as the format.
    [[gnu::format(printf, 2, 3)]] const char* Format(const char* format, ...);
    [[gnu::format(printf, 2, 0)]] const char* FormatV(const char* format, va_list args);
    [[gnu::format(printf, 2, 3)]] const char* Add(const char* format, ...);

    //@}
    /// @name Exact float text
    //@{
    /// The fewest digits (six at least) that read back to the very same value, locale-independent:
    /// "0.1", "2.0"; a triplet as "x,y,z". The member forms replace the held text with it.
    const char* FloatToStr(float value);
    const char* FloatToStr(double value);
    const char* FloatToStr(const XYZTriplet* triplet);
    static std::string floatText(float value);
    static std::string floatText(double value);

    //@}
    /// @name Text services
    //@{
    /// The held text read as a decimal int or as a double (0 when it is none).
    int Atoi() const;
    double Atof() const;
    /// Whether the text is an optionally signed decimal integer, or reads whole as a float.
    bool IsInteger() const;
    bool IsFloat() const;
    /// Whether every character is a digit, a letter, or either; and whether any is lower or upper case.
    bool IsDigit() const;
    bool IsAlpha() const;
    bool IsAlphaNumeric() const;
    bool HasLowerCase() const;
    bool HasUpperCase() const;
    /// Lowers the case of the text, or trims blanks from both ends, in place.
    const char* strToLower();
    const char* Trim();
    /// Replaces every occurrence of `from`; returns how many were replaced.
    int Replace(const char* from, const char* to);
    /// Replaces every `from` character with `to`; returns how many were replaced.
    int ReplaceChar(char from, char to);
    /// The first or last occurrence of `what` in the text, or null.
    const char* FindFirst(const char* what) const;
    const char* FindLast(const char* what) const;
    /// Cuts the text at the first occurrence of `what`; true when it was found.
    bool FindFirstAndTruncate(const char* what);
    /// Removes one pair of enclosing double quotes; true when there were some.
    bool FindQuoteAndStrip();
    /// 1 when equal (ignoring case unless `exact`), else 0.
    int Compare(const char* other, bool exact = false) const;
    /// Compare limited to the first `count` characters.
    int CompareN(const char* other, int count, bool exact = false) const;
    /// The comma-separated fields of the text, each trimmed of blanks.
    std::vector<std::string> ParseCommas() const;
    /// The next line from the reading position (without its line end); false at the end of the text.
    bool GetNextLine(std::string& line);

    /// Handles a byte-order mark at the start of a zero-terminated image, in place: 1 when a mark was
    /// handled (UTF-8 dropped, UTF-16LE converted to UTF-8), 0 when there is none, -1 for UTF-16BE.
    static int RemoveBom(std::vector<unsigned char>& image);

    /// 16-bit text: the held text as UTF-16 code units (each byte one unit), and back. A unit above 255
    /// cannot be held in 8-bit text and raises code 8.
    std::u16string AsciiToUnicode() const;
    /// Replaces the text with `units`, one byte each; a unit above 255 raises 8.
    const char* UnicodeToAscii(std::u16string_view units);

    //@}

    /// Reads the text from `stream`: a negative length reads a zero-terminated text, otherwise that
    /// many bytes. Raises 1 when they are not there.
    const char* ReadString(VexFileIO* stream, int length);
    /// Writes the text, with its terminator when `withTerminator` is non-zero.
    void WriteString(VexFileIO* stream, int withTerminator) const;

private:
    void _SetMother(char* block);
    void _SetMem(std::unique_ptr<char[]> block);
    void _realloc(int extra);
    void assign(std::string_view text);

    const char* start_ = nullptr;
    int position_ = 0;
    const char* text_ = nullptr;
    std::unique_ptr<char[]> mother_;
};

}  // namespace archivefile

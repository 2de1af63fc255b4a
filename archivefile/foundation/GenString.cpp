#include "archivefile/foundation/GenString.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

namespace {

std::unique_ptr<char[]> allocate(std::size_t size) {
    try {
        return std::make_unique<char[]>(size);
    } catch (const std::bad_alloc&) {
        raise(GE_OutOfMemory);
    }
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

// Appends ".0" to a number without a point and strips trailing zeros while a digit stays after the
// point, so 1.500 becomes 1.5 and 2 becomes 2.0. Exponent forms are left as they are.
void tidyNumber(std::string& text) {
    if (text.find('e') != std::string::npos) return;
    if (text.find('.') == std::string::npos) text += ".0";
    while (text.size() >= 2 && text.back() == '0' && text[text.size() - 2] != '.') text.pop_back();
}

// printf's "%.<precision>g" of the value promoted to double; to_chars gives the same text without
// depending on the process locale.
std::string_view formatGeneral(char (&buffer)[64], double value, int precision) {
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, precision);
    return {buffer, static_cast<std::size_t>(result.ptr - buffer)};
}

std::string_view formatFixed(char (&buffer)[400], double value, int precision) {
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, precision);
    return {buffer, static_cast<std::size_t>(result.ptr - buffer)};
}

double readBack(std::string_view text) {
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// The shortest text that reads back to `value`: its significant digits and its decimal exponent.
struct ShortestForm {
    int digits = 0;
    int exponent = 0;
};

ShortestForm shortestForm(float value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
    ShortestForm form;
    const char* p = buffer;
    for (; p < result.ptr && *p != 'e'; ++p)
        if (*p >= '0' && *p <= '9') ++form.digits;
    if (p < result.ptr && *++p == '+') ++p;
    std::from_chars(p, result.ptr, form.exponent);
    return form;
}

// Powers of ten from 1e-40 to 1e50 by repeated multiplication: off by a few units in the last place
// at the ends, which the tolerance below allows for.
constexpr int lowestPower = -40;
constexpr std::array<double, 91> powersOfTen = [] {
    std::array<double, 91> powers{};
    powers[-lowestPower] = 1.0;
    for (int k = 1 - lowestPower; k < static_cast<int>(powers.size()); ++k) powers[k] = powers[k - 1] * 10.0;
    for (int k = -lowestPower - 1; k >= 0; --k) powers[k] = powers[k + 1] / 10.0;
    return powers;
}();

// Whether a text with fewer digits than the shortest one may still read back. atof gives a double,
// and the conversion to float rounds a second time: a decimal just beyond the midpoint between the
// value and a neighbour can round onto that midpoint as a double, and the float conversion then
// breaks the tie towards the even mantissa (0x15ae43fe reads back from "7.038531e-26" although
// its shortest text has eight digits). So only an even mantissa qualifies, and only when a
// midpoint lies within a double's rounding distance of a decimal of fewer digits: 2^-53 of the
// midpoint, less than 1.2e-7 of the unit below. The tolerance of 1e-4 units covers the error of
// this arithmetic and sends about one value in five thousand to the full search, more than must go.
bool mayReadBackWithFewerDigits(float value, ShortestForm shortest) {
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(value);
    if ((bits & 1u) != 0) return false;
    const double magnitude = std::fabs(static_cast<double>(value));
    const bool powerOfTwo = (bits & 0x7FFFFFu) == 0;
    // Half a unit in the last place of an ordinary float: 2^(exponent field - 151), built directly.
    const auto exponentField = static_cast<std::uint64_t>((bits >> 23) & 0xFFu);
    const double halfGap = std::bit_cast<double>((exponentField - 151 + 1023) << 52);
    // Decimals of up to digits - 1 significant digits at the value's decade, and every decimal of
    // fewer digits at the decade above, are whole multiples of this unit.
    const int scale = shortest.digits - 2 - shortest.exponent;
    if (scale < lowestPower || scale >= lowestPower + static_cast<int>(powersOfTen.size())) return true;
    const double unitsPerOne = powersOfTen[static_cast<std::size_t>(scale - lowestPower)];
    for (const double midpoint : {magnitude - (powerOfTwo ? halfGap / 2 : halfGap), magnitude + halfGap}) {
        const double units = midpoint * unitsPerOne;
        if (std::fabs(units - static_cast<double>(static_cast<std::int64_t>(units + 0.5))) < 1e-4) return true;
    }
    return false;
}

}  // namespace

GenString::GenString(const char* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

GenString::GenString(const GenString& other) {
    if (other.text_) assign(other.text_);
}

GenString::GenString(GenString&& other) noexcept
    : start_(other.start_), position_(other.position_), text_(other.text_), mother_(std::move(other.mother_)) {
    other.start_ = other.text_ = nullptr;
    other.position_ = 0;
}

GenString& GenString::operator=(const GenString& other) {
    if (this != &other) {
        if (other.text_) assign(other.text_);
        else Clear();
    }
    return *this;
}

GenString& GenString::operator=(GenString&& other) noexcept {
    if (this != &other) {
        mother_ = std::move(other.mother_);
        start_ = other.start_;
        text_ = other.text_;
        position_ = other.position_;
        other.start_ = other.text_ = nullptr;
        other.position_ = 0;
    }
    return *this;
}

int GenString::GetLen() const { return text_ ? static_cast<int>(std::strlen(text_)) : 0; }

void GenString::_SetMother(char* block) {
    start_ = text_ = block;
    position_ = 0;
}

void GenString::_SetMem(std::unique_ptr<char[]> block) {
    if (!block) raise(GE_OutOfMemory);
    mother_ = std::move(block);
    _SetMother(mother_.get());
}

void GenString::SetPtr(const char* foreign) {
    Clear();
    start_ = text_ = foreign;
}

void GenString::Release() {
    // The block is forgotten, not freed: whoever took the text over frees it.
    static_cast<void>(mother_.release());
    _SetMother(nullptr);
}

void GenString::Clear() {
    mother_.reset();
    _SetMother(nullptr);
}

void GenString::assign(std::string_view text) {
    auto block = allocate(text.size() + 1);
    std::memcpy(block.get(), text.data(), text.size());
    block[text.size()] = '\0';
    _SetMem(std::move(block));
}

char* GenString::Alloc(int n) {
    _SetMem(allocate(static_cast<std::size_t>(std::max(n, 0)) + 2));
    return mother_.get();
}

const char* GenString::Strdup(const char* text, bool nullAsEmpty) {
    if (text == nullptr) {
        if (nullAsEmpty) assign({});
        else Clear();
        return text_;
    }
    assign(text);
    return text_;
}

const char* GenString::Strncpy(const char* text, int count) {
    const std::string_view source = text ? std::string_view(text) : std::string_view();
    assign(source.substr(0, static_cast<std::size_t>(std::max(count, 0))));
    return text_;
}

const char* GenString::Strncat(const char* text, int count) {
    const std::string_view source = text ? std::string_view(text) : std::string_view();
    return Strcat(std::string(source.substr(0, static_cast<std::size_t>(std::max(count, 0)))).c_str());
}

const char* GenString::Strcat(const char* text) {
    if (text == nullptr) return text_;
    if (text_ == nullptr) return Strdup(text);
    const std::string joined = std::string(text_) + text;
    assign(joined);
    return text_;
}

const char* GenString::MemDup(const void* bytes, int count) {
    assign(std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(std::max(count, 0))));
    return text_;
}

void GenString::_realloc(int extra) {
    if (!mother_ && text_ == nullptr) raise(GE_OutOfMemory);
    const std::size_t length = std::strlen(text_);
    auto block = allocate(length + static_cast<std::size_t>(std::max(extra, 0)) + 1);
    std::memcpy(block.get(), text_, length + 1);
    _SetMem(std::move(block));
}

const char* GenString::FormatV(const char* format, va_list args) {
    Clear();
    assign(vformatText(format, args));
    return text_;
}

const char* GenString::Format(const char* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
    return text_;
}

const char* GenString::Add(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string addition = vformatText(format, args);
    va_end(args);
    return Strcat(addition.c_str());
}

std::string GenString::floatText(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    char buffer[64];
    std::string text;
    if (value != 0.0f && (bits & 0x7F000000u) == 0) {
        // The mask leaves out the exponent's lowest bit, so the smallest normal exponent is reported
        // as denormal too; texts written that way are expected by the files' readers.
        text = formatGeneral(buffer, value, 6);
        text += "/*#DEN*/";
        std::fprintf(stderr, "Warning: Denormalized number %s\n", text.c_str());
    } else if (value != value) {
        std::fputs("Warning: NAN detected\n", stderr);
        return "0.0/*NAN*/";
    } else if (value - value != 0.0f) {
        std::fputs("Warning: Infinity detected\n", stderr);
        return "-0.0/*INFINITY*/";
    } else {
        // Below the shortest round-trip digit count a text reads back only through double rounding,
        // which is rare and tested for; otherwise the search for the first precision from 6 up that
        // reads back starts at that count and gives the same text as trying every precision.
        const ShortestForm shortest = shortestForm(value);
        const int first =
            shortest.digits > 6 && !mayReadBackWithFewerDigits(value, shortest) ? shortest.digits : 6;
        bool found = false;
        for (int precision = first; precision <= 21; ++precision) {
            const std::string_view candidate = formatGeneral(buffer, value, precision);
            if (static_cast<float>(readBack(candidate)) == value) {
                text = candidate;
                found = true;
                break;
            }
        }
        if (!found) {
            std::fputs("Warning: exact float match not found\n", stderr);
            text = formatGeneral(buffer, value, 21);
        }
    }
    tidyNumber(text);
    return text;
}

std::string GenString::floatText(double value) {
    if (value != value) {
        std::fputs("Warning: NAN detected\n", stderr);
        return "0.0/*NAN*/";
    }
    if (value - value != 0.0) {
        std::fputs("Warning: Infinity detected\n", stderr);
        return "-0.0/*INFINITY*/";
    }
    char buffer[400];
    std::string text;
    for (int precision = 1; precision <= 21 && text.empty(); ++precision) {
        const std::string_view candidate = formatFixed(buffer, value, precision);
        if (readBack(candidate) == value) text = candidate;
    }
    if (text.empty()) {
        std::fputs("Warning: exact float match not found\r\n", stderr);
        text = formatFixed(buffer, value, 21);
    }
    tidyNumber(text);
    return text;
}

const char* GenString::FloatToStr(float value) {
    assign(floatText(value));
    return text_;
}

const char* GenString::FloatToStr(double value) {
    assign(floatText(value));
    return text_;
}

const char* GenString::FloatToStr(const XYZTriplet* triplet) {
    Format("%s,%s,%s", floatText(triplet->x).c_str(), floatText(triplet->y).c_str(), floatText(triplet->z).c_str());
    return text_;
}

int GenString::Atoi() const {
    const std::string_view text = view();
    int value = 0;
    std::size_t start = 0;
    while (start < text.size() && std::isspace(static_cast<unsigned char>(text[start]))) ++start;
    if (start < text.size() && text[start] == '+') ++start;
    std::from_chars(text.data() + start, text.data() + text.size(), value);
    return value;
}

double GenString::Atof() const {
    std::string_view text = view();
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    return readBack(text);
}

bool GenString::IsInteger() const {
    std::string_view text = view();
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool GenString::IsFloat() const {
    std::string_view text = view();
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    if (text.empty()) return false;
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

namespace {
template <class Test>
bool allOf(std::string_view text, Test test) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) { return test(static_cast<unsigned char>(c)) != 0; });
}
template <class Test>
bool anyOf(std::string_view text, Test test) {
    return std::any_of(text.begin(), text.end(), [&](char c) { return test(static_cast<unsigned char>(c)) != 0; });
}
}  // namespace

bool GenString::IsDigit() const { return allOf(view(), [](int c) { return std::isdigit(c); }); }
bool GenString::IsAlpha() const { return allOf(view(), [](int c) { return std::isalpha(c); }); }
bool GenString::IsAlphaNumeric() const { return allOf(view(), [](int c) { return std::isalnum(c); }); }
bool GenString::HasLowerCase() const { return anyOf(view(), [](int c) { return std::islower(c); }); }
bool GenString::HasUpperCase() const { return anyOf(view(), [](int c) { return std::isupper(c); }); }

const char* GenString::strToLower() {
    if (text_ == nullptr) return text_;
    _realloc(0);
    for (char* p = mother_.get(); *p; ++p) *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
    return text_;
}

const char* GenString::Trim() {
    std::string_view text = view();
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
    if (text_ != nullptr) assign(std::string(text));
    return text_;
}

int GenString::Replace(const char* from, const char* to) {
    if (text_ == nullptr || from == nullptr || *from == '\0') return 0;
    const std::string_view pattern(from);
    const std::string_view replacement = to ? std::string_view(to) : std::string_view();
    std::string result;
    int count = 0;
    std::string_view rest = view();
    for (std::size_t at; (at = rest.find(pattern)) != std::string_view::npos; ++count) {
        result.append(rest.substr(0, at)).append(replacement);
        rest.remove_prefix(at + pattern.size());
    }
    if (count > 0) assign(result.append(rest));
    return count;
}

int GenString::ReplaceChar(char from, char to) {
    if (text_ == nullptr || std::strchr(text_, from) == nullptr || from == '\0') return 0;
    _realloc(0);
    int count = 0;
    for (char* p = mother_.get(); *p; ++p)
        if (*p == from) *p = to, ++count;
    return count;
}

const char* GenString::FindFirst(const char* what) const {
    return text_ && what ? std::strstr(text_, what) : nullptr;
}

const char* GenString::FindLast(const char* what) const {
    if (text_ == nullptr || what == nullptr) return nullptr;
    const std::size_t at = view().rfind(what);
    return at == std::string_view::npos ? nullptr : text_ + at;
}

bool GenString::FindFirstAndTruncate(const char* what) {
    const char* at = FindFirst(what);
    if (at == nullptr) return false;
    assign(std::string(view().substr(0, static_cast<std::size_t>(at - text_))));
    return true;
}

bool GenString::FindQuoteAndStrip() {
    const std::string_view text = view();
    const std::size_t open = text.find('"');
    if (open == std::string_view::npos) return false;
    const std::size_t close = text.find('"', open + 1);
    if (close == std::string_view::npos) return false;
    assign(std::string(text.substr(open + 1, close - open - 1)));
    return true;
}

int GenString::Compare(const char* other, bool exact) const {
    const std::string_view a = view();
    const std::string_view b = other ? std::string_view(other) : std::string_view();
    return (exact ? a == b : equalIgnoringCase(a, b)) ? 1 : 0;
}

int GenString::CompareN(const char* other, int count, bool exact) const {
    const auto n = static_cast<std::size_t>(std::max(count, 0));
    const std::string_view a = view().substr(0, n);
    const std::string_view b = (other ? std::string_view(other) : std::string_view()).substr(0, n);
    return (exact ? a == b : equalIgnoringCase(a, b)) ? 1 : 0;
}

std::vector<std::string> GenString::ParseCommas() const {
    std::vector<std::string> fields;
    std::string_view rest = view();
    if (rest.empty()) return fields;
    while (true) {
        const std::size_t comma = rest.find(',');
        GenString field;
        field.assign(rest.substr(0, comma));
        fields.emplace_back(field.Trim());
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    return fields;
}

bool GenString::GetNextLine(std::string& line) {
    const std::string_view text = view();
    const auto from = static_cast<std::size_t>(position_);
    if (from >= text.size()) return false;
    std::size_t end = text.find('\n', from);
    const std::size_t next = end == std::string_view::npos ? text.size() : end + 1;
    if (end == std::string_view::npos) end = text.size();
    if (end > from && text[end - 1] == '\r') --end;
    line.assign(text.substr(from, end - from));
    position_ = static_cast<int>(next);
    return true;
}

int GenString::RemoveBom(std::vector<unsigned char>& image) {
    if (image.size() >= 3 && image[0] == 0xEF && image[1] == 0xBB && image[2] == 0xBF) {
        image.erase(image.begin(), image.begin() + 3);
        return 1;
    }
    if (image.size() >= 2 && image[0] == 0xFE && image[1] == 0xFF) return -1;
    if (image.size() < 2 || image[0] != 0xFF || image[1] != 0xFE) return 0;

    // Each 16-bit unit is encoded by itself: surrogate pairs are not combined, so characters beyond
    // the basic plane come out as two three-byte sequences.
    std::vector<unsigned char> text;
    std::size_t units = 0;
    for (std::size_t at = 2; at + 1 < image.size(); at += 2) {
        if (image[at] == 0 && image[at + 1] == 0) break;
        ++units;
    }
    text.reserve(units * 3 + 4);
    for (std::size_t at = 2, n = 0; n < units; at += 2, ++n) {
        const unsigned unit = image[at] | (image[at + 1] << 8);
        if (unit < 0x80) {
            text.push_back(static_cast<unsigned char>(unit));
        } else if (unit < 0x800) {
            text.push_back(static_cast<unsigned char>(0xC0 | (unit >> 6)));
            text.push_back(static_cast<unsigned char>(0x80 | (unit & 0x3F)));
        } else {
            text.push_back(static_cast<unsigned char>(0xE0 | (unit >> 12)));
            text.push_back(static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F)));
            text.push_back(static_cast<unsigned char>(0x80 | (unit & 0x3F)));
        }
    }
    // The image keeps two terminating zeros, as a freshly loaded one has.
    text.push_back(0);
    text.push_back(0);
    image = std::move(text);
    return 1;
}

std::u16string GenString::AsciiToUnicode() const {
    std::u16string units;
    for (const char c : view()) units.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    return units;
}

const char* GenString::UnicodeToAscii(std::u16string_view units) {
    std::string text;
    text.reserve(units.size());
    for (const char16_t unit : units) {
        if (unit > 0xFF) raise(GE_BadUnicode);
        text.push_back(static_cast<char>(unit));
    }
    assign(text);
    return text_;
}

const char* GenString::ReadString(VexFileIO* stream, int length) {
    if (length < 0) return Strdup(stream->ReadAsciiz());
    // An empty text takes no bytes, and so may stand at the very end of the input.
    if (length == 0) return Strdup("");
    const auto* bytes = stream->FreadPtr(1, length);
    return MemDup(bytes, length);
}

void GenString::WriteString(VexFileIO* stream, int withTerminator) const {
    if (withTerminator) stream->WriteAsciiz(text_);
    else if (text_) stream->WriteChars(text_);
}

}  // namespace archivefile

#include "tools/vex/ConfigSupport.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "tools/vex/Console.h"

namespace vex {

namespace {

constexpr std::size_t none = std::string::npos;

// At most this many characters of a line are shown; a longer one is cut around the marker.
constexpr std::size_t ShownWidth = 100;
constexpr std::size_t ShownBeforeMarker = 60;

bool continuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

// The bytes of the character at `at`: a whole UTF-8 sequence, or a single byte that starts none, as
// configs written in an 8-bit code page hold ("caf\xE9", "\x93quoted\x94"); a terminal gives each
// one column.
std::size_t characterLength(std::string_view line, std::size_t at) {
    const auto lead = static_cast<unsigned char>(line[at]);
    const std::size_t length = lead < 0xC2 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 1;
    if (at + length > line.size()) return 1;
    for (std::size_t k = 1; k < length; ++k)
        if (!continuationByte(line[at + k])) return 1;
    return length;
}

// A line as shown, and the column of the marker under it (counted in characters, not bytes).
struct Excerpt {
    std::string text;
    std::size_t marker = none;
};

Excerpt excerpt(std::string_view line, std::size_t column) {
    std::size_t start = 0;
    if (line.size() > ShownWidth && column != none && column > ShownBeforeMarker)
        start = std::min(column, line.size()) - ShownBeforeMarker;
    // Back to the first byte of a character cut in two, which is at most three bytes away.
    for (int back = 0; back < 3 && start > 0 && continuationByte(line[start]); ++back) --start;
    const std::size_t last = std::min(line.size(), start + ShownWidth);

    Excerpt shown;
    if (start > 0) shown.text = "...";
    std::size_t width = shown.text.size();
    std::size_t end = start;
    while (end < last) {
        const std::size_t length = characterLength(line, end);
        if (column != none && column >= end && column < end + length) shown.marker = width;
        const auto byte = static_cast<unsigned char>(line[end]);
        // Tabs and control characters are shown as blanks, one column each, so that the marker
        // stays under its token.
        if (byte < 0x20 || byte == 0x7F) shown.text += ' ';
        else shown.text.append(line.substr(end, length));
        ++width;
        end += length;
    }
    // An error at the end of the line (a statement that stops short) is marked just behind it.
    if (column != none && column >= end) shown.marker = width;
    if (end < line.size()) shown.text += "...";
    return shown;
}

// `text` right-aligned in `width` columns.
std::string padded(const std::string& text, std::size_t width) {
    return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

}  // namespace

int configOptions(bool reference) {
    return reference ? 0 : archivefile::Rapify::ExtendedSyntax | archivefile::Rapify::KernByDefault;
}

void printConfigErrorPlace(const archivefile::Rapify& compiler) {
    const archivefile::Rapify::ErrorPlace& place = compiler.errorPlace();
    if (place.line.empty()) return;
    const std::string number = std::to_string(compiler.LineCount());
    const std::size_t gutter = std::max<std::size_t>(5, number.size());
    const bool expanded = !place.expansion.empty();

    const Excerpt line = excerpt(place.line, expanded ? none : place.column);
    Console& console = Console::standardError();
    console.line(padded(number, gutter) + " | " + line.text);
    std::size_t marker = line.marker;
    if (expanded) {
        constexpr std::string_view label = "expands to: ";
        const Excerpt expansion = excerpt(place.expansion, place.column);
        console.line(padded("", gutter) + " | " + std::string(label) + expansion.text);
        marker = expansion.marker == none ? none : label.size() + expansion.marker;
    }
    if (marker != none) console.line(padded("", gutter) + " | " + std::string(marker, ' ') + "^");
}

}  // namespace vex

// How config text is cut into words and blanks; the preprocessor, the evaluator and the parser must
// agree on it, or a name the preprocessor expands would read differently to the parser.
#pragma once

#include <array>
#include <string_view>

namespace archivefile::configtext {

inline bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// Letters, digits, "_" and every byte above 127, so that names in UTF-8 stay whole words.
inline constexpr std::array<bool, 256> wordCharacters = [] {
    std::array<bool, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c >= 0x80;
    return table;
}();

inline bool isWordChar(char c) { return wordCharacters[static_cast<unsigned char>(c)]; }

inline std::string_view trim(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

}  // namespace archivefile::configtext

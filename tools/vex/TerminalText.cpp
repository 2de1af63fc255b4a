#include "tools/vex/TerminalText.h"

#include "archivefile/foundation/Platform.h"

namespace vex {

namespace {

void appendEscape(std::string& out, unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

}  // namespace

std::string TerminalText::escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7f) {
            appendEscape(out, byte);
        } else if (byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
                   static_cast<unsigned char>(text[i + 1]) <= 0x9f) {
            appendEscape(out, byte);
            appendEscape(out, static_cast<unsigned char>(text[++i]));
        } else {
            out += text[i];
        }
    }
    return out;
}

std::string TerminalText::forStandardOutput(std::string_view text) {
    static const bool terminal = archivefile::Platform::isTerminal(1);
    return terminal ? escaped(text) : std::string(text);
}

}  // namespace vex

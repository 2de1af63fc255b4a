// Text from files (entry names, property values, header fields) shown on a terminal: its control
// bytes are written as "\x1b" and the like, so that a crafted name cannot move the cursor, retitle
// the window or clear the screen. Line ends and tabs stay as they are; pipes and files get the text
// unchanged, and JSON escapes on its own.
#pragma once

#include <string>
#include <string_view>

namespace vex {

class TerminalText {
public:
    // `text` with every control byte but line end and tab, DEL, and the UTF-8 form of the 8-bit
    // controls (which some terminals obey too) written as \xHH.
    static std::string escaped(std::string_view text);
    // `text` as it may go to standard output: escaped when that is a terminal.
    static std::string forStandardOutput(std::string_view text);
};

}  // namespace vex

// Standard error as vex uses it: the library's lines, vex's own messages and, on a terminal, one
// progress line below them that is redrawn in place. Lines from the library may come in pieces (an
// entry's name, then what became of it); a line is written only once it is complete, so that no
// other line, nor the progress line, ever lands in its middle.
#pragma once

#include <string>
#include <string_view>

namespace vex {

class Console {
public:
    // The one console of the process.
    static Console& standardError();

    // Library text: carriage returns are dropped, and complete lines are written at once.
    void write(std::string_view text);
    // A line of vex's own; a line that the library left open is ended first.
    void line(std::string_view text);
    // Ends a line that the library left open, so that whatever follows starts a line of its own.
    void endOpenLine();
    // On a terminal, clears what it echoed on the current line (the "^C" of an interrupt).
    void eraseEcho();

    // The progress line, drawn below everything else and kept there as lines are written above it,
    // until it is cleared.
    void showProgress(std::string_view text);
    void clearProgress();

private:
    Console();
    void put(std::string_view text);
    void putAboveProgress(std::string_view lines);

    std::string openLine_;
    std::string progress_;
    bool progressShown_ = false;
    bool totalsOpen_ = false;
    bool terminal_ = false;
};

}  // namespace vex

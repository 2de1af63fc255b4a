// Standard error as vex uses it: the library's lines, vex's own messages and, on a terminal, one
// progress line below them that is redrawn in place. Lines from the library may come in pieces (an
// entry's name, then what became of it); a line is written only once it is complete, so that no
// other line, nor the progress line, ever lands in its middle.
//
// Several inputs handled at once would mix their lines, so a worker thread writes into a transcript
// of its own while it handles one input, and the transcript reaches standard error in one piece when
// the input is done.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace vex {

class Console {
public:
    // The console of the calling thread: its transcript while it keeps one, else the process's one.
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

    // While one lives, what the thread that made it writes is kept; at its end, whatever was kept
    // goes to the process's console at once, above the progress line.
    class Transcript;

private:
    explicit Console(bool kept);
    static Console& process();
    void put(std::string_view text);
    void putAboveProgress(std::string_view lines);

    // Workers write their finished transcripts and draw the progress line from their own threads.
    std::recursive_mutex mutex_;
    std::string openLine_;
    std::string progress_;
    // What a transcript holds.
    std::string kept_;
    bool keeps_ = false;
    bool progressShown_ = false;
    bool totalsOpen_ = false;
    bool terminal_ = false;
};

class Console::Transcript {
public:
    Transcript();
    ~Transcript();
    Transcript(const Transcript&) = delete;
    Transcript& operator=(const Transcript&) = delete;

private:
    Console console_{true};
    Console* previous_;
};

}  // namespace vex

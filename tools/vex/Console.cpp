#include "tools/vex/Console.h"

#include <cstdio>

#include "archivefile/foundation/Platform.h"
#include "tools/vex/TerminalText.h"

namespace vex {

namespace {
// Back to the start of the line, and the line cleared to its end.
constexpr std::string_view EraseLine = "\r\033[K";

thread_local Console* threadTranscript = nullptr;
}  // namespace

Console::Console(bool kept) : keeps_(kept), terminal_(!kept && archivefile::Platform::isTerminal(2)) {}

Console& Console::process() {
    static Console console(false);
    return console;
}

Console& Console::standardError() { return threadTranscript != nullptr ? *threadTranscript : process(); }

Console::Transcript::Transcript() : previous_(threadTranscript) { threadTranscript = &console_; }

Console::Transcript::~Transcript() {
    threadTranscript = previous_;
    console_.endOpenLine();
    if (console_.kept_.empty()) return;
    Console& target = standardError();
    const std::lock_guard lock(target.mutex_);
    target.endOpenLine();
    target.putAboveProgress(console_.kept_);
}

void Console::put(std::string_view text) {
    if (keeps_) {
        kept_ += text;
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

void Console::write(std::string_view text) {
    const std::lock_guard lock(mutex_);
    // Two of the library's texts are not whole lines: a file being compressed is named and its
    // figures follow ("from 10 to 4 (60%)"), and the compression totals have no line end. A blank
    // goes before the figures, and whatever follows the totals starts a line of its own.
    if (totalsOpen_) endOpenLine();
    if (text.starts_with("from ") && !openLine_.empty() && openLine_.back() != ' ') openLine_ += ' ';
    for (const char c : text)
        if (c != '\r') openLine_ += c;
    totalsOpen_ = text.starts_with("Overall compression from ");
    const std::size_t end = openLine_.rfind('\n');
    if (end == std::string::npos) return;
    putAboveProgress(std::string_view(openLine_).substr(0, end + 1));
    openLine_.erase(0, end + 1);
}

void Console::putAboveProgress(std::string_view lines) {
    const std::string shown = terminal_ ? TerminalText::escaped(lines) : std::string(lines);
    if (!progressShown_) {
        put(shown);
        return;
    }
    // One write: the line cleared, the lines, the progress line drawn again below them.
    put(std::string(EraseLine) + shown + progress_);
}

void Console::endOpenLine() {
    const std::lock_guard lock(mutex_);
    totalsOpen_ = false;
    if (openLine_.empty()) return;
    write("\n");
}

void Console::eraseEcho() {
    const std::lock_guard lock(mutex_);
    if (terminal_ && !progressShown_) put(EraseLine);
}

void Console::line(std::string_view text) {
    const std::lock_guard lock(mutex_);
    endOpenLine();
    putAboveProgress(std::string(text) + "\n");
}

void Console::showProgress(std::string_view text) {
    const std::lock_guard lock(mutex_);
    progress_ = text;
    progressShown_ = true;
    put(std::string(EraseLine) + progress_);
}

void Console::clearProgress() {
    const std::lock_guard lock(mutex_);
    if (!progressShown_) return;
    put(EraseLine);
    progressShown_ = false;
}

}  // namespace vex

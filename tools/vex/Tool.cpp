#include "tools/vex/Tool.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Platform.h"

namespace vex {

namespace {

bool quietOutput = false;
bool verboseOutput = false;

// The last character printed on each stream, so that a line the library left open can be ended.
char lastOnStandardOutput = '\n';
char lastOnStandardError = '\n';
// Whether the text printed last on standard error is a whole message without a line end of its own.
bool standsAlone = false;

char& lastPrinted(std::FILE* to) { return to == stdout ? lastOnStandardOutput : lastOnStandardError; }

void endOpenLine(std::FILE* to) {
    if (lastPrinted(to) != '\n') std::fputc('\n', to);
    lastPrinted(to) = '\n';
}

// Lines from the library end in "\r\n"; a terminal wants "\n". Some lines come in pieces, and two
// of the library's texts have no line end of their own: a file being compressed is named, then its
// figures follow ("from 10 to 4 (60%)"), and the compression totals end without one. They are
// printed readably, with a blank before the figures and a line end after the totals; a line still
// open when vex reports an error or ends is ended too.
void printLine(std::FILE* to, const char* text) {
    if (*text == '\0') return;
    const std::string_view message(text);
    if (to == stderr && standsAlone) endOpenLine(to);
    if (message.starts_with("from ") && lastPrinted(to) != '\n' && lastPrinted(to) != ' ') std::fputc(' ', to);
    for (const char c : message)
        if (c != '\r') std::fputc(c, to);
    if (const std::size_t last = message.find_last_not_of('\r'); last != std::string_view::npos)
        lastPrinted(to) = message[last];
    if (to == stderr) standsAlone = message.starts_with("Overall compression from ");
    std::fflush(to);
}

void cancelIfInterrupted() {
    if (archivefile::Platform::interruptRequested()) archivefile::raise(archivefile::GE_UserCancelled);
}

bool toStandardError(const char* text, ...) {
    cancelIfInterrupted();
    if (!quietOutput) printLine(stderr, text);
    return true;
}

bool detailToStandardError(const char* text, ...) {
    cancelIfInterrupted();
    if (verboseOutput) printLine(stderr, text);
    return true;
}

bool toStandardOutput(const char* text, ...) {
    cancelIfInterrupted();
    printLine(stdout, text);
    return true;
}

}  // namespace

Tool::Tool() {
    archivefile::Platform::watchInterrupt();
    // Inline-style configs that end with their root decode and compile back to the same bytes.
    if (archivefile::Rapify* compiler = root_.rapify()) compiler->setInlineEnumTableOnlyWhenDeclared(true);
}

archivefile::LogCallback Tool::detailCallback() const {
    verboseOutput = verbose;
    return detailToStandardError;
}

archivefile::LogCallback Tool::callback(bool standardOutput) const {
    quietOutput = quiet && !verbose;
    return standardOutput ? toStandardOutput : toStandardError;
}

Tool::~Tool() { endOpenLine(stderr); }

int Tool::report(int code, const std::string& text) const {
    if (code == archivefile::GE_NoError) return Success;
    endOpenLine(stderr);
    std::fprintf(stderr, "vex: error: %s (code %d)\n", text.c_str(), code);
    return Failure;
}

int Tool::fail(const std::string& text) const {
    endOpenLine(stderr);
    std::fprintf(stderr, "vex: error: %s\n", text.c_str());
    return Failure;
}

}  // namespace vex

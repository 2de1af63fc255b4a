#include "tools/vex/Tool.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Platform.h"

namespace vex {

namespace {

bool quietOutput = false;
bool verboseOutput = false;

// Lines from the library end in "\r\n"; a terminal wants "\n".
void printLine(std::FILE* to, const char* text) {
    for (const char* p = text; *p; ++p)
        if (*p != '\r') std::fputc(*p, to);
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

int Tool::report(int code, const std::string& text) const {
    if (code == archivefile::GE_NoError) return Success;
    std::fprintf(stderr, "vex: error: %s (code %d)\n", text.c_str(), code);
    return Failure;
}

int Tool::fail(const std::string& text) const {
    std::fprintf(stderr, "vex: error: %s\n", text.c_str());
    return Failure;
}

}  // namespace vex

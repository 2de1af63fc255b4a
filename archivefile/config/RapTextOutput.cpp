#include "archivefile/config/RapTextOutput.h"

#include <cstdarg>
#include <cstring>
#include <exception>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

void RapTextOutput::OutputStr(int indent, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string piece;
    bool formatted = true;
    try {
        piece = vformatText(format, args);
    } catch (const std::bad_alloc&) {
        formatted = false;
    }
    va_end(args);
    if (!formatted) outOfMemory();
    OutputParts(indent, std::string_view(piece));
}

void RapTextOutput::AddToOutput(std::string_view text) {
    try {
        text_ += text;
    } catch (const std::bad_alloc&) {
        outOfMemory();
    }
}

void RapTextOutput::DoubleUpQuotes(std::string_view text) {
    try {
        text_ += '"';
        while (!text.empty()) {
            const auto* quote = static_cast<const char*>(std::memchr(text.data(), '"', text.size()));
            if (quote == nullptr) {
                text_ += text;
                break;
            }
            const std::size_t upToQuote = static_cast<std::size_t>(quote - text.data()) + 1;
            text_ += text.substr(0, upToQuote);
            text_ += '"';
            text.remove_prefix(upToQuote);
        }
        text_ += '"';
    } catch (const std::bad_alloc&) {
        outOfMemory();
    }
}

void RapTextOutput::reserve(std::size_t bytes) {
    try {
        text_.reserve(bytes);
    } catch (const std::exception&) {
        // Growing as it goes needs less at any one time.
    }
}

void RapTextOutput::outOfMemory() {
    // The text gathered so far stays: it shows how far decoding came before memory ran out.
    VexFileIO standardError;
    (reporter_ != nullptr ? *reporter_ : standardError).PrintToStdErr("no memory\r\n");
    raise(GE_OutOfMemory);
}

}  // namespace archivefile

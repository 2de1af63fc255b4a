#include "archivefile/foundation/TextFormat.h"

#include <cstdio>

namespace archivefile {

std::string vformatText(const char* format, va_list args) {
    char small[256];
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0) return {};
    if (static_cast<std::size_t>(needed) < sizeof small) return std::string(small, static_cast<std::size_t>(needed));
    std::string text(static_cast<std::size_t>(needed), '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, args);
    return text;
}

std::string formatText(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vformatText(format, args);
    va_end(args);
    return text;
}

}  // namespace archivefile

// The one place where printf-style messages are formatted. Texts that came from a file or a user are
// always passed as arguments, never as the format.
#pragma once

#include <cstdarg>
#include <string>

namespace archivefile {

[[gnu::format(printf, 1, 0)]] std::string vformatText(const char* format, va_list args);
[[gnu::format(printf, 1, 2)]] std::string formatText(const char* format, ...);

}  // namespace archivefile

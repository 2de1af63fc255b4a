// Misuse of an internal interface ("hasdrive invalid n:", "no filename") is raised as text rather
// than as a code; the exported operation that catches it reports the text and fails with code 5.
#pragma once

#include <stdexcept>
#include <string>

namespace archivefile {

class TextException : public std::runtime_error {
public:
    explicit TextException(const std::string& text) : std::runtime_error(text) {}
};

}  // namespace archivefile

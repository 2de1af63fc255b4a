// What a file given to a command is, told from its first bytes: one of the kinds that `vex info`
// knows, a PNG image or sound of the formats that vex converts, or one of a few common kinds that vex
// does not read (ZIP and other packed files, documents, programs, text). A command given the wrong
// file says what it got and which command reads it.
#pragma once

#include <optional>
#include <string>

namespace vex {

struct InfoKind;

struct ContentKind {
    // The kind's name in `vex info` ("archive", "texture", ...), or one of "png", "audio", "empty",
    // "text" and "foreign".
    std::string id;
    // What it is, in words for a message: "a texture", "a ZIP archive".
    std::string words;
    // The vex command that reads it, or empty.
    std::string readBy;

    // The kind of the regular file at `path`; none when it cannot be read or is of no kind known here.
    // A kind of `vex info` named as `likely` is tried first, so that a file that passes its test is
    // never taken for another kind whose test happens to pass too.
    static std::optional<ContentKind> of(const std::string& path, const std::string& likely = "");

private:
    static ContentKind ofInfoKind(const InfoKind& kind);
};

}  // namespace vex

#include "tools/vex/ContentKind.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "tools/vex/InfoKinds.h"

namespace vex {

namespace {

struct Signature {
    std::string_view bytes;
    std::size_t at;
    const char* id;
    const char* words;
    const char* readBy;
};

// Signatures of files that people mistake for the ones vex reads, or that vex converts.
constexpr std::array<Signature, 13> signatures{{
    {"\x89PNG\r\n\x1a\n", 0, "png", "a PNG image", "vex texture from-png"},
    {"OggS", 0, "audio", "an Ogg sound", "vex sound convert"},
    {"fLaC", 0, "audio", "a FLAC sound", "vex sound convert"},
    {"AIFF", 8, "audio", "an AIFF sound", "vex sound convert"},
    {"PK\x03\x04", 0, "foreign", "a ZIP archive", ""},
    {"PK\x05\x06", 0, "foreign", "an empty ZIP archive", ""},
    {"\x1f\x8b", 0, "foreign", "a gzip file", ""},
    {"7z\xbc\xaf\x27\x1c", 0, "foreign", "a 7z archive", ""},
    {"Rar!\x1a\x07", 0, "foreign", "a RAR archive", ""},
    {"%PDF", 0, "foreign", "a PDF document", ""},
    {"\x7f" "ELF", 0, "foreign", "a program", ""},
    {"\xff\xd8\xff", 0, "foreign", "a JPEG image", ""},
    {"DDS ", 0, "foreign", "a DDS image", ""},
}};

// Text as people write it: no zero bytes and no control characters other than blanks and line ends.
bool looksLikeText(std::span<const unsigned char> head) {
    return std::all_of(head.begin(), head.end(), [](unsigned char c) {
        return c >= 0x20 || c == '\t' || c == '\n' || c == '\r' || c == '\f';
    });
}

const char* readerOf(std::string_view kind) {
    if (kind == "archive") return "vex unpack";
    if (kind == "binarised config") return "vex config decode";
    if (kind == "sound") return "vex sound convert";
    if (kind == "texture") return "vex texture to-png";
    return "vex info";
}

}  // namespace

ContentKind ContentKind::ofInfoKind(const InfoKind& kind) {
    const std::string_view name = kind.name;
    const bool vowel = std::string_view("aeiou").find(name.front()) != std::string_view::npos;
    return ContentKind{kind.name, std::string(vowel ? "an " : "a ") + kind.name, readerOf(name)};
}

std::optional<ContentKind> ContentKind::of(const std::string& path, const std::string& likely) {
    InfoInput input;
    std::string error;
    if (!input.open(path, error)) return std::nullopt;
    const std::span<const unsigned char> head = input.head();
    if (head.empty()) return ContentKind{"empty", "an empty file", ""};
    for (const InfoKind& kind : infoKinds())
        if (kind.name == likely && kind.recognise(input)) return ofInfoKind(kind);
    for (const Signature& signature : signatures) {
        if (head.size() >= signature.at + signature.bytes.size() &&
            std::memcmp(head.data() + signature.at, signature.bytes.data(), signature.bytes.size()) == 0)
            return ContentKind{signature.id, signature.words, signature.readBy};
    }
    // Before the kinds that are guessed from structure or size: a text file of a font's size is text.
    if (looksLikeText(head)) return ContentKind{"text", "a text file", ""};
    for (const InfoKind& kind : infoKinds())
        if (kind.recognise(input)) return ofInfoKind(kind);
    return std::nullopt;
}

}  // namespace vex

#include "tools/vex/JsonWriter.h"

#include <cstdio>

namespace vex {

namespace {

// Length of the UTF-8 sequence at `at`, or 0 when the bytes there are not one.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    std::size_t length = 0;
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) length = 2;
    else if (lead >= 0xE0 && lead <= 0xEF) length = 3;
    else if (lead >= 0xF0 && lead <= 0xF4) length = 4;
    else return 0;
    if (at + length > text.size()) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
    const auto second = static_cast<unsigned char>(text[at + 1]);
    // Overlong forms, surrogates and code points above U+10FFFF.
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
        (lead == 0xF4 && second > 0x8F))
        return 0;
    return length;
}

bool isUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(text, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

}  // namespace

void JsonWriter::separate() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!hasMember_.empty()) {
        if (hasMember_.back()) text_ += ',';
        hasMember_.back() = true;
    }
}

void JsonWriter::beginObject() {
    separate();
    text_ += '{';
    hasMember_.push_back(false);
}

void JsonWriter::endObject() {
    text_ += '}';
    hasMember_.pop_back();
}

void JsonWriter::beginArray() {
    separate();
    text_ += '[';
    hasMember_.push_back(false);
}

void JsonWriter::endArray() {
    text_ += ']';
    hasMember_.pop_back();
}

void JsonWriter::key(std::string_view name) {
    separate();
    quoted(name);
    text_ += ':';
    afterKey_ = true;
}

void JsonWriter::value(std::string_view text) {
    separate();
    quoted(text);
}

void JsonWriter::value(std::int64_t number) {
    separate();
    text_ += std::to_string(number);
}

void JsonWriter::value(bool flag) {
    separate();
    text_ += flag ? "true" : "false";
}

void JsonWriter::null() {
    separate();
    text_ += "null";
}

void JsonWriter::quoted(std::string_view text) {
    const bool utf8 = isUtf8(text);
    text_ += '"';
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"': text_ += "\\\""; break;
        case '\\': text_ += "\\\\"; break;
        case '\n': text_ += "\\n"; break;
        case '\r': text_ += "\\r"; break;
        case '\t': text_ += "\\t"; break;
        default:
            if (byte < 0x20 || (byte >= 0x80 && !utf8)) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
                text_ += escaped;
            } else {
                text_ += c;
            }
        }
    }
    text_ += '"';
}

}  // namespace vex

// Compact JSON text for --json output. Texts from files are 8-bit and not always UTF-8: a text that
// is valid UTF-8 is written as it is, any other is read byte by byte as Latin-1, so the output is
// always valid JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vex {

class JsonWriter {
public:
    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // The key of the next member of the object being written.
    void key(std::string_view name);
    void value(std::string_view text);
    void value(const char* text) { value(std::string_view(text ? text : "")); }
    void value(std::int64_t number);
    void value(bool flag);
    void null();

    const std::string& text() const { return text_; }

private:
    void separate();
    void quoted(std::string_view text);

    std::string text_;
    // One flag per open object or array: whether it has a member yet.
    std::vector<bool> hasMember_;
    bool afterKey_ = false;
};

}  // namespace vex

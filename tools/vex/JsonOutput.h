// JSON on standard output, one compact object a line, for every command that has --json. Texts from
// files are 8-bit and not always UTF-8: bytes that are not become replacement characters, so that
// the output is always valid JSON.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace vex {

class JsonOutput {
public:
    static void print(const nlohmann::ordered_json& object);
    // The line that `print` writes.
    static std::string text(const nlohmann::ordered_json& object);
};

}  // namespace vex

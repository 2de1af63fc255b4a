#include "tools/vex/JsonOutput.h"

#include <cstdio>
#include <string>

namespace vex {

std::string JsonOutput::text(const nlohmann::ordered_json& object) {
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void JsonOutput::print(const nlohmann::ordered_json& object) {
    const std::string line = text(object);
    std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace vex

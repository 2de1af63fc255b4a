#include "tools/vex/JsonOutput.h"

#include <cstdio>
#include <string>

namespace vex {

void JsonOutput::print(const nlohmann::ordered_json& object) {
    const std::string line = object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
}

}  // namespace vex

// What vex says about a command line it cannot read: a line that starts with "vex:", says what was
// wrong, suggests the nearest command or option when one is near, and names the help to read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace vex {

class UsageMessage {
public:
    // `app` is the whole command line, after `error` stopped its parsing.
    static std::string message(const CLI::App& app, const CLI::ParseError& error);
    // The words of a command after "vex" ("config compile"); empty for vex itself.
    static std::string words(const CLI::App& command);
    // The one name of `names` that `given` most likely meant, or empty: the only name that starts with
    // it, else the closest within a few typing mistakes.
    static std::string nearest(std::string_view given, const std::vector<std::string>& names);
};

}  // namespace vex

#include "tools/vex/UsageMessage.h"

#include <algorithm>
#include <numeric>

namespace vex {

namespace {

// Edits (insertions, deletions, substitutions, swaps of neighbours) that turn `a` into `b`.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
    std::iota(d[0].begin(), d[0].end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        for (std::size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    }
    return d[a.size()][b.size()];
}

// The command chosen deepest on the command line ("compile" in "vex config compile").
const CLI::App& deepest(const CLI::App& app) {
    for (const CLI::App* command : app.get_subcommands({}))
        if (command->parsed()) return deepest(*command);
    return app;
}

// Every option name that `command` takes, and those that vex takes anywhere.
std::vector<std::string> optionNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* level = &command; level != nullptr; level = level->get_parent()) {
        for (const CLI::Option* option : level->get_options()) {
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
            for (const std::string& name : option->get_snames()) names.push_back("-" + name);
        }
    }
    return names;
}

std::vector<std::string> commandNames(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::App* sub : command.get_subcommands({})) names.push_back(sub->get_name());
    return names;
}

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
    return list;
}

std::string suggestion(const std::string& nearest) {
    return nearest.empty() ? std::string() : "; did you mean '" + nearest + "'?";
}

}  // namespace

std::string UsageMessage::words(const CLI::App& command) {
    std::string text;
    for (const CLI::App* level = &command; level->get_parent() != nullptr; level = level->get_parent())
        text.insert(0, text.empty() ? level->get_name() : level->get_name() + " ");
    return text;
}

std::string UsageMessage::nearest(std::string_view given, const std::vector<std::string>& names) {
    std::vector<std::string> starting;
    for (const std::string& name : names)
        if (name.size() > given.size() && name.compare(0, given.size(), given) == 0) starting.push_back(name);
    if (starting.size() == 1 && given.size() > 2) return starting.front();
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(1, std::min<std::size_t>(3, given.size() / 3)) + 1;
    for (const std::string& name : names) {
        const std::size_t edits = distance(given, name);
        if (edits < bestDistance) {
            best = name;
            bestDistance = edits;
        }
    }
    return best;
}

std::string UsageMessage::message(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = deepest(app);
    const std::string words = UsageMessage::words(command);
    const std::string help = " (see 'vex " + (words.empty() ? std::string() : words + " ") + "--help')";
    const std::string where = words.empty() ? std::string() : " for 'vex " + words + "'";

    // What the command line held that nothing took: an option, a command, or an argument too many.
    const std::vector<std::string> left = app.remaining(true);
    if (!left.empty()) {
        const std::string& item = left.front();
        if (item.size() > 1 && item.front() == '-') {
            const std::string option = item.substr(0, item.find('='));
            return "vex: unknown option '" + option + "'" + where + suggestion(nearest(option, optionNames(command))) + help;
        }
        const std::vector<std::string> commands = commandNames(command);
        if (!commands.empty()) {
            const std::string what = words.empty() ? " is not a vex command" : " is not a command of 'vex " + words + "'";
            return "vex: '" + item + "'" + what + suggestion(nearest(item, commands)) + help;
        }
        return "vex: unexpected argument '" + item + "'" + where + help;
    }
    if (!commandNames(command).empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
        return "vex: 'vex " + words + "' needs one of its commands: " + listed(commandNames(command)) + help;
    return "vex: " + (words.empty() ? std::string() : words + ": ") + error.what() + help;
}

}  // namespace vex

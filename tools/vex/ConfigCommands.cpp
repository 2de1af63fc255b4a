// vex config check: preprocess and parse a config, and report the first error with its file and line.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

struct CheckOptions {
    std::string input;
    std::string includeRoot;
};

// The "config" group is shared with the decoder's command: whichever command is added first
// creates it, so that there is only one.
CLI::App& configGroup(CLI::App& app) {
    const auto existing = app.get_subcommands([](CLI::App* command) { return command->get_name() == "config"; });
    if (!existing.empty()) return *existing.front();
    CLI::App* group = app.add_subcommand("config", "Decode, compile and check configs");
    group->require_subcommand(1);
    return *group;
}

// The compiler tells where conditional blocks turn live again ("#else", "#endif"); that is of use
// to a caller that keeps the text, and noise to a check, so those lines appear only with -v.
archivefile::LogCallback forwarded = nullptr;
bool showConditionals = false;

bool checkCallback(const char* text, ...) {
    if (!showConditionals && (std::strcmp(text, "#else\r\n") == 0 || std::strcmp(text, "#endif\r\n") == 0)) return true;
    return forwarded(text);
}

int checkConfig(Tool& tool, const CheckOptions& options) {
    archivefile::Rapify* compiler = tool.root().rapify();
    if (compiler == nullptr) return tool.fail("the config compiler is not available");
    forwarded = tool.callback();
    showConditionals = tool.verbose;
    compiler->SetIncludeRoot(options.includeRoot.c_str());
    const int code = compiler->OpenRapText(options.input.c_str(), 0, checkCallback);
    int status = Success;
    if (code != archivefile::GE_NoError) {
        status = tool.report(code, compiler->ErrorString(code));
    } else {
        const archivefile::Rapify::Statistics& figures = compiler->statistics();
        std::printf("%s: %lld classes, %lld values, %lld defines, %lld files read (%lld lines, %lld bytes expanded)\n",
                    options.input.c_str(), static_cast<long long>(figures.classes),
                    static_cast<long long>(figures.values), static_cast<long long>(figures.defines),
                    static_cast<long long>(figures.filesRead), static_cast<long long>(figures.lines),
                    static_cast<long long>(figures.expandedBytes));
    }
    compiler->Close();
    return status;
}

}  // namespace

void addConfigCommands(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* check = configGroup(app).add_subcommand(
        "check", "Preprocess and parse a config; report the first error with its file and line");
    check->add_option("FILE", options->input, "The config text (config.cpp, description.ext, ...)")->required();
    check->add_option("-I,--include-root", options->includeRoot,
                      "The folder that include names starting with a backslash (or a drive) are looked for in");
    check->callback([options, &tool] { tool.status = checkConfig(tool, *options); });
}

}  // namespace vex

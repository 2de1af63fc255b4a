// vex config check: preprocess and parse a config, and report the first error with its file and line.
// vex config compile: the same, then the tree binarised into a raP file.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexFileIO.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

struct CheckOptions {
    std::string input;
    std::string includeRoot;
    bool reference = false;
};

constexpr const char* ReferenceHelp =
    "Read and write configs exactly as the library does by default: no extended syntax (a lone #, a define "
    "given again, #pragma and []+= are refused, continued assignments get their semicolon), and the inline "
    "style when the text chooses none";

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
    const int code = compiler->OpenRapText(options.input.c_str(), configOptions(options.reference), checkCallback);
    int status = Success;
    if (code != archivefile::GE_NoError) {
        status = tool.report(code, compiler->ErrorString(code));
        printConfigErrorPlace(*compiler);
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

struct CompileOptions {
    std::string input;
    std::string output;
    std::string includeRoot;
    bool kern = false;
    bool reference = false;
};

// config.cpp is binarised into config.bin beside it.
std::string defaultOutput(const std::string& input) {
    return std::filesystem::path(input).replace_extension(".bin").string();
}

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    if (std::filesystem::equivalent(a, b, error)) return true;
    // The output need not exist yet: then the paths are compared.
    const std::filesystem::path left = std::filesystem::weakly_canonical(a, error);
    if (error) return false;
    const std::filesystem::path right = std::filesystem::weakly_canonical(b, error);
    return !error && left == right;
}

const char* styleName(int style) {
    switch (style) {
    case archivefile::Rapify::TgrStyle: return "TGR";
    case archivefile::Rapify::SignedStyle: return "signed";
    default: return "KerN";
    }
}

int compileConfig(Tool& tool, const CompileOptions& options) {
    archivefile::Rapify* compiler = tool.root().rapify();
    if (compiler == nullptr) return tool.fail("the config compiler is not available");
    if (archivefile::VexFileIO().FileIsRaPified(options.input.c_str()) == 1)
        return tool.fail(options.input + " is binarised already; 'vex config decode' turns it into text");
    const std::string output = options.output.empty() ? defaultOutput(options.input) : options.output;
    if (sameFile(options.input, output))
        return tool.fail("the output " + output + " would replace the text it is compiled from; name another with -o");

    forwarded = tool.callback();
    showConditionals = tool.verbose;
    compiler->SetIncludeRoot(options.includeRoot.c_str());
    // --kern binarises as an archive of the newer styles does: the text is read as newer text too.
    const int compileOptions =
        configOptions(options.reference) | (options.kern ? archivefile::Rapify::ForceKern : 0);
    int code = compiler->OpenRapText(options.input.c_str(), compileOptions, checkCallback);
    if (code == archivefile::GE_NoError) code = compiler->OutputRap(output.c_str(), options.kern);
    int status = Success;
    if (code != archivefile::GE_NoError) {
        status = tool.report(code, compiler->ErrorString(code));
        printConfigErrorPlace(*compiler);
    } else {
        int style = compiler->ModeWord() & archivefile::Rapify::StyleMask;
        if (style == archivefile::Rapify::TgrStyle && options.kern) style = archivefile::Rapify::KernStyle;
        std::error_code error;
        const auto bytes = std::filesystem::file_size(output, error);
        forwarded(archivefile::formatText("%s: %s style, %llu bytes\r\n", output.c_str(), styleName(style),
                                          static_cast<unsigned long long>(error ? 0 : bytes))
                      .c_str());
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
    check->add_flag("--reference", options->reference, ReferenceHelp);
    check->callback([options, &tool] { tool.status = checkConfig(tool, *options); });

    auto compileOptions = std::make_shared<CompileOptions>();
    CLI::App* compile = configGroup(app).add_subcommand(
        "compile", "Compile a config text into its binarised form (raP): KerN style unless the text chooses another "
                   "(#define _TGR_ the inline style, #define _XBOX_ WithSignature the signed style)");
    compile->add_option("FILE", compileOptions->input, "The config text (config.cpp, ...)")->required();
    compile->add_option("-o,--output", compileOptions->output,
                        "The raP file to write; replaced only once complete (default: FILE with the extension .bin)");
    compile->add_flag("--kern", compileOptions->kern, "Write KerN style where the text chose TGR style");
    compile->add_option("-I,--include-root", compileOptions->includeRoot,
                        "The folder that include names starting with a backslash (or a drive) are looked for in");
    compile->add_flag("--reference", compileOptions->reference, ReferenceHelp);
    compile->callback([compileOptions, &tool] { tool.status = compileConfig(tool, *compileOptions); });
}

}  // namespace vex

// vex config check: preprocess and parse a config, and report the first error with its file and line.
// vex config compile: the same, then the tree binarised into a raP file.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
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

// Compiles the config named on the command line; standard input is compiled from memory, so that its
// messages name it "-" and its includes are looked for from the current folder.
int compileText(Tool& tool, archivefile::Rapify& compiler, const std::string& name, const std::string& path,
                int options) {
    forwarded = tool.callback();
    showConditionals = tool.verbose;
    if (name != "-") return compiler.OpenRapText(path.c_str(), options, checkCallback);
    const std::optional<std::string> text = tool.contentOf(path);
    if (!text) return archivefile::GE_InvalidFile;
    return compiler.Text2RapClass(*text, options, checkCallback, "-");
}

int checkConfig(Tool& tool, const CheckOptions& options) {
    archivefile::Rapify* compiler = tool.root().rapify();
    if (compiler == nullptr) return tool.fail("the config compiler is not available");
    std::string path;
    if (const int status = tool.input(options.input, Expected::ConfigText, path); status != Success) return status;
    compiler->SetIncludeRoot(options.includeRoot.c_str());
    const int code = compileText(tool, *compiler, options.input, path, configOptions(options.reference));
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

// config.cpp is binarised into config.bin beside it, or inside the folder that -o names.
std::string outputFor(const CompileOptions& options) {
    std::filesystem::path made(options.input == "-" ? "config.cpp" : options.input);
    made.replace_extension(".bin");
    return options.output.empty() ? made.string() : Tool::outputIn(options.output, made.filename().string());
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
    std::string path;
    if (const int status = tool.input(options.input, Expected::ConfigText, path); status != Success) return status;
    const bool toStandardOutput = options.output == "-" || (options.input == "-" && options.output.empty());
    const std::string output = toStandardOutput ? std::string() : outputFor(options);
    if (toStandardOutput) {
        if (const int status = tool.binaryToStandardOutput(); status != Success) return status;
    } else {
        if (options.input != "-" && sameFile(options.input, output))
            return tool.fail("the output " + output + " would replace the text it is compiled from; name another with -o");
        if (!tool.makeFoldersFor(output)) return Failure;
    }

    compiler->SetIncludeRoot(options.includeRoot.c_str());
    // --kern binarises as an archive of the newer styles does: the text is read as newer text too.
    const int compileOptions =
        configOptions(options.reference) | (options.kern ? archivefile::Rapify::ForceKern : 0);
    int code = compileText(tool, *compiler, options.input, path, compileOptions);
    std::vector<std::uint8_t> bytes;
    if (code == archivefile::GE_NoError)
        code = toStandardOutput ? compiler->OutputRap(bytes, options.kern) : compiler->OutputRap(output.c_str(), options.kern);
    if (code != archivefile::GE_NoError) {
        const int status = tool.report(code, compiler->ErrorString(code));
        printConfigErrorPlace(*compiler);
        compiler->Close();
        return status;
    }
    int style = compiler->ModeWord() & archivefile::Rapify::StyleMask;
    if (style == archivefile::Rapify::TgrStyle && options.kern) style = archivefile::Rapify::KernStyle;
    compiler->Close();
    if (toStandardOutput) {
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        return Success;
    }
    std::error_code error;
    const auto size = std::filesystem::file_size(output, error);
    tool.wrote(output, std::string(styleName(style)) + " style, " + Tool::sizeText(error ? 0 : size));
    return Success;
}

}  // namespace

void addConfigCommands(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* check = configGroup(app).add_subcommand(
        "check", "Preprocess and parse a config; report the first error with its file and line");
    check->add_option("FILE", options->input, "The config text (config.cpp, description.ext, ...; - for standard input)")
        ->required();
    check->add_option("-I,--include-root", options->includeRoot,
                      "The folder that include names starting with a backslash (or a drive) are looked for in");
    check->add_flag("--reference", options->reference, ReferenceHelp);
    tool.setAction(*check, [options, &tool] { return checkConfig(tool, *options); });

    auto compileOptions = std::make_shared<CompileOptions>();
    CLI::App* compile = configGroup(app).add_subcommand(
        "compile", "Compile a config text into its binarised form (raP): KerN style unless the text chooses another "
                   "(#define _TGR_ the inline style, #define _XBOX_ WithSignature the signed style)");
    compile->add_option("FILE", compileOptions->input, "The config text (config.cpp, ...; - for standard input)")
        ->required();
    compile->add_option("-o,--output", compileOptions->output,
                        "The raP file to write, replaced only once complete; a folder to write it in; or - for "
                        "standard output (default: FILE with the extension .bin, or standard output for -)");
    compile->add_flag("--kern", compileOptions->kern, "Write KerN style where the text chose TGR style");
    compile->add_option("-I,--include-root", compileOptions->includeRoot,
                        "The folder that include names starting with a backslash (or a drive) are looked for in");
    compile->add_flag("--reference", compileOptions->reference, ReferenceHelp);
    tool.setAction(*compile, [compileOptions, &tool] { return compileConfig(tool, *compileOptions); });
}

}  // namespace vex

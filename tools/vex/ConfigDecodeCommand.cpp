// vex config decode: a binarised config turned back into config text.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "archivefile/config/RapFile.h"
#include "archivefile/foundation/GenericError.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

struct DecodeOptions {
    std::string input;
    std::string output;
    bool tabs = false;
    bool reference = false;
};

// The "config" group is shared with the compiler's commands: whichever command is added first
// creates it, so that there is only one.
CLI::App& configGroup(CLI::App& app) {
    const auto existing = app.get_subcommands([](CLI::App* command) { return command->get_name() == "config"; });
    if (!existing.empty()) return *existing.front();
    CLI::App* group = app.add_subcommand("config", "Decode, compile and check configs");
    group->require_subcommand(1);
    return *group;
}

int decodeConfig(Tool& tool, const DecodeOptions& options) {
    archivefile::RapFile* decoder = tool.root().rapFile();
    if (decoder == nullptr) return tool.fail("the config decoder is not available");
    std::string path;
    if (const int status = tool.input(options.input, Expected::BinarisedConfig, path); status != Success)
        return status;
    const bool toStandardOutput = options.output.empty() || options.output == "-";
    std::string output;
    if (!toStandardOutput) {
        std::filesystem::path made(options.input == "-" ? "config.bin" : options.input);
        output = Tool::outputIn(options.output, made.replace_extension(".cpp").filename().string());
        if (!tool.makeFoldersFor(output)) return Failure;
    }
    decoder->SetCallBack(tool.callback());
    decoder->SetTabChar(options.tabs);
    const int decodeOptions = configOptions(options.reference);
    int code = archivefile::GE_InvalidFile;
    if (options.input != "-") {
        code = decoder->OpenRap(path.c_str(), decodeOptions);
    } else if (const std::optional<std::string> bytes = tool.contentOf(path)) {
        code = decoder->Rap2Text({reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()}, "-",
                                 decodeOptions);
    }
    if (toStandardOutput) {
        // The text goes out even when decoding stopped early: it ends in a comment line naming the
        // error, which shows how far the file could be read.
        const std::string_view text = decoder->decodedText();
        std::fwrite(text.data(), 1, text.size(), stdout);
    } else if (code == archivefile::GE_NoError) {
        code = decoder->WriteDecodedText(output.c_str());
        if (code == archivefile::GE_NoError) tool.wrote(output, Tool::sizeText(decoder->decodedText().size()) + " of text");
    }
    const int status = tool.report(code, decoder->ErrorString(code));
    decoder->Close();
    return status;
}

}  // namespace

void addConfigDecodeCommand(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<DecodeOptions>();
    CLI::App* decode = configGroup(app).add_subcommand("decode", "Turn a binarised config (raP) back into config text");
    decode->add_option("FILE", options->input, "The binarised config (- for standard input)")->required();
    decode->add_option("-o,--output", options->output,
                       "Write the text to this file, replaced only when decoding succeeds, or into this folder "
                       "(default, and with -: standard output)");
    decode->add_flag("--tabs", options->tabs, "Indent with tabs instead of blanks");
    decode->add_flag("--reference", options->reference,
                     "Decode exactly as the library does by default: array-append entries (type 5) are refused");
    tool.setAction(*decode, [options, &tool] { return decodeConfig(tool, *options); });
}

}  // namespace vex

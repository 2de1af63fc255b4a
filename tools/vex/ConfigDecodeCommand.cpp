// vex config decode: a binarised config turned back into config text.
#include <cstdio>
#include <memory>
#include <string>

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
    decoder->SetCallBack(tool.callback());
    decoder->SetTabChar(options.tabs);
    int code = decoder->OpenRap(options.input.c_str(), configOptions(options.reference));
    if (options.output.empty()) {
        // Without -o the text goes out even when decoding stopped early: it ends in a comment line
        // naming the error, which shows how far the file could be read.
        const std::string_view text = decoder->decodedText();
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
            if (code == archivefile::GE_NoError) code = archivefile::GE_CannotWrite;
        }
    } else if (code == archivefile::GE_NoError) {
        code = decoder->WriteDecodedText(options.output.c_str());
    }
    const int status = tool.report(code, decoder->ErrorString(code));
    decoder->Close();
    return status;
}

}  // namespace

void addConfigDecodeCommand(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<DecodeOptions>();
    CLI::App* decode = configGroup(app).add_subcommand("decode", "Turn a binarised config (raP) back into config text");
    decode->add_option("FILE", options->input, "The binarised config")->required();
    decode->add_option(
        "-o,--output", options->output,
        "Write the text to this file; it is replaced only when decoding succeeds (default: standard output)");
    decode->add_flag("--tabs", options->tabs, "Indent with tabs instead of blanks");
    decode->add_flag("--reference", options->reference,
                     "Decode exactly as the library does by default: array-append entries (type 5) are refused");
    decode->callback([options, &tool] { tool.status = decodeConfig(tool, *options); });
}

}  // namespace vex

// vex pack: an archive built from a folder, in the style of one generation of tools.
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/model/P3dHeader.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::ArchiveFile;

struct PackOptions {
    std::string folder;
    std::string output;
    std::string style = "kern";
    std::string prefix;
    std::string includeRoot;
    std::string noCompress = "ogg,paa,pac,jpg,png,wss";
    std::string exclude;
    bool compress = false;
    bool binarize = true;
    bool checkModels = false;
    bool reference = false;
    std::optional<std::int64_t> mtime;
};

const std::map<std::string, int>& styles() {
    static const std::map<std::string, int> names{
        {"kqm", ArchiveFile::StyleKqm},          {"vanguard", ArchiveFile::StyleVanguard},
        {"kern-nosha", ArchiveFile::StyleKernNoSha}, {"regal", ArchiveFile::StyleRegal},
        {"kern", ArchiveFile::StyleKern},
    };
    return names;
}

int pack(Tool& tool, const PackOptions& options) {
    ArchiveFile& archive = *tool.root().archiveFile();
    int flags = styles().at(options.style);
    if (options.compress) flags |= ArchiveFile::CompressEntries;
    if (!options.binarize) flags |= ArchiveFile::KeepConfigText;
    if (options.checkModels) flags |= ArchiveFile::CheckModels;
    // A checked model of kind 58 would print its prefix on standard output, which carries no data
    // here and must stay silent with -q; the model's type line already names it as checked.
    archivefile::P3dHeader::setK3PrefixOutput(nullptr);
    archive.setBuildTime(options.mtime);
    archive.setIncludeRoot(options.includeRoot.c_str());
    archive.setCompileCallback(tool.detailCallback());
    archive.setConfigOptions(configOptions(options.reference));
    const int code = archive.MakePboNew(options.folder.c_str(), flags, options.output.c_str(), tool.callback(),
                                        options.noCompress.c_str(), options.prefix.c_str(), options.exclude.c_str());
    if (code != archivefile::AE_RapError) return tool.report(code, options.folder + ": " + archive.ErrorString(code));
    // A config that does not compile: its error, and where it stands, under the build's.
    archivefile::Rapify& compiler = *tool.root().rapify();
    const int status = tool.report(code, options.folder + ": " + archive.ErrorString(code) + ": " +
                                             compiler.ErrorString(compiler.ErrorCode()));
    printConfigErrorPlace(compiler);
    return status;
}

}  // namespace

void addPackCommand(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<PackOptions>();
    CLI::App* command = app.add_subcommand("pack", "Build an archive from a folder");
    command->add_option("FOLDER", options->folder, "The folder to pack")->required()->check(CLI::ExistingDirectory);
    command->add_option("-o,--output", options->output,
                        "The archive to write (default: beside the folder, named after it)");
    command->add_option("--style", options->style, "kqm, vanguard, kern-nosha, regal or kern")
        ->check(CLI::IsMember({"kqm", "vanguard", "kern-nosha", "regal", "kern"}))
        ->capture_default_str();
    command->add_option("--prefix", options->prefix,
                        "The prefix to write (default: the first line of the folder's $PBOPREFIX$ or PboPrefix.txt)");
    command->add_flag("--compress", options->compress, "Compress every entry that shrinks");
    command->add_option("--no-compress", options->noCompress, "Extensions never compressed, separated by commas")
        ->capture_default_str();
    command->add_flag("--binarize,!--no-binarize", options->binarize,
                      "Store config.cpp files binarised as config.bin (the default), or as they are");
    command->add_option("-I,--include-root", options->includeRoot,
                        "Where config includes named from a root (\\x\\tag\\file.hpp) are found");
    command->add_option("--exclude", options->exclude, "File names or *.ext items to leave out, separated by commas");
    command->add_flag("--check-models", options->checkModels,
                      "Open every model first; list the textures and materials its faces name that are neither in "
                      "the folder nor under -I, and stop if there are any");
    command->add_option("--mtime", options->mtime, "Write this time (seconds since 1970) for every entry");
    command->add_flag("--reference", options->reference,
                      "Compile config.cpp files exactly as the library does by default: no extended syntax, and the "
                      "inline style when the text chooses none (KerN style for the styles kern-nosha, regal and kern)");
    command->callback([options, &tool] { tool.status = pack(tool, *options); });
}

}  // namespace vex

// vex pack: an archive built from a folder, in the style of one generation of tools.
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/NamePatterns.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/VexDLL.h"
#include "archivefile/model/P3dHeader.h"
#include "tools/vex/Batch.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/ContentKind.h"
#include "tools/vex/PackRecord.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::ArchiveFile;

struct PackOptions {
    std::vector<std::string> folders;
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
    bool onlyChanged = false;
    std::optional<std::int64_t> mtime;
    unsigned jobs = 1;
};

const std::map<std::string, int>& styles() {
    static const std::map<std::string, int> names{
        {"kqm", ArchiveFile::StyleKqm},          {"vanguard", ArchiveFile::StyleVanguard},
        {"kern-nosha", ArchiveFile::StyleKernNoSha}, {"regal", ArchiveFile::StyleRegal},
        {"kern", ArchiveFile::StyleKern},
    };
    return names;
}

// The folder, or the line that says why it cannot be packed and what was likely meant.
int checkFolder(Tool& tool, const std::string& folder) {
    const std::string native = archivefile::paths::native(folder);
    if (archivefile::Platform::isFolder(native)) return Success;
    if (!archivefile::Platform::isFile(native)) {
        if (archivefile::Platform::fileSize(native)) return tool.fail(folder + " is a pipe or a device, not a folder");
        return tool.fail(folder + ": no such folder");
    }
    const std::filesystem::path stem = std::filesystem::path(folder).replace_extension();
    if (archivefile::Platform::isFolder(archivefile::paths::native(stem.string())))
        return tool.fail(folder + " is a file, not a folder; did you mean " + stem.string() + "?");
    const std::optional<ContentKind> kind = ContentKind::of(folder, "archive");
    if (kind && kind->id == "archive")
        return tool.fail(folder + " is an archive, not a folder; 'vex unpack " + folder + "' extracts it");
    return tool.fail(folder + " is a file, not a folder");
}

// The archive's name when -o names a folder: the folder's own, however the folder was named ("mod/",
// ".", "..").
std::string archiveName(const std::string& folder) {
    std::filesystem::path path = std::filesystem::absolute(folder).lexically_normal();
    if (!path.has_filename()) path = path.parent_path();
    return path.filename().string() + ".pbo";
}

// Packs `folder`; with --only-changed, `shaping` is the text of the options that shape the archive.
int packOne(Tool& tool, const PackOptions& options, const std::string& shaping, const std::string& folder) {
    if (const int status = checkFolder(tool, folder); status != Success) return status;
    const std::string name = archiveName(folder);

    // "-o -" builds the archive in a temporary file first: an archive is written out of order.
    const bool toStandardOutput = options.output == "-";
    std::string output = options.output.empty() ? std::string() : Tool::outputIn(options.output, name);
    if (toStandardOutput) {
        if (const int status = tool.binaryToStandardOutput(); status != Success) return status;
        std::string error;
        if (!tool.temporaryFolder().pathFor(name, output, error)) return tool.fail(error);
    }
    std::optional<PackRecord> record;
    if (options.onlyChanged && !toStandardOutput) {
        record = PackRecord::of(folder, shaping, output);
        if (const std::optional<std::string> archive = record ? record->upToDateArchive() : std::nullopt) {
            if (!tool.quiet) tool.note((output.empty() ? *archive : output) + " is up to date");
            return Success;
        }
    }

    ArchiveFile& archive = *tool.root().archiveFile();
    int flags = styles().at(options.style);
    if (options.compress) flags |= ArchiveFile::CompressEntries;
    if (!options.binarize) flags |= ArchiveFile::KeepConfigText;
    if (options.checkModels) flags |= ArchiveFile::CheckModels;
    archive.setBuildTime(options.mtime);
    archive.setIncludeRoot(options.includeRoot.c_str());
    archive.setCompileCallback(tool.detailCallback());
    archive.setConfigOptions(configOptions(options.reference));
    archivefile::NamePatterns exclusion(options.exclude);
    archive.setExclusion(exclusion.empty() ? nullptr : &exclusion);
    archive.setProgress(&tool.progress());
    const archivefile::Progress::Counts before = tool.progress().done();
    const int code = archive.MakePboNew(folder.c_str(), flags, output.c_str(), tool.callback(),
                                        options.noCompress.c_str(), options.prefix.c_str());
    archive.setExclusion(nullptr);
    for (const std::string& pattern : exclusion.unmatched())
        tool.warn(folder + ": no file matches --exclude '" + pattern + "'");
    if (code == archivefile::AE_RapError) {
        // A config that does not compile: its error, and where it stands, under the build's.
        archivefile::Rapify& compiler = *tool.root().rapify();
        const int status = tool.report(code, folder + ": " + archive.ErrorString(code) + ": " +
                                                 compiler.ErrorString(compiler.ErrorCode()));
        printConfigErrorPlace(compiler);
        return status;
    }
    if (code != archivefile::AE_NoError) return tool.report(code, folder + ": " + archive.ErrorString(code));

    const std::string& built = archive.builtArchive();
    const std::uint64_t entries = tool.progress().done().files - before.files;
    std::error_code ignored;
    const std::string what = std::to_string(entries) + (entries == 1 ? " entry, " : " entries, ") +
                             Tool::sizeText(std::filesystem::file_size(built, ignored));
    if (toStandardOutput) {
        if (const int status = tool.copyToStandardOutput(built); status != Success) return status;
        tool.wrote("standard output", what);
        return Success;
    }
    if (record && !record->keep(built)) tool.warn("cannot keep a record of " + built + "; --only-changed will pack it again");
    tool.wrote(built, what);
    return Success;
}

// Every option that shapes the bytes of an archive, with the build of vex that made it and the state
// of the include root, which configs may read from.
std::string shapingOptionsOf(const PackOptions& options) {
    std::string text = std::string(archivefile::VexDLL::buildText()) + '\n' + options.style + '\n' + options.prefix +
                       '\n' + options.noCompress + '\n' + options.exclude + '\n' + (options.compress ? "c" : "-") +
                       (options.binarize ? "b" : "-") + (options.checkModels ? "m" : "-") +
                       (options.reference ? "r" : "-") + '\n' +
                       (options.mtime ? std::to_string(*options.mtime) : std::string()) + '\n' + options.includeRoot;
    if (!options.includeRoot.empty()) text += '\n' + PackRecord::stateOf(options.includeRoot);
    return text;
}

int pack(Tool& tool, const PackOptions& options) {
    for (const std::string& folder : options.folders)
        if (folder == "-") return tool.usage("vex pack reads a folder; standard input cannot be one");
    // Unpacking would refuse such a prefix; better to hear it before the archive is made.
    if (archivefile::paths::prefixLeavesFolder(options.prefix))
        return tool.usage("--prefix " + options.prefix + " leads outside the folder it is unpacked into: a prefix "
                          "has no drive, no \"..\" part and no device name");
    if (const int status = Batch::checkOutput(tool, options.folders, options.output); status != Success) return status;
    if (options.folders.size() > 1) {
        // Two folders of one name would write the same archive, each over the other.
        std::map<std::string, std::string> written;
        for (const std::string& folder : options.folders) {
            if (options.output.empty()) continue;
            const std::string target = Tool::outputIn(options.output, archiveName(folder));
            const auto [earlier, added] = written.emplace(std::filesystem::absolute(target).lexically_normal().string(), folder);
            if (!added) return tool.usage(earlier->second + " and " + folder + " would both be packed into " + target);
        }
    }
    const std::string shaping = options.onlyChanged ? shapingOptionsOf(options) : std::string();
    // A checked model of kind 58 would print its prefix on standard output, which carries no data
    // here and must stay silent with -q; the model's type line already names it as checked.
    archivefile::P3dHeader::setK3PrefixOutput(nullptr);
    Batch batch(tool, options.jobs, "folders", options.onlyChanged ? "packed or up to date" : "packed");
    return batch.run(options.folders, [&options, &shaping](Tool& worker, const std::string& folder) {
        return packOne(worker, options, shaping, folder);
    });
}

}  // namespace

void addPackCommand(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<PackOptions>();
    CLI::App* command = app.add_subcommand("pack", "Build an archive from each folder");
    command->add_option("FOLDER", options->folders, "The folders to pack")->required();
    command->add_option("-o,--output", options->output,
                        "The archive to write, or the folder to write FOLDER.pbo in (an existing one, or any name "
                        "ending in /), or - for standard output (default: beside each folder, named after it)");
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
    command->add_option("--exclude", options->exclude,
                        "Leave out the files that these shell patterns, separated by commas, match: a pattern "
                        "without / against each name and folder name (*.bak, work), one with / against the path "
                        "(data/*.tga); case is ignored");
    command->add_flag("--check-models", options->checkModels,
                      "Open every model first; list the textures and materials its faces name that are neither in "
                      "the folder nor under -I, and stop if there are any");
    command->add_option("--mtime", options->mtime, "Write this time (seconds since 1970) for every entry");
    command->add_flag("--reference", options->reference,
                      "Compile config.cpp files exactly as the library does by default: no extended syntax, and the "
                      "inline style when the text chooses none (KerN style for the styles kern-nosha, regal and kern)");
    command->add_flag("--only-changed", options->onlyChanged,
                      "Leave an archive as it is when nothing in its folder (files, sizes, times) nor any option has "
                      "changed since vex built it; the record of each build is kept in the user's cache folder");
    Batch::addJobsOption(*command, options->jobs);
    tool.setAction(*command, [options, &tool] { return pack(tool, *options); });
}

}  // namespace vex

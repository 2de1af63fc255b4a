// vex list and vex unpack: an archive's header report and entries, and extraction of archives.
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/NamePatterns.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/Sha1.h"
#include "tools/vex/Batch.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/JsonOutput.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::ArchiveFile;
using nlohmann::ordered_json;

struct ListOptions {
    std::string archive;
    bool brief = false;
};

struct UnpackOptions {
    std::vector<std::string> archives;
    std::string output;
    std::string files;
    bool decode = false;
    bool ignorePrefix = false;
    bool strict = false;
    bool brief = false;
    bool reference = false;
    unsigned jobs = 1;
};

// A file that exists is opened as it is named; a name without one may still mean NAME.pbo.
int openFlags(const std::string& path) {
    return archivefile::Platform::isFile(archivefile::paths::native(path)) ? ArchiveFile::OpenAsNamed : 0;
}

// The lines the library reports while the JSON listing is made; they become its warnings.
std::string collectedLines;

bool collectLine(const char* text, ...) {
    collectedLines += text;
    return true;
}

std::vector<std::string> linesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find_first_of("\r\n");
        if (end != 0) lines.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    return lines;
}

// The report words a title and a content line as text with a trailing blank or line end.
std::string trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    return std::string(text);
}

ordered_json fieldsOf(const ArchiveFile& archive, const std::string& path) {
    ordered_json properties = ordered_json::array();
    for (const archivefile::TokenPair& property : archive.properties())
        properties.push_back({{"name", property.name.GetName()}, {"value", property.value.GetName()}});
    const std::string digest = archivefile::Sha1::hexText(archive.storedDigest());
    const int type = archive.GetPboType();
    const bool sha = type == ArchiveFile::TypePrefixSha || type == ArchiveFile::TypeShaNoPrefix;
    return {{"path", path},
            {"type", type},
            {"title", trimmed(archive.typeTitle())},
            {"content", trimmed(archive.contentLine())},
            {"prefix", archive.HasPrefix() ? ordered_json(archive.GetPrefix()) : ordered_json()},
            {"properties", std::move(properties)},
            {"sha", sha ? ordered_json(digest) : ordered_json()},
            {"checksum", type == ArchiveFile::TypePrefixChecksum ? ordered_json(digest) : ordered_json()},
            {"strangeValues", archive.strangeValues() != 0 ? ordered_json(archive._StrangeValuesStr()) : ordered_json()}};
}

ordered_json entriesOf(const ArchiveFile& archive) {
    ordered_json entries = ordered_json::array();
    for (const archivefile::pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
        entries.push_back({{"name", entry->name()},
                           {"time", entry->timeStamp()},
                           {"size", entry->realSize()},
                           {"dataSize", entry->dataSize()},
                           {"compressed", entry->isCompressed()}});
    }
    return entries;
}

int listAsJson(ArchiveFile& archive, const std::string& name, const std::string& path) {
    collectedLines.clear();
    // The header report is not sent: its parts become fields. What is sent are the warnings.
    const int code = archive.OpenPbo(path.c_str(), collectLine, ArchiveFile::Brief | openFlags(path));
    ordered_json warnings = ordered_json::array();
    for (const std::string& line : linesOf(collectedLines)) warnings.push_back(line);
    const ordered_json error = code == archivefile::AE_NoError
                                   ? ordered_json()
                                   : ordered_json{{"code", code}, {"message", archive.ErrorString(code)}};
    JsonOutput::print({{"kind", "archive"},
                       {"fields", fieldsOf(archive, name)},
                       {"entries", entriesOf(archive)},
                       {"warnings", std::move(warnings)},
                       {"error", error}});
    archive.ClosePbo();
    return code == archivefile::AE_NoError ? Success : Failure;
}

int list(Tool& tool, const ListOptions& options) {
    ArchiveFile& archive = *tool.root().archiveFile();
    std::string path;
    if (const int status = tool.input(options.archive, Expected::Archive, path, ".pbo"); status != Success)
        return status;
    // A long checksum is checked in pieces, and a cancel is noticed between them.
    archive.setProgress(&tool.progress());
    if (tool.json) return listAsJson(archive, options.archive, path);
    const int flags = ArchiveFile::ListOnly | (options.brief ? ArchiveFile::Brief : 0) | openFlags(path);
    // The listing is the command's data: it goes to standard output once it is known to be whole.
    const int code = archive.ExtractPbo(path.c_str(), tool.dataCallback(), flags);
    tool.printData(code == archivefile::AE_NoError);
    return tool.report(code, options.archive + ": " + archive.ErrorString(code));
}

int unpackOne(Tool& tool, const UnpackOptions& options, const std::string& name, int flags) {
    ArchiveFile& archive = *tool.root().archiveFile();
    archive.setConfigOptions(configOptions(options.reference));
    std::string path;
    if (const int status = tool.input(name, Expected::Archive, path, ".pbo"); status != Success) return status;
    archivefile::NamePatterns selection(options.files);
    archive.setSelection(selection.empty() ? nullptr : &selection);
    archive.setProgress(&tool.progress());
    const archivefile::Progress::Counts doneBefore = tool.progress().done();
    const archivefile::Progress::Counts totalBefore = tool.progress().total();
    const int code = archive.ExtractPbo(path.c_str(), tool.callback(), flags | openFlags(path), nullptr,
                                        options.output.c_str());
    archive.setSelection(nullptr);
    const std::uint64_t files = tool.progress().done().files - doneBefore.files;
    const std::uint64_t bytes = tool.progress().done().bytes - doneBefore.bytes;
    const std::string& folder = archive.extractionFolder();
    // A cancel that came after the last file changed nothing: the archive is whole on disk.
    if (code != archivefile::AE_NoError && tool.cancelled()) {
        // Said only once extraction had begun: a cancel while the archive was opened wrote nothing.
        const std::uint64_t selected = tool.progress().total().files - totalBefore.files;
        if (selected > 0)
            tool.note(name + ": stopped after writing " + std::to_string(files) + " of " + std::to_string(selected) +
                      " files in " + folder);
        return Cancelled;
    }
    for (const std::string& pattern : selection.unmatched()) tool.warn(name + ": no entry matches --files '" + pattern + "'");
    if (files > 0) tool.wrote(folder, std::to_string(files) + (files == 1 ? " file, " : " files, ") + Tool::sizeText(bytes));
    return tool.report(code, name + ": " + archive.ErrorString(code));
}

int unpack(Tool& tool, const UnpackOptions& options) {
    if (options.output.empty()) {
        for (const std::string& name : options.archives)
            if (name == "-") return tool.usage("an archive from standard input is unpacked only where -o names");
    }
    int flags = 0;
    if (options.ignorePrefix) flags |= ArchiveFile::IgnorePrefix;
    // Only binarised configs become text: every other entry keeps its bytes, so that packing the
    // folder again gives the same archive.
    if (options.decode) flags |= ArchiveFile::DecodeText | (options.reference ? 0 : ArchiveFile::KeepText);
    if (options.brief) flags |= ArchiveFile::Brief;
    if (options.strict) flags |= ArchiveFile::Strict;
    Batch batch(tool, options.jobs, "archives", "unpacked");
    return batch.run(options.archives, [&options, flags](Tool& worker, const std::string& name) {
        return unpackOne(worker, options, name, flags);
    });
}

}  // namespace

void addArchiveCommands(CLI::App& app, Tool& tool) {
    auto listing = std::make_shared<ListOptions>();
    CLI::App* listCommand = app.add_subcommand("list", "List an archive's header report and entries");
    listCommand->add_option("ARCHIVE", listing->archive, "The archive (.pbo; - for standard input)")->required();
    listCommand->add_flag("--brief", listing->brief, "Only the entries' names, without the header report");
    listCommand->add_flag("--json", tool.json,
                          "One JSON object with the keys kind, fields, entries, warnings and error");
    tool.setAction(*listCommand, [listing, &tool] { return list(tool, *listing); }, true);

    auto unpacking = std::make_shared<UnpackOptions>();
    CLI::App* unpackCommand = app.add_subcommand("unpack", "Extract archives into folders");
    unpackCommand->add_option("ARCHIVE", unpacking->archives, "The archives (.pbo; - for standard input, with -o)")
        ->required();
    unpackCommand->add_option("-o,--output", unpacking->output,
                              "Extract under this folder (default: beside each archive, in a folder named after it)");
    unpackCommand->add_flag("-d,--decode", unpacking->decode,
                            "Turn binarised configs into text; config.bin is written as config.cpp, and every other "
                            "entry keeps its bytes");
    unpackCommand->add_option("--files", unpacking->files,
                              "Only the entries that these shell patterns, separated by commas, match: a pattern "
                              "without / against each name and folder name (*.p3d, data), one with / against "
                              "the path (data/*.paa); case is ignored");
    unpackCommand->add_flag("--ignore-prefix", unpacking->ignorePrefix,
                            "Extract into a folder named after the archive instead of the prefix path");
    unpackCommand->add_flag("--strict", unpacking->strict,
                            "A wrong or missing checksum, residual bytes or an empty selection is an error");
    unpackCommand->add_flag("--brief", unpacking->brief, "No header report and no prefix-file lines");
    Batch::addJobsOption(*unpackCommand, unpacking->jobs);
    unpackCommand->add_flag("--reference", unpacking->reference,
                            "Decode exactly as the library does by default: texts with a byte-order mark are "
                            "converted, anything beginning with a zero byte is taken for a binarised config, and "
                            "array-append entries are refused");
    tool.setAction(*unpackCommand, [unpacking, &tool] { return unpack(tool, *unpacking); });
}

}  // namespace vex

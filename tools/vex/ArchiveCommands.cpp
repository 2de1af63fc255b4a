// vex list and vex unpack: an archive's header report and entries, and extraction of archives.
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "archivefile/archive/ArchiveFile.h"
#include "tools/vex/ConfigSupport.h"
#include "tools/vex/JsonWriter.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::ArchiveFile;

struct ListOptions {
    std::string archive;
    bool brief = false;
    bool json = false;
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
};

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

void writeFields(JsonWriter& json, const ArchiveFile& archive, const std::string& path) {
    json.key("fields");
    json.beginObject();
    json.key("path");
    json.value(path);
    json.key("type");
    json.value(std::int64_t{archive.GetPboType()});
    json.key("title");
    json.value(trimmed(archive.typeTitle()));
    json.key("content");
    json.value(trimmed(archive.contentLine()));
    json.key("prefix");
    if (archive.HasPrefix()) json.value(archive.GetPrefix());
    else json.null();
    json.key("properties");
    json.beginArray();
    for (const archivefile::TokenPair& property : archive.properties()) {
        json.beginObject();
        json.key("name");
        json.value(property.name.GetName());
        json.key("value");
        json.value(property.value.GetName());
        json.endObject();
    }
    json.endArray();
    const std::string digest = archivefile::Sha1::hexText(archive.storedDigest());
    const int type = archive.GetPboType();
    json.key("sha");
    if (type == ArchiveFile::TypePrefixSha || type == ArchiveFile::TypeShaNoPrefix) json.value(digest);
    else json.null();
    json.key("checksum");
    if (type == ArchiveFile::TypePrefixChecksum) json.value(digest);
    else json.null();
    json.key("strangeValues");
    if (archive.strangeValues() != 0) json.value(archive._StrangeValuesStr());
    else json.null();
    json.endObject();
}

void writeEntries(JsonWriter& json, const ArchiveFile& archive) {
    json.key("entries");
    json.beginArray();
    for (const archivefile::pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
        json.beginObject();
        json.key("name");
        json.value(entry->name());
        json.key("time");
        json.value(std::int64_t{entry->timeStamp()});
        json.key("size");
        json.value(std::int64_t{entry->realSize()});
        json.key("dataSize");
        json.value(std::int64_t{entry->dataSize()});
        json.key("compressed");
        json.value(entry->isCompressed());
        json.endObject();
    }
    json.endArray();
}

int listAsJson(ArchiveFile& archive, const ListOptions& options) {
    collectedLines.clear();
    // The header report is not sent: its parts become fields. What is sent are the warnings.
    const int code = archive.OpenPbo(options.archive.c_str(), collectLine, ArchiveFile::Brief);
    JsonWriter json;
    json.beginObject();
    json.key("kind");
    json.value("archive");
    writeFields(json, archive, options.archive);
    writeEntries(json, archive);
    json.key("warnings");
    json.beginArray();
    for (const std::string& line : linesOf(collectedLines)) json.value(line);
    json.endArray();
    json.key("error");
    if (code == archivefile::AE_NoError) {
        json.null();
    } else {
        json.beginObject();
        json.key("code");
        json.value(std::int64_t{code});
        json.key("message");
        json.value(archive.ErrorString(code));
        json.endObject();
    }
    json.endObject();
    archive.ClosePbo();
    std::printf("%s\n", json.text().c_str());
    return code == archivefile::AE_NoError ? Success : Failure;
}

int list(Tool& tool, const ListOptions& options) {
    ArchiveFile* handler = tool.root().archiveFile();
    if (handler == nullptr) return tool.fail("the archive handler is not available");
    ArchiveFile& archive = *handler;
    if (options.json) return listAsJson(archive, options);
    const int flags = ArchiveFile::ListOnly | (options.brief ? ArchiveFile::Brief : 0);
    // The listing is the command's data, so the library's lines go to standard output.
    const int code = archive.ExtractPbo(options.archive.c_str(), tool.callback(true), flags);
    return tool.report(code, options.archive + ": " + archive.ErrorString(code));
}

int unpack(Tool& tool, const UnpackOptions& options) {
    ArchiveFile* handler = tool.root().archiveFile();
    if (handler == nullptr) return tool.fail("the archive handler is not available");
    ArchiveFile& archive = *handler;
    int flags = 0;
    if (options.ignorePrefix) flags |= ArchiveFile::IgnorePrefix;
    // Only binarised configs become text: every other entry keeps its bytes, so that packing the
    // folder again gives the same archive.
    if (options.decode) flags |= ArchiveFile::DecodeText | (options.reference ? 0 : ArchiveFile::KeepText);
    archive.setConfigOptions(configOptions(options.reference));
    if (options.brief) flags |= ArchiveFile::Brief;
    if (options.strict) flags |= ArchiveFile::Strict;
    int status = Success;
    // Every archive is tried; one that fails does not stop the others.
    for (const std::string& path : options.archives) {
        const int code = archive.ExtractPbo(path.c_str(), tool.callback(), flags, options.files.c_str(),
                                            options.output.c_str());
        if (code == archivefile::AE_UserCancelled) return tool.report(code, archive.ErrorString(code));
        if (tool.report(code, path + ": " + archive.ErrorString(code)) != Success) status = Failure;
    }
    return status;
}

}  // namespace

void addArchiveCommands(CLI::App& app, Tool& tool) {
    auto listing = std::make_shared<ListOptions>();
    CLI::App* listCommand = app.add_subcommand("list", "List an archive's header report and entries");
    listCommand->add_option("ARCHIVE", listing->archive, "The archive (.pbo)")->required();
    listCommand->add_flag("--brief", listing->brief, "Only the entries' names, without the header report");
    listCommand->add_flag("--json", listing->json,
                          "One JSON object with the keys kind, fields, entries, warnings and error");
    listCommand->callback([listing, &tool] { tool.status = list(tool, *listing); });

    auto unpacking = std::make_shared<UnpackOptions>();
    CLI::App* unpackCommand = app.add_subcommand("unpack", "Extract archives into folders");
    unpackCommand->add_option("ARCHIVE", unpacking->archives, "The archives (.pbo)")->required();
    unpackCommand->add_option("-o,--output", unpacking->output,
                              "Extract under this folder (default: beside each archive, in a folder named after it)");
    unpackCommand->add_flag("-d,--decode", unpacking->decode,
                            "Turn binarised configs into text; config.bin is written as config.cpp, and every other "
                            "entry keeps its bytes");
    unpackCommand->add_option("--files", unpacking->files,
                              "Only these entries: comma-separated file names, or *.ext for an extension");
    unpackCommand->add_flag("--ignore-prefix", unpacking->ignorePrefix,
                            "Extract into a folder named after the archive instead of the prefix path");
    unpackCommand->add_flag("--strict", unpacking->strict,
                            "A wrong or missing checksum, residual bytes or an empty selection is an error");
    unpackCommand->add_flag("--brief", unpacking->brief, "No header report and no prefix-file lines");
    unpackCommand->add_flag("--reference", unpacking->reference,
                            "Decode exactly as the library does by default: texts with a byte-order mark are "
                            "converted, anything beginning with a zero byte is taken for a binarised config, and "
                            "array-append entries are refused");
    unpackCommand->callback([unpacking, &tool] { tool.status = unpack(tool, *unpacking); });
}

}  // namespace vex

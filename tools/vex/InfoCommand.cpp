// vex info: what each file is, found from its content, and what its handler reports about it.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/model/P3dHeader.h"
#include "tools/vex/InfoKinds.h"
#include "tools/vex/JsonOutput.h"
#include "tools/vex/TerminalText.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using nlohmann::ordered_json;
using archivefile::Platform;

struct InfoOptions {
    std::vector<std::string> files;
    bool recursive = false;
    bool strict = false;
};

// The kind of a file that no entry of the table recognises, and how the text output words it.
constexpr const char* UnknownKind = "unknown";
const char* textOf(const std::string& kind) { return kind == UnknownKind ? "not a file this tool reads" : kind.c_str(); }

struct FailedFile {
    std::string path;
    int code;
    std::string message;
};

class Survey {
public:
    Survey(Tool& tool, const InfoOptions& options) : tool_(tool), options_(options), json_(tool.json) {}

    // Describes every file named (and, with -r, every file below the folders named). False once the
    // user has cancelled.
    bool run() {
        for (const std::string& name : options_.files) {
            if (name == "-") {
                std::string path;
                if (tool_.input(name, Expected::Any, path) != Success) {
                    failures_.push_back({name, archivefile::GE_InvalidFile, "standard input cannot be read"});
                    continue;
                }
                if (!describe(path, name)) return false;
                continue;
            }
            const std::string path = archivefile::paths::native(name);
            if (!Platform::isFolder(path)) {
                if (!describe(name, name)) return false;
                continue;
            }
            if (!options_.recursive) {
                notRead(name, "is a folder; -r describes the files below it");
                continue;
            }
            std::vector<Platform::FolderItem> items;
            std::string unreadable;
            if (!Platform::walkFolder(path, items, unreadable)) notRead(unreadable, "cannot read");
            std::sort(items.begin(), items.end(),
                      [](const auto& a, const auto& b) { return a.relativePath < b.relativePath; });
            const std::string folder = name.back() == '/' ? name : name + "/";
            for (const Platform::FolderItem& item : items)
                if (!describe(folder + item.relativePath, folder + item.relativePath)) return false;
        }
        return true;
    }

    void printSummary() const {
        if (json_) {
            ordered_json kinds = ordered_json::object();
            for (const auto& [kind, count] : countsInTableOrder()) kinds[kind] = count;
            ordered_json failures = ordered_json::array();
            for (const FailedFile& failure : failures_)
                failures.push_back({{"path", failure.path}, {"code", failure.code}, {"message", failure.message}});
            print({{"summary", {{"files", files_}, {"kinds", std::move(kinds)}, {"failed", std::move(failures)}}}});
            return;
        }
        std::printf("%zu files\n", files_);
        for (const auto& [kind, count] : countsInTableOrder()) std::printf("  %s: %zu\n", textOf(kind), count);
        std::printf("%zu failed\n", failures_.size());
        for (const FailedFile& failure : failures_)
            std::printf("  %s: %s (code %d)\n", TerminalText::forStandardOutput(failure.path).c_str(),
                        failure.message.c_str(), failure.code);
    }

    bool anyFailed() const { return !failures_.empty(); }

private:
    // The kinds met, in the order of the table, the unknown last.
    std::vector<std::pair<std::string, std::size_t>> countsInTableOrder() const {
        std::vector<std::pair<std::string, std::size_t>> ordered;
        const auto add = [&](const std::string& kind) {
            if (const auto found = counts_.find(kind); found != counts_.end()) ordered.emplace_back(kind, found->second);
        };
        for (const InfoKind& kind : infoKinds()) add(kind.name);
        add(UnknownKind);
        return ordered;
    }

    // Describes the file at `path`, named `name` in what is printed. False once the user has cancelled:
    // a cancel reaches a handler through its callback, but files that no handler reports on give no
    // callback the chance, and each handler words the cancel with a code of its own.
    bool describe(const std::string& path, const std::string& name) {
        if (tool_.cancelled()) return false;
        ++files_;
        InfoInput input;
        std::string error;
        // Devices and pipes are not opened: reading one could wait for ever.
        const std::string native = archivefile::paths::native(path);
        if (!Platform::isFile(native)) {
            notRead(name, Platform::fileSize(native) ? "not a regular file" : "no such file");
            return true;
        }
        if (!input.open(path, error)) {
            notRead(name, error);
            return true;
        }
        const std::span<const InfoKind> kinds = infoKinds();
        const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const InfoKind& each) { return each.recognise(input); });
        const std::string kindName = kind != kinds.end() ? kind->name : UnknownKind;
        ++counts_[kindName];

        Description description;
        description.brief = json_;
        description.strict = options_.strict;
        if (kind != kinds.end()) kind->describe(tool_, input, description);
        if (tool_.cancelled()) return false;

        if (json_) {
            print(object(name, kindName, kind != kinds.end(), description));
        } else {
            std::printf("%s: %s\n", TerminalText::forStandardOutput(name).c_str(), textOf(kindName));
            for (const std::string& line : description.lines)
                std::printf("  %s\n", TerminalText::forStandardOutput(line).c_str());
        }
        if (description.code != 0) failed(name, description.code, description.message);
        return true;
    }

    // The keys are the same for every file, whatever its kind; `kind` is null for a name that could
    // not be read.
    static ordered_json object(const std::string& path, const ordered_json& kind, bool described,
                               Description& description) {
        ordered_json error = description.code == 0
                                 ? ordered_json()
                                 : ordered_json{{"code", description.code}, {"message", description.message}};
        return {{"path", path},
                {"kind", kind},
                {"described", described},
                {"fields", std::move(description.fields)},
                {"entries", std::move(description.entries)},
                {"warnings", std::move(description.warnings)},
                {"error", std::move(error)}};
    }

    // A name that is no file to read (a folder without -r, a device, nothing at all) is a failure;
    // with --json it still has its object.
    void notRead(const std::string& path, const std::string& message) {
        if (json_) {
            Description description;
            description.code = archivefile::GE_InvalidFile;
            description.message = message;
            print(object(path, nullptr, false, description));
        }
        failed(path, archivefile::GE_InvalidFile, message);
    }

    void failed(const std::string& path, int code, const std::string& message) {
        failures_.push_back({path, code, message});
        // Standard output may be a file or a pipe; the error is seen at once on standard error.
        std::fflush(stdout);
        tool_.report(code, path + ": " + message);
    }

    static void print(const ordered_json& object) { JsonOutput::print(object); }

    Tool& tool_;
    const InfoOptions& options_;
    const bool json_;
    std::size_t files_ = 0;
    std::map<std::string, std::size_t> counts_;
    std::vector<FailedFile> failures_;
};

int info(Tool& tool, const InfoOptions& options) {
    // The prefix line that kind-58 models print would land between reports, or break the JSON; the
    // model's description carries it instead.
    archivefile::P3dHeader::setK3PrefixOutput(nullptr);
    Survey survey(tool, options);
    const bool finished = survey.run();
    if (!finished) return tool.cancelled() ? Cancelled : Failure;
    if (options.recursive) survey.printSummary();
    return survey.anyFailed() ? Failure : Success;
}

}  // namespace

void addInfoCommand(CLI::App& app, Tool& tool) {
    auto options = std::make_shared<InfoOptions>();
    CLI::App* command = app.add_subcommand(
        "info", "Tell what each file is, from its content, and describe it: archives, binarised configs, models, "
                "textures, texture indexes, sounds and fonts");
    command->add_option("FILE", options->files, "Files, or folders with -r (- for standard input)")->required();
    command->add_flag("--json", tool.json,
                      "One JSON object per file with the keys path, kind, described, fields, entries, warnings and "
                      "error (and a last object with the key summary, with -r)");
    command->add_flag("-r,--recursive", options->recursive,
                      "Describe every file below the folders named, then count them by kind and list the failures");
    command->add_flag("--strict", options->strict,
                      "An archive without its checksum or with bytes after its data is a failure, not a warning");
    tool.setAction(*command, [options, &tool] { return info(tool, *options); }, true);
}

}  // namespace vex

// vex info: what each file is, found from its content, and what its handler reports about it.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/model/P3dHeader.h"
#include "tools/vex/Batch.h"
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
    unsigned jobs = 1;
};

// The kind of a file that no entry of the table recognises, and how the text output words it.
constexpr const char* UnknownKind = "unknown";
const char* textOf(const std::string& kind) { return kind == UnknownKind ? "not a file this tool reads" : kind.c_str(); }

struct FailedFile {
    std::string path;
    int code;
    std::string message;
};

// One name to look at, in the order of the output.
struct Look {
    std::string path;  // what is read
    std::string name;  // how the output names it
    // Why it is not read at all (a folder without -r, a part of a tree that cannot be read).
    std::string refusal;
    // Standard input that could not be kept: vex has said so already.
    bool unkept = false;
};

// What looking at one name gave.
struct Finding {
    std::string output;    // for standard output: the report, or the JSON object's line
    bool counted = false;  // whether it is a file, counted in the summary
    std::string kind;      // the kind counted; empty for a file that could not be read
    std::optional<FailedFile> failure;
    bool reported = true;  // whether the failure still has to be told on standard error
};

class Survey {
public:
    Survey(Tool& tool, const InfoOptions& options) : tool_(tool), options_(options), json_(tool.json) {}

    // Describes every file named (and, with -r, every file below the folders named), on as many
    // threads as -j allows; the output keeps the order of the names. False once the user has cancelled.
    bool run() {
        const std::vector<Look> looks = gather();
        std::vector<std::optional<Finding>> findings(looks.size());
        std::size_t nextShown = 0;
        std::mutex showing;
        bool finished = true;
        Batch batch(tool_, options_.jobs, "files", "described");
        batch.forEach(looks.size(), [&](Tool& tool, std::size_t index) {
            std::optional<Finding> finding = examine(tool, looks[index]);
            const std::lock_guard lock(showing);
            if (!finding) {
                finished = false;
                return false;
            }
            findings[index] = std::move(finding);
            // Each finding is shown once all before it are.
            for (; nextShown < findings.size() && findings[nextShown]; ++nextShown) {
                show(*findings[nextShown]);
                findings[nextShown].reset();
            }
            return true;
        });
        return finished && nextShown == looks.size();
    }

    void printSummary() const {
        if (json_) {
            ordered_json kinds = ordered_json::object();
            for (const auto& [kind, count] : countsInTableOrder()) kinds[kind] = count;
            ordered_json failures = ordered_json::array();
            for (const FailedFile& failure : failures_)
                failures.push_back({{"path", failure.path}, {"code", failure.code}, {"message", failure.message}});
            JsonOutput::print({{"summary", {{"files", files_}, {"kinds", std::move(kinds)}, {"failed", std::move(failures)}}}});
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
    // Every name to look at, folders walked, in the order of the output.
    std::vector<Look> gather() {
        std::vector<Look> looks;
        for (const std::string& name : options_.files) {
            if (name == "-") {
                std::string path;
                const bool kept = tool_.input(name, Expected::Any, path) == Success;
                looks.push_back({path, name, {}, !kept});
                continue;
            }
            const std::string path = archivefile::paths::native(name);
            if (!Platform::isFolder(path)) {
                looks.push_back({name, name, {}, false});
                continue;
            }
            if (!options_.recursive) {
                looks.push_back({name, name, "is a folder; -r describes the files below it", false});
                continue;
            }
            std::vector<Platform::FolderItem> items;
            std::string unreadable;
            if (!Platform::walkFolder(path, items, unreadable)) looks.push_back({unreadable, unreadable, "cannot read", false});
            std::sort(items.begin(), items.end(),
                      [](const auto& a, const auto& b) { return a.relativePath < b.relativePath; });
            const std::string folder = name.back() == '/' ? name : name + "/";
            for (const Platform::FolderItem& item : items)
                looks.push_back({folder + item.relativePath, folder + item.relativePath, {}, false});
        }
        return looks;
    }

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

    // Looks at one name with `tool` (a worker's). None once the user has cancelled: a cancel reaches
    // a handler through its callback, but files that no handler reports on give no callback the
    // chance, and each handler words the cancel with a code of its own.
    std::optional<Finding> examine(Tool& tool, const Look& look) const {
        if (look.unkept) {
            Finding finding;
            finding.failure = FailedFile{look.name, archivefile::GE_InvalidFile, "standard input cannot be read"};
            finding.reported = false;
            return finding;
        }
        if (!look.refusal.empty()) return notRead(look.name, look.refusal);
        if (tool.cancelled()) return std::nullopt;
        InfoInput input;
        std::string error;
        // Devices and pipes are not opened: reading one could wait for ever.
        const std::string native = archivefile::paths::native(look.path);
        if (!Platform::isFile(native)) return counted(notRead(look.name, Platform::fileSize(native) ? "not a regular file" : "no such file"));
        if (!input.open(look.path, error)) return counted(notRead(look.name, error));
        const std::span<const InfoKind> kinds = infoKinds();
        const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const InfoKind& each) { return each.recognise(input); });

        Finding finding;
        finding.counted = true;
        finding.kind = kind != kinds.end() ? kind->name : UnknownKind;
        Description description;
        description.brief = json_;
        description.strict = options_.strict;
        if (kind != kinds.end()) kind->describe(tool, input, description);
        if (tool.cancelled()) return std::nullopt;

        if (json_) {
            finding.output = JsonOutput::text(object(look.name, finding.kind, kind != kinds.end(), description));
        } else {
            finding.output = TerminalText::forStandardOutput(look.name) + ": " + textOf(finding.kind) + "\n";
            for (const std::string& line : description.lines)
                finding.output += "  " + TerminalText::forStandardOutput(line) + "\n";
        }
        if (description.code != 0) finding.failure = FailedFile{look.name, description.code, description.message};
        return finding;
    }

    // A name that was looked at as a file but could not be read counts among the files, of no kind.
    static Finding counted(Finding finding) {
        finding.counted = true;
        return finding;
    }

    // Shows a finding: its output, and its failure on standard error at once, since standard output
    // may be a file or a pipe.
    void show(const Finding& finding) {
        if (finding.counted) ++files_;
        if (!finding.kind.empty()) ++counts_[finding.kind];
        std::fwrite(finding.output.data(), 1, finding.output.size(), stdout);
        if (!finding.failure) return;
        failures_.push_back(*finding.failure);
        if (!finding.reported) return;
        std::fflush(stdout);
        tool_.report(finding.failure->code, finding.failure->path + ": " + finding.failure->message);
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
    Finding notRead(const std::string& path, const std::string& message) const {
        Finding finding;
        if (json_) {
            Description description;
            description.code = archivefile::GE_InvalidFile;
            description.message = message;
            finding.output = JsonOutput::text(object(path, nullptr, false, description));
        }
        finding.failure = FailedFile{path, archivefile::GE_InvalidFile, message};
        return finding;
    }

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
    Batch::addJobsOption(*command, options->jobs);
    command->add_flag("--strict", options->strict,
                      "An archive without its checksum or with bytes after its data is a failure, not a warning");
    tool.setAction(*command, [options, &tool] { return info(tool, *options); }, true);
}

}  // namespace vex

// What every vex command shares: the library root, where the library's lines go, vex's own messages,
// the progress line and the cancel, the files named on the command line, and the exit status.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/foundation/VexFileIO.h"
#include "tools/vex/ProgressLine.h"
#include "tools/vex/TemporaryFolder.h"

namespace vex {

// Exit statuses, the same for the same kind of outcome in every command.
inline constexpr int Success = 0;
inline constexpr int Failure = 1;      // the operation failed, or its output could not be written
inline constexpr int UsageError = 2;   // the command line was wrong
// Escape or Ctrl-C, as shells report an interrupted program; a run stopped by a request to terminate
// or a closed terminal ends with 143 or 129 instead, as the shell would report that signal.
inline constexpr int Cancelled = 130;

// What a command reads; a name that is something else is refused with what it is.
enum class Expected { Archive, BinarisedConfig, ConfigText, Sound, Audio, Texture, Png, Any };

class Tool {
public:
    Tool();
    // A tool for one worker thread of a batch that `owner` runs: a library root of its own, as the
    // library serves one thread per root, and a progress line that adds to the owner's. Options,
    // command words and the temporary folder are the owner's.
    explicit Tool(Tool* owner);
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;

    archivefile::VexDLLExt& root() { return root_; }

    // The command to run once the whole command line is read, and its words for messages ("config
    // compile"); `takesJson` says whether --json means something to it.
    void setAction(CLI::App& command, std::function<int()> action, bool takesJson = false);
    // Runs it and returns the exit status; standard output that cannot be written is a failure.
    int run();
    bool hasAction() const { return static_cast<bool>(action_); }
    const std::string& commandWords() const { return commandWords_; }

    // Where the library's lines go. `callback`: standard error, but nothing with -q. `detailCallback`:
    // the lines of a step inside a larger operation, shown with -v only. `dataCallback`: lines that are
    // the command's data, held back until `printData` knows whether the command succeeded. Each of
    // them stops the operation, with code 9, once the user has asked to cancel.
    archivefile::LogCallback callback() const;
    archivefile::LogCallback detailCallback() const;
    archivefile::LogCallback dataCallback() const;
    // The data held back, after `title`, goes to standard output when `succeeded`; otherwise it
    // explains the failure on standard error (except with -q).
    void printData(bool succeeded, const std::string& title = {}) const;

    // vex's own lines on standard error. `report` gives the exit status for a library result and
    // prints "vex: error: TEXT (code N)" for a failure, or the cancel; `fail` prints
    // "vex: error: TEXT"; `usage` prints "vex: TEXT (see 'vex COMMAND --help')".
    int report(int code, const std::string& text) const;
    int fail(const std::string& text) const;
    int usage(const std::string& text) const;
    // "vex: warning: TEXT" and "wrote PATH: WHAT", both left out with -q; "vex: TEXT", always.
    void warn(const std::string& text) const;
    void note(const std::string& text) const;
    void wrote(const std::string& path, const std::string& what) const;
    // Whether the user has asked to stop; then "User cancelled" is printed, once, by the tool that
    // runs the workers (never by a worker, so that it comes after their lines).
    bool cancelled() const;
    // "532 bytes", "3.4 kB", "1.1 GB".
    static std::string sizeText(std::uint64_t bytes);

    ProgressLine& progress() { return progress_; }

    // The path to give the library for a file named on the command line, after checking that it is a
    // file of the expected kind. "-" is standard input, kept in a temporary file named "stdin" with
    // `extension`. Returns Success, or the exit status after the refusal was printed.
    int input(const std::string& name, Expected expected, std::string& path, const char* extension = "");
    // The bytes of a file that `input` gave, or none after the failure was printed.
    std::optional<std::string> contentOf(const std::string& path) const;
    // Where an output goes: `output`, or, when that names a folder (one that exists, or any name that
    // ends in a separator), `name` inside it.
    static std::string outputIn(const std::string& output, const std::string& name);
    // Makes the folders that `path` lies in; false after the failure was printed.
    bool makeFoldersFor(const std::string& path) const;
    // For binary output on standard output ("-o -"): refused on a terminal. Success or the status.
    int binaryToStandardOutput() const;
    // Copies a finished file to standard output. Success, or the status after the failure was printed.
    int copyToStandardOutput(const std::string& path) const;
    TemporaryFolder& temporaryFolder() { return owner_ != nullptr ? owner_->temporaryFolder() : temporaryFolder_; }

    bool quiet = false;
    bool verbose = false;
    bool json = false;

private:
    Tool* owner_ = nullptr;
    archivefile::VexDLLExt root_;
    ProgressLine progress_;
    TemporaryFolder temporaryFolder_;
    std::function<int()> action_;
    std::string commandWords_;
    bool takesJson_ = false;
};

void addConfigDecodeCommand(CLI::App& app, Tool& tool);
void addArchiveCommands(CLI::App& app, Tool& tool);
void addConfigCommands(CLI::App& app, Tool& tool);
void addPackCommand(CLI::App& app, Tool& tool);
void addSoundCommands(CLI::App& app, Tool& tool);

void addInfoCommand(CLI::App& app, Tool& tool);
void addTextureCommands(CLI::App& app, Tool& tool);

}  // namespace vex

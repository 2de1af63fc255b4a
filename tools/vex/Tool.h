// What every vex command shares: the library root, the callbacks that print the library's lines,
// the verbosity switches and the way a failure is reported.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/foundation/VexFileIO.h"

namespace vex {

// Exit statuses: 0 success, 1 the operation failed, 2 the command line was wrong.
inline constexpr int Success = 0;
inline constexpr int Failure = 1;
inline constexpr int UsageError = 2;

class Tool {
public:
    Tool();
    // Ends a line that the library's last message left open on standard error.
    ~Tool();
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;

    archivefile::VexDLLExt& root() { return root_; }

    // Progress and warnings go to standard error (nothing with -q); `toStandardOutput` is for
    // commands whose data are the library's lines, such as a listing.
    archivefile::LogCallback callback(bool toStandardOutput = false) const;
    // For the lines of a step inside a larger operation (the notices of a config compiled while
    // packing): shown only with -v.
    archivefile::LogCallback detailCallback() const;
    // Prints "vex: error: <text> (code N)" and gives the exit status for a library result.
    int report(int code, const std::string& text) const;
    int fail(const std::string& text) const;

    bool quiet = false;
    bool verbose = false;
    // The exit status of the command that ran.
    int status = Success;

private:
    archivefile::VexDLLExt root_;
};

void addConfigDecodeCommand(CLI::App& app, Tool& tool);
void addArchiveCommands(CLI::App& app, Tool& tool);
void addConfigCommands(CLI::App& app, Tool& tool);
void addPackCommand(CLI::App& app, Tool& tool);
void addSoundCommands(CLI::App& app, Tool& tool);

// Prints the report of the sound at `path` (its header and checks, as the library words them) on
// standard output; `strict` refuses doubtful files. Returns the exit status.
int printSoundReport(Tool& tool, const std::string& path, bool strict);
void addInfoCommand(CLI::App& app, Tool& tool);
void addTextureCommands(CLI::App& app, Tool& tool);

}  // namespace vex

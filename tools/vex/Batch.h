// Many inputs of one command (folders to pack, archives to unpack, images to convert) handled on
// several threads at once. Each worker thread has a tool, and so a library root and handlers, of its
// own; the library serves one thread per root and knows nothing of the others. What a worker prints
// for one input is printed in one piece when that input is done, so that inputs never mix their lines.
// One input that fails does not stop the others; a cancel stops them all.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/vex/Tool.h"

namespace vex {

class Batch {
public:
    // The work for one input, done with `tool` (the worker's own); returns its exit status.
    using Work = std::function<int(Tool& tool, const std::string& input)>;

    // `noun` names the inputs on the progress line and in the summary ("folders"), `verb` what
    // became of those that succeeded ("packed").
    Batch(Tool& tool, unsigned jobs, std::string noun, std::string verb);

    // Adds -j/--jobs to `command`; `jobs` keeps the number of cores unless it is given.
    static void addJobsOption(CLI::App& command, unsigned& jobs);

    // With several inputs, -o (`output`) must name a folder, where each input's output goes: a usage
    // error otherwise. Success, or the status after the refusal was printed.
    static int checkOutput(const Tool& tool, const std::vector<std::string>& inputs, const std::string& output);

    // Runs `work` for every input, on up to `jobs` threads. One input is simply done, as it always
    // was. For more, a summary line says how many succeeded and names those that failed. Returns
    // Success, Failure when any input failed, or Cancelled.
    int run(const std::vector<std::string>& inputs, const Work& work);

    // The machinery under `run`, for a command that arranges its output itself: calls `work` with
    // every index below `count`, on up to `jobs` threads (on this one, with the owner's tool, when
    // there is one job), each with a tool of its own. Once `work` returns false no more are begun.
    void forEach(std::size_t count, const std::function<bool(Tool& tool, std::size_t index)>& work);

private:
    // Runs `work` for one input; an exception that escapes it is a failure of that input alone.
    static int attempt(Tool& tool, const Work& work, const std::string& input);
    int summarise(const std::vector<std::string>& inputs, const std::vector<int>& statuses) const;

    Tool& tool_;
    unsigned jobs_;
    std::string noun_;
    std::string verb_;
};

}  // namespace vex

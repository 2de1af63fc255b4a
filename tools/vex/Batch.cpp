#include "tools/vex/Batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <optional>
#include <thread>

#include "tools/vex/Console.h"

namespace vex {

Batch::Batch(Tool& tool, unsigned jobs, std::string noun, std::string verb)
    : tool_(tool), jobs_(std::max(jobs, 1u)), noun_(std::move(noun)), verb_(std::move(verb)) {}

void Batch::addJobsOption(CLI::App& command, unsigned& jobs) {
    jobs = std::max(std::thread::hardware_concurrency(), 1u);
    command.add_option("-j,--jobs", jobs, "How many inputs are handled at once (default: the number of cores)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
}

int Batch::checkOutput(const Tool& tool, const std::vector<std::string>& inputs, const std::string& output) {
    if (inputs.size() < 2 || output.empty()) return Success;
    if (output == "-") return tool.usage("there are " + std::to_string(inputs.size()) + " inputs, and standard output takes one");
    if (Tool::outputIn(output, "x") == output)
        return tool.usage("-o names one file, but there are " + std::to_string(inputs.size()) +
                          " inputs; end it with / to write each output in that folder");
    return Success;
}

int Batch::attempt(Tool& tool, const Work& work, const std::string& input) {
    try {
        return work(tool, input);
    } catch (const std::exception& unexpected) {
        return tool.fail(input + ": internal error: " + unexpected.what());
    } catch (...) {
        return tool.fail(input + ": internal error: an unknown exception");
    }
}

int Batch::run(const std::vector<std::string>& inputs, const Work& work) {
    if (inputs.size() == 1) return work(tool_, inputs.front());

    std::vector<int> statuses(inputs.size(), Success);
    {
        ProgressLine& line = tool_.progress();
        line.beginBatch(inputs.size(), noun_);
        // The line stays up between one input and the next, and goes before the summary.
        const archivefile::Progress::Run batch(&line, {});
        // Alone, a worker's lines may come as they are written; beside others, they wait for its input's end.
        const bool transcribed = std::min<std::size_t>(jobs_, inputs.size()) > 1;
        forEach(inputs.size(), [&](Tool& tool, std::size_t index) {
            {
                std::optional<Console::Transcript> transcript;
                if (transcribed) transcript.emplace();
                statuses[index] = attempt(tool, work, inputs[index]);
            }
            line.inputDone();
            return statuses[index] != Cancelled;
        });
    }
    if (tool_.cancelled()) return Cancelled;
    return summarise(inputs, statuses);
}

void Batch::forEach(std::size_t count, const std::function<bool(Tool& tool, std::size_t index)>& work) {
    std::atomic<std::size_t> next{0};
    std::atomic<bool> stopped{false};
    const auto serve = [&](Tool& tool) {
        for (std::size_t index = next++; index < count && !stopped; index = next++) {
            if (tool.cancelled() || !work(tool, index)) stopped = true;
        }
    };
    const std::size_t workers = std::min<std::size_t>(jobs_, count);
    if (workers <= 1) {
        serve(tool_);
        return;
    }
    std::vector<std::jthread> threads;
    threads.reserve(workers);
    for (std::size_t i = 0; i < workers; ++i) {
        threads.emplace_back([&] {
            Tool worker(&tool_);
            serve(worker);
        });
    }
}

int Batch::summarise(const std::vector<std::string>& inputs, const std::vector<int>& statuses) const {
    std::string failed;
    std::size_t succeeded = 0;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (statuses[i] == Success) {
            ++succeeded;
            continue;
        }
        failed += (failed.empty() ? "; failed: " : ", ") + inputs[i];
    }
    const std::string text = std::to_string(succeeded) + " of " + std::to_string(inputs.size()) + " " + noun_ + " " +
                             verb_ + failed;
    if (!failed.empty()) {
        tool_.note(text);
        return Failure;
    }
    if (!tool_.quiet) tool_.note(text);
    return Success;
}

}  // namespace vex

// The progress line of vex on a terminal: files and bytes done of the total, the rate and the time
// left, drawn on standard error once an operation has run for half a second and redrawn a few times
// a second, cleared when the last operation ends. It adds up every operation that reports to it, so
// one line can follow several archives. Each step it is told of is also a moment to notice a cancel.
//
// A batch of inputs handled by several workers at once has one line for the batch, which says how
// many inputs are done of how many, and one line per worker that counts only that worker's work (so
// that a command can tell what its own operation did) and adds it to the batch's.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

#include "archivefile/foundation/Progress.h"
#include "tools/vex/Console.h"

namespace vex {

class ProgressLine final : public archivefile::Progress {
public:
    explicit ProgressLine(Console& console) : console_(&console) {}
    // A worker's line: never drawn, everything it is told is also told to `batch`.
    explicit ProgressLine(ProgressLine* batch) : batch_(batch) {}

    // Drawn only when shown is true (standard error is a terminal and -q was not given).
    void show(bool shown) { shown_ = shown; }

    void begin(const Counts& total) override;
    void advance(const Counts& done) override;
    void end() override;
    void checkpoint() override;

    // The batch that follows: `inputs` of them, named `noun` ("folders") on the line; each one
    // finished is told with `inputDone`.
    void beginBatch(std::size_t inputs, std::string noun);
    void inputDone();

    // What this line was told. A batch's line is read only once its workers have stopped.
    const Counts& total() const { return total_; }
    const Counts& done() const { return done_; }

    // The line as drawn: "12/40 files, 3.4 MB of 10.2 MB, 21.5 MB/s, 1 s left".
    static std::string text(const Counts& done, const Counts& total, double seconds);
    // A batch's line: "3/64 folders, 120.4 MB, 40.1 MB/s". The bytes of inputs not begun yet are not
    // known, so it tells no total and no time left.
    static std::string batchText(std::size_t inputsDone, std::size_t inputs, const std::string& noun,
                                 std::uint64_t bytes, double seconds);

private:
    using Clock = std::chrono::steady_clock;

    // Draws the line unless it is too soon; `news` draws it however soon after the last time.
    void draw(bool news = false);

    Console* console_ = nullptr;
    ProgressLine* batch_ = nullptr;
    std::mutex mutex_;
    bool shown_ = false;
    int running_ = 0;
    Counts total_;
    Counts done_;
    std::size_t inputs_ = 0;
    std::size_t inputsDone_ = 0;
    std::string noun_;
    Clock::time_point started_;
    Clock::time_point drawn_;
};

}  // namespace vex

// The progress line of vex on a terminal: files and bytes done of the total, the rate and the time
// left, drawn on standard error once an operation has run for half a second and redrawn a few times
// a second, cleared when the last operation ends. It adds up every operation that reports to it, so
// one line can follow several archives. Each step it is told of is also a moment to notice a cancel.
#pragma once

#include <chrono>
#include <string>

#include "archivefile/foundation/Progress.h"
#include "tools/vex/Console.h"

namespace vex {

class ProgressLine final : public archivefile::Progress {
public:
    explicit ProgressLine(Console& console) : console_(console) {}

    // Drawn only when shown is true (standard error is a terminal and -q was not given).
    void show(bool shown) { shown_ = shown; }

    void begin(const Counts& total) override;
    void advance(const Counts& done) override;
    void end() override;
    void checkpoint() override;

    const Counts& total() const { return total_; }
    const Counts& done() const { return done_; }

    // The line as drawn: "12/40 files, 3.4 MB of 10.2 MB, 21.5 MB/s, 1 s left".
    static std::string text(const Counts& done, const Counts& total, double seconds);

private:
    using Clock = std::chrono::steady_clock;

    Console& console_;
    bool shown_ = false;
    int running_ = 0;
    Counts total_;
    Counts done_;
    Clock::time_point started_;
    Clock::time_point drawn_;
};

}  // namespace vex

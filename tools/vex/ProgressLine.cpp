#include "tools/vex/ProgressLine.h"

#include <cmath>

#include "tools/vex/CancelWatch.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

// Short operations finish before a line would help; a line redrawn more often only flickers.
constexpr auto FirstDrawAfter = std::chrono::milliseconds(500);
constexpr auto RedrawEvery = std::chrono::milliseconds(100);

std::string durationText(double seconds) {
    const auto whole = static_cast<long long>(std::ceil(seconds));
    if (whole < 60) return std::to_string(whole) + " s";
    if (whole < 3600) return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
    return std::to_string(whole / 3600) + " h " + std::to_string(whole % 3600 / 60) + " min";
}

}  // namespace

void ProgressLine::begin(const Counts& total) {
    if (batch_ != nullptr) batch_->begin(total);
    const std::lock_guard lock(mutex_);
    ++running_;
    // Rate and time left are those of everything followed so far.
    if (started_ == Clock::time_point()) started_ = Clock::now();
    total_.files += total.files;
    total_.bytes += total.bytes;
}

void ProgressLine::advance(const Counts& done) {
    if (batch_ != nullptr) batch_->advance(done);
    {
        const std::lock_guard lock(mutex_);
        done_.files += done.files;
        done_.bytes += done.bytes;
        draw();
    }
    CancelWatch::check();
}

void ProgressLine::checkpoint() { CancelWatch::check(); }

void ProgressLine::end() {
    if (batch_ != nullptr) batch_->end();
    const std::lock_guard lock(mutex_);
    if (--running_ == 0 && console_ != nullptr) console_->clearProgress();
}

void ProgressLine::beginBatch(std::size_t inputs, std::string noun) {
    const std::lock_guard lock(mutex_);
    inputs_ = inputs;
    noun_ = std::move(noun);
}

void ProgressLine::inputDone() {
    const std::lock_guard lock(mutex_);
    ++inputsDone_;
    // An input done is news worth a redraw however soon after the last.
    draw(true);
}

void ProgressLine::draw(bool news) {
    if (!shown_ || console_ == nullptr) return;
    const Clock::time_point now = Clock::now();
    if (now - started_ < FirstDrawAfter || (!news && now - drawn_ < RedrawEvery)) return;
    drawn_ = now;
    const double seconds = std::chrono::duration<double>(now - started_).count();
    console_->showProgress(inputs_ > 0 ? batchText(inputsDone_, inputs_, noun_, done_.bytes, seconds)
                                       : text(done_, total_, seconds));
}

std::string ProgressLine::text(const Counts& done, const Counts& total, double seconds) {
    std::string line = std::to_string(done.files) + "/" + std::to_string(total.files) + " files";
    if (total.bytes == 0 || seconds <= 0) return line;
    line += ", " + Tool::sizeText(done.bytes) + " of " + Tool::sizeText(total.bytes);
    const double rate = static_cast<double>(done.bytes) / seconds;
    if (rate < 1) return line;
    line += ", " + Tool::sizeText(static_cast<std::uint64_t>(rate)) + "/s";
    if (done.bytes < total.bytes) line += ", " + durationText(static_cast<double>(total.bytes - done.bytes) / rate) + " left";
    return line;
}

std::string ProgressLine::batchText(std::size_t inputsDone, std::size_t inputs, const std::string& noun,
                                    std::uint64_t bytes, double seconds) {
    std::string line = std::to_string(inputsDone) + "/" + std::to_string(inputs) + " " + noun;
    if (bytes == 0 || seconds <= 0) return line;
    line += ", " + Tool::sizeText(bytes);
    const double rate = static_cast<double>(bytes) / seconds;
    if (rate >= 1) line += ", " + Tool::sizeText(static_cast<std::uint64_t>(rate)) + "/s";
    return line;
}

}  // namespace vex

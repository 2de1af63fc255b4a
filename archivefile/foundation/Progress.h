// How far a long operation has come, in files and bytes, for a caller that shows it. Operations that
// handle many files (building an archive, extracting one) report through it beside their log
// callback: `begin` once with everything the operation will handle, `advance` after each file it has
// finished, and `end` once when it stops, whether it completed, failed or was cancelled.
//
// Counts only ever add up, so one implementation can follow several operations at once (archives
// extracted one after another, or side by side by several handlers) and show their sum. Like a log
// callback, `advance` may raise code 9 ("User cancelled") to stop the operation.
#pragma once

#include <cstddef>
#include <cstdint>

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// How far a long operation has come, in files and bytes; see the file's comment.
class ARCHIVEFILE_EXPORT Progress {
public:
    /// Files and bytes.
    struct Counts {
        std::uint64_t files = 0;
        std::uint64_t bytes = 0;
    };

    virtual ~Progress() = default;
    /// Called once with everything the operation will handle.
    virtual void begin(const Counts& total) = 0;
    /// Called after each file the operation finished; may raise code 9 to cancel it.
    virtual void advance(const Counts& done) = 0;
    /// Called once when the operation stops, whether it completed, failed or was cancelled.
    virtual void end() = 0;
    // Called every few MiB while one large file is hashed, read or written, so that a caller can stop
    // there (by raising code 9) without waiting for the file to end. Nothing by default.
    virtual void checkpoint() {}

    // How much one step of a large file may be before a checkpoint comes.
    static constexpr std::size_t PieceSize = std::size_t{4} << 20;

    /// One operation's report: `begin` when it is made, `end` when it goes, however the operation
    /// left. A null progress reports nothing.
    class Run {
    public:
        /// Begins reporting to `progress` (null: nowhere); ends when destroyed.
        Run(Progress* progress, const Counts& total) : progress_(progress) {
            if (progress_ != nullptr) progress_->begin(total);
        }
        ~Run() {
            if (progress_ != nullptr) progress_->end();
        }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

        /// Reports `done` more.
        void advance(const Counts& done) const {
            if (progress_ != nullptr) progress_->advance(done);
        }

    private:
        Progress* progress_;
    };
};

}  // namespace archivefile

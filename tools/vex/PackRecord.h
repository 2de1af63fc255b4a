// What an archive was built from, for `vex pack --only-changed`: a digest of the folder as it stood
// (every file's path, size and modification time to the nanosecond) and of every option that shapes
// the archive, with the size and time of the archive that the build left.
//
// The record is kept in the user's cache folder, never in the archive or beside it: the archive keeps
// exactly the bytes of a plain build, and the output folder holds nothing a mod would not ship. A
// record that is missing, unreadable or for another archive only means that the folder is packed
// again, so the record can never make vex keep an archive that a build would change.
#pragma once

#include <optional>
#include <string>

namespace vex {

class PackRecord {
public:
    // The state of `folder` now, with `options` (the text of every option that shapes the bytes),
    // for the archive that a build writes at `output` (empty: wherever the folder names it). None
    // when the folder cannot be walked or there is no cache folder.
    static std::optional<PackRecord> of(const std::string& folder, const std::string& options,
                                        const std::string& output);
    // A digest of every file below `folder` (an include root), for the options text; empty when it
    // cannot be walked.
    static std::string stateOf(const std::string& folder);

    // The archive, when it is still the one that a build from this very state left.
    std::optional<std::string> upToDateArchive() const;
    // Records that `archive` was just built from this state; false when the record cannot be
    // written, which costs only a build the next time.
    bool keep(const std::string& archive) const;

private:
    PackRecord(std::string where, std::string state);
    // The record's text for `archive` as it is on disk now; empty when there is no such file.
    std::string textFor(const std::string& archive) const;

    std::string where_;
    std::string state_;
};

}  // namespace vex

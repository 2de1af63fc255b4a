// Shell patterns that pick files by their path inside a folder or an archive: "*.p3d", "click?.wss",
// "data", "data/*". A pattern without a separator is matched against each part of a path, the file's
// name and the names of the folders it lies in, so that "data" picks everything in a folder of that
// name; one with a separator is matched against the whole path and the paths of those folders. Case
// is ignored, and "/" and "\" both separate folders, in patterns and paths alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// Shell patterns that pick files by their path inside a folder or an archive; see the file's comment.
class ARCHIVEFILE_EXPORT NamePatterns {
public:
    /// Patterns separated by commas; blanks around each are dropped, and so are empty ones.
    explicit NamePatterns(std::string_view list);

    /// Whether no pattern was given.
    bool empty() const { return patterns_.empty(); }
    /// Whether any pattern matches `path`; every pattern that does is remembered as used.
    bool matches(std::string_view path);
    /// The patterns that no path has matched so far, as they were given.
    std::vector<std::string> unmatched() const;

private:
    struct Pattern {
        std::string given;
        std::string pattern;  // with "/" between folders, without a separator at either end
        bool wholePath = false;
        bool used = false;
    };
    std::vector<Pattern> patterns_;
};

}  // namespace archivefile

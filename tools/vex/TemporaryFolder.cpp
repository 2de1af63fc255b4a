#include "tools/vex/TemporaryFolder.h"

#include <random>
#include <system_error>

namespace vex {

TemporaryFolder::~TemporaryFolder() {
    if (folder_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

bool TemporaryFolder::pathFor(const std::string& name, std::string& path, std::string& error) {
    const std::lock_guard lock(mutex_);
    std::error_code failure;
    if (folder_.empty()) {
        const std::filesystem::path base = std::filesystem::temp_directory_path(failure);
        std::random_device random;
        // create_directory reports an existing folder as not made: a name in use is tried again.
        for (int attempt = 0; attempt < 100 && folder_.empty() && !failure; ++attempt) {
            const std::filesystem::path candidate = base / ("vex-" + std::to_string(random()));
            if (std::filesystem::create_directory(candidate, failure)) folder_ = candidate;
        }
        if (folder_.empty()) {
            error = "cannot make a temporary folder: " + (failure ? failure.message() : "every name is taken");
            return false;
        }
    }
    path = (folder_ / name).string();
    return true;
}

}  // namespace vex

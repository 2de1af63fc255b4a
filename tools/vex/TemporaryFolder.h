// A private folder for files that vex makes on the way (standard input kept as a file for readers
// that need one, an archive built before it goes to standard output), made on first use under the
// system's temporary folder and removed with everything in it when vex ends.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>

namespace vex {

class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // A path for `name` inside the folder; false, with the reason in `error`, when no folder can be made.
    bool pathFor(const std::string& name, std::string& path, std::string& error);

private:
    // Workers of a batch share the folder.
    std::mutex mutex_;
    std::filesystem::path folder_;
};

}  // namespace vex

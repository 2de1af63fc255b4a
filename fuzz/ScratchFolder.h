// A folder of the fuzz run's own under TMPDIR (or the system's temporary folder), removed with
// everything in it when the run ends, for the targets whose readers take files by name.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include <unistd.h>

class ScratchFolder {
public:
    explicit ScratchFolder(std::string_view target)
        : path_(std::filesystem::temp_directory_path() / (std::string(target) + "." + std::to_string(::getpid()))) {
        std::filesystem::create_directories(path_);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

#include "archivefile/foundation/Platform.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include "archivefile/foundation/PathRules.h"

namespace archivefile {

namespace {
// The signal that asked the process to stop, or 0.
std::atomic<int> interruption{0};

void onInterrupt(int signal) { interruption.store(signal); }
}  // namespace

std::string Platform::currentFolder() {
    std::string folder(256, '\0');
    while (::getcwd(folder.data(), folder.size()) == nullptr) {
        if (errno != ERANGE) return {};
        folder.resize(folder.size() * 2);
    }
    folder.resize(std::strlen(folder.c_str()));
    return folder;
}

std::string Platform::cacheFolder() {
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache != nullptr && *cache == '/') return cache;
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') return std::string(home) + "/.cache";
    return {};
}

std::optional<std::string> Platform::driveFolder(int drive) {
    if (drive < 1 || drive > 26) return std::nullopt;
    return currentFolder();
}

int Platform::makeFolder(const std::string& path) {
    return ::mkdir(path.c_str(), 0777) == 0 ? 0 : errno;
}

bool Platform::isFolder(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Platform::walkFolder(const std::string& folder, std::vector<FolderItem>& items, std::string& failedPath,
                          std::vector<FolderItem>* leftOut) {
    namespace fs = std::filesystem;
    const fs::path root(folder);
    std::error_code error;
    fs::recursive_directory_iterator walk(root, error);
    for (; !error && walk != fs::recursive_directory_iterator(); walk.increment(error)) {
        const auto leave = [&](std::string_view reason) {
            if (leftOut != nullptr) leftOut->push_back({walk->path().lexically_relative(root).generic_string(), 0, 0, reason});
        };
        struct stat info {};
        if (::stat(walk->path().c_str(), &info) != 0) {
            // A link that names nothing names nothing to read; anything else that cannot be looked at
            // is a failure.
            if (errno == ENOENT && walk->is_symlink()) {
                leave("a link that leads nowhere");
            } else if (errno == ELOOP) {
                leave("a link that leads round in a loop");
            } else {
                failedPath = walk->path().string();
                return false;
            }
            continue;
        }
        if (S_ISDIR(info.st_mode)) {
            if (walk->is_symlink()) leave("a link to a folder");
            continue;
        }
        if (!S_ISREG(info.st_mode)) {
            leave("a pipe, a socket or a device");
            continue;
        }
        items.push_back({walk->path().lexically_relative(root).generic_string(), static_cast<std::uint64_t>(info.st_size),
                         static_cast<std::int64_t>(info.st_mtime), {}});
    }
    if (error) {
        failedPath = walk == fs::recursive_directory_iterator() ? folder : walk->path().string();
        return false;
    }
    return true;
}

bool Platform::isFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

std::FILE* Platform::openRegularFile(const std::string& path) {
    // Opened without waiting, then checked on what was opened: a name that the scan saw as a file
    // may be a pipe by now, and opening a pipe for reading waits for a writer for ever.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        const int error = S_ISDIR(info.st_mode) ? EISDIR : ENXIO;
        ::close(fd);
        errno = error;
        return nullptr;
    }
    const int flags = ::fcntl(fd, F_GETFL);
    std::FILE* file = flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0 ? nullptr : ::fdopen(fd, "rb");
    if (file == nullptr) ::close(fd);
    return file;
}

std::string Platform::findFileIgnoringCase(const std::string& path) {
    if (isFile(path)) return path;
    namespace fs = std::filesystem;
    const fs::path wanted(path);
    fs::path found = wanted.root_path();
    std::error_code error;
    for (const fs::path& part : wanted.relative_path()) {
        const fs::path exact = found.empty() ? part : found / part;
        if (fs::exists(exact, error)) {
            found = exact;
            continue;
        }
        const fs::path folder = found.empty() ? fs::path(".") : found;
        bool matched = false;
        for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
            if (paths::equalIgnoringCase(entry->path().filename().string(), part.string())) {
                found = found.empty() ? entry->path().filename() : found / entry->path().filename();
                matched = true;
                break;
            }
        }
        if (!matched) return {};
    }
    return isFile(found.string()) ? found.string() : std::string();
}

int Platform::removeFile(const std::string& path) {
    return ::unlink(path.c_str()) == 0 ? 0 : errno;
}

int Platform::renameFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

std::FILE* Platform::createTemporaryBeside(const std::string& target, std::string& temporaryPath) {
    // A short name of its own in the target's folder: the target's name may be as long as a name can
    // be, so nothing may be added to it. The name is drawn here rather than by mkstemp, which makes the
    // file private: opened with the mode a plain create uses, the finished file gets the permissions
    // the umask gives, and the umask is never changed, not even for a moment, while other threads
    // create files.
    const std::size_t slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    thread_local std::mt19937_64 random{std::random_device{}()};
    std::uniform_int_distribution<std::size_t> pick(0, sizeof letters - 2);
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = folder + ".part-";
        for (int i = 0; i < 6; ++i) name += letters[pick(random)];
        const int fd = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            return nullptr;
        }
        std::FILE* file = ::fdopen(fd, "w+b");
        if (file == nullptr) {
            ::close(fd);
            ::unlink(name.c_str());
            return nullptr;
        }
        temporaryPath = std::move(name);
        return file;
    }
    return nullptr;
}

bool Platform::setModificationTime(const std::string& path, std::int64_t secondsSinceEpoch) {
    struct timespec times[2];
    times[0].tv_sec = static_cast<time_t>(secondsSinceEpoch);
    times[0].tv_nsec = 0;
    times[1] = times[0];
    return ::utimensat(AT_FDCWD, path.c_str(), times, 0) == 0;
}

std::optional<std::int64_t> Platform::modificationTime(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<std::int64_t>(info.st_mtime);
}

std::optional<std::uint64_t> Platform::fileSize(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(info.st_size);
}

bool Platform::matchesPattern(const std::string& pattern, const std::string& text) {
    return ::fnmatch(pattern.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
}

int Platform::lastError() { return errno; }

std::string Platform::errorText(int error) {
    char buffer[256];
    // The GNU variant may return a static text instead of filling the buffer.
    const char* text = ::strerror_r(error, buffer, sizeof buffer);
    return text ? text : "Unknown error";
}

std::string Platform::localTimeText(std::int64_t secondsSinceEpoch) {
    const auto seconds = static_cast<time_t>(secondsSinceEpoch);
    struct tm local {};
    if (::localtime_r(&seconds, &local) == nullptr) return {};
    // The fixed English names that asctime writes, never the locale's.
    static constexpr const char* days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    if (local.tm_wday < 0 || local.tm_wday > 6 || local.tm_mon < 0 || local.tm_mon > 11) return {};
    char buffer[64];
    const int length = std::snprintf(buffer, sizeof buffer, "%s %s%3d %.2d:%.2d:%.2d %d", days[local.tm_wday],
                                     months[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                                     local.tm_year + 1900);
    if (length < 0) return {};
    return std::string(buffer, std::min(static_cast<std::size_t>(length), sizeof buffer - 1));
}

std::int64_t Platform::now() { return static_cast<std::int64_t>(std::time(nullptr)); }

bool Platform::isTerminal(int fd) { return ::isatty(fd) == 1; }

int Platform::pollKey() {
    if (!isTerminal(STDIN_FILENO)) return -1;
    struct termios saved {};
    if (::tcgetattr(STDIN_FILENO, &saved) != 0) return -1;
    struct termios raw = saved;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 0;
    raw.c_cc[VTIME] = 0;
    if (::tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0) return -1;
    unsigned char key = 0;
    const ssize_t got = ::read(STDIN_FILENO, &key, 1);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return got == 1 ? key : -1;
}

void Platform::watchInterrupt() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // Only the first signal is caught: a second one ends the process at once, for a person who
    // presses Ctrl-C again because the first did not seem to help.
    action.sa_flags = SA_RESETHAND;
    // Ctrl-C, and what `timeout`, CI runners and service managers send.
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    // A closed terminal too, unless the process was started with it ignored: a run under `nohup` is
    // meant to outlive its terminal.
    struct sigaction inherited {};
    if (::sigaction(SIGHUP, nullptr, &inherited) != 0 || inherited.sa_handler != SIG_IGN) ::sigaction(SIGHUP, &action, nullptr);
}

bool Platform::interruptRequested() { return interruption.load() != 0; }

int Platform::interruptExitStatus() {
    const int signal = interruption.load();
    return signal != 0 ? 128 + signal : 0;
}

}  // namespace archivefile

// Everything that talks to the operating system: folders, file times, the emulated drive, the
// console key poll and the interrupt flag. No other file includes an operating-system header, so a
// port to another system is one more implementation file beside Platform_posix.cpp.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace archivefile {

class Platform {
public:
    // One file found by walkFolder, or one that it left out.
    struct FolderItem {
        std::string relativePath;  // below the walked folder, with "/" between folders
        std::uint64_t size = 0;
        std::int64_t modificationTime = 0;
        std::string_view leftOutBecause;  // why it is no file to read ("a pipe, a socket or a device")
    };

    // The separator this system writes in paths.
    static constexpr char separator = '/';

    static std::string currentFolder();
    // Where a user's programs keep what they can make again (records of earlier work); empty when the
    // system names no such place.
    static std::string cacheFolder();

    // Drives are emulated: there is one drive, its current folder is the working folder, and drive
    // numbers outside 1 to 26 fail as the platform call would.
    static constexpr int emulatedDrive = 3;
    static std::optional<std::string> driveFolder(int drive);
    static int currentDrive() { return emulatedDrive; }
    static bool changeDrive(int drive) { return drive >= 1 && drive <= 26; }

    // Creates one folder (not its parents); 0 on success, else the system error number.
    static int makeFolder(const std::string& path);
    static bool isFolder(const std::string& path);
    // Every regular file below `folder`, at any depth, in no particular order. Links to files are
    // followed; links to folders are not, so a link cannot make the walk go round forever. What is
    // neither a folder nor a file (a pipe, a link to a folder, a link that leads nowhere or round in
    // a loop) goes to `leftOut` when it is given. False, with the place that could not be read in
    // `failedPath`, when part of the tree is unreadable.
    static bool walkFolder(const std::string& folder, std::vector<FolderItem>& items, std::string& failedPath,
                           std::vector<FolderItem>* leftOut = nullptr);
    static bool isFile(const std::string& path);
    // Opens `path` for reading when it is a regular file (links followed), without ever waiting on
    // a pipe or a device; null otherwise, with the reason in `lastError` (EISDIR for a folder,
    // ENXIO for anything else that is not a file).
    static std::FILE* openRegularFile(const std::string& path);
    // `path` itself when it is a file, else a file whose name differs from it only in case, as names
    // written for a system that ignores case expect; empty when there is none.
    static std::string findFileIgnoringCase(const std::string& path);
    static int removeFile(const std::string& path);
    // Replaces an existing `to` in one step; two names of one file leave it as it is. 0 on success,
    // else the system error number.
    static int renameFile(const std::string& from, const std::string& to);

    // Creates and opens for update a new file beside `target` (same folder, so that a rename can
    // replace the target atomically) under a short random name; its name goes to `temporaryPath`.
    // Null on failure.
    static std::FILE* createTemporaryBeside(const std::string& target, std::string& temporaryPath);

    static bool setModificationTime(const std::string& path, std::int64_t secondsSinceEpoch);
    static std::optional<std::int64_t> modificationTime(const std::string& path);
    static std::optional<std::uint64_t> fileSize(const std::string& path);

    // Whether `text` matches the shell pattern (`*`, `?`, `[...]`), letter case ignored; `*` and `?`
    // match "/" too.
    static bool matchesPattern(const std::string& pattern, const std::string& text);

    static int lastError();
    static std::string errorText(int error);

    // The local time in the layout "Sun Nov 22 03:44:47 2026", without a line feed.
    static std::string localTimeText(std::int64_t secondsSinceEpoch);
    static std::int64_t now();

    static bool isTerminal(int fd);
    // A key waiting on the console, or -1. Never blocks; with no terminal there is never a key.
    static int pollKey();

    // Ctrl-C (and a request to terminate, or a closed terminal) sets a flag instead of ending the
    // process, so that the operation in progress can stop cleanly at its next callback and remove
    // what it was writing.
    static void watchInterrupt();
    static bool interruptRequested();
    // The status with which a shell reports a program ended by that signal (130 for Ctrl-C, 143 for
    // a request to terminate, 129 for a closed terminal); 0 when none came.
    static int interruptExitStatus();
};

}  // namespace archivefile

// The older path class: the same path rules as FileStringA under unprefixed names, holding its text
// in a GenString, plus the file services that extraction uses (file dates, the drive, destinations).
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/GenString.h"

namespace archivefile {

/// The older path class: the path rules of FileStringA under unprefixed names, holding its text in a
/// GenString, with the file services that extraction uses (file dates, the drive, destinations).
class ARCHIVEFILE_EXPORT FileString {
public:
    /// @name Construction
    //@{
    /// An empty path, or a copy of `text`.
    FileString() = default;
    FileString(const char* text) { text_.Strdup(text); }
    explicit FileString(const GenString& text) : text_(text) {}
    //@}

    /// @name The text
    //@{
    /// The path (null for an empty one), or a view of it.
    operator const char*() const { return text_.GetName(); }
    const char* GetName() const { return text_.GetName(); }
    std::string_view view() const { return text_.view(); }
    //@}
    /// Replaces the path with a copy of `text`; returns it.
    const char* Set(const char* text) { return text_.Strdup(text); }
    const char* Set(std::string_view text) { return text_.MemDup(text.data(), static_cast<int>(text.size())); }

    /// The last separator in the path, or null.
    const char* GetLastSlash() const;
    /// The extension with its dot; the empty text at the end of the name when there is none.
    const char* GetExtOnly() const;
    /// Adds the default extension when the name has none.
    const char* AddExt(const char* extension);
    /// Adds the extension whether or not the name has one.
    const char* AddExtNew(const char* extension);
    /// Replaces the extension (adding it when there is none); returns the path.
    const char* ReplaceExt(const char* extension);
    /// The old form, kept working: takes the name as well.
    const char* ReplaceExt(const char* name, const char* extension);
    /// @name Edits
    //@{
    /// Drops the extension, or one leading separator; returns the path.
    const char* RemoveExt();
    const char* RemoveLeadingSlash();
    //@}
    /// Renames the file this path names; 0 on success, -1 on failure.
    int RenameFile(const char* to) const;
    /// The file kind the name stands for, as FileStringA::fs_FileIs gives it.
    int FileIs() const;
    /// @name Existence
    //@{
    /// Whether a file, or a folder, of this path exists.
    bool FileExists() const;
    bool FolderExists() const;
    //@}
    /// Drive number of the path (1 for a:), or the current drive when it names none.
    int GetDrive() const;
    /// Makes a drive current: 0 when nothing had to change, -1 on failure, else the previous drive.
    static int SetDrive(int drive);
    /// Makes the drive of `path` current, as SetDrive(int) does.
    int SetDrive(const char* path) const;
    /// 0 relative, 1 rooted, 2 with a drive, 3 network path.
    int DriveType() const;
    /// @name Kinds of path
    //@{
    /// Whether the path is absolute, starts with a drive, or is a network path.
    bool IsAbsolute() const;
    int HasDrive() const;
    int HasVnc() const;
    //@}
    /// Modification time in seconds since 1970, or -1.
    std::int64_t GetFileDate() const;
    /// Sets a file's modification time (this path's file when `name` is null).
    bool SetFileDate(std::int64_t time, const char* name = nullptr) const;
    /// The file's size and modification time; false when it cannot be read.
    bool GetFileStat(std::uint64_t& size, std::int64_t& time) const;
    /// The file's size, or -1.
    std::int64_t GetFileSize() const;
    /// The whole file as text; a failed read raises "bad read".
    std::string ReadTextFile() const;
    /// Takes a destination folder; a folder that does not exist raises "Ouput folder does not exist\n".
    const char* ParseDestination(const char* destination);
    /// 1 when the whole path equals `other` (case ignored), else 0.
    int CompareFull(const char* other) const;
    /// 1 + the index of the first of `names` equal to the file name and extension, or 0.
    int CompareList(std::span<const char* const> names) const;

private:
    std::string native() const;

    GenString text_;
};

}  // namespace archivefile

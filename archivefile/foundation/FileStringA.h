// A path held as 8-bit text, with the path operations every handler uses to name files. Most
// operations take an optional name; when it is null the object's own text is used.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A path held as 8-bit text, with the path operations every handler uses to name files. "/" and
/// "\\" both separate folders; most operations take an optional name and use the object's own text
/// when it is null.
class ARCHIVEFILE_EXPORT FileStringA {
public:
    /// @name Modes of fs_CreateTextFile
    //@{
    /// No byte-order mark; a UTF-8 one; a UTF-16LE one.
    static constexpr int PlainText = 0;
    static constexpr int Utf8WithBom = 1;
    static constexpr int Utf16Text = 2;
    //@}

    /// @name Construction
    //@{
    /// An empty path, or one holding `text` (null is empty).
    FileStringA() = default;
    FileStringA(const char* text) : text_(text ? text : "") {}
    FileStringA(std::string text) : text_(std::move(text)) {}
    //@}

    /// The text.
    const char* c_str() const { return text_.c_str(); }
    /// The text.
    operator const char*() const { return text_.c_str(); }
    /// The text.
    const std::string& str() const { return text_; }
    /// Whether the text is empty.
    bool empty() const { return text_.empty(); }
    /// Whether `c` separates folders.
    static bool fs_IsSlash(char c) { return c == '/' || c == '\\'; }

    /// @name Parts of a path
    //@{
    /// The last separator, a separator ending the name, the file name without or with its extension,
    /// the extension, the drive and folders, or everything but the extension. Each works on `name`, or on
    /// the object's own text when `name` is null; pointers point into that text.
    const char* fs_GetLastSlash(const char* name = nullptr) const;
    const char* fs_GetTrailingSlash(const char* name = nullptr) const;
    std::string fs_GetFilenameOnly(const char* name = nullptr) const;
    const char* fs_GetFilenameAndExtOnly(const char* name = nullptr) const;
    /// The extension with its dot; the empty text at the end of the name when there is none.
    const char* fs_GetExtOnly(const char* name = nullptr) const;
    std::string fs_GetDriveAndPathOnly(const char* name = nullptr) const;
    std::string fs_GetDriveFileAndPathNoExt(const char* name = nullptr) const;
    //@}

    /// @name Edits of the object's own text
    //@{
    /// Each changes the text in place and returns it.
    const char* fs_AddExt(const char* extension);
    const char* fs_ReplaceExt(const char* extension);
    const char* fs_RemoveExt();
    const char* fs_ReplaceFilenameAndExt(const char* with);
    const char* fs_AppendTrailingSlash();
    const char* fs_RemoveTrailingSlash();
    const char* fs_ReplaceChar(char from, char to);
    const char* fs_ConvertToBackSlash() { return fs_ReplaceChar('/', '\\'); }
    const char* fs_ConvertToForwardSlash() { return fs_ReplaceChar('\\', '/'); }
    const char* fs_ConvertToSystemSlash();
    void fs_Clear() { text_.clear(); }
    //@}

    /// @name Tests
    //@{
    /// Each tests `name`, or the object's own text when `name` is null: 1 (or a kind) when it holds, else 0.
    /// Whether the path starts with a drive ("p:"), a separator, or two of them (a network path).
    int fs_HasDrive(const char* name = nullptr) const;
    int fs_HasRoot(const char* name = nullptr) const;
    int fs_HasVnc(const char* name = nullptr) const;
    /// Whether the file or the folder exists.
    int fs_FileExists(const char* name = nullptr) const;
    /// With `mustExist`, a missing folder raises "Folder does not exist <name>".
    int fs_FolderExists(const char* name = nullptr, bool mustExist = false) const;
    /// 0 relative, 1 rooted, 2 with a drive, 3 network path.
    int fs_DriveType(const char* name = nullptr) const;
    /// The file kind the name stands for, by its whole name (config.cpp, mission.sqm, ...) or its
    /// extension: model, texture, sound, config text and so on.
    int fs_FileIs(const char* name = nullptr) const;
    //@}

    /// @name Comparison
    //@{
    /// Comparison: 1 when equal, else 0. "/" and "\" compare equal.
    int fs_Compare(const char* text, int exact = 0) const;
    /// Whether the extension, or the file name with its extension, equals the text (case ignored).
    int fs_CompareExt(const char* extension) const;
    int fs_CompareFilenameExtOnly(const char* name) const;
    /// 1 + the index of the first entry equal to the file name and extension, or 0.
    int fs_CompareList(std::span<const char* const> names) const;
    //@}

    /// @name Composition
    //@{
    /// Makes the text `folder`, a separator and `file`.
    const char* fs_format_folder_and_file(const char* folder, const char* file);
    /// The entry path placed under the folder, with the host's separators.
    const char* fs_build_destination(const char* folder, const char* entry);
    /// Makes the text the full path of `name` (or of itself): a relative one is joined to the current folder.
    const char* fs_SetFullPathName(const char* name = nullptr);
    /// A text that is a bare drive ("p:") becomes that drive's current folder; raises "No memory"
    /// when the drive has none.
    const char* fs_set_to_hardpath();
    /// Keeps `count` characters from `from`; a range outside the text raises "bad extract parms".
    const char* fs_Extract(int from, int count);
    //@}

    /// @name Files
    //@{
    /// The size of an open file.
    static std::int64_t fs_GetFileSize(std::FILE* stream);
    /// The whole file as text; a failed read raises "bad read".
    std::string fs_ReadTextFile(const char* name = nullptr) const;
    /// Creates the file `name` for writing, first writing the byte-order mark of `mode`; null on failure.
    FilePtr fs_CreateTextFile(const char* name, int mode = PlainText) const;
    /// As GenString::RemoveBom.
    static int fs_RemoveBom(std::vector<unsigned char>& buffer);
    //@}

private:
    std::string_view _fs_GetName(const char* name) const { return name ? std::string_view(name) : std::string_view(text_); }
    const char* pointerInto(const char* name, std::size_t position) const;
    void _fs_WriteBom(std::FILE* file, int mode) const;

    std::string text_;
};

}  // namespace archivefile

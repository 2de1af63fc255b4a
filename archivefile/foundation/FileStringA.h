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

class ARCHIVEFILE_EXPORT FileStringA {
public:
    // Modes of fs_CreateTextFile.
    static constexpr int PlainText = 0;
    static constexpr int Utf8WithBom = 1;
    static constexpr int Utf16Text = 2;

    FileStringA() = default;
    FileStringA(const char* text) : text_(text ? text : "") {}
    FileStringA(std::string text) : text_(std::move(text)) {}

    const char* c_str() const { return text_.c_str(); }
    operator const char*() const { return text_.c_str(); }
    const std::string& str() const { return text_; }
    bool empty() const { return text_.empty(); }
    static bool fs_IsSlash(char c) { return c == '/' || c == '\\'; }

    // Parts of a path.
    const char* fs_GetLastSlash(const char* name = nullptr) const;
    const char* fs_GetTrailingSlash(const char* name = nullptr) const;
    std::string fs_GetFilenameOnly(const char* name = nullptr) const;
    const char* fs_GetFilenameAndExtOnly(const char* name = nullptr) const;
    // The extension with its dot; the empty text at the end of the name when there is none.
    const char* fs_GetExtOnly(const char* name = nullptr) const;
    std::string fs_GetDriveAndPathOnly(const char* name = nullptr) const;
    std::string fs_GetDriveFileAndPathNoExt(const char* name = nullptr) const;

    // Edits of the object's own text.
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

    // Tests.
    int fs_HasDrive(const char* name = nullptr) const;
    int fs_HasRoot(const char* name = nullptr) const;
    int fs_HasVnc(const char* name = nullptr) const;
    int fs_FileExists(const char* name = nullptr) const;
    // With `mustExist`, a missing folder raises "Folder does not exist <name>".
    int fs_FolderExists(const char* name = nullptr, bool mustExist = false) const;
    // 0 relative, 1 rooted, 2 with a drive, 3 network path.
    int fs_DriveType(const char* name = nullptr) const;
    int fs_FileIs(const char* name = nullptr) const;

    // Comparison: 1 when equal, else 0. "/" and "\" compare equal.
    int fs_Compare(const char* text, int exact = 0) const;
    int fs_CompareExt(const char* extension) const;
    int fs_CompareFilenameExtOnly(const char* name) const;
    // 1 + the index of the first entry equal to the file name and extension, or 0.
    int fs_CompareList(std::span<const char* const> names) const;

    // Composition.
    const char* fs_format_folder_and_file(const char* folder, const char* file);
    // The entry path placed under the folder, with the host's separators.
    const char* fs_build_destination(const char* folder, const char* entry);
    const char* fs_SetFullPathName(const char* name = nullptr);
    const char* fs_set_to_hardpath();
    // Keeps `count` characters from `from`; a range outside the text raises "bad extract parms".
    const char* fs_Extract(int from, int count);

    // Files.
    static std::int64_t fs_GetFileSize(std::FILE* stream);
    // The whole file as text; a failed read raises "bad read".
    std::string fs_ReadTextFile(const char* name = nullptr) const;
    FilePtr fs_CreateTextFile(const char* name, int mode = PlainText) const;
    static int fs_RemoveBom(std::vector<unsigned char>& buffer);

private:
    std::string_view _fs_GetName(const char* name) const { return name ? std::string_view(name) : std::string_view(text_); }
    const char* pointerInto(const char* name, std::size_t position) const;
    void _fs_WriteBom(std::FILE* file, int mode) const;

    std::string text_;
};

}  // namespace archivefile

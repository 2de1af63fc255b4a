#include "archivefile/foundation/FileStringA.h"

#include <algorithm>

#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

const char* FileStringA::pointerInto(const char* name, std::size_t position) const {
    if (position == paths::none) return nullptr;
    return (name ? name : text_.c_str()) + position;
}

const char* FileStringA::fs_GetLastSlash(const char* name) const {
    return pointerInto(name, paths::lastSlash(_fs_GetName(name)));
}

const char* FileStringA::fs_GetTrailingSlash(const char* name) const {
    return pointerInto(name, paths::trailingSlash(_fs_GetName(name)));
}

std::string FileStringA::fs_GetFilenameOnly(const char* name) const {
    const std::string_view path = _fs_GetName(name);
    const std::size_t start = paths::fileNameStart(path);
    const std::size_t dot = paths::extension(path);
    return std::string(path.substr(start, dot == paths::none ? paths::none : dot - start));
}

const char* FileStringA::fs_GetFilenameAndExtOnly(const char* name) const {
    return pointerInto(name, paths::fileNameStart(_fs_GetName(name)));
}

const char* FileStringA::fs_GetExtOnly(const char* name) const {
    const std::string_view path = _fs_GetName(name);
    const std::size_t dot = paths::extension(path);
    return pointerInto(name, dot == paths::none ? path.size() : dot);
}

std::string FileStringA::fs_GetDriveAndPathOnly(const char* name) const {
    return paths::driveAndFolder(_fs_GetName(name));
}

std::string FileStringA::fs_GetDriveFileAndPathNoExt(const char* name) const {
    const std::string_view path = _fs_GetName(name);
    return std::string(path.substr(0, paths::extension(path)));
}

const char* FileStringA::fs_AddExt(const char* extension) {
    if (extension == nullptr || *extension == '\0' || paths::extension(text_) != paths::none) return c_str();
    if (*extension != '.') text_ += '.';
    text_ += extension;
    return c_str();
}

const char* FileStringA::fs_ReplaceExt(const char* extension) {
    const std::size_t dot = paths::extension(text_);
    if (dot != paths::none) text_.erase(dot);
    return fs_AddExt(extension);
}

const char* FileStringA::fs_RemoveExt() {
    if (text_.empty()) throw TextException("ArchiveFile.dll coding error: FileStringEx");
    const std::size_t dot = paths::extension(text_);
    if (dot != paths::none) text_.erase(dot);
    return c_str();
}

const char* FileStringA::fs_ReplaceFilenameAndExt(const char* with) {
    if (with == nullptr) throw TextException("ArchiveFile.dll coding error: FileStringEx: 'no with'");
    text_.erase(paths::fileNameStart(text_));
    text_ += with;
    return c_str();
}

const char* FileStringA::fs_AppendTrailingSlash() {
    if (!text_.empty() && !fs_IsSlash(text_.back())) text_ += '\\';
    return c_str();
}

const char* FileStringA::fs_RemoveTrailingSlash() {
    if (paths::trailingSlash(text_) != paths::none) text_.pop_back();
    return c_str();
}

const char* FileStringA::fs_ReplaceChar(char from, char to) {
    std::replace(text_.begin(), text_.end(), from, to);
    return c_str();
}

const char* FileStringA::fs_ConvertToSystemSlash() {
    text_ = paths::native(text_);
    return c_str();
}

int FileStringA::fs_HasDrive(const char* name) const { return paths::hasDrive(_fs_GetName(name)); }
int FileStringA::fs_HasRoot(const char* name) const { return paths::hasRoot(_fs_GetName(name)) ? 1 : 0; }
int FileStringA::fs_HasVnc(const char* name) const { return paths::hasVnc(_fs_GetName(name)) ? 1 : 0; }

int FileStringA::fs_FileExists(const char* name) const {
    return Platform::isFile(paths::native(_fs_GetName(name))) ? 1 : 0;
}

int FileStringA::fs_FolderExists(const char* name, bool mustExist) const {
    const std::string path(_fs_GetName(name));
    if (Platform::isFolder(paths::native(path))) return 1;
    if (mustExist) throw TextException(formatText("Folder does not exist %s", path.c_str()));
    return 0;
}

int FileStringA::fs_DriveType(const char* name) const {
    const std::string_view path = _fs_GetName(name);
    if (paths::hasVnc(path)) return 3;
    if (path.size() >= 2 && path[1] == ':') return 2;
    return paths::hasRoot(path) ? 1 : 0;
}

int FileStringA::fs_FileIs(const char* name) const { return paths::fileKind(_fs_GetName(name)); }

int FileStringA::fs_Compare(const char* text, int exact) const {
    if (text == nullptr) return 0;
    return (exact != 0 ? text_ == text : paths::equalIgnoringCase(text_, text)) ? 1 : 0;
}

int FileStringA::fs_CompareExt(const char* extension) const {
    if (extension == nullptr) return 0;
    std::string_view wanted(extension);
    if (!wanted.empty() && wanted.front() == '.') wanted.remove_prefix(1);
    const std::size_t dot = paths::extension(text_);
    const std::string_view own = dot == paths::none ? std::string_view() : std::string_view(text_).substr(dot + 1);
    return paths::equalIgnoringCase(own, wanted) ? 1 : 0;
}

int FileStringA::fs_CompareFilenameExtOnly(const char* name) const {
    if (name == nullptr) return 0;
    const std::string_view other(name);
    return paths::equalIgnoringCase(std::string_view(text_).substr(paths::fileNameStart(text_)),
                                    other.substr(paths::fileNameStart(other)))
               ? 1
               : 0;
}

int FileStringA::fs_CompareList(std::span<const char* const> names) const {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (fs_CompareFilenameExtOnly(names[i])) return static_cast<int>(i) + 1;
    return 0;
}

const char* FileStringA::fs_format_folder_and_file(const char* folder, const char* file) {
    const std::string_view base = folder ? folder : "";
    const std::string_view leaf = file ? file : "";
    text_ = paths::trailingSlash(base) == paths::none ? formatText("%.*s\\%.*s", int(base.size()), base.data(),
                                                                   int(leaf.size()), leaf.data())
                                                      : formatText("%.*s%.*s", int(base.size()), base.data(),
                                                                   int(leaf.size()), leaf.data());
    return c_str();
}

const char* FileStringA::fs_build_destination(const char* folder, const char* entry) {
    std::string_view relative = entry ? entry : "";
    while (!relative.empty() && fs_IsSlash(relative.front())) relative.remove_prefix(1);
    fs_format_folder_and_file(folder, std::string(relative).c_str());
    return fs_ConvertToSystemSlash();
}

const char* FileStringA::fs_SetFullPathName(const char* name) {
    const std::string path(_fs_GetName(name));
    if (paths::rootLength(path) > 0) text_ = path;
    else fs_format_folder_and_file(Platform::currentFolder().c_str(), path.c_str());
    return c_str();
}

const char* FileStringA::fs_set_to_hardpath() {
    if (text_.size() != 2 || text_[1] != ':') return c_str();
    // The drive number is the letter's code minus 96 as the text stands: lower case gives 1 to 26,
    // upper case an invalid drive for which the platform has no folder.
    const auto folder = Platform::driveFolder(static_cast<unsigned char>(text_[0]) - 96);
    if (!folder) throw TextException("No memory");
    text_ = *folder;
    return c_str();
}

const char* FileStringA::fs_Extract(int from, int count) {
    if (from < 0 || count < 0 || static_cast<std::size_t>(from) + static_cast<std::size_t>(count) > text_.size())
        throw TextException("bad extract parms");
    text_ = text_.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(count));
    return c_str();
}

std::int64_t FileStringA::fs_GetFileSize(std::FILE* stream) {
    const long here = std::ftell(stream);
    if (here < 0 || std::fseek(stream, 0, SEEK_END) != 0) return -1;
    const long size = std::ftell(stream);
    std::fseek(stream, here, SEEK_SET);
    return size;
}

std::string FileStringA::fs_ReadTextFile(const char* name) const {
    FilePtr file(Platform::openRegularFile(paths::native(_fs_GetName(name))), std::fclose);
    if (!file) throw TextException("bad read");
    const std::int64_t size = fs_GetFileSize(file.get());
    if (size < 0) throw TextException("bad read");
    std::string text;
    try {
        text.resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        throw TextException("No Memory");
    }
    if (std::fread(text.data(), 1, text.size(), file.get()) != text.size()) throw TextException("bad read");
    return text;
}

void FileStringA::_fs_WriteBom(std::FILE* file, int mode) const {
    if (mode == Utf16Text) throw TextException("Coding Error: FileStringEx::_WriteBom() AsUnicode");
    if (mode == Utf8WithBom) std::fputs("\xEF\xBB\xBF", file);
}

FilePtr FileStringA::fs_CreateTextFile(const char* name, int mode) const {
    if (mode == Utf16Text) _fs_WriteBom(nullptr, mode);
    FilePtr file(std::fopen(paths::native(_fs_GetName(name)).c_str(), "wb"), std::fclose);
    if (file) _fs_WriteBom(file.get(), mode);
    return file;
}

int FileStringA::fs_RemoveBom(std::vector<unsigned char>& buffer) {
    try {
        return GenString::RemoveBom(buffer);
    } catch (const std::bad_alloc&) {
        throw TextException("No Memory");
    }
}

}  // namespace archivefile

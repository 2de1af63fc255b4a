#include "archivefile/foundation/FileString.h"

#include <cctype>
#include <cstdio>

#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"

namespace archivefile {

std::string FileString::native() const { return paths::native(view()); }

const char* FileString::GetLastSlash() const {
    const std::size_t slash = paths::lastSlash(view());
    return slash == paths::none ? nullptr : GetName() + slash;
}

const char* FileString::GetExtOnly() const {
    const std::size_t dot = paths::extension(view());
    return GetName() ? GetName() + (dot == paths::none ? view().size() : dot) : "";
}

const char* FileString::AddExt(const char* extension) {
    if (extension == nullptr || *extension == '\0' || paths::extension(view()) != paths::none) return GetName();
    return AddExtNew(extension);
}

const char* FileString::AddExtNew(const char* extension) {
    if (extension == nullptr || *extension == '\0') return GetName();
    if (*extension != '.') text_.Strcat(".");
    return text_.Strcat(extension);
}

const char* FileString::ReplaceExt(const char* extension) {
    RemoveExt();
    return AddExt(extension);
}

const char* FileString::ReplaceExt(const char* name, const char* extension) {
    std::fputs("\nDebug: FileString::ReplaceExt obsolete call\n", stderr);
    text_.Strdup(name);
    return ReplaceExt(extension);
}

const char* FileString::RemoveExt() {
    const std::size_t dot = paths::extension(view());
    if (dot != paths::none) Set(view().substr(0, dot));
    return GetName();
}

const char* FileString::RemoveLeadingSlash() {
    if (paths::hasRoot(view())) Set(view().substr(1));
    return GetName();
}

int FileString::RenameFile(const char* to) const {
    return to && Platform::renameFile(native(), paths::native(to)) == 0 ? 0 : -1;
}

int FileString::FileIs() const { return paths::fileKind(view()); }
bool FileString::FileExists() const { return Platform::isFile(native()); }
bool FileString::FolderExists() const { return Platform::isFolder(native()); }

int FileString::GetDrive() const {
    const std::string_view path = view();
    if (path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0])))
        return std::tolower(static_cast<unsigned char>(path[0])) - 'a' + 1;
    return Platform::currentDrive();
}

int FileString::SetDrive(int drive) {
    const int previous = Platform::currentDrive();
    if (drive == previous) return 0;
    return Platform::changeDrive(drive) ? previous : -1;
}

int FileString::SetDrive(const char* path) const { return SetDrive(FileString(path).GetDrive()); }

int FileString::DriveType() const { return FileStringA().fs_DriveType(GetName() ? GetName() : ""); }

bool FileString::IsAbsolute() const {
    const std::string_view path = view();
    const std::size_t root = paths::rootLength(path);
    // "c:name" is relative to the drive's current folder.
    return root > 0 && !(root == 2 && path[1] == ':');
}

int FileString::HasDrive() const { return paths::hasDrive(view()); }
int FileString::HasVnc() const { return paths::hasVnc(view()) ? 1 : 0; }

std::int64_t FileString::GetFileDate() const { return Platform::modificationTime(native()).value_or(-1); }

bool FileString::SetFileDate(std::int64_t time, const char* name) const {
    return Platform::setModificationTime(name ? paths::native(name) : native(), time);
}

bool FileString::GetFileStat(std::uint64_t& size, std::int64_t& time) const {
    const auto bytes = Platform::fileSize(native());
    const auto date = Platform::modificationTime(native());
    if (!bytes || !date) return false;
    size = *bytes;
    time = *date;
    return true;
}

std::int64_t FileString::GetFileSize() const {
    const auto bytes = Platform::fileSize(native());
    return bytes ? static_cast<std::int64_t>(*bytes) : -1;
}

std::string FileString::ReadTextFile() const { return FileStringA().fs_ReadTextFile(GetName() ? GetName() : ""); }

const char* FileString::ParseDestination(const char* destination) {
    if (destination == nullptr || *destination == '\0') return GetName();
    if (!Platform::isFolder(paths::native(destination))) throw TextException("Ouput folder does not exist\n");
    std::string_view folder(destination);
    if (folder.size() > paths::rootLength(folder) && paths::trailingSlash(folder) != paths::none) folder.remove_suffix(1);
    return Set(folder);
}

int FileString::CompareFull(const char* other) const {
    return other && paths::equalIgnoringCase(view(), other) ? 1 : 0;
}

int FileString::CompareList(std::span<const char* const> names) const {
    return FileStringA(GetName()).fs_CompareList(names);
}

}  // namespace archivefile

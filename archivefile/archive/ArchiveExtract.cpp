// Extraction: the output folder, selection by a file list, one file written per entry with its time,
// the prefix file, and the listing that replaces extraction in list mode. Nothing is written outside
// the folder the caller named, whatever names the archive carries.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string_view>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

namespace {

namespace fs = std::filesystem;

std::string joined(const std::string& folder, const std::string& name) {
    FileStringA path;
    return path.fs_format_folder_and_file(folder.c_str(), name.c_str());
}

bool within(const fs::path& candidate, const fs::path& root) {
    const fs::path relative = candidate.lexically_relative(root);
    return !relative.empty() && *relative.begin() != "..";
}

}  // namespace

std::vector<std::string> ArchiveFile::listItems(const char* list) {
    if (list == nullptr || *list == '\0') return {};
    GenString text;
    text.Strdup(list);
    std::vector<std::string> items = text.ParseCommas();
    std::erase_if(items, [](const std::string& item) { return item.empty(); });
    return items;
}

// ---- Listing and extracting a whole archive ------------------------------------------------------

int ArchiveFile::ExtractPbo(const char* path, LogCallback callback, int flags, const char* fileList,
                            const char* destFolder) {
    const int opened = OpenPbo(path, callback, flags);
    if (opened != AE_NoError && opened != AE_BadSha) return opened;
    const bool badSha = opened == AE_BadSha;
    int code = CommonException(guarded(
        stream_,
        [&]() -> int {
            if (badSha) {
                if (flags & Strict) {
                    report("Warning: Content NOT extracted\r\n");
                    return AE_BadSha;
                }
                report("Warning: Content extracted regardless\r\n");
            }
            if (flags & ListOnly) {
                listEntries(flags);
                return AE_NoError;
            }
            return ExtractPreOpened(static_cast<unsigned>(flags), fileList, destFolder, 0);
        },
        [this] { writer_.abandonOutput(); }));
    if (code == AE_NoError && badSha) code = AE_BadSha;
    ClosePbo();
    lastError_ = code;
    return code;
}

void ArchiveFile::listEntries(int flags) {
    for (const auto& entry : entries_) {
        if (flags & Brief) {
            report("%s\r\n", entry->name());
            continue;
        }
        std::string time = Platform::localTimeText(entry->timeStamp());
        if (const std::size_t newline = time.rfind('\n'); newline != std::string::npos) time.erase(newline);
        // The listing keeps its long-standing layout, signed sizes included: no entry of an archive
        // comes near 2 GiB.
        const auto originalSize = static_cast<int>(entry->originalSize());
        const auto dataSize = static_cast<int>(entry->dataSize());
        const std::string line =
            entry->isCompressed()
                ? formatText("%s:%s: size %d (compressed or encrypted) %d", entry->name(), time.c_str(),
                             originalSize, dataSize)
                : formatText("%s:%s: size %d", entry->name(), time.c_str(), dataSize);
        report("%s\r\n", line.c_str());
    }
    if (strangeValues_ != 0) report("%s\r\n", _StrangeValuesStr());
}

int ArchiveFile::ExtractPreOpened(unsigned flags, const char* fileList, const char* destFolder, int keepData) {
    if (!isOpen()) return lastError_ = AE_CodeBug;
    return CommonException(guarded(
        stream_,
        [&]() -> int {
            extraction_ = {};
            extraction_.keepText = (flags & KeepText) != 0;
            const bool hasDestination = destFolder != nullptr && *destFolder != '\0';
            const bool usePrefix = HasPrefix() && !(flags & IgnorePrefix);
            if (usePrefix && !prefix_.empty() && paths::prefixLeavesFolder(prefix_)) {
                report("Cannot use prefix %s: it leads outside the output folder\r\n", prefix_.c_str());
                return AE_IllegalFolder;
            }
            const std::string folder = outputFolder(flags, destFolder);
            extraction_.folder = paths::native(folder);
            const bool remove = !usePrefix || !hasDestination || (flags & AlwaysRemoveFolder);
            if (remove && writer_.RemoveFoldersRecurse(folder.c_str()) != 1) {
                report("Cannot destroy folder(s) %s : %s\r\n", folder.c_str(),
                       Platform::errorText(Platform::lastError()).c_str());
                return AE_CannotRemoveFolder;
            }

            const bool brief = (flags & Brief) != 0;
            const std::vector<std::string> items = listItems(fileList);
            const bool selected = !items.empty() || selection_ != nullptr;
            const auto namesPrefixFile = [](const std::string& item) { return IsPrefixFile(item.c_str()); };
            if (selection_ == nullptr && std::any_of(items.begin(), items.end(), namesPrefixFile)) {
                if (!HasPrefix()) {
                    std::fputs("Warning: this pbo has no prefix to extract", stderr);
                    return AE_NoError;
                }
                return _PrefixFile_MakeName(folder.c_str(), brief);
            }

            int result = _Extract(folder.c_str(), fileList, flags, keepData);
            if (strangeValues_ != 0) report("%s\r\n", _StrangeValuesStr());
            if (result == AE_NothingToExtract && !(flags & Strict)) {
                report("Warning: no file(s) to extract\r\n");
                result = AE_NoError;
            }
            if (result == AE_NoError && !selected && HasPrefix()) result = _PrefixFile_Write(folder.c_str(), brief);
            return result;
        },
        [this] { writer_.abandonOutput(); }));
}

std::string ArchiveFile::outputFolder(unsigned flags, const char* destFolder) {
    const std::string archive = stream_.GetFileAndPath();
    const std::string withoutExtension = FileStringA().fs_GetDriveFileAndPathNoExt(archive.c_str());
    const bool hasDestination = destFolder != nullptr && *destFolder != '\0';
    std::string place = hasDestination ? std::string(destFolder) : withoutExtension;
    if (place.size() > paths::rootLength(place) && paths::trailingSlash(place) != paths::none) place.pop_back();
    extraction_.placeText = place;
    extraction_.placeNamed = paths::native(place);
    std::error_code ignored;
    extraction_.placeResolved = fs::weakly_canonical(extraction_.placeNamed, ignored).string();

    if (HasPrefix() && !(flags & IgnorePrefix)) return joined(place, prefix_);
    if (hasDestination) return joined(place, FileStringA().fs_GetFilenameOnly(archive.c_str()));
    return place;
}

// ---- One entry -----------------------------------------------------------------------------------

int ArchiveFile::_Extract(const char* outputFolder, const char* fileList, unsigned flags, int keepData) {
    const std::int64_t archiveTime = FileString(stream_.GetFileAndPath()).GetFileDate();
    if (archiveTime < 0) report("\r\nDebug: cannot get file time\r\n");
    if (entries_.empty()) return AE_Empty;

    Progress::Counts selected;
    for (const auto& entry : entries_) {
        if (!entry->hasName() || !_MatchList(entry.get(), fileList)) continue;
        ++selected.files;
        selected.bytes += entry->realSize();
    }
    const Progress::Run run(progress_, selected);
    int extracted = 0;
    for (const auto& entry : entries_) {
        const std::size_t refusedBefore = extraction_.refusals;
        const int result = _ExtractToFile(outputFolder, entry.get(), (flags & DecodeText) != 0, fileList,
                                          archiveTime, keepData);
        // A refused entry is reported and skipped; the others are still extracted.
        if (result == AE_NothingToExtract || extraction_.refusals != refusedBefore) continue;
        if (result != AE_NoError) return result;
        ++extracted;
    }
    if (extraction_.refusals != 0) return AE_IllegalFolder;
    return extracted > 0 ? AE_NoError : AE_NothingToExtract;
}

int ArchiveFile::_ExtractToFile(const char* outputFolder, pbo_entry* entry, bool decode, const char* fileList,
                                std::int64_t archiveTime, int keepData) {
    if (!entry->hasName()) return AE_NoFile;
    if (!_MatchList(entry, fileList)) return AE_NothingToExtract;
    report("%s", entry->name());
    if (IsPrefixFile(entry->fileName())) {
        report(" ignoring erroneous prefix file inside pbo\r\n");
        return AE_NoError;
    }
    if (paths::leavesFolder(entry->fileName().view())) {
        report(" refused: an absolute path, a drive, \"..\" or a device name cannot be extracted\r\n");
        ++extraction_.refusals;
        return AE_IllegalFolder;
    }
    // "*" cannot stand in a file name, so archives that use it get a "z" in its place, in the prefix
    // as in the entry's name. The folder the user named keeps its own characters: a target moved
    // out of it would be written outside the place the user named.
    std::string target = joined(outputFolder, entry->name());
    const std::string& place = extraction_.placeText;
    std::replace(target.begin() + static_cast<std::ptrdiff_t>(target.starts_with(place) ? place.size() : 0),
                 target.end(), '*', 'z');
    const char* reason = refusalFor(target);
    if (reason == nullptr && Platform::isFolder(paths::native(target))) reason = "a folder stands where the file should be";
    if (reason != nullptr) {
        report(" refused: %s\r\n", reason);
        ++extraction_.refusals;
        return AE_IllegalFolder;
    }
    return _ExtractFile(entry, std::move(target), decode, archiveTime, keepData);
}

int ArchiveFile::_ExtractFile(pbo_entry* entry, std::string target, bool decode, std::int64_t archiveTime,
                              int keepData) {
    // The entry's line ends only once its data and folders are in place; a failure before that
    // leaves the name standing without a line end.
    const int loaded = GetFileData(entry, decode ? DecodeData | (extraction_.keepText ? KeepTextBytes : 0) : 0);
    if (loaded < 0) return loaded;
    if (!makeFoldersFor(target)) return AE_IllegalFolder;
    if (decode && entry->WasRapified()) {
        report(" (rapfiled)");
        if (paths::fileKind(target) == FK_ConfigBin) {
            report(" (renaming output to config.cpp)");
            FileString renamed(target.c_str());
            target = renamed.ReplaceExt("cpp");
        }
    }
    report("\r\n");

    bool written = writeFile(target, entry->data());
    if (written) {
        // An entry without a time of its own takes the archive's.
        const std::int64_t time = entry->timeStamp() != 0 ? std::int64_t{entry->timeStamp()} : archiveTime;
        if (time >= 0) written = FileString().SetFileDate(time, target.c_str());
        if (progress_ != nullptr) progress_->advance({1, entry->realSize()});
    }
    if (!keepData) entry->FreeData();
    return written ? AE_NoError : AE_CannotWrite;
}

bool ArchiveFile::_MatchList(const pbo_entry* entry, const char* fileList) const {
    if (selection_ != nullptr) return selection_->matches(entry->name());
    const std::vector<std::string> items = listItems(fileList);
    if (items.empty()) return true;
    const FileStringA name(entry->name());
    return std::any_of(items.begin(), items.end(), [&](const std::string& item) {
        return item.front() == '*' ? name.fs_CompareExt(item.c_str() + 1) != 0
                                   : name.fs_CompareFilenameExtOnly(item.c_str()) != 0;
    });
}

// ---- The prefix file -----------------------------------------------------------------------------

bool ArchiveFile::IsPrefixFile(const char* name) {
    const std::string_view path = name ? name : "";
    const std::string_view fileName = path.substr(paths::fileNameStart(path));
    return paths::equalIgnoringCase(fileName, "$PBOPREFIX$") || paths::equalIgnoringCase(fileName, PrefixFileName);
}

bool ArchiveFile::IsPrefixFile(const FileString& name) { return IsPrefixFile(name.GetName()); }

int ArchiveFile::_PrefixFile_MakeName(const char* folder, bool brief) {
    const std::string target = joined(folder, PrefixFileName);
    if (refusalFor(target) != nullptr || !makeFoldersFor(target)) return AE_IllegalFolder;
    return _PrefixFile_Write(folder, brief);
}

int ArchiveFile::_PrefixFile_Write(const char* folder, bool brief) {
    if (!brief) {
        report("Creating prefix file for %s\r\n", GetPrefix());
        report("--------------------\r\n");
    }
    if (!_KegsFile_Write(folder, GetPrefix())) {
        report("Warning: cannot create prefix file %s\r\n", Platform::errorText(Platform::lastError()).c_str());
        return AE_NoFile;
    }
    return AE_NoError;
}

bool ArchiveFile::_KegsFile_Write(const char* folder, const char* prefix) {
    const std::string target = joined(folder, PrefixFileName);
    if (refusalFor(target) != nullptr || !makeFoldersFor(target)) return false;
    const std::string text = std::string(prefix ? prefix : "") + "\r\n" + headerReport_;
    return writeFile(target, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// ---- Writing inside the output folder ------------------------------------------------------------

const char* ArchiveFile::refusalFor(const std::string& target) {
    constexpr const char* outside = "a symbolic link on its path leads outside the output folder";
    const fs::path root(extraction_.placeNamed);
    const fs::path relative = fs::path(paths::native(target)).lexically_relative(root);
    if (relative.empty() || *relative.begin() == "..") return outside;
    // Each folder on the way, the place named included, must be missing (it is made), a folder, or
    // a symbolic link that resolves to a folder inside the place named. Entries named "a" and "a\b"
    // cannot both be files: the second one to come is refused, and the others are still extracted.
    bool missing = false;
    const auto refusalAt = [&](const fs::path& folder) -> const char* {
        if (extraction_.checkedFolders.contains(folder.string())) return nullptr;
        std::error_code error;
        const fs::file_status link = fs::symlink_status(folder, error);
        if (!fs::exists(link)) {
            missing = true;
            return nullptr;
        }
        if (fs::is_symlink(link)) {
            const fs::path resolved = fs::weakly_canonical(folder, error);
            if (error || !within(resolved, fs::path(extraction_.placeResolved))) return outside;
        }
        const fs::file_status status = fs::status(folder, error);
        if (!fs::exists(status)) return "a symbolic link on its path leads nowhere";
        if (!fs::is_directory(status)) return "a file stands where a folder of its path should be";
        extraction_.checkedFolders.insert(folder.string());
        return nullptr;
    };
    const char* reason = refusalAt(root);
    fs::path folder = root;
    for (auto part = relative.begin(); !reason && !missing && std::next(part) != relative.end(); ++part) {
        folder /= *part;
        reason = refusalAt(folder);
    }
    return reason;
}

bool ArchiveFile::makeFoldersFor(const std::string& target) {
    const std::string folder = paths::driveAndFolder(target);
    if (extraction_.madeFolders.contains(folder)) return true;
    if (writer_.MakeFolders(target.c_str()) != 1) return false;
    extraction_.madeFolders.insert(folder);
    return true;
}

bool ArchiveFile::writeFile(const std::string& target, std::span<const std::uint8_t> bytes) {
    if (!writer_.CreateFileA(target.c_str())) return false;
    try {
        writeInPieces(bytes);
        // The file replaces the target only here, and the rename may fail like any write.
        writer_.CloseOutput();
    } catch (Generic_Errors code) {
        if (code != GE_CannotWrite) throw;
        writer_.abandonOutput();
        return false;
    }
    return true;
}

}  // namespace archivefile

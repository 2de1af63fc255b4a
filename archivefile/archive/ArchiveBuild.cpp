// Building archives, from a folder or entry by entry: the properties entry of the chosen style, the
// entries (from a folder in a fixed order, config.cpp binarised on the way), optional compression,
// and the trailer. The header is written first with the sizes still open and filled in once every
// entry's data is out, so that memory holds one file at a time, however large the folder.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <string_view>
#include <unordered_set>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/Sha1.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexDLL.h"
#include "archivefile/model/P3dFile.h"

namespace archivefile {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view ToolPropertyName = "Tavin";
constexpr std::string_view ToolPropertyValue = "ArchiveFile.dll";

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// An extension item matches with or without its dot ("ogg" and ".ogg").
bool hasExtensionIn(std::string_view name, const std::vector<std::string>& extensions) {
    const std::size_t dot = paths::extension(name);
    if (dot == paths::none) return false;
    const std::string_view extension = name.substr(dot + 1);
    return std::any_of(extensions.begin(), extensions.end(), [&](const std::string& item) {
        const std::string_view wanted = item.front() == '.' ? std::string_view(item).substr(1) : std::string_view(item);
        return paths::equalIgnoringCase(extension, wanted);
    });
}

// An exclusion item is a file name ("notes.txt") or a "*" and an extension ("*.bak").
bool excludedBy(std::string_view name, const std::vector<std::string>& items) {
    const std::string_view fileName = name.substr(paths::fileNameStart(name));
    return std::any_of(items.begin(), items.end(), [&](const std::string& item) {
        if (item.front() == '*') return hasExtensionIn(name, {item.substr(1)});
        return paths::equalIgnoringCase(fileName, item);
    });
}

std::string firstLine(const std::string& text) {
    std::string line = text.substr(0, text.find_first_of("\r\n"));
    GenString trimmed;
    trimmed.Strdup(line.c_str());
    return trimmed.Trim();
}

// A prefix is written with backslashes and without a separator at either end.
std::string normalisedPrefix(std::string_view prefix) {
    std::string text = paths::withSeparator(prefix, '\\');
    while (!text.empty() && text.front() == '\\') text.erase(text.begin());
    while (!text.empty() && text.back() == '\\') text.pop_back();
    return text;
}

// The folder's prefix file; empty when it has none.
std::string prefixFileIn(const std::string& folder) {
    for (const char* name : {"$PBOPREFIX$", "PboPrefix.txt"}) {
        const std::string path = folder + "/" + name;
        if (Platform::isFile(path)) return path;
    }
    return {};
}

// The prefix that a prefix file's text gives: its first line, with or without "prefix=" before it.
std::string prefixInText(const std::string& text) {
    std::string first = firstLine(text);
    if (paths::equalIgnoringCase(std::string_view(first).substr(0, 7), "prefix=")) first = firstLine(first.substr(7));
    return normalisedPrefix(first);
}

// The prefix that the build will use, found without a word: models are checked before the prefix
// is reported.
std::string buildPrefix(const std::string& folder, const char* prefix) {
    if (prefix != nullptr && *prefix != '\0') return normalisedPrefix(prefix);
    const std::string prefixFile = prefixFileIn(folder);
    return prefixFile.empty() ? std::string() : prefixInText(FileStringA().fs_ReadTextFile(prefixFile.c_str()));
}

std::uint32_t entryTime(std::int64_t seconds) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::uint32_t>::max()));
}

// The percentage of the compression messages; where there is nothing to reduce it is 0.
double reduction(std::uint64_t before, std::uint64_t after) {
    if (before == 0) return 0.0;
    return 100.0 - static_cast<double>(after) / static_cast<double>(before) * 100.0;
}

// A name that a model gives is found when it is a file of the archive being built (`archived`, in
// lower case), named either with the archive's prefix or from the folder's root, or a file under the
// include root, whatever the case of its letters there. Procedural textures ("#(...)") are no files.
bool modelReferenceFound(const std::string& name, const std::string& prefix,
                         const std::unordered_set<std::string>& archived, const std::string& includeRoot) {
    if (name.front() == '#') return true;
    std::string path = paths::withSeparator(name, '\\');
    // A name saved with the drive of the work folder ("P:\x\mod\...") names the same file as one
    // without it: the include root stands for that drive.
    if (path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0]))) path.erase(0, 2);
    while (!path.empty() && path.front() == '\\') path.erase(path.begin());
    const std::string lower = lowerCase(path);
    const std::string lowerPrefix = lowerCase(prefix) + "\\";
    if (archived.contains(lower)) return true;
    if (!prefix.empty() && lower.starts_with(lowerPrefix) && archived.contains(lower.substr(lowerPrefix.size())))
        return true;
    return !includeRoot.empty() && !Platform::findFileIgnoringCase(paths::native(includeRoot + "/" + path)).empty();
}

}  // namespace

// ---- The whole build -----------------------------------------------------------------------------

void ArchiveFile::useCallback(LogCallback callback) {
    callback_ = callback;
    for (VexFileIO* stream : {&stream_, &writer_}) {
        stream->SetErrCallBack(callback);
        stream->SetCallBack(callback);
    }
}

int ArchiveFile::MakePboNew(const char* folder, int flags, const char* outputName, LogCallback callback,
                            const char* neverCompress, const char* prefix, const char* exclude) {
    ClosePbo();
    useCallback(callback);
    if (flags & NoCompression) flags &= ~CompressEntries;
    setNeverCompress(neverCompress);

    const std::string source = paths::native(folder ? folder : "");
    return CommonException(guarded(
        writer_,
        [&]() -> int {
            if (source.empty() || !Platform::isFolder(source)) {
                report("Folder does not exist %s\r\n", source.c_str());
                return AE_NoFile;
            }
            const std::string output = _CreateOutFname(source, outputName);
            std::vector<BuildEntry> files = walkSource(source);
            _RecurseScanForSpecialFiles(files, flags & ~OptionBits, prefix != nullptr && *prefix != '\0');
            report("Building entries..\r\n");
            std::vector<BuildEntry> entries = _RecurseBuildEntries(std::move(files), output, exclude, flags);
            if (entries.empty()) return AE_Empty;
            if (flags & CheckModels) _CheckP3d(entries, buildPrefix(source, prefix));
            const std::string prefixText = _CalcPrefix(source, prefix);
            // The reason why CreatePbo could not begin the archive (a cancel, say) is its last error.
            if (!CreatePbo(output.c_str(), flags, prefixText.c_str(), callback)) return lastError_;
            for (BuildEntry& entry : entries) _AddEntryNew(std::move(entry));
            return SavePbo();
        },
        [this] {
            endBuild();
            builtArchive_.clear();
        }));
}

// ---- Names, the folder's files and the prefix ----------------------------------------------------

std::string ArchiveFile::_CreateOutFname(const std::string& folder, const char* outputName) {
    if (outputName != nullptr && *outputName != '\0') {
        FileStringA name(paths::native(outputName));
        return name.fs_AddExt(".pbo");
    }
    // The archive goes beside the folder, however the folder was named ("f", "f/", "a/b", "." or "..").
    fs::path place = fs::path(folder).lexically_normal();
    if (!place.has_filename()) place = place.parent_path();
    if (place.empty() || place.filename() == "." || place.filename() == "..") {
        place = fs::absolute(place).lexically_normal();
        if (!place.has_filename()) place = place.parent_path();
    }
    std::string name = place.filename().string();
    // A folder may name its own archive, in its first line or as "#define NAME value": a file name
    // only, since a name with folders would place the archive somewhere the user never named.
    const char* nameFile = nullptr;
    for (const char* candidate : {"PboName.h", "PboName.hpp"}) {
        const std::string path = folder + "/" + candidate;
        if (!Platform::isFile(path)) continue;
        std::string given = firstLine(FileStringA().fs_ReadTextFile(path.c_str()));
        if (given.rfind("#define", 0) == 0) {
            const std::size_t value = given.find_first_of(" \t", given.find_first_not_of(" \t", 7));
            given = value == std::string::npos ? std::string() : firstLine(given.substr(value));
        }
        if (given.size() >= 2 && given.front() == '"' && given.back() == '"') given = given.substr(1, given.size() - 2);
        if (given.empty()) break;
        if (given.find_first_of("\\/") != std::string::npos || given == "." || given == ".." ||
            (given.size() >= 2 && given[1] == ':')) {
            report("Cannot take the archive name %s from %s: it must be a file name, without folders or a "
                   "drive\r\n",
                   given.c_str(), candidate);
            raise(AE_IllegalFolder);
        }
        name = given;
        nameFile = candidate;
        break;
    }
    FileStringA output((place.parent_path() / name).string());
    output.fs_AddExt(".pbo");
    if (nameFile != nullptr) report("Renaming output to %s\r\n", output.c_str());
    return output.str();
}

std::vector<ArchiveFile::BuildEntry> ArchiveFile::walkSource(const std::string& folder) {
    std::vector<Platform::FolderItem> files;
    std::vector<Platform::FolderItem> leftOut;
    std::string unreadable;
    if (!Platform::walkFolder(folder, files, unreadable, &leftOut)) {
        report("cannot read %s\r\n", unreadable.c_str());
        raise(AE_CannotReadFile);
    }
    for (const Platform::FolderItem& item : leftOut) {
        const std::string name = paths::withSeparator(item.relativePath, '\\');
        report("excluding %s (%.*s)\r\n", name.c_str(), static_cast<int>(item.leftOutBecause.size()),
               item.leftOutBecause.data());
    }
    std::vector<BuildEntry> entries;
    entries.reserve(files.size());
    for (Platform::FolderItem& file : files) {
        BuildEntry entry;
        entry.name = paths::withSeparator(file.relativePath, '\\');
        entry.source = folder + "/" + file.relativePath;
        entry.size = file.size;
        entry.time = buildTime_.value_or(file.modificationTime);
        entries.push_back(std::move(entry));
    }
    return entries;
}

void ArchiveFile::_RecurseScanForSpecialFiles(const std::vector<BuildEntry>& files, int style, bool prefixGiven) {
    if (style != StyleKern || prefixGiven) return;
    // An archive without a prefix is mounted as a mission, a campaign or a root addon, and each of
    // those is recognised by one of its files at the root; a prefix file there gives the prefix.
    bool recognised = false;
    for (const BuildEntry& file : files) {
        if (file.name.find('\\') != std::string::npos) continue;
        const int kind = paths::fileKind(file.name);
        if (IsPrefixFile(file.name.c_str())) return;
        recognised = recognised || kind == FK_ConfigCpp || kind == FK_ConfigBin || kind == FK_MissionSqm ||
                     kind == FK_DescriptionExt;
    }
    if (recognised) return;
    report("%s: an archive without a prefix needs config.cpp, config.bin, mission.sqm or description.ext at its "
           "root\r\n",
           ErrorString(AE_NoMissionOrConfig));
    raise(AE_NoMissionOrConfig);
}

std::vector<ArchiveFile::BuildEntry> ArchiveFile::_RecurseBuildEntries(std::vector<BuildEntry> files,
                                                                       const std::string& output,
                                                                       const char* exclude, int flags) {
    const std::vector<std::string> excluded = listItems(exclude);
    const std::string outputPath = paths::native(output);
    std::vector<BuildEntry> entries;
    for (BuildEntry& file : files) {
        const std::string fileName = file.name.substr(paths::fileNameStart(file.name));
        // Explorer thumbnails are never content.
        if (paths::equalIgnoringCase(fileName, "thumbs.db")) continue;
        if (IsPrefixFile(fileName.c_str()) || excludedBy(file.name, excluded) ||
            (exclusion_ != nullptr && exclusion_->matches(file.name)) || paths::equalPaths(file.source, outputPath, true)) {
            report("excluding %s\r\n", file.name.c_str());
            continue;
        }
        if (!(flags & KeepConfigText) && paths::fileKind(file.name) == FK_ConfigCpp) {
            file.name = file.name.substr(0, paths::fileNameStart(file.name)) + "config.bin";
            file.binarise = true;
        }
        entries.push_back(std::move(file));
    }
    // A config.bin compiled from text sorts after a config.bin file beside it, and so replaces it.
    std::sort(entries.begin(), entries.end(), [](const BuildEntry& a, const BuildEntry& b) {
        const std::string lowerA = lowerCase(a.name), lowerB = lowerCase(b.name);
        if (lowerA != lowerB) return lowerA < lowerB;
        if (a.binarise != b.binarise) return b.binarise;
        return a.name < b.name;
    });
    return entries;
}

std::string ArchiveFile::_CalcPrefix(const std::string& folder, const char* prefix) {
    properties_.clear();
    const std::string prefixFile = prefixFileIn(folder);
    if (prefix != nullptr && *prefix != '\0') {
        if (!prefixFile.empty()) report("Ignoring folder's prefix file\r\n");
        return normalisedPrefix(prefix);
    }
    if (prefixFile.empty()) return {};

    const std::string text = FileStringA().fs_ReadTextFile(prefixFile.c_str());
    const std::string folderPrefix = prefixInText(text);
    report("Using folder's prefix:%s \r\n", folderPrefix.c_str());

    // A prefix file written by extraction carries the archive's header report; its property lines
    // come back into the new archive, so that unpacking and packing again keeps them.
    GenString lines;
    lines.Strdup(text.c_str());
    std::string line;
    bool inReport = false;
    while (lines.GetNextLine(line)) {
        if (line == "======<HEADER>=======") inReport = true;
        else if (line.rfind("Pbo Type is:", 0) == 0 || line.rfind("======</HEADER>", 0) == 0) inReport = false;
        else if (const std::size_t equals = line.find('='); inReport && equals != std::string::npos && equals > 0) {
            TokenPair property;
            property.name.Strdup(line.substr(0, equals).c_str());
            property.value.Strdup(line.substr(equals + 1).c_str());
            properties_.push_back(std::move(property));
        }
    }
    return folderPrefix;
}

// ---- Models --------------------------------------------------------------------------------------

// Every model of the folder is opened; the textures and materials that the faces of an editable one
// name must be in the archive being built or under the include root, or the build stops with the list
// of what is missing. Binarised bodies are not interpreted, so they name nothing here.
void ArchiveFile::_CheckP3d(const std::vector<BuildEntry>& entries, const std::string& prefix) {
    std::vector<const BuildEntry*> models;
    for (const BuildEntry& entry : entries)
        if (paths::fileKind(entry.name) == FK_Model) models.push_back(&entry);
    if (models.empty()) return;
    P3dFile* reader = parent_ ? parent_->p3dFile() : nullptr;
    if (reader == nullptr) raise(AE_CodeBug);

    std::unordered_set<std::string> archived;
    for (const BuildEntry& entry : entries) archived.insert(lowerCase(entry.name));

    report("scanning p3d\r\n");
    std::vector<std::string> missing;
    std::unordered_set<std::string> listed;
    for (const BuildEntry* model : models) {
        // The model's own type line completes this one.
        report("%s: ", model->name.c_str());
        const int code = reader->Open(model->source.c_str(), callback_);
        // A cancel from the callback while the model reported itself is the user's, not the model's.
        if (code == GE_UserCancelled) raise(GE_UserCancelled);
        if (code != 0) {
            report("%s\r\n", reader->ErrorString(static_cast<unsigned char>(code)));
            raise(AE_ModelOrWorldFormat);
        }
        const std::vector<std::string> names = reader->GetP3dFilenames();
        reader->Close();
        // Images are what an editable model names while it is being made; they are not what the
        // binarised form will name.
        const bool namesImages = std::any_of(names.begin(), names.end(), [](const std::string& name) {
            return paths::fileKind(name) == FK_Image;
        });
        if (namesImages) report("unbinarised p3d has tga-only reference detected\r\n");
        for (const std::string& name : names) {
            if (modelReferenceFound(name, prefix, archived, includeRoot_) || !listed.insert(lowerCase(name)).second) continue;
            missing.push_back(name);
        }
    }
    if (missing.empty()) return;
    for (const std::string& name : missing) report("missing %s\r\n", name.c_str());
    report("</end missing files>\r\n");
    raise(AE_MissingFiles);
}

// ---- Building entry by entry ---------------------------------------------------------------------

bool ArchiveFile::CreatePbo(const char* outputName, int style, const char* prefix, LogCallback callback) {
    useCallback(callback);
    if (writer_.WriteActive()) {
        lastError_ = AE_CodeBug;
        return false;
    }
    if (prefix != nullptr && *prefix != '\0') prefix_ = prefix;
    buildStyle_ = style & ~OptionBits;
    buildFlags_ = style & OptionBits;
    if (buildFlags_ & NoCompression) buildFlags_ &= ~CompressEntries;
    buildEntries_.clear();
    buildIndex_.clear();
    totals_ = {};
    builtArchive_.clear();
    const int code = CommonException(guarded(
        writer_,
        [&]() -> int {
            FileStringA name(outputName ? outputName : "");
            if (HasPboExt(name)) name.fs_RemoveExt();
            name.fs_AddExt(".pbo");
            writer_.MakeFolders(name);
            if (!writer_.CreateFileA(name)) return AE_CannotWrite;
            builtArchive_ = paths::native(name.c_str());

            switch (buildStyle_) {
            case StyleVanguard:
                report("Creating Vanguard style pbo\r\n");
                _WriteFirstHeaderBegin();
                _header_write_token("product", "TGR: Vanguard");
                _WriteFirstHeaderEnd();
                break;
            case StyleKernNoSha:
            case StyleRegal:
                report(buildStyle_ == StyleRegal ? "Creating Xbox Regal Style Pbo:\r\n"
                                                 : "Creating KerN style no sha1key\r\n");
                _WriteFirstHeaderBegin();
                if (!prefix_.empty()) _header_write_prefix();
                _WriteFirstHeaderEnd();
                break;
            case StyleKern:
                report(prefix_.empty() ? "Creating KerN noPrefix (mission/campaign/or rootAddon) pbo:\r\n"
                                       : "Creating KerN style pbo:\r\n");
                _WriteFirstHeaderBegin();
                if (!prefix_.empty()) _header_write_prefix();
                _WriteFirstHeaderEnd();
                break;
            default:
                report("Creating KQM style pbo\r\n");
                break;
            }
            return AE_NoError;
        },
        [] {}));
    if (code != AE_NoError) endBuild();
    return code == AE_NoError;
}

int ArchiveFile::AddNewEntry(const char* name, const void* data, std::uint64_t size) {
    if (!writer_.WriteActive() || (data == nullptr && size != 0)) return lastError_ = AE_CodeBug;
    // A failed add leaves the archive begun as it was: the guard is the reader's stream, not the output.
    return CommonException(guarded(
        stream_,
        [&] {
            BuildEntry entry;
            entry.name = name ? name : "";
            entry.size = size;
            entry.time = buildTime_.value_or(Platform::now());
            const auto* bytes = static_cast<const std::uint8_t*>(data);
            if (size != 0) entry.bytes.assign(bytes, bytes + size);
            _AddEntryNew(std::move(entry));
        },
        [] {}));
}

int ArchiveFile::ProcessAddNewEntry(const char* name, const char* file) {
    if (!writer_.WriteActive()) return lastError_ = AE_CodeBug;
    return CommonException(guarded(
        stream_,
        [&] {
            BuildEntry entry;
            entry.name = name ? name : "";
            entry.source = paths::native(file ? file : "");
            const std::optional<std::uint64_t> size = Platform::fileSize(entry.source);
            const std::optional<std::int64_t> time = Platform::modificationTime(entry.source);
            if (!Platform::isFile(entry.source) || !size || !time) {
                report("%s: %s\r\n", ErrorString(AE_NoFile), entry.source.c_str());
                raise(AE_NoFile);
            }
            entry.size = *size;
            entry.time = buildTime_.value_or(*time);
            _AddEntryNew(std::move(entry));
        },
        [] {}));
}

void ArchiveFile::_AddEntryNew(BuildEntry&& entry) {
    std::replace(entry.name.begin(), entry.name.end(), '/', '\\');
    if (!entry.name.empty() && entry.name.front() == '\\') entry.name.erase(entry.name.begin());
    // An empty name would stand in the header as its end.
    if (entry.name.empty()) {
        report("%s: an entry needs a name\r\n", ErrorString(AE_NoFile));
        raise(AE_NoFile);
    }
    if (entry.size > std::numeric_limits<std::uint32_t>::max()) {
        report("%s is too large for an archive entry\r\n", entry.name.c_str());
        raise(AE_CannotReadFile);
    }
    const auto [existing, added] = buildIndex_.try_emplace(lowerCase(entry.name), buildEntries_.size());
    if (added) {
        buildEntries_.push_back(std::move(entry));
        return;
    }
    report("replacing existing content %s\r\n", entry.name.c_str());
    BuildEntry& replaced = buildEntries_[existing->second];
    entry.name = std::move(replaced.name);
    replaced = std::move(entry);
}

int ArchiveFile::SavePbo() {
    if (!writer_.WriteActive()) return lastError_ = AE_CodeBug;
    const int code = CommonException(guarded(writer_, [&] { writeBody(); }, [] {}));
    endBuild();
    if (code != AE_NoError) builtArchive_.clear();
    return code;
}

int ArchiveFile::WriteDataBlockAndClose() { return SavePbo(); }

void ArchiveFile::endBuild() {
    buildEntries_.clear();
    buildIndex_.clear();
    // The prefix and the kept properties were this archive's; with no archive open for reading they
    // must not slip into the next one.
    if (!isOpen()) {
        prefix_.clear();
        properties_.clear();
    }
}

// ---- Writing -------------------------------------------------------------------------------------

void ArchiveFile::_WriteFirstHeaderBegin() {
    writer_.WriteAsciiz("");
    writer_.WriteLong(static_cast<std::int32_t>(pbo_entry::Properties));
    for (int field = 0; field < 4; ++field) writer_.WriteLong(0);
}

void ArchiveFile::_header_write_token(const char* name, const char* value) {
    writer_.WriteAsciiz(name);
    writer_.WriteAsciiz(value);
}

void ArchiveFile::_header_write_prefix() {
    report("Prefix = %s\r\n", prefix_.c_str());
    _header_write_token("prefix", prefix_.c_str());
}

void ArchiveFile::_WriteFirstHeaderEnd() {
    _header_write_token(ToolPropertyName.data(), ToolPropertyValue.data());
    for (const TokenPair& property : properties_) {
        const std::string_view name = property.name.view();
        const bool writtenAlready =
            paths::equalIgnoringCase(name, "prefix") || paths::equalIgnoringCase(name, ToolPropertyName);
        if (!writtenAlready && !name.empty()) _header_write_token(property.name, property.value ? property.value : "");
    }
    writer_.WriteByte(0);
}

void ArchiveFile::writeHeaderEntries(const std::vector<pbo_entry>& entries) {
    for (const pbo_entry& entry : entries) {
        writer_.WriteAsciiz(entry.name());
        writer_.WriteLong(static_cast<std::int32_t>(entry.packingMethod_));
        writer_.WriteLong(static_cast<std::int32_t>(entry.originalSize_));
        writer_.WriteLong(static_cast<std::int32_t>(entry.reserved_));
        writer_.WriteLong(static_cast<std::int32_t>(entry.timeStamp_));
        writer_.WriteLong(static_cast<std::int32_t>(entry.dataSize_));
    }
    // The terminating entry: an empty name and five zero fields.
    writer_.WriteAsciiz("");
    for (int field = 0; field < 5; ++field) writer_.WriteLong(0);
}

void ArchiveFile::writeBody() {
    const std::int64_t headerStart = writer_.Ftell(true);
    std::vector<pbo_entry> entries(buildEntries_.size());
    Progress::Counts total;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].name_.Set(buildEntries_[i].name);
        entries[i].timeStamp_ = entryTime(buildEntries_[i].time);
        ++total.files;
        total.bytes += buildEntries_[i].size;
    }
    const Progress::Run run(progress_, total);
    // Sizes are not known yet: the header is written now to reserve its place and again below.
    writeHeaderEntries(entries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        BuildEntry& entry = buildEntries_[i];
        if (!entry.source.empty() && !entry.binarise && storedAsIs(entry.name)) {
            // A file stored as it is goes across a piece at a time: memory stays small and a cancel
            // is noticed however large the file.
            keepStored(entries[i], entry.size);
            readSource(entry, [&](std::span<const std::uint8_t> piece) { writer_.WriteBlock(piece.data(), piece.size()); });
        } else {
            std::vector<std::uint8_t> data = entryBytes(entry);
            compressEntry(entries[i], data);
            writeInPieces(data);
        }
        run.advance({1, entry.size});
    }
    if (buildFlags_ & CompressEntries)
        report("Overall compression from %llu to %llu (%2.f%c reduction)", static_cast<unsigned long long>(totals_.before),
               static_cast<unsigned long long>(totals_.after), reduction(totals_.before, totals_.after), '%');

    const std::int64_t dataEnd = writer_.Ftell(true);
    // A seek writes out what is buffered, so it may be the first to meet a full disk.
    if (!writer_.Fseek(headerStart)) writer_.failWriting(Platform::lastError());
    writeHeaderEntries(entries);
    if (!writer_.Fseek(dataEnd)) writer_.failWriting(Platform::lastError());
    _WriteChecksum(buildStyle_);
    writer_.CloseOutput();
}

std::vector<std::uint8_t> ArchiveFile::entryBytes(BuildEntry& entry) {
    if (entry.source.empty()) return std::move(entry.bytes);
    std::vector<std::uint8_t> bytes;
    if (!entry.binarise) {
        bytes.reserve(entry.size);
        readSource(entry, [&](std::span<const std::uint8_t> piece) { bytes.insert(bytes.end(), piece.begin(), piece.end()); });
        return bytes;
    }
    Rapify* compiler = parent_ ? parent_->rapify() : nullptr;
    if (compiler == nullptr) raise(AE_CodeBug);
    compiler->SetIncludeRoot(includeRoot_.c_str());
    // Archives of the newer generations carry offset-style configs whatever their text chose,
    // unless the text's own choice is asked for.
    const bool force = buildStyle_ >= StyleKernNoSha && !(configOptions_ & Rapify::KernByDefault);
    int code = compiler->OpenRapText(entry.source.c_str(), configOptions_ | (force ? Rapify::ForceKern : 0),
                                     compileCallback_.value_or(callback_));
    if (code == 0) code = compiler->OutputRap(bytes, force);
    if (code != 0) {
        report("%s\r\n", compiler->ErrorString(code));
        compiler->Close();
        raise(AE_RapError);
    }
    compiler->Close();
    return bytes;
}

void ArchiveFile::readSource(const BuildEntry& entry, const std::function<void(std::span<const std::uint8_t>)>& consume) {
    FilePtr file(Platform::openRegularFile(entry.source), std::fclose);
    std::vector<std::uint8_t> piece(static_cast<std::size_t>(std::min<std::uint64_t>(entry.size, Progress::PieceSize)));
    std::uint64_t left = entry.size;
    while (file && left > 0) {
        const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(left, piece.size()));
        if (std::fread(piece.data(), 1, size, file.get()) != size) break;
        consume({piece.data(), size});
        left -= size;
        checkpoint();
    }
    // A file that changed size since the folder was scanned would not match its header entry.
    if (!file || left != 0 || std::fgetc(file.get()) != EOF) {
        report("%s: %s\r\n", ErrorString(AE_CannotReadFile), entry.source.c_str());
        raise(AE_CannotReadFile);
    }
}

bool ArchiveFile::storedAsIs(std::string_view name) const {
    // A never-compress extension is kept as it is on purpose.
    return !(buildFlags_ & CompressEntries) || hasExtensionIn(name, neverCompress_);
}

void ArchiveFile::keepStored(pbo_entry& entry, std::uint64_t size) {
    entry.packingMethod_ = pbo_entry::Stored;
    entry.originalSize_ = 0;
    entry.dataSize_ = static_cast<std::uint32_t>(size);
    entry.realSize_ = entry.dataSize_;
    if (!(buildFlags_ & CompressEntries)) return;
    totals_.before += size;
    totals_.after += size;
}

void ArchiveFile::compressEntry(pbo_entry& entry, std::vector<std::uint8_t>& data) {
    keepStored(entry, data.size());
    if (storedAsIs(entry.name())) return;

    report("compressing %s", entry.name());
    BlockCoder coder;
    const std::int64_t packed = coder.compress(data, BlockCoder::LzssFlag);
    if (packed <= 0) raise(AE_NoMemory);
    report("from %zu to %lld (%2.f%c)", data.size(), static_cast<long long>(packed),
           reduction(data.size(), static_cast<std::uint64_t>(packed)), '%');
    if (static_cast<std::uint64_t>(packed) >= data.size()) {
        report(" rejected\r\n");
        return;
    }
    report("\r\n");
    totals_.after -= data.size() - static_cast<std::uint64_t>(packed);
    entry.packingMethod_ = pbo_entry::Compressed;
    entry.originalSize_ = static_cast<std::uint32_t>(data.size());
    entry.dataSize_ = static_cast<std::uint32_t>(packed);
    data.assign(coder.output().begin(), coder.output().end());
}

void ArchiveFile::_WriteChecksum(int style) {
    if (style == StyleKqm || style == StyleVanguard || style == StyleKernNoSha) return;
    Sha1 sha;
    writer_.readBackInPieces([&](std::span<const unsigned char> piece) {
        sha.update(piece);
        checkpoint();
    });
    const Sha1::Digest digest = sha.final();
    if (style == StyleRegal) {
        // A new console archive carries the first four bytes of the SHA-1 of what precedes them.
        report("Writing regal key\r\n");
        writer_.WriteByte(0);
        writer_.WriteBlock(digest.data(), 4);
        return;
    }
    report("Writing sha '%s'\r\n", Sha1::hexText(digest).c_str());
    writer_.WriteByte(0);
    writer_.WriteBlock(digest.data(), digest.size());
}

}  // namespace archivefile

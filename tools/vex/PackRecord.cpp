#include "tools/vex/PackRecord.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <span>
#include <system_error>
#include <vector>

#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/Sha1.h"

namespace vex {

namespace {

namespace fs = std::filesystem;
using archivefile::Platform;
using archivefile::Sha1;

// A record is a line of digests and numbers and the archive's path; anything longer is not one.
constexpr std::size_t LongestRecord = 16384;

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Modification times to the nanosecond: a file saved twice within one second with the same size is
// still seen as changed.
std::string timeOf(const fs::path& path) {
    std::error_code error;
    const fs::file_time_type time = fs::last_write_time(path, error);
    return error ? std::string("?") : std::to_string(time.time_since_epoch().count());
}

std::optional<std::string> listingDigest(const std::string& folder) {
    std::vector<Platform::FolderItem> items;
    std::string unreadable;
    if (!Platform::walkFolder(folder, items, unreadable)) return std::nullopt;
    std::sort(items.begin(), items.end(), [](const auto& a, const auto& b) { return a.relativePath < b.relativePath; });
    Sha1 digest;
    for (const Platform::FolderItem& item : items) {
        // A zero byte ends each part: no path contains one, so no two listings read the same.
        const std::string line = item.relativePath + '\0' + std::to_string(item.size) + '\0' +
                                 timeOf(fs::path(folder) / item.relativePath) + '\0';
        digest.update(bytesOf(line));
    }
    return Sha1::hexText(digest.final());
}

}  // namespace

PackRecord::PackRecord(std::string where, std::string state) : where_(std::move(where)), state_(std::move(state)) {}

std::optional<PackRecord> PackRecord::of(const std::string& folder, const std::string& options,
                                         const std::string& output) {
    const std::string cache = Platform::cacheFolder();
    if (cache.empty()) return std::nullopt;
    const std::string native = archivefile::paths::native(folder);
    const std::optional<std::string> listing = listingDigest(native);
    if (!listing) return std::nullopt;
    std::error_code ignored;
    const std::string source = fs::absolute(native, ignored).lexically_normal().string();
    const std::string target = output.empty() ? output : fs::absolute(output, ignored).lexically_normal().string();
    // One record per folder and place it is packed to. Where no place is named the folder may name
    // its archive itself, so the record says which archive it made.
    const std::string name = Sha1::hexText(Sha1::of(bytesOf(source + '\0' + target)));
    const std::string state = Sha1::hexText(Sha1::of(bytesOf(options + '\0' + *listing)));
    return PackRecord((fs::path(cache) / "vex" / "packed" / name).string(), state);
}

std::string PackRecord::stateOf(const std::string& folder) {
    return listingDigest(archivefile::paths::native(folder)).value_or(std::string());
}

std::string PackRecord::textFor(const std::string& archive) const {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(archive, error);
    if (error) return {};
    return state_ + ' ' + std::to_string(size) + ' ' + timeOf(archive) + '\n' + archive + '\n';
}

std::optional<std::string> PackRecord::upToDateArchive() const {
    std::ifstream file(where_, std::ios::binary);
    std::string kept(LongestRecord, '\0');
    file.read(kept.data(), static_cast<std::streamsize>(kept.size()));
    kept.resize(static_cast<std::size_t>(file.gcount()));
    // The archive is named on the second line; the first says what it was built from and what it was.
    const std::size_t firstEnd = kept.find('\n');
    if (firstEnd == std::string::npos || kept.size() < firstEnd + 2 || kept.back() != '\n') return std::nullopt;
    const std::string archive = kept.substr(firstEnd + 1, kept.size() - firstEnd - 2);
    if (archive.empty() || kept != textFor(archive)) return std::nullopt;
    return archive;
}

bool PackRecord::keep(const std::string& archive) const {
    std::error_code error;
    const std::string text = textFor(fs::absolute(archive, error).lexically_normal().string());
    fs::create_directories(fs::path(where_).parent_path(), error);
    if (text.empty() || error) return false;
    // Written whole and then renamed, so that two vex runs never leave half a record.
    std::string temporary;
    std::FILE* file = Platform::createTemporaryBeside(where_, temporary);
    if (file == nullptr) return false;
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool closed = std::fclose(file) == 0;
    if (written && closed && Platform::renameFile(temporary, where_) == 0) return true;
    Platform::removeFile(temporary);
    return false;
}

}  // namespace vex

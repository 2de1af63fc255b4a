// Reading archives: the header entries and properties, the archive's type, the trailer and its
// SHA-1, the header report, and the data of single entries.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/config/RapFormat.h"
#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/Sha1.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexDLL.h"

namespace archivefile {

namespace {

constexpr std::string_view ReportStart = "======<HEADER>=======\r\n";
constexpr std::string_view ReportEnd = "======</HEADER>============\r\n";

// A zero byte and the SHA-1 of everything before it; or, in prefixed console archives, a zero byte
// and a 4-byte checksum.
constexpr std::size_t ShaTrailerSize = 21;
constexpr std::size_t ChecksumTrailerSize = 5;

// Large archives are hashed through the stream in pieces of this size.
constexpr std::size_t HashChunk = std::size_t{1} << 20;

// Compressed entries are always LZSS blocks.
constexpr unsigned EntryCoding = BlockCoder::LzssFlag;

bool openAsNamed(VexFileIO& stream, const std::string& path) {
    return Platform::isFile(paths::native(path)) && stream.openHuge(path.c_str());
}

}  // namespace

ArchiveFile::ArchiveFile(VexDLL* parent) : parent_(parent), stream_(parent), writer_(parent) {}

ArchiveFile::~ArchiveFile() = default;

// ---- Opening and closing -------------------------------------------------------------------------

int ArchiveFile::OpenPbo(const char* path, LogCallback callback, int flags) {
    ClosePbo();
    callback_ = callback;
    for (VexFileIO* stream : {&stream_, &writer_}) {
        stream->SetErrCallBack(callback);
        stream->SetCallBack(callback);
    }
    const std::string name = path ? path : "";
    const int code = CommonException(guarded(stream_, [&]() -> int {
        const bool opened = (flags & OpenAsNamed) != 0 || HasPboExt(name.c_str()) != 0
                                ? openAsNamed(stream_, name)
                                : openAsNamed(stream_, name + ".pbo") || openAsNamed(stream_, name + ".ifa");
        if (!opened) return AE_NoFile;

        headerReport_ = ReportStart;
        int result = _ReadHeaders();
        if (result != AE_NoError) std::fputs("\n", stderr);
        _CallBackHeaderDetails(flags);

        switch (result) {
        case AE_NoSha:
            if (!(flags & Strict)) {
                report("Warning: no sha key\r\n");
                result = AE_NoError;
            }
            break;
        case AE_ResidualBytes:
            if (!(flags & Strict)) {
                report("%s\r\n", ErrorString(AE_ResidualBytes));
                result = AE_NoError;
            }
            break;
        case AE_BadSha:
            report("Warning: Bad Sha detected\r\n");
            report("Warning: calculated='%s'\r\n", Sha1::hexText(computedDigest_).c_str());
            report("Warning: should be= '%s'\r\n", Sha1::hexText(storedDigest()).c_str());
            break;
        default: break;
        }
        return result;
    }));
    // A wrong checksum leaves the archive open on purpose: the caller may still extract from it.
    if (code != AE_NoError && code != AE_BadSha) ClosePbo();
    lastError_ = code;
    return code;
}

bool ArchiveFile::ClosePbo() {
    stream_.CloseInput();
    writer_.abandonOutput();
    entries_.clear();
    buildEntries_.clear();
    buildIndex_.clear();
    properties_.clear();
    prefix_.clear();
    headerReport_.clear();
    type_ = TypeNoProperties;
    strangeValues_ = 0;
    dataStart_ = 0;
    trailer_ = {};
    trailerSize_ = 0;
    computedDigest_ = {};
    return true;
}

unsigned ArchiveFile::HasPboExt(const char* name) {
    const std::string_view path = name ? name : "";
    const std::size_t dot = paths::extension(path);
    if (dot == paths::none) return 0;
    const std::string_view extension = path.substr(dot);
    if (paths::equalIgnoringCase(extension, ".pbo")) return 1;
    if (paths::equalIgnoringCase(extension, ".ifa")) return 4;
    return 0;
}

unsigned ArchiveFile::PboExists(const char* name) {
    const std::string path = name ? name : "";
    return Platform::isFile(paths::native(HasPboExt(path.c_str()) != 0 ? path : path + ".pbo")) ? 1 : 0;
}

// ---- The header --------------------------------------------------------------------------------

int ArchiveFile::_ReadHeaders() {
    type_ = TypeNoProperties;
    strangeValues_ = 0;
    // The stream stays open after a failure: the report is still built from what was read.
    return CommonException(guarded(stream_, [&]() -> int {
        std::uint64_t running = 0;
        while (true) {
            pbo_entry header;
            header.read(stream_);
            if (header.hasName()) {
                if (header.reserved_ != 0) strangeValues_ = 2;
                // A method-0 entry must hold its data as it is; a compressed one may claim equal sizes
                // only in the older archives without a prefix, whose writers marked entries that way.
                const bool accepted =
                    header.packingMethod_ == pbo_entry::Stored ? !header.isCompressed()
                    : header.packingMethod_ == pbo_entry::Compressed
                        ? header.isCompressed() || type_ == TypeNoProperties || type_ == TypeProperties
                        : false;
                if (!accepted) return AE_UnknownHeaderType;
                header.dataOffset_ = running;
                running += header.dataSize_;
                appendEntry(std::move(header));
                continue;
            }
            if (header.originalSize_ != 0 || header.reserved_ != 0 || header.dataSize_ != 0) strangeValues_ = 1;
            switch (header.packingMethod_) {
            case pbo_entry::Stored:
            case pbo_entry::Compressed:
                dataStart_ = static_cast<std::uint64_t>(stream_.Ftell());
                return readTrailer(dataStart_ + running);
            case pbo_entry::Properties:
                _header_read_start();
                break;
            default:
                return AE_UnknownHeaderType;
            }
        }
    }, [] {}));
}

void ArchiveFile::appendEntry(pbo_entry&& header) {
    try {
        entries_.push_back(std::make_unique<pbo_entry>(std::move(header)));
    } catch (const std::bad_alloc&) {
        stream_.Throw(AE_NoMemory, "\r\nnew pbo entry failed\r\n");
    }
    entries_.back()->position_ = entries_.size() - 1;
}

void ArchiveFile::_header_read_start() {
    if (type_ != TypeNoProperties) raise(AE_MultipleProperties);
    type_ = TypeProperties;
    properties_.clear();
    while (_ReadPair()) {
    }
}

bool ArchiveFile::_ReadPair() {
    std::string name = stream_.ReadAsciizH();
    if (name.empty()) return false;
    std::string value = stream_.ReadAsciizH();
    headerReport_ += formatText("%s=%s\r\n", name.c_str(), value.c_str());
    if (paths::equalIgnoringCase(name, "prefix")) {
        type_ = TypePrefixNoTrailer;
        // ">" cannot stand in a folder name, and archives that carry one in their prefix mean "Z".
        prefix_ = value;
        std::replace(prefix_.begin(), prefix_.end(), '>', 'Z');
    }
    TokenPair pair;
    pair.name.Strdup(name.c_str());
    pair.value.Strdup(value.c_str());
    properties_.push_back(std::move(pair));
    return true;
}

int ArchiveFile::readTrailer(std::uint64_t dataEnd) {
    // Moving past the end of the file is a truncated archive: the entries claim more than is there.
    stream_.MoveTo(dataEnd);
    const std::uint64_t remaining = stream_.BytesRemaining();
    if (remaining == 0) {
        if (type_ != TypePrefixNoTrailer) return AE_NoError;
        strangeValues_ = AE_NoSha;
        return AE_NoSha;
    }
    if (remaining == ChecksumTrailerSize && type_ == TypePrefixNoTrailer) {
        stream_.Fread(trailer_.data(), 1, ChecksumTrailerSize);
        trailerSize_ = ChecksumTrailerSize;
        type_ = TypePrefixChecksum;
        return AE_NoError;
    }
    if (remaining == ShaTrailerSize) {
        stream_.Fread(trailer_.data(), 1, ShaTrailerSize);
        trailerSize_ = ShaTrailerSize;
        type_ = type_ == TypePrefixNoTrailer ? TypePrefixSha : TypeShaNoPrefix;
        // A trailer that does not start with its zero byte is not worth hashing.
        if (trailer_[0] != 0) return AE_BadSha;
        return shaMatches(dataEnd) ? AE_NoError : AE_BadSha;
    }
    if (strangeValues_ != 1 && strangeValues_ != 2) strangeValues_ = AE_ResidualBytes;
    return AE_ResidualBytes;
}

bool ArchiveFile::shaMatches(std::uint64_t dataEnd) {
    Sha1 sha;
    std::vector<std::uint8_t> chunk(static_cast<std::size_t>(std::min<std::uint64_t>(HashChunk, dataEnd)));
    stream_.MoveTo(0);
    for (std::uint64_t left = dataEnd; left > 0;) {
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), left));
        stream_.Fread(chunk.data(), 1, piece);
        sha.update({chunk.data(), piece});
        left -= piece;
        checkpoint();
    }
    computedDigest_ = sha.final();
    return std::equal(computedDigest_.begin(), computedDigest_.end(), trailer_.begin() + 1);
}

// ---- The header report ---------------------------------------------------------------------------

const char* ArchiveFile::typeTitle() const {
    switch (type_) {
    case TypeNoProperties: return "KQM ";
    case TypeProperties: return "Vanguard ";
    case TypePrefixNoTrailer: return "Xbox Regal or Kern but missing checksum/sha (possibly a mission.pbo)\r\n";
    case TypePrefixChecksum: return "Regal ";
    case TypePrefixSha:
    case TypeShaNoPrefix: return "Kern ";
    default: return "";
    }
}

int ArchiveFile::contentKind() const {
    bool config = false, mission = false, description = false;
    // Only files at the archive's root say what the archive is.
    for (const auto& entry : entries_) {
        const std::string_view name = entry->fileName().view();
        if (name.find('\\') != std::string_view::npos) continue;
        if (paths::equalIgnoringCase(name, "config.cpp") || paths::equalIgnoringCase(name, "config.bin")) config = true;
        else if (paths::equalIgnoringCase(name, "mission.sqm")) mission = true;
        else if (paths::equalIgnoringCase(name, "description.ext")) description = true;
    }
    int kind = KindNoConfig;
    if (config) kind = mission ? KindMissionAddon : description ? KindCampaignAddon : KindAddon;
    else if (mission) kind = KindMission;
    else if (description) kind = KindCampaign;
    return type_ == TypePrefixSha ? kind + KindWithPrefix : kind;
}

const char* ArchiveFile::contentLine() const {
    const int kind = contentKind();
    switch (type_) {
    case TypePrefixNoTrailer: return "";
    case TypeShaNoPrefix:
        switch (kind) {
        case KindMission: return "Mission\r\n";
        case KindCampaign: return "Campaign\r\n";
        case KindAddon: return "Addon without prefix (pboname assumed)\r\n";
        case KindMissionAddon: return "Mission Addon. No prefix (pboname assumed)\r\n";
        case KindCampaignAddon: return "Campaign Addon. No prefix (pboname assumed)\r\n";
        default: return "Unknown Addon (no config). No prefix (pboname assumed)\r\n";
        }
    case TypePrefixSha:
        switch (kind - KindWithPrefix) {
        case KindMission: return "Mission with irrelevant prefix\r\n";
        case KindCampaign: return "Campaign with irrelevant prefix\r\n";
        case KindAddon: return "Addon\r\n";
        case KindMissionAddon: return "Mission Addon\r\n";
        case KindCampaignAddon: return "Campaign addon\r\n";
        default: return "Unknown Addon (no config).\r\n";
        }
    default:
        switch (kind) {
        case KindMission: return "Mission\r\n";
        case KindCampaign: return "Campaign\r\n";
        case KindAddon: return "Addon\r\n";
        case KindMissionAddon: return "Mission Addon\r\n";
        case KindCampaignAddon: return "Campaign Addon\r\n";
        default: return "Unknown Addon (no config)\r\n";
        }
    }
}

std::span<const std::uint8_t> ArchiveFile::storedDigest() const {
    if (trailerSize_ == 0) return {};
    return std::span<const std::uint8_t>(trailer_).subspan(1, trailerSize_ - 1);
}

void ArchiveFile::_CallBackHeaderDetails(int flags) {
    headerReport_ += "Pbo Type is: ";
    headerReport_ += typeTitle();
    headerReport_ += contentLine();
    if (type_ == TypePrefixSha || type_ == TypeShaNoPrefix)
        headerReport_ += formatText("Sha: '%s'\r\n", Sha1::hexText(storedDigest()).c_str());
    else if (type_ == TypePrefixChecksum)
        headerReport_ += formatText("Checksum: '%s'\r\n", Sha1::hexText(storedDigest()).c_str());
    headerReport_ += ReportEnd;
    if (!(flags & Brief)) report("%s", headerReport_.c_str());
}

// ---- Properties and entries ----------------------------------------------------------------------

bool ArchiveFile::HasPrefix() const {
    return type_ == TypePrefixNoTrailer || type_ == TypePrefixChecksum || type_ == TypePrefixSha;
}

const char* ArchiveFile::GetPrefix() const { return prefix_.c_str(); }

const char* ArchiveFile::SetPrefix(const char* prefix) {
    if (!HasPrefix()) return nullptr;
    prefix_ = prefix ? prefix : "";
    return prefix_.c_str();
}

pbo_entry* ArchiveFile::GetChain() const { return entries_.empty() ? nullptr : entries_.front().get(); }

pbo_entry* ArchiveFile::GetLast() const { return entries_.empty() ? nullptr : entries_.back().get(); }

pbo_entry* ArchiveFile::GetNext(const pbo_entry* entry) const {
    if (entry == nullptr || entry->position_ + 1 >= entries_.size()) return nullptr;
    return entries_[entry->position_ + 1].get();
}

pbo_entry* ArchiveFile::GetPrevious(const pbo_entry* entry) const {
    if (entry == nullptr || entry->position_ == 0 || entry->position_ > entries_.size()) return nullptr;
    return entries_[entry->position_ - 1].get();
}

const char* ArchiveFile::GetEntryFilename(const pbo_entry* entry) const { return entry ? entry->name() : ""; }

pbo_entry* ArchiveFile::FindEntry(const char* name) const {
    if (name == nullptr) return nullptr;
    for (const auto& entry : entries_)
        if (paths::equalPaths(entry->fileName().view(), name, false)) return entry.get();
    return nullptr;
}

// ---- Entry data ----------------------------------------------------------------------------------

int ArchiveFile::GetFileData(pbo_entry* entry, int flags) {
    if (entry == nullptr || !isOpen()) return lastError_ = AE_CodeBug;
    return CommonException(guarded(
        stream_,
        [&]() -> int {
            loadData(*entry);
            if (!(flags & DecodeData)) return AE_NoError;
            // The signature test compares like a string limited to four characters, so it stops at
            // the first zero: any data that begins with a zero byte counts as binarised, and older
            // archives hold configs that rely on exactly that.
            const std::span<const std::uint8_t> data = entry->data();
            if (flags & KeepTextBytes) {
                // Here nothing but a binarised config changes, so nothing else may be taken for one.
                const bool binarised =
                    data.size() > sizeof rapformat::Signature &&
                    std::equal(std::begin(rapformat::Signature), std::end(rapformat::Signature), data.begin());
                return binarised ? decodeConfig(*entry) : AE_NoError;
            }
            if (data.size() > 4 && data[0] == 0) return decodeConfig(*entry);
            return decodeByteOrderMark(*entry);
        },
        [entry] { entry->FreeData(); }));
}

void ArchiveFile::loadData(pbo_entry& entry) {
    entry.FreeData();
    stream_.MoveTo(dataStart_ + entry.dataOffset_);
    // Sizes come from the file: each is checked against what it can stand for before anything is
    // allocated for it.
    if (entry.dataSize_ > stream_.BytesRemaining()) raise(GE_PrematureEof);
    auto stored = std::make_unique_for_overwrite<std::uint8_t[]>(entry.dataSize_);
    if (!entry.isCompressed()) {
        for (std::uint32_t done = 0; done < entry.dataSize_;) {
            const auto piece = static_cast<std::uint32_t>(std::min<std::uint64_t>(Progress::PieceSize, entry.dataSize_ - done));
            stream_.Fread(stored.get() + done, 1, piece);
            done += piece;
            checkpoint();
        }
        entry.setData(std::move(stored), entry.dataSize_);
        return;
    }
    if (!BlockCoder::canExpandTo(entry.dataSize_, entry.originalSize_, EntryCoding)) raise(AE_CompressionError);
    stream_.Fread(stored.get(), 1, entry.dataSize_);
    auto expanded = std::make_unique_for_overwrite<std::uint8_t[]>(entry.originalSize_);
    if (BlockCoder::decompress({stored.get(), entry.dataSize_}, {expanded.get(), entry.originalSize_}, EntryCoding) < 0)
        raise(AE_CompressionError);
    entry.setData(std::move(expanded), entry.originalSize_);
}

namespace {

std::unique_ptr<std::uint8_t[]> copyOf(std::span<const std::uint8_t> bytes) {
    auto copy = std::make_unique_for_overwrite<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

}  // namespace

int ArchiveFile::decodeConfig(pbo_entry& entry) {
    RapFile* decoder = parent_ ? parent_->rapFile() : nullptr;
    if (decoder == nullptr) return AE_NoError;
    const std::string title = formatText("%s : %s", stream_.GetFileNameNoExt(false), entry.name());
    decoder->SetCallBack(callback_);
    const int code = decoder->Rap2Text(entry.data(), title.c_str(), configOptions_);
    if (code != 0) {
        // The entry stays as it was stored; a config that cannot be decoded is still worth having.
        report("\r\nRapfile:%s\r\n", decoder->ErrorString(code));
        decoder->Close();
        return AE_NoError;
    }
    const std::string_view text = decoder->decodedText();
    entry.setData(copyOf({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}), text.size());
    decoder->Close();
    entry.rapified_ = true;
    if (entry.name_.FileIs() == FK_ConfigBin) entry.name_.ReplaceExt(".cpp");
    return AE_NoError;
}

int ArchiveFile::decodeByteOrderMark(pbo_entry& entry) {
    const std::span<const std::uint8_t> data = entry.data();
    // Data with a zero byte anywhere is binary and stays exactly as stored.
    if (std::find(data.begin(), data.end(), 0) != data.end()) return AE_NoError;
    // The mark is handled on a zero-terminated image, as a text file is loaded.
    std::vector<std::uint8_t> image(data.begin(), data.end());
    image.insert(image.end(), {0, 0});
    const int mark = GenString::RemoveBom(image);
    if (mark == -1) return AE_UntranslatableUnicode;
    if (mark == 0) return AE_NoError;
    const std::size_t length = std::strlen(reinterpret_cast<const char*>(image.data()));
    entry.setData(copyOf({image.data(), length}), length);
    return AE_NoError;
}

void ArchiveFile::checkpoint() const {
    if (progress_ != nullptr) progress_->checkpoint();
}

void ArchiveFile::writeInPieces(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const std::size_t piece = std::min(bytes.size(), Progress::PieceSize);
        writer_.WriteBlock(bytes.data(), piece);
        bytes = bytes.subspan(piece);
        checkpoint();
    }
}

// ---- Errors --------------------------------------------------------------------------------------

int ArchiveFile::CommonException(int code) {
    switch (code) {
    case GE_NoError: break;
    case GE_PrematureEof: code = AE_Truncated; break;
    case GE_OutOfMemory: code = AE_NoMemory; break;
    case GE_DebugTrap:
    case GE_CodeBug: code = AE_CodeBug; break;
    case GE_CannotWrite: code = AE_CannotWrite; break;
    case GE_BadUnicode: code = AE_UntranslatableUnicode; break;
    case GE_UserCancelled: code = AE_UserCancelled; break;
    default:
        // The archive's own codes are negative; anything else raised below is unknown here.
        if (code > 0) code = AE_UnknownException;
        break;
    }
    lastError_ = code;
    return code;
}

void ArchiveFile::report(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = vformatText(format, args);
    va_end(args);
    // Every line goes to the callback given to the operation itself, the key-poll callback too: that
    // call is where Escape cancels a long run.
    stream_.PrintToStdErr(text.c_str(), callback_);
}

const char* ArchiveFile::ErrorString(int code) const {
    switch (code) {
    case AE_NoError: return "No error(s)";
    case AE_Truncated: return "ArchiveFile PboFile Truncated";
    case AE_NoMemory: return "ArchiveFile No memory";
    case AE_NoFile: return "ArchiveFile No File found";
    case AE_CodeBug: return "Internally generated code bug detection";
    case AE_CannotWrite: return "cannot write";
    case AE_CompressionError: return "ArchiveFile compression error";
    case AE_DescriptionNotReducible: return "Description.ext has __EXEC and/or __EVALS. reduction not possible";
    case AE_MultipleProperties: return "ArchiveFile multiple product entries";
    case AE_UnknownHeaderType: return "ArchiveFile unknown header type";
    case AE_UnbinarisedModel: return "Detected unbinarised p3d(s)";
    case AE_UnbinarisedWorld: return "Detected unbinarised wrp";
    case AE_UserCancelled: return "User cancelled";
    case AE_CannotRemoveFolder: return "Cannot remove pbo folder";
    case AE_IllegalFolder: return "Cannot make folder, or illegal folder";
    case AE_RapError: return "Rap or Rapfile error";
    case AE_ModelOrWorldFormat: return "faulty/unknown wrp or p3d format";
    case AE_BadSha: return "ArchiveFile corrupted sha key";
    case AE_NoMissionOrConfig: return "No mission.sqm or config detected";
    case AE_UntranslatableUnicode: return "Cannot translate this unicode string";
    case AE_NotAscii: return "ArchiveFile entry data is not ascii";
    case AE_UnknownException: return "ArchiveFile unknown exception";
    case AE_Empty: return "Pbo is empty (no files inside)";
    case AE_ResidualBytes: return "Warning: ArchiveFile has residual bytes (possibly a tool signature)";
    case AE_NoSha: return "ArchiveFile no sha key";
    case AE_NothingToExtract: return "No file(s) found to extract";
    case AE_CannotReadFile: return "cannot read file to enter into header";
    case AE_MissingFiles: return "missing files";
    default: return "pbo Unknown error";
    }
}

const char* ArchiveFile::_StrangeValuesStr() const {
    switch (strangeValues_) {
    case 0: return "None";
    case 1: return "Strange values in header: 1st/last entry has non-zero 'UnpackedSize', 'reserved', or 'SizeOnDisk' field";
    case 2: return "Strange values in header: reserved field non zero anywhere in entry bodies (except xbo)";
    case AE_NoSha: return "Warning: no shakey on kern prefix";
    case AE_ResidualBytes: return ErrorString(AE_ResidualBytes);
    default: return "unknown strange value";
    }
}

}  // namespace archivefile

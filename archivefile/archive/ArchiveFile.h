// Archives (.pbo): opening and checking an archive, handing out the data of its entries, and
// extracting it into a folder tree. The reader is in ArchiveRead.cpp, extraction in
// ArchiveExtract.cpp; building archives sits beside them in ArchiveBuild.cpp.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "archivefile/archive/TokenPair.h"
#include "archivefile/archive/pbo_entry.h"
#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/FileString.h"
#include "archivefile/foundation/NamePatterns.h"
#include "archivefile/foundation/Progress.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;

/// The archive handler's own results; ErrorString gives their texts. Codes -1 to -28 serve reading,
/// extraction and building alike (-20 is not used).
enum ArchiveErrors : int {
    AE_NoError = 0,
    AE_Truncated = -1,
    AE_NoMemory = -2,
    AE_NoFile = -3,
    AE_CodeBug = -4,
    AE_CannotWrite = -5,
    AE_CompressionError = -6,
    AE_DescriptionNotReducible = -7,
    AE_MultipleProperties = -8,
    AE_UnknownHeaderType = -9,
    AE_UnbinarisedModel = -10,
    AE_UnbinarisedWorld = -11,
    AE_UserCancelled = -12,
    AE_CannotRemoveFolder = -13,
    AE_IllegalFolder = -14,
    AE_RapError = -15,
    AE_ModelOrWorldFormat = -16,
    AE_BadSha = -17,
    AE_NoMissionOrConfig = -18,
    AE_UntranslatableUnicode = -19,
    AE_NotAscii = -21,
    AE_UnknownException = -22,
    AE_Empty = -23,
    AE_ResidualBytes = -24,
    AE_NoSha = -25,
    AE_NothingToExtract = -26,
    AE_CannotReadFile = -27,
    AE_MissingFiles = -28,
};

/// The archive handler (.pbo): opens and checks an archive, hands out its entries' data, extracts it
/// into a folder tree and builds archives from folders or entry by entry. Every operation returns 0 or
/// one of the ArchiveErrors (or a shared code), whose text ErrorString gives, after the reason went to
/// the operation's callback.
class ARCHIVEFILE_EXPORT ArchiveFile {
public:
    /// Option flags of OpenPbo and extraction (one int, passed unchanged all the way down).
    static constexpr int IgnorePrefix = 0x01;   ///< extract into a folder named after the archive
    static constexpr int DecodeText = 0x02;     ///< decode binarised configs while extracting
    static constexpr int ListOnly = 0x04;       ///< report the entries, write nothing
    static constexpr int Brief = 0x08;          ///< no header report; names only when listing
    static constexpr int Strict = 0x20;         ///< missing or wrong checksums and empty selections stay errors
    static constexpr int AlwaysRemoveFolder = 0x1000000;
    static constexpr int OpenAsNamed = 0x2000000;  ///< open the path as it stands, whatever its extension
    /// With DecodeText, only binarised configs become text: every other entry keeps its bytes as
    /// stored, byte-order marks included, so that packing the folder gives the archive again.
    static constexpr int KeepText = 0x4000000;
    /// Flags of GetFileData: decode binarised configs and byte-order marks; with KeepTextBytes too,
    /// only data that begins with the whole raP signature is decoded and all other data stays as
    /// stored.
    static constexpr int DecodeData = 0x01;
    static constexpr int KeepTextBytes = 0x02;

    /// Archive types, by the generation of tools that wrote them (GetPboType).
    static constexpr int TypeNoProperties = 0;
    static constexpr int TypeProperties = 0x80;
    static constexpr int TypePrefixNoTrailer = 0x100;
    static constexpr int TypePrefixChecksum = 0x200;
    static constexpr int TypePrefixSha = 0x400;
    static constexpr int TypeShaNoPrefix = 0x10000;

    /// Content kinds of the header report; archives with a prefix and a SHA-1 add WithPrefix.
    static constexpr int KindMission = 1;
    static constexpr int KindCampaign = 2;
    static constexpr int KindAddon = 4;
    static constexpr int KindMissionAddon = 5;
    static constexpr int KindCampaignAddon = 6;
    static constexpr int KindNoConfig = 7;
    static constexpr int KindWithPrefix = 8;

    static constexpr const char* PrefixFileName = "PboPrefix.txt";

    /// Building: the style is one of the archive types above, given with the option bits below in
    /// the flags of MakePboNew and CreatePbo. A value that is none of these styles gets no properties
    /// entry and a SHA-1 trailer.
    static constexpr int StyleKqm = TypeNoProperties;
    static constexpr int StyleVanguard = TypeProperties;
    static constexpr int StyleKernNoSha = TypePrefixNoTrailer;
    static constexpr int StyleRegal = TypePrefixChecksum;
    static constexpr int StyleKern = TypePrefixSha;
    static constexpr int CompressEntries = 0x20;       ///< compress entries that shrink
    static constexpr int NoCompression = 0x100000;     ///< overrides CompressEntries
    static constexpr int KeepConfigText = 0x200000;    ///< store config.cpp as text instead of binarising it
    static constexpr int CheckModels = 0x400000;       ///< open every model and list what it names that is missing
    static constexpr int OptionBits = CompressEntries | NoCompression | KeepConfigText | CheckModels;

    /// A handler of the root `parent` (normally made by the root itself).
    explicit ArchiveFile(VexDLL* parent);
    ~ArchiveFile();
    ArchiveFile(const ArchiveFile&) = delete;
    ArchiveFile& operator=(const ArchiveFile&) = delete;

    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// Opens an archive, reads and checks its header and trailer, and reports the header through
    /// `callback`. 0, or a code; on -17 (wrong checksum) the archive stays open so that a caller may
    /// still extract from it.
    int OpenPbo(const char* path, LogCallback callback, int flags = 0);
    /// Closes the archive open for reading and abandons an archive begun but not saved; always true.
    bool ClosePbo();
    /// Whether an archive is open for reading.
    bool isOpen() const { return stream_.ReadActive(); }

    /// 1 for a ".pbo" name, 4 for ".ifa", else 0 (case ignored).
    static unsigned HasPboExt(const char* name);
    /// Whether the archive exists: the name as it stands when it has an archive extension, else with ".pbo".
    static unsigned PboExists(const char* name);

    /// The archive's type: one of the Type values.
    int GetPboType() const { return type_; }
    /// Whether the archive has a prefix.
    bool HasPrefix() const;
    /// The prefix of the open archive; "" when it has none.
    const char* GetPrefix() const;
    /// Changes the prefix of an archive that has one; null (and no change) for one that has none.
    const char* SetPrefix(const char* prefix);
    /// The properties of the properties entry, in file order.
    const std::vector<TokenPair>& properties() const { return properties_; }
    /// The header report, from "======<HEADER>=======" to "======</HEADER>============".
    const char* headerReport() const { return headerReport_.c_str(); }
    /// The title of the type and the content line of the report, each as the report words them.
    const char* typeTitle() const;
    /// The content line of the report.
    const char* contentLine() const;
    /// The content kind: one of the Kind values, with KindWithPrefix added where it applies.
    int contentKind() const;
    /// The trailer as read: the SHA-1 digest (20 bytes), the checksum (4 bytes), or nothing.
    std::span<const std::uint8_t> storedDigest() const;
    /// The code of odd but accepted header values (0 when there are none), and its text.
    int strangeValues() const { return strangeValues_; }
    /// The text of strangeValues().
    const char* _StrangeValuesStr() const;
    /// The last result of an exported operation.
    int lastError() const { return lastError_; }

    /// The entries in header order.
    std::size_t entryCount() const { return entries_.size(); }
    /// @name Entries in header order
    //@{
    /// The first and last entry, and the one after or before `entry`; null past either end.
    pbo_entry* GetChain() const;
    pbo_entry* GetLast() const;
    pbo_entry* GetNext(const pbo_entry* entry) const;
    pbo_entry* GetPrevious(const pbo_entry* entry) const;
    //@}
    /// The entry's path inside the archive.
    const char* GetEntryFilename(const pbo_entry* entry) const;
    /// An entry by its path inside the archive; case and the kind of slash are ignored.
    pbo_entry* FindEntry(const char* name) const;

    /// Loads one entry's data, expanded; with DecodeData a binarised config becomes text and a text
    /// with a byte-order mark becomes plain 8-bit text. 0 or a code.
    int GetFileData(pbo_entry* entry, int flags = 0);

    /// Opens the archive, then lists or extracts it, and closes it again.
    int ExtractPbo(const char* path, LogCallback callback, int flags, const char* fileList = nullptr,
                   const char* destFolder = nullptr);
    /// Shell patterns that select the entries to extract in place of the file list's names and
    /// extensions (null, the default: the file list). The patterns remember which of them matched.
    void setSelection(NamePatterns* patterns) { selection_ = patterns; }
    /// The folder that the last extraction wrote into: the destination or the archive's folder,
    /// joined with the prefix or the archive's name.
    const std::string& extractionFolder() const { return extraction_.folder; }
    /// Extracts from the archive already open; a non-zero `keepData` keeps each entry's data loaded.
    int ExtractPreOpened(unsigned flags, const char* fileList, const char* destFolder, int keepData);
    /// "PboPrefix.txt" and "$PBOPREFIX$" (case ignored) name the prefix file.
    static bool IsPrefixFile(const char* name);
    /// The same for a FileString.
    static bool IsPrefixFile(const FileString& name);

    /// The text of `code`: an ArchiveErrors value or a shared code.
    const char* ErrorString(int code) const;

    /// Where extraction and building report how far they have come, in files and bytes, beside the
    /// callback (null, the default: nowhere). Extraction counts the entries it selects and the files
    /// it writes; a build counts the entries it stores, by the size of their files or bytes given.
    void setProgress(Progress* progress) { progress_ = progress; }

    /// Builds an archive from every file below `folder` (flags: a style, CompressEntries,
    /// NoCompression, KeepConfigText, CheckModels). Without an output name the archive goes beside the folder,
    /// named after it or after the name in the folder's PboName.h or PboName.hpp. `neverCompress`
    /// lists extensions that stay stored ("ogg,paa"), `prefix` overrides the folder's prefix file, and
    /// `exclude` lists file names or "*.ext" items to leave out. Entries are written in the order of
    /// their paths, case ignored, so that the same folder always gives the same bytes.
    int MakePboNew(const char* folder, int flags, const char* outputName, LogCallback callback,
                   const char* neverCompress = nullptr, const char* prefix = nullptr, const char* exclude = nullptr);
    /// Time stamp written for every entry instead of the files' own times (none: the files' times,
    /// and the time of the build for entries added from memory).
    void setBuildTime(std::optional<std::int64_t> seconds) { buildTime_ = seconds; }
    /// Where the compiler's own notices go while config.cpp files are binarised (by default the
    /// build's callback); its errors are reported through the build's callback in any case.
    void setCompileCallback(LogCallback callback) { compileCallback_ = callback; }
    /// Option bits of the config compiler (Rapify::ExtendedSyntax, Rapify::KernByDefault) for the
    /// config.cpp files a build binarises, and of the decoder for the configs an extraction decodes.
    /// With KernByDefault a config's text chooses its style whatever the archive's generation.
    void setConfigOptions(int options) { configOptions_ = options; }
    /// Where config.cpp files look for includes named from a root ("\x\tag\file.hpp").
    void setIncludeRoot(const char* folder) { includeRoot_ = folder ? folder : ""; }
    /// Shell patterns for files that a build leaves out, besides those of its exclude list (null,
    /// the default: the list alone). The patterns remember which of them matched.
    void setExclusion(NamePatterns* patterns) { exclusion_ = patterns; }
    /// The archive that the build begun last writes; empty once that build has failed.
    const std::string& builtArchive() const { return builtArchive_; }
    /// Extensions that compression leaves stored, separated by commas ("ogg,.paa").
    void setNeverCompress(const char* extensions) { neverCompress_ = listItems(extensions); }

    /// Building an archive entry by entry, as MakePboNew does for a folder:
    ///
    ///     archive.CreatePbo("out.pbo", ArchiveFile::StyleKern | ArchiveFile::CompressEntries, "x\\tag", log);
    ///     archive.AddNewEntry("config.bin", bytes.data(), bytes.size());
    ///     archive.ProcessAddNewEntry("data\\wall.paa", "/mod/data/wall.paa");
    ///     int code = archive.SavePbo();
    ///
    /// CreatePbo creates the output and writes the properties entry of the style: the prefix (the
    /// one given, or else the open archive's), then the tool signature with every property the
    /// handler holds except "prefix" and "tavin". False when the file cannot be created or an
    /// archive begun earlier is still open. `style` is one of the Style values and may carry
    /// CompressEntries. Messages go through `callback`.
    bool CreatePbo(const char* outputName, int style, const char* prefix, LogCallback callback);
    /// Adds an entry from memory (the bytes are copied) or from a file (read when the archive is
    /// saved, so that memory holds one entry at a time). Entries keep the order in which they were
    /// added; a name given again replaces the earlier entry's content in its place. Names are paths
    /// inside the archive; "/" becomes a backslash and one leading separator is dropped. 0, or -3 for an
    /// empty name or a file that cannot be found, -4 when no archive was begun.
    int AddNewEntry(const char* name, const void* data, std::uint64_t size);
    /// Adds the file `file` as the entry `name`; see AddNewEntry.
    int ProcessAddNewEntry(const char* name, const char* file);
    /// Writes the header entries, the data (with CompressEntries, compressed where it shrinks) and
    /// the trailer of the style, and completes the file, which replaces any earlier one only now.
    /// 0 or a code; on failure nothing is left behind. ClosePbo abandons an archive not yet saved.
    int SavePbo();
    /// The same last step under its other name: the data block, the trailer, and the file closed.
    int WriteDataBlockAndClose();

private:
    // Reading.
    int _ReadHeaders();
    void _header_read_start();
    bool _ReadPair();
    int readTrailer(std::uint64_t dataEnd);
    bool shaMatches(std::uint64_t dataEnd);
    void _CallBackHeaderDetails(int flags);
    void appendEntry(pbo_entry&& entry);
    void loadData(pbo_entry& entry);
    int decodeConfig(pbo_entry& entry);
    int decodeByteOrderMark(pbo_entry& entry);
    int CommonException(int code);
    [[gnu::format(printf, 2, 3)]] void report(const char* format, ...);

    // Extraction.
    int _Extract(const char* outputFolder, const char* fileList, unsigned flags, int keepData);
    int _ExtractToFile(const char* outputFolder, pbo_entry* entry, bool decode, const char* fileList,
                       std::int64_t archiveTime, int keepData);
    int _ExtractFile(pbo_entry* entry, std::string target, bool decode, std::int64_t archiveTime, int keepData);
    bool _MatchList(const pbo_entry* entry, const char* fileList) const;
    int _PrefixFile_MakeName(const char* folder, bool brief);
    int _PrefixFile_Write(const char* folder, bool brief);
    bool _KegsFile_Write(const char* folder, const char* prefix);
    void listEntries(int flags);
    std::string outputFolder(unsigned flags, const char* destFolder);
    // Why nothing may be written at `target` (outside the place named, through a link, or below a
    // file that stands where a folder is needed), or null when it may.
    const char* refusalFor(const std::string& target);
    bool makeFoldersFor(const std::string& target);
    bool writeFile(const std::string& target, std::span<const std::uint8_t> bytes);
    // The progress's checkpoint, when there is a progress.
    void checkpoint() const;
    // Writes `bytes` to the output a piece at a time, with a checkpoint after each.
    void writeInPieces(std::span<const std::uint8_t> bytes);

    VexDLL* parent_;
    VexFileIO stream_;   // the archive, read piece by piece
    VexFileIO writer_;   // the files being extracted
    LogCallback callback_ = nullptr;
    int lastError_ = AE_NoError;
    int type_ = TypeNoProperties;
    std::string prefix_;
    std::string headerReport_;
    std::uint64_t dataStart_ = 0;
    int strangeValues_ = 0;
    // Lead byte, then 20 digest bytes or 4 checksum bytes.
    std::array<std::uint8_t, 21> trailer_{};
    std::size_t trailerSize_ = 0;
    std::array<std::uint8_t, 20> computedDigest_{};
    std::vector<TokenPair> properties_;
    std::vector<std::unique_ptr<pbo_entry>> entries_;
    Progress* progress_ = nullptr;
    NamePatterns* selection_ = nullptr;

    // Extraction in progress: the folder written into, the folder the caller named (nothing is
    // written outside it) as given, for this system and as resolved, the folders inside it already
    // checked and made, and how many entries were refused for their names.
    struct Extraction {
        std::string folder;
        std::string placeText;
        std::string placeNamed;
        std::string placeResolved;
        std::unordered_set<std::string> checkedFolders;
        std::unordered_set<std::string> madeFolders;
        std::size_t refusals = 0;
        bool keepText = false;
    };
    Extraction extraction_;

    // The items of a comma-separated list, trimmed, without empty ones.
    static std::vector<std::string> listItems(const char* list);

    // Building.
    struct BuildEntry {
        std::string name;                 // path inside the archive, with backslashes
        std::string source;               // file on disk; empty for an entry given in memory
        std::vector<std::uint8_t> bytes;  // the content of an entry given in memory
        std::uint64_t size = 0;
        std::int64_t time = 0;
        bool binarise = false;            // a config.cpp stored as config.bin
    };
    struct CompressionTotals {
        std::uint64_t before = 0;
        std::uint64_t after = 0;
    };
    void useCallback(LogCallback callback);
    // Forgets the entries of the archive being built, and its prefix and properties unless an
    // archive is open for reading.
    void endBuild();
    std::string _CreateOutFname(const std::string& folder, const char* outputName);
    // Every file below the folder, as entries named by their paths inside it.
    std::vector<BuildEntry> walkSource(const std::string& folder);
    // Refuses a kern-style archive that will have no prefix and no file at its root that says what it is.
    void _RecurseScanForSpecialFiles(const std::vector<BuildEntry>& files, int style, bool prefixGiven);
    std::vector<BuildEntry> _RecurseBuildEntries(std::vector<BuildEntry> files, const std::string& output,
                                                 const char* exclude, int flags);
    std::string _CalcPrefix(const std::string& folder, const char* prefix);
    // Opens every model among `entries` and stops the build with the list of what they name that is missing.
    void _CheckP3d(const std::vector<BuildEntry>& entries, const std::string& prefix);
    void _AddEntryNew(BuildEntry&& entry);
    void _WriteFirstHeaderBegin();
    void _header_write_token(const char* name, const char* value);
    void _header_write_prefix();
    void _WriteFirstHeaderEnd();
    void writeHeaderEntries(const std::vector<pbo_entry>& entries);
    void writeBody();
    std::vector<std::uint8_t> entryBytes(BuildEntry& entry);
    // Hands the entry's file to `consume` a piece at a time; a file that cannot be read whole, or
    // that is no longer the size it had, stops the build.
    void readSource(const BuildEntry& entry, const std::function<void(std::span<const std::uint8_t>)>& consume);
    // Whether an entry of this name is stored without compression.
    bool storedAsIs(std::string_view name) const;
    // Sets the entry's sizes for data stored as it is, and counts it in the compression totals.
    void keepStored(pbo_entry& entry, std::uint64_t size);
    void compressEntry(pbo_entry& entry, std::vector<std::uint8_t>& data);
    void _WriteChecksum(int style);

    std::optional<std::int64_t> buildTime_;
    std::optional<LogCallback> compileCallback_;
    int configOptions_ = 0;
    std::string includeRoot_;
    std::vector<std::string> neverCompress_;
    NamePatterns* exclusion_ = nullptr;
    std::string builtArchive_;
    int buildStyle_ = StyleKern;
    int buildFlags_ = 0;
    CompressionTotals totals_;
    // The entries added so far, and where each name (in lower case) stands among them.
    std::vector<BuildEntry> buildEntries_;
    std::unordered_map<std::string, std::size_t> buildIndex_;
};

}  // namespace archivefile

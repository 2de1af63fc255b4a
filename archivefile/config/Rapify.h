// The config compiler: config text (config.cpp, description.ext, mission.sqm and what they include)
// goes through the preprocessor into a tree of RapClass nodes, which queries read, a merge combines
// with another tree, and the raP writer binarises.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "archivefile/config/RapClass.h"
#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;

/// The config compiler: preprocesses and parses config text into a tree of RapClass nodes, answers
/// queries on it, merges trees, writes raP and reads it back. 0 or one of Errors (or a shared code),
/// whose text ErrorString gives; the first error below 32 sticks for the rest of a compile.
class ARCHIVEFILE_EXPORT Rapify {
public:
    /// Codes of the compiler; 1 to 9 are the shared codes.
    enum Errors : int {
        RAP_UnexpectedEol = 10,
        RAP_BadEval = 11,
        RAP_EofEncountered = 12,
        RAP_MismatchedQuotes = 13,
        RAP_NoToken = 14,
        RAP_RecursiveComment = 15,
        RAP_ExpectedStatement = 16,
        RAP_NoIncludeToUninclude = 17,
        RAP_ExpectedSemicolon = 18,
        RAP_ExpectedClassName = 19,
        RAP_ExpectedInherit = 20,
        RAP_UnknownDirective = 21,
        RAP_UnknownUndef = 22,
        RAP_ExpectedArray = 23,
        RAP_BadDefine = 24,
        RAP_ExpectedArguments = 25,
        RAP_NotEnoughArguments = 26,
        RAP_DuplicatedDefine = 27,
        RAP_SingleHash = 28,
        RAP_CannotInclude = 29,
        RAP_NoOpenBlock = 30,
        RAP_Duplicated = 31,
        RAP_ContinuationAtEof = 32,
        RAP_MissingBase = 33,
        RAP_NoClasses = 34,
        RAP_UnknownArrayType = 35,
        RAP_CannotWrite = 36,
        RAP_UnknownPacket = 37,
        RAP_TgrExtern = 38,
        RAP_MissingFiles = 39,
        RAP_CannotChangeDrive = 40,
        RAP_EvalUnprocessable = 41,
    };

    /// Option bits of OpenRapText, Text2RapClass, Rap2Class and ProcessBinary.
    /// KerN style from the start, and the text read as newer text (no semicolon repair).
    static constexpr int ForceKern = 0x1;
    /// Configs as mods write them today: a "#" in a define body that is neither "##" nor before a
    /// parameter is the character "#"; a define given again with another body replaces the earlier
    /// one, with a warning; `#pragma` lines are skipped; `name[] += {...};` is an array-append entry
    /// (entry type 5 of the offset styles, which ProcessBinary reads too); the text is read as newer
    /// text.
    static constexpr int ExtendedSyntax = 0x2;
    /// KerN style unless the text chooses another: `#define _TGR_`, which decoded inline-style files
    /// begin with, chooses the inline style, and such a file gets an enum table only when its text
    /// holds an enum block, as inline-style files come both with and without one.
    static constexpr int KernByDefault = 0x4;

    /// The low two bits of the mode word choose the raP style; bit 7 records __EVAL or __EXEC.
    static constexpr int StyleMask = 0x3;
    static constexpr int TgrStyle = 0;
    static constexpr int KernStyle = 1;
    static constexpr int SignedStyle = 2;
    static constexpr int HasEvalsBit = 0x80;

    /// Bounds that end hostile input with a code instead of exhausting the stack or the clock.
    static constexpr int MaxClassDepth = 256;
    static constexpr int MaxArrayDepth = 256;
    static constexpr int MaxIncludeDepth = 64;
    static constexpr int MaxExpansionDepth = 256;
    static constexpr std::size_t MaxLineMiB = 16;
    static constexpr std::size_t MaxExpandedLine = MaxLineMiB << 20;
    static constexpr std::int64_t MaxExpansionsPerLine = 1 << 20;
    /// Text scanned and built while expanding one line: defines whose joins and arguments feed
    /// each other can otherwise take exponential time below every other bound.
    static constexpr std::size_t MaxExpansionWorkMiB = 64;
    static constexpr std::size_t MaxExpansionWork = MaxExpansionWorkMiB << 20;

    /// One item of the enum table: a name and its value.
    struct EnumItem {
        std::string name;
        std::int32_t value = 0;
    };

    /// What one compile read and built; `vex config check` prints it.
    struct Statistics {
        std::int64_t classes = 0;         ///< classes with a body
        std::int64_t externClasses = 0;   ///< extern and delete entries
        std::int64_t values = 0;          ///< named values and arrays
        std::int64_t defines = 0;         ///< defines in force at the end
        std::int64_t filesRead = 0;       ///< the main text and every include
        std::int64_t lines = 0;           ///< physical lines read
        std::int64_t expandedBytes = 0;   ///< text handed to the parser, one line feed per line
    };

    /// A handler of the root `parent`.
    explicit Rapify(VexDLL* parent);
    ~Rapify();
    Rapify(const Rapify&) = delete;
    Rapify& operator=(const Rapify&) = delete;
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// Compiling. Each compiled text gets a tree of its own; earlier ones stay until Close.
    /// The text of a file; relative includes of the file resolve against its folder.
    int OpenRapText(const char* fileName, int options, LogCallback callback);
    /// Text from memory (up to its first zero byte); `name` is what __FILE__ and messages give, and
    /// its relative includes resolve against the include root (or the current folder).
    int Text2RapClass(std::string_view text, int options, LogCallback callback, const char* name = "text");
    /// Where include names rooted at a separator ("\x\tag\file.hpp") and names with a drive
    /// ("p:\x\tag\file.hpp") are looked for; without one, a rooted name is a path of this system and
    /// a drive cannot be reached.
    void SetIncludeRoot(const char* folder);
    /// The include root ("" for none).
    const char* GetIncludeRoot() const { return includeRoot_.c_str(); }
    /// Frees every tree and the compile state.
    void Close();

    /// Errors. The first error below 32 sticks for the rest of the compile.
    const char* ErrorString(int code);
    /// @name Where the first error stands
    //@{
    /// The file, the line, and the code of the first error (code 0: none).
    const char* ErrFname() const { return errorFile_.c_str(); }
    int LineCount() const { return errorLine_; }
    int ErrorCode() const { return errorCode_; }
    //@}
    /// Whether the text used __EVAL or __EXEC.
    bool HasEvals() const { return (modeWord_ & HasEvalsBit) != 0; }
    /// The mode word: the style in the low bits (StyleMask), HasEvalsBit.
    int ModeWord() const { return modeWord_; }
    /// What the last compile read and built.
    const Statistics& statistics() const { return statistics_; }

    /// Where the first error stands, for a caller that shows it: the line it was found in (comments
    /// stripped and continued lines joined; for a define in use, the line that uses it), the text
    /// that line became through its defines when that differs from it, and the column of the
    /// offending token, in `expansion` when there is one, else in `line` (npos when not known).
    /// Both texts are empty when no line applies. It outlives Close, as ErrFname does.
    struct ErrorPlace {
        std::string line;
        std::string expansion;
        std::size_t column = std::string::npos;
    };
    /// The place of the first error; see ErrorPlace.
    const ErrorPlace& errorPlace() const { return errorPlace_; }

    /// The tree of the current compile.
    RapClass* GetFirst();
    /// The enum items of the current tree.
    const std::vector<EnumItem>& enumTable() const;
    /// Makes a node owned by this compiler; failing to allocate raises code 2.
    RapClass* CreateRapClass(int kind = RapClass::ClassKind);
    /// Adds a node of `kind` as the last child of `node`.
    RapClass* AddEmbeddedEntry(RapClass* node, int kind = RapClass::ClassKind);
    /// Merges the entries of another tree's primary class into the current tree; 0, or -1 after the
    /// reason went to the standard error stream.
    int Merge(RapClass* otherPrimary);

    /// Binarised configs. OutputRap writes the current tree as raP in the style its text chose (the
    /// low bits of ModeWord); `force` writes KerN style where the text chose TGR. A tree whose compile
    /// failed is not written: the compile's code comes back. The file is replaced only once complete.
    int OutputRap(const char* file, bool force);
    /// The same bytes into memory, replacing what `bytes` held (left empty on failure).
    int OutputRap(std::vector<std::uint8_t>& bytes, bool force);
    /// Reads an offset-style raP into a tree of its own, which becomes the current tree, and takes
    /// its style as the mode word, so that OutputRap writes it back alike. A header that is neither
    /// inline nor signed is read as KerN style; TGR style and bytes that are not raP are refused with
    /// code 38. With ExtendedSyntax among `options`, array-append entries are read too.
    int ProcessBinary(const unsigned char* bytes, int size, int options = 0);
    /// A config that may be text or raP, from a file or from memory: raP is read by ProcessBinary,
    /// text is compiled as OpenRapText and Text2RapClass do (with `options`); `name` is what messages
    /// and rap_FindFilename give.
    int Rap2Class(const char* fileName, int options);
    /// The same for a config in memory.
    int Rap2Class(const char* name, int options, std::span<const std::uint8_t> bytes);
    /// Where ProcessBinary and OutputRap send their lines; a compile sets it too.
    void SetCallBack(LogCallback callback);

    /// Queries. A null class means the primary class, which is checked first; names compare without
    /// regard to case.
    RapClass* rap_FindEntry(const char* name, int kind = -1, RapClass* start = nullptr);
    /// @name Finding entries in a class
    //@{
    /// The entry of that name in the body of `cls`: a class, an array, a value, or any entry.
    RapClass* rap_FindEmbeddedClass(const char* name, RapClass* cls = nullptr);
    RapClass* rap_FindEmbeddedArray(const char* name, RapClass* cls = nullptr);
    RapClass* rap_FindEmbeddedVar(const char* name, RapClass* cls = nullptr);
    RapClass* rap_FindEmbeddedEntry(const char* name, RapClass* cls = nullptr);
    //@}
    /// @name Walking a body
    //@{
    /// The next class or array among the node's siblings; the first and the next element of an array of
    /// plain values. Null when there is none.
    static RapClass* rap_NextClass(RapClass* node);
    static RapClass* rap_NextArray(RapClass* node);
    static RapClass* rap_GetFirstSimpleArrayEntry(RapClass* array);
    static RapClass* rap_GetNextSimpleArrayEntry(RapClass* element);
    //@}
    /// The primary class of the tree compiled from a file of that name (the last one when the file
    /// was compiled more than once), or null; the name of the current tree.
    RapClass* rap_FindFilename(const char* name);
    /// The name of the file the current tree was compiled from.
    const char* rap_GetFilename() const;

    /// The primary class must be a nameless class with no siblings and no base; a breach is an
    /// internal fault and raises text.
    static void CheckPrimary(const RapClass* primary);

private:
    friend class RapClass;

    // ---- The compile as a whole ----------------------------------------------------------------
    struct Tree {
        std::string fileName;
        RapClass* primary = nullptr;
        std::vector<EnumItem> enums;
        bool enumBlock = false;  // the text holds an enum block (a raP read back: an enum table)
    };
    int compile(std::string_view text, const std::string& name, const std::string& folder, int options,
                LogCallback callback, std::unique_ptr<VexFileIO> file);
    void resetCompile(int options, LogCallback callback);
    void finishCompile();
    // Stores a code by the first-error rule, with the place where it happened.
    void _SetError(int code);
    [[noreturn]] void fail(int code);
    // Fails with `token`, a view into the text being worked on (the physical line being read, the
    // logical line, or its expansion), marked as the place of the error; `line`, when given, goes
    // to the callback first.
    [[noreturn]] void failOn(int code, std::string_view token, const std::string& line = {});
    void captureErrorPlace();
    // Sends a descriptive line to the callback, then fails.
    [[noreturn]] void failWith(int code, const std::string& line);
    void notify(const char* text);
    const char* _ErrString(int code) const;
    // A zero-terminated copy of `text` that lives as long as the trees; "" for an empty text.
    const char* internText(std::string_view text);
    Tree& currentTree();

    // ---- Preprocessor: lines and directives ----------------------------------------------------
    struct Source {
        std::unique_ptr<VexFileIO> file;  // owns the text of a file; null for text in memory
        std::string_view text;
        std::size_t position = 0;
    };
    struct IncludeRecord {
        std::string name;
        std::string folder;
        int line = 0;
    };
    // Reads the next logical line into line_: false at the end of the whole text.
    bool readLogicalLine();
    bool readTrimmedLine(std::string& into);
    bool readPhysicalLine(std::string_view& line);
    void stripComments(std::string_view physical, std::string& into);
    void endOfSource();
    void handleDirective(std::string_view line);
    void directiveDefine(std::string_view rest);
    void directiveInclude(std::string_view rest);
    void directiveUninclude();
    std::string resolveInclude(std::string_view name);
    void openInclude(std::string_view name);
    int currentLine() const { return records_.empty() ? 0 : records_.back().line; }
    const std::string& currentFile() const;

    // ---- Preprocessor: macros ------------------------------------------------------------------
    enum class SegmentKind : std::uint8_t { Literal, Parameter, Stringize, JoinedWord, Join };
    struct Segment {
        SegmentKind kind;
        std::uint32_t offset;  // Literal and JoinedWord: the text in the body
        std::uint32_t length;  // Parameter and Stringize: the parameter number from 1 in `offset`
    };
    struct Define {
        std::string body;        // parameters already turned into "#n#" placeholders
        int parameterCount = -1; // -1: no parameter list
        std::vector<Segment> segments;
    };
    struct StringHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            std::uint64_t hash = 14695981039346656037ull;
            for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
            return static_cast<std::size_t>(hash);
        }
    };
    using DefineTable = std::unordered_map<std::string, Define, StringHash, std::equal_to<>>;
    // Scratch text per expansion depth, so that deep expansions reuse their buffers.
    struct ExpansionScratch {
        std::string substituted;
        std::string argumentsText;
        std::vector<std::string> arguments;
        std::vector<std::pair<std::size_t, std::size_t>> bounds;
    };
    ExpansionScratch& scratchAt(int depth);
    void storeDefine(std::string_view name, std::string_view parameters, bool hasParameters,
                     std::string_view body);
    // Splits a define's body into segments; returns where a "#" stands that is neither "##" nor
    // before a parameter and is refused (npos when there is none).
    std::size_t compileBody(Define& define);
    const Define* findDefine(std::string_view name) const;
    // Expands `text` onto `out`, which must not hold `text`. Inside a define's arguments
    // (`argumentMode`) a define that takes parameters but has no list after it stays text.
    void expandText(std::string_view text, std::string& out, int depth, bool argumentMode);
    // Expands the word at [wordStart, wordEnd), a built-in word or the name of `define`, and
    // returns where the text goes on. At depth 0 an argument list left open at the end of the line
    // reads further lines into line_, and `text` is moved to it.
    std::size_t expandWord(std::string_view& text, std::size_t wordStart, std::size_t wordEnd, const Define* define,
                           std::string& out, int depth, bool argumentMode);
    std::size_t expandBuiltin(std::string_view word, std::string_view text, std::size_t after, std::string& out,
                              int depth);
    // Splits and expands the arguments after `open` into the scratch of `depth`; returns the
    // position after the closing parenthesis.
    std::size_t readArguments(std::string_view& text, std::size_t open, std::size_t& count, int depth,
                              bool mayReadLines);
    std::size_t matchParenthesis(std::string_view text, std::size_t open) const;

    // ---- Preprocessor: __EVAL ------------------------------------------------------------------
    void evaluate(std::string_view expression, std::string& out);

    // ---- Parser --------------------------------------------------------------------------------
    // Names compare without regard to case.
    struct NameHash {
        std::size_t operator()(std::string_view text) const;
    };
    struct NameEqual {
        bool operator()(std::string_view a, std::string_view b) const;
    };
    using NameIndex = std::unordered_multimap<std::string_view, RapClass*, NameHash, NameEqual>;
    struct OpenBody {
        RapClass* cls = nullptr;
        // The names of a large body's entries, built once the body grows past a few.
        std::unique_ptr<NameIndex> index;
        std::size_t entries = 0;
    };
    void parseText();
    bool nextLine();
    void skipBlanks();
    bool skipBlanksAndLines();
    bool atLineEnd() const { return cursor_ >= expanded_.size(); }
    char peek() const { return atLineEnd() ? '\0' : expanded_[cursor_]; }
    std::string_view readWord();
    void parseClass();
    void parseDelete();
    void parseEnum();
    void parseAssignment(std::string_view name);
    void parseArrayElements(RapClass* array);
    void readValue(RapClass* node, bool inArray);
    void endStatement();
    // A duplicate is refused with `name` marked when it is a word of the expanded line.
    RapClass* addEntry(int kind, std::string_view name);
    // A word read at `at` as a view into the expanded line while that is still the line being read,
    // so that an error can mark it; else the word as it was kept.
    std::string_view wordOnLine(const std::string& word, std::size_t at, std::int64_t linesThen) const;
    const RapClass* findClassIn(const RapClass* scope, std::string_view name, const OpenBody* open) const;
    bool findBase(std::string_view base, const RapClass*& resolved) const;
    [[noreturn]] void failAtEnd();
    [[noreturn]] void failTruncated();

    // ---- raP writer ----------------------------------------------------------------------------
    // The buffer being written and the sizes of the class bodies laid out for it.
    struct RapOutput;
    void buildRap(std::vector<std::uint8_t>& bytes, bool force);
    void writeOffsetStyle(RapOutput& out, const RapClass* primary);
    void writeInlineStyle(RapOutput& out, const RapClass* primary);
    void writeEnumTable(RapOutput& out);
    // The size pass: a body's entry list, the whole body, and the body with every body below it.
    // xCalcOverallOffset also records each body's sizes, in the order xIterate writes them.
    std::uint64_t xCalcTotal(const RapClass* cls);
    std::uint64_t xCalcBody(const RapClass* cls);
    std::uint64_t xCalcOverallOffset(const RapClass* cls, RapOutput& out, int depth);
    std::uint64_t elementListSize(const RapClass* array, int depth);
    // The writing pass: the body of the `index`-th class in writing order, then those below it.
    void xIterate(const RapClass* cls, RapOutput& out, std::size_t index, int depth);
    void writeEntry(const RapClass* entry, RapOutput& out, int depth);
    void writeInlineBody(const RapClass* cls, RapOutput& out, int depth);
    void writeElements(const RapClass* array, RapOutput& out, int depth);
    float floatValue(const RapClass* node);
    std::int32_t intValue(const RapClass* node);
    // Stores a writer's code with `file` as the place (no line applies), sends `line` to the
    // callback when there is one, and raises the code.
    [[noreturn]] void failWriting(int code, std::string_view file, const std::string& line);
    [[noreturn]] void failKind(const RapClass* node, int code, const std::string& detail);

    // ---- raP reader ----------------------------------------------------------------------------
    // The input being read, with the class bodies open above the one being read.
    struct RapInput;
    // A class entry read, whose body is read once the body holding the entry is complete.
    struct PendingBody {
        RapClass* cls;
        std::int32_t offset;
        std::uint64_t entryOffset;
    };
    int readBinary(std::span<const std::uint8_t> bytes, const std::string& name, int options);
    void readBinaryTree(RapInput& in);
    void readBody(RapInput& in, RapClass* cls, std::uint64_t start, int depth);
    void readBinaryEntry(RapInput& in, RapClass* cls, std::vector<PendingBody>& bodies);
    void readElements(RapInput& in, RapClass* array, int depth);
    void readEnumTable(RapInput& in);
    std::uint32_t readCount(RapInput& in);
    std::string_view readName(RapInput& in, std::uint64_t entryOffset);
    [[noreturn]] void failReading(RapInput& in, int code, std::uint64_t offset, const std::string& what);

    // ---- Merge ---------------------------------------------------------------------------------
    int MergeScan(RapClass* existing, RapClass* incoming, int depth);
    RapClass* MergeAddClassRecurse(RapClass* into, const RapClass* entry, int depth);
    void MergeDeleteBody(RapClass* entry);

    VexDLL* parent_;
    VexFileIO stream_;
    LogCallback callback_ = nullptr;

    // Trees and the storage of their nodes and texts, freed all at once by Close.
    std::vector<std::unique_ptr<std::byte[]>> nodeBlocks_;
    std::byte* nextNode_ = nullptr;
    std::size_t nodesLeft_ = 0;
    std::size_t nodeBlockSize_ = 0;
    std::size_t textBlockSize_ = 0;
    std::vector<std::unique_ptr<char[]>> textBlocks_;
    char* textCursor_ = nullptr;
    std::size_t textRemaining_ = 0;
    std::vector<Tree> trees_;

    // Compile state.
    std::string includeRoot_;
    std::vector<Source> sources_;
    std::vector<IncludeRecord> records_;
    DefineTable defines_;
    // A filter over the first and last characters and the length of every defined name: most
    // words name no define and are told so without a lookup.
    static constexpr std::size_t DefineFilterBits = 4096;
    static std::size_t defineFilterBit(std::string_view name) {
        return (static_cast<unsigned char>(name.front()) * 131u + static_cast<unsigned char>(name.back()) * 17u +
                name.size()) % DefineFilterBits;
    }
    std::array<std::uint64_t, DefineFilterBits / 64> defineFilter_{};
    // Grown a level at a time; a deque keeps the levels in place while deeper ones are added.
    std::deque<ExpansionScratch> scratch_;
    std::vector<const Define*> activeDefines_;
    std::int64_t expansionsThisLine_ = 0;
    std::size_t expansionWork_ = 0;
    int openBlocks_ = 0;
    int skipDepth_ = 0;
    bool newerText_ = false;
    bool extendedSyntax_ = false;
    bool kernByDefault_ = false;
    // The text chose the inline style with `#define _TGR_` (under KernByDefault).
    bool inlineByHeader_ = false;
    int modeWord_ = 0;
    int errorCode_ = 0;
    // The result of the compile or binary read that built the current tree.
    int treeResult_ = 0;
    std::string errorFile_;
    int errorLine_ = 0;
    GenString errorText_;
    Statistics statistics_;
    ErrorPlace errorPlace_;
    // What the compile is doing, which tells what text an error is shown in: reading a physical
    // line, working on a logical line (a directive), expanding it, or parsing its expansion.
    enum class Stage : std::uint8_t { Reading, Preprocessing, Expanding, Parsing };
    Stage stage_ = Stage::Reading;
    std::string_view physicalLine_;
    // The column of the token an error is about, set just before failing (npos: not known).
    std::size_t markColumn_ = std::string::npos;
    // Where the define being expanded at the top level is used in line_ (npos before the first).
    std::size_t expansionAt_ = std::string::npos;

    // The logical line being read, and its expansion that the parser reads.
    std::string line_;
    std::string physical_;
    std::string expanded_;
    std::size_t cursor_ = 0;
    bool endOfText_ = false;

    // Parser state.
    std::vector<OpenBody> bodies_;
    std::vector<RapClass*> arrays_;
    std::string valueText_;
    // The class that a class inherits from, where this text defines it with a body.
    std::unordered_map<const RapClass*, const RapClass*> bases_;
};

}  // namespace archivefile

// The compiler's life cycle: opening a text, the first-error rule, error texts, and the storage that
// trees live in.
#include "archivefile/config/Rapify.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

namespace {

// Nodes and their texts are packed into blocks that double from a small first one up to these
// sizes, so that a small text costs little and a large tree few allocations. A text longer than a
// quarter block gets a block of its own.
constexpr std::size_t FirstTextBlockSize = 4096;
constexpr std::size_t TextBlockSize = std::size_t{1} << 20;
constexpr std::size_t FirstNodeBlockSize = 64;
constexpr std::size_t NodeBlockSize = 8192;

}  // namespace

Rapify::Rapify(VexDLL* parent) : parent_(parent), stream_(parent) {}

Rapify::~Rapify() = default;

void Rapify::Close() {
    trees_.clear();
    treeResult_ = GE_NoError;
    nodeBlocks_.clear();
    nextNode_ = nullptr;
    nodesLeft_ = nodeBlockSize_ = textBlockSize_ = 0;
    textBlocks_.clear();
    textCursor_ = nullptr;
    textRemaining_ = 0;
    sources_.clear();
    records_.clear();
    defines_.clear();
    bodies_.clear();
    bases_.clear();
    line_ = {};
    physical_ = {};
    expanded_ = {};
    stream_.Close();
}

// ---- Compiling ----------------------------------------------------------------------------------

void Rapify::SetIncludeRoot(const char* folder) {
    includeRoot_ = folder ? folder : "";
    while (includeRoot_.size() > 1 && paths::isSlash(includeRoot_.back())) includeRoot_.pop_back();
}

int Rapify::OpenRapText(const char* fileName, int options, LogCallback callback) {
    const std::string name = fileName ? fileName : "";
    auto file = std::make_unique<VexFileIO>(parent_);
    file->SetCallBack(callback);
    int code = guarded(stream_, [&] {
        if (name.empty() || !file->OpenFile(name.c_str(), nullptr, true)) {
            resetCompile(options, callback);
            records_.push_back({name, {}, 0});
            failWith(GE_InvalidFile, formatText("cannot open %s\r\n", name.c_str()));
        }
    });
    if (code != GE_NoError) {
        treeResult_ = errorCode_ != GE_NoError ? errorCode_ : code;
        return treeResult_;
    }
    const std::string_view text(reinterpret_cast<const char*>(file->image()), file->size());
    std::string folder = paths::driveAndFolder(name);
    if (folder.empty()) folder.push_back('.');
    return compile(text, name, folder, options, callback, std::move(file));
}

int Rapify::Text2RapClass(std::string_view text, int options, LogCallback callback, const char* name) {
    // A zero byte ends a text, as it does for a file.
    text = text.substr(0, std::min(text.size(), text.find('\0')));
    const std::string folder = includeRoot_.empty() ? std::string(".") : includeRoot_;
    return compile(text, name ? name : "", folder, options, callback, nullptr);
}

int Rapify::compile(std::string_view text, const std::string& name, const std::string& folder, int options,
                    LogCallback callback, std::unique_ptr<VexFileIO> file) {
    const int code = guarded(
        stream_,
        [&] {
            resetCompile(options, callback);
            trees_.push_back({name, CreateRapClass(RapClass::ClassKind), {}});
            records_.push_back({name, folder, 0});
            sources_.push_back({std::move(file), text, 0});
            ++statistics_.filesRead;
            parseText();
        },
        [] {});
    // A code raised below the compiler (memory, reading) has not been stored yet.
    if (code != GE_NoError && code != errorCode_) _SetError(code);
    finishCompile();
    treeResult_ = errorCode_;
    return errorCode_;
}

void Rapify::resetCompile(int options, LogCallback callback) {
    callback_ = callback;
    stream_.SetCallBack(callback);
    sources_.clear();
    records_.clear();
    defines_.clear();
    defineFilter_ = {};
    activeDefines_.clear();
    bodies_.clear();
    bases_.clear();
    openBlocks_ = skipDepth_ = 0;
    extendedSyntax_ = (options & ExtendedSyntax) != 0;
    kernByDefault_ = (options & KernByDefault) != 0;
    inlineByHeader_ = false;
    // Text written for the offset styles, as mods write it today, is joined as it stands.
    newerText_ = extendedSyntax_;
    modeWord_ = kernByDefault_ ? KernStyle : TgrStyle;
    errorCode_ = 0;
    errorFile_.clear();
    errorLine_ = 0;
    errorPlace_ = {};
    stage_ = Stage::Reading;
    physicalLine_ = {};
    markColumn_ = std::string::npos;
    statistics_ = {};
    line_.clear();
    expanded_.clear();
    cursor_ = 0;
    endOfText_ = false;
    if (options & ForceKern) {
        modeWord_ = KernStyle;
        newerText_ = true;
        notify("//forcing kern raP\r\n");
    }
}

void Rapify::finishCompile() {
    statistics_.defines = static_cast<std::int64_t>(defines_.size());
    sources_.clear();
    bodies_.clear();
    bases_.clear();
    activeDefines_.clear();
    // The line buffers can have grown large for one long line; they are not kept between texts.
    line_ = {};
    physical_ = {};
    expanded_ = {};
    scratch_.clear();
}

// ---- Errors -------------------------------------------------------------------------------------

void Rapify::_SetError(int code) {
    // Codes 1 to 31 stick; the warnings and late-stage codes from 32 up give way to a later code.
    if (errorCode_ != GE_NoError && errorCode_ < RAP_ContinuationAtEof && errorCode_ > 0) {
        markColumn_ = std::string::npos;
        return;
    }
    errorCode_ = code;
    errorFile_ = currentFile();
    errorLine_ = currentLine();
    captureErrorPlace();
}

void Rapify::captureErrorPlace() {
    errorPlace_ = {};
    std::size_t column = markColumn_;
    markColumn_ = std::string::npos;
    switch (stage_) {
    case Stage::Reading:
        errorPlace_.line = physicalLine_;
        break;
    case Stage::Preprocessing:
        errorPlace_.line = line_;
        break;
    case Stage::Expanding:
        // What the defines made of the line so far is no help; the define in use is.
        errorPlace_.line = line_;
        if (column == std::string::npos) column = expansionAt_;
        break;
    case Stage::Parsing:
        errorPlace_.line = line_;
        if (expanded_ != line_) errorPlace_.expansion = expanded_;
        if (column == std::string::npos) column = cursor_;
        break;
    }
    errorPlace_.column = column;
}

void Rapify::fail(int code) {
    _SetError(code);
    raise(code);
}

void Rapify::failOn(int code, std::string_view token, const std::string& line) {
    std::string_view text = physicalLine_;
    if (stage_ == Stage::Preprocessing || stage_ == Stage::Expanding) text = line_;
    else if (stage_ == Stage::Parsing) text = expanded_;
    const std::less<const char*> before;
    const bool inside =
        !before(token.data(), text.data()) && !before(text.data() + text.size(), token.data() + token.size());
    if (!line.empty()) notify(line.c_str());
    markColumn_ = inside ? static_cast<std::size_t>(token.data() - text.data()) : std::string::npos;
    fail(code);
}

void Rapify::failWith(int code, const std::string& line) {
    notify(line.c_str());
    fail(code);
}

void Rapify::notify(const char* text) { stream_.PrintToStdErr(text, callback_); }

const std::string& Rapify::currentFile() const {
    static const std::string none;
    return records_.empty() ? none : records_.back().name;
}

const char* Rapify::_ErrString(int code) const {
    switch (code) {
    case RAP_UnexpectedEol: return "unexpected eol";
    case RAP_BadEval: return "bad eval/exec";
    case RAP_EofEncountered: return "EOF encountered";
    case RAP_MismatchedQuotes: return "Mismatched quotes";
    case RAP_NoToken: return "No Token";
    case RAP_RecursiveComment: return "Recursive comment /*";
    case RAP_ExpectedStatement: return "Expected class, define, or varname";
    case RAP_NoIncludeToUninclude: return "Internal err: No include to uninclude";
    case RAP_ExpectedSemicolon: return "Expected Semicolon (or eol)";
    case RAP_ExpectedClassName: return "Expected class name";
    case RAP_ExpectedInherit: return "Expected Inherit or {";
    case RAP_UnknownDirective: return "Unknown #";
    case RAP_UnknownUndef: return "Unknown #undef label";
    case RAP_ExpectedArray: return "Expected ]={";
    case RAP_BadDefine: return "#Define bad label";
    case RAP_ExpectedArguments: return "Expected (...) during define expansion";
    case RAP_NotEnoughArguments: return "Not enough parms in define expansion";
    case RAP_DuplicatedDefine: return "Duplicated define";
    case RAP_SingleHash: return "Cannot Handle single# in defines";
    case RAP_CannotInclude: return "Cannot include file";
    case RAP_NoOpenBlock: return "#endif pr #else with no #if";
    case RAP_Duplicated: return "Rap: duplicated token or class";
    case RAP_ContinuationAtEof: return "continuation slash at eof";
    case RAP_MissingBase: return "rap: missing inheritence class(es)";
    case RAP_NoClasses: return "No classes have been built";
    case RAP_UnknownArrayType: return "Internal error: unknown array type decoded";
    case RAP_CannotWrite: return "Cannot write to file";
    case RAP_UnknownPacket: return "Output Unknown packet type decoded (internal error)";
    case RAP_TgrExtern: return "Rap Output is TGR, extern class is not supported";
    case RAP_MissingFiles: return "rapWarning: **********missing file(s)***************";
    case RAP_CannotChangeDrive: return "rap: cannot change drive:";
    case RAP_EvalUnprocessable: return "Rap: eval has unprocessable sqX";
    default: break;
    }
    if (code >= 0 && code <= GE_UserCancelled) return GenericError::ErrorString(code);
    return "Rubbish Character(s) at eol or eof";
}

const char* Rapify::ErrorString(int code) {
    if (code == GE_NoError || code == RAP_MissingFiles) return _ErrString(code);
    if (errorLine_ != 0) errorText_.Format("In File %s: Line %d %s", errorFile_.c_str(), errorLine_, _ErrString(code));
    else errorText_.Format("In File %s: %s", errorFile_.c_str(), _ErrString(code));
    return errorText_;
}

// ---- Storage of trees ---------------------------------------------------------------------------

const char* Rapify::internText(std::string_view text) {
    if (text.empty()) return "";
    const std::size_t needed = text.size() + 1;
    char* place = nullptr;
    if (needed > TextBlockSize / 4) {
        place = textBlocks_.emplace_back(std::make_unique_for_overwrite<char[]>(needed)).get();
    } else {
        while (textRemaining_ < needed) {
            textBlockSize_ = textBlockSize_ == 0 ? FirstTextBlockSize : std::min(textBlockSize_ * 2, TextBlockSize);
            textCursor_ = textBlocks_.emplace_back(std::make_unique_for_overwrite<char[]>(textBlockSize_)).get();
            textRemaining_ = textBlockSize_;
        }
        place = textCursor_;
        textCursor_ += needed;
        textRemaining_ -= needed;
    }
    std::memcpy(place, text.data(), text.size());
    place[text.size()] = '\0';
    return place;
}

RapClass* Rapify::CreateRapClass(int kind) {
    static_assert(std::is_trivially_destructible_v<RapClass>, "nodes are freed with their blocks");
    if (nodesLeft_ == 0) {
        nodeBlockSize_ = nodeBlockSize_ == 0 ? FirstNodeBlockSize : std::min(nodeBlockSize_ * 2, NodeBlockSize);
        try {
            nextNode_ =
                nodeBlocks_.emplace_back(std::make_unique_for_overwrite<std::byte[]>(nodeBlockSize_ * sizeof(RapClass)))
                    .get();
        } catch (const std::bad_alloc&) {
            raise(GE_OutOfMemory);
        }
        nodesLeft_ = nodeBlockSize_;
    }
    RapClass* node = std::construct_at(reinterpret_cast<RapClass*>(nextNode_), this, kind);
    nextNode_ += sizeof(RapClass);
    --nodesLeft_;
    return node;
}

Rapify::Tree& Rapify::currentTree() {
    if (trees_.empty()) trees_.push_back({"", CreateRapClass(RapClass::ClassKind), {}});
    return trees_.back();
}

RapClass* Rapify::GetFirst() { return currentTree().primary; }

const std::vector<Rapify::EnumItem>& Rapify::enumTable() const {
    static const std::vector<EnumItem> none;
    return trees_.empty() ? none : trees_.back().enums;
}

RapClass* Rapify::rap_FindFilename(const char* name) {
    const std::string_view wanted = name ? name : "";
    for (auto tree = trees_.rbegin(); tree != trees_.rend(); ++tree)
        if (paths::equalPaths(tree->fileName, wanted, false)) return tree->primary;
    return nullptr;
}

const char* Rapify::rap_GetFilename() const { return trees_.empty() ? "" : trees_.back().fileName.c_str(); }

}  // namespace archivefile

// The preprocessor: physical lines become logical lines (comments stripped, continuations joined),
// directives are obeyed, and every live line is expanded through the define table before the parser
// reads it.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "archivefile/config/ConfigCharacters.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

namespace {

using configtext::isBlank;
using configtext::wordCharacters;
using configtext::isWordChar;
using configtext::trim;


// Characters at which the expander has to look closer: a word, a string, a "#".
constexpr std::array<bool, 256> expansionStops = [] {
    std::array<bool, 256> table = wordCharacters;
    table['"'] = table['#'] = true;
    return table;
}();

bool isDigit(char c) { return c >= '0' && c <= '9'; }

void trimBack(std::string& text, std::size_t floor = 0) {
    while (text.size() > floor && isBlank(text.back())) text.pop_back();
}

std::size_t wordEnd(std::string_view text, std::size_t from) {
    while (from < text.size() && isWordChar(text[from])) ++from;
    return from;
}

std::size_t skipBlanksFrom(std::string_view text, std::size_t from) {
    while (from < text.size() && isBlank(text[from])) ++from;
    return from;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) { return paths::equalIgnoringCase(a, b); }

// "#n#" at `at`: the placeholder of parameter n.
bool placeholderAt(std::string_view body, std::size_t at, std::uint32_t& number, std::size_t& length) {
    if (at + 2 >= body.size() || body[at] != '#' || !isDigit(body[at + 1])) return false;
    std::size_t end = at + 1;
    std::uint32_t value = 0;
    while (end < body.size() && isDigit(body[end])) {
        value = std::min<std::uint32_t>(value * 10 + static_cast<std::uint32_t>(body[end] - '0'), 1000000);
        ++end;
    }
    if (end >= body.size() || body[end] != '#') return false;
    number = value;
    length = end + 1 - at;
    return true;
}

}  // namespace

// ---- Physical and logical lines -----------------------------------------------------------------

bool Rapify::readPhysicalLine(std::string_view& line) {
    Source& source = sources_.back();
    if (source.position >= source.text.size()) {
        physicalLine_ = {};
        return false;
    }
    const char* begin = source.text.data() + source.position;
    const std::size_t remaining = source.text.size() - source.position;
    const void* feed = std::memchr(begin, '\n', remaining);
    const std::size_t length = feed ? static_cast<std::size_t>(static_cast<const char*>(feed) - begin) : remaining;
    line = {begin, length};
    source.position += length + (feed ? 1 : 0);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    physicalLine_ = line;
    ++records_.back().line;
    ++statistics_.lines;
    return true;
}

void Rapify::stripComments(std::string_view physical, std::string& into) {
    bool inComment = false;
    int commentLine = 0;
    std::size_t i = 0;
    for (;;) {
        if (inComment) {
            // Comments do not nest: an opener inside one is refused rather than guessed at.
            for (; i + 1 < physical.size(); ++i) {
                if (physical[i] == '*' && physical[i + 1] == '/') {
                    inComment = false;
                    i += 2;
                    break;
                }
                if (physical[i] == '/' && physical[i + 1] == '*') failOn(RAP_RecursiveComment, physical.substr(i, 2));
            }
            if (inComment) {
                if (!readPhysicalLine(physical))
                    failWith(RAP_EofEncountered,
                             formatText("the comment opened at line %d has no end\r\n", commentLine));
                i = 0;
                continue;
            }
        }
        const std::size_t start = i;
        while (i < physical.size() && physical[i] != '"' && physical[i] != '/') ++i;
        into.append(physical.substr(start, i - start));
        if (i >= physical.size()) return;
        if (physical[i] == '"') {
            const std::size_t close = physical.find('"', i + 1);
            if (close == std::string_view::npos) {
                // A quote followed by nothing but blanks is kept as it stands.
                if (!trim(physical.substr(i + 1)).empty()) failOn(RAP_MismatchedQuotes, physical.substr(i, 1));
                into.append(physical.substr(i));
                return;
            }
            into.append(physical.substr(i, close + 1 - i));
            i = close + 1;
            continue;
        }
        if (i + 1 < physical.size() && physical[i + 1] == '/') return;
        if (i + 1 < physical.size() && physical[i + 1] == '*') {
            inComment = true;
            commentLine = currentLine();
            i += 2;
            continue;
        }
        into += '/';
        ++i;
    }
}

bool Rapify::readTrimmedLine(std::string& into) {
    stage_ = Stage::Reading;
    into.clear();
    bool joining = false;
    for (;;) {
        std::string_view physical;
        if (!readPhysicalLine(physical)) {
            if (joining) fail(RAP_ContinuationAtEof);
            if (sources_.size() == 1) return false;
            endOfSource();
            continue;
        }
        physical_.clear();
        stripComments(physical, physical_);
        const std::string_view clean = trim(physical_);
        if (clean.empty()) continue;
        if (joining) into += ' ';
        if (clean.back() != '\\') {
            into.append(clean);
            return true;
        }
        const std::string_view piece = trim(clean.substr(0, clean.size() - 1));
        into.append(piece);
        if (into.size() > MaxExpandedLine)
            failWith(RAP_EofEncountered,
                     formatText("a line continued with backslashes runs past %zu MiB\r\n", MaxLineMiB));
        // A continued assignment that lacks its semicolon gets one, so that the joined line still
        // reads as two statements; text written for the newer styles is joined as it stands.
        if (!newerText_ && !piece.empty() && piece.back() != ';' && piece.back() != '}' &&
            piece.find('=') != std::string_view::npos)
            into += ';';
        joining = true;
    }
}

bool Rapify::readLogicalLine() {
    for (;;) {
        if (!readTrimmedLine(line_)) {
            // The text compiles as far as its blocks let it; the block left open is worth a warning.
            if (openBlocks_ > 0)
                notify(formatText("Warning: %s: %d #ifdef or #ifndef without #endif at the end of the text\r\n",
                                  currentFile().c_str(), openBlocks_)
                           .c_str());
            return false;
        }
        stage_ = Stage::Preprocessing;
        if (line_.front() == '#') {
            handleDirective(line_);
            continue;
        }
        if (skipDepth_ > 0) continue;
        return true;
    }
}

void Rapify::endOfSource() {
    physicalLine_ = {};
    sources_.pop_back();
    directiveUninclude();
}

// ---- Directives ---------------------------------------------------------------------------------

void Rapify::handleDirective(std::string_view line) {
    const std::size_t wordStart = skipBlanksFrom(line, 1);
    const std::size_t end = wordEnd(line, wordStart);
    const std::string_view word = line.substr(wordStart, end - wordStart);
    const std::string_view rest = trim(line.substr(end));

    const auto requireEnd = [this](std::string_view after) {
        if (!after.empty()) failOn(RAP_ExpectedStatement, after);
    };
    const auto firstWord = [this, line](std::string_view text) {
        const std::size_t nameEnd = wordEnd(text, 0);
        if (text.empty() || nameEnd == 0) failOn(RAP_UnexpectedEol, text.empty() ? line.substr(line.size()) : text);
        return text.substr(0, nameEnd);
    };

    if (equalIgnoringCase(word, "uninclude")) {
        directiveUninclude();
        return;
    }
    if (equalIgnoringCase(word, "endif")) {
        if (openBlocks_ == 0) failOn(RAP_NoOpenBlock, word);
        --openBlocks_;
        if (skipDepth_ > 0 && --skipDepth_ == 0) notify("#endif\r\n");
        requireEnd(rest);
        return;
    }
    if (equalIgnoringCase(word, "else")) {
        if (openBlocks_ == 0) failOn(RAP_NoOpenBlock, word);
        if (skipDepth_ == 0) {
            skipDepth_ = 1;
        } else if (skipDepth_ == 1) {
            skipDepth_ = 0;
            notify("#else\r\n");
        }
        requireEnd(rest);
        return;
    }
    const bool ifdef = equalIgnoringCase(word, "ifdef");
    if (ifdef || equalIgnoringCase(word, "ifndef")) {
        const std::string_view name = firstWord(rest);
        ++openBlocks_;
        if (skipDepth_ > 0) ++skipDepth_;
        else if ((findDefine(name) != nullptr) != ifdef) skipDepth_ = 1;
        requireEnd(trim(rest.substr(name.size())));
        return;
    }
    if (skipDepth_ > 0) return;

    if (equalIgnoringCase(word, "undef")) {
        const std::string_view name = firstWord(rest);
        const auto found = defines_.find(name);
        if (found == defines_.end()) failOn(RAP_UnknownUndef, name);
        defines_.erase(found);
        return;
    }
    if (equalIgnoringCase(word, "define")) {
        directiveDefine(rest);
        return;
    }
    if (equalIgnoringCase(word, "include")) {
        directiveInclude(rest);
        return;
    }
    // Lines written for other tools.
    if (extendedSyntax_ && equalIgnoringCase(word, "pragma")) return;
    failOn(RAP_UnknownDirective, word,
           formatText("unknown directive #%.*s\r\n", static_cast<int>(word.size()), word.data()));
}

void Rapify::directiveUninclude() {
    if (records_.size() <= 1) fail(RAP_NoIncludeToUninclude);
    records_.pop_back();
}

void Rapify::directiveDefine(std::string_view rest) {
    if (rest.empty()) fail(RAP_UnexpectedEol);
    std::size_t nameEnd = 0;
    while (nameEnd < rest.size() && !isBlank(rest[nameEnd]) && rest[nameEnd] != '(') ++nameEnd;
    const std::string_view name = rest.substr(0, nameEnd);

    // The words that choose the newer raP styles.
    if (equalIgnoringCase(name, "_xbox_") || equalIgnoringCase(name, "_kern_")) {
        modeWord_ = KernStyle;
        newerText_ = true;
        storeDefine(name, {}, false, {});
        std::string_view after = trim(rest.substr(nameEnd));
        if (after.empty()) return;
        std::size_t next = 0;
        while (next < after.size() && !isBlank(after[next])) ++next;
        if (next < 13 || !equalIgnoringCase(after.substr(0, 13), "WithSignature")) failOn(RAP_BadDefine, after);
        modeWord_ = SignedStyle;
        if (!trim(after.substr(next)).empty()) failOn(RAP_BadDefine, trim(after.substr(next)));
        return;
    }
    if (name.empty()) failOn(RAP_BadDefine, rest);
    // The word that decoded inline-style files begin with, where the offset style is the default.
    if (kernByDefault_ && equalIgnoringCase(name, "_tgr_")) {
        modeWord_ &= ~StyleMask;
        inlineByHeader_ = true;
    }

    // A define ends with its line (continued lines are one line by now): parentheses that do not
    // balance there are kept as they are, but a ")" with no "(" before it is refused.
    int depth = 0;
    for (std::size_t at = 0; at < rest.size(); ++at) {
        const char c = rest[at];
        if (c == '"') {
            const std::size_t close = rest.find('"', at + 1);
            at = close == std::string_view::npos ? rest.size() - 1 : close;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')' && --depth < 0) {
            failOn(RAP_BadDefine, rest.substr(at, 1));
        }
    }

    std::string_view parameters;
    std::string_view body = rest.substr(nameEnd);
    const bool hasParameters = nameEnd < rest.size() && rest[nameEnd] == '(';
    if (hasParameters) {
        const std::size_t close = rest.find(')', nameEnd);
        if (close == std::string_view::npos) failOn(RAP_ExpectedArguments, rest.substr(nameEnd, 1));
        parameters = rest.substr(nameEnd + 1, close - nameEnd - 1);
        body = rest.substr(close + 1);
    }
    body = trim(body);
    if (body == name) failOn(RAP_BadDefine, body);
    storeDefine(name, parameters, hasParameters, body);
}

void Rapify::storeDefine(std::string_view name, std::string_view parameters, bool hasParameters,
                         std::string_view body) {
    std::vector<std::string_view> names;
    if (hasParameters && !trim(parameters).empty()) {
        std::size_t start = 0;
        for (;;) {
            const std::size_t comma = parameters.find(',', start);
            names.push_back(trim(parameters.substr(start, comma == std::string_view::npos ? comma : comma - start)));
            if (comma == std::string_view::npos) break;
            start = comma + 1;
        }
    }

    Define define;
    define.parameterCount = hasParameters ? static_cast<int>(names.size()) : -1;
    define.body.reserve(body.size());
    // Where each "#" of the body lands in the stored body, so that a refused one can be shown.
    std::vector<std::pair<std::size_t, std::size_t>> hashes;
    for (std::size_t i = 0; i < body.size();) {
        const char c = body[i];
        if (c == '"') {
            const std::size_t close = body.find('"', i + 1);
            const std::size_t end = close == std::string_view::npos ? body.size() : close + 1;
            define.body.append(body.substr(i, end - i));
            i = end;
        } else if (isWordChar(c)) {
            const std::size_t end = wordEnd(body, i);
            const std::string_view word = body.substr(i, end - i);
            const auto parameter = std::find(names.begin(), names.end(), word);
            if (parameter != names.end()) define.body += formatText("#%d#", static_cast<int>(parameter - names.begin()) + 1);
            else define.body.append(word);
            i = end;
        } else {
            if (c == '#') hashes.emplace_back(define.body.size(), i);
            define.body += c;
            ++i;
        }
    }
    if (const std::size_t lone = compileBody(define); lone != std::string::npos) {
        const auto hash = std::find_if(hashes.begin(), hashes.end(), [lone](const auto& at) { return at.first == lone; });
        failOn(RAP_SingleHash, hash == hashes.end() ? name : body.substr(hash->second, 1));
    }

    const auto existing = defines_.find(name);
    if (existing != defines_.end()) {
        if (existing->second.body == define.body && existing->second.parameterCount == define.parameterCount) return;
        if (!extendedSyntax_) {
            std::fprintf(stderr, "\n%.*s\n", static_cast<int>(name.size()), name.data());
            failOn(RAP_DuplicatedDefine, name);
        }
        // Headers that several files include give their defines again, some of them changed.
        notify(formatText("Warning: %s: %d %.*s is defined again with another body, which replaces the earlier one\r\n",
                          currentFile().c_str(), currentLine(), static_cast<int>(name.size()), name.data())
                   .c_str());
        existing->second = std::move(define);
        return;
    }
    const std::size_t bit = defineFilterBit(name);
    defineFilter_[bit / 64] |= std::uint64_t{1} << (bit % 64);
    defines_.emplace(std::string(name), std::move(define));
}

std::size_t Rapify::compileBody(Define& define) {
    const std::string_view body = define.body;
    std::vector<Segment> raw;
    std::size_t literalStart = 0;
    const auto flush = [&](std::size_t end) {
        if (end > literalStart)
            raw.push_back({SegmentKind::Literal, static_cast<std::uint32_t>(literalStart),
                           static_cast<std::uint32_t>(end - literalStart)});
    };
    for (std::size_t i = 0; i < body.size();) {
        if (body[i] == '"') {
            const std::size_t close = body.find('"', i + 1);
            i = close == std::string_view::npos ? body.size() : close + 1;
            continue;
        }
        if (body[i] != '#') {
            ++i;
            continue;
        }
        std::uint32_t number = 0;
        std::size_t length = 0;
        Segment segment{SegmentKind::Join, 0, 0};
        std::size_t consumed = 2;
        if (placeholderAt(body, i, number, length)) {
            segment = {SegmentKind::Parameter, number, 0};
            consumed = length;
        } else if (placeholderAt(body, i + 1, number, length)) {
            // "#" directly before a parameter: the argument in double quotes.
            segment = {SegmentKind::Stringize, number, 0};
            consumed = 1 + length;
        } else if (i + 1 >= body.size() || body[i + 1] != '#') {
            if (!extendedSyntax_) return i;
            // A "#" of its own is text, as in 'ADMIN_SYS(#)'.
            ++i;
            continue;
        }
        flush(i);
        raw.push_back(segment);
        i += consumed;
        literalStart = i;
    }
    flush(body.size());

    // Around a join, blanks go, and a word written next to it becomes a segment of its own, so that
    // a define of that name is expanded before the pieces are glued ("TAG##_##x" with TAG defined).
    define.segments.reserve(raw.size());
    for (std::size_t k = 0; k < raw.size(); ++k) {
        const Segment& segment = raw[k];
        if (segment.kind != SegmentKind::Literal) {
            define.segments.push_back(segment);
            continue;
        }
        const bool joinBefore = k > 0 && raw[k - 1].kind == SegmentKind::Join;
        const bool joinAfter = k + 1 < raw.size() && raw[k + 1].kind == SegmentKind::Join;
        std::size_t from = segment.offset;
        std::size_t to = segment.offset + segment.length;
        if (joinBefore) from = skipBlanksFrom(body.substr(0, to), from);
        if (joinAfter)
            while (to > from && isBlank(body[to - 1])) --to;
        const auto push = [&](SegmentKind kind, std::size_t a, std::size_t b) {
            if (b > a)
                define.segments.push_back({kind, static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b - a)});
        };
        if (joinBefore) {
            const std::size_t end = wordEnd(body.substr(0, to), from);
            push(SegmentKind::JoinedWord, from, end);
            from = end;
        }
        std::size_t trailingWord = to;
        if (joinAfter)
            while (trailingWord > from && isWordChar(body[trailingWord - 1])) --trailingWord;
        push(SegmentKind::Literal, from, trailingWord);
        push(SegmentKind::JoinedWord, trailingWord, to);
    }
    return std::string::npos;
}

const Rapify::Define* Rapify::findDefine(std::string_view name) const {
    if (name.empty()) return nullptr;
    const std::size_t bit = defineFilterBit(name);
    if ((defineFilter_[bit / 64] & (std::uint64_t{1} << (bit % 64))) == 0) return nullptr;
    const auto found = defines_.find(name);
    return found == defines_.end() ? nullptr : &found->second;
}

void Rapify::directiveInclude(std::string_view rest) {
    if (rest.empty()) fail(RAP_UnexpectedEol);
    const char closing = rest.front() == '"' ? '"' : rest.front() == '<' ? '>' : '\0';
    const std::size_t close = closing ? rest.find(closing, 1) : std::string_view::npos;
    if (close == std::string_view::npos || close == 1)
        failOn(RAP_CannotInclude, rest,
               formatText("#include needs a file name in quotes: %.*s\r\n", static_cast<int>(rest.size()), rest.data()));
    openInclude(rest.substr(1, close - 1));
}

std::string Rapify::resolveInclude(std::string_view name) {
    const std::string native = paths::native(name);
    const std::string root = paths::native(includeRoot_);
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0]))) {
        // There are no drives here: the include root stands for the drive the name was written for.
        if (includeRoot_.empty())
            failOn(RAP_CannotChangeDrive, name,
                   formatText("%.*s names a drive; give the folder that stands for it as the include root\r\n",
                              static_cast<int>(name.size()), name.data()));
        std::string rest = native.substr(2);
        if (rest.empty() || rest.front() != '/') rest.insert(rest.begin(), '/');
        return root + rest;
    }
    if (paths::isSlash(name.front())) return root + native;
    return paths::native(records_.back().folder) + "/" + native;
}

void Rapify::openInclude(std::string_view name) {
    if (static_cast<int>(sources_.size()) > MaxIncludeDepth)
        failOn(RAP_CannotInclude, name,
               formatText("includes nested deeper than %d levels at %.*s: does a file include itself?\r\n",
                          MaxIncludeDepth, static_cast<int>(name.size()), name.data()));
    const std::string wanted = resolveInclude(name);
    const std::string path = Platform::findFileIgnoringCase(wanted);
    auto file = std::make_unique<VexFileIO>(parent_);
    file->SetCallBack(callback_);
    if (path.empty() || !file->OpenFile(path.c_str(), nullptr, true))
        failOn(RAP_CannotInclude, name, formatText("cannot open the include file %s\r\n", wanted.c_str()));
    const std::string_view text(reinterpret_cast<const char*>(file->image()), file->size());
    std::string folder = paths::driveAndFolder(path);
    if (folder.empty()) folder.push_back('.');
    records_.push_back({path, std::move(folder), 0});
    sources_.push_back({std::move(file), text, 0});
    ++statistics_.filesRead;
}

// ---- Macro expansion ----------------------------------------------------------------------------

Rapify::ExpansionScratch& Rapify::scratchAt(int depth) {
    while (scratch_.size() <= static_cast<std::size_t>(depth)) scratch_.emplace_back();
    return scratch_[static_cast<std::size_t>(depth)];
}

void Rapify::expandText(std::string_view text, std::string& out, int depth, bool argumentMode) {
    if (depth > MaxExpansionDepth)
        failWith(RAP_BadDefine, formatText("defines nested deeper than %d levels\r\n", MaxExpansionDepth));
    expansionWork_ += text.size();
    if (expansionWork_ > MaxExpansionWork)
        failWith(RAP_BadDefine,
                 formatText("expanding one line goes through more than %zu MiB of text\r\n", MaxExpansionWorkMiB));
    const std::size_t produced = out.size();
    bool joined = false;
    // Text that needs no change is copied in one piece when something has to be replaced, or at
    // the end.
    std::size_t copied = 0;
    const auto copyUpTo = [&](std::size_t end) {
        out.append(text.substr(copied, end - copied));
        copied = end;
    };
    std::size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && !expansionStops[static_cast<unsigned char>(text[i])]) ++i;
        if (i >= text.size()) break;
        const char c = text[i];
        if (c == '"') {
            const std::size_t close = text.find('"', i + 1);
            i = close == std::string_view::npos ? text.size() : close + 1;
        } else if (c == '#') {
            if (i + 1 < text.size() && text[i + 1] == '#') {
                copyUpTo(i);
                trimBack(out, produced);
                i = copied = skipBlanksFrom(text, i + 2);
                joined = true;
            } else if (!extendedSyntax_ && i + 1 < text.size() && isWordChar(text[i + 1])) {
                // The stringize form: the rest of the token in double quotes. Text written for
                // the extended syntax stringizes only parameters, in the define's body, and keeps
                // any other "#" as it stands.
                copyUpTo(i);
                const std::size_t end = wordEnd(text, i + 1);
                out += '"';
                out.append(text.substr(i + 1, end - i - 1));
                out += '"';
                i = copied = end;
            } else {
                ++i;
            }
        } else {
            const std::size_t end = wordEnd(text, i);
            const std::string_view word = text.substr(i, end - i);
            // Numbers never name a define; other words are looked at only when they may.
            const bool builtin = word.size() >= 6 && word[0] == '_' && word[1] == '_';
            const Define* define = isDigit(c) ? nullptr : findDefine(word);
            if (define == nullptr && !builtin) {
                i = end;
                continue;
            }
            copyUpTo(i);
            if (depth == 0) expansionAt_ = i;
            i = copied = expandWord(text, i, end, define, out, depth, argumentMode);
        }
    }
    copyUpTo(text.size());
    if (joined) {
        // Glued pieces can form a new name; it is looked up like any other.
        std::string glued = out.substr(produced);
        out.resize(produced);
        expandText(glued, out, depth + 1, argumentMode);
    }
    if (out.size() > MaxExpandedLine)
        failWith(RAP_BadDefine, formatText("the expansion of one line runs past %zu MiB\r\n", MaxLineMiB));
}

std::size_t Rapify::expandWord(std::string_view& text, std::size_t wordStart, std::size_t wordEnd,
                               const Define* define, std::string& out, int depth, bool argumentMode) {
    const std::string_view word = text.substr(wordStart, wordEnd - wordStart);
    if (word.size() >= 6 && word[0] == '_' && word[1] == '_') {
        if (word == "__LINE__") {
            out += std::to_string(currentLine());
            return wordEnd;
        }
        if (word == "__FILE__") {
            out += currentFile();
            return wordEnd;
        }
        if (word == "__EVAL" || word == "__EXEC") return expandBuiltin(word, text, wordEnd, out, depth);
    }
    if (define == nullptr) {
        out.append(word);
        return wordEnd;
    }
    if (std::find(activeDefines_.begin(), activeDefines_.end(), define) != activeDefines_.end())
        failWith(RAP_BadDefine, formatText("%.*s expands into itself\r\n", static_cast<int>(word.size()), word.data()));
    if (++expansionsThisLine_ > MaxExpansionsPerLine)
        failWith(RAP_BadDefine, formatText("one line needs more than %lld define expansions\r\n",
                                           static_cast<long long>(MaxExpansionsPerLine)));

    ExpansionScratch& scratch = scratchAt(depth);
    std::size_t next = wordEnd;
    std::size_t argumentCount = 0;
    if (define->parameterCount >= 0) {
        const std::size_t open = skipBlanksFrom(text, wordEnd);
        if (open >= text.size() || text[open] != '(') {
            // Inside an argument, a name without its list is text: the define it is passed to
            // may call it.
            if (argumentMode) {
                out.append(word);
                return wordEnd;
            }
            failWith(RAP_ExpectedArguments, formatText("%.*s needs its arguments in parentheses\r\n",
                                                       static_cast<int>(word.size()), word.data()));
        }
        next = readArguments(text, open, argumentCount, depth, depth == 0 && !argumentMode);
        if (static_cast<int>(argumentCount) < define->parameterCount) fail(RAP_NotEnoughArguments);
    }

    std::string& substituted = scratch.substituted;
    substituted.clear();
    const std::string_view body = define->body;
    for (const Segment& segment : define->segments) {
        switch (segment.kind) {
        case SegmentKind::Literal:
            substituted.append(body.substr(segment.offset, segment.length));
            break;
        case SegmentKind::Parameter:
        case SegmentKind::Stringize: {
            if (segment.offset == 0 || segment.offset > argumentCount) fail(RAP_NotEnoughArguments);
            const std::string& argument = scratch.arguments[segment.offset - 1];
            if (segment.kind == SegmentKind::Stringize) {
                substituted += '"';
                substituted += argument;
                substituted += '"';
            } else {
                substituted += argument;
            }
            break;
        }
        case SegmentKind::JoinedWord: {
            const std::string_view piece = body.substr(segment.offset, segment.length);
            const Define* inner = findDefine(piece);
            if (inner != nullptr && inner->parameterCount < 0) expandText(piece, substituted, depth + 1, argumentMode);
            else substituted.append(piece);
            break;
        }
        case SegmentKind::Join:
            trimBack(substituted);
            break;
        }
        if (substituted.size() > MaxExpandedLine)
            failWith(RAP_BadDefine, formatText("the expansion of one line runs past %zu MiB\r\n", MaxLineMiB));
    }

    activeDefines_.push_back(define);
    expandText(substituted, out, depth + 1, argumentMode);
    activeDefines_.pop_back();
    return next;
}

std::size_t Rapify::readArguments(std::string_view& text, std::size_t open, std::size_t& count, int depth,
                                  bool mayReadLines) {
    ExpansionScratch& scratch = scratchAt(depth);
    // Argument bounds are kept as positions: reading further lines can move the line's text.
    std::vector<std::pair<std::size_t, std::size_t>>& bounds = scratch.bounds;
    bounds.clear();
    std::size_t start = open + 1;
    int level = 0;
    std::size_t i = open + 1;
    for (;;) {
        if (i >= text.size()) {
            std::string more;
            const bool moreRead = mayReadLines && readTrimmedLine(more);
            stage_ = Stage::Expanding;
            if (!moreRead || more.front() == '#')
                failWith(RAP_ExpectedArguments, "a define's argument list has no closing parenthesis\r\n");
            line_ += ' ';
            line_ += more;
            if (line_.size() > MaxExpandedLine)
                failWith(RAP_ExpectedArguments, formatText("a define's argument list runs past %zu MiB\r\n", MaxLineMiB));
            text = line_;
            continue;
        }
        const char c = text[i];
        if (c == '"') {
            const std::size_t close = text.find('"', i + 1);
            i = close == std::string_view::npos ? text.size() : close + 1;
            continue;
        }
        if (c == '(') {
            ++level;
        } else if (c == ')') {
            if (level == 0) break;
            --level;
        } else if (c == ',' && level == 0) {
            bounds.emplace_back(start, i);
            start = i + 1;
        }
        ++i;
    }
    bounds.emplace_back(start, i);

    count = bounds.size();
    if (scratch.arguments.size() < count) scratch.arguments.resize(count);
    for (std::size_t k = 0; k < count; ++k) {
        std::string& argument = scratch.arguments[k];
        argument.clear();
        expandText(trim(text.substr(bounds[k].first, bounds[k].second - bounds[k].first)), argument, depth + 1, true);
    }
    return i + 1;
}

std::size_t Rapify::matchParenthesis(std::string_view text, std::size_t open) const {
    int level = 0;
    for (std::size_t i = open; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            const std::size_t close = text.find('"', i + 1);
            if (close == std::string_view::npos) return std::string_view::npos;
            i = close;
        } else if (c == '(') {
            ++level;
        } else if (c == ')' && --level == 0) {
            return i;
        }
    }
    return std::string_view::npos;
}

std::size_t Rapify::expandBuiltin(std::string_view word, std::string_view text, std::size_t after, std::string& out,
                                  int depth) {
    modeWord_ |= HasEvalsBit;
    const std::size_t open = skipBlanksFrom(text, after);
    const std::size_t close = open < text.size() && text[open] == '(' ? matchParenthesis(text, open)
                                                                      : std::string_view::npos;
    if (close == std::string_view::npos) fail(RAP_BadEval);
    if (word == "__EXEC") {
        // The statement is not run here: configs use it to set script variables for the game.
        const std::size_t next = skipBlanksFrom(text, close + 1);
        return next < text.size() && text[next] == ';' ? next + 1 : next;
    }
    std::string& expression = scratchAt(depth).argumentsText;
    expression.clear();
    expandText(text.substr(open + 1, close - open - 1), expression, depth + 1, true);
    evaluate(expression, out);
    return close + 1;
}

}  // namespace archivefile

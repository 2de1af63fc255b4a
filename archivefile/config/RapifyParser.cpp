// The parser: statements of expanded config text become the nodes of the class tree. Nesting is
// kept on explicit stacks, so deep input costs memory up to a fixed bound, never the call stack.
#include <array>
#include <charconv>
#include <cstdint>
#include <string>

#include "archivefile/config/ConfigCharacters.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextFormat.h"

namespace archivefile {

namespace {

using configtext::isBlank;
using configtext::wordCharacters;
using configtext::trim;

// A body's names are indexed once it holds more entries than a short scan is worth.
constexpr std::size_t IndexedBodySize = 16;
// Inheritance chains searched for a base name are followed this far; past it the name is taken
// as found, since refusing a valid config would be worse than missing a mistake.
constexpr int MaxInheritanceSteps = 64;


bool isDigits(std::string_view text, int base) {
    if (text.empty()) return false;
    for (const char c : text) {
        const bool digit = c >= '0' && c <= '9';
        const bool hex = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!digit && !(base == 16 && hex)) return false;
    }
    return true;
}

// A decimal integer, or a 0x-hex one, whose value fits in 32 bits; hex values above 0x7FFFFFFF
// keep their bits.
bool parseInteger(std::string_view text, std::int32_t& value) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        const std::string_view digits = text.substr(2);
        std::uint64_t number = 0;
        if (!isDigits(digits, 16)) return false;
        const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
        if (result.ec != std::errc() || number > 0xFFFFFFFFu) return false;
        value = static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
        return true;
    }
    std::string_view digits = text;
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
    if (!isDigits(digits, 10)) return false;
    std::int64_t number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec != std::errc()) return false;
    if (text.front() == '-') number = -number;
    if (number < INT32_MIN || number > INT32_MAX) return false;
    value = static_cast<std::int32_t>(number);
    return true;
}

// A number with a point or an exponent, read whole. Words that a float reader would also take
// ("inf", "nan") stay strings.
bool isFloatText(std::string_view text) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    bool digit = false;
    for (const char c : text) {
        if (c >= '0' && c <= '9') digit = true;
        else if (c != '.' && c != '-' && c != '+' && c != 'e' && c != 'E') return false;
    }
    if (!digit) return false;
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return (result.ec == std::errc() || result.ec == std::errc::result_out_of_range) &&
           result.ptr == text.data() + text.size();
}

// Which entries may share a name in one body: a class can be declared extern before or after its
// definition; anything else twice is a mistake.
bool conflicts(int existing, int added) {
    switch (added) {
    case RapClass::ExternKind: return !(existing == RapClass::ClassKind || existing == RapClass::ExternKind ||
                                        existing == RapClass::DeleteKind);
    case RapClass::ClassKind: return existing != RapClass::ExternKind && existing != RapClass::DeleteKind;
    case RapClass::DeleteKind: return existing == RapClass::DeleteKind || RapClass::isValueKind(existing) ||
                                      existing == RapClass::ArrayKind || existing == RapClass::ArrayAppendKind;
    default: return true;
    }
}

}  // namespace

std::size_t Rapify::NameHash::operator()(std::string_view text) const {
    std::uint64_t hash = 14695981039346656037ull;
    for (const char c : text) {
        const auto lower = static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
        hash = (hash ^ lower) * 1099511628211ull;
    }
    return static_cast<std::size_t>(hash);
}

bool Rapify::NameEqual::operator()(std::string_view a, std::string_view b) const {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const char x = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] + ('a' - 'A')) : a[i];
        const char y = b[i] >= 'A' && b[i] <= 'Z' ? static_cast<char>(b[i] + ('a' - 'A')) : b[i];
        if (x != y) return false;
    }
    return true;
}

// ---- Reading expanded lines ---------------------------------------------------------------------

bool Rapify::nextLine() {
    expanded_.clear();
    cursor_ = 0;
    if (endOfText_) return false;
    if (!readLogicalLine()) {
        endOfText_ = true;
        return false;
    }
    expansionsThisLine_ = 0;
    expansionWork_ = 0;
    stage_ = Stage::Expanding;
    expansionAt_ = std::string::npos;
    expandText(line_, expanded_, 0, false);
    stage_ = Stage::Parsing;
    statistics_.expandedBytes += static_cast<std::int64_t>(expanded_.size()) + 1;
    return true;
}

void Rapify::skipBlanks() {
    while (cursor_ < expanded_.size() && isBlank(expanded_[cursor_])) ++cursor_;
}

bool Rapify::skipBlanksAndLines() {
    for (;;) {
        skipBlanks();
        if (!atLineEnd()) return true;
        if (!nextLine()) return false;
    }
}

std::string_view Rapify::readWord() {
    const std::size_t start = cursor_;
    while (cursor_ < expanded_.size() && wordCharacters[static_cast<unsigned char>(expanded_[cursor_])]) ++cursor_;
    return std::string_view(expanded_).substr(start, cursor_ - start);
}

// ---- Statements ---------------------------------------------------------------------------------

void Rapify::parseText() {
    bodies_.clear();
    bodies_.push_back({currentTree().primary, nullptr, 0});
    while (skipBlanksAndLines()) {
        const char c = peek();
        if (c == ';') {
            // Empty statements are left behind by defines that end in their own semicolon.
            ++cursor_;
            continue;
        }
        if (c == '}') {
            if (bodies_.size() == 1) fail(RAP_ExpectedStatement);
            ++cursor_;
            bodies_.pop_back();
            endStatement();
            continue;
        }
        const std::string_view word = readWord();
        if (word.empty()) fail(RAP_ExpectedStatement);
        if (word == "class") parseClass();
        else if (word == "delete") parseDelete();
        else if (word == "enum") parseEnum();
        else parseAssignment(word);
    }
    if (bodies_.size() > 1) failTruncated();
    if (currentTree().primary->firstChild() == nullptr) {
        _SetError(RAP_NoClasses);
        if (errorCode_ == RAP_NoClasses) {
            errorLine_ = 0;
            errorPlace_ = {};
        }
        raise(RAP_NoClasses);
    }
}

void Rapify::failAtEnd() {
    if (bodies_.size() > 1) failTruncated();
    fail(RAP_EofEncountered);
}

void Rapify::failTruncated() {
    notify(formatText("Truncated file. Missing one or more};. Error starts near token '%s' : %s\r\n",
                      bodies_.back().cls->name(), _ErrString(RAP_EofEncountered))
               .c_str());
    fail(RAP_EofEncountered);
}

void Rapify::endStatement() {
    skipBlanks();
    if (atLineEnd()) return;
    if (peek() != ';') fail(RAP_ExpectedSemicolon);
    ++cursor_;
}

std::string_view Rapify::wordOnLine(const std::string& word, std::size_t at, std::int64_t linesThen) const {
    return statistics_.lines == linesThen ? std::string_view(expanded_).substr(at, word.size()) : word;
}

void Rapify::parseClass() {
    if (!skipBlanksAndLines()) failAtEnd();
    const std::size_t nameAt = cursor_;
    const std::int64_t nameLines = statistics_.lines;
    const std::string name(readWord());
    if (name.empty()) fail(RAP_ExpectedClassName);
    if (!skipBlanksAndLines()) failAtEnd();
    if (peek() == ';') {
        ++cursor_;
        addEntry(RapClass::ExternKind, wordOnLine(name, nameAt, nameLines));
        return;
    }
    std::string base;
    std::size_t baseAt = 0;
    std::int64_t baseLines = 0;
    if (peek() == ':') {
        ++cursor_;
        if (!skipBlanksAndLines()) failAtEnd();
        baseAt = cursor_;
        baseLines = statistics_.lines;
        base = readWord();
        if (base.empty()) fail(RAP_ExpectedClassName);
        if (!skipBlanksAndLines()) failAtEnd();
    }
    if (peek() != '{') fail(RAP_ExpectedInherit);
    ++cursor_;

    const RapClass* resolved = nullptr;
    if (!base.empty() && !findBase(base, resolved)) {
        failOn(RAP_MissingBase, wordOnLine(base, baseAt, baseLines),
               formatText("class %s: its base class %s is not declared before it\r\n", name.c_str(), base.c_str()));
    }
    if (bodies_.size() > static_cast<std::size_t>(MaxClassDepth))
        failWith(RAP_ExpectedStatement, formatText("classes nested deeper than %d levels\r\n", MaxClassDepth));
    RapClass* node = addEntry(RapClass::ClassKind, wordOnLine(name, nameAt, nameLines));
    node->setText(base);
    if (resolved != nullptr) bases_.emplace(node, resolved);
    bodies_.push_back({node, nullptr, 0});
}

void Rapify::parseDelete() {
    if (!skipBlanksAndLines()) failAtEnd();
    const std::string_view name = readWord();
    if (name.empty()) fail(RAP_ExpectedClassName);
    addEntry(RapClass::DeleteKind, name);
    endStatement();
}

void Rapify::parseEnum() {
    if (!skipBlanksAndLines()) failAtEnd();
    if (peek() != '{') {
        // A name after the word is allowed and has no use.
        if (readWord().empty()) fail(RAP_ExpectedStatement);
        if (!skipBlanksAndLines()) failAtEnd();
        if (peek() != '{') fail(RAP_ExpectedStatement);
    }
    ++cursor_;
    currentTree().enumBlock = true;
    std::vector<EnumItem>& items = currentTree().enums;
    std::int32_t next = 0;
    for (;;) {
        if (!skipBlanksAndLines()) failAtEnd();
        if (peek() == '}') {
            ++cursor_;
            break;
        }
        std::string name(readWord());
        if (name.empty()) fail(RAP_ExpectedStatement);
        if (!skipBlanksAndLines()) failAtEnd();
        if (peek() == '=') {
            ++cursor_;
            skipBlanks();
            const std::size_t start = cursor_;
            if (peek() == '-' || peek() == '+') ++cursor_;
            readWord();
            if (!parseInteger(std::string_view(expanded_).substr(start, cursor_ - start), next))
                fail(RAP_ExpectedStatement);
            if (!skipBlanksAndLines()) failAtEnd();
        }
        items.push_back({std::move(name), next});
        // Items without a value count on from the one before.
        next = static_cast<std::int32_t>(static_cast<std::uint32_t>(next) + 1u);
        if (peek() == ',') {
            ++cursor_;
            continue;
        }
        if (peek() != '}') fail(RAP_ExpectedStatement);
        ++cursor_;
        break;
    }
    endStatement();
}

void Rapify::parseAssignment(std::string_view name) {
    skipBlanks();
    if (peek() == '[') {
        ++cursor_;
        skipBlanks();
        if (peek() != ']') fail(RAP_ExpectedArray);
        ++cursor_;
        skipBlanks();
        int kind = RapClass::ArrayKind;
        if (extendedSyntax_ && peek() == '+' && cursor_ + 1 < expanded_.size() && expanded_[cursor_ + 1] == '=') {
            kind = RapClass::ArrayAppendKind;
            ++cursor_;
        }
        if (peek() != '=') fail(RAP_ExpectedArray);
        ++cursor_;
        RapClass* array = addEntry(kind, name);
        if (!skipBlanksAndLines()) failAtEnd();
        if (peek() != '{') fail(RAP_ExpectedArray);
        ++cursor_;
        parseArrayElements(array);
        endStatement();
        return;
    }
    if (peek() != '=') fail(RAP_ExpectedArray);
    ++cursor_;
    readValue(addEntry(RapClass::UntypedValueKind, name), false);
    endStatement();
}

void Rapify::parseArrayElements(RapClass* array) {
    std::vector<RapClass*>& open = arrays_;
    open.clear();
    open.push_back(array);
    bool expectElement = true;
    for (;;) {
        if (!skipBlanksAndLines()) failAtEnd();
        const char c = peek();
        if (c == '}') {
            // Closes an empty list, a list after its last element, or one with a trailing comma.
            ++cursor_;
            open.pop_back();
            if (open.empty()) return;
            expectElement = false;
            continue;
        }
        if (!expectElement) {
            if (c != ',') fail(RAP_ExpectedArray);
            ++cursor_;
            expectElement = true;
            continue;
        }
        if (c == ',') fail(RAP_ExpectedArray);
        if (c == '{') {
            if (open.size() >= static_cast<std::size_t>(MaxArrayDepth))
                failWith(RAP_ExpectedArray, formatText("arrays nested deeper than %d levels\r\n", MaxArrayDepth));
            ++cursor_;
            open.push_back(open.back()->rapc_AddEmbeddedEntry(RapClass::ArrayKind));
            continue;
        }
        readValue(open.back()->rapc_AddEmbeddedEntry(RapClass::UntypedValueKind), true);
        expectElement = false;
    }
}

void Rapify::readValue(RapClass* node, bool inArray) {
    skipBlanks();
    if (peek() == '"') {
        // A doubled quote inside a string stands for one quote.
        std::string& text = valueText_;
        text.clear();
        ++cursor_;
        for (;;) {
            const std::size_t close = expanded_.find('"', cursor_);
            if (close == std::string::npos) {
                text.append(expanded_, cursor_);
                cursor_ = expanded_.size();
                break;
            }
            text.append(expanded_, cursor_, close - cursor_);
            cursor_ = close + 1;
            if (peek() != '"') break;
            text += '"';
            ++cursor_;
        }
        node->setKind(RapClass::StringKind);
        node->setText(text);
        return;
    }
    const std::size_t start = cursor_;
    while (cursor_ < expanded_.size()) {
        const char c = expanded_[cursor_];
        if (c == ';' && !inArray) break;
        if (inArray && (c == ',' || c == '}')) break;
        ++cursor_;
    }
    const std::string_view raw = trim(std::string_view(expanded_).substr(start, cursor_ - start));
    std::int32_t integer = 0;
    if (parseInteger(raw, integer)) {
        char digits[16];
        const auto result = std::to_chars(digits, digits + sizeof digits, integer);
        node->setKind(RapClass::IntKind);
        node->setText(std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
    } else if (isFloatText(raw)) {
        node->setKind(RapClass::FloatKind);
        node->setText(raw.front() == '+' ? raw.substr(1) : raw);
    } else {
        node->setKind(RapClass::StringKind);
        node->setText(raw);
    }
}

// ---- Entries of the open body -------------------------------------------------------------------

RapClass* Rapify::addEntry(int kind, std::string_view name) {
    OpenBody& body = bodies_.back();
    const auto refuse = [&] {
        failOn(RAP_Duplicated, name,
               formatText("%.*s is declared twice in %s\r\n", static_cast<int>(name.size()), name.data(),
                          body.cls == currentTree().primary ? "the file" : body.cls->name()));
    };
    if (body.index) {
        const auto [first, last] = body.index->equal_range(name);
        for (auto it = first; it != last; ++it)
            if (conflicts(it->second->kind(), kind)) refuse();
    } else {
        for (RapClass* child = body.cls->firstChild(); child; child = child->next())
            if (child->hasName(name) && conflicts(child->kind(), kind)) refuse();
    }

    RapClass* node = CreateRapClass(kind);
    node->setName(name);
    body.cls->adoptChild(node);
    ++body.entries;
    if (body.index) {
        body.index->emplace(node->nameView(), node);
    } else if (body.entries > IndexedBodySize) {
        body.index = std::make_unique<NameIndex>();
        for (RapClass* child = body.cls->firstChild(); child; child = child->next())
            body.index->emplace(child->nameView(), child);
    }

    if (kind == RapClass::ClassKind) ++statistics_.classes;
    else if (kind == RapClass::ExternKind || kind == RapClass::DeleteKind) ++statistics_.externClasses;
    else ++statistics_.values;
    return node;
}

const RapClass* Rapify::findClassIn(const RapClass* scope, std::string_view name, const OpenBody* open) const {
    const RapClass* declared = nullptr;
    const auto consider = [&](const RapClass* entry) {
        if (entry->kind() == RapClass::ClassKind) return true;
        if (entry->kind() == RapClass::ExternKind) declared = entry;
        return false;
    };
    if (open != nullptr && open->index) {
        const auto [first, last] = open->index->equal_range(name);
        for (auto it = first; it != last; ++it)
            if (consider(it->second)) return it->second;
    } else {
        for (const RapClass* child = scope->firstChild(); child; child = child->next())
            if (child->hasName(name) && consider(child)) return child;
    }
    return declared;
}

// A base is visible when it is declared before, in the open body or an enclosing one, or is
// inherited into one of them. A class inherited from one that this text only declares extern may
// bring any name with it, so such a search cannot fail.
bool Rapify::findBase(std::string_view base, const RapClass*& resolved) const {
    resolved = nullptr;
    for (std::size_t level = bodies_.size(); level-- > 0;) {
        const RapClass* scope = bodies_[level].cls;
        const OpenBody* open = &bodies_[level];
        for (int steps = 0; scope != nullptr; ++steps) {
            if (steps > MaxInheritanceSteps) return true;
            if (const RapClass* found = findClassIn(scope, base, open)) {
                if (found->kind() == RapClass::ClassKind) resolved = found;
                return true;
            }
            if (scope->textView().empty()) break;
            const auto known = bases_.find(scope);
            if (known == bases_.end()) return true;
            scope = known->second;
            open = nullptr;
        }
    }
    return false;
}

}  // namespace archivefile

#include "archivefile/foundation/NamePatterns.h"

#include <algorithm>

#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"

namespace archivefile {

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

std::string withoutOuterSlashes(std::string_view path) {
    std::string text = paths::withSeparator(path, '/');
    const std::size_t first = text.find_first_not_of('/');
    if (first == std::string::npos) return {};
    text.erase(0, first);
    text.erase(text.find_last_not_of('/') + 1);
    return text;
}

}  // namespace

NamePatterns::NamePatterns(std::string_view list) {
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        const std::string_view item = trimmed(list.substr(0, comma));
        list.remove_prefix(std::min(comma + 1, list.size()));
        std::string pattern = withoutOuterSlashes(item);
        if (pattern.empty()) continue;
        const bool wholePath = pattern.find('/') != std::string::npos;
        patterns_.push_back({std::string(item), std::move(pattern), wholePath, false});
    }
}

bool NamePatterns::matches(std::string_view path) {
    const std::string text = withoutOuterSlashes(path);
    bool any = false;
    for (Pattern& each : patterns_) {
        // Every folder of the path, and the path itself: "a", "a/b", "a/b/c.txt" (or their names).
        bool matched = false;
        for (std::size_t end = text.find('/'); !matched; end = text.find('/', end + 1)) {
            const std::size_t stop = end == std::string::npos ? text.size() : end;
            const std::size_t start = each.wholePath ? 0 : paths::fileNameStart(std::string_view(text).substr(0, stop));
            matched = Platform::matchesPattern(each.pattern, text.substr(start, stop - start));
            if (end == std::string::npos) break;
        }
        each.used = each.used || matched;
        any = any || matched;
    }
    return any;
}

std::vector<std::string> NamePatterns::unmatched() const {
    std::vector<std::string> names;
    for (const Pattern& each : patterns_)
        if (!each.used) names.push_back(each.given);
    return names;
}

}  // namespace archivefile

#include "archivefile/foundation/PathRules.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"

namespace archivefile::paths {

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

std::size_t lastSlash(std::string_view name) {
    const std::size_t back = name.rfind('\\');
    if (back == none) return name.rfind('/');
    // A forward slash after the last backslash is nearer the end.
    const std::size_t forward = name.rfind('/');
    return forward != none && forward > back ? forward : back;
}

std::size_t trailingSlash(std::string_view name) {
    return !name.empty() && isSlash(name.back()) ? name.size() - 1 : none;
}

std::size_t fileNameStart(std::string_view name) {
    const std::size_t slash = lastSlash(name);
    if (slash != none) return slash + 1;
    return name.size() >= 2 && name[1] == ':' ? 2 : 0;
}

std::size_t extension(std::string_view name) {
    const std::size_t start = fileNameStart(name);
    const std::size_t dot = name.rfind('.');
    return dot != none && dot >= start ? dot : none;
}

bool hasRoot(std::string_view name) { return !name.empty() && isSlash(name.front()); }

bool hasVnc(std::string_view name) { return name.size() >= 2 && name[0] == '\\' && name[1] == '\\'; }

int hasDrive(std::string_view name) {
    if (!name.empty() && (name.size() < 2 || name[1] != ':')) return 0;
    if (name.size() >= 3 && std::isalpha(static_cast<unsigned char>(name[0])) && isSlash(name[2])) return 1;
    throw TextException("hasdrive invalid n:");
}

std::size_t rootLength(std::string_view name) {
    if (hasVnc(name)) {
        const std::size_t server = name.find_first_of("\\/", 2);
        return server == none ? name.size() : server + 1;
    }
    if (hasRoot(name)) return 1;
    if (name.size() >= 2 && name[1] == ':' && std::isalpha(static_cast<unsigned char>(name[0])))
        return name.size() >= 3 && isSlash(name[2]) ? 3 : 2;
    return 0;
}

std::string driveAndFolder(std::string_view name) {
    const std::size_t slash = lastSlash(name);
    const std::size_t root = rootLength(name);
    if (slash == none) return std::string(name.substr(0, root));
    return std::string(name.substr(0, std::max(slash, root)));
}

bool equalPaths(std::string_view a, std::string_view b, bool exact) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (isSlash(a[i]) && isSlash(b[i])) continue;
        if (exact ? a[i] != b[i]
                  : std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

int fileKind(std::string_view name) {
    static constexpr std::array<std::pair<std::string_view, int>, 4> wholeNames{{
        {"config.cpp", FK_ConfigCpp},
        {"config.bin", FK_ConfigBin},
        {"mission.sqm", FK_MissionSqm},
        {"description.ext", FK_DescriptionExt},
    }};
    // Tested in this order; the numbers are what callers rely on.
    static constexpr std::array<std::pair<std::string_view, int>, 29> extensions{{
        {".rvmat", FK_Rvmat}, {".fsm", FK_Fsm},       {".fxy", FK_Font},     {".p3d", FK_Model},
        {".pac", FK_Texture}, {".paa", FK_Texture},   {".tga", FK_Image},    {".png", FK_Image},
        {".wss", FK_Wss},     {".ogg", FK_Ogg},       {".rtm", FK_Rtm},      {".bikb", FK_Bikb},
        {".bimpas", FK_Bimpas}, {".bisurf", FK_Bisurf}, {".sqs", FK_Sqs},  {".sqf", FK_Sqf},
        {".cfg", FK_Cfg},     {".hpp", FK_Hpp},       {".h", FK_H},          {".cpp", FK_Cpp},
        {".wrp", FK_World},   {".wav", FK_Wav},       {".lip", FK_Lip},      {".txt", FK_Text},
        {".lst", FK_Text},    {".xml", FK_Markup},    {".htm", FK_Markup},   {".html", FK_Markup},
        {".csv", FK_Csv},
    }};
    const std::string_view fileName = name.substr(fileNameStart(name));
    for (const auto& [whole, kind] : wholeNames)
        if (equalIgnoringCase(fileName, whole)) return kind;
    const std::size_t dot = extension(name);
    if (dot == none) return FK_Unknown;
    const std::string_view ext = name.substr(dot);
    for (const auto& [candidate, kind] : extensions)
        if (equalIgnoringCase(ext, candidate)) return kind;
    return FK_Unknown;
}

std::string withSeparator(std::string_view name, char separator) {
    std::string text(name);
    std::replace_if(text.begin(), text.end(), isSlash, separator);
    return text;
}

std::string native(std::string_view name) { return withSeparator(name, Platform::separator); }

namespace {

// Windows reserves these names in every folder, whatever extension follows them; an archive made
// there cannot mean them as files, and one that uses them is hostile.
bool isDeviceName(std::string_view component) {
    std::string_view stem = component.substr(0, component.find('.'));
    while (!stem.empty() && stem.back() == ' ') stem.remove_suffix(1);
    static constexpr std::array<std::string_view, 7> devices{"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"};
    for (const std::string_view device : devices)
        if (equalIgnoringCase(stem, device)) return true;
    return stem.size() == 4 && (equalIgnoringCase(stem.substr(0, 3), "COM") || equalIgnoringCase(stem.substr(0, 3), "LPT")) &&
           stem[3] >= '1' && stem[3] <= '9';
}

}  // namespace

bool leavesFolder(std::string_view name) {
    if (hasRoot(name) || (name.size() >= 2 && name[1] == ':')) return true;
    std::size_t start = 0;
    while (start <= name.size()) {
        const std::size_t end = std::min(name.find_first_of("\\/", start), name.size());
        const std::string_view component = name.substr(start, end - start);
        if (component == ".." || isDeviceName(component)) return true;
        start = end + 1;
    }
    return false;
}

bool prefixLeavesFolder(std::string_view prefix) {
    while (!prefix.empty() && isSlash(prefix.front())) prefix.remove_prefix(1);
    return leavesFolder(prefix);
}

}  // namespace archivefile::paths

// The path rules that FileStringA and FileString share: Windows-style paths in which "/" and "\"
// are both separators, drives, roots and network paths, extensions and file kinds.
#pragma once

#include <string>
#include <string_view>

namespace archivefile {

// File kinds by name or extension; callers depend on these numbers.
enum FileKind : int {
    FK_Unknown = 0,
    FK_ConfigCpp = 1,
    FK_ConfigBin = 2,
    FK_MissionSqm = 3,
    FK_DescriptionExt = 4,
    FK_Rvmat = 5,
    FK_Fsm = 6,
    FK_Bimpas = 7,
    FK_Bisurf = 8,
    FK_Sqs = 9,
    FK_Sqf = 10,
    FK_Cfg = 11,
    FK_Hpp = 12,
    FK_Ogg = 13,
    FK_Wss = 14,
    FK_Rtm = 15,
    FK_Bikb = 16,
    FK_Cpp = 17,
    FK_H = 18,
    FK_Texture = 19,
    FK_Model = 20,
    FK_World = 21,
    FK_Font = 22,
    FK_Image = 23,
    FK_Wav = 24,
    FK_Lip = 25,
    FK_Text = 26,
    FK_Markup = 27,
    FK_Csv = 28,
};

namespace paths {

inline constexpr std::size_t none = std::string_view::npos;

inline bool isSlash(char c) { return c == '/' || c == '\\'; }
bool equalIgnoringCase(std::string_view a, std::string_view b);

// Position of the last separator, or `none`.
std::size_t lastSlash(std::string_view name);
// Position of the final separator when it ends the name, or `none`.
std::size_t trailingSlash(std::string_view name);
// Start of the file name (after the last separator).
std::size_t fileNameStart(std::string_view name);
// Position of the extension's dot in the file name, or `none`.
std::size_t extension(std::string_view name);

bool hasRoot(std::string_view name);
bool hasVnc(std::string_view name);
// 1 for a name with a drive ("c:\..."), 0 for one without; a drive-relative or empty name raises
// "hasdrive invalid n:".
int hasDrive(std::string_view name);
// Length of the drive or root part: "c:\" 3, "\" or "/" 1, "\\server\" up to its separator, else 0.
std::size_t rootLength(std::string_view name);
// The drive and folders of a path without the final separator ("" for a bare name; a root stays).
std::string driveAndFolder(std::string_view name);
bool equalPaths(std::string_view a, std::string_view b, bool exact);
int fileKind(std::string_view name);
std::string withSeparator(std::string_view name, char separator);
// A path with "/" for the host's file calls.
std::string native(std::string_view name);
// Whether a name could place a file outside the folder it is taken in: absolute, with a drive,
// with a ".." component, or naming a device.
bool leavesFolder(std::string_view name);
// The same for a prefix, which may be written with a leading separator ("\pa\pb") and still name
// a folder below the one it is taken in.
bool prefixLeavesFolder(std::string_view prefix);

}  // namespace paths
}  // namespace archivefile

// Writes a config tree the way mods are built: a root config.cpp that includes a macro library and
// hundreds of files several folders deep, each of which calls defines with parameters, joins and
// stringizes names, and chooses between variants with conditionals. It uses the extended syntax
// (Rapify::ExtendedSyntax) as mods do today: #pragma lines, defines given again with another body,
// a "#" passed to a define as text, arrays that add to inherited ones, values continued over lines
// without their semicolon.
#pragma once

#include <cstdint>
#include <filesystem>

namespace archivefile::bench {

struct ConfigTree {
    std::filesystem::path includeRoot;  // what `-I` names: rooted include names start here
    std::filesystem::path config;       // the root config.cpp
    int files = 0;                      // files written, the root config included
    int machines = 0;                   // classes that the machine define makes
};

// Writes the tree into `folder` (made when missing) so that its expanded text is close to
// `expandedBytes`. The same size and seed always give the same files.
ConfigTree writeConfigTree(const std::filesystem::path& folder, std::uint64_t expandedBytes, std::uint32_t seed = 1);

// The tree a benchmark runs on: CONFIG_BENCH_MB megabytes of expanded text (50 by default), written
// afresh into the named folder under the system's temporary folder.
ConfigTree writeBenchmarkTree(const char* folderName);

}  // namespace archivefile::bench

// generate_config_tree FOLDER [MEGABYTES [SEED]]: writes the demo config tree for timing
// `vex config check FOLDER/demo/config.cpp -I FOLDER`.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "bench/ConfigTreeGenerator.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs("usage: generate_config_tree FOLDER [MEGABYTES [SEED]]\n", stderr);
        return 2;
    }
    const double megabytes = argc > 2 ? std::atof(argv[2]) : 50.0;
    const auto seed = static_cast<std::uint32_t>(argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1);
    try {
        const auto tree = archivefile::bench::writeConfigTree(
            argv[1], static_cast<std::uint64_t>(megabytes * 1024 * 1024), seed);
        std::printf("%s: %d files, %d machines; check with: vex config check %s -I %s\n", tree.config.c_str(), tree.files,
                    tree.machines, tree.config.c_str(), tree.includeRoot.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "generate_config_tree: %s\n", error.what());
        return 1;
    }
    return 0;
}

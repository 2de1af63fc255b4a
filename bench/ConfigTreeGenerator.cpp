#include "bench/ConfigTreeGenerator.h"

#include <cstdlib>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>

namespace archivefile::bench {

namespace {

// The library every file of the tree uses. The machine define makes a class with nested classes
// and arrays from one line of source. It is written as mods write their configs today: a "#" passed
// to a define as text, an array that adds to the inherited one, a value continued over lines
// without its semicolon.
constexpr const char* MacroLibrary = R"(// Macros shared by every part of the demo tree.
#pragma once
#ifndef DEMO_MACROS_HPP
#define DEMO_MACROS_HPP

#define TAG demo
#define CMD_SYS(x) x##kick
#define CMD cmd 'CMD_SYS(#)'

#define QUOTE(x) #x
#define JOIN(a,b) a##_##b
#define NAME(x) TAG##_##x
#define QNAME(x) QUOTE(NAME(x))
#define ASSET(folder,file) QUOTE(\demo\folder\file)
#define TRIPLE(a,b,c) {a, b, c}

#define PART(part, hp) class part { health = hp; label = QUOTE(part part); \
    hitRadius = __EVAL(hp / 10); }

#define MACHINE(id, base, mass, speed) \
class NAME(id): base { \
    label = QUOTE(Machine id); \
    shape = ASSET(shapes,JOIN(id,body).shape); \
    weight = mass; \
    topSpeed = speed; \
    fuel = __EVAL(mass * 4); \
    colours[] = {QNAME(JOIN(id,red)), QNAME(JOIN(id,blue)), "plain"}; \
    offsets[] = {TRIPLE(0, 1.5, -2.25), TRIPLE(mass, speed, 0x10)}; \
    action = CMD; \
    ready = QUOTE( \
        alive id && fuel > 0 \
    ); \
    class Mounts: Mounts { \
        magazines[] += {QNAME(JOIN(id,shells))}; \
        class Primary: Primary { magazine = QNAME(JOIN(id,shells)); count = 20; spread = 0.025; }; \
        class Secondary { magazine = QNAME(smoke); count = 4; arc[] = {-45, 45}; }; \
    }; \
    PART(Hull, 400); \
    PART(Engine, 250); \
    sounds[] = {ASSET(sounds,JOIN(id,start).ogg), ASSET(sounds,JOIN(id,stop).ogg)}; \
};

#endif
)";

constexpr const char* Values = R"(// Build switches of the demo tree.
#define DEMO_HEAVY_VARIANTS
#ifndef DEMO_SPEED
#define DEMO_SPEED 80
#endif
#define VERSION 1.25
// The release line, given again for the release after it.
#define VERSION 1.26
)";

void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!out) throw std::runtime_error("cannot write " + path.string());
}

std::string threeDigits(int n) {
    std::string text = std::to_string(n);
    return std::string(3 - std::min<std::size_t>(3, text.size()), '0') + text;
}

}  // namespace

ConfigTree writeConfigTree(const std::filesystem::path& folder, std::uint64_t expandedBytes, std::uint32_t seed) {
    // Each machine expands to about 755 bytes; the rest of the tree adds little.
    constexpr double BytesPerMachine = 755.0;
    const int machines = std::max(8, static_cast<int>(static_cast<double>(expandedBytes) / BytesPerMachine));
    const int unitFiles = std::clamp(machines / 100, 4, 400);
    const int groups = std::max(2, static_cast<int>(std::sqrt(static_cast<double>(unitFiles))));
    const int perFile = (machines + unitFiles - 1) / unitFiles;

    ConfigTree tree;
    tree.includeRoot = folder;
    tree.config = folder / "demo" / "config.cpp";
    const std::filesystem::path demo = folder / "demo";
    writeFile(demo / "core" / "macros.hpp", MacroLibrary);
    writeFile(demo / "core" / "values.hpp", Values);
    tree.files = 3;

    std::mt19937 random(seed);
    std::uniform_int_distribution<int> mass(800, 60000);
    std::uniform_int_distribution<int> speed(20, 140);

    std::string groupIndex = "// Every group of machines.\n";
    int made = 0;
    for (int group = 0; group < groups; ++group) {
        const std::string groupName = "group_" + threeDigits(group);
        std::string unitIndex = "// The machines of " + groupName + ".\n";
        const int filesHere = unitFiles / groups + (group < unitFiles % groups ? 1 : 0);
        for (int file = 0; file < filesHere && made < machines; ++file) {
            const std::string unitName = "units_" + threeDigits(file) + ".hpp";
            // Each file says which group it belongs to with the same define, given again with another body.
            std::string units = "// " + groupName + ", part " + std::to_string(file) +
                                "\n#pragma once\n#define GROUP_TAG " + groupName + "\n";
            // Each file starts from the shared base; later machines inherit from the one before.
            std::string base = "Machine_Base";
            for (int n = 0; n < perFile && made < machines; ++n, ++made) {
                const std::string id = "m" + std::to_string(made);
                const std::string weight = std::to_string(mass(random));
                const std::string top = n % 3 == 0 ? "DEMO_SPEED" : std::to_string(speed(random));
                if (n % 10 == 0) {
                    units += "#ifdef DEMO_HEAVY_VARIANTS\nMACHINE(" + id + ", " + base + ", " + weight + "0, " + top +
                             ")\n#else\nMACHINE(" + id + ", " + base + ", " + weight + ", " + top + ")\n#endif\n";
                } else {
                    units += "MACHINE(" + id + ", " + base + ", " + weight + ", " + top + ")\n";
                }
                base = "NAME(" + id + ")";
            }
            writeFile(demo / "machines" / groupName / unitName, units);
            unitIndex += "#include \"" + unitName + "\"\n";
            ++tree.files;
        }
        writeFile(demo / "machines" / groupName / "index.hpp", unitIndex);
        groupIndex += "#include \"" + groupName + "\\index.hpp\"\n";
        ++tree.files;
    }
    writeFile(demo / "machines" / "index.hpp", groupIndex);
    ++tree.files;

    writeFile(tree.config, R"(// The demo tree: a catalogue entry and every machine.
#include "\demo\core\macros.hpp"
#include "core\values.hpp"

class Catalogue
{
    class NAME(core)
    {
        title = QNAME(core);
        version = VERSION;
        needs[] = {};
    };
};

class Machines
{
    class Machine_Base
    {
        weight = 1000;
        class Mounts
        {
            magazines[] = {"demo_base_shells"};
            class Primary { magazine = ""; count = 0; };
        };
    };
    #include "machines\index.hpp"
};
)");
    tree.machines = made;
    return tree;
}

ConfigTree writeBenchmarkTree(const char* folderName) {
    const char* size = std::getenv("CONFIG_BENCH_MB");
    const double megabytes = size ? std::atof(size) : 50.0;
    const auto folder = std::filesystem::temp_directory_path() / folderName;
    std::filesystem::remove_all(folder);
    return writeConfigTree(folder, static_cast<std::uint64_t>(megabytes * 1024 * 1024));
}

}  // namespace archivefile::bench

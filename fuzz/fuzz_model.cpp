// Opens arbitrary bytes as a model from memory, then asks every question a tool asks of it: its type
// text, each LOD's resolution and name, the files its faces name. Editable models that open are
// written back and must give the very bytes that were read.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

#include "archivefile/model/P3dFile.h"

namespace {

namespace fs = std::filesystem;

bool quiet(const char*, ...) { return true; }

struct Workspace {
    fs::path base = fs::temp_directory_path() / ("fuzz_model." + std::to_string(::getpid()));
    ~Workspace() {
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }
};

std::string contents(const fs::path& file) {
    std::string bytes;
    if (std::FILE* in = std::fopen(file.c_str(), "rb")) {
        char buffer[65536];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, in)) > 0;) bytes.append(buffer, got);
        std::fclose(in);
    }
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Workspace workspace;
    static archivefile::P3dFile model(nullptr);
    archivefile::P3dHeader::setK3PrefixOutput(nullptr);
    if (model.Open(data, static_cast<unsigned>(size), quiet) != 0) return 0;

    archivefile::GenString type;
    model.GetTypeStr(&type);
    // A LOD takes four bytes at least; the questions stay within what the file can hold.
    for (unsigned lod = 0; lod < model.GetLodCount() && lod <= size / 4; ++lod) model.LodTypeStr(static_cast<int>(lod));
    model.GetP3dFilenames();

    if (model.GetType() == archivefile::P3dHeader::KindMlod) {
        fs::create_directories(workspace.base);
        const fs::path written = workspace.base / "written.p3d";
        if (model.CreateP3d(0, written.c_str()) != 0) __builtin_trap();
        // The signature is read in any case and written in capitals; every other byte comes back.
        const std::string back = contents(written);
        const std::string_view read(reinterpret_cast<const char*>(data), size);
        if (back.size() != size || back.compare(0, 4, "MLOD") != 0 || back.compare(4, size - 4, read.substr(4)) != 0)
            __builtin_trap();
    }
    model.Close();
    return 0;
}

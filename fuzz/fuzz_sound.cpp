// Reads arbitrary bytes as a sound, strict and not, in full with compressed data expanded. A sound
// that reads is written in every form into the run's own folder (under TMPDIR, named after the
// process) and must read back: uncompressed forms with exactly the same samples.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "archivefile/foundation/VexDLL.h"
#include "archivefile/media/VexSound.h"

namespace {

namespace fs = std::filesystem;
using archivefile::VexSound;

bool quiet(const char*, ...) { return true; }

struct Workspace {
    fs::path base = fs::temp_directory_path() / ("fuzz_sound." + std::to_string(::getpid()));
    Workspace() { fs::create_directories(base); }
    ~Workspace() {
        std::error_code ignored;
        fs::remove_all(base, ignored);
    }
    std::string file(const char* name) const { return (base / name).string(); }
};

// Writes the sound in `form` and reads it back; the samples must survive an uncompressed form.
void writeAndReadBack(VexSound& sound, const Workspace& workspace, int form) {
    const std::vector<unsigned char> samples(sound.samples().begin(), sound.samples().end());
    const std::string path = workspace.file(form == VexSound::WaveForm ? "out.wav" : "out.wss");
    if (sound.Create(path.c_str(), form) != 0) __builtin_trap();
    VexSound reread(nullptr);
    if (reread.Open(path.c_str(), quiet, 0) != 0) __builtin_trap();
    const bool uncompressed = form == VexSound::WaveForm || form == VexSound::Uncompressed;
    if (uncompressed && !std::equal(samples.begin(), samples.end(), reread.samples().begin(), reread.samples().end()))
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::VexDLL root;
    static const Workspace workspace;
    const std::string input = workspace.file("in.wav");
    if (std::FILE* file = std::fopen(input.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    VexSound& sound = *root.vexSound();
    sound.Open(input.c_str(), quiet, VexSound::Strict);
    sound.Open(input.c_str(), quiet, VexSound::HeaderOnly);
    if (sound.Open(input.c_str(), quiet, 0) == 0) {
        for (const int form : {VexSound::WaveForm, VexSound::Uncompressed, VexSound::NibbleCompressed,
                               VexSound::ByteCompressed})
            writeAndReadBack(sound, workspace, form);
    }
    sound.Close();
    return 0;
}

// Writes the sound files that the vex sound tests convert: a second of a 440 Hz tone at half scale,
// 22050 samples a second, in the format named on the command line. For formats that keep every bit,
// the 16-bit samples the file holds are written beside it as FILE.raw, to compare a conversion with.
// Usage: write_test_audio FILE flac|flac24|ogg|aiff8|float|six
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <string>
#include <vector>

#include <sndfile.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: write_test_audio FILE flac|flac24|ogg|aiff8|float|six\n");
        return 2;
    }
    const std::string kind = argv[2];
    SF_INFO info{};
    info.samplerate = 22050;
    info.channels = 2;
    if (kind == "flac") info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    else if (kind == "flac24") info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    else if (kind == "ogg") info.format = SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    else if (kind == "aiff8") info.format = SF_FORMAT_AIFF | SF_FORMAT_PCM_S8, info.channels = 1;
    else if (kind == "float") info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    else if (kind == "six") info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16, info.channels = 6;
    else return 2;

    const std::size_t frames = 22050;
    std::vector<short> samples;
    for (std::size_t i = 0; i < frames * static_cast<std::size_t>(info.channels); ++i) {
        // Channels alternate in sign, so that a swap of channels shows.
        const double t = static_cast<double>(i / static_cast<std::size_t>(info.channels)) / info.samplerate;
        samples.push_back(static_cast<short>((i % 2 == 0 ? 1 : -1) * std::lround(16384 * std::sin(2 * std::numbers::pi * 440 * t))));
    }
    SNDFILE* file = sf_open(argv[1], SFM_WRITE, &info);
    if (file == nullptr) {
        std::fprintf(stderr, "write_test_audio: %s\n", sf_strerror(nullptr));
        return 1;
    }
    sf_writef_short(file, samples.data(), static_cast<sf_count_t>(frames));
    sf_close(file);
    if (kind == "flac") {
        std::FILE* raw = std::fopen((std::string(argv[1]) + ".raw").c_str(), "wb");
        if (raw == nullptr) return 1;
        std::fwrite(samples.data(), sizeof(short), samples.size(), raw);
        std::fclose(raw);
    }
    return 0;
}

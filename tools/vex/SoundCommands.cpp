// vex sound convert: WSS and WAVE files into each other, and the audio formats of sound editors
// (FLAC, Ogg Vorbis, AIFF, ...) into either; vex sound check: a sound's report.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <sndfile.h>

#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/media/VexSound.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::VexSound;

struct ConvertOptions {
    std::string input;
    std::string output;
    std::optional<int> compression;
    std::optional<int> rate;
    bool strict = false;
};

struct CheckOptions {
    std::vector<std::string> files;
    bool strict = false;
};

bool hasExtension(const std::string& path, const char* extension) {
    return archivefile::FileStringA(path).fs_CompareExt(extension) != 0;
}

// Whether the file starts the way the library's own readers expect: "WSS0" or "RIFF".
bool isWssOrRiff(const std::string& path) {
    char head[4] = {};
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    const bool complete = std::fread(head, 1, 4, file) == 4;
    std::fclose(file);
    return complete && (std::memcmp(head, "WSS0", 4) == 0 || std::memcmp(head, "RIFF", 4) == 0);
}

struct SndfileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

// Reads any other audio file into the handler as PCM of 8, 16 or 24 bits, whichever holds the
// source best: 8-bit sources stay 8-bit, 24- and 32-bit integer sources become 24-bit when mono,
// everything else (16-bit, floating point, compressed formats, and wide stereo, since a frame holds
// at most 4 bytes) 16-bit. Returns what went wrong, or nothing.
std::string readOtherAudio(VexSound& sound, const std::string& path) {
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, SndfileCloser> file(sf_open(path.c_str(), SFM_READ, &info));
    if (!file) return std::string("not a sound file that vex reads (") + sf_strerror(nullptr) + ")";
    if (info.channels < 1 || info.channels > 2)
        return std::to_string(info.channels) + " channels; WSS and WAVE files here carry 1 or 2";
    int bits = 16;
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8: bits = 8; break;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32: bits = info.channels == 1 ? 24 : 16; break;
    default: break;
    }
    // Floating-point sources louder than full scale are clipped rather than wrapped round.
    sf_command(file.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);

    const auto channels = static_cast<std::size_t>(info.channels);
    const auto width = static_cast<std::size_t>(bits / 8);
    constexpr sf_count_t framesAtOnce = 65536;
    std::vector<int> block(static_cast<std::size_t>(framesAtOnce) * channels);
    std::vector<unsigned char> pcm;
    sf_count_t got;
    while ((got = sf_readf_int(file.get(), block.data(), framesAtOnce)) > 0) {
        // Both forms count their sample data in a signed 32-bit size; reading stops before memory
        // fills with a sound that could not be written anyway.
        if (pcm.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
            return "longer than a WSS or WAVE file can hold (2 GiB of samples)";
        // Samples come as 32-bit values at full scale; the top bits are the sample, and 8-bit
        // samples are stored unsigned.
        for (std::size_t i = 0; i < static_cast<std::size_t>(got) * channels; ++i) {
            const auto value = static_cast<std::uint32_t>(block[i]);
            if (width == 1) {
                pcm.push_back(static_cast<unsigned char>((value >> 24) ^ 0x80));
                continue;
            }
            for (std::size_t byte = 4 - width; byte < 4; ++byte)
                pcm.push_back(static_cast<unsigned char>(value >> (8 * byte)));
        }
    }
    if (sf_error(file.get()) != SF_ERR_NO_ERROR) return sf_strerror(file.get());
    const int code = sound.setSamples(info.channels, info.samplerate, bits, std::move(pcm));
    return code == archivefile::GE_NoError ? std::string() : sound.ErrorString(code);
}

const char* compressionName(int compression) {
    switch (compression) {
    case VexSound::NibbleCompressed: return "nibble compression";
    case VexSound::ByteCompressed: return "byte compression";
    default: return "uncompressed";
    }
}

// The library's lines while a sound is converted, held back until it is known whether they are the
// ones to show: a WAVE file that is read as another audio format after all leaves no report.
std::string reportLines;

bool collectReport(const char* text, ...) {
    reportLines += text;
    return true;
}

void showReport(Tool& tool) {
    tool.callback()(reportLines.c_str());
    reportLines.clear();
}

// What a sound read from another format became, since no report of the library describes it.
int describeOtherAudio(Tool& tool, const VexSound& sound, const std::string& path) {
    const VexSound::Description& read = sound.description();
    reportLines += archivefile::formatText("%s: %s, %d Hz, read as %d-bit samples\r\n", path.c_str(),
                                           read.channels == 1 ? "mono" : "stereo", read.sampleRate,
                                           read.bitsPerSample);
    showReport(tool);
    return Success;
}

// Reads the input at `path` into the handler; returns an exit status, having reported any failure.
int readInput(Tool& tool, VexSound& sound, const ConvertOptions& options, const std::string& path) {
    const std::string& name = options.input;
    if (!isWssOrRiff(path)) {
        const std::string problem = readOtherAudio(sound, path);
        return problem.empty() ? describeOtherAudio(tool, sound, name) : tool.fail(name + ": " + problem);
    }
    const int code = sound.Open(path.c_str(), collectReport, options.strict ? VexSound::Strict : 0);
    // A WAVE file of a kind the library does not read itself (floating point, or samples in an
    // extended format header) is read as any other audio file, unless the check is to be strict.
    if (code == VexSound::UnknownFormat && !options.strict) {
        const std::string report = std::move(reportLines);
        reportLines.clear();
        if (readOtherAudio(sound, path).empty()) return describeOtherAudio(tool, sound, name);
        reportLines = report + reportLines;
    }
    showReport(tool);
    return tool.report(code, name + ": " + sound.ErrorString(code));
}

int convert(Tool& tool, const ConvertOptions& options) {
    VexSound& sound = *tool.root().vexSound();
    std::string path;
    if (const int status = tool.input(options.input, Expected::Audio, path); status != Success) return status;
    if (!tool.makeFoldersFor(options.output)) return Failure;
    // Every line of the handler, its errors included, goes through the collector from here on.
    reportLines.clear();
    sound.SetCallBack(collectReport);
    int status = readInput(tool, sound, options, path);
    const int rate = sound.description().sampleRate;
    if (status == Success && options.rate && *options.rate != rate)
        status = tool.fail(options.input + ": sampled at " + std::to_string(rate) + " Hz, not " +
                           std::to_string(*options.rate) +
                           " Hz; vex keeps the sample rate and does not resample (resample it in a sound editor first)");
    if (status != Success) {
        sound.Close();
        return status;
    }

    const bool toWss = hasExtension(options.output, "wss");
    const int compression = options.compression.value_or(VexSound::Uncompressed);
    if (toWss && compression != VexSound::Uncompressed && sound.IsMono() == 0)
        reportLines += "Warning: compressed WSS files are expected to be mono; a strict check refuses this one\r\n";
    const int code = sound.Create(options.output.c_str(), toWss ? compression : VexSound::WaveForm);
    showReport(tool);
    sound.Close();
    if (code != archivefile::GE_NoError) return tool.report(code, options.output + ": " + sound.ErrorString(code));
    std::error_code ignored;
    const std::string form = toWss ? std::string("WSS, ") + compressionName(compression) : std::string("WAVE");
    tool.wrote(options.output, form + ", " + Tool::sizeText(std::filesystem::file_size(options.output, ignored)));
    return Success;
}

// Prints the report of the sound named `name` (its header and checks, as the library words them) on
// standard output, under a line with its name when `titled`; `strict` refuses doubtful files.
int printSoundReport(Tool& tool, const std::string& name, bool strict, bool titled) {
    VexSound& sound = *tool.root().vexSound();
    std::string path;
    if (const int status = tool.input(name, Expected::Sound, path); status != Success) return status;
    const int code =
        sound.Open(path.c_str(), tool.dataCallback(), VexSound::HeaderOnly | (strict ? VexSound::Strict : 0));
    sound.Close();
    tool.printData(code == archivefile::GE_NoError, titled ? name + ":\n" : std::string());
    return tool.report(code, name + ": " + sound.ErrorString(code));
}

int check(Tool& tool, const CheckOptions& options) {
    int status = Success;
    for (const std::string& file : options.files) {
        if (tool.cancelled()) return Cancelled;
        const int result = printSoundReport(tool, file, options.strict, options.files.size() > 1);
        if (result == Cancelled) return result;
        if (result != Success) status = Failure;
    }
    return status;
}

}  // namespace

void addSoundCommands(CLI::App& app, Tool& tool) {
    CLI::App* group = app.add_subcommand("sound", "Check sounds and convert them between WSS, WAVE and other formats");
    group->require_subcommand(1);

    auto converting = std::make_shared<ConvertOptions>();
    CLI::App* convertCommand = group->add_subcommand(
        "convert", "Convert a WSS, WAVE, FLAC, Ogg Vorbis, AIFF or other sound file into WSS or WAVE");
    convertCommand->add_option("IN", converting->input, "The sound to read (- for standard input)")->required();
    convertCommand
        ->add_option("-o,--output", converting->output, "The file to write; its extension, .wss or .wav, picks the form")
        ->required()
        ->check(CLI::Validator(
            [](const std::string& path) {
                return hasExtension(path, "wss") || hasExtension(path, "wav") ? std::string()
                                                                               : "OUT must end in .wss or .wav";
            },
            "FILE.wss|FILE.wav"));
    convertCommand
        ->add_option("--compress", converting->compression,
                     "WSS compression: 0 none (the default), 4 nibble (4 bits a sample), 8 byte (8 bits a sample)")
        ->check(CLI::IsMember({0, 4, 8}));
    convertCommand->add_option("--rate", converting->rate,
                               "Refuse, rather than convert, a sound that is not sampled at this rate (Hz)");
    convertCommand->add_flag("--strict", converting->strict, "Refuse a doubtful WSS or WAVE input instead of warning");
    tool.setAction(*convertCommand, [converting, &tool] {
        if (converting->compression && !hasExtension(converting->output, "wss"))
            return tool.usage("--compress applies to WSS output only");
        return convert(tool, *converting);
    });

    auto checking = std::make_shared<CheckOptions>();
    CLI::App* checkCommand =
        group->add_subcommand("check", "Read and check WSS and WAVE files and print their reports");
    checkCommand->add_option("FILE", checking->files, "The sounds to check (- for standard input)")->required();
    checkCommand->add_flag("--strict", checking->strict, "Refuse doubtful files instead of warning");
    tool.setAction(*checkCommand, [checking, &tool] { return check(tool, *checking); });
}

}  // namespace vex

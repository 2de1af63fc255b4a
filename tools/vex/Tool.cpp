#include "tools/vex/Tool.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "tools/vex/CancelWatch.h"
#include "tools/vex/Console.h"
#include "tools/vex/ContentKind.h"
#include "tools/vex/TerminalText.h"
#include "tools/vex/UsageMessage.h"

namespace vex {

namespace {

using archivefile::Platform;

// The library reports through plain functions, so what they need lives here.
bool quietOutput = false;
bool verboseOutput = false;
std::string heldData;
std::atomic<bool> cancelReported{false};
// Standard input is kept in a file by the first worker that needs it; the others find that file.
std::mutex standardInputKept;

// Texts of the library that say why an entry, a prefix or a file was refused or could not be
// written. They are kept with -q: without them the user would see only a bare code.
bool explainsFailure(std::string_view message) {
    static constexpr std::string_view parts[] = {
        " refused: ",   "Cannot use prefix ", " is too large ",                "cannot write ",
        "cannot read ", "Path and file=",     "Cannot take the archive name ", "Folder does not exist ",
    };
    for (const std::string_view part : parts)
        if (message.find(part) != std::string_view::npos) return true;
    return false;
}

// With -q, the pieces of one message (an entry's name, then what became of it) until its line ends.
std::string quietMessage;

bool toStandardError(const char* text, ...) {
    CancelWatch::check();
    if (!quietOutput) {
        Console::standardError().write(text);
        return true;
    }
    quietMessage += text;
    if (quietMessage.empty() || quietMessage.back() != '\n') return true;
    if (explainsFailure(quietMessage)) Console::standardError().write(quietMessage);
    quietMessage.clear();
    return true;
}

bool detailToStandardError(const char* text, ...) {
    CancelWatch::check();
    if (verboseOutput) Console::standardError().write(text);
    return true;
}

bool holdAsData(const char* text, ...) {
    CancelWatch::check();
    for (const char* p = text; *p; ++p)
        if (*p != '\r') heldData += *p;
    return true;
}

const char* wordsFor(Expected expected) {
    switch (expected) {
    case Expected::Archive: return "an archive";
    case Expected::BinarisedConfig: return "a binarised config";
    case Expected::ConfigText: return "a config text";
    case Expected::Sound: return "a WSS or WAVE sound";
    case Expected::Audio: return "a sound";
    case Expected::Texture: return "a texture";
    case Expected::Png: return "a PNG image";
    case Expected::Any: break;
    }
    return "a file";
}

// The kind of `vex info` that a command expects, tried first when the file is looked at.
const char* infoKindFor(Expected expected) {
    switch (expected) {
    case Expected::Archive: return "archive";
    case Expected::BinarisedConfig: return "binarised config";
    case Expected::Sound:
    case Expected::Audio: return "sound";
    case Expected::Texture: return "texture";
    default: return "";
    }
}

bool accepts(Expected expected, const ContentKind& kind) {
    switch (expected) {
    case Expected::ConfigText: return kind.id == "text" || kind.id == "empty";
    case Expected::Audio: return kind.id == "sound" || kind.id == "audio";
    case Expected::Png: return kind.id == "png";
    case Expected::Any: return true;
    default: return kind.id == infoKindFor(expected);
    }
}

// A folder named where a file is expected: the file that was likely meant.
std::string folderAdvice(const std::string& name, Expected expected) {
    std::string folder = name;
    while (folder.size() > 1 && archivefile::paths::isSlash(folder.back())) folder.pop_back();
    const auto exists = [](const std::string& path) { return Platform::isFile(archivefile::paths::native(path)); };
    switch (expected) {
    case Expected::Archive:
        if (exists(folder + ".pbo")) return "; did you mean " + folder + ".pbo?";
        return "; 'vex pack " + folder + "' makes an archive of it";
    case Expected::ConfigText:
        if (exists(folder + "/config.cpp")) return "; did you mean " + folder + "/config.cpp?";
        break;
    case Expected::BinarisedConfig:
        if (exists(folder + "/config.bin")) return "; did you mean " + folder + "/config.bin?";
        break;
    default: break;
    }
    return {};
}

}  // namespace

Tool::Tool() : progress_(Console::standardError()) { CancelWatch::start(); }

Tool::Tool(Tool* owner)
    : owner_(owner), progress_(&owner->progress_), commandWords_(owner->commandWords_), takesJson_(owner->takesJson_) {
    quiet = owner->quiet;
    verbose = owner->verbose;
    json = owner->json;
}

void Tool::setAction(CLI::App& command, std::function<int()> action, bool takesJson) {
    command.callback([this, &command, action = std::move(action), takesJson] {
        action_ = action;
        takesJson_ = takesJson;
        commandWords_ = UsageMessage::words(command);
    });
}

int Tool::run() {
    if (json && !takesJson_) return usage("--json is not an option of 'vex " + commandWords_ + "'");
    quietOutput = quiet && !verbose;
    verboseOutput = verbose;
    progress_.show(!quiet && Platform::isTerminal(2));
    int status = action_();
    if (status == Cancelled) status = CancelWatch::exitStatus();
    Console::standardError().endOpenLine();
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        const int error = Platform::lastError();
        fail("cannot write to standard output: " + Platform::errorText(error));
        if (status == Success) status = Failure;
    }
    return status;
}

// ---- The library's lines -------------------------------------------------------------------------

archivefile::LogCallback Tool::callback() const { return toStandardError; }

archivefile::LogCallback Tool::detailCallback() const { return detailToStandardError; }

archivefile::LogCallback Tool::dataCallback() const {
    heldData.clear();
    return holdAsData;
}

void Tool::printData(bool succeeded, const std::string& title) const {
    heldData.insert(0, title);
    if (succeeded) {
        const std::string shown = TerminalText::forStandardOutput(heldData);
        std::fwrite(shown.data(), 1, shown.size(), stdout);
    } else if (!quiet) {
        Console::standardError().write(heldData);
    }
    heldData.clear();
}

// ---- vex's own lines -----------------------------------------------------------------------------

int Tool::report(int code, const std::string& text) const {
    if (code == archivefile::GE_NoError) return Success;
    // Any operation stopped by the user ends in the cancel, whatever its handler's code for it.
    if (cancelled()) return Cancelled;
    Console::standardError().line("vex: error: " + text + " (code " + std::to_string(code) + ")");
    return Failure;
}

int Tool::fail(const std::string& text) const {
    if (cancelled()) return Cancelled;
    Console::standardError().line("vex: error: " + text);
    return Failure;
}

int Tool::usage(const std::string& text) const {
    const std::string help = commandWords_.empty() ? "vex --help" : "vex " + commandWords_ + " --help";
    Console::standardError().line("vex: " + text + " (see '" + help + "')");
    return UsageError;
}

void Tool::warn(const std::string& text) const {
    if (!quiet) Console::standardError().line("vex: warning: " + text);
}

void Tool::note(const std::string& text) const { Console::standardError().line("vex: " + text); }

void Tool::wrote(const std::string& path, const std::string& what) const {
    if (!quiet) Console::standardError().line("wrote " + path + ": " + what);
}

bool Tool::cancelled() const {
    if (!CancelWatch::requested()) return false;
    // Workers leave the line to the tool that runs them, which says it last, once they have all stopped.
    if (owner_ == nullptr && !cancelReported.exchange(true)) {
        Console::standardError().eraseEcho();
        Console::standardError().line("User cancelled");
    }
    return true;
}

std::string Tool::sizeText(std::uint64_t bytes) {
    if (bytes < 1000) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
    static constexpr const char* units[] = {"kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    while (value >= 999.95 && unit + 1 < std::size(units)) {
        value /= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
    return text;
}

// ---- Inputs and outputs --------------------------------------------------------------------------

int Tool::input(const std::string& name, Expected expected, std::string& path, const char* extension) {
    if (name == "-") {
        if (Platform::isTerminal(0))
            return usage("- stands for standard input, which is a terminal here; pipe or redirect a file into vex");
        std::string error;
        const std::lock_guard lock(standardInputKept);
        if (!temporaryFolder().pathFor(std::string("stdin") + extension, path, error)) return fail(error);
        // Standard input can be read once: a second "-" is the same file.
        if (!Platform::isFile(path)) {
            const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
            char buffer[1 << 16];
            std::size_t got = 0;
            while (file && (got = std::fread(buffer, 1, sizeof buffer, stdin)) > 0)
                if (std::fwrite(buffer, 1, got, file.get()) != got) break;
            if (!file || std::ferror(stdin) || got != 0 || std::fflush(file.get()) != 0)
                return fail("cannot keep standard input in " + path + ": " + Platform::errorText(Platform::lastError()));
        }
    } else {
        path = name;
        const std::string native = archivefile::paths::native(name);
        if (Platform::isFolder(native)) return fail(name + " is a folder, not " + wordsFor(expected) + folderAdvice(name, expected));
        if (!Platform::isFile(native)) {
            // Nothing there: the handler says so in its own words.
            if (!Platform::fileSize(native)) return Success;
            return fail(name + " is a pipe or a device, not a file; vex reads such input from standard input, named -");
        }
    }
    if (expected == Expected::Any) return Success;
    const std::optional<ContentKind> kind = ContentKind::of(path, infoKindFor(expected));
    if (!kind || accepts(expected, *kind)) return Success;
    // Configs come in two forms, and each command says which one it wants.
    if (expected == Expected::ConfigText && kind->id == "binarised config")
        return fail(name + " is binarised already; 'vex config decode' turns it into text");
    std::string text = name + " is not " + wordsFor(expected) + ": it is " + kind->words;
    if (!kind->readBy.empty()) text += " ('" + kind->readBy + "' reads it)";
    return fail(text);
}

std::optional<std::string> Tool::contentOf(const std::string& path) const {
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad() || !file.is_open()) {
        fail("cannot read " + path);
        return std::nullopt;
    }
    return bytes;
}

std::string Tool::outputIn(const std::string& output, const std::string& name) {
    std::error_code ignored;
    if (!output.empty() && (archivefile::paths::isSlash(output.back()) || std::filesystem::is_directory(output, ignored)))
        return (std::filesystem::path(output) / name).string();
    return output;
}

bool Tool::makeFoldersFor(const std::string& path) const {
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    std::error_code error;
    if (folder.empty() || std::filesystem::is_directory(folder, error)) return true;
    std::filesystem::create_directories(folder, error);
    if (!error) return true;
    fail("cannot make the folder " + folder.string() + ": " + error.message());
    return false;
}

int Tool::binaryToStandardOutput() const {
    if (!Platform::isTerminal(1)) return Success;
    return usage("standard output is a terminal; send it to a file or a pipe, or name a file with -o");
}

int Tool::copyToStandardOutput(const std::string& path) const {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) return fail("cannot read " + path + ": " + Platform::errorText(Platform::lastError()));
    char buffer[1 << 16];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0)
        if (std::fwrite(buffer, 1, got, stdout) != got) break;
    // A failed write to standard output is found and reported when vex ends.
    return Success;
}

}  // namespace vex

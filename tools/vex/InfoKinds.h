// The kinds of file that `vex info` knows. Each is one entry of a table: a test that recognises the
// kind by the file's content (never by its name) and a describer that opens the file with the
// library's handler for it and turns what the handler reports into lines and fields.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace vex {

class Tool;

// The file being looked at: its path, its size and its first bytes (all of them for a small file).
class InfoInput {
public:
    static constexpr std::size_t HeadSize = 64 * 1024;

    // Reads the first bytes; false, with the reason in `error`, when the file cannot be read.
    bool open(const std::string& path, std::string& error);
    const std::string& path() const { return path_; }
    std::uint64_t size() const { return size_; }
    std::span<const unsigned char> head() const { return head_; }
    // The whole file, read on first use; false, with the reason in `error`, when that fails.
    bool readWhole(std::string& error);
    std::span<const unsigned char> bytes() const { return whole_; }

private:
    std::string path_;
    std::uint64_t size_ = 0;
    std::vector<unsigned char> head_;
    std::vector<unsigned char> whole_;
};

// What a describer found. Keys of `fields` and of each entry are stable, for --json.
struct Description {
    // Set before describing when the fields stand for the handler's usual report (--json): what the
    // handler says beyond that report is then kept as `warnings` instead of `lines`.
    bool brief = false;
    // Set before describing (--strict): what a handler would let pass with a warning is a failure.
    bool strict = false;
    // The report for text output: the handler's lines and the lines made from what it found.
    std::vector<std::string> lines;
    std::vector<std::string> warnings;
    nlohmann::ordered_json fields = nlohmann::ordered_json::object();
    nlohmann::ordered_json entries = nlohmann::ordered_json::array();
    // The handler's result and its text; 0 when the file was read.
    int code = 0;
    std::string message;
};

struct InfoKind {
    const char* name;
    bool (*recognise)(const InfoInput& input);
    void (*describe)(Tool& tool, InfoInput& input, Description& description);
};

// In the order in which they are tried: exact signatures first, guesses from structure or size last.
std::span<const InfoKind> infoKinds();

}  // namespace vex

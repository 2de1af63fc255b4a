// Writes benchmark data for extraction: a folder of files of mixed sizes and the stored archive of the
// same files (a prefix, the header, the data, and a SHA-1 trailer), written here byte by byte.
//
//   generate_archive FOLDER ARCHIVE TOTAL-BYTES FILES [--archive-only]
//
// Sizes spread over three orders of magnitude, as in real mods (many small scripts and configs, some
// large textures and models), scaled so that they add up to TOTAL-BYTES. The contents are
// pseudo-random and do not compress. With --archive-only the folder is not written.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Sha1.h"

namespace {

namespace fs = std::filesystem;
using archivefile::Sha1;

struct Planned {
    std::string name;  // with backslashes, as the archive stores it
    std::uint32_t size;
};

constexpr std::uint32_t FirstTime = 1600000000;

std::vector<Planned> plan(std::uint64_t total, std::uint32_t count) {
    static constexpr std::string_view extensions[] = {".paa", ".p3d", ".sqf", ".hpp", ".wss", ".rvmat", ".txt", ".bin"};
    std::mt19937_64 random(20260101);
    std::uniform_real_distribution<double> spread(0.0, std::log(1000.0));
    std::vector<double> weights(count);
    for (double& weight : weights) weight = std::exp(spread(random));
    double sum = 0;
    for (const double weight : weights) sum += weight;

    std::vector<Planned> files;
    std::uint64_t assigned = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto share = i + 1 == count ? total - assigned
                                          : static_cast<std::uint64_t>(static_cast<double>(total) * weights[i] / sum);
        assigned += share;
        const std::string name = "addon" + std::to_string(i % 7) + "\\data" + std::to_string(i % 31) + "\\file" +
                                 std::to_string(i) + std::string(extensions[i % std::size(extensions)]);
        files.push_back({name, static_cast<std::uint32_t>(std::min<std::uint64_t>(share, UINT32_MAX))});
    }
    return files;
}

class Output {
public:
    explicit Output(const fs::path& path) : file_(std::fopen(path.c_str(), "wb"), std::fclose) {
        if (!file_) throw std::runtime_error("cannot create " + path.string());
    }
    void write(std::string_view bytes, Sha1* sha) {
        if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
            throw std::runtime_error("write failed");
        if (sha) sha->update({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    }
    void close() {
        if (std::fclose(file_.release()) != 0) throw std::runtime_error("write failed");
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

std::string number(std::uint32_t value) {
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i) bytes[static_cast<std::size_t>(i)] = static_cast<char>((value >> (8 * i)) & 0xFF);
    return bytes;
}

std::string header(std::string_view name, std::uint32_t method, std::uint32_t time, std::uint32_t size) {
    return std::string(name) + '\0' + number(method) + number(0) + number(0) + number(time) + number(size);
}

void fill(std::string& block, std::mt19937_64& random) {
    for (std::size_t i = 0; i + 8 <= block.size(); i += 8) {
        const std::uint64_t word = random();
        std::copy_n(reinterpret_cast<const char*>(&word), 8, block.data() + i);
    }
}

std::uint64_t parse(const char* text) {
    std::uint64_t value = 0;
    const std::string_view view(text);
    if (std::from_chars(view.data(), view.data() + view.size(), value).ec != std::errc{})
        throw std::runtime_error(std::string("not a number: ") + text);
    return value;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fprintf(stderr, "usage: generate_archive FOLDER ARCHIVE TOTAL-BYTES FILES [--archive-only]\n");
        return 2;
    }
    try {
        const fs::path folder = argv[1];
        const fs::path archivePath = argv[2];
        const std::uint64_t total = parse(argv[3]);
        const auto count = static_cast<std::uint32_t>(parse(argv[4]));
        const bool archiveOnly = argc > 5 && std::string_view(argv[5]) == "--archive-only";
        if (count == 0) throw std::runtime_error("at least one file is needed");

        const std::vector<Planned> files = plan(total, count);
        Sha1 sha;
        Output archive(archivePath);
        archive.write(header("", 0x56657273, 0, 0), &sha);
        archive.write(std::string("prefix\0bench\\unpack\0", 20) + '\0', &sha);
        for (std::uint32_t i = 0; i < count; ++i)
            archive.write(header(files[i].name, 0, FirstTime + i, files[i].size), &sha);
        archive.write(header("", 0, 0, 0), &sha);

        std::mt19937_64 random(7);
        std::string block;
        std::uint32_t largest = 0;
        for (std::uint32_t i = 0; i < count; ++i) {
            block.resize(files[i].size);
            fill(block, random);
            archive.write(block, &sha);
            largest = std::max(largest, files[i].size);
            if (archiveOnly) continue;
            std::string relative = files[i].name;
            std::replace(relative.begin(), relative.end(), '\\', '/');
            const fs::path target = folder / relative;
            fs::create_directories(target.parent_path());
            Output file(target);
            file.write(block, nullptr);
            file.close();
            fs::last_write_time(target, fs::file_time_type::clock::from_sys(std::chrono::sys_seconds(
                                            std::chrono::seconds(FirstTime + i))));
        }
        const Sha1::Digest digest = sha.final();
        archive.write(std::string(1, '\0') + std::string(digest.begin(), digest.end()), nullptr);
        archive.close();
        std::printf("%u files, %llu bytes, largest %u bytes\n", count, static_cast<unsigned long long>(total), largest);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "generate_archive: %s\n", error.what());
        return 1;
    }
    return 0;
}

// Archives made byte by byte for the tests: header entries with any field values, a properties entry,
// the data area and any trailer, so that every archive type and every damaged form can be written.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"
#include "archivefile/foundation/Sha1.h"

namespace archivefile::testing {

class ArchiveBytes {
public:
    // One file entry: its header fields and the bytes it has in the data area.
    struct Entry {
        std::string name;
        std::string data;
        std::uint32_t time = 0;
        std::uint32_t method = 0;
        std::uint32_t originalSize = 0;
        std::uint32_t reserved = 0;
    };

    static constexpr std::uint32_t Compressed = 0x43707273;
    static constexpr std::uint32_t Properties = 0x56657273;

    ArchiveBytes& properties(std::initializer_list<std::pair<std::string, std::string>> pairs) {
        header("", Properties, 0, 0, 0, 0);
        for (const auto& [name, value] : pairs) {
            text_ += name + '\0';
            text_ += value + '\0';
        }
        text_ += '\0';
        return *this;
    }

    ArchiveBytes& entry(const std::string& name, const std::string& data, std::uint32_t time = 0) {
        return add({name, data, time});
    }

    // An entry stored as an LZSS block of `data`.
    ArchiveBytes& compressed(const std::string& name, const std::string& data, std::uint32_t time = 0) {
        const std::span<const std::uint8_t> source(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
        std::vector<std::uint8_t> block(BlockCoder::maxCompressedSize(data.size()));
        block.resize(BlockCoder::encodeLzss(source, block));
        return add({name, std::string(block.begin(), block.end()), time, Compressed,
                    static_cast<std::uint32_t>(data.size())});
    }

    ArchiveBytes& add(const Entry& entry) {
        header(entry.name, entry.method, entry.originalSize, entry.reserved, entry.time,
               static_cast<std::uint32_t>(entry.data.size()));
        data_ += entry.data;
        return *this;
    }

    // Any header entry as it stands, with no data behind it.
    ArchiveBytes& header(const std::string& name, std::uint32_t method, std::uint32_t originalSize,
                         std::uint32_t reserved, std::uint32_t time, std::uint32_t dataSize) {
        text_ += name + '\0';
        for (const std::uint32_t field : {method, originalSize, reserved, time, dataSize}) number(field);
        return *this;
    }

    // Bytes placed in the header as they are (a properties list after a hand-made properties entry).
    ArchiveBytes& raw(const std::string& bytes) {
        text_ += bytes;
        return *this;
    }

    // The header with its terminating entry and the data area, without a trailer.
    std::string body() const { return text_ + std::string(21, '\0') + data_; }

    // The body followed by a zero byte and its SHA-1.
    std::string withSha() const {
        const std::string bytes = body();
        const auto digest = Sha1::of({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
        return bytes + '\0' + std::string(digest.begin(), digest.end());
    }

    std::string withChecksum(const std::string& fourBytes) const { return body() + '\0' + fourBytes; }

private:
    void number(std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) text_ += static_cast<char>((value >> shift) & 0xFF);
    }

    std::string text_;
    std::string data_;
};

}  // namespace archivefile::testing

// Texture index files written byte by byte: the signature, version and count, then one entry per
// texture with its 54-byte header, path and mipmap table. Tests, benchmarks and the sample generator
// build their indexes with it; nothing here uses the library's reader.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace archivefile::bench {

class TexIndexBytes {
public:
    struct Entry {
        std::string path;
        std::uint32_t pixelFormat = 10;
        std::uint32_t mipmaps = 1;
        std::uint32_t width = 256;  // of the first mipmap; each next one is half as wide and high
        std::int32_t smallCount = 0;
        std::uint32_t trailing = 0;
        std::uint8_t flags[4] = {0, 0, 0, 0};  // the bytes at offsets 40 to 43
    };

    static void u8(std::string& out, unsigned value) { out += static_cast<char>(value & 0xFF); }
    static void u16(std::string& out, unsigned value) {
        u8(out, value);
        u8(out, value >> 8);
    }
    static void u32(std::string& out, std::uint32_t value) {
        u16(out, value & 0xFFFF);
        u16(out, value >> 16);
    }

    TexIndexBytes& add(const Entry& entry) {
        entries_.push_back(entry);
        return *this;
    }

    static std::string entry(const Entry& entry) {
        std::string out;
        u32(out, 1);
        u32(out, 0);
        // Twenty bytes the reader keeps without looking at them: two colours and three more values.
        for (std::uint32_t value : {0xFF808080u, 0xFFFFFFFFu, 0u, 0u, 0u}) u32(out, value);
        u32(out, 0xFFFFFFFF);
        u32(out, 0);
        u32(out, 0xFFFFFFFF);
        for (const std::uint8_t flag : entry.flags) u8(out, flag);
        u32(out, entry.mipmaps);
        u32(out, entry.pixelFormat);
        u16(out, 257);
        out += entry.path;
        out += '\0';
        u32(out, static_cast<std::uint32_t>(entry.smallCount));
        u32(out, entry.mipmaps);
        std::uint32_t width = entry.width;
        std::uint32_t position = 64;
        for (std::uint32_t level = 0; level < entry.mipmaps; ++level) {
            u16(out, width);
            u16(out, width);
            u16(out, 0);
            u8(out, entry.pixelFormat);
            u8(out, 3);
            u32(out, position);
            position += width * width;
            width = width > 1 ? width / 2 : 1;
        }
        u32(out, entry.trailing);
        return out;
    }

    // The whole index; `count` overrides the number of entries written in its header.
    std::string bytes(std::int64_t count = -1) const {
        std::string out = "0DHT";
        u32(out, 1);
        u32(out, static_cast<std::uint32_t>(count < 0 ? static_cast<std::int64_t>(entries_.size()) : count));
        for (const Entry& each : entries_) out += entry(each);
        return out;
    }

private:
    std::vector<Entry> entries_;
};

}  // namespace archivefile::bench

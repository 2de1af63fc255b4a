// Textures made byte by byte for the tests: a type word, taggs with any name and payload, a palette
// count with triplets, mipmap records in either form with any block, and the end words; and a
// callback that keeps what the operations report.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "archivefile/foundation/BlockCoder.h"

namespace archivefile::testing {

class PacBytes {
public:
    PacBytes& word(std::uint16_t value) {
        bytes_ += static_cast<char>(value & 0xFF);
        bytes_ += static_cast<char>(value >> 8);
        return *this;
    }
    PacBytes& number(std::uint32_t value) { return word(value & 0xFFFF).word(static_cast<std::uint16_t>(value >> 16)); }
    PacBytes& raw(const std::string& bytes) {
        bytes_ += bytes;
        return *this;
    }

    // A tagg: "GGAT" and the name backwards as it stands on disk ("GGATCGVA"), its length and payload.
    PacBytes& tagg(const std::string& diskName, const std::string& payload) {
        return raw(diskName).number(static_cast<std::uint32_t>(payload.size())).raw(payload);
    }
    PacBytes& value(const std::string& diskName, std::uint32_t value) {
        std::string payload;
        for (int i = 0; i < 4; ++i) payload += static_cast<char>(value >> (8 * i));
        return tagg(diskName, payload);
    }
    PacBytes& offsets(std::initializer_list<std::uint32_t> list) {
        std::string payload;
        std::array<std::uint32_t, 16> all{};
        std::copy(list.begin(), list.end(), all.begin());
        for (const std::uint32_t offset : all)
            for (int i = 0; i < 4; ++i) payload += static_cast<char>(offset >> (8 * i));
        return tagg("GGATSFFO", payload);
    }

    PacBytes& palette(const std::string& triplets) {
        return word(static_cast<std::uint16_t>(triplets.size() / 3)).raw(triplets);
    }

    // A record: the stored width (with its top bit when compressed), the height, a 24-bit size and the block.
    PacBytes& mipmap(std::uint16_t storedWidth, std::uint16_t height, const std::string& block) {
        word(storedWidth).word(height);
        const auto size = static_cast<std::uint32_t>(block.size());
        bytes_ += static_cast<char>(size & 0xFF);
        bytes_ += static_cast<char>(size >> 8 & 0xFF);
        bytes_ += static_cast<char>(size >> 16 & 0xFF);
        return raw(block);
    }
    // The same in the 1234 x 8765 form.
    PacBytes& markedMipmap(std::uint16_t storedWidth, std::uint16_t height, const std::string& block) {
        return word(1234).word(8765).mipmap(storedWidth, height, block);
    }

    // The end record and the final zero.
    PacBytes& end() { return word(0).word(0).word(0); }

    std::size_t size() const { return bytes_.size(); }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

// The lines that texture operations report to `collect`.
inline std::string lines;

inline bool collect(const char* text, ...) {
    lines += text;
    return true;
}

// `data` as a block of the coder's method `flags` (LZSS, LZO or byte-run).
inline std::string packed(const std::string& data, unsigned flags) {
    BlockCoder coder;
    const std::span<const std::uint8_t> source(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
    coder.compress(source, flags);
    return {reinterpret_cast<const char*>(coder.output().data()), coder.output().size()};
}

}  // namespace archivefile::testing

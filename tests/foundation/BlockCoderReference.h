// The plain LZSS search and decoder that the library's fast ones must agree with, and sample data shaped
// like what archives hold. Shared by the tests, the benchmark and the fuzz targets; not part of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace archivefile::reference {

// Scans the whole window at every position: the first candidate whose three bytes match, extended as far
// as the input allows, kept when strictly longer, the scan resuming after that candidate's match; matches
// over 18 become as many references of 18 as fit.
inline std::vector<uint8_t> encodeLzss(std::span<const uint8_t> in) {
    std::vector<uint8_t> out;
    size_t flagSlot = 0;
    unsigned items = 0;
    auto item = [&](bool literal) {
        if (items == 0) {
            flagSlot = out.size();
            out.push_back(0);
        }
        if (literal)
            out[flagSlot] = static_cast<uint8_t>(out[flagSlot] | 1u << items);
        items = (items + 1) % 8;
    };
    const size_t n = in.size();
    size_t pos = 0;
    while (pos < n) {
        size_t bestLength = 0;
        size_t bestPos = 0;
        if (n - pos >= 3) {
            size_t c = pos > 4095 ? pos - 4095 : 0;
            while (c < pos) {
                if (in[c] == in[pos] && in[c + 1] == in[pos + 1] && in[c + 2] == in[pos + 2]) {
                    size_t length = 3;
                    while (pos + length < n && in[c + length] == in[pos + length])
                        ++length;
                    if (length > bestLength) {
                        bestLength = length;
                        bestPos = c;
                    }
                    c += length;
                } else {
                    ++c;
                }
            }
        }
        if (bestLength < 3) {
            item(true);
            out.push_back(in[pos++]);
            continue;
        }
        const size_t offset = pos - bestPos;
        const size_t each = bestLength <= 18 ? bestLength : 18;
        for (size_t k = bestLength <= 18 ? 1 : bestLength / 18; k > 0; --k) {
            item(false);
            out.push_back(static_cast<uint8_t>(offset));
            out.push_back(static_cast<uint8_t>((offset >> 8) << 4 | (each - 3)));
            pos += each;
        }
    }
    uint32_t sum = 0;
    for (uint8_t b : in)
        sum += b;
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<uint8_t>(sum >> shift));
    return out;
}

// One byte at a time, every read checked. Returns what BlockCoder::decodeLzss returns.
inline int64_t decodeLzss(std::span<const uint8_t> in, std::span<uint8_t> out) {
    size_t i = 0;
    size_t o = 0;
    while (o < out.size()) {
        if (i >= in.size())
            return -2;
        const unsigned flags = in[i++];
        for (unsigned bit = 0; bit < 8 && o < out.size(); ++bit) {
            if (flags >> bit & 1) {
                if (i >= in.size())
                    return -2;
                out[o++] = in[i++];
                continue;
            }
            if (i + 2 > in.size())
                return -2;
            const size_t offset = in[i] | (in[i + 1] & 0xF0u) << 4;
            const size_t length = (in[i + 1] & 0x0Fu) + 3;
            i += 2;
            if (offset == 0)
                return -1;
            for (size_t k = 0; k < length && o < out.size(); ++k, ++o)
                out[o] = o < offset ? ' ' : out[o - offset];
        }
    }
    if (i + 4 > in.size())
        return -2;
    const uint32_t stored = in[i] | in[i + 1] << 8 | in[i + 2] << 16 | static_cast<uint32_t>(in[i + 3]) << 24;
    i += 4;
    uint32_t plain = 0;
    uint32_t signedSum = 0;
    for (uint8_t b : out) {
        plain += b;
        signedSum += static_cast<uint32_t>(static_cast<int8_t>(b));
    }
    return stored == plain || stored == signedSum ? static_cast<int64_t>(i) : -static_cast<int64_t>(i);
}

// Text like an unbinarised config: nested classes, indented assignments, arrays, quoted strings, numbers.
inline std::vector<uint8_t> configText(size_t size, unsigned seed = 1) {
    static const char* const names[] = {"scope", "displayName", "model", "mass", "maxSpeed", "armor",
                                        "picture", "icon", "textures[]", "sound[]", "hiddenSelections[]",
                                        "accuracy", "cost", "side", "crew", "typicalCargo[]", "author"};
    static const char* const words[] = {"crate", "barrel", "fence", "lamp", "tower", "bridge", "house",
                                        "wall", "rock", "tree", "bench", "sign", "truck", "boat"};
    std::mt19937 random(seed);
    auto pick = [&](auto& list) { return std::string(list[random() % std::size(list)]); };
    std::string text = "class Items\r\n{\r\n";
    while (text.size() < size) {
        const std::string word = pick(words);
        text += "\tclass " + word + "_" + std::to_string(random() % 100) + ": " + pick(words) + "_base\r\n\t{\r\n";
        for (unsigned k = 3 + random() % 8; k > 0; --k) {
            const std::string name = pick(names);
            text += "\t\t" + name + " = ";
            if (name.back() == ']')
                text += "{\"\\data\\" + word + "\\" + pick(words) + "_co.paa\", " + std::to_string(random() % 10) + "}";
            else if (random() % 3 == 0)
                text += "\"" + pick(words) + " " + std::to_string(random() % 1000) + "\"";
            else
                text += std::to_string(random() % 5000) + "." + std::to_string(random() % 100);
            text += ";\r\n";
        }
        text += "\t};\r\n";
    }
    text.resize(size);
    return {text.begin(), text.end()};
}

// Binary data in stretches: noise, zero runs, slowly changing floats, repeated records, names.
inline std::vector<uint8_t> mixedBinary(size_t size, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::vector<uint8_t> data;
    data.reserve(size + 4096);
    while (data.size() < size) {
        const size_t length = 16 + random() % 2048;
        switch (random() % 5) {
        case 0:
            for (size_t k = 0; k < length; ++k)
                data.push_back(static_cast<uint8_t>(random()));
            break;
        case 1:
            data.insert(data.end(), length, 0);
            break;
        case 2: {
            float value = static_cast<float>(random() % 1000) / 10.0f;
            for (size_t k = 0; k < length / 4; ++k) {
                value += static_cast<float>(random() % 64) / 256.0f;
                const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
                data.insert(data.end(), bytes, bytes + 4);
            }
            break;
        }
        case 3: {
            uint8_t record[16];
            for (uint8_t& b : record)
                b = static_cast<uint8_t>(random());
            for (size_t k = 0; k < length / 16; ++k) {
                record[random() % 16] = static_cast<uint8_t>(k);
                data.insert(data.end(), record, record + 16);
            }
            break;
        }
        default:
            for (size_t k = 0; k < length / 12; ++k) {
                const std::string name = "\\data\\part_" + std::to_string(random() % 50) + ".p3d";
                data.insert(data.end(), name.begin(), name.end());
                data.push_back(0);
            }
            break;
        }
    }
    data.resize(size);
    return data;
}

}  // namespace archivefile::reference

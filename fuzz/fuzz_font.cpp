// Reads arbitrary bytes as a font table from memory and hands out every record: each must lie
// inside the bytes given, and the first one past the count must not exist.
#include <cstddef>
#include <cstdint>

#include "archivefile/media/FxyFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::FxyFile font(nullptr);
    if (font.OpenFxy(nullptr, data, static_cast<unsigned>(size)) == 0) {
        for (unsigned index = 0; index < font.entryCount(); ++index) {
            const auto* record = reinterpret_cast<const std::uint8_t*>(font.GetEntry(index));
            if (record < data || record + font.entrySize() > data + size) __builtin_trap();
        }
        if (font.GetEntry(font.entryCount()) != nullptr) __builtin_trap();
    }
    font.Close();
    return 0;
}

// Reads arbitrary bytes as a texture index from memory and walks every entry it located: each
// pointer must stay inside the bytes given.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "archivefile/texture/TexFile.h"

namespace {
bool quiet(const char*, ...) { return true; }

bool inside(const void* p, std::size_t length, const std::uint8_t* data, std::size_t size) {
    const auto* byte = static_cast<const std::uint8_t*>(p);
    return byte >= data && length <= size && byte <= data + size - length;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::TexFile index(nullptr);
    index.SetCallBack(quiet);
    if (index.OpenTex(nullptr, data, static_cast<unsigned>(size)) == 0) {
        for (const archivefile::TexFile::Entry& entry : *index.GetTexBody()) {
            if (!inside(entry.header, archivefile::TexFile::Entry::HeaderSize, data, size) ||
                !inside(entry.path, std::strlen(entry.path) + 1, data, size) ||
                !inside(entry.mipmaps, static_cast<std::size_t>(static_cast<std::uint32_t>(entry.mipmapCount)) * 12, data, size))
                __builtin_trap();
        }
    }
    index.Close();
    return 0;
}

// The byte layout of binarised configs ("raP") that the compiler's writer and its binary reader share.
#pragma once

#include <cstdint>

namespace archivefile::rapformat {

inline constexpr std::uint8_t Signature[4] = {0x00, 'r', 'a', 'P'};
// The inline style follows the signature with these three bytes.
inline constexpr std::uint8_t InlineMarker[3] = {0x04, 0x00, 0x00};

// What stands in front of the root class: the signature and the inline marker; the signature, long 0,
// long 8 and the enum table offset; the same behind a block that holds the file's SHA-1.
inline constexpr std::uint64_t TgrHeaderSize = 7;
inline constexpr std::uint64_t KernHeaderSize = 16;
inline constexpr std::uint64_t SignedHeaderSize = 36;
inline constexpr std::uint64_t SignatureBlockOffset = 4;
inline constexpr std::uint64_t SignatureBlockSize = 20;
// The two longs that mark an offset-style header, and the enum table offset after them.
inline constexpr std::int32_t HeaderMarkZero = 0;
inline constexpr std::int32_t HeaderMarkEight = 8;

enum EntryType : std::uint8_t {
    ClassEntry = 0,
    ValueEntry = 1,
    ArrayEntry = 2,
    ExternEntry = 3,
    DeleteEntry = 4,
    // Elements added to an inherited array: a long of flags, then the name and the elements as for
    // an array. The offset styles only.
    ArrayAppendEntry = 5,
};
inline constexpr std::int32_t ArrayAppendFlags = 1;
enum ValueType : std::uint8_t { StringValue = 0, FloatValue = 1, IntValue = 2, NestedArray = 3 };

// Enum items of this name are stored without one; readers give the name back.
inline constexpr const char* OrdinalEnumName = "OrdinalEnum";

// Bytes of a compressed integer: seven bits to a byte, as many bytes as the value needs.
constexpr std::uint64_t compressedSize(std::uint64_t value) {
    std::uint64_t bytes = 1;
    for (; value >= 0x80; value >>= 7) ++bytes;
    return bytes;
}

}  // namespace archivefile::rapformat

// One entry of an archive: its header fields as the file holds them, where its data lies in the
// data area, and the data itself once loaded.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/FileString.h"

namespace archivefile {

class VexFileIO;

/// One entry of an archive: its header fields as the file holds them, where its data lies, and the
/// data itself once ArchiveFile::GetFileData has loaded it.
class ARCHIVEFILE_EXPORT pbo_entry {
public:
    /// Packing methods, read as little-endian 32-bit values.
    static constexpr std::uint32_t Stored = 0;
    static constexpr std::uint32_t Compressed = 0x43707273;  ///< the bytes "srpC" in the file
    static constexpr std::uint32_t Properties = 0x56657273;  ///< the bytes "sreV": the properties entry

    /// Reads one header entry: the name, then packing method, original size, reserved, time stamp and
    /// data size. The name is read piece by piece, since archives are never loaded whole.
    void read(VexFileIO& stream);

    /// Path inside the archive, backslash-separated, relative to the archive's prefix.
    const char* name() const { return name_.GetName() ? name_.GetName() : ""; }
    /// The same path as a FileString.
    const FileString& fileName() const { return name_; }
    /// Whether the entry has a name (the properties entry and the end entry have none).
    bool hasName() const { return !name_.view().empty(); }

    /// The header fields as read: packing method (Stored, Compressed or Properties), original size,
    /// and the reserved value.
    std::uint32_t packingMethod() const { return packingMethod_; }
    /// The original size field: the expanded size of a compressed entry, else 0 or the data size.
    std::uint32_t originalSize() const { return originalSize_; }
    /// The reserved field, as read.
    std::uint32_t reserved() const { return reserved_; }
    /// Seconds since 1970-01-01 UTC; 0 when the writer kept none.
    std::uint32_t timeStamp() const { return timeStamp_; }
    /// Bytes the entry occupies in the data area.
    std::uint32_t dataSize() const { return dataSize_; }
    /// An entry is compressed when its original size is set and differs from its data size.
    bool isCompressed() const { return originalSize_ != 0 && originalSize_ != dataSize_; }
    /// Length once expanded (or, after loading, the length of what was loaded and converted).
    std::uint32_t realSize() const { return realSize_; }
    /// Position of the data, counted from the start of the data area.
    std::uint64_t dataOffset() const { return dataOffset_; }

    /// The loaded data (empty until the archive's GetFileData loads it).
    std::span<const std::uint8_t> data() const { return {data_.get(), dataLength_}; }
    /// Whether data is loaded.
    bool hasData() const { return loaded_; }
    /// Whether the loaded data is config text decoded from its binarised form.
    bool WasRapified() const { return rapified_; }
    /// Releases the loaded data.
    void FreeData();

private:
    friend class ArchiveFile;

    std::uint32_t headerRealSize() const { return isCompressed() ? originalSize_ : dataSize_; }
    void setData(std::unique_ptr<std::uint8_t[]> bytes, std::size_t length);

    FileString name_;
    std::uint32_t packingMethod_ = Stored;
    std::uint32_t originalSize_ = 0;
    std::uint32_t reserved_ = 0;
    std::uint32_t timeStamp_ = 0;
    std::uint32_t dataSize_ = 0;
    std::uint32_t realSize_ = 0;
    std::uint64_t dataOffset_ = 0;
    // Place in the archive's entry list, for walking it both ways.
    std::size_t position_ = 0;
    // Loaded data is written over at once, so its buffer is never zero-filled first.
    std::unique_ptr<std::uint8_t[]> data_;
    std::size_t dataLength_ = 0;
    bool loaded_ = false;
    bool rapified_ = false;
};

}  // namespace archivefile

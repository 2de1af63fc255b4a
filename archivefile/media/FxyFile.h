// Font tables (.fxy): the handler recognises which of the two layouts a file has by its size and
// signature and hands out its glyph records one by one, in place in the stream's buffer. The records
// are not interpreted; the only check is that the file holds a whole table.
#pragma once

#include <cstddef>
#include <memory>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;

/// A glyph record: 12 bytes in the old layout, 14 in the new one (IsKern), read as bytes.
struct FxyEntry;

/// The font handler (.fxy): recognises which of the two layouts a table has and hands out its glyph
/// records in place. 0 or a code, whose text ErrorString gives.
class ARCHIVEFILE_EXPORT FxyFile {
public:
    static constexpr int NonModularSize = 10;
    static constexpr unsigned OldRecords = 224;
    static constexpr std::size_t OldRecordSize = 12;
    static constexpr unsigned NewRecords = 464;
    static constexpr std::size_t NewRecordSize = 14;
    static constexpr int NewVersion = 257;

    /// A handler of the root `parent`.
    explicit FxyFile(VexDLL* parent);
    ~FxyFile();
    FxyFile(const FxyFile&) = delete;
    FxyFile& operator=(const FxyFile&) = delete;
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// Reads a table from `data` when it is non-null, else from `path` (extension "fxy" when the name
    /// has none). 0, or 10 when the file is not a whole table of either layout, or a shared code.
    int OpenFxy(const char* path, const unsigned char* data, unsigned int length);
    /// Record `index`, or null when there is no such record. Its bytes are entrySize() long.
    const FxyEntry* GetEntry(unsigned int index) const;
    /// Whether the table has the newer layout ("VXFo", 14-byte records).
    int IsKern() const;
    /// Forgets the table read.
    void Close();
    /// The text of `code`: NonModularSize or a shared code.
    const char* ErrorString(int code) const;

    /// How many records the table holds, and the size of each.
    unsigned entryCount() const;
    /// The size of one record.
    std::size_t entrySize() const { return IsKern() ? NewRecordSize : OldRecordSize; }

private:
    class Inner;
    VexDLL* parent_;
    std::unique_ptr<Inner> inner_;
};

}  // namespace archivefile

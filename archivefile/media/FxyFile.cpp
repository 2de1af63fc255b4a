#include "archivefile/media/FxyFile.h"

#include <cstring>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"

namespace archivefile {

// The table itself, behind the public class so that its state can change without changing the class
// that callers see.
class FxyFile::Inner {
public:
    explicit Inner(VexDLL* parent) : stream(parent) {}

    int open(const char* path, const unsigned char* data, unsigned int length) {
        close();
        const int code = guarded(stream, [&]() -> int {
            if (data != nullptr) {
                stream.OpenPseudoFile(data, length);
            } else if (path == nullptr || *path == '\0' || !stream.OpenFile(path, "fxy")) {
                return GE_InvalidFile;
            }
            return checkLayout();
        });
        if (code != GE_NoError) close();
        return code;
    }

    void close() {
        count = 0;
        newLayout = 0;
        stream.CloseInput();
    }

    std::uint32_t count = 0;
    int newLayout = 0;
    VexFileIO stream;

private:
    // The size decides first: a file of exactly one old table is one, whatever its first bytes.
    int checkLayout() {
        count = OldRecords;
        newLayout = 0;
        if (stream.BytesRemaining() == OldRecords * OldRecordSize) return GE_NoError;
        if (std::memcmp(stream.GetMimeSignature(), "VXFo", 4) == 0 && stream.ReadLong() == NewVersion) {
            count = NewRecords;
            newLayout = 1;
            if (stream.BytesRemaining() == NewRecords * NewRecordSize) return GE_NoError;
        }
        return NonModularSize;
    }
};

FxyFile::FxyFile(VexDLL* parent) : parent_(parent), inner_(std::make_unique<Inner>(parent)) {}

FxyFile::~FxyFile() = default;

int FxyFile::OpenFxy(const char* path, const unsigned char* data, unsigned int length) {
    return inner_->open(path, data, length);
}

const FxyEntry* FxyFile::GetEntry(unsigned int index) const {
    if (index >= inner_->count || !inner_->stream.ReadActive()) return nullptr;
    const unsigned char* first = inner_->stream.image() + inner_->stream.Ftell();
    return reinterpret_cast<const FxyEntry*>(first + index * entrySize());
}

int FxyFile::IsKern() const { return inner_->newLayout; }

unsigned FxyFile::entryCount() const { return inner_->count; }

void FxyFile::Close() { inner_->close(); }

const char* FxyFile::ErrorString(int code) const {
    if (code == NonModularSize) return "Fxy: non modular filesize";
    return GenericError::ErrorString(code);
}

}  // namespace archivefile

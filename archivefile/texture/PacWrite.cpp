// Writing a texture: the type word, the taggs in a fixed order, the palette and the mipmap records as
// they were read, so that a texture read and written again keeps its bytes.
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/texture/PacFile.h"

namespace archivefile {

namespace {

constexpr int MarkerWidth = 1234;
constexpr int MarkerHeight = 8765;
constexpr int CompressedBit = 0x8000;

}  // namespace

int PacFile::CreatePac(const char* path) {
    // The texture being written stays open: only the output is given up on failure.
    return guarded(
        stream_,
        [&] {
            if (!stream_.CreateFileA(path != nullptr ? path : "", "paa")) raise(GE_CannotWrite);
            stream_.Throw(GE_NoError, "Writing: %s\r\n", GetTypeStr(type_));
            if (type_ != TypeDemo && type_ != TypeIndexed) stream_.WriteShort(type_);
            AVGC_.Write(&stream_, "GGATCGVA");
            MAXC_.Write(&stream_, "GGATCXAM");
            SWIZ_.Write(&stream_, "GGATZIWS");
            FLAG_.Write(&stream_, "GGATGALF");
            if (PROC_.present) {
                if (const int result = PROC_.Write(&stream_)) raise(result);
            }
            OFFS_.Write(&stream_);
            palette_.Write(&stream_);
            mipMaps_.WriteMipMaps(&stream_);
            stream_.WriteShort(0);
            stream_.CloseOutput();
        },
        [] {});
}

void PacFile::MipMaps::WriteMipMaps(VexFileIO* stream) const {
    for (const auto& mipmap : list_) {
        const int width = mipmap->width | (mipmap->compressed ? CompressedBit : 0);
        if (mipmap->marker) {
            stream->WriteShort(MarkerWidth);
            stream->WriteShort(MarkerHeight);
        }
        stream->WriteShort(width);
        stream->WriteShort(mipmap->height);
        stream->WriteTriByte(static_cast<int>(mipmap->stored().size()));
        stream->WriteBlock(mipmap->stored().data(), mipmap->stored().size());
    }
    stream->WriteShort(0);
    stream->WriteShort(0);
}

}  // namespace archivefile

#include "archivefile/model/MlodModel.h"

#include <cstring>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/VexFileIO.h"
#include "archivefile/model/P3dFile.h"

namespace archivefile {

namespace {

constexpr std::int32_t LodHeaderSize = 28;
constexpr std::int32_t LodVersion = 256;
constexpr std::string_view EndOfFileTagg = "#EndOfFile#";

// The fewest bytes a LOD can take: its header, "TAGG", the end tagg (flag, name, length) and the
// resolution. LOD counts are checked against it before anything is set aside for them.
constexpr std::uint64_t SmallestLod = LodHeaderSize + 4 + (1 + EndOfFileTagg.size() + 1 + 4) + 4;
// A face record and two empty names.
constexpr std::uint64_t SmallestFace = MlodModel::Face::RecordSize + 2;

// A count read from the file must be one that the bytes left can hold, `size` bytes an item;
// anything else (negative counts included) ends the read before anything is allocated for it.
std::size_t checkedCount(const VexFileIO& stream, std::int32_t count, std::uint64_t size) {
    if (count < 0 || static_cast<std::uint64_t>(count) > stream.BytesRemaining() / size) raise(GE_PrematureEof);
    return static_cast<std::size_t>(count);
}

std::string_view takeText(VexFileIO& stream) {
    const std::int64_t start = stream.Ftell();
    const char* text = stream.ReadAsciiz();
    return {text, static_cast<std::size_t>(stream.Ftell() - start - 1)};
}

// Names are written from the image they were read from, where their terminating zero follows them.
void writeText(VexFileIO& stream, std::string_view text) { stream.WriteBlock(text.data(), text.size() + 1); }

}  // namespace

int MlodModel::Face::vertexCount() const {
    std::int32_t count;
    std::memcpy(&count, record, sizeof count);
    return count;
}

int MlodModel::Read(VexFileIO& stream, std::int32_t lodCount) {
    lods_.clear();
    demonstrationSignature_ = {};
    demonstrationBody_ = {};
    const std::size_t count = checkedCount(stream, lodCount, SmallestLod);
    lods_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) readLod(stream);
    return stream.BytesRemaining() == 0 ? GE_NoError : GE_ResidualBytes;
}

int MlodModel::readDemonstration(VexFileIO& stream) {
    lods_.clear();
    demonstrationSignature_ = stream.takeBytes(4);
    demonstrationBody_ = stream.takeBytes(stream.BytesRemaining());
    return demonstrationBody_.empty() ? GE_NoError : GE_ResidualBytes;
}

void MlodModel::readLod(VexFileIO& stream) {
    const std::span<const unsigned char> signature = stream.takeBytes(4);
    if (std::memcmp(signature.data(), "P3DM", 4) != 0) raise(P3dFile::WrongHeaderType);
    if (stream.ReadLong() != LodHeaderSize || stream.ReadLong() != LodVersion) raise(P3dFile::WrongHeaderType);
    const std::int32_t pointCount = stream.ReadLong();
    const std::int32_t normalCount = stream.ReadLong();
    const std::int32_t faceCount = stream.ReadLong();

    Lod& lod = lods_.emplace_back();
    lod.flags = stream.ReadLong();
    lod.points = stream.takeBytes(checkedCount(stream, pointCount, Lod::PointSize) * Lod::PointSize);
    lod.normals = stream.takeBytes(checkedCount(stream, normalCount, Lod::NormalSize) * Lod::NormalSize);

    lod.faces.resize(checkedCount(stream, faceCount, SmallestFace));
    for (Face& face : lod.faces) {
        face.record = stream.FreadPtr(Face::RecordSize, 1);
        const int vertices = face.vertexCount();
        if (vertices != 3 && vertices != 4) raise(P3dFile::VertexMiscount);
        face.texture = takeText(stream);
        face.material = takeText(stream);
    }

    if (std::memcmp(stream.takeBytes(4).data(), "TAGG", 4) != 0) raise(P3dFile::Undecodable);
    while (true) {
        Tagg& tagg = lod.taggs.emplace_back();
        tagg.active = static_cast<std::uint8_t>(stream.ReadByte());
        tagg.name = takeText(stream);
        const std::int32_t length = stream.ReadLong();
        tagg.data = stream.takeBytes(checkedCount(stream, length, 1));
        if (tagg.name == EndOfFileTagg) break;
    }
    lod.resolution = stream.ReadFloat();
}

void MlodModel::Write(VexFileIO& stream) const {
    if (isDemonstration()) {
        stream.WriteBlock(demonstrationSignature_.data(), demonstrationSignature_.size());
        stream.WriteBlock(demonstrationBody_.data(), demonstrationBody_.size());
        return;
    }
    for (const Lod& lod : lods_) {
        stream.WriteChars("P3DM");
        stream.WriteLong(LodHeaderSize);
        stream.WriteLong(LodVersion);
        stream.WriteLong(static_cast<std::int32_t>(lod.pointCount()));
        stream.WriteLong(static_cast<std::int32_t>(lod.normalCount()));
        stream.WriteLong(static_cast<std::int32_t>(lod.faces.size()));
        stream.WriteLong(lod.flags);
        stream.WriteBlock(lod.points.data(), lod.points.size());
        stream.WriteBlock(lod.normals.data(), lod.normals.size());
        for (const Face& face : lod.faces) {
            stream.WriteBlock(face.record, Face::RecordSize);
            writeText(stream, face.texture);
            writeText(stream, face.material);
        }
        stream.WriteChars("TAGG");
        for (const Tagg& tagg : lod.taggs) {
            stream.WriteByte(tagg.active);
            writeText(stream, tagg.name);
            stream.WriteLong(static_cast<std::int32_t>(tagg.data.size()));
            stream.WriteBlock(tagg.data.data(), tagg.data.size());
        }
        stream.WriteFloat(lod.resolution);
    }
}

float MlodModel::resolution(int lod) const {
    if (lod < 0 || static_cast<std::size_t>(lod) >= lods_.size()) return 0.0f;
    return lods_[static_cast<std::size_t>(lod)].resolution;
}

}  // namespace archivefile

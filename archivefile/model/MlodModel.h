// The body of an editable model: its LODs, each with points, normals, faces (with the texture and
// material they name), taggs and its resolution, read in place from the stream's image and written
// back byte for byte. The demonstration forms ("SP3X", "SP3D") are kept as one uninterpreted block.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexFileIO;

/// The body of an editable model ("MLOD"): every LOD read in place and written back byte for byte.
class ARCHIVEFILE_EXPORT MlodModel {
public:
    /// One face: the fixed record (vertex count, four vertex records of point index, normal index, u
    /// and v, then the face flags) and the two names that follow it, empty for none.
    struct Face {
        static constexpr std::size_t RecordSize = 72;
        const unsigned char* record;
        std::string_view texture;
        std::string_view material;
        /// The vertex count of the record (3 or 4).
        int vertexCount() const;
    };
    /// One tagg: named, length-prefixed data kept as it was read.
    struct Tagg {
        std::uint8_t active;
        std::string_view name;
        std::span<const unsigned char> data;
    };
    /// One level of detail.
    struct Lod {
        static constexpr std::size_t PointSize = 16;
        static constexpr std::size_t NormalSize = 12;
        std::int32_t flags = 0;
        std::span<const unsigned char> points;
        std::span<const unsigned char> normals;
        std::vector<Face> faces;
        /// Ends with the "#EndOfFile#" tagg.
        std::vector<Tagg> taggs;
        float resolution = 0.0f;
        /// How many points and normals the LOD has.
        std::size_t pointCount() const { return points.size() / PointSize; }
        /// How many normals the LOD has.
        std::size_t normalCount() const { return normals.size() / NormalSize; }
    };

    /// Reads `lodCount` LODs at the stream's position. 0, or 7 when bytes follow the last LOD; a
    /// damaged body raises its code. What is read points into the stream's image and lives while it
    /// is open.
    int Read(VexFileIO& stream, std::int32_t lodCount);
    /// Takes a demonstration form whole, its signature included, from the stream's position. 0, or 7
    /// when anything follows the signature (which is what such a form holds).
    int readDemonstration(VexFileIO& stream);
    /// Writes the body exactly as it was read.
    void Write(VexFileIO& stream) const;

    /// The kind this body stands for, which the model handler takes over after reading.
    int kind() const { return 0; }
    /// The LODs read, in file order.
    const std::vector<Lod>& lods() const { return lods_; }
    /// The LOD's resolution; 0.0 for a LOD that is not there.
    float resolution(int lod) const;
    /// Whether the body is a demonstration form ("SP3X", "SP3D") kept whole.
    bool isDemonstration() const { return !demonstrationSignature_.empty(); }

private:
    void readLod(VexFileIO& stream);

    std::vector<Lod> lods_;
    std::span<const unsigned char> demonstrationSignature_;
    std::span<const unsigned char> demonstrationBody_;
};

}  // namespace archivefile

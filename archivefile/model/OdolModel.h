// The body of a binarised model. Of its many structures this library reads one: the table of LOD
// resolutions that follows the LOD count in kinds 40 and up (one float per LOD). The rest of the body
// is kept uninterpreted, so that it can be written back unchanged; kind 7 has no table.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexFileIO;

/// The body of a binarised model ("ODOL"): the LOD resolutions, and the rest kept as read.
class ARCHIVEFILE_EXPORT OdolModel {
public:
    /// Results beside 0 that the model handler turns into warnings.
    static constexpr int Residue = 23;
    static constexpr int Truncated = 24;

    /// Reads the body of a model of `kind` with `lodCount` LODs at the stream's position. 0; 23 when
    /// a model without LODs has bytes after its header (the stream stays before them); 24 when the
    /// body is too short for the LOD count, four bytes a LOD (the table is read as far as it goes and
    /// the stream stays after its last whole value).
    int Read(VexFileIO& stream, std::int32_t lodCount, int kind);
    /// Writes the body exactly as it was read.
    void Write(VexFileIO& stream) const;

    /// The resolutions read, in LOD order (fewer than the header's count when the file ran short).
    const std::vector<float>& resolutions() const { return resolutions_; }
    /// The LOD's resolution; 0.0 when the model has no table or the LOD is not in it.
    float resolution(int lod) const;

private:
    std::vector<float> resolutions_;
    std::span<const unsigned char> rest_;
};

}  // namespace archivefile

#include "archivefile/model/OdolModel.h"

#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

namespace {

// Kinds from 40 up begin their body with the LOD resolution table.
constexpr int FirstKindWithTable = 40;

}  // namespace

int OdolModel::Read(VexFileIO& stream, std::int32_t lodCount, int kind) {
    resolutions_.clear();
    rest_ = {};
    const std::uint64_t remaining = stream.BytesRemaining();
    // A model without LODs has no body: whatever follows its header is left over.
    if (lodCount == 0 && remaining > 0) {
        rest_ = {stream.GetAddress(), static_cast<std::size_t>(remaining)};
        return Residue;
    }
    // Every LOD takes at least the four bytes of its resolution, so a count that the bytes left
    // cannot hold means the body ran short. Only whole values that are in the file are read: a count
    // from a damaged header never sets aside more than the file holds.
    const std::uint64_t present = remaining / sizeof(float);
    const bool fits = lodCount >= 0 && static_cast<std::uint64_t>(lodCount) <= present;
    if (kind >= FirstKindWithTable) {
        resolutions_.resize(static_cast<std::size_t>(fits ? static_cast<std::uint64_t>(lodCount) : present));
        stream.Fread(resolutions_.data(), sizeof(float), resolutions_.size());
    }
    if (stream.BytesRemaining() > 0)
        rest_ = {stream.GetAddress(), static_cast<std::size_t>(stream.BytesRemaining())};
    if (!fits) return Truncated;
    stream.AddOffset(static_cast<std::int64_t>(rest_.size()));
    return 0;
}

void OdolModel::Write(VexFileIO& stream) const {
    stream.WriteBlock(resolutions_.data(), resolutions_.size() * sizeof(float));
    stream.WriteBlock(rest_.data(), rest_.size());
}

float OdolModel::resolution(int lod) const {
    if (lod < 0 || static_cast<std::size_t>(lod) >= resolutions_.size()) return 0.0f;
    return resolutions_[static_cast<std::size_t>(lod)];
}

}  // namespace archivefile

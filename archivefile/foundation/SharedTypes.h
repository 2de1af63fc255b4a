// Small value types that several file formats share.
#pragma once

#include <cstdint>

namespace archivefile {

/// Three 32-bit floats: a point or a vector.
struct XYZTriplet {
    float x = 0, y = 0, z = 0;
};

/// A 3x4 matrix: three rows of orientation, then the position.
struct XYZTransform {
    XYZTriplet row[4];
};

/// Two unsigned 32-bit values: sizes or grid coordinates.
struct uLongPair {
    std::uint32_t first = 0, second = 0;
};

static_assert(sizeof(XYZTriplet) == 12 && sizeof(XYZTransform) == 48 && sizeof(uLongPair) == 8);

}  // namespace archivefile

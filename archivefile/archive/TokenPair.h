// One property of an archive's properties entry: a name and its value, as they stand in the file.
#pragma once

#include "archivefile/foundation/GenString.h"

namespace archivefile {

/// One property: a name and its value, as they stand in the file.
struct TokenPair {
    GenString name;
    GenString value;
};

}  // namespace archivefile

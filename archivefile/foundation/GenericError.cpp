#include "archivefile/foundation/GenericError.h"

namespace archivefile {

const char* GenericError::ErrorString(int code) {
    switch (code) {
    case GE_NoError: return "No Error(s)";
    case GE_PrematureEof: return "Premature EOF";
    case GE_OutOfMemory: return "Out of memory";
    case GE_InvalidFile: return "invalid file";
    case GE_DebugTrap: return "debug trap (you shouldn't see this)";
    case GE_CodeBug: return "Internally generated code bug detection";
    case GE_CannotWrite: return "cannot write to file";
    case GE_ResidualBytes: return "residual bytes in file";
    case GE_BadUnicode: return "Cant handle this unicode string";
    case GE_UserCancelled: return "User cancelled";
    default: return "dll Unknown throw Error";
    }
}

}  // namespace archivefile

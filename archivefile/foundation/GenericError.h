// The shared error codes and their texts.
#pragma once

#include "archivefile/foundation/Export.h"

namespace archivefile {

/// Codes 0 to 9 are shared by every handler. The enumeration has int as its underlying type so that a
/// handler's own codes (negative archive codes, config codes from 10 up) travel through the same
/// exception: low-level code raises a Generic_Errors value and the exported method returns it as an int.
enum ARCHIVEFILE_EXPORT Generic_Errors : int {
    GE_NoError = 0,
    GE_PrematureEof = 1,
    GE_OutOfMemory = 2,
    GE_InvalidFile = 3,
    GE_DebugTrap = 4,
    GE_CodeBug = 5,
    GE_CannotWrite = 6,
    GE_ResidualBytes = 7,
    GE_BadUnicode = 8,
    GE_UserCancelled = 9,
};

/// The texts of the shared codes 0 to 9.
class ARCHIVEFILE_EXPORT GenericError {
public:
    /// Constant text for a shared code; "dll Unknown throw Error" for any other value.
    static const char* ErrorString(int code);

    /// Catch blocks use this to turn the caught code into the operation's result.
    static Generic_Errors caught(Generic_Errors code) { return code; }
};

/// Raises `code` as the library's error exception.
[[noreturn]] inline void raise(int code) { throw static_cast<Generic_Errors>(code); }

}  // namespace archivefile

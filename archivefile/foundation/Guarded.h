// The one rule by which every exported operation turns a failure into its int result: the body runs,
// any code raised inside it is caught, what was opened is closed, and the code comes back.
#pragma once

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

// `body` returns void (success is 0) or an int result. On failure an output being written is
// abandoned (so no half-written file replaces an earlier one), `cleanup` runs, and the code is
// returned; misuse raised as text is reported through the stream and becomes code 5. Nothing else
// escapes either: a request for more memory than there is (an allocation or a container too large)
// is code 2, and any other exception is a fault of this library, reported with its text as code 5.
template <class Body, class Cleanup>
int guarded(VexFileIO& stream, Body&& body, Cleanup&& cleanup) {
    int code = GE_NoError;
    std::string misuse;
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
            body();
            return GE_NoError;
        } else {
            return body();
        }
    } catch (Generic_Errors raised) {
        code = GenericError::caught(raised);
    } catch (const TextException& text) {
        misuse = text.what();
        code = GE_CodeBug;
    } catch (const std::bad_alloc&) {
        code = GE_OutOfMemory;
    } catch (const std::length_error&) {
        code = GE_OutOfMemory;
    } catch (const std::exception& unexpected) {
        misuse = std::string("internal error: ") + unexpected.what() + "\r\n";
        code = GE_CodeBug;
    } catch (...) {
        misuse = "internal error: an unknown exception\r\n";
        code = GE_CodeBug;
    }
    stream.abandonOutput();
    cleanup();
    if (!misuse.empty()) {
        try {
            stream.PrintToStdErr(misuse.c_str());
        } catch (Generic_Errors) {
            // A cancel raised while reporting changes nothing: the operation has already failed.
        }
    }
    return code;
}

template <class Body>
int guarded(VexFileIO& stream, Body&& body) {
    return guarded(stream, std::forward<Body>(body), [&stream] { stream.CloseInput(); });
}

}  // namespace archivefile

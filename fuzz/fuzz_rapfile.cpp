// Decodes arbitrary bytes as a binarised config: any header, entry types, counts, body offsets and
// enum tables. Every input must end in text or a code, within time and memory bounded by its size.
#include <cstddef>
#include <cstdint>
#include <span>

#include "archivefile/config/RapFile.h"

namespace {
bool quiet(const char*, ...) { return true; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::RapFile rap(nullptr);
    rap.SetCallBack(quiet);
    // The last byte picks the indentation and whether array-append entries are read, so that both
    // ways of each are exercised.
    const int last = size > 0 ? data[size - 1] : 0;
    rap.SetTabChar((last & 1) != 0);
    const int code = rap.Rap2Text(std::span(data, size), "fuzz", last & archivefile::RapFile::ExtendedSyntax);
    // A failure leaves the text as far as it came, ended by the error's comment line.
    if (code != 0 && (rap.decodedText().empty() || rap.decodedText().back() != '\n')) __builtin_trap();
    rap.Close();
    return 0;
}

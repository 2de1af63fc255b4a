// Reads arbitrary bytes into a class tree as a binarised config: any header, entry types, counts,
// body offsets and enum tables, array-append entries included. Every input must end in a tree or a code, within time and memory
// bounded by its size; a tree that was read must be written again (unless it is empty), and what is written must read
// back into the very same bytes.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "archivefile/config/Rapify.h"

namespace {
bool quiet(const char*, ...) { return true; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static archivefile::Rapify compiler(nullptr);
    compiler.SetCallBack(quiet);
    constexpr int options = archivefile::Rapify::ExtendedSyntax;
    if (compiler.ProcessBinary(data, static_cast<int>(size), options) == 0) {
        std::vector<std::uint8_t> written;
        const int code = compiler.OutputRap(written, false);
        // A file whose root holds nothing gives a tree that is refused for having no classes.
        if (code == archivefile::Rapify::RAP_NoClasses && compiler.GetFirst()->firstChild() == nullptr) {
            compiler.Close();
            return 0;
        }
        if (code != 0) __builtin_trap();
        std::vector<std::uint8_t> again;
        if (compiler.ProcessBinary(written.data(), static_cast<int>(written.size()), options) != 0) __builtin_trap();
        if (compiler.OutputRap(again, false) != 0 || again != written) __builtin_trap();
    }
    compiler.Close();
    return 0;
}

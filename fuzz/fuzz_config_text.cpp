// Config text from memory through the preprocessor and the parser into a class tree. The queries
// then walk what was built, so that a malformed tree shows up too.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "archivefile/config/Rapify.h"

namespace {

bool silent(const char*, ...) { return true; }

std::size_t walk(const archivefile::RapClass* node, int depth) {
    std::size_t count = 0;
    for (; node != nullptr; node = node->next()) {
        count += 1 + node->nameView().size() + node->textView().size();
        if (depth < 600) count += walk(node->firstChild(), depth + 1);
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    archivefile::Rapify compiler(nullptr);
    // The first byte chooses the options, so that forced KerN text and the extended syntax are
    // covered as well.
    constexpr int choices =
        archivefile::Rapify::ForceKern | archivefile::Rapify::ExtendedSyntax | archivefile::Rapify::KernByDefault;
    const int options = size > 0 ? data[0] & choices : 0;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const int code = compiler.Text2RapClass(text.substr(size > 0 ? 1 : 0), options, silent, "fuzz.cpp");
    compiler.ErrorString(code);
    // Where an error stands is a place in its line, when it has one.
    const archivefile::Rapify::ErrorPlace& place = compiler.errorPlace();
    const std::size_t shown = place.expansion.empty() ? place.line.size() : place.expansion.size();
    if (place.column != std::string::npos && place.column > shown) __builtin_trap();
    if (code == 0) {
        walk(compiler.GetFirst(), 0);
        compiler.rap_FindEmbeddedClass("Main");
    }
    return 0;
}

// Config text from memory through the preprocessor and the parser into a class tree. The queries
// then walk what was built, so that a malformed tree shows up too.
#include <cstddef>
#include <cstdint>
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
    // The first byte chooses the options, so that forced KerN text is covered as well.
    const int options = size > 0 ? data[0] & archivefile::Rapify::ForceKern : 0;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const int code = compiler.Text2RapClass(text.substr(size > 0 ? 1 : 0), options, silent, "fuzz.cpp");
    compiler.ErrorString(code);
    if (code == 0) {
        walk(compiler.GetFirst(), 0);
        compiler.rap_FindEmbeddedClass("Main");
    }
    return 0;
}

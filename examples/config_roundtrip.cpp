// Compiles a config text into its binarised form (raP), writes that beside the text as .bin, then
// decodes the bytes back and prints the text.
//     config_roundtrip config.cpp
#include <cstdio>
#include <string>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/VexDLL.h"

static bool toStandardError(const char* text, ...) {
    std::fputs(text, stderr);
    return true;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: config_roundtrip CONFIG\n");
        return 2;
    }
    archivefile::VexDLL root;
    archivefile::Rapify& compiler = *root.rapify();
    int code = compiler.OpenRapText(argv[1], archivefile::Rapify::ExtendedSyntax, toStandardError);
    std::vector<std::uint8_t> bytes;
    if (code == 0) code = compiler.OutputRap(bytes, true);
    if (code != 0) {
        std::fprintf(stderr, "%s: %s (code %d)\n", compiler.ErrFname(), compiler.ErrorString(code), code);
        return 1;
    }
    // The same bytes as a file: replaced only once complete.
    const std::string binary = std::string(argv[1]) + ".bin";
    if ((code = compiler.OutputRap(binary.c_str(), true)) != 0) return 1;

    archivefile::RapFile& decoder = *root.rapFile();
    code = decoder.Rap2Text(bytes, "config.bin", archivefile::RapFile::ExtendedSyntax);
    if (code != 0) {
        std::fprintf(stderr, "%s (code %d)\n", decoder.ErrorString(code), code);
        return 1;
    }
    std::fwrite(decoder.decodedText().data(), 1, decoder.decodedText().size(), stdout);
    return 0;
}

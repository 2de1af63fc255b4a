// examples/quick_tour.cpp: pack a folder, list the archive, extract an entry, compile and decode a config.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/VexDLL.h"

static bool quiet(const char*, ...) { return true; }   // lines end in "\r\n"; null: standard error

int main() {
    archivefile::VexDLL root;
    archivefile::ArchiveFile& archive = *root.archiveFile();

    // Pack a folder: config.cpp binarised, what shrinks compressed, a SHA-1 trailer.
    int code = archive.MakePboNew("mod", archivefile::ArchiveFile::StyleKern | archivefile::ArchiveFile::CompressEntries,
                                  "mod.pbo", quiet, "ogg,paa,wss", "x\\demo\\addons\\example");

    // List it: the properties, then the entries.
    if (code == 0) code = archive.OpenPbo("mod.pbo", quiet);
    if (code != 0) return std::fprintf(stderr, "%s (code %d)\n", archive.ErrorString(code), code), 1;
    for (const archivefile::TokenPair& property : archive.properties())
        std::printf("%s=%s\n", property.name.GetName(), property.value.GetName());
    for (auto* entry = archive.GetChain(); entry != nullptr; entry = archive.GetNext(entry))
        std::printf("%s %u bytes%s\n", entry->name(), entry->dataSize(), entry->isCompressed() ? " compressed" : "");

    // Extract one entry: expanded, and a binarised config turned into its text.
    archivefile::pbo_entry* config = archive.FindEntry("config.bin");
    if (config != nullptr && archive.GetFileData(config, archivefile::ArchiveFile::DecodeData) == 0)
        std::fwrite(config->data().data(), 1, config->data().size(), stdout);
    archive.ClosePbo();

    // Compile a config to raP in memory and decode it again.
    archivefile::Rapify& compiler = *root.rapify();
    std::vector<std::uint8_t> bytes;
    if (compiler.Text2RapClass("class A { x = 1; };", archivefile::Rapify::ExtendedSyntax, quiet) != 0 ||
        compiler.OutputRap(bytes, true) != 0)
        return std::fprintf(stderr, "%s line %d: %s\n", compiler.ErrFname(), compiler.LineCount(),
                            compiler.ErrorString(compiler.ErrorCode())), 1;
    archivefile::RapFile& decoder = *root.rapFile();
    if (decoder.Rap2Text(bytes) == 0) std::fwrite(decoder.decodedText().data(), 1, decoder.decodedText().size(), stdout);
}

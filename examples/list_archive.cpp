// Lists an archive: its properties, then one line an entry with its sizes, time and packing.
//     list_archive mod.pbo
#include <cstdio>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/VexDLL.h"

// The library hands every message over as one finished text; these examples leave them out.
static bool quiet(const char*, ...) { return true; }

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: list_archive ARCHIVE\n");
        return 2;
    }
    archivefile::VexDLL root;
    archivefile::ArchiveFile& archive = *root.archiveFile();
    const int code = archive.OpenPbo(argv[1], quiet, archivefile::ArchiveFile::OpenAsNamed);
    if (code != 0) {
        std::fprintf(stderr, "%s: %s (code %d)\n", argv[1], archive.ErrorString(code), code);
        return 1;
    }
    for (const archivefile::TokenPair& property : archive.properties())
        std::printf("%s=%s\n", property.name.GetName(), property.value.GetName());
    for (auto* entry = archive.GetChain(); entry != nullptr; entry = archive.GetNext(entry))
        std::printf("%-30s %8u bytes, %8u stored, time %u%s\n", entry->name(),
                    entry->isCompressed() ? entry->originalSize() : entry->dataSize(), entry->dataSize(),
                    entry->timeStamp(), entry->isCompressed() ? ", compressed" : "");
    archive.ClosePbo();
    return 0;
}

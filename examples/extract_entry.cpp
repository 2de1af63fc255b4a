// Writes one entry of an archive to standard output, expanded, with a binarised config as text.
//     extract_entry mod.pbo config.bin > config.cpp
#include <cstdio>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/VexDLL.h"

static bool quiet(const char*, ...) { return true; }

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: extract_entry ARCHIVE ENTRY\n");
        return 2;
    }
    using archivefile::ArchiveFile;
    archivefile::VexDLL root;
    ArchiveFile& archive = *root.archiveFile();
    int code = archive.OpenPbo(argv[1], quiet, ArchiveFile::OpenAsNamed);
    archivefile::pbo_entry* entry = code == 0 ? archive.FindEntry(argv[2]) : nullptr;
    if (code == 0 && entry == nullptr) {
        std::fprintf(stderr, "%s: no entry %s\n", argv[1], argv[2]);
        return 1;
    }
    if (code == 0) code = archive.GetFileData(entry, ArchiveFile::DecodeData | ArchiveFile::KeepTextBytes);
    if (code != 0) {
        std::fprintf(stderr, "%s: %s (code %d)\n", argv[1], archive.ErrorString(code), code);
        return 1;
    }
    std::fwrite(entry->data().data(), 1, entry->data().size(), stdout);
    return 0;
}

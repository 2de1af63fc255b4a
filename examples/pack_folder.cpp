// Packs a folder into an archive: config.cpp files are binarised, entries that shrink compressed, and
// a SHA-1 trailer written. Every line the build reports goes to standard error.
//     pack_folder mod mod.pbo
#include <cstdarg>
#include <cstdio>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/VexDLL.h"

static bool toStandardError(const char* text, ...) {
    std::fputs(text, stderr);
    return true;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: pack_folder FOLDER ARCHIVE\n");
        return 2;
    }
    using archivefile::ArchiveFile;
    archivefile::VexDLL root;
    ArchiveFile& archive = *root.archiveFile();
    const int code = archive.MakePboNew(argv[1], ArchiveFile::StyleKern | ArchiveFile::CompressEntries, argv[2],
                                        toStandardError, "ogg,paa,wss", "x\\demo\\addons\\example");
    if (code != 0) {
        std::fprintf(stderr, "%s: %s (code %d)\n", argv[1], archive.ErrorString(code), code);
        return 1;
    }
    std::printf("wrote %s\n", archive.builtArchive().c_str());
    return 0;
}

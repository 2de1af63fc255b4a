// What the archive tests share: a root with its archive handler, a folder for the archives they
// write, and the lines the handler reports.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/foundation/VexDLL.h"
#include "tests/archive/ArchiveBytes.h"
#include "tests/support/TempFolder.h"

namespace archivefile::testing {

// A binarised config in the offset layout: one class body holding x = 5, and an empty enum table.
inline const std::string rapConfig("\0raP\0\0\0\0\x08\0\0\0\x1E\0\0\0"
                                   "\0\x01\x01\x02x\0\x05\0\0\0\x1E\0\0\0"
                                   "\0\0\0\0",
                                   34);

class ArchiveTest : public ::testing::Test {
protected:
    static inline std::string lines;
    static bool collect(const char* text, ...) {
        lines += text;
        return true;
    }

    int open(const std::string& bytes, int flags = 0) {
        lines.clear();
        return archive.OpenPbo(folder.write("test.pbo", bytes).c_str(), collect, flags);
    }

    pbo_entry& entry(const char* name) {
        pbo_entry* found = archive.FindEntry(name);
        if (found == nullptr) throw std::runtime_error(std::string("no entry ") + name);
        return *found;
    }

    static std::string text(const pbo_entry& entry) {
        return {reinterpret_cast<const char*>(entry.data().data()), entry.data().size()};
    }

    VexDLL root;
    ArchiveFile& archive = *root.archiveFile();
    TempFolder folder;
};

}  // namespace archivefile::testing

// Helpers for the config compiler's tests: compile text from memory or from files in a temporary
// folder, and write the resulting tree as compact text so that a test can state it in one line.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "archivefile/config/RapClass.h"
#include "archivefile/config/Rapify.h"
#include "tests/support/TempFolder.h"

namespace archivefile::testing {

// Lines the compiler sends to its callback during the current test.
inline std::vector<std::string>& callbackLines() {
    static std::vector<std::string> lines;
    return lines;
}

inline bool recordLine(const char* text, ...) {
    callbackLines().emplace_back(text);
    return true;
}

// One entry per node: class A: B {..}; class A; delete A; name="string" name=12 name=1.5f
// name[]={..} name[]+={..}. Elements of an array are separated by ",".
inline void dumpEntries(const RapClass* first, std::string& out, bool elements) {
    for (const RapClass* node = first; node; node = node->next()) {
        if (node != first) out += elements ? "," : " ";
        switch (node->kind()) {
        case RapClass::ClassKind:
            out += "class ";
            out += node->name();
            if (*node->text()) {
                out += ": ";
                out += node->text();
            }
            out += " {";
            dumpEntries(node->firstChild(), out, false);
            out += "};";
            break;
        case RapClass::ExternKind:
            out += "class " + std::string(node->name()) + ";";
            break;
        case RapClass::DeleteKind:
            out += "delete " + std::string(node->name()) + ";";
            break;
        case RapClass::ArrayKind:
        case RapClass::ArrayAppendKind:
            if (!elements) out += std::string(node->name()) + (node->kind() == RapClass::ArrayKind ? "[]=" : "[]+=");
            out += "{";
            dumpEntries(node->firstChild(), out, true);
            out += "}";
            break;
        default:
            if (!elements) out += std::string(node->name()) + "=";
            if (node->kind() == RapClass::StringKind) out += "\"" + std::string(node->text()) + "\"";
            else if (node->kind() == RapClass::FloatKind) out += std::string(node->text()) + "f";
            else if (node->kind() == RapClass::IntKind) out += node->text();
            else out += "?" + std::string(node->text());
            break;
        }
    }
}

inline std::string dumpTree(const RapClass* primary) {
    std::string out;
    if (primary) dumpEntries(primary->firstChild(), out, false);
    return out;
}

// A compiler of its own for each test, with the callback's lines recorded.
class ConfigTest : public ::testing::Test {
protected:
    void SetUp() override { callbackLines().clear(); }

    int compileText(std::string_view text, int options = 0) {
        code = compiler.Text2RapClass(text, options, recordLine, "test.cpp");
        return code;
    }

    int compileFile(const std::string& path, int options = 0) {
        code = compiler.OpenRapText(path.c_str(), options, recordLine);
        return code;
    }

    // The tree of a text that must compile.
    std::string tree(std::string_view text) {
        EXPECT_EQ(compileText(text), 0) << compiler.ErrorString(code);
        return dumpTree(compiler.GetFirst());
    }

    // The full error text of a text that must fail.
    std::string error(std::string_view text) {
        EXPECT_NE(compileText(text), 0) << dumpTree(compiler.GetFirst());
        return compiler.ErrorString(code);
    }

    Rapify compiler{nullptr};
    TempFolder folder;
    int code = 0;
};

}  // namespace archivefile::testing

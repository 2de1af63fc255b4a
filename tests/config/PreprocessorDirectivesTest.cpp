// Directives: conditional blocks, #undef, the style defines, #include and its search, #uninclude.
#include <filesystem>

#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigDirectives = ConfigTest;
using ConfigIncludes = ConfigTest;

TEST_F(ConfigDirectives, ConditionalsChooseTheLiveBranch) {
    EXPECT_EQ(tree("#define A\n#ifdef A\nx = 1;\n#else\nx = 2;\n#endif\n"
                   "#ifndef A\ny = 1;\n#else\ny = 2;\n#endif\n#IfDef B\nz = 1;\n#ENDIF\nw = 0;"),
              "x=1 y=2 w=0");
}

TEST_F(ConfigDirectives, NestedBlockInAFalseBlockStaysSkippedThroughItsElse) {
    EXPECT_EQ(tree("#ifdef NO\n#ifdef NO2\na=1;\n#else\nb=1;\n#pragma anything\n#endif\nc=1;\n#else\nd=1;\n#endif\ne=1;"),
              "d=1 e=1");
    EXPECT_EQ(callbackLines(), (std::vector<std::string>{"#else\r\n"}));
    tree("#ifndef NO\na=1;\n#else\nb=1;\n#endif\nc=1;");
    EXPECT_EQ(callbackLines(), (std::vector<std::string>{"#else\r\n", "#endif\r\n"}));
}

TEST_F(ConfigDirectives, MalformedDirectivesAreRefused) {
    EXPECT_EQ(error("a=1;\n#else\n"), "In File test.cpp: Line 2 #endif pr #else with no #if");
    EXPECT_EQ(error("#ifdef A\n#endif\n#endif\n"), "In File test.cpp: Line 3 #endif pr #else with no #if");
    EXPECT_EQ(code, Rapify::RAP_NoOpenBlock);
    EXPECT_EQ(error("#ifdef A B\n#endif\n"), "In File test.cpp: Line 1 Expected class, define, or varname");
    EXPECT_EQ(error("a=1;\n#endif extra\n"), "In File test.cpp: Line 2 #endif pr #else with no #if");
    EXPECT_EQ(error("#ifdef\n"), "In File test.cpp: Line 1 unexpected eol");
    EXPECT_EQ(error("#undef\n"), "In File test.cpp: Line 1 unexpected eol");
    EXPECT_EQ(error("#undef NEVER\n"), "In File test.cpp: Line 1 Unknown #undef label");
}

TEST_F(ConfigDirectives, ABlockLeftOpenAtTheEndIsOnlyWarnedAbout) {
    EXPECT_EQ(tree("b=2;\n#ifndef A\na=1;\n#ifdef A\nc=3;\n"), "b=2 a=1");
    EXPECT_EQ(callbackLines(),
              (std::vector<std::string>{"Warning: test.cpp: 2 #ifdef or #ifndef without #endif at the end of the text\r\n"}));
}

TEST_F(ConfigDirectives, UndefRemovesADefine) {
    EXPECT_EQ(tree("#define A 1\n#undef A\n#ifdef A\nx = 1;\n#endif\ny = A;"), "y=\"A\"");
}

TEST_F(ConfigDirectives, StyleDefinesSetTheModeWord) {
    tree("a = 1;");
    EXPECT_EQ(compiler.ModeWord(), Rapify::TgrStyle);
    tree("#define _xbox_\na = 1;");
    EXPECT_EQ(compiler.ModeWord(), Rapify::KernStyle);
    tree("#define _KERN_\na = 1;");
    EXPECT_EQ(compiler.ModeWord(), Rapify::KernStyle);
    tree("#define _XBOX_ WithSignature\na = 1;");
    EXPECT_EQ(compiler.ModeWord(), Rapify::SignedStyle);
    EXPECT_EQ(error("#define _kern_ Signed\n"), "In File test.cpp: Line 1 #Define bad label");
}

TEST_F(ConfigDirectives, StyleDefineReplacesTheWholeModeWord) {
    tree("a = __EVAL(1);\n#define _kern_\n");
    EXPECT_FALSE(compiler.HasEvals());
    EXPECT_EQ(compiler.ModeWord(), Rapify::KernStyle);
    tree("#define _kern_\na = __EVAL(1);\n");
    EXPECT_TRUE(compiler.HasEvals());
}

TEST_F(ConfigDirectives, ForcedKernIsAnnouncedAndResetForTheNextText) {
    EXPECT_EQ(compileText("a = 1 \\\n  b = 2;", Rapify::ForceKern), 0);
    EXPECT_EQ(compiler.ModeWord(), Rapify::KernStyle);
    EXPECT_EQ(callbackLines(), (std::vector<std::string>{"//forcing kern raP\r\n"}));
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "a=\"1 b = 2\"");
    tree("a = 1;");
    EXPECT_EQ(compiler.ModeWord(), Rapify::TgrStyle);
}

TEST_F(ConfigIncludes, RelativeNamesResolveAgainstTheIncludingFile) {
    folder.write("mod/parts/a.hpp", "#include \"b.hpp\"\na = FROM_B;\n");
    folder.write("mod/parts/b.hpp", "#define FROM_B 2\n");
    folder.write("mod/config.cpp", "#include \"parts\\a.hpp\"\n#include \"parts/b.hpp\"\nc = __LINE__;\n");
    EXPECT_EQ(compileFile(folder / "mod/config.cpp"), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "a=2 c=3");
    EXPECT_EQ(compiler.statistics().filesRead, 4);
}

TEST_F(ConfigIncludes, RootedNamesResolveAgainstTheIncludeRoot) {
    folder.write("root/x/tag/addons/main/script_macros.hpp", "#define TAG demo\n");
    folder.write("root/x/tag/addons/main/config.cpp",
                 "#include \"\\x\\tag\\addons\\main\\script_macros.hpp\"\nname = TAG;\n");
    compiler.SetIncludeRoot((folder / "root").c_str());
    EXPECT_EQ(compileFile(folder / "root/x/tag/addons/main/config.cpp"), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "name=\"demo\"");
}

TEST_F(ConfigIncludes, DriveNamesNeedTheIncludeRoot) {
    folder.write("root/x/m.hpp", "#define M 1\n");
    EXPECT_EQ(error("#include \"p:\\x\\m.hpp\"\n"), "In File test.cpp: Line 1 rap: cannot change drive:");
    EXPECT_EQ(code, Rapify::RAP_CannotChangeDrive);
    compiler.SetIncludeRoot((folder / "root").c_str());
    EXPECT_EQ(tree("#include \"p:\\x\\m.hpp\"\nm = M;"), "m=1");
}

TEST_F(ConfigIncludes, NamesThatDifferOnlyInCaseAreFound) {
    folder.write("Mod/Parts/Values.HPP", "v = 1;\n");
    folder.write("Mod/config.cpp", "#include \"parts\\values.hpp\"\n");
    EXPECT_EQ(compileFile(folder / "Mod/config.cpp"), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "v=1");
}

TEST_F(ConfigIncludes, ErrorsNameTheIncludedFileAndTheLineCountResumesAfterIt) {
    folder.write("a.hpp", "x = 1;\ny = 2\n\nclass;\n");
    folder.write("main.cpp", "one = 1;\n#include \"a.hpp\"\n");
    EXPECT_EQ(compileFile(folder / "main.cpp"), Rapify::RAP_ExpectedClassName);
    EXPECT_EQ(std::string(compiler.ErrorString(code)), "In File " + folder / "a.hpp" + ": Line 4 Expected class name");
    EXPECT_STREQ(compiler.ErrFname(), (folder / "a.hpp").c_str());
    EXPECT_EQ(compiler.LineCount(), 4);

    folder.write("b.hpp", "x = 1;\n\n\n");
    folder.write("main2.cpp", "one = 1;\n#include \"b.hpp\"\n\nbad\n");
    EXPECT_EQ(compileFile(folder / "main2.cpp"), Rapify::RAP_ExpectedArray);
    EXPECT_EQ(std::string(compiler.ErrorString(code)), "In File " + folder / "main2.cpp" + ": Line 4 Expected ]={");
}

TEST_F(ConfigIncludes, MissingFileOrOpenIncludeIsRefused) {
    EXPECT_EQ(error("a = 1;\n#include \"nowhere.hpp\"\n"), "In File test.cpp: Line 2 Cannot include file");
    EXPECT_EQ(code, Rapify::RAP_CannotInclude);
    EXPECT_EQ(error("#include nowhere.hpp\n"), "In File test.cpp: Line 1 Cannot include file");
    EXPECT_EQ(compileFile(folder / "absent.cpp"), 3);
    EXPECT_EQ(std::string(compiler.ErrorString(code)), "In File " + folder / "absent.cpp" + ": invalid file");
    EXPECT_EQ(error("a = 1;\n#uninclude\n"), "In File test.cpp: Line 2 Internal err: No include to uninclude");
}

TEST_F(ConfigIncludes, IncludeCycleEndsWithACode) {
    folder.write("a.hpp", "#include \"b.hpp\"\n");
    folder.write("b.hpp", "#include \"a.hpp\"\n");
    folder.write("main.cpp", "#include \"a.hpp\"\n");
    EXPECT_EQ(compileFile(folder / "main.cpp"), Rapify::RAP_CannotInclude);
    EXPECT_NE(callbackLines().back().find("includes nested deeper than 64 levels"), std::string::npos);
}

TEST_F(ConfigIncludes, GuardedCycleCompilesAndDefinesOutliveTheirFile) {
    folder.write("a.hpp", "#ifndef A_HPP\n#define A_HPP\n#include \"b.hpp\"\n#define FROM_A 1\n#endif\n");
    folder.write("b.hpp", "#ifndef B_HPP\n#define B_HPP\n#include \"a.hpp\"\n#define FROM_B 2\n#endif\n");
    folder.write("main.cpp", "#include \"a.hpp\"\n#include \"b.hpp\"\nv[] = {FROM_A, FROM_B};\n");
    EXPECT_EQ(compileFile(folder / "main.cpp"), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "v[]={1,2}");
}

}  // namespace
}  // namespace archivefile::testing

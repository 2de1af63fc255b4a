// Physical lines into logical lines: comments, quotes, continuation lines.
#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigLines = ConfigTest;

TEST_F(ConfigLines, CommentsGoWhileSlashesInStringsAndTextAroundThemStay) {
    EXPECT_EQ(tree("a = \"http://x/y\"; // note\r\nb = 2; // c = 3;\r\n"), "a=\"http://x/y\" b=2");
    EXPECT_EQ(tree("a = 1; /* one\n two */ b = 2;\nc /* x */ = 3;\n/**/d=4;"), "a=1 b=2 c=3 d=4");
}

TEST_F(ConfigLines, NestedAndUnendedCommentsAreRefused) {
    EXPECT_EQ(error("a = 1;\n/* outer /* inner */\n"), "In File test.cpp: Line 2 Recursive comment /*");
    EXPECT_EQ(code, Rapify::RAP_RecursiveComment);
    EXPECT_EQ(error("a = 1;\n/* never\nclosed\n"), "In File test.cpp: Line 3 EOF encountered");
    EXPECT_EQ(callbackLines().back(), "the comment opened at line 2 has no end\r\n");
}

TEST_F(ConfigLines, QuoteLeftOpenIsRefusedUnlessOnlyBlanksFollowIt) {
    EXPECT_EQ(error("a = 1;\nb = \"abc;\n"), "In File test.cpp: Line 2 Mismatched quotes");
    EXPECT_EQ(tree("a = \"   \nb = 1;"), "a=\"\" b=1");
}

TEST_F(ConfigLines, ContinuedLinesAreJoined) {
    // An assignment continued onto the next line gets the semicolon it lacks.
    EXPECT_EQ(tree("a = 1 \\\nb = 2;\nclass C {} \\\n;\nclass D { \\\n x = 1; \\\n y = 2 \\\n };"),
              "a=1 b=2 class C {}; class D {x=1 y=2};");
    EXPECT_EQ(tree("#define BODY(v) class E { \\\n  list[] = { \\\n    v \\\n  }; \\\n};\nBODY(1)"),
              "class E {list[]={\"; 1\"}};");
    // Blank lines and comments after the slash are skipped; newer text is joined with one blank only.
    EXPECT_EQ(tree("a = x \\\n\n   // nothing\n  b = y;"), "a=\"x\" b=\"y\"");
    EXPECT_EQ(tree("#define _kern_\na = x \\\n   y;"), "a=\"x y\"");
}

TEST_F(ConfigLines, ContinuationAtTheEndOfAFileIsRefused) {
    folder.write("part.hpp", "b = 2; \\\n");
    folder.write("main.cpp", "a = 1;\n#include \"part.hpp\"\nc = 3;\n");
    EXPECT_EQ(compileFile(folder / "main.cpp"), Rapify::RAP_ContinuationAtEof);
    EXPECT_EQ(std::string(compiler.ErrorString(code)), "In File " + folder / "part.hpp" + ": Line 1 continuation slash at eof");
    EXPECT_EQ(error("a = 1; \\"), "In File test.cpp: Line 1 continuation slash at eof");
}

TEST_F(ConfigLines, LinesAreCountedAcrossCommentsAndContinuations) {
    EXPECT_EQ(error("/*\n\n*/\na = 1 \\\n  b = 2;\nc = ;\nd\n"), "In File test.cpp: Line 7 Expected ]={");
    EXPECT_EQ(compiler.statistics().lines, 7);
}

}  // namespace
}  // namespace archivefile::testing

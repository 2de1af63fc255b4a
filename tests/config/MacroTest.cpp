// Defines: parameters, the stringize form, joining, re-expansion, the built-in words and __EVAL.
#include <string>
#include <utility>

#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigMacros = ConfigTest;
using ConfigEval = ConfigTest;

constexpr const char* Idioms =
    "#define QUOTE(x) #x\n"
    "#define GVAR(x) TAG##_##x\n"
    "#define QGVAR(x) QUOTE(GVAR(x))\n"
    "#define DOUBLES(a,b) a##_##b\n";

TEST_F(ConfigMacros, QuotedNamesBuiltWithJoins) {
    EXPECT_EQ(tree(std::string(Idioms) + "#define TAG demo\nclass GVAR(main) { n = QUOTE(GVAR(name)); m = QGVAR(x); d = DOUBLES(TAG,y); };"),
              "class demo_main {n=\"demo_name\" m=\"demo_x\" d=\"demo_y\"};");
    EXPECT_EQ(tree(std::string(Idioms) + "n = QUOTE(GVAR(name));"), "n=\"TAG_name\"");
}

// Arguments keep commas inside parentheses and strings; # quotes the whole argument; expansions are
// expanded again, may write whole classes, keep the parentheses of a define without parameters, call
// a define passed by name; the built-in words give the line and the file.
TEST_F(ConfigMacros, ExpansionsGiveTheseTrees) {
    const std::pair<std::string, std::string> cases[] = {
        {"#define FIRST(a,b) a\n#define SECOND(a,b) b\n"
         "x = FIRST((1,2),3);\ny = SECOND(\"p,q\", \"r,s\");\nz = SECOND(f(1,(2,3)), g(4,5));",
         "x=\"(1,2)\" y=\"r,s\" z=\"g(4,5)\""},
        {"#define QUOTE(x) #x\na = QUOTE(two words);\nb = QUOTE();\nc = QUOTE(  padded  );",
         "a=\"two words\" b=\"\" c=\"padded\""},
        {"#define ONE 1\n#define LIST(a) {a, ONE}\n#define CAT(a,b) a##b\n#define FOOBAR 42\n"
         "v[] = LIST(ONE);\nw = CAT(FOO,BAR);\nx = CAT(ON,E);",
         "v[]={1,1} w=42 x=1"},
        {"#define ITEM(n, base, m) class n: base { mass = m; name = #n; };\nclass Base {};\n"
         "ITEM(Box, Base, 10)\nITEM(Crate, Box, 2.5);",
         "class Base {}; class Box: Base {mass=10 name=\"Box\"}; class Crate: Box {mass=2.5f name=\"Crate\"};"},
        {"#define SUM (1+2)\n#define EMPTY\ns = SUM EMPTY;\n#define NOARGS() 7\nn = NOARGS();",
         "s=\"(1+2)\" n=7"},
        {"#define TWICE(x) x x\n#define APPLY(f,v) f(v)\nv = APPLY(TWICE, go);",
         "v=\"go go\""},
        {"#define QUOTE(x) #x\na = __LINE__;\n\nb = QUOTE(__FILE__);\n#define L __LINE__\nc = L;",
         "a=2 b=\"test.cpp\" c=6"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(tree(text), expected) << text;
}

TEST_F(ConfigMacros, ArgumentListsSpanLinesWhileADefineEndsWithItsLine) {
    EXPECT_EQ(tree("#define PAIR(a, \\\n  b) a = b\nPAIR(\n  x,\n  5\n);"), "x=5");
    // Parentheses left open in a define's body are its text; in its name they want their ")" there.
    EXPECT_EQ(tree("#define OPEN (a\nclass A { v = OPEN; };"), "class A {v=\"(a\"};");
    EXPECT_EQ(error("#define X(a a\nclass A {};\nb = 1);\n"), "In File test.cpp: Line 1 Expected (...) during define expansion");
}

TEST_F(ConfigMacros, SameBodyTwiceIsAcceptedAndADifferentBodyRefused) {
    EXPECT_EQ(tree("#define A(x) x + 1\n#define A(y) y + 1\nv = A(2);"), "v=\"2 + 1\"");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(error("#define A 1\n#define A 2\n"), "In File test.cpp: Line 2 Duplicated define");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "\nA\n");
}

TEST_F(ConfigMacros, MalformedDefinesAreRefused) {
    EXPECT_EQ(error("#define A a # b\n"), "In File test.cpp: Line 1 Cannot Handle single# in defines");
    EXPECT_EQ(error("#define Q(x) # x\n"), "In File test.cpp: Line 1 Cannot Handle single# in defines");
    EXPECT_EQ(tree("#define J(x) pre##x\n#define C \"#ff\"\nv = J(1);\nc = C;"), "v=\"pre1\" c=\"#ff\"");
    EXPECT_EQ(error("#define SELF SELF\n"), "In File test.cpp: Line 1 #Define bad label");
    EXPECT_EQ(error("#define B a)\n"), "In File test.cpp: Line 1 #Define bad label");
}

TEST_F(ConfigMacros, CallsWithoutTheirArgumentsAreRefused) {
    EXPECT_EQ(error("#define F(a,b) a\nx = F;\n"), "In File test.cpp: Line 2 Expected (...) during define expansion");
    EXPECT_EQ(error("#define F(a,b) a b\nx = F(1);\n"), "In File test.cpp: Line 2 Not enough parms in define expansion");
    EXPECT_EQ(error("#define F(a) a\nx = F(1\n"), "In File test.cpp: Line 2 Expected (...) during define expansion");
}

TEST_F(ConfigMacros, SelfReferenceEndsWithACode) {
    EXPECT_EQ(error("#define A B + 1\n#define B A\nx = A;\n"), "In File test.cpp: Line 3 #Define bad label");
    EXPECT_EQ(callbackLines().back(), "A expands into itself\r\n");
    EXPECT_EQ(error("#define F(x) F(x)\nx = F(1);\n"), "In File test.cpp: Line 2 #Define bad label");
}

TEST_F(ConfigMacros, RunawayExpansionsEndWithACode) {
    std::string deep;
    for (int i = 0; i < 300; ++i) deep += "#define D" + std::to_string(i) + " D" + std::to_string(i + 1) + "\n";
    EXPECT_EQ(error(deep + "x = D0;"), "In File test.cpp: Line 301 #Define bad label");
    EXPECT_EQ(callbackLines().back(), "defines nested deeper than 256 levels\r\n");

    std::string doubling = "#define E0 x\n";
    for (int i = 1; i <= 40; ++i)
        doubling += "#define E" + std::to_string(i) + " E" + std::to_string(i - 1) + " E" + std::to_string(i - 1) + "\n";
    EXPECT_EQ(error(doubling + "v = E40;"), "In File test.cpp: Line 42 #Define bad label");
}

TEST_F(ConfigEval, EvaluatesStrictlyLeftToRight) {
    EXPECT_EQ(tree("a = __EVAL(1+2*3);\nb = __EVAL(2*(3+1));\nc = __EVAL(10/4);\nd = __EVAL(10/4.0);\n"
                   "e = __EVAL(-5);\nf = __EVAL(1.5*2);\ng = __EVAL(\"ab\" + \"cd\" + 3);\n#define N 6\nh = __EVAL(N*N);"),
              "a=9 b=8 c=2 d=2.5f e=-5 f=3.0f g=\"abcd3\" h=36");
    EXPECT_TRUE(compiler.HasEvals());
    EXPECT_EQ(compiler.ModeWord() & Rapify::HasEvalsBit, Rapify::HasEvalsBit);
}

TEST_F(ConfigEval, ExecIsConsumedWithItsSemicolon) {
    EXPECT_EQ(tree("__EXEC(speed = 5);\nclass A { x = 1; };"), "class A {x=1};");
    EXPECT_TRUE(compiler.HasEvals());
}

TEST_F(ConfigEval, ValuesThatCannotCombineAreRefused) {
    EXPECT_EQ(error("a = __EVAL(1 + \"x\");"), "In File test.cpp: Line 1 Rap: eval has unprocessable sqX");
    EXPECT_EQ(error("a = __EVAL(\"x\" * 2);"), "In File test.cpp: Line 1 Rap: eval has unprocessable sqX");
    EXPECT_EQ(error("a = __EVAL(7/0);"), "In File test.cpp: Line 1 Rap: eval has unprocessable sqX");
    EXPECT_EQ(error("a = __EVAL(\"x\" - \"y\");"), "In File test.cpp: Line 1 bad eval/exec");
    EXPECT_EQ(error("a = __EVAL(\"x\"y);"), "In File test.cpp: Line 1 bad eval/exec");
    EXPECT_EQ(error("a = __EVAL 1;"), "In File test.cpp: Line 1 bad eval/exec");
    EXPECT_EQ(error("a = __EVAL((1+2);"), "In File test.cpp: Line 1 bad eval/exec");
    EXPECT_EQ(tree("a = __EVAL(1.2.3 + 1);"), "a=\"1.2.31\"");
}

}  // namespace
}  // namespace archivefile::testing

// The grammar of config text, the typing of values, and the parser's refusals.
#include <string>

#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigParser = ConfigTest;

TEST_F(ConfigParser, ClassesExternsAndDeletes) {
    EXPECT_EQ(tree("class Base;\nclass A: Base { x = 1; };\nclass B: A {};\ndelete Old;\n"
                   "class Outer {\n  class Inner: B { class Deep {}; };\n};"),
              "class Base; class A: Base {x=1}; class B: A {}; delete Old; "
              "class Outer {class Inner: B {class Deep {};};};");
    EXPECT_EQ(compiler.statistics().classes, 5);
    EXPECT_EQ(compiler.statistics().externClasses, 2);
    EXPECT_EQ(compiler.statistics().values, 1);
}

TEST_F(ConfigParser, BracesOnTheirOwnLinesAndStatementsEndedByTheLine) {
    EXPECT_EQ(tree("class Base2 {};\nclass A\n:\n  Base2\n{\n  x = 1\n  y = two words\n}\n;;\nz = 3"),
              "class Base2 {}; class A: Base2 {x=1 y=\"two words\"}; z=3");
}

TEST_F(ConfigParser, ArraysNestToAnyDepth) {
    EXPECT_EQ(tree("a[] = {};\nb[] = {1, \"two\", 3.5, {4, {5, six}}, {}};\nc[] =\n{\n  1,\n  2,\n};"),
              "a[]={} b[]={1,\"two\",3.5f,{4,{5,\"six\"}},{}} c[]={1,2}");
}

TEST_F(ConfigParser, UnquotedValuesAreTypedByTheirWholeText) {
    EXPECT_EQ(tree("a = 12; b = -7; c = +3; d = 0x1F; e = 0xFFFFFFFF; f = 2147483647; g = 2147483648;\n"
                   "h = 1.5; i = -.5; j = 1e3; k = 1.5e-3; l = 0x100000000; m = 12abc; n = inf; o = nan;\n"
                   "p = 1.2.3; q = two words here; r = -; s = ;"),
              "a=12 b=-7 c=3 d=31 e=-1 f=2147483647 g=2147483648f h=1.5f i=-.5f j=1e3f k=1.5e-3f "
              "l=\"0x100000000\" m=\"12abc\" n=\"inf\" o=\"nan\" p=\"1.2.3\" q=\"two words here\" r=\"-\" s=\"\"");
}

TEST_F(ConfigParser, QuotedValuesAreStringsWithDoubledQuotesReadAsOne) {
    EXPECT_EQ(tree("a = \"12\"; b = \"say \"\"hi\"\"\"; c = \"\"; d[] = {\"x;y\", \"}\"};"),
              "a=\"12\" b=\"say \"hi\"\" c=\"\" d[]={\"x;y\",\"}\"}");
}

TEST_F(ConfigParser, EnumItemsCountOnFromTheOneBefore) {
    EXPECT_EQ(tree("enum { First, Second = 5, Third, Fourth = 0x10 };\nclass A {};"), "class A {};");
    const auto& items = compiler.enumTable();
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[0].name, "First");
    EXPECT_EQ(items[0].value, 0);
    EXPECT_EQ(items[1].value, 5);
    EXPECT_EQ(items[2].value, 6);
    EXPECT_EQ(items[3].value, 16);
}

TEST_F(ConfigParser, StatementsThatDoNotParseAreRefused) {
    EXPECT_EQ(error("a = 1;\n= 2;"), "In File test.cpp: Line 2 Expected class, define, or varname");
    EXPECT_EQ(error("a = 1;\n};"), "In File test.cpp: Line 2 Expected class, define, or varname");
    EXPECT_EQ(error("class {};"), "In File test.cpp: Line 1 Expected class name");
    EXPECT_EQ(error("class A: {};"), "In File test.cpp: Line 1 Expected class name");
    EXPECT_EQ(error("class A x {};"), "In File test.cpp: Line 1 Expected Inherit or {");
    EXPECT_EQ(error("class B {};\nclass A: B;"), "In File test.cpp: Line 2 Expected Inherit or {");
    EXPECT_EQ(error("a = \"x\" y;"), "In File test.cpp: Line 1 Expected Semicolon (or eol)");
    EXPECT_EQ(error("class A {} b = 1;"), "In File test.cpp: Line 1 Expected Semicolon (or eol)");
    EXPECT_EQ(error("a[ = {};"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("a[] += {1};"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("a[] = 1;"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("a[] = {\"1\" 2};"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("a[] = {1,,2};"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("a b;"), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(error("enum { A = x };"), "In File test.cpp: Line 1 Expected class, define, or varname");
}

TEST_F(ConfigParser, NamesDeclaredTwiceInOneBodyAreRefused) {
    EXPECT_EQ(error("class A {\n  x = 1;\n  X = 2;\n};"), "In File test.cpp: Line 3 Rap: duplicated token or class");
    EXPECT_EQ(callbackLines().back(), "X is declared twice in A\r\n");
    EXPECT_EQ(error("class A {};\nclass a {};"), "In File test.cpp: Line 2 Rap: duplicated token or class");
    EXPECT_EQ(error("v = 1;\nclass v;"), "In File test.cpp: Line 2 Rap: duplicated token or class");
    EXPECT_EQ(tree("class A;\nclass A {};\nclass A;\nclass B { x = 1; };\nclass C { x = 2; };"),
              "class A; class A {}; class A; class B {x=1}; class C {x=2};");
    std::string many;
    for (int i = 0; i < 40; ++i) many += "v" + std::to_string(i) + " = " + std::to_string(i) + ";\n";
    EXPECT_EQ(error(many + "V17 = 0;\n"), "In File test.cpp: Line 41 Rap: duplicated token or class");
}

TEST_F(ConfigParser, BaseClassMustBeDeclaredBefore) {
    EXPECT_EQ(error("class A: Missing {};"), "In File test.cpp: Line 1 rap: missing inheritence class(es)");
    EXPECT_EQ(callbackLines().back(), "class A: its base class Missing is not declared before it\r\n");
    EXPECT_EQ(error("class A: B {};\nclass B {};"), "In File test.cpp: Line 1 rap: missing inheritence class(es)");
    EXPECT_EQ(error("class A: A {};"), "In File test.cpp: Line 1 rap: missing inheritence class(es)");
    EXPECT_EQ(error("class Cfg { class A {}; };\nclass B: A {};"),
              "In File test.cpp: Line 2 rap: missing inheritence class(es)");
}

TEST_F(ConfigParser, BaseClassIsFoundInEnclosingAndInheritedBodies) {
    EXPECT_EQ(tree("class Top {};\nclass Cfg { class A: Top {}; };"), "class Top {}; class Cfg {class A: Top {};};");
    // Turrets comes from Tank, the base of the enclosing class.
    const char* inherited =
        "class Tank { class Turrets { class Main {}; }; };\n"
        "class Heavy: Tank { class Turrets: Turrets { class Main: Main { x = 1; }; }; };";
    EXPECT_EQ(tree(inherited), "class Tank {class Turrets {class Main {};};}; "
                               "class Heavy: Tank {class Turrets: Turrets {class Main: Main {x=1};};};");
    // Behind a class declared extern, any name may be inherited.
    EXPECT_EQ(tree("class Car;\nclass Fast: Car { class Wheels: Wheels {}; };"),
              "class Car; class Fast: Car {class Wheels: Wheels {};};");
}

TEST_F(ConfigParser, TextThatEndsInsideAClassIsTruncated) {
    EXPECT_EQ(error("class A {\n  class B {\n    x = 1;\n  };\n  class C {\n"), "In File test.cpp: Line 5 EOF encountered");
    EXPECT_EQ(callbackLines().back(),
              "Truncated file. Missing one or more};. Error starts near token 'C' : EOF encountered\r\n");
    EXPECT_EQ(error("class A {\n  list[] = {1,\n"), "In File test.cpp: Line 2 EOF encountered");
    EXPECT_EQ(error("a = 1;\nclass"), "In File test.cpp: Line 2 EOF encountered");
}

TEST_F(ConfigParser, TextWithoutEntriesBuildsNothing) {
    EXPECT_EQ(error("// only a comment\n#define A 1\n"), "In File test.cpp: No classes have been built");
    EXPECT_EQ(code, Rapify::RAP_NoClasses);
    EXPECT_EQ(compiler.LineCount(), 0);
}

TEST_F(ConfigParser, DeepNestingEndsWithACode) {
    std::string classes;
    for (int i = 0; i < 300; ++i) classes += "class C" + std::to_string(i) + " {";
    EXPECT_EQ(error(classes), "In File test.cpp: Line 1 Expected class, define, or varname");
    EXPECT_EQ(callbackLines().back(), "classes nested deeper than 256 levels\r\n");
    EXPECT_EQ(error("a[] = " + std::string(100000, '{')), "In File test.cpp: Line 1 Expected ]={");
    EXPECT_EQ(callbackLines().back(), "arrays nested deeper than 256 levels\r\n");
}

}  // namespace
}  // namespace archivefile::testing

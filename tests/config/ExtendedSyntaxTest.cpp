// Configs as mods write them today, read with the extended syntax and refused with their codes
// without it; and the style a text gets where the offset style is the default.
#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigExtendedSyntax = ConfigTest;

constexpr int Extended = Rapify::ExtendedSyntax;

TEST_F(ConfigExtendedSyntax, AHashOfItsOwnIsTheCharacter) {
    const std::string text = "#define ADMIN_SYS(x) x##kick\n#define ADMIN cmd 'ADMIN_SYS(#)'\n"
                             "#define QUOTE(x) #x\n#define COLOUR #ff8000\nclass A { admin = ADMIN; q = QUOTE(a b); "
                             "c = COLOUR; tag = #word; };";
    ASSERT_EQ(compileText(text, Extended), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()),
              "class A {admin=\"cmd '#kick'\" q=\"a b\" c=\"#ff8000\" tag=\"#word\"};");
    EXPECT_EQ(error(text), "In File test.cpp: Line 2 Cannot Handle single# in defines");
}

TEST_F(ConfigExtendedSyntax, ADefineGivenAgainWithAnotherBodyReplacesTheEarlierOne) {
    const std::string text = "#define STYLE 0x0C\n#define STYLE 0x0c\n#define STYLE 0x0c\n#define STYLE(x) x\ns = STYLE(7);";
    ASSERT_EQ(compileText(text, Extended), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "s=7");
    EXPECT_EQ(callbackLines(),
              (std::vector<std::string>{
                  "Warning: test.cpp: 2 STYLE is defined again with another body, which replaces the earlier one\r\n",
                  "Warning: test.cpp: 4 STYLE is defined again with another body, which replaces the earlier one\r\n"}));
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(error(text), "In File test.cpp: Line 2 Duplicated define");
    ::testing::internal::GetCapturedStderr();
}

TEST_F(ConfigExtendedSyntax, PragmaLinesAreSkipped) {
    ASSERT_EQ(compileText("#pragma once\n#PRAGMA linter suppress w3\na = 1;", Extended), 0);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "a=1");
    EXPECT_EQ(error("#pragma once\na = 1;"), "In File test.cpp: Line 1 Unknown #");
}

TEST_F(ConfigExtendedSyntax, ArrayAppendIsAnEntryOfItsOwn) {
    const std::string text = "class Base { items[] = {\"a\"}; };\nclass D: Base { items[] += {\"b\", {1, 2.5}}; extra []  +=  {}; };";
    ASSERT_EQ(compileText(text, Extended), 0) << compiler.ErrorString(code);
    EXPECT_EQ(dumpTree(compiler.GetFirst()),
              "class Base {items[]={\"a\"}}; class D: Base {items[]+={\"b\",{1,2.5f}} extra[]+={}};");
    EXPECT_EQ(compiler.statistics().values, 3);
    EXPECT_EQ(compileText("class D { a[] += {1}; a[] = {2}; };", Extended), Rapify::RAP_Duplicated);
    EXPECT_EQ(error(text), "In File test.cpp: Line 2 Expected ]={");
}

TEST_F(ConfigExtendedSyntax, TheOffsetStyleIsTheDefaultUnlessTheTextChoosesTheInlineStyle) {
    const auto style = [&](const char* text, int options) {
        EXPECT_EQ(compileText(text, options), 0) << compiler.ErrorString(code);
        return compiler.ModeWord() & Rapify::StyleMask;
    };
    EXPECT_EQ(style("a = 1;", Rapify::KernByDefault), Rapify::KernStyle);
    EXPECT_EQ(style("#define _TGR_\na = 1;", Rapify::KernByDefault), Rapify::TgrStyle);
    EXPECT_EQ(style("#define _XBOX_ WithSignature\na = 1;", Rapify::KernByDefault), Rapify::SignedStyle);
    EXPECT_TRUE(callbackLines().empty());
}

}  // namespace
}  // namespace archivefile::testing

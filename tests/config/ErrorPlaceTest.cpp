// Where an error stands in the text, as a caller shows it under the error's message: the line, what
// defines made of it, and the column of the offending token.
#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigErrorPlace = ConfigTest;

std::string placeOf(const Rapify& compiler) {
    const Rapify::ErrorPlace& place = compiler.errorPlace();
    std::string out = place.line;
    if (!place.expansion.empty()) out += " => " + place.expansion;
    return out + (place.column == std::string::npos ? " @-" : " @" + std::to_string(place.column));
}

TEST_F(ConfigErrorPlace, TheTokenIsMarkedInTheLineOrInItsExpansion) {
    error("class A\n{\n\tx = \"one\" two;\n};");
    EXPECT_EQ(placeOf(compiler), "x = \"one\" two; @10");
    error("class A { x = 1; };\nclass A {};");
    EXPECT_EQ(placeOf(compiler), "class A {}; @6");
    error("class A\n{\n};\nclass B: A {};\nclass C:\n  Nowhere {};");
    EXPECT_EQ(placeOf(compiler), "Nowhere {}; @0");
}

TEST_F(ConfigErrorPlace, PreprocessorErrorsMarkTheDirectiveOrTheDefineInUse) {
    error("a = 1;\n#define LIST(x) {x}\nv[] = LIST;");
    EXPECT_EQ(placeOf(compiler), "v[] = LIST; @6");
    error("#define ADMIN cmd ADMIN_SYS(#)\n");
    EXPECT_EQ(placeOf(compiler), "#define ADMIN cmd ADMIN_SYS(#) @28");
    error("#include \"nowhere.hpp\"\n");
    EXPECT_EQ(placeOf(compiler), "#include \"nowhere.hpp\" @10");
    error("a = \"open;\n");
    EXPECT_EQ(placeOf(compiler), "a = \"open; @4");
}

TEST_F(ConfigErrorPlace, ErrorsWithoutALineHaveNoPlace) {
    error("// nothing but a comment\n");
    EXPECT_EQ(placeOf(compiler), " @-");
    error("class A {\n x = 1;\n");
    EXPECT_EQ(placeOf(compiler), " @-");
}

}  // namespace
}  // namespace archivefile::testing

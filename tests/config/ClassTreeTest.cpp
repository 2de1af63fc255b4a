// Queries over the class tree, its builders and checks, the merge of two trees, and error texts.
#include <functional>

#include "archivefile/foundation/TextException.h"
#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

// The text that `call` throws, for the misuses the tree reports that way.
std::string thrownText(const std::function<void()>& call) {
    try {
        call();
    } catch (const TextException& text) {
        return text.what();
    }
    return "nothing thrown";
}

using ConfigQueries = ConfigTest;
using ConfigErrors = ConfigTest;

TEST_F(ConfigQueries, FindEntryMatchesNameAndKind) {
    // The parser refuses a name twice in one body; a built tree may hold it.
    tree("Same = 1;\nclass Other { x[] = {1}; v = 2; class In {}; };");
    compiler.GetFirst()->AppendClass("same");
    RapClass* value = compiler.rap_FindEntry("SAME", -1, nullptr);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->kind(), RapClass::IntKind);
    RapClass* cls = compiler.rap_FindEntry("same", RapClass::ClassKind, nullptr);
    ASSERT_NE(cls, nullptr);
    EXPECT_EQ(cls->kind(), RapClass::ClassKind);
    EXPECT_EQ(compiler.rap_FindEntry("same", RapClass::ClassKind, compiler.rap_FindEntry("other")), cls);
    EXPECT_EQ(compiler.rap_FindEntry("same", RapClass::IntKind, cls), nullptr);
    EXPECT_EQ(compiler.rap_FindEntry("missing"), nullptr);
}

TEST_F(ConfigQueries, EmbeddedFindersLookAtOneKind) {
    tree("class Cfg { v = \"s\"; arr[] = {1}; n = 1.5; second[] = {}; };\nclass Tail {};");
    RapClass* cfg = compiler.rap_FindEmbeddedClass("CFG");
    ASSERT_NE(cfg, nullptr);
    compiler.rap_FindEmbeddedArray("arr", cfg)->rapc_AppendEntry(RapClass::ClassKind)->setName("V");
    EXPECT_EQ(compiler.rap_FindEmbeddedClass("v", cfg)->kind(), RapClass::ClassKind);
    EXPECT_EQ(compiler.rap_FindEmbeddedVar("v", cfg)->kind(), RapClass::StringKind);
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("", cfg)->name(), "v");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar(nullptr, cfg)->name(), "v");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("N", cfg)->text(), "1.5");
    EXPECT_STREQ(compiler.rap_FindEmbeddedArray(nullptr, cfg)->name(), "arr");
    EXPECT_STREQ(compiler.rap_FindEmbeddedArray("second", cfg)->name(), "second");
    EXPECT_EQ(compiler.rap_FindEmbeddedEntry("V", cfg), cfg->firstChild());
    EXPECT_STREQ(Rapify::rap_NextArray(cfg->firstChild())->name(), "arr");
    EXPECT_STREQ(Rapify::rap_NextArray(compiler.rap_FindEmbeddedArray("arr", cfg))->name(), "second");
    EXPECT_STREQ(Rapify::rap_NextClass(cfg)->name(), "Tail");
    EXPECT_EQ(Rapify::rap_NextClass(Rapify::rap_NextClass(cfg)), nullptr);
    EXPECT_EQ(Rapify::rap_NextClass(nullptr), nullptr);
}

TEST_F(ConfigQueries, SimpleArraysAreOneDimensional) {
    tree("flat[] = {1, 2};\nnested[] = {{1}, 2};\nlate[] = {1, {2}};\nvalue = 1;");
    RapClass* flat = compiler.rap_FindEmbeddedArray("flat");
    RapClass* first = Rapify::rap_GetFirstSimpleArrayEntry(flat);
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->text(), "1");
    EXPECT_STREQ(Rapify::rap_GetNextSimpleArrayEntry(first)->text(), "2");
    EXPECT_EQ(Rapify::rap_GetNextSimpleArrayEntry(Rapify::rap_GetNextSimpleArrayEntry(first)), nullptr);
    EXPECT_EQ(Rapify::rap_GetFirstSimpleArrayEntry(nullptr), nullptr);

    EXPECT_EQ(thrownText([&] { Rapify::rap_GetFirstSimpleArrayEntry(compiler.rap_FindEmbeddedArray("nested")); }),
              "array is not one dimensional");
    RapClass* late = Rapify::rap_GetFirstSimpleArrayEntry(compiler.rap_FindEmbeddedArray("late"));
    EXPECT_EQ(thrownText([&] { Rapify::rap_GetNextSimpleArrayEntry(late); }), "array is not one dimensional");
    EXPECT_EQ(thrownText([&] { Rapify::rap_GetFirstSimpleArrayEntry(compiler.rap_FindEmbeddedVar("value")); }),
              "internal error: type is not an array");
}

TEST_F(ConfigQueries, BrokenPrimaryIsAnInternalFault) {
    const auto message = [&] { return thrownText([&] { compiler.rap_FindEmbeddedClass("x"); }); };
    RapClass* primary = compiler.GetFirst();
    primary->setText("Base");
    EXPECT_EQ(message(), "internal rapbuild error: primary cannot have inheritance");
    primary->setText("");
    primary->setKind(RapClass::ArrayKind);
    EXPECT_EQ(message(), "Internal rapbuild error; primary is not a class type");
    primary->setKind(RapClass::ClassKind);
    primary->rapc_AppendEntry(RapClass::ClassKind);
    EXPECT_EQ(message(), "internal rapbuild error: primary class has kids");
}

TEST_F(ConfigQueries, BuildersAddNodesInOrder) {
    RapClass* primary = compiler.GetFirst();
    RapClass* base = primary->AppendClass("Base");
    RapClass* derived = primary->AppendClass("Derived", "Base");
    RapClass* value = derived->rapc_AddEmbeddedEntry(RapClass::IntKind);
    value->setName("count");
    value->setText("3");
    RapClass* sibling = value->rapc_AppendEntry(RapClass::StringKind);
    sibling->setName("label");
    sibling->setText("x");
    EXPECT_EQ(sibling->parent(), value);
    RapClass* array = compiler.AddEmbeddedEntry(derived, RapClass::ArrayKind);
    array->setName("list");
    EXPECT_EQ(array->parent(), derived);
    EXPECT_EQ(base->parent(), primary);
    EXPECT_EQ(dumpTree(primary), "class Base {}; class Derived: Base {count=3 label=\"x\" list[]={}};");
}

TEST_F(ConfigQueries, EveryCompiledTextKeepsItsTreeUntilClose) {
    folder.write("one.cpp", "a = 1;\n");
    folder.write("two.cpp", "b = 2;\n");
    ASSERT_EQ(compileFile(folder / "one.cpp"), 0);
    ASSERT_EQ(compileFile(folder / "two.cpp"), 0);
    EXPECT_STREQ(compiler.rap_GetFilename(), (folder / "two.cpp").c_str());
    EXPECT_EQ(dumpTree(compiler.rap_FindFilename((folder / "ONE.cpp").c_str())), "a=1");
    EXPECT_EQ(compiler.rap_FindFilename((folder / "two.cpp").c_str()), compiler.GetFirst());
    EXPECT_EQ(compiler.rap_FindFilename("three.cpp"), nullptr);
    compiler.Close();
    EXPECT_EQ(compiler.rap_FindFilename((folder / "one.cpp").c_str()), nullptr);
}

class ConfigMergeTest : public ConfigTest {
protected:
    // Merges `incoming` into the tree of `existing`; the result and what went to standard error.
    int merge(std::string_view existing, std::string_view incoming, int options = 0) {
        EXPECT_EQ(other.Text2RapClass(incoming, options, recordLine), 0);
        EXPECT_EQ(compileText(existing, options), 0);
        ::testing::internal::CaptureStderr();
        const int result = compiler.Merge(other.GetFirst());
        messages = ::testing::internal::GetCapturedStderr();
        other.Close();
        return result;
    }

    Rapify other{nullptr};
    std::string messages;
};

TEST_F(ConfigMergeTest, EntriesMergeByNameAndNewOnesAreCopied) {
    EXPECT_EQ(merge("class A { x = 1; list[] = {1, 2}; class Inner { y = \"old\"; }; };\nclass Ext;",
                    "class a { X = 2.5; list[] = {{3}}; class inner { z = 4; }; };\nclass Ext { w = 1; };\n"
                    "class New: Ext { deep[] = {1, {2}}; class Sub {}; };\nclass A;"),
              0);
    EXPECT_EQ(messages, "");
    EXPECT_EQ(dumpTree(compiler.GetFirst()),
              "class A {x=2.5f list[]={{3}} class Inner {y=\"old\" z=4};}; class Ext {w=1}; "
              "class New: Ext {deep[]={1,{2}} class Sub {};};");
}

TEST_F(ConfigMergeTest, ConflictsStopTheMergeWithAMessage) {
    EXPECT_EQ(merge("class X {};\nclass Y {};\nclass A: X {};", "class Y {};\nclass A: Y {};"), -1);
    EXPECT_EQ(messages, "Inheritence mismatch A:Y, is :X\n");
    EXPECT_EQ(merge("class A {};", "A = 1;"), -1);
    EXPECT_EQ(messages, "type mismatch A\n");
    EXPECT_EQ(merge("a[] = {};", "a = 1;"), -1);
    EXPECT_EQ(messages, "type mismatch a\n");
    EXPECT_EQ(merge("A = 1;", "class A {};"), -1);
    EXPECT_EQ(messages, "Mismatched type A\n");
    EXPECT_EQ(merge("A = 1;", "class A;"), -1);
    EXPECT_EQ(messages, "extern A has no body in config.bin\n");
    EXPECT_EQ(merge("A = 1;", "delete A;"), -1);
    EXPECT_EQ(messages, "");
}

TEST_F(ConfigMergeTest, AnArrayAppendMeetsOnlyAnAppendOfItsName) {
    EXPECT_EQ(merge("class A { a[] += {1}; };", "class A { a[] += {2, 3}; b[] += {4}; };", Rapify::ExtendedSyntax), 0);
    EXPECT_EQ(dumpTree(compiler.GetFirst()), "class A {a[]+={2,3} b[]+={4}};");
    EXPECT_EQ(merge("a[] = {1};", "a[] += {2};", Rapify::ExtendedSyntax), -1);
    EXPECT_EQ(messages, "type mismatch a\n");
    EXPECT_EQ(merge("a[] += {1};", "a[] = {2};", Rapify::ExtendedSyntax), -1);
    EXPECT_EQ(messages, "type mismatch a\n");
}

TEST_F(ConfigMergeTest, NamelessEntryIsABadName) {
    ASSERT_EQ(other.Text2RapClass("a = 1;", 0, recordLine), 0);
    other.GetFirst()->firstChild()->setName("");
    ASSERT_EQ(compileText("b = 1;"), 0);
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(compiler.Merge(other.GetFirst()), -1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "bad name\n");
}

TEST_F(ConfigMergeTest, LargeBodiesMergeByName) {
    std::string existing = "class Big {\n", incoming = "class Big {\n";
    for (int i = 0; i < 100; ++i) existing += "  v" + std::to_string(i) + " = " + std::to_string(i) + ";\n";
    for (int i = 50; i < 150; ++i) incoming += "  V" + std::to_string(i) + " = \"n\";\n";
    EXPECT_EQ(merge(existing + "};", incoming + "};"), 0);
    RapClass* big = compiler.rap_FindEmbeddedClass("Big");
    int count = 0;
    for (RapClass* node = big->firstChild(); node; node = node->next()) ++count;
    EXPECT_EQ(count, 150);
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("v49", big)->text(), "49");
    EXPECT_EQ(compiler.rap_FindEmbeddedVar("v50", big)->kind(), RapClass::StringKind);
}

TEST_F(ConfigErrors, ErrorStringPlacesFileAndLineBeforeTheMessage) {
    error("a = 1;\nb = \"x\" y;");
    EXPECT_STREQ(compiler.ErrorString(0), "No Error(s)");
    EXPECT_STREQ(compiler.ErrorString(39), "rapWarning: **********missing file(s)***************");
    EXPECT_STREQ(compiler.ErrorString(5), "In File test.cpp: Line 2 Internally generated code bug detection");
    EXPECT_STREQ(compiler.ErrorString(99), "In File test.cpp: Line 2 Rubbish Character(s) at eol or eof");
    EXPECT_STREQ(compiler.ErrorString(-3), "In File test.cpp: Line 2 Rubbish Character(s) at eol or eof");
    EXPECT_STREQ(compiler.ErrorString(40), "In File test.cpp: Line 2 rap: cannot change drive:");
}

}  // namespace
}  // namespace archivefile::testing

// A config tree built the way mods are built (a macro library, hundreds of lines of define calls
// over files several folders deep, conditionals, the extended syntax) compiles, and what it builds
// can be read back.
#include <algorithm>

#include "bench/ConfigTreeGenerator.h"
#include "tests/config/ConfigTestSupport.h"

namespace archivefile::testing {
namespace {

using ConfigGeneratedTree = ConfigTest;

TEST_F(ConfigGeneratedTree, CompilesWithEveryMachineInPlace) {
    const bench::ConfigTree generated = bench::writeConfigTree(folder.path(), 200 * 1024);
    compiler.SetIncludeRoot(generated.includeRoot.c_str());
    ASSERT_EQ(compileFile(generated.config.string(), Rapify::ExtendedSyntax), 0) << compiler.ErrorString(code);

    const Rapify::Statistics& figures = compiler.statistics();
    EXPECT_EQ(figures.filesRead, generated.files);
    // Each machine is a class with Mounts, Primary, Secondary, Hull and Engine inside; six more
    // classes hold them.
    EXPECT_EQ(figures.classes, 6 * generated.machines + 6);
    EXPECT_GT(figures.expandedBytes, 150 * 1024);
    EXPECT_LT(figures.expandedBytes, 260 * 1024);
    EXPECT_TRUE(compiler.HasEvals());

    RapClass* machines = compiler.rap_FindEmbeddedClass("Machines");
    ASSERT_NE(machines, nullptr);
    RapClass* first = compiler.rap_FindEmbeddedClass("demo_m0", machines);
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->text(), "Machine_Base");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("label", first)->text(), "Machine m0");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("action", first)->text(), "cmd '#kick'");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("ready", first)->text(), "alive m0 && fuel > 0");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("shape", first)->text(), "\\demo\\shapes\\m0_body.shape");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("topSpeed", first)->text(), "80");
    const int weight = std::atoi(compiler.rap_FindEmbeddedVar("weight", first)->text());
    EXPECT_EQ(std::atoi(compiler.rap_FindEmbeddedVar("fuel", first)->text()), weight * 4);
    RapClass* mounts = compiler.rap_FindEmbeddedClass("mounts", first);
    ASSERT_NE(mounts, nullptr);
    EXPECT_STREQ(mounts->text(), "Mounts");
    const RapClass* magazines = compiler.rap_FindEmbeddedEntry("magazines", mounts);
    ASSERT_NE(magazines, nullptr);
    EXPECT_EQ(magazines->kind(), RapClass::ArrayAppendKind);
    EXPECT_STREQ(magazines->firstChild()->text(), "demo_m0_shells");
    EXPECT_STREQ(compiler.rap_FindEmbeddedVar("magazine", compiler.rap_FindEmbeddedClass("Primary", mounts))->text(),
                 "demo_m0_shells");

    RapClass* second = compiler.rap_FindEmbeddedClass("demo_m1", machines);
    ASSERT_NE(second, nullptr);
    EXPECT_STREQ(second->text(), "demo_m0");
    RapClass* colour = Rapify::rap_GetFirstSimpleArrayEntry(compiler.rap_FindEmbeddedArray("colours", second));
    ASSERT_NE(colour, nullptr);
    EXPECT_STREQ(colour->text(), "demo_m1_red");
    EXPECT_STREQ(Rapify::rap_GetNextSimpleArrayEntry(colour)->text(), "demo_m1_blue");

    // Every group's files give the group's define again.
    EXPECT_NE(std::find_if(callbackLines().begin(), callbackLines().end(),
                           [](const std::string& line) {
                               return line.find("GROUP_TAG is defined again with another body") != std::string::npos;
                           }),
              callbackLines().end());
    EXPECT_EQ(compileFile(generated.config.string()), Rapify::RAP_UnknownDirective);
}

TEST_F(ConfigGeneratedTree, SameSizeAndSeedWriteTheSameTree) {
    const bench::ConfigTree one = bench::writeConfigTree(folder.path() / "one", 64 * 1024, 9);
    const bench::ConfigTree two = bench::writeConfigTree(folder.path() / "two", 64 * 1024, 9);
    EXPECT_EQ(one.files, two.files);
    EXPECT_EQ(TempFolder::read((one.includeRoot / "demo/machines/group_000/units_000.hpp").string()),
              TempFolder::read((two.includeRoot / "demo/machines/group_000/units_000.hpp").string()));
}

}  // namespace
}  // namespace archivefile::testing

// A config tree built the way mods are built (a macro library, hundreds of lines of define calls
// over files several folders deep, conditionals, the extended syntax) compiles, and what it builds
// can be read back.
#include <cstdlib>

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

    // What the macro library's defines make of a call in a unit file: an evaluation, the base the
    // call names, and an array append in a class the machine inherits.
    RapClass* machines = compiler.rap_FindEmbeddedClass("Machines");
    ASSERT_NE(machines, nullptr);
    RapClass* first = compiler.rap_FindEmbeddedClass("demo_m0", machines);
    ASSERT_NE(first, nullptr);
    const int weight = std::atoi(compiler.rap_FindEmbeddedVar("weight", first)->text());
    EXPECT_EQ(std::atoi(compiler.rap_FindEmbeddedVar("fuel", first)->text()), weight * 4);
    EXPECT_STREQ(compiler.rap_FindEmbeddedClass("demo_m1", machines)->text(), "demo_m0");
    const RapClass* magazines = compiler.rap_FindEmbeddedEntry("magazines", compiler.rap_FindEmbeddedClass("mounts", first));
    ASSERT_NE(magazines, nullptr);
    EXPECT_EQ(magazines->kind(), RapClass::ArrayAppendKind);
    EXPECT_STREQ(magazines->firstChild()->text(), "demo_m0_shells");
    EXPECT_EQ(compileFile(generated.config.string()), Rapify::RAP_UnknownDirective);
}

}  // namespace
}  // namespace archivefile::testing

// The bytes the raP writer lays down, what it refuses, and raP read back into a tree.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Sha1.h"
#include "tests/support/TempFolder.h"

namespace archivefile::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string lines;
bool record(const char* text, ...) {
    lines += text;
    return true;
}

std::int32_t longAt(const Bytes& bytes, std::size_t at) {
    return static_cast<std::int32_t>(bytes[at] | bytes[at + 1] << 8 | bytes[at + 2] << 16 |
                                     static_cast<std::uint32_t>(bytes[at + 3]) << 24);
}

void putLong(Bytes& bytes, std::size_t at, std::int32_t value) {
    for (int i = 0; i < 4; ++i) bytes[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (8 * i));
}

// One class body of an offset-style file, as found by reading the file from front to back.
struct BodySeen {
    std::size_t start;
    std::string inherited;
    std::vector<std::int32_t> classOffsets;
};

// Reads the bodies one after another from the header on, checking that each one's trailing long is
// where it ends; stops at the enum table. Only classes, ints and strings are expected.
std::vector<BodySeen> bodiesInFileOrder(const Bytes& bytes, std::size_t header) {
    std::vector<BodySeen> bodies;
    std::size_t at = header;
    const auto text = [&] {
        std::string out(reinterpret_cast<const char*>(&bytes[at]));
        at += out.size() + 1;
        return out;
    };
    while (at < static_cast<std::size_t>(longAt(bytes, header - 4))) {
        BodySeen body{at, text(), {}};
        for (int count = bytes[at++]; count > 0; --count) {
            const int type = bytes[at++];
            const int subtype = type == 1 ? bytes[at++] : -1;
            text();
            if (type == 0) body.classOffsets.push_back(longAt(bytes, at));
            if (type == 0 || subtype == 2) at += 4;
            if (subtype == 0) text();
        }
        EXPECT_EQ(longAt(bytes, at), static_cast<std::int32_t>(at + 4)) << "body at " << body.start;
        at += 4;
        bodies.push_back(body);
    }
    return bodies;
}

class RapWriter : public ::testing::Test {
protected:
    void SetUp() override { lines.clear(); }

    Bytes raP(std::string_view text, bool force = false, int options = 0) {
        Bytes bytes;
        EXPECT_EQ(compiler.Text2RapClass(text, options, record, "w.cpp"), 0) << lines;
        code = compiler.OutputRap(bytes, force);
        return bytes;
    }

    Rapify compiler{nullptr};
    int code = 0;
    TempFolder folder;
};

TEST_F(RapWriter, BodiesLieParentFirstAndEachEndsWhereTheNextBegins) {
    const Bytes bytes = raP(
        "#define _KERN_\n"
        "class A { class A1 {}; x = 1; class A2 { class A21 { s = \"t\"; }; }; };\n"
        "class B: A {};\n"
        "enum { one = 1, OrdinalEnum = 7 };\n");
    ASSERT_EQ(code, 0);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12), (Bytes{0, 'r', 'a', 'P', 0, 0, 0, 0, 8, 0, 0, 0}));

    const std::vector<BodySeen> bodies = bodiesInFileOrder(bytes, 16);
    ASSERT_EQ(bodies.size(), 6u);  // the root, A, A1, A2, A21, B
    const BodySeen& root = bodies[0];
    const BodySeen& a = bodies[1];
    const BodySeen& a2 = bodies[3];
    ASSERT_EQ(root.classOffsets.size(), 2u);
    ASSERT_EQ(a.classOffsets.size(), 2u);
    ASSERT_EQ(a2.classOffsets.size(), 1u);
    const std::vector<std::int32_t> preOrder = {root.classOffsets[0], a.classOffsets[0], a.classOffsets[1],
                                                a2.classOffsets[0], root.classOffsets[1]};
    for (std::size_t n = 0; n < preOrder.size(); ++n)
        EXPECT_EQ(preOrder[n], static_cast<std::int32_t>(bodies[n + 1].start)) << n;
    EXPECT_EQ(bodies[5].inherited, "A");

    // The enum table closes the file, the ordinal item without its name.
    const std::size_t table = static_cast<std::size_t>(longAt(bytes, 12));
    EXPECT_EQ(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(table), bytes.end()),
              (Bytes{2, 0, 0, 0, 'o', 'n', 'e', 0, 1, 0, 0, 0, 0, 7, 0, 0, 0}));
}

TEST_F(RapWriter, CountsTakeAsManyBytesAsTheyNeed) {
    const std::pair<int, Bytes> cases[] = {{127, {0x7F}}, {128, {0x80, 0x01}}, {16384, {0x80, 0x80, 0x01}}};
    for (const auto& [entries, expected] : cases) {
        std::string text = "#define _KERN_\n";
        for (int n = 0; n < entries; ++n) text += "v" + std::to_string(n) + " = 1;\n";
        const Bytes bytes = raP(text);
        ASSERT_EQ(code, 0);
        const auto countAt = bytes.begin() + 17;
        EXPECT_EQ(Bytes(countAt, countAt + static_cast<std::ptrdiff_t>(expected.size())), expected) << entries;
        compiler.Close();
    }
}

TEST_F(RapWriter, TgrStyleInlinesEveryClassAndHasNoWordForExternOrDelete) {
    EXPECT_EQ(raP("class B {}; class A: B { x = 2; }; enum { red = 3 };"),
              (Bytes{0, 'r', 'a', 'P', 4, 0, 0,                         // the header
                     0, 0, 0, 2,                                        // the root: no name, no base, two entries
                     0, 'B', 0, 0, 0,                                   // class B {}
                     0, 'A', 0, 'B', 0, 1, 1, 2, 'x', 0, 2, 0, 0, 0,    // class A: B { x = 2; }
                     1, 0, 0, 0, 'r', 'e', 'd', 0, 3, 0, 0, 0}));       // the enum table follows the root
    compiler.Close();

    for (const char* text : {"class A; class B {};", "class B { delete C; };"}) {
        EXPECT_TRUE(raP(text).empty());
        EXPECT_EQ(code, Rapify::RAP_TgrExtern);
        EXPECT_STREQ(compiler.ErrorString(code), "In File w.cpp: Rap Output is TGR, extern class is not supported");
        const Bytes forced = raP(text, true);
        EXPECT_EQ(code, 0);
        EXPECT_EQ(longAt(forced, 4), 0);
        compiler.Close();
    }
}

TEST_F(RapWriter, ArrayAppendIsEntryTypeFiveOfTheOffsetStyles) {
    const Bytes bytes = raP("#define _KERN_\nitems[] += {\"b\", 2};", false, Rapify::ExtendedSyntax);
    ASSERT_EQ(code, 0);
    // After the header, the root's empty base and its count; before the body's end and the enum table.
    EXPECT_EQ(Bytes(bytes.begin() + 18, bytes.end() - 8),
              (Bytes{5, 1, 0, 0, 0, 'i', 't', 'e', 'm', 's', 0, 2, 0, 'b', 0, 2, 2, 0, 0, 0}));
    compiler.Close();

    EXPECT_TRUE(raP("items[] += {1};", false, Rapify::ExtendedSyntax).empty());
    EXPECT_EQ(code, Rapify::RAP_TgrExtern);
    EXPECT_NE(lines.find("items[] += cannot be written in TGR style"), std::string::npos);
}

TEST_F(RapWriter, AnInlineStyleChosenByItsHeaderHasAnEnumTableOnlyFromAnEnumBlock) {
    constexpr int options = Rapify::ExtendedSyntax | Rapify::KernByDefault;
    const Bytes without = raP("#define _TGR_\nclass A {};", false, options);
    EXPECT_EQ(without, (Bytes{0, 'r', 'a', 'P', 4, 0, 0, 0, 0, 0, 1, 0, 'A', 0, 0, 0}));
    compiler.Close();
    const Bytes with = raP("#define _TGR_\nclass A {};\nenum {};", false, options);
    EXPECT_EQ(with.size(), without.size() + 4);
    compiler.Close();
    EXPECT_EQ(raP("class A {};").size(), without.size() + 4);
}

TEST_F(RapWriter, SignatureBlockHoldsTheShaOfEverythingAfterIt) {
    const Bytes bytes = raP("#define _xbox_ WithSignature\nclass A { s = \"x\"; };");
    ASSERT_EQ(code, 0);
    EXPECT_EQ(longAt(bytes, 24), 0);
    EXPECT_EQ(longAt(bytes, 28), 8);
    const Sha1::Digest digest = Sha1::of(std::span(bytes).subspan(24));
    EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.begin() + 24), Bytes(digest.begin(), digest.end()));
}

TEST_F(RapWriter, NumbersKeepTheirBits) {
    const Bytes bytes = raP("a = -0.0; b = 3.40282347e+38; c = -2147483648; d = 0x80000000; e = 1e39; f = -1e-50;");
    ASSERT_EQ(code, 0);
    // After the inline root, each entry takes type, subtype and a one-letter name before its value.
    const std::uint32_t expected[] = {0x80000000u, 0x7F7FFFFFu, 0x80000000u, 0x80000000u, 0x7F800000u, 0x80000000u};
    for (std::size_t n = 0; n < 6; ++n)
        EXPECT_EQ(static_cast<std::uint32_t>(longAt(bytes, 11 + 8 * n + 4)), expected[n]) << n;
}

TEST_F(RapWriter, FileIsReplacedOnlyWhenComplete) {
    const std::string target = folder / "config.bin";
    const Bytes bytes = raP("class A { x = 1; };");
    ASSERT_EQ(compiler.OutputRap(target.c_str(), false), 0);
    EXPECT_EQ(TempFolder::read(target), std::string(bytes.begin(), bytes.end()));

    // A tree that cannot be written leaves the earlier file as it was, and no other file beside it.
    RapClass* bad = compiler.GetFirst()->rapc_AddEmbeddedEntry(RapClass::UntypedValueKind);
    bad->setName("y");
    EXPECT_EQ(compiler.OutputRap(target.c_str(), false), Rapify::RAP_UnknownPacket);
    EXPECT_EQ(TempFolder::read(target), std::string(bytes.begin(), bytes.end()));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);

    EXPECT_EQ(compiler.OutputRap((folder / "missing/config.bin").c_str(), false), Rapify::RAP_CannotWrite);
    EXPECT_STREQ(compiler.ErrorString(Rapify::RAP_CannotWrite),
                 ("In File " + (folder / "missing/config.bin") + ": Cannot write to file").c_str());
}

TEST_F(RapWriter, TreesThatCannotBeWritten) {
    Bytes bytes{1, 2, 3};
    // A failed compile leaves a partial tree, which is never written.
    EXPECT_EQ(compiler.Text2RapClass("class A { x = 1;", 0, record, "w.cpp"), Rapify::RAP_EofEncountered);
    EXPECT_EQ(compiler.OutputRap(bytes, false), Rapify::RAP_EofEncountered);
    EXPECT_TRUE(bytes.empty());
    compiler.Close();

    EXPECT_EQ(compiler.OutputRap(bytes, false), Rapify::RAP_NoClasses);
    RapClass* array = compiler.GetFirst()->rapc_AddEmbeddedEntry(RapClass::ArrayKind);
    array->setName("list");
    array->rapc_AddEmbeddedEntry(RapClass::ClassKind);
    EXPECT_EQ(compiler.OutputRap(bytes, true), Rapify::RAP_UnknownArrayType);
    EXPECT_NE(lines.find("an element of list is of kind 0, which cannot stand in an array"), std::string::npos);
    array->setKind(RapClass::FloatKind);
    array->setText("twelve");
    EXPECT_EQ(compiler.OutputRap(bytes, true), Rapify::RAP_UnknownPacket);
    EXPECT_NE(lines.find("list holds 'twelve', which is not a number"), std::string::npos);
}

// ---- raP read back into a tree ------------------------------------------------------------------

using RapBinaryRead = RapWriter;

TEST_F(RapBinaryRead, OnlyOffsetStylesAreRead) {
    const Bytes tgr = raP("class A {};");
    const Bytes foreign[] = {tgr, {}, {'c', 'l', 'a', 's', 's'}};
    for (const Bytes& bytes : foreign)
        EXPECT_EQ(compiler.ProcessBinary(bytes.data(), static_cast<int>(bytes.size())), Rapify::RAP_TgrExtern);
    // A header that is neither inline nor signed is read as KerN style, whatever its marks.
    Bytes unmarked = raP("#define _KERN_\nclass A { x = 1; };");
    unmarked[4] = 9;
    unmarked[8] = 7;
    ASSERT_EQ(compiler.ProcessBinary(unmarked.data(), static_cast<int>(unmarked.size())), 0);
    EXPECT_EQ(compiler.ModeWord(), Rapify::KernStyle);
    EXPECT_NE(compiler.rap_FindEmbeddedClass("A"), nullptr);
}

TEST_F(RapBinaryRead, ArrayAppendEntriesAreReadWithTheExtendedSyntax) {
    Bytes bytes = raP("#define _KERN_\nitems[] += {\"b\", 2};", false, Rapify::ExtendedSyntax);
    ASSERT_EQ(code, 0);
    EXPECT_EQ(compiler.ProcessBinary(bytes.data(), static_cast<int>(bytes.size())), GE_InvalidFile);
    EXPECT_NE(lines.find("an entry of unknown type 5 at offset 18"), std::string::npos);
    ASSERT_EQ(compiler.ProcessBinary(bytes.data(), static_cast<int>(bytes.size()), Rapify::ExtendedSyntax), 0);
    const RapClass* items = compiler.GetFirst()->firstChild();
    EXPECT_EQ(items->kind(), RapClass::ArrayAppendKind);
    EXPECT_STREQ(items->name(), "items");
    bytes[19] = 2;
    EXPECT_EQ(compiler.ProcessBinary(bytes.data(), static_cast<int>(bytes.size()), Rapify::ExtendedSyntax),
              GE_InvalidFile);
    EXPECT_NE(lines.find("an array-append entry with flags 2"), std::string::npos);
}

TEST_F(RapBinaryRead, HostileOffsetsEndWithACode) {
    const Bytes good = raP("#define _KERN_\nclass A { class B {}; };");
    ASSERT_EQ(code, 0);
    // The root body: "", count 1, class "A" with its offset at 21.
    const std::int32_t bodyA = longAt(good, 21);
    const std::size_t offsetB = static_cast<std::size_t>(bodyA) + 5;
    const std::pair<std::int32_t, int> cases[] = {
        {bodyA, GE_InvalidFile},                                        // back into A, still being read
        {16, GE_InvalidFile},                                           // back into the root
        {8, GE_InvalidFile},                                            // into the header
        {static_cast<std::int32_t>(good.size()) + 3, GE_PrematureEof},  // past the end
        {-1, GE_PrematureEof},
    };
    for (const auto& [offset, expected] : cases) {
        Bytes bad = good;
        putLong(bad, offsetB, offset);
        EXPECT_EQ(compiler.ProcessBinary(bad.data(), static_cast<int>(bad.size())), expected) << offset;
    }

    // Forty bodies, each with two class entries that both lead to the next one: a trillion visits
    // unless shared bodies are refused.
    Bytes shared = {0, 'r', 'a', 'P', 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0};
    for (int level = 0; level < 40; ++level) {
        const std::size_t start = shared.size();
        const auto next = static_cast<std::int32_t>(start + 20);
        shared.insert(shared.end(), {0, 2, 0, 'a', 0, 0, 0, 0, 0, 0, 'b', 0, 0, 0, 0, 0, 0, 0, 0, 0});
        putLong(shared, start + 5, next);
        putLong(shared, start + 12, next);
        putLong(shared, start + 16, next);
    }
    shared.insert(shared.end(), {0, 0, 0, 0, 0, 0});
    putLong(shared, 12, static_cast<std::int32_t>(shared.size()));
    EXPECT_EQ(compiler.ProcessBinary(shared.data(), static_cast<int>(shared.size())), GE_InvalidFile);
    EXPECT_NE(lines.find("class bodies overlap or are shared"), std::string::npos);
}

TEST_F(RapBinaryRead, TextMergesIntoAnExistingConfigBin) {
    const std::string bin = folder / "config.bin";
    const char* older = "#define _KERN_\nclass B {}; class A: B { x = 1; class E; }; enum { k = 3 };";
    ASSERT_EQ(compiler.Text2RapClass(older, 0, record, "old"), 0);
    ASSERT_EQ(compiler.OutputRap(bin.c_str(), false), 0);
    const char* newer = "class B; class A: B { x = 2; y[] = {1}; class E { z = 0; }; };";
    ASSERT_EQ(compiler.Text2RapClass(newer, 0, record, "new"), 0);
    RapClass* text = compiler.GetFirst();

    ASSERT_EQ(compiler.Rap2Class(bin.c_str(), 0), 0);
    ASSERT_EQ(compiler.Merge(text), 0);
    Bytes merged;
    ASSERT_EQ(compiler.OutputRap(merged, false), 0);
    RapFile decoder(nullptr);
    ASSERT_EQ(decoder.Rap2Text(merged, "merged"), 0);
    EXPECT_EQ(decoder.decodedText(),
              "#define _KERN_\r\n\r\n//Class merged{\r\nclass B{};\r\nclass A: B\r\n{\r\n x = 2;\r\n class E\r\n {\r\n"
              "  z = 0;\r\n };\r\n y[] = {1};\r\n};\r\n//};\r\n\r\n//ndefs=1\r\nenum {\r\n\tk = 3\r\n};\r\n");
}

}  // namespace
}  // namespace archivefile::testing

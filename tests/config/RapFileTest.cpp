#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/foundation/GenericError.h"
#include "tests/support/TempFolder.h"

using namespace archivefile;
using archivefile::testing::TempFolder;
using Bytes = std::vector<std::uint8_t>;

namespace {

// Writes `value` over the four bytes at `at`, little-endian.
void put32(Bytes& bytes, std::size_t at, std::int64_t value) {
    for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i));
}

// raP pieces, little-endian.
struct Raw {
    Bytes bytes;
    Raw& byte(int value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    Raw& count(std::uint32_t n) {
        for (; n > 0x7F; n >>= 7) byte(static_cast<int>(n & 0x7F) | 0x80);
        return byte(static_cast<int>(n));
    }
    Raw& text(std::string_view s) {
        bytes.insert(bytes.end(), s.begin(), s.end());
        return byte(0);
    }
    Raw& i32(std::int32_t value) {
        bytes.resize(bytes.size() + 4);
        put32(bytes, bytes.size() - 4, value);
        return *this;
    }
    Raw& f32(float value) { return i32(std::bit_cast<std::int32_t>(value)); }
    Raw& add(const Raw& other) {
        bytes.insert(bytes.end(), other.bytes.begin(), other.bytes.end());
        return *this;
    }
};

Raw value(std::string_view name, std::int32_t v) { return Raw().byte(1).byte(2).text(name).i32(v); }
Raw value(std::string_view name, float v) { return Raw().byte(1).byte(1).text(name).f32(v); }
Raw value(std::string_view name, const char* v) { return Raw().byte(1).byte(0).text(name).text(v); }
Raw array(std::string_view name, const Raw& elements) { return Raw().byte(2).text(name).add(elements); }

// A class body of the offset styles; class entries get their body offsets when the file is laid out,
// bodies in depth-first order with each parent before its children.
struct Body {
    std::string inherited;
    std::vector<Raw> entries;
    std::vector<bool> isClass;
    std::vector<Body> children;  // the bodies of the class entries, in entry order
    Body& inherits(std::string_view base) {
        inherited = base;
        return *this;
    }
    Body& entry(const Raw& raw) {
        entries.push_back(raw);
        isClass.push_back(false);
        return *this;
    }
    Body& cls(std::string_view name, Body child) {
        entries.push_back(Raw().byte(0).text(name));
        isClass.push_back(true);
        children.push_back(std::move(child));
        return *this;
    }
    // The offsets are written as zeros first and filled in once what they point at is placed.
    void write(Raw& out) const {
        out.text(inherited).count(static_cast<std::uint32_t>(entries.size()));
        std::vector<std::size_t> offsets;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            out.add(entries[i]);
            if (!isClass[i]) continue;
            offsets.push_back(out.bytes.size());
            out.i32(0);
        }
        out.i32(static_cast<std::int32_t>(out.bytes.size()) + 4);  // the body's end, where its first child starts
        for (std::size_t child = 0; child < children.size(); ++child) {
            put32(out.bytes, offsets[child], static_cast<std::int64_t>(out.bytes.size()));
            children[child].write(out);
        }
    }
};

Bytes offsetFile(const Body& root, const Raw& enumTable = Raw().i32(0), bool withSignature = false) {
    Raw out = Raw().byte(0).byte('r').byte('a').byte('P');
    if (withSignature)
        for (int i = 0; i < 20; ++i) out.byte(0xAB);
    out.i32(0).i32(8);
    const std::size_t enumField = out.bytes.size();
    out.i32(0);
    root.write(out);
    put32(out.bytes, enumField, static_cast<std::int64_t>(out.bytes.size()));
    return out.add(enumTable).bytes;
}

Bytes tgrFile(const Raw& root) {
    return Raw().byte(0).byte('r').byte('a').byte('P').byte(4).byte(0).byte(0).add(root).bytes;
}
Raw tgrClass(std::string_view name, std::string_view inherited, std::uint32_t count, const Raw& entries = {}) {
    return Raw().byte(0).text(name).text(inherited).count(count).add(entries);
}

struct Decoded {
    int code;
    std::string text;
};

Decoded decode(const Bytes& bytes, bool tabs = false, int options = 0) {
    RapFile rap(nullptr);
    rap.SetTabChar(tabs);
    const int code = rap.Rap2Text(bytes, "test", options);
    return {code, std::string(rap.decodedText())};
}

std::string lines;
bool collect(const char* text, ...) {
    lines += text;
    return true;
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

}  // namespace

TEST(RapFileDecode, OffsetStyleGivesTheWholeTextLayout) {
    const Body module = Body().entry(array("parts", Raw().count(0))).entry(value("version", 0.1f));
    const Body derived =
        Body().inherits("Base").entry(value("title", "say \"hi\"")).entry(value("count", -3)).entry(value("empty", ""));
    Raw matrix = Raw().count(4).byte(2).i32(1).byte(1).f32(2.5f).byte(0).text("x");  // 1, 2.5, "x",
    matrix.byte(3).count(2).byte(2).i32(3).byte(3).count(0);                         // {3, {}}
    Body root;
    root.cls("Settings", Body().cls("Module", module)).cls("Base", Body()).cls("Derived", derived);
    root.entry(Raw().byte(3).text("Ext")).entry(Raw().byte(4).text("Old")).entry(array("matrix", matrix));
    const Raw enums = Raw().i32(2).text("first").i32(0).text("").i32(7);
    const Decoded out = decode(offsetFile(root, enums));
    ASSERT_EQ(out.code, 0) << out.text;
    EXPECT_EQ(out.text,
              "#define _KERN_\r\n\r\n//Class test{\r\n"
              "class Settings\r\n{\r\n class Module\r\n {\r\n  parts[] = {};\r\n  version = 0.1;\r\n };\r\n};\r\n"
              "class Base{};\r\n"
              "class Derived: Base\r\n{\r\n title = \"say \"\"hi\"\"\";\r\n count = -3;\r\n empty = \"\";\r\n};\r\n"
              "class Ext;\r\ndelete Old;\r\n"
              "matrix[] = {1,2.5,\"x\",\r\n { 3,\r\n  {  } }};\r\n"
              "//};\r\n\r\n//ndefs=2\r\nenum {\r\n\tfirst = 0,\r\n\tOrdinalEnum = 7\r\n};\r\n");
}

TEST(RapFileDecode, InlineStyleCommentsOutOnlyTheRootAndReadsTheEnumTableAfterIt) {
    const Raw entries = value("a", 1)
                            .add(tgrClass("Inner", "Base", 1, array("arr", Raw().count(1).byte(0).text("q"))))
                            .add(tgrClass("Empty", "", 0));
    const Decoded out = decode(tgrFile(tgrClass("", "", 3, entries).i32(1).text("red").i32(3)), true);
    ASSERT_EQ(out.code, 0) << out.text;
    EXPECT_EQ(out.text,
              "#define _TGR_\r\n\r\n//class  {\r\na = 1;\r\nclass Inner: Base {\r\n\tarr[] = {\"q\"};\r\n};\r\n"
              "class Empty {};\r\n//};\r\n\r\n//ndefs=1\r\nenum {\r\n\tred = 3\r\n};\r\n");
}

TEST(RapFileDecode, SignedStyleAndEmptyEnumTable) {
    RapFile rap(nullptr);
    ASSERT_EQ(rap.Rap2Text(offsetFile(Body().inherits("Root").entry(value("x", 5)), Raw().i32(0), true), "cfg"), 0);
    EXPECT_EQ(rap.decodedText(),
              "#define _XBOX_ WithSignature\r\n\r\n//Class cfg{\r\nx = 5;\r\n//};\r\n\r\n//ndefs=0\r\nenum {\r\n};\r\n");
    EXPECT_EQ(rap.style(), RapFile::SignedStyle);
    EXPECT_STREQ(rap.GetInheritedClass(), "Root");
}

TEST(RapFileDecode, CountsOfTwoAndThreeBytes) {
    for (const std::uint32_t entries : {128u, 20000u}) {
        Body root;
        for (std::uint32_t i = 0; i < entries; ++i)
            root.entry(value("v" + std::to_string(i), static_cast<std::int32_t>(i)));
        const Decoded out = decode(offsetFile(root));
        ASSERT_EQ(out.code, 0);
        EXPECT_NE(
            out.text.find("\r\nv" + std::to_string(entries - 1) + " = " + std::to_string(entries - 1) + ";\r\n//};"),
            std::string::npos);
    }
}

TEST(RapFileDecode, ArrayAppendEntriesNeedTheExtendedSyntax) {
    const auto append = [](std::int32_t flags) {
        return Raw().byte(5).i32(flags).text("items").count(2).byte(0).text("b").byte(2).i32(2);
    };
    const Bytes bytes = offsetFile(Body().cls("D", Body().inherits("B").entry(append(1))));
    const Decoded out = decode(bytes, false, RapFile::ExtendedSyntax);
    ASSERT_EQ(out.code, 0) << out.text;
    EXPECT_NE(out.text.find("class D: B\r\n{\r\n items[] += {\"b\",2};\r\n};"), std::string::npos) << out.text;
    EXPECT_EQ(decode(bytes).code, RapFile::UnknownEntryType);
    EXPECT_EQ(decode(offsetFile(Body().entry(append(0))), false, RapFile::ExtendedSyntax).code,
              RapFile::UnknownEntryType);
    EXPECT_EQ(decode(tgrFile(tgrClass("", "", 1, append(1))), false, RapFile::ExtendedSyntax).code,
              RapFile::EnhancedTypeInTgr);
}

TEST(RapFileErrors, HeadersThatAreNotRaP) {
    const Bytes cases[] = {{},
                           {0, 'r', 'a'},
                           {0, 'r', 'a', 'P', 4, 0},
                           {1, 'r', 'a', 'P', 4, 0, 0},
                           {0, 'r', 'a', 'P', 0, 0, 0, 0, 8, 0, 0},
                           Bytes{0, 'r', 'a', 'P', 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}};
    for (const Bytes& bytes : cases) EXPECT_EQ(decode(bytes).code, RapFile::NotRapFile);
    Bytes neither = {0, 'r', 'a', 'P'};
    neither.resize(40, 1);
    const Decoded out = decode(neither);
    EXPECT_EQ(out.code, RapFile::UnknownHeader);
    EXPECT_EQ(out.text, "//Is xbox text meta file\r\n");
}

TEST(RapFileErrors, BadEntriesStopWithTheirCodeAndACommentWhereTheyStand) {
    const std::pair<Raw, int> cases[] = {
        {Raw().byte(5).text("x"), RapFile::UnknownEntryType},
        {Raw().byte(1).byte(4).text("x").i32(0), RapFile::UnknownEntryType},
        {array("a", Raw().count(1).byte(4).i32(0)), RapFile::UnknownArrayType},
        {array("", Raw().count(0)), RapFile::ArrayWithoutName},
        {Raw().byte(1).byte(3).text("x").count(0), RapFile::NamedEmbeddedArray},
        {value("", 1), RapFile::MissingName},
        {Raw().byte(3).text(""), RapFile::MissingName},
    };
    for (const auto& [entry, code] : cases) {
        const Decoded out = decode(offsetFile(Body().entry(value("good", 1)).entry(entry)));
        EXPECT_EQ(out.code, code);
        EXPECT_NE(out.text.find("good = 1;\r\n"), std::string::npos);
        EXPECT_TRUE(endsWith(out.text, "//" + std::string(RapFile(nullptr).ErrorString(code)) + "\r\n")) << out.text;
    }
    // The comment stands where decoding stopped, on the line it left open.
    EXPECT_TRUE(endsWith(decode(offsetFile(Body().entry(cases[2].first))).text, "a[] = {//RapFile: Unknown ArrayType\r\n"));
    EXPECT_EQ(decode(tgrFile(tgrClass("", "", 1, Raw().byte(3).text("E")))).code, RapFile::EnhancedTypeInTgr);
    EXPECT_EQ(decode(tgrFile(tgrClass("", "", 1, Raw().byte(4).text("D")))).code, RapFile::EnhancedTypeInTgr);
}

TEST(RapFileErrors, BytesAfterTheEndAndCountsBeyondIt) {
    EXPECT_EQ(decode(offsetFile(Body(), Raw().i32(1).text("a").i32(1).byte(0))).code, GE_ResidualBytes);
    EXPECT_EQ(decode(tgrFile(tgrClass("", "", 0).byte(0))).code, GE_PrematureEof);
    EXPECT_EQ(decode(tgrFile(tgrClass("", "", 0).i32(0).byte(0))).code, GE_ResidualBytes);
    EXPECT_EQ(decode(offsetFile(Body().entry(array("a", Raw().count(1000))))).code, GE_PrematureEof);
    EXPECT_EQ(decode(offsetFile(Body(), Raw().i32(-1))).code, GE_InvalidFile);
    Bytes cut = offsetFile(Body().entry(value("s", "text")));
    cut.resize(cut.size() - 10);
    EXPECT_EQ(decode(cut).code, GE_PrematureEof);
}

TEST(RapFileErrors, HostileBodyOffsetsEndInACode) {
    const Bytes good = offsetFile(Body().cls("A", Body().cls("B", Body())));
    // The offset fields: the root's entry for A at 21, A's entry for B at 34; A's body starts at 29.
    auto withOffset = [&](std::size_t field, std::int32_t offset) {
        Bytes bytes = good;
        put32(bytes, field, offset);
        return decode(bytes).code;
    };
    ASSERT_EQ(decode(good).code, 0);
    EXPECT_EQ(withOffset(21, static_cast<std::int32_t>(good.size()) + 5), GE_PrematureEof);
    EXPECT_EQ(withOffset(21, -16), GE_PrematureEof);
    EXPECT_EQ(withOffset(21, 4), GE_InvalidFile);   // into the header
    EXPECT_EQ(withOffset(21, 16), GE_InvalidFile);  // the root's own body
    EXPECT_EQ(withOffset(34, 16), GE_InvalidFile);  // back to the root from a grandchild
    EXPECT_EQ(withOffset(34, 29), GE_InvalidFile);  // a class that contains itself
}

TEST(RapFileErrors, SharedBodiesCannotMultiplyTheWork) {
    // Forty bodies, each with two classes that both lead to the next one: followed naively that is
    // 2^40 bodies from a file of a kilobyte.
    Raw out = Raw().byte(0).byte('r').byte('a').byte('P').i32(0).i32(8).i32(0);
    for (std::int32_t level = 0; level < 40; ++level) {
        const auto next = static_cast<std::int32_t>(out.bytes.size()) + 20;
        out.text("").count(2).byte(0).text("a").i32(next).byte(0).text("b").i32(next).i32(next);
    }
    out.text("").count(0).i32(static_cast<std::int32_t>(out.bytes.size()) + 4).i32(0);
    put32(out.bytes, 12, static_cast<std::int64_t>(out.bytes.size()) - 4);
    EXPECT_EQ(decode(out.bytes).code, GE_InvalidFile);
}

TEST(RapFileErrors, NestingIsBoundedInEveryStyle) {
    auto chain = [](int depth) {
        Body body;
        for (int i = 0; i < depth; ++i) {
            Body outer;
            outer.cls("c", std::move(body));
            body = std::move(outer);
        }
        return offsetFile(body);
    };
    EXPECT_EQ(decode(chain(RapFile::maximumNesting - 1)).code, 0);
    EXPECT_EQ(decode(chain(RapFile::maximumNesting)).code, GE_InvalidFile);

    Raw inlineClasses;
    for (int i = 0; i < 100000; ++i) inlineClasses.add(tgrClass("c", "", 1));
    EXPECT_EQ(decode(tgrFile(Raw().add(tgrClass("", "", 1)).add(inlineClasses))).code, GE_InvalidFile);

    Raw arrays = Raw().count(1);
    for (int i = 0; i < 100000; ++i) arrays.byte(3).count(1);
    EXPECT_EQ(decode(offsetFile(Body().entry(array("a", arrays)))).code, GE_InvalidFile);
}

TEST(RapFileFiles, OpenRapDecodesAFileAndWritesTheTextWhole) {
    TempFolder folder;
    const Bytes bytes = offsetFile(Body().entry(value("x", 1.5f)));
    const std::string input = folder.write("config.bin", std::string(bytes.begin(), bytes.end()));
    RapFile rap(nullptr);
    ASSERT_EQ(rap.OpenRap(input.c_str()), 0);
    EXPECT_EQ(rap.decodedText(),
              "#define _KERN_\r\n\r\n//Class " + input + "{\r\nx = 1.5;\r\n//};\r\n\r\n//ndefs=0\r\nenum {\r\n};\r\n");
    ASSERT_EQ(rap.WriteDecodedText((folder / "config.cpp").c_str()), 0);
    EXPECT_EQ(TempFolder::read(folder / "config.cpp"), rap.decodedText());
    EXPECT_EQ(rap.WriteDecodedText((folder / "missing/config.cpp").c_str()), GE_CannotWrite);
    EXPECT_EQ(rap.OpenRap((folder / "absent.bin").c_str()), GE_InvalidFile);
    rap.Close();
    EXPECT_TRUE(rap.decodedText().empty());
}

TEST(RapFileFiles, FailuresReachTheCallbackWithTheirPlace) {
    RapFile rap(nullptr);
    rap.SetCallBack(collect);
    EXPECT_EQ(rap.Rap2Text(offsetFile(Body().entry(Raw().byte(9))), "cfg"), RapFile::UnknownEntryType);
    EXPECT_EQ(lines, "cfg: RapFile: Unknown Entry type at offset 18\r\n");
    EXPECT_STREQ(rap.ErrorString(GE_ResidualBytes), "residual bytes in file");
    EXPECT_STREQ(rap.ErrorString(14), "Rapfile: File is tgr style but has enhanced types embedded");
}

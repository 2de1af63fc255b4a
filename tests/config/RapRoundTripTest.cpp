// The promise of binarised configs: text compiled, decoded and compiled again gives the very same raP,
// for the samples, for a generated mod tree and for random trees, in every style, with the library's
// default options and with those of the extended syntax; and raP read back into a tree writes the very
// same bytes.
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "bench/ConfigTreeGenerator.h"
#include "tests/support/TempFolder.h"

namespace archivefile::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

bool silent(const char*, ...) { return true; }

constexpr int Extended = Rapify::ExtendedSyntax;

Bytes compile(Rapify& compiler, const std::string& text, bool force = false, int options = 0) {
    Bytes raP;
    const int code = compiler.Text2RapClass(text, options, silent, "roundtrip.cpp");
    EXPECT_EQ(code, 0) << compiler.ErrorString(code) << "\n" << text;
    if (code == 0) {
        EXPECT_EQ(compiler.OutputRap(raP, force), 0);
    }
    compiler.Close();
    return raP;
}

std::string decode(const Bytes& raP, int options = 0) {
    RapFile decoder(nullptr);
    EXPECT_EQ(decoder.Rap2Text(raP, "roundtrip", options), 0);
    return std::string(decoder.decodedText());
}

// Compiles `text`, then decodes and compiles the result: both raP files must be the same.
void expectRoundTrip(const std::string& text, bool force = false, int options = 0) {
    Rapify compiler(nullptr);
    const Bytes first = compile(compiler, text, force, options);
    ASSERT_FALSE(first.empty());
    const std::string decoded = decode(first, options);
    const Bytes second = compile(compiler, decoded, false, options);
    EXPECT_EQ(first, second) << "text:\n" << text << "\ndecoded:\n" << decoded;

    // The offset styles read back into a tree give the same bytes again.
    if (first[4] != 4) {
        ASSERT_EQ(compiler.ProcessBinary(first.data(), static_cast<int>(first.size()), options), 0);
        Bytes rewritten;
        ASSERT_EQ(compiler.OutputRap(rewritten, false), 0);
        EXPECT_EQ(first, rewritten);
        compiler.Close();
    }
}

// Random config text: classes nested a few deep with bases, extern, delete and array-append entries,
// values of every kind, arrays nested several deep, and an enum block. Names are unique, so that any of them
// may go anywhere.
class RandomConfig {
public:
    RandomConfig(std::uint32_t seed, bool enhanced) : random_(seed), enhanced_(enhanced) {}

    std::string text(const char* header) {
        std::string out = header;
        body(out, 0);
        if (enhanced_ && chance(2)) enumBlock(out);
        return out;
    }

private:
    bool chance(int inverse) { return random_() % static_cast<unsigned>(inverse) == 0; }
    int below(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

    std::string name() {
        static constexpr char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";
        std::string out(1, letters[below(52)]);
        for (int n = below(8); n > 0; --n) out += letters[below(53)];
        return out + "_" + std::to_string(++names_);
    }

    std::string floatText() {
        static const char* const fixed[] = {"3.40282347e+38", "-3.40282347e+38", "-0.0", "0.0", "1.0", "-1.5",
                                            "1e-30", "7.5e+20", "0.1", "16777217.0"};
        if (chance(3)) return fixed[below(10)];
        // Any finite float whose exponent is above the smallest two, written as the shortest text.
        std::uint32_t bits = random_();
        const std::uint32_t exponent = 2 + random_() % 253;
        bits = (bits & 0x807FFFFFu) | (exponent << 23);
        char digits[32];
        const auto written = std::to_chars(digits, digits + sizeof digits, std::bit_cast<float>(bits));
        std::string out(digits, written.ptr);
        if (out.find_first_of(".e") == std::string::npos) out += ".0";
        return out;
    }

    std::string intText() {
        switch (below(5)) {
        case 0: return std::to_string(std::numeric_limits<std::int32_t>::min());
        case 1: return std::to_string(std::numeric_limits<std::int32_t>::max());
        case 2: return "0x7FFFFFFF";
        default: return std::to_string(static_cast<std::int32_t>(random_()));
        }
    }

    std::string stringText() {
        static constexpr char characters[] = "ab Z09_\"\"/*#;,{}\\=-+.";
        std::string out = "\"";
        for (int n = below(12); n > 0; --n) {
            const int pick = below(sizeof characters - 1);
            // A quote in the text stands doubled.
            out += characters[pick] == '"' ? std::string("\"\"") : std::string(1, characters[pick]);
        }
        return out + "\"";
    }

    std::string valueText() {
        switch (below(4)) {
        case 0: return floatText();
        case 1: return intText();
        case 2: return name();  // a bare word is a string
        default: return stringText();
        }
    }

    void elements(std::string& out, int depth) {
        out += "{";
        for (int n = below(6); n > 0; --n) {
            if (depth < 4 && chance(4)) elements(out, depth + 1);
            else out += valueText();
            if (n > 1) out += ", ";
        }
        out += "}";
    }

    void body(std::string& out, int depth) {
        std::vector<std::string> classes;
        for (int n = depth == 0 ? 8 + below(10) : below(10); n > 0; --n) {
            const int pick = below(depth < 5 ? 10 : 6);
            if (pick < 3) {
                out += name() + " = " + valueText() + ";\n";
            } else if (pick < 5) {
                out += name() + "[] = ";
                elements(out, 1);
                out += ";\n";
            } else if (pick < 6 && enhanced_) {
                const std::string declared = name();
                if (chance(3)) {
                    out += declared + "[] += ";
                    elements(out, 1);
                    out += ";\n";
                } else {
                    out += (chance(2) ? "class " : "delete ") + declared + ";\n";
                }
            } else {
                const std::string cls = name();
                out += "class " + cls;
                if (!classes.empty() && chance(2))
                    out += ": " + classes[static_cast<std::size_t>(below(static_cast<int>(classes.size())))];
                out += " {\n";
                body(out, depth + 1);
                out += "};\n";
                classes.push_back(cls);
            }
        }
    }

    void enumBlock(std::string& out) {
        out += "enum {";
        for (int n = 1 + below(5); n > 0; --n) {
            out += chance(4) ? std::string("OrdinalEnum") : name();
            if (chance(2)) out += " = " + std::to_string(static_cast<std::int32_t>(random_()) % 1000);
            if (n > 1) out += ", ";
        }
        out += "};\n";
    }

    std::mt19937 random_;
    bool enhanced_;
    int names_ = 0;
};

TEST(RapRoundTrip, RandomTreesInEveryStyle) {
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        expectRoundTrip(RandomConfig(seed, false).text(""));
        expectRoundTrip(RandomConfig(seed, true).text("#define _KERN_\n"), false, Extended);
        expectRoundTrip(RandomConfig(seed, true).text("#define _XBOX_ WithSignature\n"), false, Extended);
        // Extern, delete and array-append entries need an offset style: forcing one makes them writable.
        expectRoundTrip(RandomConfig(seed, true).text(""), true, Extended);
        expectRoundTrip(RandomConfig(seed, true).text(""), false, Extended | Rapify::KernByDefault);
        expectRoundTrip(RandomConfig(seed, false).text("#define _TGR_\n"), false, Extended | Rapify::KernByDefault);
    }
}

TEST(RapRoundTrip, SampleModAndGeneratedTree) {
    Rapify compiler(nullptr);
    compiler.SetIncludeRoot(ARCHIVEFILE_SAMPLES);
    ASSERT_EQ(compiler.OpenRapText(ARCHIVEFILE_SAMPLES "/mod/config.cpp", 0, silent), 0);
    Bytes sample;
    ASSERT_EQ(compiler.OutputRap(sample, false), 0);
    compiler.Close();
    EXPECT_EQ(compile(compiler, decode(sample)), sample);

    TempFolder folder;
    const bench::ConfigTree tree = bench::writeConfigTree(folder.path(), 100 * 1024);
    compiler.SetIncludeRoot(tree.includeRoot.c_str());
    ASSERT_EQ(compiler.OpenRapText(tree.config.c_str(), Extended, silent), 0);
    Bytes generated;
    ASSERT_EQ(compiler.OutputRap(generated, true), 0);
    Rapify again(nullptr);
    EXPECT_EQ(compile(again, decode(generated, Extended), false, Extended), generated);
}

TEST(RapRoundTrip, ClassesOfMoreThan16383EntriesKeepTheirOffsets) {
    std::string text = "#define _KERN_\nclass Big {\n";
    for (int n = 0; n < 16500; ++n) text += "v" + std::to_string(n) + " = " + std::to_string(n) + ";\n";
    text += "class Inner { x = 1; };\n};\nclass After { y[] = {";
    for (int n = 0; n < 17000; ++n) text += std::to_string(n) + ",";
    text += "1};\n};\n";
    expectRoundTrip(text);
}

TEST(RapRoundTrip, FloatsNearZeroSettleAfterTheFirstTrip) {
    // Floats with the two smallest exponents are printed with six digits on purpose, so the first
    // decode may move them to a nearby value; from there on nothing changes.
    Rapify compiler(nullptr);
    const std::string text = "a = 1.17549435e-38; b[] = {-1.4e-45, 5.877472e-39, 2.3509887e-38};\n";
    const Bytes first = compile(compiler, text);
    // After the header, the root entry and the entry's type, subtype and name: the smallest normal,
    // stored exactly.
    ASSERT_GT(first.size(), 19u);
    EXPECT_EQ(Bytes(first.begin() + 15, first.begin() + 19), (Bytes{0x00, 0x00, 0x80, 0x00}));
    const Bytes second = compile(compiler, decode(first));
    EXPECT_EQ(compile(compiler, decode(second)), second);
}

}  // namespace
}  // namespace archivefile::testing

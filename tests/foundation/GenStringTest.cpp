#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/GenericError.h"

using archivefile::GenString;

namespace {
std::vector<unsigned char> image(std::string bytes) {
    // A loaded image ends in two zero bytes.
    std::vector<unsigned char> result(bytes.begin(), bytes.end());
    result.push_back(0);
    result.push_back(0);
    return result;
}

std::string textOf(const std::vector<unsigned char>& bytes) { return reinterpret_cast<const char*>(bytes.data()); }
}  // namespace

TEST(GenString, ForeignTextIsCopiedBeforeItChanges) {
    char foreign[] = "file image text";
    GenString holder;
    holder.SetPtr(foreign);
    EXPECT_FALSE(holder.owns());
    holder += " and more";
    EXPECT_STREQ(foreign, "file image text");
    EXPECT_STREQ(holder, "file image text and more");
    EXPECT_TRUE(holder.owns());

    GenString lower;
    lower.SetPtr(foreign);
    lower.strToLower();
    lower.ReplaceChar('e', 'E');
    EXPECT_STREQ(foreign, "file image text");
    EXPECT_STREQ(lower, "filE imagE tExt");
}

TEST(GenString, FormatsTextOfAnyLength) {
    const std::string longWord(5000, 'x');
    GenString holder("%s-%d", longWord.c_str(), 42);
    EXPECT_EQ(holder.GetLen(), 5003);
    holder.Add("%s", "!");
    EXPECT_EQ(holder.view().substr(4998), "xx-42!");
    GenString empty;
    EXPECT_STREQ(empty.Strcat("first"), "first");
}

TEST(GenString, TextServices) {
    GenString holder;
    holder.Strdup("  a, b ,c,,  ");
    EXPECT_EQ(holder.ParseCommas(), (std::vector<std::string>{"a", "b", "c", "", ""}));
    EXPECT_STREQ(holder.Trim(), "a, b ,c,,");
    EXPECT_EQ(holder.Replace(",", ";"), 4);
    EXPECT_STREQ(holder, "a; b ;c;;");

    holder.Strdup("say \"hello\" now");
    EXPECT_TRUE(holder.FindQuoteAndStrip());
    EXPECT_STREQ(holder, "hello");
    EXPECT_EQ(holder.Compare("HELLO"), 1);
    EXPECT_EQ(holder.Compare("HELLO", true), 0);
    EXPECT_EQ(holder.CompareN("help", 3), 1);

    holder.Strdup("one\r\ntwo\nthree");
    std::string line;
    std::vector<std::string> lines;
    while (holder.GetNextLine(line)) lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "three"}));

    holder.Strdup("-123");
    EXPECT_TRUE(holder.IsInteger());
    EXPECT_EQ(holder.Atoi(), -123);
    holder.Strdup("1.5e3");
    EXPECT_FALSE(holder.IsInteger());
    EXPECT_TRUE(holder.IsFloat());
    EXPECT_DOUBLE_EQ(holder.Atof(), 1500.0);
    holder.Strdup("1.5x");
    EXPECT_FALSE(holder.IsFloat());
}

TEST(GenString, SixteenBitTextOutsideEightBitsIsRefused) {
    GenString holder;
    EXPECT_STREQ(holder.UnicodeToAscii(u"abc\u00e9"), "abc\xe9");
    EXPECT_EQ(holder.AsciiToUnicode(), u"abc\u00e9");
    try {
        holder.UnicodeToAscii(u"\u20ac");
        FAIL() << "a unit above 255 was accepted";
    } catch (archivefile::Generic_Errors code) {
        EXPECT_EQ(code, archivefile::GE_BadUnicode);
    }
}

TEST(RemoveBom, Utf16LittleEndianBecomesUtf8UnitByUnit) {
    // "aé€" then a surrogate pair for U+1F600, each unit encoded by itself.
    auto bytes = image(std::string("\xFF\xFE" "a\0" "\xE9\0" "\xAC\x20" "\x3D\xD8" "\x00\xDE", 12));
    EXPECT_EQ(GenString::RemoveBom(bytes), 1);
    EXPECT_EQ(textOf(bytes), "a\xC3\xA9\xE2\x82\xAC\xED\xA0\xBD\xED\xB8\x80");
    EXPECT_EQ(bytes.size(), textOf(bytes).size() + 2);
    // A zero unit ends the text, and so does the end of an image of odd length.
    auto stopped = image(std::string("\xFF\xFE" "a\0" "\0\0" "b\0", 8));
    EXPECT_EQ(GenString::RemoveBom(stopped), 1);
    EXPECT_EQ(textOf(stopped), "a");
    std::vector<unsigned char> odd{0xFF, 0xFE, 'z', 0, 'q'};
    EXPECT_EQ(GenString::RemoveBom(odd), 1);
    EXPECT_EQ(textOf(odd), "z");
}

TEST(RemoveBom, BigEndianIsRefusedAndPlainTextUntouched) {
    auto bigEndian = image(std::string("\xFE\xFF\0a", 4));
    const auto before = bigEndian;
    EXPECT_EQ(GenString::RemoveBom(bigEndian), -1);
    EXPECT_EQ(bigEndian, before);
    auto plain = image("class A {};");
    EXPECT_EQ(GenString::RemoveBom(plain), 0);
    EXPECT_EQ(textOf(plain), "class A {};");
    std::vector<unsigned char> empty;
    EXPECT_EQ(GenString::RemoveBom(empty), 0);
}

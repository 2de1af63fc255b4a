#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>
#include <cstring>
#include <limits>
#include <string>

#include "archivefile/foundation/GenString.h"

using archivefile::GenString;

namespace {

std::string text(float value) { return GenString::floatText(value); }
std::string text(double value) { return GenString::floatText(value); }

float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace

// float_text_check holds every float to the rule; these are the texts a reader of decoded files sees.
TEST(FloatToStr, FewestDigitsWithOneDecimalOrTheExponentForm) {
    EXPECT_EQ(text(0.1f), "0.1");
    EXPECT_EQ(text(1.0f), "1.0");
    EXPECT_EQ(text(-0.0f), "-0.0");
    EXPECT_EQ(text(16777216.0f), "16777216.0");
    // Needs more than six digits to read back exactly.
    EXPECT_EQ(text(0.3f + 0.6f), "0.90000004");
    EXPECT_EQ(text(1e-30f), "1e-30");
    EXPECT_EQ(text(1e20f), "1e+20");
}

TEST(FloatToStr, SpecialValuesAreMarkedAndStillParseAsNumbers) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(text(std::numeric_limits<float>::quiet_NaN()), "0.0/*NAN*/");
    EXPECT_EQ(text(fromBits(0xFFC00001u)), "0.0/*NAN*/");
    EXPECT_EQ(text(std::numeric_limits<float>::infinity()), "-0.0/*INFINITY*/");
    EXPECT_EQ(text(-std::numeric_limits<float>::infinity()), "-0.0/*INFINITY*/");
    EXPECT_EQ(text(std::numeric_limits<double>::quiet_NaN()), "0.0/*NAN*/");
    EXPECT_EQ(text(-std::numeric_limits<double>::infinity()), "-0.0/*INFINITY*/");
    const std::string warnings = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(warnings,
              "Warning: NAN detected\nWarning: NAN detected\nWarning: Infinity detected\n"
              "Warning: Infinity detected\nWarning: NAN detected\nWarning: Infinity detected\n");
}

TEST(FloatToStr, TheTwoSmallestExponentsCountAsDenormal) {
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(text(FLT_MIN), "1.17549e-38/*#DEN*/");
    EXPECT_EQ(text(fromBits(0x00000001u)), "1.4013e-45/*#DEN*/");
    EXPECT_EQ(text(fromBits(0x80FFFFFFu)), "-2.35099e-38/*#DEN*/");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Warning: Denormalized number 1.17549e-38/*#DEN*/\n"
              "Warning: Denormalized number 1.4013e-45/*#DEN*/\n"
              "Warning: Denormalized number -2.35099e-38/*#DEN*/\n");
    // The first exponent above the masked pair is ordinary.
    EXPECT_EQ(text(fromBits(0x01000000u)), "2.3509887e-38");
}

TEST(FloatToStr, DoublesUseFixedNotation) {
    EXPECT_EQ(text(0.1), "0.1");
    EXPECT_EQ(text(2.0), "2.0");
    EXPECT_EQ(text(1e22), "10000000000000000000000.0");
    EXPECT_EQ(text(-0.5), "-0.5");
    EXPECT_EQ(text(123.456), "123.456");
    ::testing::internal::CaptureStderr();
    // Too small for 21 decimals: the nearest fixed text is kept, with a warning.
    EXPECT_EQ(text(1e-30), "0.0");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Warning: exact float match not found\r\n");
}

TEST(FloatToStr, TripletsJoinTheirComponentsWithCommas) {
    const archivefile::XYZTriplet triplet{0.1f, -2.0f, 1e-30f};
    GenString holder;
    EXPECT_STREQ(holder.FloatToStr(&triplet), "0.1,-2.0,1e-30");
}

TEST(FloatToStr, TextDoesNotDependOnTheProcessLocale) {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr && std::setlocale(LC_ALL, "de_DE") == nullptr)
        GTEST_SKIP() << "no German locale on this machine";
    EXPECT_EQ(text(0.1f), "0.1");
    EXPECT_EQ(text(0.25), "0.25");
    std::setlocale(LC_ALL, "C");
}

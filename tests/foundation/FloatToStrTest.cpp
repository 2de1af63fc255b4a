#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
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

// The plain reading of the rule, with the C library's own formatter: the first precision from 6 up
// whose "%g" text reads back (through a double) to the same float.
int firstExactPrecision(float value) {
    char buffer[64];
    for (int precision = 6; precision <= 21; ++precision) {
        std::snprintf(buffer, sizeof buffer, "%.*g", precision, static_cast<double>(value));
        if (static_cast<float>(std::strtod(buffer, nullptr)) == value) return precision;
    }
    return 21;
}

}  // namespace

TEST(FloatToStr, OrdinaryFloatsUseTheFewestDigitsAndKeepOneDecimal) {
    EXPECT_EQ(text(0.1f), "0.1");
    EXPECT_EQ(text(1.0f), "1.0");
    EXPECT_EQ(text(100.0f), "100.0");
    EXPECT_EQ(text(1.5f), "1.5");
    EXPECT_EQ(text(16777216.0f), "16777216.0");
    EXPECT_EQ(text(-2.25f), "-2.25");
    EXPECT_EQ(text(0.0f), "0.0");
    EXPECT_EQ(text(-0.0f), "-0.0");
    // Needs more than six digits to read back exactly.
    EXPECT_EQ(text(0.3f + 0.6f), "0.90000004");
    EXPECT_EQ(text(1234567.0f), "1234567.0");
}

TEST(FloatToStr, ExponentFormsAreLeftAsTheyAre) {
    EXPECT_EQ(text(1e-30f), "1e-30");
    const std::string largest = text(FLT_MAX);
    EXPECT_NE(largest.find('e'), std::string::npos);
    EXPECT_EQ(std::strtof(largest.c_str(), nullptr), FLT_MAX);
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

TEST(FloatToStr, RandomFloatsReadBackExactlyWithTheFirstPrecisionThatDoes) {
#if defined(__SANITIZE_ADDRESS__)
    constexpr int samples = 1 << 16;
#else
    constexpr int samples = 1 << 21;
#endif
    std::mt19937 random(20261122);
    int checked = 0;
    while (checked < samples) {
        const float value = fromBits(random());
        if (!std::isfinite(value) || (std::fabs(value) < 4.7e-38f)) continue;
        ++checked;
        const std::string written = text(value);
        ASSERT_EQ(std::strtof(written.c_str(), nullptr), value) << written;
        char plain[64];
        std::snprintf(plain, sizeof plain, "%.*g", firstExactPrecision(value), static_cast<double>(value));
        std::string expected = plain;
        if (expected.find('e') == std::string::npos) {
            if (expected.find('.') == std::string::npos) expected += ".0";
            while (expected.back() == '0' && expected[expected.size() - 2] != '.') expected.pop_back();
        }
        ASSERT_EQ(written, expected) << "bits " << std::hex << std::bit_cast<std::uint32_t>(value);
    }
}

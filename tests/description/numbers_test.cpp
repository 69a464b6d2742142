#include "description/numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "support/bits.h"

namespace {

constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr float kFloatMax = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kUntouched = -77;

std::string times(std::size_t count, char digit) {
    return std::string(count, digit);
}

void expectDouble(double expected, double actual, const std::string& text) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(expected), std::bit_cast<std::uint64_t>(actual))
        << text << std::hexfloat << ": expected " << expected << ", actual " << actual;
}

}  // namespace

TEST(Numbers, resultsAreNumberedFromZero) {
    EXPECT_EQ(parseOk, 0);
    EXPECT_EQ(parseClamped, 1);
    EXPECT_EQ(parseStopped, 2);
    EXPECT_EQ(parseNoNumber, 3);
}

TEST(Numbers, integersAreDecimalClampedAndFollowedByAnything) {
    const struct {
        std::string text;
        ParseResult result;
        std::int32_t value;
    } examples[] = {
        {"13", parseOk, 13},
        {"+13", parseOk, 13},
        {"-13", parseOk, -13},
        {"-0013", parseOk, -13},
        {"010", parseOk, 10},
        {"0x10", parseOk, 0},
        {"000", parseOk, 0},
        {"-0", parseOk, 0},
        {"12abc", parseOk, 12},
        {"12/", parseOk, 12},
        {"12:", parseOk, 12},
        {"1.9", parseOk, 1},
        {"1e3", parseOk, 1},
        {"1_2_3", parseOk, 1},
        {"1234567890", parseOk, 1234567890},
        {"2147483647", parseOk, kIntMax},
        {"2147483648", parseClamped, kIntMax},
        {"-2147483648", parseOk, kIntMin},
        {"-2147483649", parseClamped, kIntMin},
        {"9999999999", parseClamped, kIntMax},
        {"10000000000", parseClamped, kIntMax},  // 11 digits
        {"-10000000000", parseClamped, kIntMin},
        {times(100, '9'), parseClamped, kIntMax},
        {times(100, '0') + "2147483646", parseOk, 2147483646},
        {"-" + times(100, '0') + "1234567890", parseOk, -1234567890},
        {"", parseNoNumber, kUntouched},
        {"-", parseNoNumber, kUntouched},
        {"+", parseNoNumber, kUntouched},
        {"--1", parseNoNumber, kUntouched},
        {"+-1", parseNoNumber, kUntouched},
        {"- 1", parseNoNumber, kUntouched},
        {" 1", parseNoNumber, kUntouched},
        {"abc", parseNoNumber, kUntouched},
        {"-.5", parseNoNumber, kUntouched},
        {"_1", parseNoNumber, kUntouched},
        {"/", parseNoNumber, kUntouched},  // the bytes around the digits
        {":", parseNoNumber, kUntouched},
    };
    for (const auto& example : examples) {
        std::int32_t out = kUntouched;
        EXPECT_EQ(parseInt32(example.text.c_str(), out), example.result) << example.text;
        EXPECT_EQ(out, example.value) << example.text;
    }
}

TEST(Numbers, floatsHaveAFractionAndNoExponentAndClampOnlyWithAPointOrFortyDigits) {
    const struct {
        std::string text;
        ParseResult result;
        float value;
    } examples[] = {
        {".5", parseOk, 0.5F},
        {"+.5", parseOk, 0.5F},
        {"-.5", parseOk, -0.5F},
        {"00.5", parseOk, 0.5F},
        {".", parseOk, 0.0F},
        {"-.", parseOk, -0.0F},
        {"0", parseOk, 0.0F},
        {"-0x", parseOk, -0.0F},
        {"0abc", parseOk, 0.0F},
        {"1.", parseOk, 1.0F},
        {"1.25abc", parseOk, 1.25F},
        {"-12.5.5", parseOk, -12.5F},
        {"0010", parseOk, 10.0F},
        {"0.1", parseOk, 0.1F},
        {"0.001", parseOk, 0.001F},
        {"1.5e3", parseOk, 1.5F},
        {"5e3", parseOk, 5.0F},
        {times(60, '0') + "1", parseOk, 1.0F},
        {times(39, '1'), parseOk, 1.11111111e38F},
        {"000" + times(39, '1'), parseOk, 1.11111111e38F},
        {times(39, '9'), parseOk, kInfinity},
        {"-" + times(39, '9'), parseOk, -kInfinity},
        {times(39, '9') + ".", parseClamped, kFloatMax},
        {"-" + times(39, '9') + ".5", parseClamped, -kFloatMax},
        {"340282346638528859811704183484516925440.0", parseOk, kFloatMax},
        {"350000000000000000000000000000000000000.0", parseClamped, kFloatMax},
        {times(40, '1'), parseClamped, kFloatMax},
        {"-" + times(40, '1'), parseClamped, -kFloatMax},
        {"", parseNoNumber, kUntouched},
        {"-", parseNoNumber, kUntouched},
        {"--1", parseNoNumber, kUntouched},
        {" 1", parseNoNumber, kUntouched},
        {"e5", parseNoNumber, kUntouched},
        {"-x", parseNoNumber, kUntouched},
        {"_1", parseNoNumber, kUntouched},
        {"inf", parseNoNumber, kUntouched},
        {"nan", parseNoNumber, kUntouched},
    };
    for (const auto& example : examples) {
        float out = kUntouched;
        EXPECT_EQ(parseFloat32(example.text.c_str(), out), example.result) << example.text;
        EXPECT_TRUE(sameFloat(example.value, out)) << example.text;
    }
}

// The last five were worked out with Python's floats, by the sum over digits from the last to the
// first with a scale multiplied by 10 each time. For these digits the sum from the first to the
// last, Horner's rule and the correctly rounded value all differ from it.
TEST(Numbers, wholePartsAreSummedFromTheLastDigitAndStopWhereTheNumberEnds) {
    const struct {
        std::string text;
        ParseResult result;
        double value;
        std::ptrdiff_t read;  // bytes that the cursor moves
    } examples[] = {
        {"", parseNoNumber, kUntouched, 0},
        {"x", parseNoNumber, kUntouched, 0},
        {"-1", parseNoNumber, kUntouched, 0},
        {".5", parseOk, 0, 0},
        {"0", parseOk, 0, 1},
        {"00.5", parseOk, 0, 2},
        {"0x", parseStopped, 0, 1},
        {"00_1", parseStopped, 0, 2},
        {"0012x", parseOk, 12, 4},
        {"12.5", parseOk, 12, 2},
        {"123456789", parseOk, 123456789, 9},
        {times(40, '1'), parseClamped, kUntouched, 39},
        {"00" + times(40, '1'), parseClamped, kUntouched, 41},
        {"481264565758112991", parseOk, 0x1.ab72e4a73fad4p+58, 18},
        {"1213593482371969166", parseOk, 0x1.0d78cd7a282b0p+60, 19},
        {"64625263167169466681", parseOk, 0x1.c06d8739c1a2cp+65, 20},
        {"966927573761638936484853", parseOk, 0x1.99827f636cb9cp+79, 24},
        {"340282346638528859811704183484516925440", parseOk, 0x1.fffffdffffffep+127, 39},
    };
    for (const auto& example : examples) {
        const char* cursor = example.text.c_str();
        double out = kUntouched;
        EXPECT_EQ(parseWholePart(cursor, out), example.result) << example.text;
        expectDouble(example.value, out, example.text);
        EXPECT_EQ(cursor - example.text.c_str(), example.read) << example.text;
    }
}

// The same with the sum from the first digit to the last and a scale multiplied by 0.1 each time.
// The sum from the last to the first, division by powers of ten and correct rounding all differ
// from it.
TEST(Numbers, fractionsAreSummedFromTheFirstDigitAndReadThirtyEight) {
    const struct {
        std::string text;
        double value;
        std::ptrdiff_t read;
    } examples[] = {
        {"", 0.0, 0},
        {"x", 0.0, 0},
        {"5", 0.5, 1},
        {"3", 3 * 0.1, 1},
        {"0957", 0x1.87fcb923a29cap-4, 4},
        {"04615", 0x1.7a0f9096bb98fp-5, 5},
        {"003438", 0x1.c2a023209678bp-9, 6},
        {"0098325e7", 0x1.4230fcf80dc36p-7, 7},
        {times(37, '0') + "09", 0.0, 38},
        {"5" + times(37, '0') + "9", 0.5, 38},
    };
    for (const auto& example : examples) {
        const char* cursor = example.text.c_str();
        double out = kUntouched;
        parseFractionPart(cursor, out);
        expectDouble(example.value, out, example.text);
        EXPECT_EQ(cursor - example.text.c_str(), example.read) << example.text;
    }
    const std::string thirtyEight = times(37, '0') + "1";
    const char* cursor = thirtyEight.c_str();
    double out = 0;
    parseFractionPart(cursor, out);
    EXPECT_NEAR(out, 1e-38, 1e-40);
}

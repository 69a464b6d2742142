#include "description/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr float kFloatMax = std::numeric_limits<float>::max();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kBefore = -77;  // what a number without digits leaves

std::string times(std::size_t count, char digit) {
    return std::string(count, digit);
}

template <typename Number>
using Numbers = std::vector<std::pair<std::string, Number>>;

// What `parse` tells of each of these texts, and the number it gives.
template <typename Number>
void expectParsed(ParseResult (*parse)(const char*, Number&), ParseResult result,
                  const Numbers<Number>& examples) {
    for (const auto& [text, value] : examples) {
        Number out = kBefore;
        EXPECT_EQ(parse(text.c_str(), out), result) << text;
        EXPECT_EQ(out, value) << text;
        EXPECT_EQ(std::signbit(out), std::signbit(value)) << text;
    }
}

// One half of a float, and how far the cursor moves over it.
struct Part {
    std::string text;
    ParseResult result;
    double value;
    std::ptrdiff_t read;
};

// The bits of `value` hold: an order of summation of its own would show.
template <typename Parser>
void expectPart(const Part& part, Parser parse) {
    const char* cursor = part.text.c_str();
    double out = kBefore;
    EXPECT_EQ(parse(cursor, out), part.result) << part.text;
    EXPECT_EQ(out, part.value) << part.text << std::hexfloat << ": " << out;
    EXPECT_EQ(cursor - part.text.c_str(), part.read) << part.text;
}

}  // namespace

TEST(Numbers, resultsAreNumberedFromZero) {
    EXPECT_EQ(parseOk, 0);
    EXPECT_EQ(parseClamped, 1);
    EXPECT_EQ(parseStopped, 2);
    EXPECT_EQ(parseNoNumber, 3);
}

TEST(Numbers, integersAreDecimalAndMayBeFollowedByAnything) {
    const Numbers<std::int32_t> decimal = {
        {"13", 13},    {"+13", 13}, {"-13", -13}, {"-0013", -13},
        {"010", 10},   {"0x10", 0}, {"000", 0},   {"-0", 0},
        {"12abc", 12}, {"12/", 12}, {"12:", 12},  {"1.9", 1},
        {"1e3", 1},    {"1_2", 1},  {"1 2", 1},   {"1234567890", 1234567890},
    };
    expectParsed(parseInt32, parseOk, decimal);
    expectParsed(parseInt32, parseOk,
                 {{times(100, '0') + "2147483646", 2147483646},
                  {"-" + times(100, '0') + "1234567890", -1234567890}});
    for (const char* text : {"", "-", "+", "--1", "+-1", "-+1", "- 1", " 1", "\v1", "abc", ".5",
                             "-.5", "_1", "/", ":"}) {
        expectParsed(parseInt32, parseNoNumber, {{text, kBefore}});
    }
}

TEST(Numbers, integersAreClampedFromTheirLimitsAndFromElevenDigitsOn) {
    expectParsed(parseInt32, parseOk, {{"2147483647", kIntMax}, {"-2147483648", kIntMin}});
    const Numbers<std::int32_t> clamped = {
        {"2147483648", kIntMax},  {"-2147483649", kIntMin},  {"9999999999", kIntMax},
        {"10000000000", kIntMax}, {"-10000000000", kIntMin}, {times(100, '9'), kIntMax},
    };
    expectParsed(parseInt32, parseClamped, clamped);
}

TEST(Numbers, floatsHaveAFractionAndNoExponent) {
    const Numbers<float> plain = {
        {".5", 0.5F},      {"+.5", 0.5F},      {"-.5", -0.5F},      {"00.5", 0.5F},  {".", 0.0F},
        {"-.", -0.0F},     {"0", 0.0F},        {"-0x", -0.0F},      {"0abc", 0.0F},  {"0.", 0.0F},
        {"1.", 1.0F},      {"1.25abc", 1.25F}, {"-12.5.5", -12.5F}, {"0010", 10.0F}, {"0.1", 0.1F},
        {"0.001", 0.001F}, {"1.5e3", 1.5F},    {"5e3", 5.0F},
    };
    expectParsed(parseFloat32, parseOk, plain);
    for (const char* text : {"", "-", "+", "--1", " 1", "e5", "-x", "_1", "inf", "nan", "\v1"}) {
        expectParsed(parseFloat32, parseNoNumber, {{text, kBefore}});
    }
}

TEST(Numbers, floatsAreClampedFromFortyDigitsOnAndByTheirLimitsOnlyWithAPoint) {
    const Numbers<float> unclamped = {
        {times(60, '0') + "1", 1.0F},
        {"000" + times(39, '1'), 1.11111111e38F},
        {times(39, '9'), kInfinity},
        {"-" + times(39, '9'), -kInfinity},
        {"340282346638528859811704183484516925440.0", kFloatMax},
    };
    expectParsed(parseFloat32, parseOk, unclamped);
    const Numbers<float> clamped = {
        {times(39, '9') + ".", kFloatMax},
        {"-" + times(39, '9') + ".5", -kFloatMax},
        {"350000000000000000000000000000000000000.0", kFloatMax},
        {times(40, '1'), kFloatMax},
        {"-" + times(40, '1'), -kFloatMax},
    };
    expectParsed(parseFloat32, parseClamped, clamped);
}

// The last four were worked out with Python's floats, by the sum over digits from the last to the
// first with a scale multiplied by 10 each time. For these digits the sum from the first to the
// last, Horner's rule and the correctly rounded value all differ from it.
TEST(Numbers, wholePartsAreSummedFromTheLastDigitAndStopWhereTheNumberEnds) {
    const Part parts[] = {
        {"", parseNoNumber, kBefore, 0},
        {"-1", parseNoNumber, kBefore, 0},
        {".5", parseOk, 0, 0},
        {"0", parseOk, 0, 1},
        {"00_1", parseStopped, 0, 2},
        {"0012x", parseOk, 12, 4},
        {"12.5", parseOk, 12, 2},
        {times(40, '1'), parseClamped, kBefore, 39},
        {"00" + times(40, '1'), parseClamped, kBefore, 41},
        {"481264565758112991", parseOk, 0x1.ab72e4a73fad4p+58, 18},
        {"64625263167169466681", parseOk, 0x1.c06d8739c1a2cp+65, 20},
        {"966927573761638936484853", parseOk, 0x1.99827f636cb9cp+79, 24},
        {"340282346638528859811704183484516925440", parseOk, 0x1.fffffdffffffep+127, 39},
    };
    for (const Part& part : parts) {
        expectPart(part, parseWholePart);
    }
}

// The same with the sum from the first digit to the last and a scale multiplied by 0.1 each time.
// The sum from the last to the first, division by powers of ten and correct rounding all differ
// from it.
TEST(Numbers, fractionsAreSummedFromTheFirstDigitAndReadThirtyEight) {
    const Part parts[] = {
        {"", parseOk, 0.0, 0},
        {"x", parseOk, 0.0, 0},
        {"5", parseOk, 0.5, 1},
        {"0957", parseOk, 0x1.87fcb923a29cap-4, 4},
        {"0098325e7", parseOk, 0x1.4230fcf80dc36p-7, 7},
        {times(37, '0') + "1", parseOk, 0x1.b38fb9daa78f4p-127, 38},
        {times(37, '0') + "09", parseOk, 0.0, 38},
        {"5" + times(37, '0') + "9", parseOk, 0.5, 38},
    };
    for (const Part& part : parts) {
        expectPart(part, [](const char*& cursor, double& out) {
            parseFractionPart(cursor, out);
            return parseOk;
        });
    }
}

#include "description/numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "reference/reference_numbers.h"
#include "support/random.h"

namespace {

constexpr int kBefore = -77;  // what a number without digits leaves

std::string times(std::size_t count, char digit) {
    return std::string(count, digit);
}

// Digits of all kinds, or many of one kind.
std::string randomDigits(Random& random) {
    std::string digits(static_cast<std::size_t>(random.between(0, random.oneIn(3) ? 42 : 11)),
                       random.oneIn(2) ? '0' : '9');
    if (!random.oneIn(4)) {
        std::generate(digits.begin(), digits.end(),
                      [&] { return static_cast<char>('0' + random.between(0, 9)); });
    }
    return digits;
}

// Digits and limits, some of them but for their last digits, between marks that stand in front of a
// number, in it or behind it.
std::string randomNumber(Random& random) {
    const std::string marks = "-+.._xe/: \v";
    const std::string limits[] = {"214748364", "2147483647", "2147483648",
                                  "340282346638528859811704183484516925",
                                  "340282346638528859811704183484516925440"};
    std::string text;
    for (int parts = random.between(0, 6); parts > 0; --parts) {
        const int kind = random.between(0, 5);
        text += kind == 0   ? random.oneOf(limits)
                : kind <= 2 ? std::string(1, random.oneOf(marks))
                            : randomDigits(random);
    }
    return text;
}

// The two parsers of whole numbers, whose results have the same order.
template <typename Number>
void expectSame(const std::string& text, ParseResult (*parse)(const char*, Number&),
                ReferenceResult (*reference)(std::string_view, Number&)) {
    Number expected = kBefore;
    Number out = kBefore;
    const auto result = static_cast<ParseResult>(reference(text, expected));
    ASSERT_EQ(parse(text.c_str(), out), result) << text;
    ASSERT_EQ(out, expected) << text;
    ASSERT_EQ(std::signbit(out), std::signbit(expected)) << text;
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
void expectParts(const std::vector<Part>& parts, Parser parse) {
    for (const auto& [text, result, value, read] : parts) {
        const char* cursor = text.c_str();
        double out = kBefore;
        EXPECT_EQ(parse(cursor, out), result) << text;
        EXPECT_EQ(out, value) << text << std::hexfloat << ": " << out;
        EXPECT_EQ(cursor - text.c_str(), read) << text;
    }
}

}  // namespace

TEST(Numbers, randomTextsGiveWhatThePlainParsersGive) {
    Random random(23);
    for (int round = 0; round < 100000 && !HasFailure(); ++round) {
        const std::string text = randomNumber(random);
        expectSame(text, parseInt32, referenceInt);
        expectSame(text, parseFloat32, referenceFloat);
    }
}

// The last four were worked out with Python's floats, by the sum over digits from the last to the first with a scale
// multiplied by 10 each time. For these digits the sum from the first to the last, Horner's rule and
// the correctly rounded value all differ from it.
TEST(Numbers, wholePartsAreSummedFromTheLastDigitAndStopWhereTheNumberEnds) {
    expectParts({{"", parseNoNumber, kBefore, 0},
                 {"-1", parseNoNumber, kBefore, 0},
                 {".5", parseOk, 0, 0},
                 {"0", parseOk, 0, 1},
                 {"00_1", parseStopped, 0, 2},
                 {"0012x", parseOk, 12, 4},
                 {"00" + times(40, '1'), parseClamped, kBefore, 41},
                 {"481264565758112991", parseOk, 0x1.ab72e4a73fad4p+58, 18},
                 {"64625263167169466681", parseOk, 0x1.c06d8739c1a2cp+65, 20},
                 {"966927573761638936484853", parseOk, 0x1.99827f636cb9cp+79, 24},
                 {"340282346638528859811704183484516925440", parseOk, 0x1.fffffdffffffep+127, 39}},
                parseWholePart);
}

// The same with the sum from the first digit to the last and a scale multiplied by 0.1 each time.
// The sum from the last to the first, division by powers of ten and correct rounding all differ
// from it.
TEST(Numbers, fractionsAreSummedFromTheFirstDigitAndReadThirtyEight) {
    expectParts({{"x", parseOk, 0.0, 0},
                 {"0957", parseOk, 0x1.87fcb923a29cap-4, 4},
                 {"0098325e7", parseOk, 0x1.4230fcf80dc36p-7, 7},
                 {times(37, '0') + "1", parseOk, 0x1.b38fb9daa78f4p-127, 38},
                 {"5" + times(37, '0') + "9", parseOk, 0.5, 38}},
                [](const char*& cursor, double& out) {
                    parseFractionPart(cursor, out);
                    return parseOk;
                });
}

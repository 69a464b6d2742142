#include "description/parameters.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/german_locale.h"

using Strings = std::vector<std::string>;
using Ints = std::vector<std::int32_t>;
using Floats = std::vector<float>;

static constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
static constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
static constexpr float kFloatMax = std::numeric_limits<float>::max();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Uses a slot while static objects are still being made.
static std::int32_t readEarly() {
    std::int32_t value = 0;
    parseDescription(g_descriptions[24], "[early]\nk=7", 11);
    g_currentNet = 24;
    getInt("early", "k", value);
    clearDescription(g_descriptions[24]);
    g_currentNet = 0;
    return value;
}

static const std::int32_t kEarlyValue = readEarly();

namespace {

// Works on a slot that is not the first, and leaves it empty.
class Parameters : public testing::Test {
  protected:
    Parameters() { g_currentNet = 7; }
    ~Parameters() override {
        clearDescription(g_descriptions[7]);
        g_currentNet = 0;
    }

    // Makes `lines` the section "s".
    static void describe(const std::string& lines) {
        const std::string text = "[s]\n" + lines;
        parseDescription(g_descriptions[7], text.c_str(), static_cast<std::uint32_t>(text.size()));
    }

    static std::int32_t intOf(const std::string& value, std::int32_t preset = -77) {
        describe("x=" + value);
        getInt("s", "x", preset);
        return preset;
    }

    // The preset, -77, where getFloat finds no number.
    static float floatOf(const std::string& value) {
        describe("x=" + value);
        float out = -77;
        const bool found = getFloat(currentSection("s"), "x", out);
        EXPECT_EQ(found, out != -77) << value;
        return out;
    }

    static Strings stringsOf(const std::string& value) {
        describe("x=" + value);
        return getStringList("s", "x");
    }

    static Ints intsOf(const std::string& value) {
        describe("x=" + value);
        return getIntList("s", "x");
    }

    static Floats floatsOf(const std::string& value) {
        describe("coeffs=" + value);
        return getFloatList("s");
    }
};

TEST_F(Parameters, descriptionsAreReadyBeforeStaticInitialisation) {
    EXPECT_EQ(kEarlyValue, 7);
}

TEST_F(Parameters, sectionsAreFoundByName) {
    describe("k=1");
    const NetDescription& description = g_descriptions[7];
    ASSERT_NE(getSection(description, "s"), nullptr);
    EXPECT_STREQ(getSection(description, "s")->name, "s");
    EXPECT_EQ(getSection(description, "S"), nullptr);
    EXPECT_NE(getSection(description, "[DEFAULT]"), nullptr);
}

TEST_F(Parameters, emptyNameAndEmptyKeyStandForTheDefaults) {
    describe("k=1");
    const DescriptionSection* section = currentSection("s");
    EXPECT_EQ(currentSection(""), nullptr);
    std::string text = "before";
    float number = -77;
    EXPECT_FALSE(getString(section, "", text));
    EXPECT_FALSE(getFloat(section, "", number));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(number, -77);
}

TEST_F(Parameters, currentNetChoosesTheDescription) {
    describe("k=1");
    parseDescription(g_descriptions[8], "[s]\nk=2", 7);
    std::int32_t value = 0;
    getInt("s", "k", value);
    EXPECT_EQ(value, 1);
    g_currentNet = 8;
    getInt("s", "k", value);
    EXPECT_EQ(value, 2);
    EXPECT_EQ(getStringList("s", "k"), Strings{"2"});
    EXPECT_EQ(currentSection("s"), getSection(g_descriptions[8], "s"));
    clearDescription(g_descriptions[8]);
}

TEST_F(Parameters, missingKeyLeavesTheDefault) {
    describe("k=1");
    std::int32_t integer = -77;
    getInt("s", "x", integer);
    EXPECT_EQ(integer, -77);
    float number = -77;
    EXPECT_FALSE(getFloat(currentSection("s"), "x", number));
    EXPECT_EQ(number, -77);
    std::string text = "before";
    EXPECT_FALSE(getString(currentSection("s"), "x", text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(getStringList("s", "inputs"), Strings{});
    EXPECT_EQ(getIntList("s", "x"), Ints{});
    EXPECT_EQ(getFloatList("s"), Floats{});
}

TEST_F(Parameters, missingSectionCountsAsOneWithoutTheKey) {
    describe("k=1");
    std::int32_t integer = -77;
    getInt("none", "k", integer);
    EXPECT_EQ(integer, -77);
    float number = -77;
    EXPECT_FALSE(getFloat(nullptr, "k", number));
    EXPECT_EQ(number, -77);
    std::string text = "before";
    EXPECT_FALSE(getString(nullptr, "k", text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(getStringList("none", "k"), Strings{});
    EXPECT_EQ(getIntList("none", "k"), Ints{});
    EXPECT_EQ(getFloatList("none"), Floats{});
    clearDescription(g_descriptions[7]);
    EXPECT_EQ(currentSection("s"), nullptr);
}

TEST_F(Parameters, stringEndsAtTheFirstComma) {
    describe("k=a,b\nl=,b\nm=a_b");
    std::string text = "before";
    EXPECT_TRUE(getString(currentSection("s"), "k", text));
    EXPECT_EQ(text, "a");
    EXPECT_TRUE(getString(currentSection("s"), "l", text));
    EXPECT_EQ(text, "");
    EXPECT_TRUE(getString(currentSection("s"), "m", text));
    EXPECT_EQ(text, "a_b");
    EXPECT_EQ(intOf("1,2"), 1);
    EXPECT_EQ(intOf(",2"), -77);
    EXPECT_TRUE(sameFloat(1.0F, floatOf("1,5")));
    EXPECT_TRUE(sameFloat(-77.0F, floatOf(",5")));
    EXPECT_EQ(intsOf("1_2,3_4"), (Ints{1, 2}));
    EXPECT_EQ(stringsOf(",b"), Strings{});
}

TEST_F(Parameters, intsAreDecimalWithTrailingBytesIgnored) {
    EXPECT_EQ(intOf("0013"), 13);
    EXPECT_EQ(intOf("13"), 13);
    EXPECT_EQ(intOf("+13"), 13);
    EXPECT_EQ(intOf("-13"), -13);
    EXPECT_EQ(intOf("-0013"), -13);
    EXPECT_EQ(intOf("0x10"), 0);
    EXPECT_EQ(intOf("010"), 10);
    EXPECT_EQ(intOf("12abc"), 12);
    EXPECT_EQ(intOf("1.9"), 1);
    EXPECT_EQ(intOf("1e3"), 1);
    EXPECT_EQ(intOf("0"), 0);
    EXPECT_EQ(intOf("-0"), 0);
    EXPECT_EQ(intOf("0abc"), 0);
    EXPECT_EQ(intOf("1_2_3"), 1);
    EXPECT_EQ(intOf("1 2"), 12);
}

TEST_F(Parameters, intThatIsNoNumberLeavesTheDefault) {
    for (const char* value : {"abc", "-", "+", "--1", "+-1", "-+1", ".5", "-.5", "_1", "\v1"}) {
        EXPECT_EQ(intOf(value), -77) << value;
    }
}

TEST_F(Parameters, intsClampAndCountAsValues) {
    EXPECT_EQ(intOf("2147483647"), kIntMax);
    EXPECT_EQ(intOf("2147483648"), kIntMax);
    EXPECT_EQ(intOf("-2147483647"), -kIntMax);
    EXPECT_EQ(intOf("-2147483648"), kIntMin);
    EXPECT_EQ(intOf("-2147483649"), kIntMin);
    EXPECT_EQ(intOf("9999999999"), kIntMax);
    EXPECT_EQ(intOf("-9999999999"), kIntMin);
    EXPECT_EQ(intOf("99999999999"), kIntMax);
    EXPECT_EQ(intOf("-99999999999"), kIntMin);
    EXPECT_EQ(intOf("10000000000"), kIntMax);  // 11 digits
    EXPECT_EQ(intOf(std::string(100, '9')), kIntMax);
    EXPECT_EQ(intOf(std::string(100, '0') + "2147483646"), 2147483646);
    EXPECT_EQ(intOf(std::string("-") + std::string(100, '0') + "1234567890"), -1234567890);
}

TEST_F(Parameters, parseInt32TellsWhatHappened) {
    std::int32_t out = -77;
    EXPECT_EQ(parseInt32("12", out), parseOk);
    EXPECT_EQ(parseInt32("0x", out), parseOk);
    EXPECT_EQ(parseInt32("000", out), parseOk);
    EXPECT_EQ(parseInt32("2147483647", out), parseOk);
    EXPECT_EQ(parseInt32("2147483648", out), parseClamped);
    EXPECT_EQ(parseInt32("-2147483648", out), parseOk);
    EXPECT_EQ(parseInt32("-2147483649", out), parseClamped);
    EXPECT_EQ(parseInt32("12345678901", out), parseClamped);
    EXPECT_EQ(out, kIntMax);
    for (const char* text : {"", "-", "+", "abc", " 1", "- 1", "/", ":"}) {
        EXPECT_EQ(parseInt32(text, out), parseNoNumber) << text;
        EXPECT_EQ(out, kIntMax) << text;
    }
}

TEST_F(Parameters, parseResultsAreNumbered) {
    EXPECT_EQ(parseOk, 0);
    EXPECT_EQ(parseClamped, 1);
    EXPECT_EQ(parseStopped, 2);
    EXPECT_EQ(parseNoNumber, 3);
}

TEST_F(Parameters, floatsReadWholePartAndFraction) {
    EXPECT_TRUE(sameFloat(0.5F, floatOf(".5")));
    EXPECT_TRUE(sameFloat(0.5F, floatOf("00.5")));
    EXPECT_TRUE(sameFloat(-0.5F, floatOf("-.5")));
    EXPECT_TRUE(sameFloat(0.5F, floatOf("+.5")));
    EXPECT_TRUE(sameFloat(0.0F, floatOf(".")));
    EXPECT_TRUE(sameFloat(0.0F, floatOf("0")));
    EXPECT_TRUE(sameFloat(0.0F, floatOf("0abc")));
    EXPECT_TRUE(sameFloat(0.0F, floatOf("0.")));
    EXPECT_TRUE(sameFloat(-0.0F, floatOf("-0")));
    EXPECT_TRUE(sameFloat(-0.0F, floatOf("-.")));
    EXPECT_TRUE(sameFloat(-0.0F, floatOf("-0x")));
    EXPECT_TRUE(sameFloat(1.0F, floatOf("1.")));
    EXPECT_TRUE(sameFloat(1.25F, floatOf("1.25abc")));
    EXPECT_TRUE(sameFloat(-12.5F, floatOf("-12.5.5")));
    EXPECT_TRUE(sameFloat(10.0F, floatOf("0010")));
    EXPECT_TRUE(sameFloat(0.1F, floatOf("0.1")));
    EXPECT_TRUE(sameFloat(0.001F, floatOf("0.001")));
}

TEST_F(Parameters, floatsHaveNoExponent) {
    EXPECT_TRUE(sameFloat(5.0F, floatOf("5e3")));
    EXPECT_TRUE(sameFloat(1.5F, floatOf("1.5e3")));
    EXPECT_TRUE(sameFloat(0.0F, floatOf("0e3")));
}

TEST_F(Parameters, floatThatIsNoNumberLeavesTheDefault) {
    for (const char* value : {"abc", "-", "+", "--1", "e5", "_1", "inf", "nan", "\v1", "-x"}) {
        EXPECT_TRUE(sameFloat(-77.0F, floatOf(value))) << value;
    }
}

TEST_F(Parameters, floatsClampByDigitsAndByValueOnlyWithAPoint) {
    const std::string ones39(39, '1');
    const std::string nines39(39, '9');
    EXPECT_TRUE(sameFloat(1.11111111e38F, floatOf(ones39)));
    EXPECT_TRUE(sameFloat(kInfinity, floatOf(nines39)));
    EXPECT_TRUE(sameFloat(-kInfinity, floatOf("-" + nines39)));
    EXPECT_TRUE(sameFloat(kFloatMax, floatOf(nines39 + ".")));
    EXPECT_TRUE(sameFloat(-kFloatMax, floatOf("-" + nines39 + ".5")));
    EXPECT_TRUE(sameFloat(kFloatMax, floatOf(std::string(40, '1'))));
    EXPECT_TRUE(sameFloat(-kFloatMax, floatOf(std::string("-") + std::string(40, '1'))));
    EXPECT_TRUE(sameFloat(1.11111111e38F, floatOf("000" + ones39)));
    EXPECT_TRUE(sameFloat(1.0F, floatOf(std::string(60, '0') + "1")));
}

TEST_F(Parameters, parseFloat32TellsWhatHappened) {
    const std::string largest = "340282346638528859811704183484516925440";
    float out = -77;
    EXPECT_EQ(parseFloat32("1.5", out), parseOk);
    EXPECT_EQ(parseFloat32("0abc", out), parseOk);
    EXPECT_TRUE(sameFloat(0.0F, out));
    EXPECT_EQ(parseFloat32((largest + ".0").c_str(), out), parseOk);
    EXPECT_TRUE(sameFloat(kFloatMax, out));
    EXPECT_EQ(parseFloat32("350000000000000000000000000000000000000.0", out), parseClamped);
    EXPECT_EQ(parseFloat32("350000000000000000000000000000000000000", out), parseOk);
    EXPECT_TRUE(sameFloat(kInfinity, out));
    EXPECT_EQ(parseFloat32((std::string("-") + std::string(40, '9')).c_str(), out), parseClamped);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(out), 0xFF7FFFFFU);
    EXPECT_EQ(parseFloat32(std::string(40, '9').c_str(), out), parseClamped);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(out), 0x7F7FFFFFU);
    EXPECT_EQ(parseFloat32("", out), parseNoNumber);
    EXPECT_EQ(parseFloat32("-", out), parseNoNumber);
    EXPECT_EQ(parseFloat32(" 1", out), parseNoNumber);
    EXPECT_TRUE(sameFloat(kFloatMax, out));
}

struct WholeCase {
    std::string text;
    ParseResult result;
    double value;      // -77 where it stays untouched
    std::size_t read;  // bytes that the cursor moves
};

TEST_F(Parameters, wholePartStopsWhereTheNumberEnds) {
    const std::string ones39(39, '1');
    const WholeCase cases[] = {
        {"", parseNoNumber, -77, 0},
        {"x", parseNoNumber, -77, 0},
        {"-1", parseNoNumber, -77, 0},
        {".5", parseOk, 0, 0},
        {"0", parseOk, 0, 1},
        {"00.5", parseOk, 0, 2},
        {"0x", parseStopped, 0, 1},
        {"00_1", parseStopped, 0, 2},
        {"0012x", parseOk, 12, 4},
        {"12.5", parseOk, 12, 2},
        {"123456789", parseOk, 123456789, 9},
        {ones39 + "1", parseClamped, -77, 39},
        {"00" + ones39 + "1", parseClamped, -77, 41},
    };
    for (const WholeCase& expected : cases) {
        const char* cursor = expected.text.c_str();
        double out = -77;
        EXPECT_EQ(parseWholePart(cursor, out), expected.result) << expected.text;
        EXPECT_EQ(out, expected.value) << expected.text;
        EXPECT_EQ(cursor - expected.text.c_str(), static_cast<std::ptrdiff_t>(expected.read))
            << expected.text;
    }
}

// The expected doubles were worked out with Python's floats, by the sum over digits from the last
// to the first with a scale multiplied by 10 each time. For these digits the sum from the first to
// the last, Horner's rule and the correctly rounded value all differ from it.
TEST_F(Parameters, wholePartAddsFromTheLastDigitToTheFirst) {
    const struct {
        const char* text;
        double value;
    } cases[] = {
        {"481264565758112991", 0x1.ab72e4a73fad4p+58},
        {"1213593482371969166", 0x1.0d78cd7a282b0p+60},
        {"64625263167169466681", 0x1.c06d8739c1a2cp+65},
        {"966927573761638936484853", 0x1.99827f636cb9cp+79},
        {"340282346638528859811704183484516925440", 0x1.fffffdffffffep+127},
    };
    for (const auto& expected : cases) {
        const char* cursor = expected.text;
        double out = 0;
        EXPECT_EQ(parseWholePart(cursor, out), parseOk);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(out), std::bit_cast<std::uint64_t>(expected.value))
            << expected.text << std::hexfloat << ": expected " << expected.value << ", actual "
            << out;
    }
}

// The same with the sum from the first digit to the last and a scale multiplied by 0.1 each time.
// The sum from the last to the first, division by powers of ten and correct rounding all differ
// from it.
TEST_F(Parameters, fractionAddsFromTheFirstDigitToTheLast) {
    const struct {
        const char* text;
        double value;
    } cases[] = {
        {"", 0.0},
        {"x", 0.0},
        {"5", 0.5},
        {"3", 3 * 0.1},
        {"0957", 0x1.87fcb923a29cap-4},
        {"04615", 0x1.7a0f9096bb98fp-5},
        {"003438", 0x1.c2a023209678bp-9},
        {"0098325", 0x1.4230fcf80dc36p-7},
        {"0098325e7", 0x1.4230fcf80dc36p-7},
    };
    for (const auto& expected : cases) {
        const char* cursor = expected.text;
        double out = -77;
        parseFractionPart(cursor, out);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(out), std::bit_cast<std::uint64_t>(expected.value))
            << expected.text << std::hexfloat << ": expected " << expected.value << ", actual "
            << out;
        EXPECT_FALSE(*cursor >= '0' && *cursor <= '9');
    }
}

TEST_F(Parameters, fractionReadsThirtyEightDigits) {
    const std::string zeros(37, '0');
    const std::string text = zeros + "19";
    const char* cursor = text.c_str();
    double one = 0;
    parseFractionPart(cursor, one);
    EXPECT_EQ(cursor, text.c_str() + 38);
    EXPECT_GT(one, 0.99e-38);
    EXPECT_LT(one, 1.01e-38);

    const std::string beyond = zeros + "09";
    cursor = beyond.c_str();
    double none = -77;
    parseFractionPart(cursor, none);
    EXPECT_EQ(none, 0.0);
    EXPECT_TRUE(sameFloat(0.5F, floatOf(".5" + std::string(37, '0') + "9")));
}

TEST_F(Parameters, listsSplitAtUnderscores) {
    EXPECT_EQ(splitList(""), Strings{});
    EXPECT_EQ(splitList("a"), Strings{"a"});
    EXPECT_EQ(splitList("a_"), Strings{"a"});
    EXPECT_EQ(splitList("_a"), (Strings{"", "a"}));
    EXPECT_EQ(splitList("a__b"), (Strings{"a", "", "b"}));
    EXPECT_EQ(splitList("_"), Strings{""});
    EXPECT_EQ(splitList("__"), (Strings{"", ""}));
    EXPECT_EQ(stringsOf("5-1-1_5-1-2"), (Strings{"5-1-1", "5-1-2"}));
    EXPECT_EQ(stringsOf("a__b_"), (Strings{"a", "", "b"}));
}

TEST_F(Parameters, intListsReadEachToken) {
    EXPECT_EQ(intsOf("1_2_3"), (Ints{1, 2, 3}));
    EXPECT_EQ(intsOf("-1_+2_010_0x10_3x_1.9_1e3"), (Ints{-1, 2, 10, 0, 3, 1, 1}));
    EXPECT_EQ(intsOf("\v5_\f6"), (Ints{5, 6}));
    EXPECT_EQ(intsOf("2147483647_-2147483648"), (Ints{kIntMax, kIntMin}));
}

TEST_F(Parameters, intTokenWithoutNumberRepeatsTheOneBefore) {
    EXPECT_EQ(intsOf("4_x_5"), (Ints{4, 4, 5}));
    EXPECT_EQ(intsOf("4__-_+x_5_"), (Ints{4, 4, 4, 4, 5}));
    EXPECT_EQ(intsOf("x_5"), (Ints{0, 5}));
    EXPECT_EQ(intsOf("_5"), (Ints{0, 5}));
}

TEST_F(Parameters, intTokenThatDoesNotFitRepeatsTheOneBefore) {
    EXPECT_EQ(intsOf("4_99999999999_5"), (Ints{4, 4, 5}));
    EXPECT_EQ(intsOf("4_-99999999999999999999999_2147483648"), (Ints{4, 4, 4}));
    EXPECT_EQ(intsOf("99999999999"), Ints{0});
}

TEST_F(Parameters, floatListsKnowExponents) {
    EXPECT_TRUE(sameFloats(Floats{1500}, floatsOf("1.5e3")));
    EXPECT_TRUE(sameFloats(Floats{1, 0.5F, -0.25F, 0.125F}, floatsOf("1_.5_-.25_125E-3")));
    EXPECT_TRUE(sameFloats(Floats{0.1F, 3, 0, 10}, floatsOf("0.1_3x_0x10_010")));
    EXPECT_TRUE(sameFloats(Floats{kFloatMax}, floatsOf("3.4028235e38")));
}

TEST_F(Parameters, floatTokenWithoutNumberRepeatsTheOneBefore) {
    EXPECT_TRUE(sameFloats(Floats{1.5F, 1.5F, 1.5F, 2}, floatsOf("1.5_x__2")));
    EXPECT_TRUE(sameFloats(Floats{1.5F, 1.5F, 1.5F}, floatsOf("1.5_e5_.")));
    EXPECT_TRUE(sameFloats(Floats{1.5F, 1.5F, 2}, floatsOf("1.5_1e99_2")));
    EXPECT_TRUE(sameFloats(Floats{0, 2}, floatsOf("x_2")));
}

TEST_F(Parameters, floatListReadsNoOtherKey) {
    describe("coeff=1\nCoeffs=2\ncoeffss=3");
    EXPECT_TRUE(getFloatList("s").empty());
}

// A decimal comma, and points between groups of three.
class CommaPunctuation : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST_F(Parameters, globalLocaleChangesNothing) {
    // The locale owns its facet.
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    const float scalar = floatOf("1.5");
    const Floats floats = floatsOf("1.5_1234.25");
    const Ints ints = intsOf("1234567_1.234");
    const std::int32_t integer = intOf("1234567");
    std::locale::global(before);
    EXPECT_TRUE(sameFloat(1.5F, scalar));
    EXPECT_TRUE(sameFloats(Floats{1.5F, 1234.25F}, floats));
    EXPECT_EQ(ints, (Ints{1234567, 1}));
    EXPECT_EQ(integer, 1234567);
}

TEST_F(Parameters, localeOfTheCLibraryChangesNothing) {
    const GermanLocale german;
    const std::string comma = GermanLocale::oneHalf();
    const float scalar = floatOf("1.5");
    const Floats floats = floatsOf("1.5_1234.25");
    EXPECT_EQ(comma, "0,5") << "the locale is not in force";
    EXPECT_TRUE(sameFloat(1.5F, scalar));
    EXPECT_TRUE(sameFloats(Floats{1.5F, 1234.25F}, floats));
}

}  // namespace

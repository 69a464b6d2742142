#include "description/parameters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/german_locale.h"

namespace {

using Strings = std::vector<std::string>;
using Ints = std::vector<std::int32_t>;
using Floats = std::vector<float>;

constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr float kFloatMax = std::numeric_limits<float>::max();

// A section "s" with one key "coeffs", which every getter but getFloatList could read under any
// other name.
struct Section {
    explicit Section(const std::string& value)
        : description(parseDescription(("[s]\ncoeffs=" + value).c_str())) {}

    const DescriptionSection* get() const { return getSection(description, "s"); }

    NetDescription description;
};

std::int32_t intOf(const std::string& value) {
    std::int32_t out = -77;
    getInt(Section(value).get(), "coeffs", out);
    return out;
}

// -77 where getFloat finds no number.
float floatOf(const std::string& value) {
    float out = -77;
    const bool found = getFloat(Section(value).get(), "coeffs", out);
    EXPECT_EQ(found, out != -77) << value;
    return out;
}

std::string stringOf(const std::string& value) {
    std::string out = "before";
    EXPECT_TRUE(getString(Section(value).get(), "coeffs", out)) << value;
    return out;
}

Ints intsOf(const std::string& value) {
    return getIntList(Section(value).get(), "coeffs");
}

Floats floatsOf(const std::string& value) {
    return getFloatList(Section(value).get());
}

void expectAllMissing(const DescriptionSection* section, const std::string& key) {
    std::string text = "before";
    std::int32_t integer = -77;
    float number = -77;
    EXPECT_FALSE(getString(section, key, text)) << key;
    EXPECT_FALSE(getFloat(section, key, number)) << key;
    getInt(section, key, integer);
    EXPECT_EQ(text, "before") << key;
    EXPECT_EQ(number, -77) << key;
    EXPECT_EQ(integer, -77) << key;
    EXPECT_EQ(getStringList(section, key), Strings{}) << key;
    EXPECT_EQ(getIntList(section, key), Ints{}) << key;
}

}  // namespace

TEST(Parameters, sectionsAreFoundByTheirNameAndTheEmptyNameStandsForTheDefault) {
    NetDescription description = parseDescription("k=1\n[s]\nk=2\n");
    ASSERT_NE(getSection(description, "s"), nullptr);
    EXPECT_EQ(getSection(description, "s")->name, "s");
    EXPECT_EQ(getSection(description, "[DEFAULT]"), &description.sections[0]);
    EXPECT_EQ(getSection(description, "S"), nullptr);
    EXPECT_EQ(getSection(description, ""), nullptr) << "no section is the default";
    description.defaultSection = 0;
    EXPECT_EQ(getSection(description, ""), &description.sections[0]);
}

TEST(Parameters, missingSectionsAndKeysLeaveTheCallersValues) {
    const Section section("1");
    for (const char* key : {"x", "coeff", "Coeffs", ""}) {
        expectAllMissing(section.get(), key);
    }
    expectAllMissing(nullptr, "coeffs");
    expectAllMissing(nullptr, "");
    EXPECT_EQ(getFloatList(nullptr), Floats{});
    const NetDescription others = parseDescription("[s]\ncoeff=1\nCoeffs=2\ncoeffss=3");
    EXPECT_EQ(getFloatList(getSection(others, "s")), Floats{});
}

TEST(Parameters, theEmptyKeyStandsForTheDefaultEntry) {
    DescriptionSection section = *Section("5").get();
    section.defaultEntry = 0;
    std::string text;
    EXPECT_TRUE(getString(&section, "", text));
    EXPECT_EQ(text, "5");
}

TEST(Parameters, scalarsEndAtTheFirstCommaAndKeepTheDefaultWithoutANumber) {
    EXPECT_EQ(stringOf("a,b"), "a");
    EXPECT_EQ(stringOf(",b"), "");
    EXPECT_EQ(stringOf("a_b"), "a_b");
    EXPECT_EQ(intOf("1,2"), 1);
    EXPECT_EQ(intOf(",2"), -77);
    EXPECT_EQ(intOf("abc"), -77);
    EXPECT_EQ(intOf("99999999999"), kIntMax) << "a clamped number is a number";
    EXPECT_EQ(floatOf("1,5"), 1.0F);
    EXPECT_EQ(floatOf("-1.5e3"), -1.5F);
    EXPECT_EQ(floatOf(",5"), -77.0F);
    EXPECT_EQ(floatOf("abc"), -77.0F);
    EXPECT_EQ(floatOf(std::string(40, '9')), kFloatMax) << "a clamped number is a number";
    EXPECT_EQ(floatOf("0x"), 0.0F) << "and so is a stopped one";
}

TEST(Parameters, listsSplitAtUnderscoresOfWhichAFinalOneOpensNoToken) {
    const struct {
        const char* text;
        Strings tokens;
    } examples[] = {
        {"", {}},
        {"a", {"a"}},
        {"a_", {"a"}},
        {"_a", {"", "a"}},
        {"_", {""}},
        {"__", {"", ""}},
        {"a__b_", {"a", "", "b"}},
        {"5-1-1_5-1-2", {"5-1-1", "5-1-2"}},
    };
    for (const auto& example : examples) {
        EXPECT_EQ(splitList(example.text), example.tokens) << example.text;
    }
    EXPECT_EQ(getStringList(Section("a__b_,c").get(), "coeffs"), (Strings{"a", "", "b"}));
    EXPECT_EQ(getStringList(Section(",b").get(), "coeffs"), Strings{});
}

TEST(Parameters, intTokensWithoutANumberThatFitsRepeatTheOneBefore) {
    const struct {
        const char* text;
        Ints numbers;
    } examples[] = {
        {"1_2,3_4", {1, 2}},
        {"-1_+2_010_0x10_3x_1.9_1e3", {-1, 2, 10, 0, 3, 1, 1}},
        {"\v5_\f6", {5, 6}},
        {"2147483647_-2147483648", {kIntMax, kIntMin}},
        {"4__-_+x_5_", {4, 4, 4, 4, 5}},
        {"x_5", {0, 5}},
        {"_5", {0, 5}},
        {"4_-99999999999999999999999_2147483648_5", {4, 4, 4, 5}},
        {"99999999999", {0}},
    };
    for (const auto& example : examples) {
        EXPECT_EQ(intsOf(example.text), example.numbers) << example.text;
    }
}

TEST(Parameters, floatTokensKnowExponentsAndRepeatTheOneBefore) {
    const struct {
        const char* text;
        Floats numbers;
    } examples[] = {
        {"1.5e3", {1500}},
        {"1_.5_-.25_125E-3", {1, 0.5F, -0.25F, 0.125F}},
        {"0.1_3x_0x10_010", {0.1F, 3, 0, 10}},
        {"3.4028235e38_-0", {kFloatMax, -0.0F}},
        {"1.5_x__e5_._1e99_2", {1.5F, 1.5F, 1.5F, 1.5F, 1.5F, 1.5F, 2}},
        {"x_2", {0, 2}},
    };
    for (const auto& example : examples) {
        EXPECT_TRUE(sameFloats(example.numbers, floatsOf(example.text))) << example.text;
    }
}

namespace {

// A decimal comma, and points between groups of three.
class CommaPunctuation : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

void expectPlainNumbers() {
    EXPECT_EQ(floatOf("1.5"), 1.5F);
    EXPECT_EQ(intOf("1234567"), 1234567);
    EXPECT_EQ(floatsOf("1.5_1234.25"), (Floats{1.5F, 1234.25F}));
    EXPECT_EQ(intsOf("1234567_1.234"), (Ints{1234567, 1}));
}

}  // namespace

TEST(Parameters, theGlobalLocaleChangesNothing) {
    // The locale owns its facet.
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    expectPlainNumbers();
    std::locale::global(before);
}

TEST(Parameters, theLocaleOfTheCLibraryChangesNothing) {
    const GermanLocale german;
    EXPECT_EQ(GermanLocale::oneHalf(), "0,5") << "the locale is not in force";
    expectPlainNumbers();
}

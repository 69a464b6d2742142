#include "description/parameters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <utility>
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

// A section of one key, "coeffs": the one that getFloatList reads.
DescriptionSection sectionOf(const std::string& value) {
    return *getSection(parseDescription(("[s]\ncoeffs=" + value).c_str()), "s");
}

// What the getters of scalars make of `value`, or leave where they find nothing.
struct Scalars {
    explicit Scalars(const std::string& value) : Scalars(sectionOf(value)) {}
    explicit Scalars(const DescriptionSection& section) : Scalars(&section, "coeffs") {}
    Scalars(const DescriptionSection* section, const std::string& key)
        : hasText(getString(section, key, text)), hasNumber(getFloat(section, key, number)) {
        getInt(section, key, integer);
    }

    std::string text = "before";
    float number = -77;
    std::int32_t integer = -77;
    bool hasText;
    bool hasNumber;
};

Ints intsOf(const std::string& value) {
    const DescriptionSection section = sectionOf(value);
    return getIntList(&section, "coeffs");
}

Floats floatsOf(const std::string& value) {
    const DescriptionSection section = sectionOf(value);
    return getFloatList(&section);
}

void expectMissing(const DescriptionSection* section, const std::string& key) {
    const Scalars scalars(section, key);
    EXPECT_FALSE(scalars.hasText || scalars.hasNumber) << key;
    EXPECT_EQ(scalars.text, "before") << key;
    EXPECT_EQ(scalars.number, -77) << key;
    EXPECT_EQ(scalars.integer, -77) << key;
    EXPECT_EQ(getStringList(section, key), Strings{}) << key;
    EXPECT_EQ(getIntList(section, key), Ints{}) << key;
}

}  // namespace

TEST(Parameters, sectionsAreFoundByTheirNameAndTheEmptyNameStandsForTheDefault) {
    NetDescription description = parseDescription("k=1\n[s]\nk=2\n");
    EXPECT_EQ(getSection(description, "s"), &description.sections[1]);
    EXPECT_EQ(getSection(description, "[DEFAULT]"), &description.sections[0]);
    EXPECT_EQ(getSection(description, "S"), nullptr);
    EXPECT_EQ(getSection(description, ""), nullptr) << "no section is the default";
    description.defaultSection = 0;
    EXPECT_EQ(getSection(description, ""), &description.sections[0]);
}

TEST(Parameters, missingSectionsAndKeysLeaveTheCallersValues) {
    DescriptionSection section = sectionOf("5");
    for (const char* key : {"x", "coeff", "Coeffs", "coeffss", ""}) {
        expectMissing(&section, key);
        expectMissing(nullptr, key);
    }
    EXPECT_EQ(getFloatList(nullptr), Floats{});
    section.defaultEntry = 0;
    EXPECT_EQ(Scalars(&section, "").text, "5") << "the empty key stands for the default entry";
    section.entries = {std::string("coeff\0001\0\0", 9)};
    EXPECT_EQ(getFloatList(&section), Floats{});
}

TEST(Parameters, scalarsEndAtTheFirstCommaAndLeaveTheCallersValueWithoutANumber) {
    const struct {
        std::string value;
        std::string text;
        std::int32_t integer;
        float number;
        bool hasNumber;
    } examples[] = {
        {"12,3", "12", 12, 12, true},
        {",3", "", -77, -77, false},
        {"a_b", "a_b", -77, -77, false},
        {"-1.5e3", "-1.5e3", -1, -1.5F, true},
        {".5", ".5", -77, 0.5F, true},
        {"0x", "0x", 0, 0, true},  // a number that stops is one
        {"99999999999", "99999999999", kIntMax, 99999999999.0F, true},
        {"350000000000000000000000000000000000000.", "350000000000000000000000000000000000000.",
         kIntMax, kFloatMax, true},  // and so is one that is clamped
    };
    for (const auto& example : examples) {
        const Scalars scalars(example.value);
        EXPECT_TRUE(scalars.hasText);
        EXPECT_EQ(scalars.text, example.text);
        EXPECT_EQ(scalars.integer, example.integer) << example.value;
        EXPECT_EQ(scalars.number, example.number) << example.value;
        EXPECT_EQ(scalars.hasNumber, example.hasNumber) << example.value;
    }
}

TEST(Parameters, listsSplitAtUnderscoresOfWhichAFinalOneOpensNoToken) {
    const std::vector<std::pair<std::string, Strings>> examples = {
        {"", {}},          {"a", {"a"}},
        {"a_", {"a"}},     {"_", {""}},
        {"__", {"", ""}},  {"a__b_", {"a", "", "b"}},
        {"_a", {"", "a"}}, {"5-1-1_5-1-2", {"5-1-1", "5-1-2"}},
    };
    for (const auto& [text, tokens] : examples) {
        EXPECT_EQ(splitList(text), tokens) << text;
        const DescriptionSection section = sectionOf(text + ",_x");
        EXPECT_EQ(getStringList(&section, "coeffs"), tokens) << text;
    }
}

TEST(Parameters, intTokensWithoutANumberThatFitsRepeatTheOneBefore) {
    const std::vector<std::pair<std::string, Ints>> examples = {
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
    for (const auto& [text, numbers] : examples) {
        EXPECT_EQ(intsOf(text), numbers) << text;
    }
}

TEST(Parameters, floatTokensKnowExponentsAndRepeatTheOneBefore) {
    const std::vector<std::pair<std::string, Floats>> examples = {
        {"1.5e3", {1500}},
        {"1_.5_-.25_125E-3", {1, 0.5F, -0.25F, 0.125F}},
        {"0.1_3x_0x10_010", {0.1F, 3, 0, 10}},
        {"3.4028235e38_-0", {kFloatMax, -0.0F}},
        {"1.5_x__e5_._1e99_2", {1.5F, 1.5F, 1.5F, 1.5F, 1.5F, 1.5F, 2}},
        {"x_2", {0, 2}},
    };
    for (const auto& [text, numbers] : examples) {
        EXPECT_TRUE(sameFloats(numbers, floatsOf(text))) << text;
    }
}

static void expectPlainNumbers() {
    EXPECT_EQ(Scalars("1234567").integer, 1234567);
    EXPECT_EQ(Scalars("1.5").number, 1.5F);
    EXPECT_EQ(floatsOf("1.5_1234.25"), (Floats{1.5F, 1234.25F}));
    EXPECT_EQ(intsOf("1234567_1.234"), (Ints{1234567, 1}));
}

// A decimal comma, and points between groups of three.
class CommaPunctuation : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

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

#include "description/parameters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include "reference/reference_numbers.h"
#include "support/bits.h"
#include "support/german_locale.h"
#include "support/random.h"

namespace {

using Strings = std::vector<std::string>;
using Ints = std::vector<std::int32_t>;
using Floats = std::vector<float>;

constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
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

TEST(Parameters, randomListsGiveWhatThePlainListsGive) {
    // A token without a number that fits repeats the one before.
    const std::string marks = "____-+.xeE\v\f";
    const std::string words[] = {"2147483647", "-2147483648", "3.4028235e38", "1e99"};
    Random random(29);
    for (int round = 0; round < 50000; ++round) {
        std::string value;
        for (int parts = random.between(0, 9); parts > 0; --parts) {
            value += random.oneIn(9) ? random.oneOf(words) : std::string(1, random.oneOf(marks));
            for (int digits = random.between(-2, random.oneIn(9) ? 25 : 4); digits > 0; --digits) {
                value += static_cast<char>('0' + random.between(0, 9));
            }
        }
        const std::vector<std::string> tokens = referenceTokens(value);
        Ints ints;
        Floats floats;
        std::int32_t integer = 0;
        float number = 0;
        for (const std::string& token : tokens) {
            referenceListInt(token, integer);
            ints.push_back(integer);
            referenceListFloat(token, number);
            floats.push_back(number);
        }
        ASSERT_EQ(splitList(value), tokens) << value;
        const DescriptionSection section = sectionOf(value + ",_x");
        ASSERT_EQ(getStringList(&section, "coeffs"), tokens) << value;
        ASSERT_EQ(getIntList(&section, "coeffs"), ints) << value;
        ASSERT_TRUE(sameFloats(floats, getFloatList(&section))) << value;
    }
}

static void expectPlainNumbers() {
    EXPECT_EQ(Scalars("1234567").integer, 1234567);
    EXPECT_EQ(Scalars("1.5").number, 1.5F);
    const DescriptionSection section = sectionOf("1.5_1234.25");
    EXPECT_EQ(getFloatList(&section), (Floats{1.5F, 1234.25F}));
    EXPECT_EQ(getIntList(&section, "coeffs"), (Ints{1, 1234}));
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

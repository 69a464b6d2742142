#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "reference/reference_arithmetic.h"
#include "support/bits.h"
#include "support/random.h"
#include "zomu.h"

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();

static FaceTemplate zeroTemplate() {
    FaceTemplate t;
    std::memset(&t, 0, sizeof t);
    return t;
}

// A template as an extraction might give it: length and values belong together.
static FaceTemplate randomTemplate(Random& random) {
    FaceTemplate t;
    double squares = 0;
    for (float& value : t.projection) {
        value = random.uniform(-1.0F, 1.0F);
        squares += static_cast<double>(value) * static_cast<double>(value);
    }
    t.quadraticTerm = random.uniform(50.0F, 150.0F);
    t.projectionNorm = static_cast<float>(std::sqrt(squares));
    return t;
}

static float& valueAt(FaceTemplate& t, std::size_t index) {
    return index < 500 ? t.projection[index] : index == 500 ? t.quadraticTerm : t.projectionNorm;
}

TEST(Comparison, smallTemplateGivesTheScoreWorkedOutByHand) {
    FaceTemplate t = zeroTemplate();
    t.projection[0] = 3.0F;
    t.projection[1] = 4.0F;
    t.quadraticTerm = 10.0F;
    t.projectionNorm = 5.0F;
    // (2 x 25 - 20) / 25 + 1
    EXPECT_TRUE(sameFloat(2.2F, ZomuCompareTemplates(&t, &t)));
}

TEST(Comparison, zeroNormGivesInfinityOfTheNumeratorsSign) {
    FaceTemplate a = zeroTemplate();
    a.projection[0] = 1.0F;
    FaceTemplate b = a;
    b.projectionNorm = 3.0F;
    EXPECT_TRUE(sameFloat(kInfinity, ZomuCompareTemplates(&a, &b)));
    EXPECT_TRUE(sameFloat(kInfinity, ZomuCompareTemplates(&b, &a)));
    b.quadraticTerm = 7.0F;
    EXPECT_TRUE(sameFloat(-kInfinity, ZomuCompareTemplates(&a, &b)));
    EXPECT_TRUE(sameFloat(-kInfinity, ZomuCompareTemplates(&b, &a)));
}

TEST(Comparison, zeroNormAndZeroNumeratorGiveNan) {
    FaceTemplate a = zeroTemplate();
    FaceTemplate b = zeroTemplate();
    EXPECT_TRUE(std::isnan(ZomuCompareTemplates(&a, &b)));
    a.projection[0] = 1.0F;
    b.projection[0] = 1.0F;
    a.quadraticTerm = 2.0F;
    EXPECT_TRUE(std::isnan(ZomuCompareTemplates(&a, &b)));
}

TEST(Comparison, nanAnywhereInEitherTemplateGivesNan) {
    Random random(31);
    const FaceTemplate clean = randomTemplate(random);
    for (std::size_t index = 0; index < 502; ++index) {
        FaceTemplate spoilt = clean;
        valueAt(spoilt, index) = kNan;
        EXPECT_TRUE(std::isnan(ZomuCompareTemplates(&spoilt, &clean))) << "index " << index;
        EXPECT_TRUE(std::isnan(ZomuCompareTemplates(&clean, &spoilt))) << "index " << index;
    }
}

// 3 - 2 quadraticTerm / projectionNorm^2, not a fixed value and not a maximum.
TEST(Comparison, templateAgainstItselfTakesNoShortCut) {
    Random random(32);
    for (int round = 0; round < 50; ++round) {
        const FaceTemplate t = randomTemplate(random);
        const auto norm = static_cast<double>(t.projectionNorm);
        const double expected = 3.0 - 2.0 * static_cast<double>(t.quadraticTerm) / (norm * norm);
        EXPECT_NEAR(expected, static_cast<double>(ZomuCompareTemplates(&t, &t)), 1e-5);
    }
    // Half as long and with the old length: less alike to itself than to the whole.
    const FaceTemplate whole = randomTemplate(random);
    FaceTemplate half = whole;
    for (float& value : half.projection) {
        value *= 0.5F;
    }
    EXPECT_LT(ZomuCompareTemplates(&half, &half), ZomuCompareTemplates(&half, &whole));
}

TEST(Comparison, scoreIsNotClamped) {
    FaceTemplate a = zeroTemplate();
    a.projection[0] = 100.0F;
    a.projectionNorm = 1.0F;
    FaceTemplate b = a;
    EXPECT_EQ(20001.0F, ZomuCompareTemplates(&a, &b));
    b.projection[0] = -100.0F;
    EXPECT_EQ(-19999.0F, ZomuCompareTemplates(&a, &b));
}

// The product overflows in 32 bits although the score would be moderate.
TEST(Comparison, intermediatesAreNoWiderThan32Bits) {
    FaceTemplate a = zeroTemplate();
    a.projection[0] = 2e19F;
    a.projectionNorm = 2e19F;
    EXPECT_TRUE(std::isnan(ZomuCompareTemplates(&a, &a)));
    FaceTemplate b = a;
    b.projectionNorm = 1.0F;
    EXPECT_TRUE(sameFloat(kInfinity, ZomuCompareTemplates(&a, &b)));
}

TEST(Comparison, equalsTheReferenceBitForBitInBothDirections) {
    Random random(33);
    for (int round = 0; round < 2000; ++round) {
        const FaceTemplate a = randomTemplate(random);
        const FaceTemplate b = randomTemplate(random);
        const float expected = referenceCompareTemplates(a, b);
        ASSERT_TRUE(sameFloat(expected, ZomuCompareTemplates(&a, &b))) << "round " << round;
        ASSERT_TRUE(sameFloat(expected, ZomuCompareTemplates(&b, &a))) << "round " << round;
    }
}

TEST(Comparison, equalsTheReferenceOnAnyBitPatterns) {
    Random random(34);
    for (int round = 0; round < 2000; ++round) {
        FaceTemplate a = randomTemplate(random);
        FaceTemplate b = randomTemplate(random);
        // Few odd values in most rounds, all of them odd in some.
        const int oddValues = round % 10 == 0 ? 502 : random.between(1, 3);
        for (int i = 0; i < oddValues; ++i) {
            valueAt(a, static_cast<std::size_t>(random.between(0, 501))) = random.anyFloat();
            valueAt(b, static_cast<std::size_t>(random.between(0, 501))) = random.anyFloat();
        }
        const float expected = referenceCompareTemplates(a, b);
        ASSERT_TRUE(sameFloat(expected, ZomuCompareTemplates(&a, &b))) << "round " << round;
        ASSERT_TRUE(sameFloat(expected, ZomuCompareTemplates(&b, &a))) << "round " << round;
    }
}

TEST(Comparison, templatesAreOnlyRead) {
    Random random(35);
    const FaceTemplate a = randomTemplate(random);
    const FaceTemplate b = randomTemplate(random);
    const FaceTemplate copyOfA = a;
    const FaceTemplate copyOfB = b;
    ZomuCompareTemplates(&a, &b);
    EXPECT_EQ(0, std::memcmp(&a, &copyOfA, sizeof a));
    EXPECT_EQ(0, std::memcmp(&b, &copyOfB, sizeof b));
}

// The rest of the score for a dot product that was summed in some way.
static float scoreOf(float dot, const FaceTemplate& a, const FaceTemplate& b) {
    return (dot * 2.0F - (a.quadraticTerm + b.quadraticTerm)) /
               (a.projectionNorm * b.projectionNorm) +
           1.0F;
}

// The random templates tell the right score from each of these wrong ones in many rounds. The
// scores themselves are a few units, so that not every change of the dot product reaches their last
// bit.
TEST(Comparison, otherRoundingsWouldBeNoticed) {
    Random random(33);
    int reversed = 0, fourLanes = 0, fused = 0, wide = 0, separateTerms = 0, twoDivisions = 0;
    for (int round = 0; round < 2000; ++round) {
        const FaceTemplate a = randomTemplate(random);
        const FaceTemplate b = randomTemplate(random);
        const float right = ZomuCompareTemplates(&a, &b);
        const float* p = a.projection;
        const float* q = b.projection;
        float dot = 0, dotReversed = 0, dotFused = 0;
        float lane[4] = {0, 0, 0, 0};
        double dotWide = 0;
        for (int i = 0; i < 500; ++i) {
            dot = dot + p[i] * q[i];
            dotReversed = dotReversed + p[499 - i] * q[499 - i];
            dotFused = std::fma(p[i], q[i], dotFused);
            lane[i % 4] = lane[i % 4] + p[i] * q[i];
            dotWide += static_cast<double>(p[i]) * static_cast<double>(q[i]);
        }
        ASSERT_TRUE(sameFloat(right, scoreOf(dot, a, b))) << "this is the way it has to be";
        const auto differs = [&](float score) { return sameBits(right, score) ? 0 : 1; };
        reversed += differs(scoreOf(dotReversed, a, b));
        fourLanes += differs(scoreOf((lane[0] + lane[1]) + (lane[2] + lane[3]), a, b));
        fused += differs(scoreOf(dotFused, a, b));
        wide += differs(scoreOf(static_cast<float>(dotWide), a, b));
        const float d = a.projectionNorm * b.projectionNorm;
        separateTerms += differs(((dot * 2.0F - a.quadraticTerm) - b.quadraticTerm) / d + 1.0F);
        const float numerator = dot * 2.0F - (a.quadraticTerm + b.quadraticTerm);
        twoDivisions += differs(numerator / a.projectionNorm / b.projectionNorm + 1.0F);
    }
    EXPECT_GT(reversed, 20);
    EXPECT_GT(fourLanes, 20);
    EXPECT_GT(fused, 20);
    EXPECT_GT(wide, 20);
    EXPECT_GT(separateTerms, 20);
    EXPECT_GT(twoDivisions, 20);
}

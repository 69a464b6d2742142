#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "reference/reference_arithmetic.h"
#include "support/bits.h"
#include "support/random.h"
#include "zomu.h"

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

FaceTemplate made(float first, float quadraticTerm, float projectionNorm, float second = 0) {
    FaceTemplate t = {};
    t.projection[0] = first;
    t.projection[1] = second;
    t.quadraticTerm = quadraticTerm;
    t.projectionNorm = projectionNorm;
    return t;
}

// A template as an extraction might give it: length and values belong together.
FaceTemplate randomTemplate(Random& random) {
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

float& valueAt(FaceTemplate& t, std::size_t index) {
    return index < 500 ? t.projection[index] : index == 500 ? t.quadraticTerm : t.projectionNorm;
}

// Whichever comes first, and without a change to either.
float scoreOf(const FaceTemplate& a, const FaceTemplate& b) {
    const FaceTemplate before[] = {a, b};
    const float score = ZomuCompareTemplates(&a, &b);
    EXPECT_TRUE(sameFloat(score, ZomuCompareTemplates(&b, &a)));
    EXPECT_EQ(0, std::memcmp(&before[0], &a, sizeof a));
    EXPECT_EQ(0, std::memcmp(&before[1], &b, sizeof b));
    return score;
}

}  // namespace

TEST(Comparison, smallTemplatesGiveTheScoresWorkedOutByHand) {
    const struct {
        FaceTemplate a, b;
        float score;
    } cases[] = {
        {made(3, 10, 5, 4), made(3, 10, 5, 4), 2.2F},  // (2 x 25 - 20) / 25 + 1
        // A length of zero: infinity of the numerator's sign, or NaN where that is zero as well.
        {made(1, 0, 0), made(1, 0, 3), kInfinity},
        {made(1, 0, 0), made(1, 7, 3), -kInfinity},
        {made(0, 0, 0), made(0, 0, 0), kNan},
        {made(1, 2, 0), made(1, 0, 0), kNan},
        // Nothing is clamped.
        {made(100, 0, 1), made(100, 0, 1), 20001},
        {made(100, 0, 1), made(-100, 0, 1), -19999},
        // The product overflows in 32 bits although the score would be moderate.
        {made(2e19F, 0, 2e19F), made(2e19F, 0, 2e19F), kNan},
        {made(2e19F, 0, 2e19F), made(2e19F, 0, 1), kInfinity},
    };
    for (const auto& [a, b, score] : cases) {
        EXPECT_TRUE(sameFloat(score, scoreOf(a, b))) << "case " << &a - &cases[0].a;
    }
}

TEST(Comparison, equalsTheReferenceBitForBit) {
    Random random(33);
    for (int round = 0; round < 4000; ++round) {
        FaceTemplate a = randomTemplate(random);
        FaceTemplate b = randomTemplate(random);
        // Odd values in half of the rounds: few in most of these, all of them odd in some.
        const int oddValues = round < 2000 ? 0 : round % 10 == 0 ? 502 : random.between(1, 3);
        for (int i = 0; i < oddValues; ++i) {
            for (FaceTemplate* t : {&a, &b}) {
                valueAt(*t, static_cast<std::size_t>(random.between(0, 501))) =
                    random.oneIn(8) ? kNan : random.anyFloat();
            }
        }
        ASSERT_TRUE(sameFloat(referenceCompareTemplates(a, b), scoreOf(a, b))) << round;
        ASSERT_TRUE(sameFloat(referenceCompareTemplates(a, a), scoreOf(a, a))) << round;
    }
}

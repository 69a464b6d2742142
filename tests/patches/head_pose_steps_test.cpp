// The steps of patches/head_pose.h one by one, on arguments that the stage itself would hardly
// make.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <vector>

#include "patches/head_pose.h"
#include "patches/sample_face.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr auto kPi = static_cast<float>(std::numbers::pi);
constexpr auto kQuarterTurn = static_cast<float>(std::numbers::pi / 2.0);

// A symmetric system and its right-hand sides.
struct System {
    float a[8][8] = {};
    float g[8] = {1, 2, 3, 4, 5, 6, 7, 8};
};

System identity() {
    System system;
    for (int i = 0; i < 8; ++i) {
        system.a[i][i] = 1.0F;
    }
    return system;
}

// Solves the system by both. What is left of g is compared, and on success of the matrix, too.
testing::AssertionResult solvesAsTheReference(System& system, bool isSolvable) {
    ReferenceFloats a(&system.a[0][0], &system.a[0][0] + 64);
    ReferenceFloats g(system.g, system.g + 8);
    const bool expected = referenceSolve(a, g);
    if (solveCholesky8(system.a, system.g) != expected || expected != isSolvable) {
        return testing::AssertionFailure() << "solvable: " << expected;
    }
    const auto same = sameFloats(g.data(), system.g, 8);
    return same && isSolvable ? sameFloats(a.data(), &system.a[0][0], 64) : same;
}

void expectQuaternion(const float (&expected)[4], const Quaternion& q) {
    const float actual[4] = {q.x, q.y, q.z, q.w};
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(expected[i], actual[i], 1e-6F) << i;
    }
}

void expectAngles(float e0, float e1, float e2, const Quaternion& q) {
    float e[3];
    quaternionToEuler(q, e);
    EXPECT_NEAR(e0, e[0], 1e-6F);
    EXPECT_TRUE(sameFloat(e1, e[1]));
    EXPECT_NEAR(e2, e[2], 1e-6F);
}

}  // namespace

// --- fitAffineCamera ----------------------------------------------------------------------------

TEST(AffineCamera, findsBothRowsAndTheIntercepts) {
    const float expected[8] = {3, -5, 2, 7, 1, 0.5F, -4, -6};
    ModelPoint model[8];
    ImagePoint image[8];
    for (int i = 0; i < 8; ++i) {
        const ModelPoint m = {(i & 1) != 0 ? 1.0F : -1.0F, (i & 2) != 0 ? 1.0F : -1.0F,
                              (i & 4) != 0 ? 1.0F : -1.0F};
        model[i] = m;
        image[i] = {expected[0] * m.X + expected[1] * m.Y + expected[2] * m.Z + expected[3],
                    expected[4] * m.X + expected[5] * m.Y + expected[6] * m.Z + expected[7]};
    }
    float s[8];
    ASSERT_TRUE(fitAffineCamera(image, model, 8, s));
    for (int i = 0; i < 8; ++i) {
        EXPECT_NEAR(expected[i], s[i], 1e-5F) << "s" << i;
    }
}

TEST(AffineCamera, leavesTheRawSumsOfASingularSystem) {
    // Four points in a plane; four at one place; and three on an axis, whose sums tell their order:
    // 2^24 + 1 rounds back to 2^24, while the two ones first make 2^24 + 2.
    constexpr float kBig = 16777216.0F;
    const struct {
        int count;
        ModelPoint model[4];
        ImagePoint image[4];
        float expected[8];
    } cases[] = {
        {4,
         {{1, 1, 0}, {1, -1, 0}, {-1, 1, 0}, {-1, -1, 0}},
         {{3, 3}, {3, -3}, {-3, 3}, {-3, -3}},
         {12, 0, 0, 0, 0, 12, 0, 0}},
        {4, {}, {}, {}},
        {3,
         {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}},
         {{kBig, 1}, {1, 1}, {1, kBig}},
         {kBig, 0, 0, kBig, kBig + 2.0F, 0, 0, kBig + 2.0F}},
    };
    for (const auto& [count, model, image, expected] : cases) {
        float s[8];
        EXPECT_FALSE(fitAffineCamera(image, model, count, s));
        EXPECT_TRUE(sameFloats(expected, s, 8));
    }
}

// --- solveCholesky8 -----------------------------------------------------------------------------

TEST(Cholesky, solvesASystemWithKnownFactors) {
    // L has powers of two on its diagonal and small whole numbers below: nothing rounds.
    const float L[8][8] = {{2},
                           {1, 4},
                           {-1, 2, 1},
                           {0, 1, 3, 2},
                           {2, 0, -1, 1, 1},
                           {1, 1, 1, 1, 1, 4},
                           {0, -2, 0, 3, 0, 1, 2},
                           {1, 0, 2, 0, 1, 0, 1, 1}};
    const float x[8] = {1, -2, 3, -4, 5, -6, 7, -8};
    System system = {{}, {}};
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 8; ++j) {
            for (int k = 0; k < 8; ++k) {
                system.a[i][j] += L[i][k] * L[j][k];
            }
            system.g[i] += system.a[i][j] * x[j];
        }
    }
    ASSERT_TRUE(solveCholesky8(system.a, system.g));
    EXPECT_TRUE(sameFloats(x, system.g, 8));
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < i; ++j) {
            EXPECT_TRUE(sameFloat(L[i][j], system.a[i][j])) << i << ", " << j;
        }
        EXPECT_TRUE(sameFloat(1.0F / L[i][i], system.a[i][i])) << "diagonal " << i;
    }
}

TEST(Cholesky, refusesPivotsBelowTheSmallestNormalFloatAndLeavesTheRightHandSides) {
    for (int place = 0; place < 8; ++place) {
        for (const float pivot :
             {0.0F, -0.0F, -1.0F, std::nextafter(FLT_MIN, 0.0F), 1e-45F, -kInfinity}) {
            System system = identity();
            system.a[place][place] = pivot;
            EXPECT_TRUE(solvesAsTheReference(system, false)) << hexFloat(pivot) << " at " << place;
            EXPECT_TRUE(sameFloats(identity().g, system.g, 8));
        }
        for (const float pivot : {FLT_MIN, std::nextafter(FLT_MIN, 1.0F), kNaN, kInfinity}) {
            System system = identity();
            system.a[place][place] = pivot;
            EXPECT_TRUE(solvesAsTheReference(system, true)) << hexFloat(pivot) << " at " << place;
        }
    }
    System system = identity();
    system.a[3][3] = FLT_MIN;  // 2^-126
    system.g[3] = FLT_MIN;
    ASSERT_TRUE(solveCholesky8(system.a, system.g));
    EXPECT_TRUE(sameFloat(1.0F, system.g[3]));
}

TEST(Cholesky, equalsTheReference) {
    Random random(73);
    int solved = 0, refused = 0;
    for (int round = 0; round < 1000; ++round) {
        // B times its transpose is positive definite unless B lacks rank.
        System system;
        const int rank = random.between(1, 12);
        for (int column = 0; column < rank; ++column) {
            const std::vector<float> b = random.floats(8, -2, 2);
            for (std::size_t i = 0; i < 64; ++i) {
                system.a[i / 8][i % 8] += b[i / 8] * b[i % 8];
            }
        }
        if (random.oneIn(10)) {
            random.oneOf(random.oneOf(system.a)) = random.anyFloat();
        }
        for (float& value : system.g) {
            value = random.uniform(-100, 100);
        }
        System copy = system;
        const bool isSolvable = solveCholesky8(copy.a, copy.g);
        ASSERT_TRUE(solvesAsTheReference(system, isSolvable)) << "round " << round;
        ++(isSolvable ? solved : refused);
    }
    EXPECT_GT(solved, 100);
    EXPECT_GT(refused, 100);
}

// --- Rotation to angles -------------------------------------------------------------------------

// Elements off the diagonal are such that every sum and every difference is another number. In the
// first branch s is 4, in each of the next three, too. With two equal elements on the diagonal the
// later axis is chosen.
TEST(Quaternion, combinesTheRightElementsInEveryBranch) {
    const float root = std::sqrt(2.0F);
    const struct {
        float diagonal[3];
        float expected[4];  // before the division by their length
    } cases[] = {
        {{1, 1, 1}, {3.875F / 4, -1.75F / 4, 0.5F / 4, 1}},
        {{1, -1, -1}, {1, 1.5F / 4, 2.25F / 4, 3.875F / 4}},
        {{-1, 1, -1}, {1.5F / 4, 1, 4.125F / 4, -1.75F / 4}},
        {{-1, -1, 1}, {2.25F / 4, 4.125F / 4, 1, 0.5F / 4}},
        {{0, 0, -1}, {1.5F / (2 * root), root / 2, 4.125F / (2 * root), -1.75F / (2 * root)}},
        {{-1, 0, 0}, {2.25F / (2 * root), 4.125F / (2 * root), root / 2, 0.5F / (2 * root)}},
    };
    for (const auto& [d, expected] : cases) {
        float square = 0.0F;
        for (const float value : expected) {
            square += value * value;
        }
        const float length = std::sqrt(square);
        const float unit[4] = {expected[0] / length, expected[1] / length, expected[2] / length,
                               expected[3] / length};
        SCOPED_TRACE(testing::Message() << d[0] << ", " << d[1] << ", " << d[2]);
        expectQuaternion(
            unit, rotationToQuaternion({d[0], 0.5F, 0.25F, 1.0F, d[1], 0.125F, 2.0F, 4.0F, d[2]}));
    }
}

TEST(Angles, ofAHeadInProfileKeepRollAndLosePitch) {
    expectAngles(0.0F, kQuarterTurn, -kQuarterTurn, {0.5F, 0.5F, -0.5F, 0.5F});  // t = 1
    expectAngles(0.0F, -kQuarterTurn, kQuarterTurn, {0.5F, -0.5F, 0.5F, 0.5F});  // t = -1
}

TEST(Angles, areThoseOfAProfileFromAMillionthBeforeTheRightAngleOn) {
    // With x = z = 0 and w = 1, t is 2 y. In the general case e[0] = atan2(0, 1 - y y) is 0 as
    // well: what tells the branches apart is e[1].
    const auto yaw = [](float y) {
        float e[3];
        quaternionToEuler({0, y, 0, 1}, e);
        return e[1];
    };
    for (const float side : {1.0F, -1.0F}) {
        EXPECT_TRUE(sameFloat(side * kQuarterTurn, yaw(side * 0.49999955F)));
        EXPECT_LT(side * yaw(side * 0.49999945F), kQuarterTurn - 1e-4F);
    }
}

TEST(Angles, ofSinesBeyondOneAreClampedAndOfNaNAreNaN) {
    expectAngles(kPi, kQuarterTurn, kPi, {0, 1.0F, 0, 0.75F});  // t = 1.5, atan2(0, w w - y y)
    expectAngles(kPi, -kQuarterTurn, kPi, {0, -1.0F, 0, 0.75F});
    float e[3];
    quaternionToEuler({kNaN, kNaN, kNaN, kNaN}, e);
    const float expected[3] = {kNaN, kNaN, kNaN};
    EXPECT_TRUE(sameFloats(expected, e, 3));
}

// Turned to within a hair's breadth of a quarter, where only two of the three angles exist, and any
// nine numbers besides, which reach all ways from a matrix to a quaternion.
TEST(Angles, equalTheReference) {
    Random random(79);
    int atTheQuarter = 0;
    for (int round = 0; round < 6000; ++round) {
        float R[9];
        if (round % 3 == 0) {
            for (float& value : R) {
                value = random.oneIn(50) ? random.anyFloat() : random.uniform(-2, 2);
            }
        } else {
            const float range = round % 3 == 1 ? 180.0F : 0.2F;
            const Rotation exact =
                rotationOf({.pitch = static_cast<double>(random.uniform(-180, 180)),
                            .yaw = (random.oneIn(2) ? 90 : -90) +
                                   static_cast<double>(random.uniform(-range, range)),
                            .roll = static_cast<double>(random.uniform(-180, 180))});
            for (int i = 0; i < 9; ++i) {
                R[i] = static_cast<float>(exact.at[i]);
            }
        }
        float e[3];
        quaternionToEuler(rotationToQuaternion(R), e);
        const ReferenceAngles expected = referenceAngles(R);
        const float angles[3] = {expected.e0, expected.e1, expected.e2};
        ASSERT_TRUE(sameFloats(angles, e, 3)) << "round " << round;
        atTheQuarter += std::abs(e[1]) == kQuarterTurn ? 1 : 0;
    }
    EXPECT_GT(atTheQuarter, 100);
    EXPECT_LT(atTheQuarter, 2000);
}

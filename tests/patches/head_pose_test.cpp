// The pose that is estimated of a face, and the steps towards it on arguments that the stage itself
// would hardly make.
#include "patches/head_pose.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "patches/sample_face.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

using Entries = std::vector<LandmarkEntry>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr auto kPi = static_cast<float>(std::numbers::pi);
constexpr auto kQuarterTurn = static_cast<float>(std::numbers::pi / 2.0);

// The eye span, and the angles in degrees: roll, yaw, pitch.
std::vector<float> estimate(const Entries& entries) {
    const RecordBlock block(entries);
    std::vector<float> result(4);
    result[0] = estimateFacePose(block.record(), result[1], result[2], result[3]);
    return result;
}

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

void expectAngles(float e0, float e1, float e2, const Quaternion& q) {
    float e[3];
    quaternionToEuler(q, e);
    EXPECT_NEAR(e0, e[0], 1e-6F);
    EXPECT_TRUE(sameFloat(e1, e[1]));
    EXPECT_NEAR(e2, e[2], 1e-6F);
}

}  // namespace

// What is estimated of a head that is seen from somewhere is where it is seen from.
TEST(HeadPose, comesBackFromAnyView) {
    Random random(41);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        const auto any = [&](float low, float high) {
            return static_cast<double>(random.uniform(low, high));
        };
        const HeadView view = {.yaw = any(-80, 80),
                               .pitch = any(-170, 170),
                               .roll = any(-179, 179),
                               .scale = round % 2 == 0 ? any(0.5, 10) : any(10, 250),
                               .x = any(0, 500),
                               .y = any(0, 500)};
        const Entries entries = seenFrom(view);
        const HeadPose pose = fitHeadPose(RecordBlock(entries).record());
        const Rotation R = rotationOf(view);
        for (int i = 0; i < 9; ++i) {
            EXPECT_NEAR(R.at[i], static_cast<double>(pose.R[i]), 2e-3) << "R" << i;
        }
        EXPECT_NEAR(view.scale, static_cast<double>(pose.k), 1e-3 * view.scale);
        EXPECT_NEAR(view.x, static_cast<double>(pose.T[0]), 0.02 * (1 + view.scale));
        EXPECT_NEAR(view.y, static_cast<double>(pose.T[1]), 0.02 * (1 + view.scale));

        const std::vector<float> result = estimate(entries);
        EXPECT_TRUE(sameFloat(pose.k * 6.2773F, result[0]));
        EXPECT_NEAR(view.roll, static_cast<double>(result[1]), 0.5);
        EXPECT_NEAR(view.yaw, static_cast<double>(result[2]), 0.5);
        EXPECT_NEAR(view.pitch, static_cast<double>(result[3]), 0.5);
    }
}

TEST(HeadPose, isNaNForImagePointsAtOnePlaceAndForNone) {
    Entries entries = seenFrom({});
    for (LandmarkEntry& entry : entries) {
        entry.x = 100.0F;
        entry.y = 50.0F;
    }
    const std::vector<float> nothing(4, kNaN);
    EXPECT_TRUE(sameFloats(nothing, estimate(entries)));
    EXPECT_TRUE(sameFloats(nothing, estimate({})));
    EXPECT_TRUE(sameFloat(kNaN, fitHeadPose(nullptr, nullptr, 0).T[0]));
}

TEST(HeadPose, equalsTheReference) {
    Random random(72);
    for (int round = 0; round < 500; ++round) {
        LandmarkRecord record = projectFace(randomView(random, 640, 480));
        jitter(record, random, random.uniform(0, 10));
        if (random.oneIn(10)) {
            random.oneOf(record.entries).x = random.anyFloat();
        }
        const HeadPose pose = fitHeadPose(record);
        const ReferencePose expected = referencePose(record);
        ASSERT_TRUE(sameFloats(expected.R, pose.R, 9)) << "rotation, round " << round;
        ASSERT_TRUE(sameFloats(expected.T, pose.T, 3)) << "translation, round " << round;
        ASSERT_TRUE(sameFloat(expected.k, pose.k)) << "scale, round " << round;
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
        const Quaternion q =
            rotationToQuaternion({d[0], 0.5F, 0.25F, 1.0F, d[1], 0.125F, 2.0F, 4.0F, d[2]});
        const float actual[4] = {q.x, q.y, q.z, q.w};
        for (int i = 0; i < 4; ++i) {
            EXPECT_NEAR(unit[i], actual[i], 1e-6F) << i;
        }
    }
}

TEST(Angles, ofAHeadInProfileKeepRollAndLosePitch) {
    expectAngles(0.0F, kQuarterTurn, -kQuarterTurn, {0.5F, 0.5F, -0.5F, 0.5F});  // t = 1
    expectAngles(0.0F, -kQuarterTurn, kQuarterTurn, {0.5F, -0.5F, 0.5F, 0.5F});  // t = -1
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
                rotationOf({.yaw = (random.oneIn(2) ? 90 : -90) +
                                   static_cast<double>(random.uniform(-range, range)),
                            .pitch = static_cast<double>(random.uniform(-180, 180)),
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

// The pose that is estimated of a face, and the steps towards it on arguments that the stage itself
// would hardly make.
#include "patches/head_pose.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr auto kPi = static_cast<float>(std::numbers::pi);
constexpr auto kQuarterTurn = static_cast<float>(std::numbers::pi / 2.0);

// The eye span, and the angles in degrees: roll, yaw, pitch.
std::vector<float> estimate(const LandmarkRecord& record) {
    std::vector<float> result(4);
    result[0] = estimateFacePose(record, result[1], result[2], result[3]);
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
        const LandmarkRecord record = projectFace(view);
        const HeadPose pose = fitHeadPose(record);
        const Rotation R = rotationOf(view);
        for (int i = 0; i < 9; ++i) {
            EXPECT_NEAR(R.at[i], static_cast<double>(pose.R[i]), 2e-3) << "R" << i;
        }
        EXPECT_NEAR(view.scale, static_cast<double>(pose.k), 1e-3 * view.scale);
        EXPECT_NEAR(view.x, static_cast<double>(pose.T[0]), 0.02 * (1 + view.scale));
        EXPECT_NEAR(view.y, static_cast<double>(pose.T[1]), 0.02 * (1 + view.scale));

        const std::vector<float> result = estimate(record);
        EXPECT_TRUE(sameFloat(pose.k * 6.2773F, result[0]));
        EXPECT_NEAR(view.roll, static_cast<double>(result[1]), 0.5);
        EXPECT_NEAR(view.yaw, static_cast<double>(result[2]), 0.5);
        EXPECT_NEAR(view.pitch, static_cast<double>(result[3]), 0.5);
    }
}

TEST(HeadPose, isNaNForImagePointsAtOnePlaceAndForNone) {
    LandmarkRecord record = projectFace({});
    for (LandmarkEntry& entry : record.entries) {
        entry.x = 100.0F;
        entry.y = 50.0F;
    }
    const std::vector<float> nothing(4, kNaN);
    EXPECT_TRUE(sameFloats(nothing, estimate(record)));
    EXPECT_TRUE(sameFloats(nothing, estimate({})));
    EXPECT_TRUE(sameFloat(kNaN, fitHeadPose(nullptr, nullptr, 0).T[0]));
    float s[8];
    EXPECT_FALSE(fitAffineCamera(nullptr, nullptr, 0, s));
}

// Some have landmarks of few ids, whose system is singular: then the raw sums serve.
TEST(HeadPose, equalsTheReference) {
    Random random(72);
    for (int round = 0; round < 500; ++round) {
        LandmarkRecord record = projectFace(randomView(random, 640, 480));
        jitter(record, random, random.uniform(0, 10));
        if (random.oneIn(4)) {
            const int last = random.between(0, 3);
            for (LandmarkEntry& entry : record.entries) {
                entry.id = kReferenceLandmarks[random.between(0, last)].id;
            }
        }
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

TEST(Angles, ofSinesBeyondOneAreClampedAndOfNaNAreNaN) {
    float e[3];
    for (const float y : {1.0F, -1.0F}) {
        quaternionToEuler({0, y, 0, 0.75F}, e);  // the sine is 1.5; w w - y y is negative
        EXPECT_NEAR(kPi, e[0], 1e-6F);
        EXPECT_TRUE(sameFloat(y * kQuarterTurn, e[1]));
        EXPECT_NEAR(kPi, e[2], 1e-6F);
    }
    quaternionToEuler({kNaN, kNaN, kNaN, kNaN}, e);
    const float expected[3] = {kNaN, kNaN, kNaN};
    EXPECT_TRUE(sameFloats(expected, e, 3));
}

// Turned to within a hair's breadth of a quarter, where only two of the three angles exist, and any
// nine numbers besides, which reach all ways from a matrix to a quaternion. Where these are whole,
// elements of the diagonal are often equal.
TEST(Angles, equalTheReference) {
    Random random(79);
    int atTheQuarter = 0;
    for (int round = 0; round < 6000; ++round) {
        float R[9];
        if (round % 3 == 0) {
            const bool areWhole = random.oneIn(2);
            for (float& value : R) {
                value = random.oneIn(50) ? random.anyFloat() : random.uniform(-2, 2);
                value = areWhole ? std::trunc(value) : value;
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

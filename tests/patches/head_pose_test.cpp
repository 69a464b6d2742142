// The estimate of a pose and the fit behind it; head_pose_steps_test.cpp has the single steps.
#include "patches/head_pose.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "patches/landmarks.h"
#include "patches/sample_face.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/random.h"

namespace {

using Entries = std::vector<LandmarkEntry>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Estimate {
    float imageEyeSpan;
    float roll, yaw, pitch;
};

Estimate estimate(const Entries& entries) {
    const RecordBlock block(entries);
    Estimate result{};
    result.imageEyeSpan = estimateFacePose(block.record(), result.roll, result.yaw, result.pitch);
    return result;
}

void expectSameEstimate(const Estimate& expected, const Estimate& actual) {
    EXPECT_TRUE(sameFloat(expected.imageEyeSpan, actual.imageEyeSpan));
    EXPECT_TRUE(sameFloat(expected.roll, actual.roll));
    EXPECT_TRUE(sameFloat(expected.yaw, actual.yaw));
    EXPECT_TRUE(sameFloat(expected.pitch, actual.pitch));
}

// What is estimated of a head that is seen from somewhere is where it is seen from.
void expectComesBack(const CameraView& view, double degrees, double elements) {
    const Entries entries = seenFrom(view);
    const RecordBlock block(entries);
    const HeadPose pose = fitHeadPose(block.record());
    const Rotation R = rotationOf(view);
    for (int i = 0; i < 9; ++i) {
        EXPECT_NEAR(R.at[i], static_cast<double>(pose.R[i]), elements) << "R" << i;
    }
    EXPECT_NEAR(view.k, static_cast<double>(pose.k), 1e-3 * view.k);
    EXPECT_NEAR(view.left, static_cast<double>(pose.T[0]), 0.02 * (1 + view.k));
    EXPECT_NEAR(view.top, static_cast<double>(pose.T[1]), 0.02 * (1 + view.k));

    const Estimate result = estimate(entries);
    EXPECT_TRUE(sameFloat(pose.k * 6.2773F, result.imageEyeSpan));
    EXPECT_NEAR(view.pitch, static_cast<double>(result.pitch), degrees);
    EXPECT_NEAR(view.yaw, static_cast<double>(result.yaw), degrees);
    EXPECT_NEAR(view.roll, static_cast<double>(result.roll), degrees);
}

// The corners of a cube of side 2, seen straight on with a scale of its own for u and v.
struct Cube {
    ModelPoint model[8];
    ImagePoint image[8];
};

Cube cubeSeenWith(float scaleU, float scaleV) {
    Cube cube{};
    for (int i = 0; i < 8; ++i) {
        const float X = (i & 1) != 0 ? 1.0F : -1.0F;
        const float Y = (i & 2) != 0 ? 1.0F : -1.0F;
        const float Z = (i & 4) != 0 ? 1.0F : -1.0F;
        cube.model[i] = {X, Y, Z};
        cube.image[i] = {scaleU * X, scaleV * Y};
    }
    return cube;
}

}  // namespace

// --- The whole estimate -------------------------------------------------------------------------

TEST(HeadPose, comesBackFromAnyScale) {
    for (const double k : {0.5, 3.0, 12.34, 250.0}) {
        expectComesBack({.k = k, .left = 300.0, .top = 200.0}, 0.02, 2e-4);
    }
}

TEST(HeadPose, comesBackFromTurnsAboutOneAxis) {
    for (const double yaw : {-60.0, -25.0, 25.0, 60.0}) {
        expectComesBack({.yaw = yaw}, 0.02, 5e-4);
    }
    for (const double roll : {-170.0, -90.0, -30.0, 15.0, 90.0, 170.0}) {
        expectComesBack({.k = 7.0, .roll = roll}, 0.02, 5e-4);
    }
    for (const double pitch : {-50.0, -10.0, 10.0, 50.0, 120.0}) {
        expectComesBack({.k = 7.0, .pitch = pitch}, 0.02, 5e-4);
    }
}

TEST(HeadPose, comesBackFromAnyView) {
    Random random(41);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        const auto any = [&](float low, float high) {
            return static_cast<double>(random.uniform(low, high));
        };
        expectComesBack({.k = any(1, 40),
                         .pitch = any(-80, 80),
                         .yaw = any(-80, 80),
                         .roll = any(-179, 179),
                         .left = any(0, 500),
                         .top = any(0, 500)},
                        0.5, 2e-3);
    }
}

TEST(HeadPose, measuresTwiceTheSpanInAPictureTwiceAsLargeToTheLastBit) {
    Entries entries = seenFrom({.k = 8.7, .pitch = 11.0, .yaw = -20.0});
    entries[4].x += 3.5F;  // no exact view
    const Estimate once = estimate(entries);
    for (LandmarkEntry& entry : entries) {
        entry.x *= 2.0F;
        entry.y *= 2.0F;
    }
    expectSameEstimate({2.0F * once.imageEyeSpan, once.roll, once.yaw, once.pitch},
                       estimate(entries));
}

TEST(HeadPose, dependsOnTheOrderOfTheEntriesByRoundingOnly) {
    Entries entries = seenFrom({.k = 8.7, .pitch = 11.0, .yaw = -20.0});
    const Estimate expected = estimate(entries);
    Random random(42);
    int differences = 0;
    for (int round = 0; round < 50; ++round) {
        random.shuffle(entries.data(), static_cast<int>(entries.size()));
        const Estimate result = estimate(entries);
        EXPECT_NEAR(expected.imageEyeSpan, result.imageEyeSpan, 1e-3);
        EXPECT_NEAR(expected.yaw, result.yaw, 0.02);
        differences += sameBits(expected.imageEyeSpan, result.imageEyeSpan) ? 0 : 1;
    }
    EXPECT_GT(differences, 0) << "the sums do not run in the order of the record";
}

TEST(HeadPose, isFittedToTheSidesOfTheHeadWhereTheyAreThere) {
    Entries entries = seenFrom({.k = 10.0, .yaw = 15.0});
    Random random(43);
    for (LandmarkEntry& entry : entries) {
        entry.x += random.uniform(-1.0F, 1.0F);
        entry.y += random.uniform(-1.0F, 1.0F);
    }
    const float full = estimate(entries).imageEyeSpan;
    const float shorter = estimate(withoutSides(entries)).imageEyeSpan;
    EXPECT_NEAR(full, shorter, 2.0);
    EXPECT_FALSE(sameBits(full, shorter));
}

TEST(HeadPose, countsUnlistedIdsAsModelRowZero) {
    Entries entries = seenFrom({.k = 10.0, .yaw = 15.0});
    const Estimate expected = estimate(entries);
    ASSERT_EQ(0, entries[0].id);
    for (const std::int32_t id : {7, 150, 317}) {
        entries[0].id = id;
        expectSameEstimate(expected, estimate(entries));
    }
}

TEST(HeadPose, isNaNForImagePointsAtOnePlaceAndForNone) {
    Entries entries = seenFrom({});
    for (LandmarkEntry& entry : entries) {
        entry.x = 100.0F;
        entry.y = 50.0F;
    }
    expectSameEstimate({kNaN, kNaN, kNaN, kNaN}, estimate(entries));
    expectSameEstimate({kNaN, kNaN, kNaN, kNaN}, estimate({}));
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

// --- The fit ------------------------------------------------------------------------------------

TEST(HeadPose, hasTheMeanOfTheRowLengthsAsItsScale) {
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (const float scaleV : {10.0F, 14.0F}) {
        const Cube cube = cubeSeenWith(10.0F, scaleV);
        const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
        for (int i = 0; i < 9; ++i) {
            EXPECT_NEAR(identity[i], pose.R[i], 1e-5F) << "R" << i;
        }
        EXPECT_NEAR((10.0F + scaleV) / 2.0F, pose.k, 1e-4F);
    }
}

TEST(HeadPose, isARotationWhateverTheRows) {
    Cube cube = cubeSeenWith(10.0F, 14.0F);
    for (int i = 0; i < 8; ++i) {
        cube.image[i].u += 3.0F * cube.model[i].Y + 1.0F * cube.model[i].Z;
        cube.image[i].v += 2.0F * cube.model[i].X;
    }
    const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
    const float(&R)[9] = pose.R;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            const float dot =
                R[3 * i] * R[3 * j] + R[3 * i + 1] * R[3 * j + 1] + R[3 * i + 2] * R[3 * j + 2];
            EXPECT_NEAR(i == j ? 1.0F : 0.0F, dot, 1e-5F) << "rows " << i << " and " << j;
        }
    }
    EXPECT_GT(R[8], 0.0F);
}

TEST(HeadPose, isNotFiniteForParallelRows) {
    Cube cube = cubeSeenWith(4.0F, 4.0F);
    for (ImagePoint& point : cube.image) {
        point.v = point.u;
    }
    EXPECT_FALSE(std::isfinite(fitHeadPose(cube.image, cube.model, 8).k));
}

TEST(HeadPose, translatesToWhereTheModelsOriginLands) {
    Cube cube = cubeSeenWith(4.0F, 4.0F);
    for (int i = 0; i < 8; ++i) {
        // Model and image off centre by powers of two: every sum stays exact.
        cube.model[i].X += 8.0F;
        cube.model[i].Y -= 2.0F;
        cube.model[i].Z += 16.0F;
        cube.image[i].u += 256.0F;
        cube.image[i].v += 128.0F;
    }
    const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
    EXPECT_NEAR(256.0F - 4.0F * 8.0F, pose.T[0], 1e-3F);
    EXPECT_NEAR(128.0F + 4.0F * 2.0F, pose.T[1], 1e-3F);
    EXPECT_NEAR(-4.0F * 16.0F, pose.T[2], 1e-3F);
}

TEST(HeadPose, isMadeOfTheRawSumsWhereTheSolveFails) {
    // Four points in a plane: the sum of Z Z, the third pivot, is 0. The sums of u X and of v Y are
    // 4 x 3, and so the scale comes out as 12 and not as 3.
    const ModelPoint model[4] = {{1, 1, 0}, {1, -1, 0}, {-1, 1, 0}, {-1, -1, 0}};
    const ImagePoint image[4] = {{3, 3}, {3, -3}, {-3, 3}, {-3, -3}};
    const HeadPose pose = fitHeadPose(image, model, 4);
    EXPECT_TRUE(sameFloat(12.0F, pose.k));
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (const int i : {0, 4, 8}) {
        EXPECT_TRUE(sameFloat(identity[i], pose.R[i])) << "R" << i;
    }
}

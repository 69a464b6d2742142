#include "patches/head_pose.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "patches/landmarks.h"
#include "patches/sample_face.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Estimate {
    float imageEyeSpan;
    float roll, yaw, pitch;
};

Estimate estimate(const std::vector<LandmarkEntry>& entries) {
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

double eyeDistanceInPicture(const std::vector<LandmarkEntry>& entries) {
    const LandmarkEntry& left = entryOf(entries, 0);
    const LandmarkEntry& right = entryOf(entries, 1);
    return std::hypot(static_cast<double>(left.x - right.x), static_cast<double>(left.y - right.y));
}

HeadPose fitted(const std::vector<LandmarkEntry>& entries) {
    std::vector<ImagePoint> image;
    std::vector<ModelPoint> model;
    for (const LandmarkEntry& entry : entries) {
        const float* row = kHeadModel[kLandmarkRow[entry.id]];
        image.push_back({entry.x, entry.y});
        model.push_back({row[0], row[1], row[2]});
    }
    return fitHeadPose(image.data(), model.data(), static_cast<int>(entries.size()));
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

void makeIdentity(float (&a)[8][8]) {
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j)
            a[i][j] = i == j ? 1.0F : 0.0F;
}

void expectAngles(float e0, float e1, float e2, const float (&e)[3]) {
    EXPECT_TRUE(sameFloat(e0, e[0]));
    EXPECT_TRUE(sameFloat(e1, e[1]));
    EXPECT_TRUE(sameFloat(e2, e[2]));
}

constexpr auto kPi = static_cast<float>(std::numbers::pi);
constexpr auto kQuarterTurn = static_cast<float>(std::numbers::pi / 2.0);

}  // namespace

// --- The whole estimate -------------------------------------------------------------------------

TEST(HeadPose, straightViewGivesItsScaleBack) {
    for (const double k : {0.5, 3.0, 10.0, 12.34, 250.0}) {
        const CameraView view = {.k = k, .left = 300.0, .top = 200.0};
        const std::vector<LandmarkEntry> entries = seenFrom(view);
        const HeadPose pose = fitted(entries);
        EXPECT_NEAR(k, static_cast<double>(pose.k), 1e-4 * k);
        for (int i = 0; i < 9; ++i)
            EXPECT_NEAR(i % 4 == 0 ? 1.0 : 0.0, static_cast<double>(pose.R[i]), 2e-4)
                << "R" << i << " at scale " << k;
        EXPECT_NEAR(300.0, static_cast<double>(pose.T[0]), 0.02 + 2e-3 * k);
        EXPECT_NEAR(200.0, static_cast<double>(pose.T[1]), 0.02 + 2e-3 * k);

        const Estimate result = estimate(entries);
        EXPECT_NEAR(6.2773 * k, static_cast<double>(result.imageEyeSpan), 1e-3 * k);
        EXPECT_TRUE(sameFloat(pose.k * 6.2773F, result.imageEyeSpan));
        EXPECT_NEAR(0.0F, result.roll, 0.02);
        EXPECT_NEAR(0.0F, result.yaw, 0.02);
        EXPECT_NEAR(0.0F, result.pitch, 0.02);
    }
}

TEST(HeadPose, turnAboutTheVerticalAxisChangesYawAlone) {
    const double straight = eyeDistanceInPicture(seenFrom({.k = 10.0}));
    for (const double yaw : {-60.0, -25.0, 25.0, 60.0}) {
        const std::vector<LandmarkEntry> entries = seenFrom({.k = 10.0, .yaw = yaw});
        const Estimate result = estimate(entries);
        EXPECT_NEAR(yaw, static_cast<double>(result.yaw), 0.02);
        EXPECT_NEAR(0.0F, result.roll, 0.02);
        EXPECT_NEAR(0.0F, result.pitch, 0.02);
        EXPECT_NEAR(62.773, static_cast<double>(result.imageEyeSpan), 0.01);
        EXPECT_NEAR(straight * std::cos(yaw * std::numbers::pi / 180.0),
                    eyeDistanceInPicture(entries), 0.02);  // what a ruler in the picture would say
    }
}

TEST(HeadPose, tiltInThePictureChangesRollAlone) {
    for (const double roll : {-170.0, -90.0, -30.0, 15.0, 90.0, 170.0}) {
        const Estimate result = estimate(seenFrom({.k = 7.0, .roll = roll}));
        EXPECT_NEAR(roll, static_cast<double>(result.roll), 0.02);
        EXPECT_NEAR(0.0F, result.yaw, 0.02);
        EXPECT_NEAR(0.0F, result.pitch, 0.02);
        EXPECT_NEAR(6.2773 * 7.0, static_cast<double>(result.imageEyeSpan), 0.01);
    }
}

TEST(HeadPose, noddingChangesPitchAlone) {
    for (const double pitch : {-50.0, -10.0, 10.0, 50.0, 120.0}) {
        const Estimate result = estimate(seenFrom({.k = 7.0, .pitch = pitch}));
        EXPECT_NEAR(pitch, static_cast<double>(result.pitch), 0.02);
        EXPECT_NEAR(0.0F, result.yaw, 0.02);
        EXPECT_NEAR(0.0F, result.roll, 0.02);
        EXPECT_NEAR(6.2773 * 7.0, static_cast<double>(result.imageEyeSpan), 0.01);
    }
}

TEST(HeadPose, anyViewComesBackWhole) {
    Random random(41);
    for (int round = 0; round < 200; ++round) {
        const CameraView view = {.k = static_cast<double>(random.uniform(1.0F, 40.0F)),
                                 .pitch = static_cast<double>(random.uniform(-80.0F, 80.0F)),
                                 .yaw = static_cast<double>(random.uniform(-80.0F, 80.0F)),
                                 .roll = static_cast<double>(random.uniform(-179.0F, 179.0F)),
                                 .left = static_cast<double>(random.uniform(0.0F, 500.0F)),
                                 .top = static_cast<double>(random.uniform(0.0F, 500.0F))};
        SCOPED_TRACE("round " + std::to_string(round));
        const std::vector<LandmarkEntry> entries = seenFrom(view);
        const HeadPose pose = fitted(entries);
        const Rotation R = rotationOf(view);
        for (int i = 0; i < 9; ++i)
            EXPECT_NEAR(R.at[i], static_cast<double>(pose.R[i]), 2e-3) << "R" << i;
        EXPECT_NEAR(view.k, static_cast<double>(pose.k), 1e-3 * view.k);
        EXPECT_NEAR(view.left, static_cast<double>(pose.T[0]), 0.02 * view.k);
        EXPECT_NEAR(view.top, static_cast<double>(pose.T[1]), 0.02 * view.k);

        const Estimate result = estimate(entries);
        EXPECT_NEAR(view.pitch, static_cast<double>(result.pitch), 0.5);
        EXPECT_NEAR(view.yaw, static_cast<double>(result.yaw), 0.5);
        EXPECT_NEAR(view.roll, static_cast<double>(result.roll), 0.5);
    }
}

TEST(HeadPose, doublingThePictureDoublesTheSpanToTheLastBit) {
    std::vector<LandmarkEntry> entries = seenFrom({.k = 8.7, .pitch = 11.0, .yaw = -20.0});
    entries[4].x += 3.5F;  // no exact view
    const Estimate once = estimate(entries);
    for (LandmarkEntry& entry : entries) {
        entry.x *= 2.0F;
        entry.y *= 2.0F;
    }
    const Estimate twice = estimate(entries);
    expectSameEstimate({2.0F * once.imageEyeSpan, once.roll, once.yaw, once.pitch}, twice);
}

TEST(HeadPose, orderOfTheEntriesMattersByRoundingOnly) {
    std::vector<LandmarkEntry> entries = seenFrom({.k = 8.7, .pitch = 11.0, .yaw = -20.0});
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

TEST(HeadPose, recordsWithoutTheSidesOfTheHeadAreFittedToo) {
    std::vector<LandmarkEntry> entries = seenFrom({.k = 10.0, .yaw = 15.0});
    Random random(43);
    for (LandmarkEntry& entry : entries) {
        entry.x += random.uniform(-1.0F, 1.0F);
        entry.y += random.uniform(-1.0F, 1.0F);
    }
    const Estimate full = estimate(entries);
    const Estimate shorter = estimate(withoutSides(entries));
    EXPECT_NEAR(full.imageEyeSpan, shorter.imageEyeSpan, 2.0);
    EXPECT_FALSE(sameBits(full.imageEyeSpan, shorter.imageEyeSpan));
}

TEST(HeadPose, unlistedIdsCountAsModelRowZero) {
    std::vector<LandmarkEntry> entries = seenFrom({.k = 10.0, .yaw = 15.0});
    const Estimate expected = estimate(entries);
    ASSERT_EQ(0, entries[0].id);
    for (const std::int32_t id : {7, 150, 317}) {
        entries[0].id = id;
        expectSameEstimate(expected, estimate(entries));
    }
}

TEST(HeadPose, reservedWordHasNoEffect) {
    RecordBlock block(seenFrom({.k = 10.0, .yaw = 15.0}));
    Estimate expected{};
    expected.imageEyeSpan =
        estimateFacePose(block.record(), expected.roll, expected.yaw, expected.pitch);
    block.setReserved(0xFFFFFFFFU);
    Estimate actual{};
    actual.imageEyeSpan = estimateFacePose(block.record(), actual.roll, actual.yaw, actual.pitch);
    expectSameEstimate(expected, actual);
}

TEST(HeadPose, imagePointsAtOnePlaceGiveNaNWithoutAReport) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    for (LandmarkEntry& entry : entries) {
        entry.x = 100.0F;
        entry.y = 50.0F;
    }
    expectSameEstimate({kNaN, kNaN, kNaN, kNaN}, estimate(entries));
}

TEST(HeadPose, anEmptyRecordDividesByZero) {
    expectSameEstimate({kNaN, kNaN, kNaN, kNaN}, estimate({}));
    EXPECT_TRUE(sameFloat(kNaN, fitHeadPose(nullptr, nullptr, 0).T[0]));
}

// --- fitHeadPose --------------------------------------------------------------------------------

TEST(HeadPose, rowsOfOneLengthStayAsTheyAre) {
    const Cube cube = cubeSeenWith(4.0F, 4.0F);
    const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(identity[i], pose.R[i], 1e-6F) << "R" << i;
    EXPECT_NEAR(4.0F, pose.k, 1e-5F);
}

TEST(HeadPose, scaleIsTheMeanOfTheRowLengths) {
    const Cube cube = cubeSeenWith(10.0F, 14.0F);
    const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(identity[i], pose.R[i], 1e-5F) << "R" << i;
    EXPECT_NEAR(12.0F, pose.k, 1e-4F);
}

TEST(HeadPose, skewedRowsBecomeARotation) {
    Cube cube = cubeSeenWith(10.0F, 14.0F);
    for (int i = 0; i < 8; ++i) {
        cube.image[i].u += 3.0F * cube.model[i].Y + 1.0F * cube.model[i].Z;
        cube.image[i].v += 2.0F * cube.model[i].X;
    }
    const HeadPose pose = fitHeadPose(cube.image, cube.model, 8);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            float dot = 0.0F;
            for (int k = 0; k < 3; ++k)
                dot += pose.R[3 * i + k] * pose.R[3 * j + k];
            EXPECT_NEAR(i == j ? 1.0F : 0.0F, dot, 1e-5F) << "rows " << i << " and " << j;
        }
    }
    EXPECT_GT(pose.R[8], 0.0F);
}

TEST(HeadPose, translationIsWhereTheModelsOriginLands) {
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

TEST(HeadPose, aFailedSolveLeavesTheRawSumsToWorkOn) {
    // Four points in a plane: the sum of Z Z, the third pivot, is 0. The sums of u X and of v Y are
    // 4 x 3, and so the scale comes out as 12 and not as 3.
    const ModelPoint model[4] = {{1, 1, 0}, {1, -1, 0}, {-1, 1, 0}, {-1, -1, 0}};
    const ImagePoint image[4] = {{3, 3}, {3, -3}, {-3, 3}, {-3, -3}};
    float s[8];
    EXPECT_FALSE(fitAffineCamera(image, model, 4, s));
    const float raw[8] = {12, 0, 0, 0, 0, 12, 0, 0};
    EXPECT_TRUE(sameFloats(raw, s, 8));

    const HeadPose pose = fitHeadPose(image, model, 4);
    EXPECT_TRUE(sameFloat(12.0F, pose.k));
    EXPECT_TRUE(sameFloat(1.0F, pose.R[0]));
    EXPECT_TRUE(sameFloat(1.0F, pose.R[4]));
    EXPECT_TRUE(sameFloat(1.0F, pose.R[8]));
}

TEST(HeadPose, allLandmarksAtOnePointAreSingular) {
    const ModelPoint model[4] = {{2, 4, 8}, {2, 4, 8}, {2, 4, 8}, {2, 4, 8}};
    const ImagePoint image[4] = {{64, 32}, {64, 32}, {64, 32}, {64, 32}};
    const ModelPoint centredModel[4] = {};
    const ImagePoint centredImage[4] = {};
    float s[8];
    EXPECT_FALSE(fitAffineCamera(centredImage, centredModel, 4, s));
    const float zeros[8] = {};
    EXPECT_TRUE(sameFloats(zeros, s, 8));

    const HeadPose pose = fitHeadPose(image, model, 4);
    EXPECT_TRUE(sameFloat(kNaN, pose.k));
    for (int i = 0; i < 9; ++i)
        EXPECT_TRUE(sameFloat(kNaN, pose.R[i])) << "R" << i;
}

TEST(HeadPose, parallelRowsGiveNonFiniteResults) {
    Cube cube = cubeSeenWith(4.0F, 4.0F);
    for (int i = 0; i < 8; ++i)
        cube.image[i].v = cube.image[i].u;
    EXPECT_FALSE(std::isfinite(fitHeadPose(cube.image, cube.model, 8).k));
}

// --- fitAffineCamera ----------------------------------------------------------------------------

TEST(HeadPose, affineCameraFindsBothRowsAndTheIntercepts) {
    Cube cube = cubeSeenWith(0.0F, 0.0F);
    const float expected[8] = {3, -5, 2, 7, 1, 0.5F, -4, -6};
    for (int i = 0; i < 8; ++i) {
        const ModelPoint& m = cube.model[i];
        cube.image[i].u = expected[0] * m.X + expected[1] * m.Y + expected[2] * m.Z + expected[3];
        cube.image[i].v = expected[4] * m.X + expected[5] * m.Y + expected[6] * m.Z + expected[7];
    }
    float s[8];
    ASSERT_TRUE(fitAffineCamera(cube.image, cube.model, 8, s));
    for (int i = 0; i < 8; ++i)
        EXPECT_NEAR(expected[i], s[i], 1e-5F) << "s" << i;
}

TEST(HeadPose, sumsRunInTheOrderOfThePoints) {
    // 2^24 + 1 rounds back to 2^24, while the two ones first make 2^24 + 2. All points on one axis:
    // the solve fails and the raw sums can be read.
    constexpr float kBig = 16777216.0F;
    const ModelPoint model[3] = {{1, 0, 0}, {1, 0, 0}, {1, 0, 0}};
    const ImagePoint bigFirst[3] = {{kBig, 1}, {1, 1}, {1, kBig}};
    float s[8];
    ASSERT_FALSE(fitAffineCamera(bigFirst, model, 3, s));
    const float expected[8] = {kBig, 0, 0, kBig, kBig + 2.0F, 0, 0, kBig + 2.0F};
    EXPECT_TRUE(sameFloats(expected, s, 8));
}

// --- solveCholesky8 -----------------------------------------------------------------------------

TEST(HeadPose, choleskySolvesASystemWithKnownFactors) {
    // L has powers of two on its diagonal and small whole numbers below: nothing rounds.
    const float L[8][8] = {
        {2},
        {1, 4},
        {-1, 2, 1},
        {0, 1, 3, 2},
        {2, 0, -1, 1, 1},
        {1, 1, 1, 1, 1, 4},
        {0, -2, 0, 3, 0, 1, 2},
        {1, 0, 2, 0, 1, 0, 1, 1},
    };
    const float x[8] = {1, -2, 3, -4, 5, -6, 7, -8};
    float a[8][8] = {};
    float g[8] = {};
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < 8; ++j)
            for (int k = 0; k < 8; ++k)
                a[i][j] += L[i][k] * L[j][k];
        for (int j = 0; j < 8; ++j)
            g[i] += a[i][j] * x[j];
    }
    ASSERT_TRUE(solveCholesky8(a, g));
    EXPECT_TRUE(sameFloats(x, g, 8));
    for (int i = 0; i < 8; ++i) {
        for (int j = 0; j < i; ++j)
            EXPECT_TRUE(sameFloat(L[i][j], a[i][j])) << i << ", " << j;
        EXPECT_TRUE(sameFloat(1.0F / L[i][i], a[i][i])) << "diagonal " << i;
    }
}

TEST(HeadPose, choleskySubtractsOneProductAtATime) {
    // 2^24 + 2 - 1 rounds to 2^24 and the next 1 makes it 2^24 - 1. Both at once would leave 2^24.
    float a[8][8];
    makeIdentity(a);
    a[2][0] = 1.0F;
    a[2][1] = 1.0F;
    a[2][2] = 16777218.0F;
    float g[8] = {};
    ASSERT_TRUE(solveCholesky8(a, g));
    EXPECT_TRUE(sameFloat(1.0F / 0x1.fffffep+11F, a[2][2]));
    EXPECT_FALSE(sameBits(1.0F / 4096.0F, a[2][2]));
}

TEST(HeadPose, choleskyReadsTheLowerTriangleOnly) {
    float a[8][8];
    makeIdentity(a);
    for (int i = 0; i < 8; ++i)
        for (int j = i + 1; j < 8; ++j)
            a[i][j] = kNaN;
    float g[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(solveCholesky8(a, g));
    const float expected[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_TRUE(sameFloats(expected, g, 8));
}

TEST(HeadPose, choleskyRefusesPivotsBelowTheSmallestNormalFloat) {
    for (int place = 0; place < 8; ++place) {
        for (const float pivot : {0.0F, -0.0F, -1.0F, std::nextafter(FLT_MIN, 0.0F),
                                  -std::numeric_limits<float>::infinity()}) {
            float a[8][8];
            makeIdentity(a);
            a[place][place] = pivot;
            float g[8] = {1, 2, 3, 4, 5, 6, 7, 8};
            EXPECT_FALSE(solveCholesky8(a, g)) << "pivot " << hexFloat(pivot) << " at " << place;
            const float untouched[8] = {1, 2, 3, 4, 5, 6, 7, 8};
            EXPECT_TRUE(sameFloats(untouched, g, 8));
        }
    }
}

TEST(HeadPose, choleskyTakesTheSmallestNormalFloatAsAPivot) {
    float a[8][8];
    makeIdentity(a);
    a[3][3] = FLT_MIN;  // 2^-126
    float g[8] = {};
    g[3] = FLT_MIN;
    ASSERT_TRUE(solveCholesky8(a, g));
    EXPECT_TRUE(sameFloat(1.0F, g[3]));
}

TEST(HeadPose, choleskyLetsNaNThrough) {
    float a[8][8];
    makeIdentity(a);
    a[7][7] = kNaN;
    float g[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    ASSERT_TRUE(solveCholesky8(a, g));
    EXPECT_TRUE(sameFloat(kNaN, g[7]));
}

// --- Rotation to angles -------------------------------------------------------------------------

TEST(HeadPose, noRotationIsTheUnitQuaternion) {
    const Quaternion q = rotationToQuaternion({1, 0, 0, 0, 1, 0, 0, 0, 1});
    const float expected[4] = {0, 0, 0, 1};
    const float actual[4] = {q.x, q.y, q.z, q.w};
    EXPECT_TRUE(sameFloats(expected, actual, 4));
}

TEST(HeadPose, halfTurnsTakeTheirOwnBranches) {
    const Quaternion aboutX = rotationToQuaternion({1, 0, 0, 0, -1, 0, 0, 0, -1});
    const Quaternion aboutY = rotationToQuaternion({-1, 0, 0, 0, 1, 0, 0, 0, -1});
    const Quaternion aboutZ = rotationToQuaternion({-1, 0, 0, 0, -1, 0, 0, 0, 1});
    const float expected[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    const float x[4] = {aboutX.x, aboutX.y, aboutX.z, aboutX.w};
    const float y[4] = {aboutY.x, aboutY.y, aboutY.z, aboutY.w};
    const float z[4] = {aboutZ.x, aboutZ.y, aboutZ.z, aboutZ.w};
    EXPECT_TRUE(sameFloats(expected[0], x, 4));
    EXPECT_TRUE(sameFloats(expected[1], y, 4));
    EXPECT_TRUE(sameFloats(expected[2], z, 4));
}

TEST(HeadPose, everyBranchCombinesTheRightElements) {
    // Elements off the diagonal are such that every sum and every difference is another number. In
    // the first branch s is 4, in each of the others, too. The results are divided by their length.
    struct Case {
        float diagonal[3];
        float expected[4];  // before the division
    };
    const float off[6] = {0.5F, 0.25F, 1.0F, 0.125F, 2.0F, 4.0F};  // R1 R2 R3 R5 R6 R7
    const Case cases[] = {
        {{1, 1, 1}, {3.875F / 4, -1.75F / 4, 0.5F / 4, 1}},
        {{1, -1, -1}, {1, 1.5F / 4, 2.25F / 4, 3.875F / 4}},
        {{-1, 1, -1}, {1.5F / 4, 1, 4.125F / 4, -1.75F / 4}},
        {{-1, -1, 1}, {2.25F / 4, 4.125F / 4, 1, 0.5F / 4}},
    };
    for (const Case& c : cases) {
        const Quaternion q =
            rotationToQuaternion({c.diagonal[0], off[0], off[1], off[2], c.diagonal[1], off[3],
                                  off[4], off[5], c.diagonal[2]});
        float square = 0.0F;
        for (const float value : c.expected)
            square += value * value;
        const float length = std::sqrt(square);
        EXPECT_NEAR(c.expected[0] / length, q.x, 1e-6F);
        EXPECT_NEAR(c.expected[1] / length, q.y, 1e-6F);
        EXPECT_NEAR(c.expected[2] / length, q.z, 1e-6F);
        EXPECT_NEAR(c.expected[3] / length, q.w, 1e-6F);
    }
}

TEST(HeadPose, tiesOnTheDiagonalGoToTheLaterAxis) {
    // R0 = R4: s is 2 sqrt(2), y = s / 4 and x = 1.5 / s, that is 0.75 y. By R0 it would be y /
    // 0.75.
    const Quaternion q = rotationToQuaternion({0, 0.5F, 0.25F, 1, 0, 0.125F, 2, 4, -1});
    EXPECT_NEAR(0.75F, q.x / q.y, 1e-6F);
    // R4 = R8: z = s / 4 and y = 4.125 / s.
    const Quaternion p = rotationToQuaternion({-1, 0.5F, 0.25F, 1, 0, 0.125F, 2, 4, 0});
    EXPECT_NEAR(2.0625F, p.y / p.z, 1e-6F);
}

TEST(HeadPose, noTurnHasNoAngles) {
    float e[3];
    quaternionToEuler({0, 0, 0, 1}, e);
    expectAngles(0.0F, 0.0F, 0.0F, e);
}

TEST(HeadPose, turnsAboutOneAxisGiveOneAngle) {
    for (const double degrees : {-80.0, -10.0, 5.0, 45.0, 85.0}) {
        const double half = degrees * std::numbers::pi / 360.0;
        const auto sine = static_cast<float>(std::sin(half));
        const auto cosine = static_cast<float>(std::cos(half));
        const auto angle = static_cast<float>(2.0 * half);
        float e[3];
        quaternionToEuler({sine, 0, 0, cosine}, e);
        EXPECT_NEAR(angle, e[0], 1e-6F);
        EXPECT_TRUE(sameFloat(0.0F, e[1]));
        EXPECT_TRUE(sameFloat(0.0F, e[2]));
        quaternionToEuler({0, sine, 0, cosine}, e);
        EXPECT_TRUE(sameFloat(0.0F, e[0]));
        EXPECT_NEAR(angle, e[1], 1e-6F);
        EXPECT_TRUE(sameFloat(0.0F, e[2]));
        quaternionToEuler({0, 0, sine, cosine}, e);
        EXPECT_TRUE(sameFloat(0.0F, e[0]));
        EXPECT_TRUE(sameFloat(0.0F, e[1]));
        EXPECT_NEAR(angle, e[2], 1e-6F);
    }
}

TEST(HeadPose, aHeadInProfileKeepsRollAndLosesPitch) {
    float e[3];
    quaternionToEuler({0.5F, 0.5F, -0.5F, 0.5F}, e);  // t = 1, atan2(x, w) = pi/4
    expectAngles(0.0F, kQuarterTurn, -kQuarterTurn, e);
    quaternionToEuler({0.5F, -0.5F, 0.5F, 0.5F}, e);  // t = -1
    expectAngles(0.0F, -kQuarterTurn, kQuarterTurn, e);
}

TEST(HeadPose, profileBeginsAMillionthBeforeTheRightAngle) {
    // With x = z = 0 and w = 1, t is 2 y. In the general case e[0] = atan2(0, 1 - y y) is 0 as
    // well: what tells the branches apart is e[1].
    const auto yaw = [](float y) {
        float e[3];
        quaternionToEuler({0, y, 0, 1}, e);
        return e[1];
    };
    EXPECT_TRUE(sameFloat(kQuarterTurn, yaw(0.49999955F)));
    EXPECT_LT(yaw(0.49999945F), kQuarterTurn - 1e-4F);
    EXPECT_TRUE(sameFloat(-kQuarterTurn, yaw(-0.49999955F)));
    EXPECT_GT(yaw(-0.49999945F), -kQuarterTurn + 1e-4F);
}

TEST(HeadPose, sinesBeyondOneAreClamped) {
    float e[3];
    quaternionToEuler({0, 1.0F, 0, 0.75F}, e);  // t = 1.5
    expectAngles(kPi, kQuarterTurn, kPi, e);    // atan2(0, w w - y y)
    quaternionToEuler({0, -1.0F, 0, 0.75F}, e);
    expectAngles(kPi, -kQuarterTurn, kPi, e);
}

TEST(HeadPose, anglesOfNaNAreNaN) {
    float e[3];
    quaternionToEuler({kNaN, kNaN, kNaN, kNaN}, e);
    expectAngles(kNaN, kNaN, kNaN, e);
}

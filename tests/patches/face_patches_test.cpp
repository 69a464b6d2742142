#include "patches/face_patches.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "patches/head_pose.h"
#include "patches/patch_layout.h"
#include "patches/sample_face.h"
#include "support/bits.h"
#include "support/random.h"
#include "support/zeroed_tables.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

LandmarkEntry point(double x, double y) {
    return {0, static_cast<float>(x), static_cast<float>(y)};
}

CanvasPoint toImage(const CanvasToImage& t, float X, float Y) {
    return {t.A * X - t.B * Y + t.C, t.B * X + t.A * Y + t.E};
}

void expectExact(const PatchAlignment& alignment, const float (&expected)[9]) {
    const CanvasToImage& t = alignment.inverse;
    const float actual[9] = {alignment.Q, alignment.a, alignment.b, alignment.c, alignment.d,
                             t.A,         t.B,         t.C,         t.E};
    EXPECT_TRUE(sameFloats(expected, actual, 9));
}

float imageEyeSpanOf(const std::vector<LandmarkEntry>& entries) {
    const RecordBlock block(entries);
    float roll;
    float yaw;
    float pitch;
    return estimateFacePose(block.record(), roll, yaw, pitch);
}

}  // namespace

// --- Alignment ----------------------------------------------------------------------------------

TEST(Alignment, anchorsAtTheirPlacesNeedNoTransform) {
    // A distance of 40 at scale 1 puts Q at 100. Whole numbers below 2^24: nothing rounds.
    expectExact(alignPatch(point(80, 60), point(80, 100), 33, 33.0F),
                {100, 1, 0, 0, 0, 1, 0, 0, 0});
}

TEST(Alignment, aQuarterTurnIsExact) {
    // The lower anchor lies left of the upper one: x' = y + 30, y' = 160 - x.
    expectExact(alignPatch(point(100, 50), point(60, 50), 33, 33.0F),
                {100, 0, -1, 30, 160, 0, 1, 160, -30});
}

TEST(Alignment, halfScaleIsExact) {
    // Twice as far apart and S twice as large: x' = x / 2, y' = y / 2 and back.
    expectExact(alignPatch(point(160, 120), point(160, 200), 33, 66.0F),
                {100, 0.5F, 0, 0, 0, 2, 0, 0, 0});
}

TEST(Alignment, canvasIsUprightForAnyTilt) {
    for (int degrees = 0; degrees < 360; degrees += 10) {
        const double angle = degrees * std::numbers::pi / 180.0;
        const LandmarkEntry upper = point(500.25, 400.75);
        const LandmarkEntry lower =
            point(500.25 - 120.0 * std::sin(angle), 400.75 + 120.0 * std::cos(angle));
        for (const int span : {12, 21, 33}) {
            SCOPED_TRACE(std::to_string(degrees) + " degrees, span " + std::to_string(span));
            const PatchAlignment alignment = alignPatch(upper, lower, span, 95.0F);
            EXPECT_NEAR(static_cast<float>(span) * 120.0F / 95.0F + 60.0F, alignment.Q, 1e-3F);
            const CanvasPoint first = toCanvas(alignment, upper);
            EXPECT_NEAR(80.0F, first.x, 0.05F);
            EXPECT_NEAR(60.0F, first.y, 0.05F);
            const CanvasPoint second = toCanvas(alignment, lower);
            EXPECT_NEAR(80.0F, second.x, 0.05F);
            EXPECT_NEAR(alignment.Q, second.y, 0.05F);

            const CanvasPoint back = toImage(alignment.inverse, 80.0F, 60.0F);
            EXPECT_NEAR(upper.x, back.x, 0.5F);
            EXPECT_NEAR(upper.y, back.y, 0.5F);
        }
    }
}

TEST(Alignment, scaleIsSpanOverImageEyeSpanWhateverTheDistance) {
    for (const double distance : {20.0, 57.3, 111.0}) {
        for (const int span : {12, 18, 33}) {
            const PatchAlignment alignment =
                alignPatch(point(150, 90), point(155, 90 + distance), span, 70.0F);
            const float scale = static_cast<float>(span) / 70.0F;
            EXPECT_NEAR(scale, std::hypot(alignment.a, alignment.b), 1e-3F * scale);
            EXPECT_NEAR(1.0F / scale, std::hypot(alignment.inverse.A, alignment.inverse.B),
                        1e-3F / scale);
            EXPECT_NEAR(60.0 + static_cast<double>(scale) * std::hypot(5.0, distance),
                        static_cast<double>(alignment.Q), 1e-3);
        }
    }
}

TEST(Alignment, theTwoFitsUndoEachOther) {
    Random random(31);
    for (int round = 0; round < 100; ++round) {
        const LandmarkEntry upper = point(static_cast<double>(random.uniform(50.0F, 250.0F)),
                                          static_cast<double>(random.uniform(50.0F, 250.0F)));
        const LandmarkEntry lower = {0, upper.x + random.uniform(20.0F, 60.0F),
                                     upper.y + random.uniform(-60.0F, 60.0F)};
        const PatchAlignment alignment = alignPatch(upper, lower, 27, random.uniform(30.0F, 90.0F));
        const LandmarkEntry landmark = {0, random.uniform(0.0F, 300.0F),
                                        random.uniform(0.0F, 300.0F)};
        const CanvasPoint canvas = toCanvas(alignment, landmark);
        const CanvasPoint image = toImage(alignment.inverse, canvas.x, canvas.y);
        EXPECT_NEAR(landmark.x, image.x, 0.1F) << "round " << round;
        EXPECT_NEAR(landmark.y, image.y, 0.1F) << "round " << round;
    }
}

TEST(Alignment, spanTimesDistanceIsDividedLast) {
    // (33 x 7) / 9 + 60 ends one bit lower than 33 x (7 / 9) + 60 and (33 / 9) x 7 + 60.
    const PatchAlignment alignment = alignPatch(point(10, 20), point(10, 27), 33, 9.0F);
    EXPECT_TRUE(sameFloat(0x1.56aaaap+6F, alignment.Q));
    EXPECT_FALSE(sameBits(33.0F * (7.0F / 9.0F) + 60.0F, alignment.Q));
    EXPECT_FALSE(sameBits((33.0F / 9.0F) * 7.0F + 60.0F, alignment.Q));
}

TEST(Alignment, doublingThePictureLeavesTheCanvasToTheLastBit) {
    std::vector<LandmarkEntry> entries =
        seenFrom({.k = 9.3, .pitch = 8.0, .yaw = 12.0, .roll = 33.0});
    const float once = imageEyeSpanOf(entries);
    const LandmarkEntry upper = entryOf(entries, 6);
    const LandmarkEntry lower = entryOf(entries, 10);
    const LandmarkEntry mouth = entryOf(entries, 12);
    for (LandmarkEntry& entry : entries) {
        entry.x *= 2.0F;
        entry.y *= 2.0F;
    }
    const float twice = imageEyeSpanOf(entries);
    EXPECT_TRUE(sameFloat(2.0F * once, twice));
    for (const int span : {12, 33}) {
        const PatchAlignment small = alignPatch(upper, lower, span, once);
        const PatchAlignment large =
            alignPatch(entryOf(entries, 6), entryOf(entries, 10), span, twice);
        expectExact(large,
                    {small.Q, small.a / 2, small.b / 2, small.c, small.d, small.inverse.A * 2,
                     small.inverse.B * 2, small.inverse.C * 2, small.inverse.E * 2});
        const CanvasPoint expected = toCanvas(small, mouth);
        const CanvasPoint actual = toCanvas(large, entryOf(entries, 12));
        EXPECT_TRUE(sameFloat(expected.x, actual.x));
        EXPECT_TRUE(sameFloat(expected.y, actual.y));
    }
}

TEST(Alignment, noddingMovesTheLowerAnchorAndKeepsTheScale) {
    const std::vector<LandmarkEntry> straight = seenFrom({.k = 10.0});
    const float straightSpan = imageEyeSpanOf(straight);
    const PatchAlignment before =
        alignPatch(entryOf(straight, 6), entryOf(straight, 10), 33, straightSpan);
    for (const double pitch : {-40.0, 25.0, 40.0}) {
        const std::vector<LandmarkEntry> nodding = seenFrom({.k = 10.0, .pitch = pitch});
        const float span = imageEyeSpanOf(nodding);
        EXPECT_NEAR(straightSpan, span, 0.01F);
        const PatchAlignment after =
            alignPatch(entryOf(nodding, 6), entryOf(nodding, 10), 33, span);
        EXPECT_LT(after.Q, before.Q - 2.0F) << pitch;
        EXPECT_GT(after.Q, 60.0F) << pitch;
        EXPECT_NEAR(std::hypot(before.a, before.b), std::hypot(after.a, after.b), 1e-3F);
    }
}

TEST(Alignment, anchorsAtOnePlaceGiveNonFiniteTransforms) {
    const PatchAlignment alignment = alignPatch(point(100, 50), point(100, 50), 33, 60.0F);
    EXPECT_TRUE(sameFloat(60.0F, alignment.Q));
    for (const float value :
         {alignment.a, alignment.b, alignment.c, alignment.d, alignment.inverse.A,
          alignment.inverse.B, alignment.inverse.C, alignment.inverse.E})
        EXPECT_FALSE(std::isfinite(value)) << value;
}

TEST(Alignment, aFaceWithoutSizeGivesANonFiniteRow) {
    const float q = alignPatch(point(100, 50), point(100, 90), 33, 0.0F).Q;
    EXPECT_TRUE(sameFloat(std::numeric_limits<float>::infinity(), q));
    EXPECT_TRUE(sameFloat(kNaN, alignPatch(point(100, 50), point(100, 50), 33, 0.0F).Q));
    EXPECT_TRUE(sameFloat(kNaN, alignPatch(point(100, 50), point(100, 90), 33, kNaN).Q));
}

// --- The whole stage ----------------------------------------------------------------------------

namespace {

// A picture inside a larger allocation; rows may be padded and may run upwards.
struct Picture {
    int width;
    int height;
    int stride;
    std::ptrdiff_t start;
    Bytes bytes;

    const std::uint8_t* image() const { return bytes.data() + start; }
    std::uint8_t* pixel(int x, int y) {
        return bytes.data() + start + static_cast<std::ptrdiff_t>(y) * stride + 3 * x;
    }
};

Picture emptyPicture(int width, int height, int padding = 0, bool upwards = false,
                     std::uint8_t surroundings = 0) {
    const int stride = 3 * width + padding;
    const int border = 64;
    Bytes bytes(static_cast<std::size_t>(stride * height + 2 * border), surroundings);
    return {width, height, upwards ? -stride : stride,
            border + (upwards ? stride * (height - 1) : 0), std::move(bytes)};
}

// The same pixels for the same seed, wherever and however they are stored.
Picture noise(Picture picture, std::uint64_t seed) {
    Random random(seed);
    for (int y = 0; y < picture.height; ++y)
        for (int i = 0; i < 3 * picture.width; ++i)
            picture.pixel(0, y)[i] = random.byte();
    return picture;
}

SourceImage imageOf(const Picture& picture) {
    return {picture.image(), picture.width, picture.height, picture.stride};
}

std::size_t columnsOf(int patch) {
    const int size = kPatchLayout.size[patch];
    return static_cast<std::size_t>(size * size * (kPatchLayout.isColour[patch] == 1 ? 3 : 1));
}

std::vector<float> valuesOf(const Matrix& matrix) {
    return {matrix.data, matrix.data + matrix.numElements};
}

// One context for all tests: what a test leaves on the canvases must not matter to the next.
class FacePatches : public testing::Test {
  public:
    static void SetUpTestSuite() { context = std::make_unique<ZomuContext>(); }
    static void TearDownTestSuite() { context.reset(); }

    // Mean images of small whole numbers: pixel minus mean is exact and can be undone.
    void SetUp() override {
        Random random(77);
        for (auto& image : meanImages)
            for (float& value : image)
                value = static_cast<float>(random.between(0, 99));
    }

    ZeroedTables tables;

    static PatchList cut(const Picture& picture, const std::vector<LandmarkEntry>& entries) {
        const RecordBlock block(entries);
        return cutFacePatches(context->canvases, g_modelTables.meanImages, imageOf(picture), block.record());
    }

    static std::unique_ptr<ZomuContext> context;
};

std::unique_ptr<ZomuContext> FacePatches::context;

// Finds the centres by id, and does for each patch on canvases of its own what the stage does on
// the context's.
void expectPatchesByTheirParts(const Picture& picture, const std::vector<LandmarkEntry>& entries) {
    const PatchList patches = FacePatches::cut(picture, entries);
    ASSERT_EQ(25U, patches.size());
    const float imageEyeSpan = imageEyeSpanOf(entries);
    const auto entryAt = [&](std::int32_t keptPosition) {
        for (const ContractRow& row : kContract)
            if (row.keptPosition == keptPosition)
                return entryOf(entries, row.id);
        return LandmarkEntry{};
    };
    for (int i = 0; i < kPatchCount; ++i) {
        const std::size_t columns = columnsOf(i);
        const PatchAlignment alignment = alignPatch(entryOf(entries, 6), entryOf(entries, 10),
                                                    kPatchLayout.canonicalEyeSpan[i], imageEyeSpan);
        const CanvasPoint first = toCanvas(alignment, entryAt(kPatchLayout.firstCentre[i]));
        const CanvasPoint second = toCanvas(alignment, entryAt(kPatchLayout.secondCentre[i]));
        std::vector<float> expected(2 * columns);
        Bytes canvas(3 * kCanvasSide * kCanvasSide);
        if (kPatchLayout.isColour[i] == 1) {
            warpColour(imageOf(picture), alignment.inverse, kWholeCanvas, canvas.data());
            cropColour(canvas.data(), first, i, expected.data());
            cropColourMirrored(canvas.data(), second, i, expected.data() + columns);
        } else {
            warpGrey(imageOf(picture), alignment.inverse, kWholeCanvas, canvas.data());
            cropGrey(canvas.data(), first, i, expected.data());
            cropGreyMirrored(canvas.data(), second, i, expected.data() + columns);
        }
        EXPECT_TRUE(sameFloats(expected, valuesOf(*patches[static_cast<std::size_t>(i)])))
            << "patch " << i;
    }
}

void expectSamePatches(const PatchList& expected, const PatchList& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(sameFloats(valuesOf(*expected[i]), valuesOf(*actual[i]))) << "patch " << i;
}

}  // namespace

TEST_F(FacePatches, areTwentyFiveMatricesOfTwoRows) {
    const PatchList patches = cut(noise(emptyPicture(320, 300), 1), seenFrom({}));
    ASSERT_EQ(25U, patches.size());
    for (int i = 0; i < kPatchCount; ++i) {
        const Matrix& matrix = *patches[static_cast<std::size_t>(i)];
        const auto columns = static_cast<std::int32_t>(columnsOf(i));
        EXPECT_EQ(2, matrix.numRows) << "patch " << i;
        EXPECT_EQ(columns, matrix.numCols) << "patch " << i;
        EXPECT_EQ(2 * columns, matrix.numElements) << "patch " << i;
        EXPECT_TRUE(matrix.ownsData) << "patch " << i;
        EXPECT_EQ(111, matrix.trans) << "patch " << i;
        for (const float value : valuesOf(matrix))
            ASSERT_LE(std::fabs(value), 255.0F) << "patch " << i;
    }
    EXPECT_EQ(9075, patches[0]->numCols);
    EXPECT_EQ(6627, patches[2]->numCols);
    EXPECT_EQ(2209, patches[3]->numCols);
}

TEST_F(FacePatches, areThePlainCropAboveTheMirroredOne) {
    std::vector<LandmarkEntry> entries =
        seenFrom({.k = 11.0, .pitch = 5.0, .yaw = -10.0, .roll = 25.0});
    const Picture picture = noise(emptyPicture(320, 300, 5), 2);
    expectPatchesByTheirParts(picture, entries);
    expectPatchesByTheirParts(picture, withoutSides(entries));
    Random random(3);
    random.shuffle(entries.data(), static_cast<int>(entries.size()));
    expectPatchesByTheirParts(picture, entries);
}

TEST_F(FacePatches, midlineOnesMirrorThemselvesUpToTheMean) {
    const PatchList patches =
        cut(noise(emptyPicture(320, 300), 3), seenFrom({.k = 9.0, .yaw = 7.0, .roll = -14.0}));
    int midline = 0;
    for (int i = 0; i < kPatchCount; ++i) {
        if (kPatchLayout.firstCentre[i] != kPatchLayout.secondCentre[i])
            continue;
        ++midline;
        const int size = kPatchLayout.size[i];
        const int side = kPatchLayout.sideMargin[i];
        const int cap = kPatchLayout.capMargin[i];
        const Matrix& matrix = *patches[static_cast<std::size_t>(i)];
        const auto columns = static_cast<int>(columnsOf(i));
        for (int e = 0; e < columns; ++e) {
            const int r = e % (size * size) / size;
            const int q = e % size;
            if (q < side || q >= size - side || r < cap || r >= size - cap)
                continue;
            const int opposite = e - q + (size - 1 - q);
            ASSERT_EQ(matrix.at(0, e) + meanImages[i][e],
                      matrix.at(1, opposite) + meanImages[i][opposite])
                << "patch " << i << ", element " << e;
        }
    }
    EXPECT_EQ(13, midline);
}

TEST_F(FacePatches, showTheirLandmarksAtTheCentreForAnyTilt) {
    // Discs of two greys around the corners of the mouth, which patch 3 is centred on. The disc of
    // radius 8 is 2 canvas pixels wide in every direction.
    std::fill(std::begin(meanImages[3]), std::end(meanImages[3]), 0.0F);
    for (int roll = -180; roll < 180; roll += 20) {
        const std::vector<LandmarkEntry> entries =
            seenFrom({.k = 10.0, .roll = static_cast<double>(roll)});
        Picture picture = emptyPicture(320, 300);
        const auto paint = [&](std::int32_t id, std::uint8_t value) {
            const LandmarkEntry& centre = entryOf(entries, id);
            for (int y = 0; y < picture.height; ++y)
                for (int x = 0; x < picture.width; ++x)
                    if (std::hypot(static_cast<float>(x) - centre.x,
                                   static_cast<float>(y) - centre.y) < 8.0F)
                        std::fill_n(picture.pixel(x, y), 3, value);
        };
        paint(12, 250);
        paint(13, 130);
        const PatchList patches = cut(picture, entries);
        const int centre = 23 * 47 + 23;
        EXPECT_EQ(250.0F, patches[3]->at(0, centre)) << "roll " << roll;
        EXPECT_EQ(130.0F, patches[3]->at(1, centre)) << "roll " << roll;
        // In both crops the other corner, 52 image pixels away, lies to the right.
        const int away = 15;
        EXPECT_EQ(130.0F, patches[3]->at(0, centre + away)) << "roll " << roll;
        EXPECT_EQ(250.0F, patches[3]->at(1, centre + away)) << "roll " << roll;
        EXPECT_EQ(0.0F, patches[3]->at(0, centre - away)) << "roll " << roll;
        EXPECT_EQ(0.0F, patches[3]->at(1, centre - away)) << "roll " << roll;
    }
}

TEST_F(FacePatches, comeFromTheGreyOrFromTheColourImage) {
    const std::vector<LandmarkEntry> entries = seenFrom({.roll = 5.0});
    Picture picture = noise(emptyPicture(320, 300), 4);
    Picture greyed = emptyPicture(320, 300);
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 320; ++x) {
            const std::uint8_t* pixel = picture.pixel(x, y);
            const std::int32_t grey = toGrey(pixel[0], pixel[1], pixel[2]);
            std::fill_n(greyed.pixel(x, y), 3, static_cast<std::uint8_t>(grey));
        }
    const PatchList expected = cut(picture, entries);
    const PatchList mixed = cut(greyed, entries);
    for (int i = 0; i < kPatchCount; ++i) {
        const auto k = static_cast<std::size_t>(i);
        const bool same =
            static_cast<bool>(sameFloats(valuesOf(*expected[k]), valuesOf(*mixed[k])));
        EXPECT_EQ(kPatchLayout.isColour[i] == 0, same) << "patch " << i;
    }
}

TEST_F(FacePatches, doNotDependOnHowRowsAreStored) {
    const std::vector<LandmarkEntry> entries = seenFrom({.pitch = -9.0, .roll = 12.0});
    const PatchList expected = cut(noise(emptyPicture(320, 300), 6), entries);
    expectSamePatches(expected, cut(noise(emptyPicture(320, 300, 1, false, 99), 6), entries));
    expectSamePatches(expected, cut(noise(emptyPicture(320, 300, 64, false, 255), 6), entries));
    expectSamePatches(expected, cut(noise(emptyPicture(320, 300, 0, true, 7), 6), entries));
    expectSamePatches(expected, cut(noise(emptyPicture(320, 300, 13, true, 200), 6), entries));
}

TEST_F(FacePatches, landmarksAnywhereReadNothingOutsideTheImage) {
    const CameraView views[] = {
        {.k = 10.0, .left = 0.0, .top = 0.0},     {.k = 10.0, .left = 99.0, .top = 79.0},
        {.k = 30.0, .left = 50.0, .top = 40.0},   {.k = 10.0, .left = -400.0, .top = 300.0},
        {.k = 0.01, .left = 3.0, .top = 2.0},     {.k = 5.0, .left = 1e6, .top = -1e6},
        {.k = 1000.0, .left = 50.0, .top = 40.0},
    };
    for (const CameraView& view : views) {
        const std::vector<LandmarkEntry> entries = seenFrom(view);
        expectSamePatches(cut(noise(emptyPicture(100, 80, 9, false, 0), 7), entries),
                          cut(noise(emptyPicture(100, 80, 9, false, 255), 7), entries));
    }
}

TEST_F(FacePatches, theSmallestPictureIsTwoByTwo) {
    const Picture picture = noise(emptyPicture(2, 2, 3, false, 255), 8);
    expectSamePatches(
        cut(picture, seenFrom({.k = 0.1, .left = 1.0, .top = 1.0})),
        cut(noise(emptyPicture(2, 2), 8), seenFrom({.k = 0.1, .left = 1.0, .top = 1.0})));
}

TEST_F(FacePatches, aFaceWithoutExtentShowsBlackCanvases) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    for (LandmarkEntry& entry : entries) {
        entry.x = 100.0F;
        entry.y = 50.0F;
    }
    const PatchList patches = cut(noise(emptyPicture(320, 300), 9), entries);
    ASSERT_EQ(25U, patches.size());
    for (int i = 2; i < 10; ++i) {  // patches without margins
        const Matrix& matrix = *patches[static_cast<std::size_t>(i)];
        for (int e = 0; e < matrix.numCols; ++e) {
            ASSERT_EQ(-meanImages[i][e], matrix.at(0, e)) << "patch " << i << ", element " << e;
            ASSERT_EQ(-meanImages[i][e], matrix.at(1, e)) << "patch " << i << ", element " << e;
        }
    }
}

TEST_F(FacePatches, nothingIsLeftFromTheFaceBefore) {
    const std::vector<LandmarkEntry> entries = seenFrom({.yaw = -20.0, .roll = 3.0});
    const Picture picture = noise(emptyPicture(320, 300), 11);
    const PatchList expected = cut(picture, entries);
    cut(noise(emptyPicture(100, 80), 12), seenFrom({.k = 4.0, .left = 40.0, .top = 50.0}));
    expectSamePatches(expected, cut(picture, entries));
}

// The patch stage against a second writing of it, bit for bit, on hundreds of faces that nobody
// chose: heads turned and tilted, inside and outside the picture, pictures down to 2 x 2, and
// records that no face could give.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <vector>

#include "patches/face_patches.h"
#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
#include "patches/sampling.h"
#include "reference/reference_patches.h"
#include "reference/reference_tables.h"
#include "service/context.h"
#include "model/model_tables.h"
#include "support/bits.h"
#include "support/faces.h"
#include "support/guarded_buffer.h"
#include "support/pictures.h"
#include "support/random.h"
#include "support/zeroed_tables.h"

using Entry = LandmarkEntry;

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr std::size_t kCanvasPixels = 160 * 160;

// Mean images of random values for the time of a test, zero again afterwards.
class RandomFaces : public testing::Test {
    const ZeroedTables tables;

  protected:
    RandomFaces() : random(71) {
        for (auto& image : meanImages) {
            for (float& value : image) {
                value = random.uniform(60, 200);
            }
        }
    }

    // Pose and all 25 patches of one face.
    testing::AssertionResult sameAsReference(const Picture& picture, const LandmarkRecord& record) {
        const ReferencePose pose = referencePose(record);
        float angles[3];
        const float span = estimateFacePose(record, angles[0], angles[1], angles[2]);
        const float expectedAngles[3] = {pose.roll, pose.yaw, pose.pitch};
        if (const auto same = sameFloat(pose.imageEyeSpan, span); !same) {
            return testing::AssertionFailure() << "imageEyeSpan: " << same.message();
        }
        if (const auto same = sameFloats(expectedAngles, angles, 3); !same) {
            return testing::AssertionFailure() << "roll, yaw, pitch: " << same.message();
        }

        const int width = picture.width, height = picture.height, stride = picture.stride;
        const PatchList patches =
            cutFacePatches(context.canvases, g_modelTables.meanImages, {picture.topRow(), width, height, stride}, record);
        const std::vector<ReferenceFloats> expected =
            referencePatches(picture.topRow(), width, height, stride, record, &meanImages[0][0]);
        if (patches.size() != 25) {
            return testing::AssertionFailure() << patches.size() << " patches";
        }
        for (std::size_t k = 0; k < 25; ++k) {
            const Matrix& patch = *patches[k];
            const auto count = static_cast<std::int32_t>(expected[k].size());
            if (patch.numRows != 2 || patch.numCols != count / 2 || patch.numElements != count ||
                patch.trans != kRowMajor || !patch.ownsData) {
                return testing::AssertionFailure() << "shape of patch " << k;
            }
            if (const auto same = sameFloats(expected[k].data(), patch.data, expected[k].size());
                !same) {
                return testing::AssertionFailure() << "patch " << k << ": " << same.message();
            }
        }
        return testing::AssertionSuccess();
    }

    Picture anyPicture(int smallest, int largest) {
        const int width = random.between(smallest, largest);
        const int height = random.between(smallest, largest);
        return randomPicture(random, width, height, randomStride(random, width));
    }

    // With or without the sides of the head, in some order.
    LandmarkRecord anyRecord(const HeadView& view, float noise) {
        LandmarkRecord record = projectFace(view);
        jitter(record, random, noise);
        if (random.oneIn(3)) {
            record = withoutSidesOfHead(record);
        }
        if (random.oneIn(2)) {
            shuffleEntries(record, random);
        }
        for (std::uint8_t& byte : record.reserved) {
            byte = random.byte();
        }
        return record;
    }

    ZomuContext context;
    Random random;
};

TEST_F(RandomFaces, facesInsideThePicture) {
    for (int round = 0; round < 80; ++round) {
        const Picture picture = anyPicture(120, 400);
        HeadView view = randomView(random, picture.width, picture.height);
        view.x = picture.width * 0.5;
        view.y = picture.height * 0.5;
        view.scale = static_cast<double>(random.uniform(3, 12));
        const LandmarkRecord record = anyRecord(view, random.uniform(0, 2));
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round;
    }
}

TEST_F(RandomFaces, facesAcrossTheEdgesOfPicturesOfAnySize) {
    for (int round = 0; round < 80; ++round) {
        const Picture picture = anyPicture(2, 150);
        const HeadView view = randomView(random, picture.width, picture.height);
        const LandmarkRecord record = anyRecord(view, random.uniform(0, 5));
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round;
    }
}

TEST_F(RandomFaces, facesFarOutsideThePicture) {
    for (int round = 0; round < 50; ++round) {
        const Picture picture = anyPicture(2, 100);
        HeadView view = randomView(random, picture.width, picture.height);
        const double distance = std::ldexp(1.0, random.between(5, 40));
        view.x += random.oneIn(2) ? distance : -distance;
        view.y += random.oneIn(2) ? distance : -distance;
        view.scale *= std::ldexp(1.0, random.between(-10, 20));
        const LandmarkRecord record = anyRecord(view, random.uniform(0, 5));
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round;
    }
}

TEST_F(RandomFaces, smallestPictures) {
    for (int width = 2; width <= 4; ++width) {
        for (int height = 2; height <= 4; ++height) {
            const Picture picture =
                randomPicture(random, width, height, randomStride(random, width));
            HeadView view = randomView(random, width, height);
            view.scale = static_cast<double>(random.uniform(0.1F, 4));
            ASSERT_TRUE(sameAsReference(picture, anyRecord(view, 0.1F)))
                << width << " x " << height;
        }
    }
    for (const int length : {2, 500}) {
        const Picture picture = randomPicture(random, length, 502 - length, 3 * length);
        ASSERT_TRUE(sameAsReference(
            picture, anyRecord(randomView(random, picture.width, picture.height), 1.0F)));
    }
}

// Rows that overlap or are all one row: the picture is what the stride says.
TEST_F(RandomFaces, stridesBelowTheWidthOfARow) {
    for (const int stride : {0, 1, 3, 50, -1, -3, -50}) {
        const Picture picture = randomPicture(random, 60, 70, stride);
        ASSERT_TRUE(sameAsReference(picture, anyRecord(randomView(random, 60, 70), 1.0F)))
            << "stride " << stride;
    }
}

// Profiles, heads upside down and nearly from above, where the fit is worst.
TEST_F(RandomFaces, extremeViews) {
    const Picture picture = randomPicture(random, 200, 180, 640);
    for (int round = 0; round < 60; ++round) {
        HeadView view;
        view.yaw = 90 * random.between(-2, 2) + static_cast<double>(random.uniform(-1, 1));
        view.pitch = 90 * random.between(-2, 2) + static_cast<double>(random.uniform(-1, 1));
        view.roll = 90 * random.between(-2, 2);
        ASSERT_TRUE(sameAsReference(picture, anyRecord(view, 0.5F * random.unit())))
            << "round " << round;
    }
}

// Points without any order whatsoever.
TEST_F(RandomFaces, scatteredPoints) {
    for (int round = 0; round < 40; ++round) {
        const Picture picture = anyPicture(2, 200);
        LandmarkRecord record = anyRecord(HeadView(), 0);
        for (int i = 0; i < record.count; ++i) {
            record.entries[i].x = random.uniform(-50, 250);
            record.entries[i].y = random.uniform(-50, 250);
        }
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round;
    }
}

TEST_F(RandomFaces, otherIdsCountAsTheFirstModelRow) {
    const Picture picture = randomPicture(random, 100, 90, 300);
    const LandmarkRecord face = withoutSidesOfHead(projectFace(HeadView()));
    std::vector<int> strangeIds;
    for (int id = 0; id < kLandmarkIdCount; ++id) {
        if (!isSideOfHead(id) && std::none_of(face.entries, face.entries + 25,
                                              [id](const Entry& e) { return e.id == id; })) {
            strangeIds.push_back(id);
        }
    }
    for (int round = 0; round < 20; ++round) {
        random.shuffle(strangeIds.data(), static_cast<int>(strangeIds.size()));
        LandmarkRecord record = face;
        // From nothing but strange ids to a few of them.
        for (std::size_t i = 0; i < 25; ++i) {
            if (random.oneIn(round + 1)) {
                record.entries[i].id = strangeIds[i];
            }
        }
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round;
    }
}

// The contract allows any number of landmarks at the sides of the head.
TEST_F(RandomFaces, recordLongerThanItsDeclaration) {
    constexpr int kCount = 25 + 12;
    std::vector<std::uint32_t> storage(2 + 3 * kCount);
    auto* record = reinterpret_cast<LandmarkRecord*>(storage.data());
    std::vector<LandmarkEntry> entries;
    const LandmarkRecord full = projectFace(HeadView());
    for (const LandmarkEntry& entry : full.entries) {
        const int copies = isSideOfHead(entry.id) ? 3 : 1;
        for (int copy = 0; copy < copies; ++copy) {
            entries.push_back({entry.id, entry.x + random.unit(), entry.y + random.unit()});
        }
    }
    random.shuffle(entries.data(), kCount);
    record->count = kCount;
    std::memcpy(storage.data() + 2, entries.data(), kCount * sizeof(LandmarkEntry));
    ASSERT_TRUE(sameAsReference(randomPicture(random, 150, 150, 450), *record));
}

TEST_F(RandomFaces, recordsThatNoFaceCouldGive) {
    const Picture picture = randomPicture(random, 64, 48, 200);
    const LandmarkRecord face = projectFace(HeadView());
    const auto each = [&](auto change) {
        LandmarkRecord record = face;
        for (int i = 0; i < record.count; ++i) {
            change(record.entries[i], i);
        }
        return record;
    };
    const struct {
        const char* name;
        LandmarkRecord record;
    } cases[] = {
        {"all points equal", each([](Entry& e, int) { e.x = 30.25F, e.y = 20.5F; })},
        {"all points at the origin", each([](Entry& e, int) { e.x = 0, e.y = 0; })},
        {"all points at the smallest subnormal", each([](Entry& e, int) { e.x = e.y = 1e-45F; })},
        {"on a horizontal line", each([](Entry& e, int) { e.y = 20; })},
        {"on a vertical line", each([](Entry& e, int) { e.x = 20; })},
        {"on a diagonal", each([](Entry& e, int) { e.y = e.x; })},
        {"two points", each([](Entry& e, int i) { e.x = e.y = i % 2 == 0 ? 5.0F : 40.0F; })},
        {"scale 1e-30", each([](Entry& e, int) { e.x *= 1e-30F, e.y *= 1e-30F; })},
        {"scale 1e15", each([](Entry& e, int) { e.x *= 1e15F, e.y *= 1e15F; })},
        {"scale 1e30", each([](Entry& e, int) { e.x *= 1e30F, e.y *= 1e30F; })},
        {"mirrored", each([](Entry& e, int) { e.x = -e.x; })},
        {"all NaN", each([](Entry& e, int) { e.x = e.y = kNan; })},
        {"all infinite", each([](Entry& e, int) { e.x = kInfinity, e.y = -kInfinity; })},
        {"the anchors equal", each([&](Entry& e, int) {
             if (e.id == 10) {
                 e.x = face.entries[6].x, e.y = face.entries[6].y;
             }
         })},
    };
    ASSERT_EQ(6, face.entries[6].id);
    for (const auto& oddity : cases) {
        EXPECT_TRUE(sameAsReference(picture, oddity.record)) << oddity.name;
    }
}

TEST_F(RandomFaces, singleOddCoordinates) {
    const Picture picture = randomPicture(random, 80, 60, 240);
    const float values[] = {kNan, kInfinity, -kInfinity, 3e38F, -1e20F, 1e-45F, -0.0F};
    for (int round = 0; round < 56; ++round) {
        LandmarkRecord record = projectFace(HeadView());
        LandmarkEntry& entry = record.entries[random.between(0, record.count - 1)];
        const float value = values[round % 7];
        if (round % 3 != 0) {
            entry.x = value;
        }
        if (round % 3 != 1) {
            entry.y = value;
        }
        ASSERT_TRUE(sameAsReference(picture, record)) << "round " << round << ", id " << entry.id;
    }
    for (int round = 0; round < 20; ++round) {
        LandmarkRecord record = projectFace(HeadView());
        for (int i = 0; i < record.count; ++i) {
            record.entries[i].x = random.anyFloat();
            record.entries[i].y = random.anyFloat();
        }
        ASSERT_TRUE(sameAsReference(picture, record)) << "any bits, round " << round;
    }
}

// The patches tell when imageEyeSpan is off by its last bit, in nearly every face: a fit that
// rounds otherwise could not stay unnoticed.
TEST_F(RandomFaces, lastBitOfTheScaleReachesThePatches) {
    int facesThatDiffer = 0;
    for (int round = 0; round < 10; ++round) {
        Picture picture = randomPicture(random, 200, 200, 600);
        for (std::uint8_t& byte : picture.bytes) {
            byte = random.byte();
        }
        const LandmarkRecord record = anyRecord(HeadView(), 2);
        const float span = referencePose(record).imageEyeSpan;
        const std::vector<LandmarkEntry> kept = referenceKeptLandmarks(record);
        bool differs = false;
        for (const float other : {std::nextafter(span, 0.0F), std::nextafter(span, kInfinity)}) {
            const auto canvasAt = [&](float s) {
                return referenceWarp(picture.topRow(), 3, 200, 200, 600,
                                     referenceAlignment(kept[6], kept[8], 33, s));
            };
            differs = differs || canvasAt(span) != canvasAt(other);
        }
        facesThatDiffer += differs ? 1 : 0;
    }
    EXPECT_GE(facesThatDiffer, 5);
}

TEST(ConstantTables, equalTheirSecondCopies) {
    for (int id = 0; id < kLandmarkIdCount; ++id) {
        int expectedRow = 0;
        for (int row = 0; row < kModelPointCount; ++row) {
            expectedRow = kReferenceLandmarks[row].id == id ? row : expectedRow;
        }
        EXPECT_EQ(expectedRow, kLandmarkRow[id]) << "id " << id;
    }
    for (int row = 0; row < kModelPointCount; ++row) {
        const ReferenceLandmark& landmark = kReferenceLandmarks[row];
        const float expected[3] = {landmark.X, landmark.Y, landmark.Z};
        EXPECT_TRUE(sameFloats(expected, kHeadModel[row], 3)) << "row " << row;
        EXPECT_EQ(landmark.keptPosition < 0, isSideOfHead(landmark.id)) << "id " << landmark.id;
    }
    for (int k = 0; k < kPatchCount; ++k) {
        const ReferencePatch& patch = kReferencePatches[k];
        EXPECT_EQ(patch.size, kPatchLayout.size[k]) << "patch " << k;
        EXPECT_EQ(patch.canonicalEyeSpan, kPatchLayout.canonicalEyeSpan[k]) << "patch " << k;
        EXPECT_TRUE(sameFloat(patch.shiftFactor, kPatchLayout.shiftFactor[k])) << "patch " << k;
        EXPECT_EQ(patch.isColour ? 1 : 0, kPatchLayout.isColour[k]) << "patch " << k;
        EXPECT_EQ(patch.sideMargin, kPatchLayout.sideMargin[k]) << "patch " << k;
        EXPECT_EQ(patch.capMargin, kPatchLayout.capMargin[k]) << "patch " << k;
        EXPECT_EQ(patch.firstCentre, kPatchLayout.firstCentre[k]) << "patch " << k;
        EXPECT_EQ(patch.secondCentre, kPatchLayout.secondCentre[k]) << "patch " << k;
    }
    // What a full record leaves stands at the kept positions that the tables speak of.
    const KeptLandmarks kept = selectKeptLandmarks(projectFace(HeadView()));
    for (const ReferenceLandmark& landmark : kReferenceLandmarks) {
        if (landmark.keptPosition >= 0) {
            EXPECT_EQ(landmark.id, kept[static_cast<std::size_t>(landmark.keptPosition)].id);
        }
    }
}

// Below: single steps, on arguments that the stage itself would hardly make.

TEST(RandomPoses, rotationTranslationAndScaleEqualTheReference) {
    Random random(72);
    for (int round = 0; round < 500; ++round) {
        LandmarkRecord record = projectFace(randomView(random, 640, 480));
        jitter(record, random, random.uniform(0, 10));
        if (round % 10 == 9) {
            record.entries[random.between(0, 28)].x = random.anyFloat();
        }
        std::vector<ImagePoint> image;
        std::vector<ModelPoint> model;
        for (const LandmarkEntry& entry : record.entries) {
            const float* row = kHeadModel[kLandmarkRow[entry.id]];
            image.push_back({entry.x, entry.y});
            model.push_back({row[0], row[1], row[2]});
        }
        const HeadPose pose = fitHeadPose(image.data(), model.data(), record.count);
        const ReferencePose expected = referencePose(record);
        ASSERT_TRUE(sameFloats(expected.R, pose.R, 9)) << "rotation, round " << round;
        ASSERT_TRUE(sameFloats(expected.T, pose.T, 3)) << "translation, round " << round;
        ASSERT_TRUE(sameFloat(expected.k, pose.k)) << "scale, round " << round;
    }
}

// Turned to within a hair's breadth of a quarter, where only two of the three angles exist, and any
// nine numbers besides, which reach all ways from a matrix to a quaternion.
TEST(RandomPoses, anglesEqualTheReference) {
    Random random(79);
    int atTheQuarter = 0;
    for (int round = 0; round < 6000; ++round) {
        float R[9];
        if (round % 3 == 0) {
            for (float& value : R) {
                value = random.oneIn(50) ? random.anyFloat() : random.uniform(-2, 2);
            }
        } else {
            const double range = round % 3 == 1 ? 3.2 : 0.003;
            const double a = static_cast<double>(random.uniform(-3.2F, 3.2F));
            const double b = (random.oneIn(2) ? 1 : -1) * std::acos(0.0) +
                             range * static_cast<double>(random.uniform(-1, 1));
            const double c = static_cast<double>(random.uniform(-3.2F, 3.2F));
            const double sa = std::sin(a), sb = std::sin(b), sc = std::sin(c);
            const double ca = std::cos(a), cb = std::cos(b), cc = std::cos(c);
            const double exact[9] = {cc * cb,
                                     cc * sb * sa - sc * ca,
                                     cc * sb * ca + sc * sa,
                                     sc * cb,
                                     sc * sb * sa + cc * ca,
                                     sc * sb * ca - cc * sa,
                                     -sb,
                                     cb * sa,
                                     cb * ca};
            for (int i = 0; i < 9; ++i) {
                R[i] = static_cast<float>(exact[i]);
            }
        }
        float e[3];
        quaternionToEuler(rotationToQuaternion(R), e);
        const ReferenceAngles expected = referenceAngles(R);
        const float angles[3] = {expected.e0, expected.e1, expected.e2};
        ASSERT_TRUE(sameFloats(angles, e, 3)) << "round " << round;
        atTheQuarter += std::abs(e[1]) == static_cast<float>(std::acos(0.0)) ? 1 : 0;
    }
    EXPECT_GT(atTheQuarter, 100);
    EXPECT_LT(atTheQuarter, 2000);
}

// A pivot is refused below the smallest normal float, and that one is still good.
TEST(RandomSystems, smallestPivotEqualsTheReference) {
    constexpr float kSmallest = std::numeric_limits<float>::min();
    const float pivots[] = {kSmallest,
                            std::nextafter(kSmallest, 0.0F),
                            std::nextafter(kSmallest, 1.0F),
                            1e-45F,
                            0.0F,
                            -1.0F,
                            kNan};
    for (const float pivot : pivots) {
        for (std::size_t place = 0; place < 8; ++place) {
            float a[8][8] = {};
            for (std::size_t i = 0; i < 8; ++i) {
                a[i][i] = i == place ? pivot : 2.0F;
            }
            float g[8] = {1, 2, 3, 4, 5, 6, 7, 8};
            ReferenceFloats expectedA(&a[0][0], &a[0][0] + 64);
            ReferenceFloats expected(g, g + 8);
            ASSERT_EQ(referenceSolve(expectedA, expected), solveCholesky8(a, g))
                << hexFloat(pivot) << " at " << place;
            ASSERT_TRUE(sameFloats(expected.data(), g, 8)) << hexFloat(pivot) << " at " << place;
        }
    }
}

TEST(RandomSystems, choleskySolutionsEqualTheReference) {
    Random random(73);
    int solved = 0, refused = 0;
    for (int round = 0; round < 1000; ++round) {
        // B times its transpose is positive definite unless B lacks rank.
        const int rank = random.between(1, 12);
        ReferenceFloats expectedA(64, 0.0F);
        for (int column = 0; column < rank; ++column) {
            const std::vector<float> b = random.floats(8, -2, 2);
            for (std::size_t i = 0; i < 64; ++i) {
                expectedA[i] += b[i / 8] * b[i % 8];
            }
        }
        if (random.oneIn(10)) {
            expectedA[static_cast<std::size_t>(random.between(0, 63))] = random.anyFloat();
        }
        ReferenceFloats expected = random.floats(8, -100, 100);
        float a[8][8];
        float g[8];
        std::memcpy(a, expectedA.data(), sizeof a);
        std::memcpy(g, expected.data(), sizeof g);
        const bool success = referenceSolve(expectedA, expected);
        ASSERT_EQ(success, solveCholesky8(a, g)) << "round " << round;
        ASSERT_TRUE(sameFloats(expected.data(), g, 8)) << "round " << round;
        ++(success ? solved : refused);
    }
    EXPECT_GT(solved, 100);
    EXPECT_GT(refused, 100);
}

TEST(RandomAlignments, bothTransformsEqualTheReference) {
    Random random(74);
    for (int round = 0; round < 5000; ++round) {
        LandmarkEntry upper = {6, random.uniform(-100, 900), random.uniform(-100, 900)};
        LandmarkEntry lower = {10, random.uniform(-100, 900), random.uniform(-100, 900)};
        float span = random.uniform(1, 300);
        if (round % 10 == 9) {
            float* const all[] = {&upper.x, &upper.y, &lower.x, &lower.y, &span};
            *all[random.between(0, 4)] = random.anyFloat();
        }
        const int eyeSpan = random.between(12, 33);
        const ReferenceAlignment r = referenceAlignment(upper, lower, eyeSpan, span);
        const PatchAlignment p = alignPatch(upper, lower, eyeSpan, span);
        const float expected[] = {r.Q, r.a, r.b, r.c, r.d, r.A, r.B, r.C, r.E};
        const float actual[] = {p.Q,         p.a,         p.b,         p.c,        p.d,
                                p.inverse.A, p.inverse.B, p.inverse.C, p.inverse.E};
        ASSERT_TRUE(sameFloats(expected, actual, 9)) << "round " << round;
    }
}

TEST(RandomWarps, canvasesEqualTheReference) {
    Random random(75);
    for (int round = 0; round < 300; ++round) {
        const int width = random.between(2, 60);
        const int height = random.between(2, 60);
        const int channels = random.oneIn(2) ? 3 : 1;
        const int gap = random.oneIn(2) ? random.between(0, 9) : 0;
        const int stride = (3 * width + gap) * (random.oneIn(4) ? -1 : 1);
        Picture picture(width, height, stride);
        for (std::uint8_t& byte : picture.bytes) {
            byte = random.oneIn(2) ? random.byte() : static_cast<std::uint8_t>(255);
        }
        ReferenceAlignment t = {};
        float* const parts[] = {&t.A, &t.B, &t.C, &t.E};
        for (float* part : parts) {
            *part = random.uniform(-2, 2);
        }
        t.C *= 50;
        t.E *= 50;
        if (round % 5 == 4) {
            *parts[random.between(0, 3)] = random.anyFloat();
        }
        const CanvasToImage transform = {t.A, t.B, t.C, t.E};
        const std::uint8_t* image = picture.topRow();
        const ReferenceBytes expected =
            channels == 3 ? referenceWarp(image, 3, width, height, stride, t)
                          : referenceWarp(referenceGrey(image, width, height, stride).data(), 1,
                                          width, height, width, t);
        const auto warp = channels == 3 ? warpColour : warpGrey;
        GuardedBuffer<std::uint8_t> canvas(expected.size(), static_cast<std::size_t>(round % 4));
        warp({image, width, height, stride}, transform, kWholeCanvas, canvas.data());
        ASSERT_TRUE(sameBytes(expected.data(), canvas.data(), expected.size()))
            << "round " << round;
        ASSERT_TRUE(canvas.guardsIntact()) << "round " << round;

        // The same area by area: a piece has the bytes of the whole, and the rest stays.
        ReferenceBytes pieces(expected.size(), 170);
        ReferenceBytes expectedPieces = pieces;
        for (int piece = 0; piece < 6; ++piece) {
            CanvasArea area = {random.between(0, 160), 0, random.between(0, 160), 0};
            area.x1 = random.between(area.x0, 160);
            area.y1 = random.between(area.y0, 160);
            warp({image, width, height, stride}, transform, area, pieces.data());
            for (int y = area.y0; y < area.y1; ++y) {
                const auto begin = static_cast<std::size_t>((y * 160 + area.x0) * channels);
                const auto end = static_cast<std::size_t>((y * 160 + area.x1) * channels);
                for (std::size_t i = begin; i < end; ++i) {
                    expectedPieces[i] = expected[i];
                }
            }
        }
        ASSERT_EQ(expectedPieces, pieces) << "round " << round;
    }
}

// Two wrong kernels that look right give other coordinates and other bytes on data like the above.
TEST(RandomWarps, steppedCoordinatesAndSaturationWouldBeNoticed) {
    Random random(76);
    // Black on the left, white on the right: left of the picture the values fall below zero, and a
    // kernel that saturates would give black there.
    Picture edge(2, 2);
    std::fill_n(edge.pixel(1, 0), 3, std::uint8_t{255});
    std::fill_n(edge.pixel(1, 1), 3, std::uint8_t{255});
    int stepsThatDiffer = 0, wrapped = 0;
    for (int round = 0; round < 20; ++round) {
        ReferenceAlignment t = {};
        t.A = random.uniform(0.1F, 0.4F);
        t.B = random.uniform(-0.1F, 0.1F);
        t.C = random.uniform(-8, 0);
        t.E = random.uniform(-8, 0);
        const ReferenceBytes canvas = referenceWarp(edge.topRow(), 3, 2, 2, 6, t);
        for (int Y = 0; Y < 160; ++Y) {
            const float fY = static_cast<float>(Y);
            float stepped = (0.0F * t.A - fY * t.B) + t.C;
            for (int X = 0; X < 160; ++X) {
                const float sx = (static_cast<float>(X) * t.A - fY * t.B) + t.C;
                stepsThatDiffer += sameBits(sx, stepped) ? 0 : 1;
                stepped += t.A;
                const auto pixel = static_cast<std::size_t>(160 * Y + X);
                wrapped += sx < 0.0F && canvas[3 * pixel] != 0 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(stepsThatDiffer, 1000);
    EXPECT_GT(wrapped, 1000);
}

TEST(RandomCrops, rowsEqualTheReference) {
    const ZeroedTables tables;
    Random random(77);
    for (auto& image : meanImages) {
        for (float& value : image) {
            value = random.uniform(-300, 300);
        }
    }
    ReferenceBytes grey(kCanvasPixels);
    ReferenceBytes colour(3 * kCanvasPixels);
    for (ReferenceBytes* canvas : {&grey, &colour}) {
        for (std::uint8_t& byte : *canvas) {
            byte = random.byte();
        }
    }
    for (int round = 0; round < 600; ++round) {
        const int patch = round % kPatchCount;
        const bool isColour = kPatchLayout.isColour[patch] == 1;
        CanvasPoint centre = {random.uniform(-60, 220), random.uniform(-60, 220)};
        if (random.oneIn(4)) {
            // Exactly between two pixels.
            centre = {std::floor(centre.x) + 0.5F, std::floor(centre.y) + 0.5F};
        }
        if (random.oneIn(3)) {
            // So that the shifted row lies on the edge between two pixels, or a hair beside it.
            const float shift = static_cast<float>(kReferencePatches[patch].canonicalEyeSpan) *
                                kReferencePatches[patch].shiftFactor;
            centre.y = (std::floor(centre.y) + 0.5F) - shift;
        }
        if (random.oneIn(8)) {
            (random.oneIn(2) ? centre.x : centre.y) = random.anyFloat();
        }
        for (const bool mirrored : {false, true}) {
            const ReferenceFloats expected = referenceCrop(
                isColour ? colour : grey, centre.x, centre.y, patch, mirrored, meanImages[patch]);
            GuardedBuffer<float> row(expected.size(), static_cast<std::size_t>(round % 3));
            const auto crop = isColour ? (mirrored ? cropColourMirrored : cropColour)
                                       : (mirrored ? cropGreyMirrored : cropGrey);
            crop(isColour ? colour.data() : grey.data(), centre, patch, row.data());
            ASSERT_TRUE(sameFloats(expected.data(), row.data(), expected.size()))
                << "patch " << patch << ", mirrored " << mirrored << ", centre "
                << hexFloat(centre.x) << ", " << hexFloat(centre.y);
            ASSERT_TRUE(row.guardsIntact()) << "patch " << patch;
        }
    }
}

TEST(RandomNumbers, cutTowardsZeroEqualsTheReference) {
    Random random(78);
    for (const float edge : {2147483648.0F, 1.0F, 0.0F}) {
        for (const float value :
             {edge, std::nextafter(edge, -kInfinity), std::nextafter(edge, kInfinity)}) {
            EXPECT_EQ(referenceTrunc(value), trunc32(value)) << hexFloat(value);
            EXPECT_EQ(referenceTrunc(-value), trunc32(-value)) << hexFloat(-value);
        }
    }
    for (int round = 0; round < 100000; ++round) {
        const float value = round % 2 == 0 ? random.anyFloat() : random.uniform(-3e9F, 3e9F);
        ASSERT_EQ(referenceTrunc(value), trunc32(value)) << hexFloat(value);
    }
}

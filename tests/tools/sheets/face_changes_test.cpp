// Changes of pictures: the landmarks stay on what they marked.
#include "sheets/face_changes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <set>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "patches/landmarks.h"
#include "sheets/landmark_names.h"
#include "support/people.h"
#include "support/random.h"

namespace {

FacePicture noiseFace(int width, int height, std::uint64_t seed) {
    FacePicture face = {blackPicture(width, height), portrait().landmarks};
    Random random(seed);
    for (std::uint8_t& value : face.picture.pixels) {
        value = random.byte();
    }
    return face;
}

// A black picture with one soft white spot, marked by the only landmark.
FacePicture spotFace(int width, int height, double x, double y) {
    FacePicture face = {blackPicture(width, height), {}};
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            const double squared = (column - x) * (column - x) + (row - y) * (row - y);
            const double value = 250.0 * std::exp(-squared / 18.0);
            std::fill_n(face.picture.at(column, row), 3, static_cast<std::uint8_t>(value + 0.5));
        }
    }
    face.landmarks.count = 1;
    face.landmarks.entries[0] = {2, static_cast<float>(x), static_cast<float>(y)};
    return face;
}

// `zoom`: how large a pixel of the original is, a few hundredths of which the spot may be off.
void expectSpotAtLandmark(const FacePicture& face, double zoom = 1.0) {
    double sum = 0.0, x = 0.0, y = 0.0;
    for (int row = 0; row < face.picture.height; ++row) {
        for (int column = 0; column < face.picture.width; ++column) {
            const double value = face.picture.at(column, row)[1];
            sum += value;
            x += value * column;
            y += value * row;
        }
    }
    ASSERT_GT(sum, 0.0);
    EXPECT_NEAR(x / sum, face.landmarks.entries[0].x, 0.03 * zoom);
    EXPECT_NEAR(y / sum, face.landmarks.entries[0].y, 0.03 * zoom);
}

void expectSame(const FacePicture& actual, const FacePicture& expected) {
    EXPECT_EQ(actual.picture.width, expected.picture.width);
    EXPECT_EQ(actual.picture.height, expected.picture.height);
    EXPECT_EQ(actual.picture.pixels, expected.picture.pixels);
    EXPECT_EQ(std::memcmp(&actual.landmarks, &expected.landmarks, sizeof expected.landmarks), 0);
}

}  // namespace

TEST(FaceChanges, landmarksStayOnTheirSpot) {
    for (const auto& [width, height] : {std::pair{101, 101}, {100, 80}, {83, 120}}) {
        const FacePicture face = spotFace(width, height, 0.45 * width, 0.6 * height);
        expectSpotAtLandmark(face);
        for (const double degrees : {-30.0, 15.0, 90.0, 180.0}) {
            const FacePicture changed = turned(face, degrees);
            EXPECT_EQ(changed.picture.width, width);
            EXPECT_EQ(changed.picture.height, height);
            expectSpotAtLandmark(changed);
        }
        for (const double factor : {0.33, 0.7, 1.0, 1.6, 3.0}) {
            expectSpotAtLandmark(scaled(face, factor), std::max(1.0, factor));
        }
        expectSpotAtLandmark(mirrored(face));
    }
}

TEST(FaceChanges, turningIsClockwise) {
    const FacePicture quarter = turned(spotFace(101, 101, 70.0, 50.0), 90.0);
    EXPECT_NEAR(quarter.landmarks.entries[0].x, 50.0F, 1e-4F);
    EXPECT_NEAR(quarter.landmarks.entries[0].y, 70.0F, 1e-4F);
}

TEST(FaceChanges, sizesAreRounded) {
    const FacePicture face = noiseFace(13, 7, 5);
    // To 20.8 x 11.2 and 1.3 x 0.7.
    for (const auto& [factor, width, height] : {std::tuple{1.6, 21, 11}, {0.1, 1, 1}}) {
        const FacePicture changed = scaled(face, factor);
        EXPECT_EQ(changed.picture.width, width);
        EXPECT_EQ(changed.picture.height, height);
    }
    for (const double factor : {0.0, -1.0, 1e-9, 1e9, std::nan("")}) {
        EXPECT_THROW(scaled(face, factor), std::invalid_argument) << factor;
    }
}

TEST(FaceChanges, evenPicturesStayEven) {
    FacePicture face = noiseFace(31, 22, 6);
    std::fill(face.picture.pixels.begin(), face.picture.pixels.end(), std::uint8_t{173});
    for (const FacePicture& changed : {turned(face, 15.0), scaled(face, 0.7), scaled(face, 1.6),
                                       scaled(face, 0.05), mirrored(face)}) {
        for (const std::uint8_t value : changed.picture.pixels) {
            ASSERT_EQ(value, 173);
        }
    }
}

TEST(FaceChanges, smallerPicturesAreAveraged) {
    FacePicture face = noiseFace(64, 64, 7);
    for (int i = 0; i < 64 * 64; ++i) {
        std::fill_n(face.picture.at(i % 64, i / 64), 3, i % 4 == 0 ? 200 : 0);
    }
    for (const std::uint8_t value : scaled(face, 0.25).picture.pixels) {
        ASSERT_NEAR(value, 50, 20) << "one white column in four";
    }
}

TEST(FaceChanges, turningByNothingScalingByOneAndMirroringTwiceChangeNothing) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 3}, {2, 5}, {8, 8}, {13, 8}}) {
        const FacePicture face = noiseFace(width, height, 8);
        expectSame(turned(face, 0.0), face);
        expectSame(scaled(face, 1.0), face);
        expectSame(mirrored(mirrored(face)), face);
        const FacePicture once = mirrored(face);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                EXPECT_EQ(std::memcmp(once.picture.at(x, y), face.picture.at(width - 1 - x, y), 3),
                          0);
            }
        }
        EXPECT_EQ(whyRecordIsRefused(once.landmarks), nullptr);
    }
}

// The head model knows which landmarks face each other: same height, opposite sides, the first of a
// pair on the left of the picture.
TEST(FaceChanges, mirroredIdsFaceEachOther) {
    std::set<std::int32_t> named;
    for (const LandmarkName& name : kLandmarkNames) {
        const std::int32_t right = name.isPair() ? name.right : name.left;
        EXPECT_EQ(mirroredId(name.left), right);
        EXPECT_EQ(mirroredId(right), name.left);
        const float(&here)[3] = kHeadModel[kLandmarkRow[name.left]];
        const float(&there)[3] = kHeadModel[kLandmarkRow[right]];
        EXPECT_NEAR(here[0], -there[0], 0.3F) << name.left;
        EXPECT_NEAR(here[1], there[1], 0.15F) << name.left;
        EXPECT_EQ(name.isPair(), here[0] < there[0]) << name.left;
        named.insert({name.left, right});
    }
    std::set<std::int32_t> known = {0};
    for (std::int32_t id = 1; id < kLandmarkIdCount; ++id) {
        if (kLandmarkRow[id] != 0) {
            known.insert(id);
        }
    }
    EXPECT_EQ(named, known);
}

TEST(FaceChanges, darkeningScalesEveryByte) {
    FacePicture face = noiseFace(16, 16, 9);
    face.picture.pixels[0] = 0;
    face.picture.pixels[1] = 255;
    const FacePicture dark = darkened(face, 0.6);
    for (std::size_t i = 0; i < face.picture.pixels.size(); ++i) {
        EXPECT_EQ(dark.picture.pixels[i], std::floor(face.picture.pixels[i] * 0.6 + 0.5)) << i;
    }
    EXPECT_EQ(darkened(face, 1.0).picture.pixels, face.picture.pixels);
}

TEST(FaceChanges, noiseHasItsStrength) {
    FacePicture face = noiseFace(100, 100, 10);
    std::fill(face.picture.pixels.begin(), face.picture.pixels.end(), std::uint8_t{128});
    const FacePicture noisy = withNoise(face, 14.0, 1);
    double sum = 0.0;
    double squares = 0.0;
    for (const std::uint8_t value : noisy.picture.pixels) {
        sum += value - 128.0;
        squares += (value - 128.0) * (value - 128.0);
    }
    const auto count = static_cast<double>(noisy.picture.pixels.size());
    EXPECT_NEAR(sum / count, 0.0, 0.5);
    EXPECT_NEAR(std::sqrt(squares / count), 14.0, 0.5);
}

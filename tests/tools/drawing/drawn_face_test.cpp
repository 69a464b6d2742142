// Drawn faces: settled by their seed, and pictures of what their landmarks say.
#include "drawing/drawn_face.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "patches/head_pose.h"
#include "patches/landmarks.h"

namespace {

const LandmarkEntry& entryOf(const DrawnFace& face, std::int32_t id) {
    const LandmarkEntry* entries = face.landmarks.entries;
    return *std::find_if(entries, entries + face.landmarks.count,
                         [id](const LandmarkEntry& entry) { return entry.id == id; });
}

// Blue, green and red of the pixel that holds a landmark.
const std::uint8_t* pixelAt(const DrawnFace& face, std::int32_t id) {
    const LandmarkEntry& entry = entryOf(face, id);
    const auto x = static_cast<std::size_t>(std::lround(entry.x));
    const auto y = static_cast<std::size_t>(std::lround(entry.y));
    return face.pixels.data() + 3 * (y * static_cast<std::size_t>(face.width) + x);
}

}  // namespace

TEST(DrawnFace, seedSettlesTheFace) {
    const DrawnFace first = drawFace(7);
    const DrawnFace second = drawFace(7);
    EXPECT_EQ(first.pixels, second.pixels);
    EXPECT_EQ(std::memcmp(&first.landmarks, &second.landmarks, sizeof first.landmarks), 0);
    const DrawnFace other = drawFace(8);
    EXPECT_NE(first.pixels, other.pixels);
    EXPECT_NE(std::memcmp(&first.landmarks, &other.landmarks, sizeof first.landmarks), 0);
}

TEST(DrawnFace, recordIsFullAndInOrder) {
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        const DrawnFace face = drawFace(seed, 64);
        ASSERT_EQ(face.width, 64);
        ASSERT_EQ(face.height, 64);
        ASSERT_EQ(face.pixels.size(), 64U * 64U * 3U);
        ASSERT_EQ(face.landmarks.count, ZOMU_LANDMARK_COUNT);
        EXPECT_EQ(whyRecordIsRefused(face.landmarks), nullptr);
        for (int i = 0; i < ZOMU_LANDMARK_COUNT; ++i) {
            const LandmarkEntry& entry = face.landmarks.entries[i];
            EXPECT_TRUE(i == 0 || face.landmarks.entries[i - 1].id < entry.id) << i;
            EXPECT_TRUE(entry.id == 0 || kLandmarkRow[entry.id] != 0) << entry.id;
            EXPECT_GE(entry.x, 0.0F) << seed << ": " << entry.id;
            EXPECT_LE(entry.x, 63.0F) << seed << ": " << entry.id;
            EXPECT_GE(entry.y, 0.0F) << seed << ": " << entry.id;
            EXPECT_LE(entry.y, 63.0F) << seed << ": " << entry.id;
        }
    }
}

TEST(DrawnFace, headsAreTurnedALittle) {
    float widest[3] = {0.0F, 0.0F, 0.0F};
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        const DrawnFace face = drawFace(seed, 64);
        float angles[3];
        const float eyeSpan = estimateFacePose(face.landmarks, angles[0], angles[1], angles[2]);
        EXPECT_GT(eyeSpan, 64 * 0.15F) << seed;
        EXPECT_LT(eyeSpan, 64 * 0.30F) << seed;
        for (int i = 0; i < 3; ++i) {
            EXPECT_LT(std::abs(angles[i]), 30.0F) << seed << ": " << i;
            widest[i] = std::max(widest[i], std::abs(angles[i]));
        }
    }
    for (const float angle : widest) {
        EXPECT_GT(angle, 5.0F);
    }
}

TEST(DrawnFace, leftStaysLeft) {
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        const DrawnFace face = drawFace(seed, 64);
        EXPECT_LT(entryOf(face, 0).x, entryOf(face, 1).x);
        EXPECT_LT(entryOf(face, 240).x, entryOf(face, 241).x);
        EXPECT_LT(entryOf(face, 0).y, entryOf(face, 314).y);
    }
}

TEST(DrawnFace, picturesFollowTheLandmarks) {
    for (std::uint64_t seed = 0; seed < 60; ++seed) {
        const DrawnFace face = drawFace(seed);
        for (const std::int32_t pupil : {0, 1}) {
            const std::uint8_t* pixel = pixelAt(face, pupil);
            EXPECT_LT(std::max({pixel[0], pixel[1], pixel[2]}), 60) << seed << ": " << pupil;
        }
        const std::uint8_t* lip = pixelAt(face, 11);
        EXPECT_GT(lip[2], lip[0]) << seed << ": lips are redder than blue";
    }
}

TEST(DrawnFace, sideScalesTheWholeFace) {
    const DrawnFace small = drawFace(5, 128);
    const DrawnFace large = drawFace(5, 512);
    for (int i = 0; i < ZOMU_LANDMARK_COUNT; ++i) {
        // From pixel centres to pixel corners and back.
        EXPECT_NEAR(large.landmarks.entries[i].x, 4 * (small.landmarks.entries[i].x + 0.5F) - 0.5F,
                    1e-3F);
        EXPECT_NEAR(large.landmarks.entries[i].y, 4 * (small.landmarks.entries[i].y + 0.5F) - 0.5F,
                    1e-3F);
    }
    // The same face: averages over blocks of 4 x 4 agree but for grain and edges.
    double difference = 0.0;
    for (std::size_t y = 0; y < 128; ++y) {
        for (std::size_t x = 0; x < 128; ++x) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                double sum = 0.0;
                for (std::size_t j = 0; j < 16; ++j) {
                    sum += large.pixels[3 * ((4 * y + j / 4) * 512 + 4 * x + j % 4) + channel];
                }
                difference += std::abs(sum / 16 - small.pixels[3 * (y * 128 + x) + channel]);
            }
        }
    }
    EXPECT_LT(difference / (128 * 128 * 3), 4.0);
}

TEST(DrawnFace, tooSmallASideIsRefused) {
    EXPECT_THROW(drawFace(1, 31), std::invalid_argument);
    EXPECT_NO_THROW(drawFace(1, 32));
}

// The largest seed and many in a row: no part of the drawing may fail for any of them.
TEST(DrawnFace, everySeedCanBeDrawn) {
    std::set<std::string> faces;
    for (std::uint64_t seed = ~std::uint64_t{0} - 149; seed != 0; ++seed) {
        const std::vector<std::uint8_t> pixels = drawFace(seed, 32).pixels;
        faces.emplace(pixels.begin(), pixels.end());
    }
    EXPECT_EQ(faces.size(), 150U);
}

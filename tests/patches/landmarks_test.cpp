#include "patches/landmarks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <new>
#include <vector>

#include "reference/reference_patches.h"
#include "reference/reference_tables.h"
#include "support/bits.h"
#include "support/face_generator.h"
#include "support/guarded_buffer.h"
#include "support/random.h"

TEST(HeadModel, equalsTheReferencesTable) {
    std::vector<std::int32_t> rows(kLandmarkIdCount);  // ids of no landmark count as row 0
    for (int row = 0; row < kModelPointCount; ++row) {
        const ReferenceLandmark& landmark = kReferenceLandmarks[row];
        const float expected[] = {landmark.X, landmark.Y, landmark.Z};
        EXPECT_TRUE(sameFloats(expected, kHeadModel[row], 3)) << "row " << row;
        rows[static_cast<std::size_t>(landmark.id)] = row;
    }
    EXPECT_TRUE(std::ranges::equal(rows, kLandmarkRow));
}

TEST(Landmarks, ofFourIdsLieAtTheSidesOfTheHead) {
    for (std::int32_t id = -400; id <= 400; ++id) {
        EXPECT_EQ(id == 240 || id == 241 || id == 315 || id == 316, isSideOfHead(id)) << id;
    }
}

TEST(Landmarks, compareTheirIdsAsSignedIntegers) {
    constexpr std::int32_t kLow = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kHigh = std::numeric_limits<std::int32_t>::max();
    const std::int32_t cases[][3] = {{7, 6, 1},  {6, 7, -1},       {6, 6, 0},
                                     {0, -1, 1}, {kHigh, kLow, 1}, {kLow, kHigh, -1}};
    for (const auto& [a, b, expected] : cases) {
        const LandmarkEntry first = {a, 9.0F, 1.0F};
        const LandmarkEntry second = {b, 2.0F, 3.0F};
        EXPECT_EQ(expected, compareLandmarkIds(&first, &second)) << a << ", " << b;
    }
}

TEST(Landmarks, areRefusedAndKeptAsByTheReference) {
    FaceGenerator faces;
    Random random(21);
    for (int round = 0; round < 2000; ++round) {
        const LandmarkRecord& record = faces.make(random).record;
        const char* refusal = referenceRefusal(record);
        RecordCopy copy;
        ASSERT_STREQ(refusal, copy.take(record)) << "round " << round;
        if (refusal == nullptr) {
            const std::size_t bytes =
                static_cast<std::size_t>(record.count) * sizeof(LandmarkEntry);
            ASSERT_EQ(record.count, copy.record().count);
            ASSERT_EQ(0, std::memcmp(entriesOf(record), entriesOf(copy.record()), bytes))
                << "round " << round;
            const std::vector<LandmarkEntry> expected = referenceKeptLandmarks(record);
            const KeptLandmarks kept = selectKeptLandmarks(record);
            ASSERT_EQ(expected.size(), kept.size());
            ASSERT_EQ(0, std::memcmp(expected.data(), kept.data(), sizeof kept))
                << "round " << round;
        }
    }
}

// The others would be written past the end of the 25: the result has its place between guards.
TEST(Landmarks, areKeptUpToTheTwentyFifthOfARefusedRecord) {
    struct {
        LandmarkRecord record;
        LandmarkEntry more[100];
    } room = {};
    constexpr LandmarkEntry kOther = {0, 1e9F, 1e9F};
    room.record.count = ZOMU_LANDMARK_COUNT + 100;
    std::fill(room.record.entries + kKeptCount, std::end(room.record.entries), kOther);
    std::ranges::fill(room.more, kOther);
    GuardedBuffer<KeptLandmarks> kept(1);
    new (kept.data()) KeptLandmarks(selectKeptLandmarks(room.record));
    EXPECT_TRUE(kept.guardsIntact());
    for (const LandmarkEntry& entry : kept[0]) {
        EXPECT_EQ(0.0F, entry.x);
    }
}

#include "patches/landmarks.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "patches/sample_face.h"
#include "support/bits.h"
#include "support/digest.h"
#include "support/random.h"

namespace {

using Entries = std::vector<LandmarkEntry>;

constexpr std::int32_t kLow = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHigh = std::numeric_limits<std::int32_t>::max();

// Of `expected` the first 25, to the last bit.
void expectKept(const Entries& expected, const Entries& entries) {
    const RecordBlock block(entries);
    EXPECT_EQ(nullptr, whyRecordIsRefused(block.record()));
    const KeptLandmarks kept = selectKeptLandmarks(block.record());
    for (std::size_t i = 0; i < kKeptCount; ++i) {
        EXPECT_EQ(expected.at(i).id, kept[i].id) << "position " << i;
        EXPECT_TRUE(sameFloat(expected[i].x, kept[i].x)) << "x at position " << i;
        EXPECT_TRUE(sameFloat(expected[i].y, kept[i].y)) << "y at position " << i;
    }
}

const char* reasonFor(const Entries& entries) {
    const RecordBlock block(entries);
    return whyRecordIsRefused(block.record());
}

}  // namespace

TEST(HeadModel, hasTheDigestThatItShould) {
    Digest digest;
    for (const auto& point : kHeadModel) {
        for (const float value : point) {
            digest.add(value);
        }
    }
    for (const std::int32_t row : kLandmarkRow) {
        digest.add(row);
    }
    EXPECT_EQ(9294401998326250342U, digest.value());
}

TEST(HeadModel, holdsValuesReadOffByHand) {
    EXPECT_EQ(0, kLandmarkRow[0]);
    EXPECT_EQ(6, kLandmarkRow[6]);
    EXPECT_EQ(28, kLandmarkRow[316]);
    EXPECT_EQ(0, kLandmarkRow[7]);  // ids of no landmark count as row 0
    EXPECT_EQ(0, kLandmarkRow[317]);
    EXPECT_TRUE(sameFloat(13.32F, kHeadModel[7][2]));
    EXPECT_TRUE(sameFloat(-7.386F, kHeadModel[kLandmarkRow[240]][0]));
}

TEST(Landmarks, ofFourIdsLieAtTheSidesOfTheHead) {
    for (std::int32_t id = -400; id <= 400; ++id) {
        EXPECT_EQ(id == 240 || id == 241 || id == 315 || id == 316, isSideOfHead(id)) << id;
    }
}

TEST(Landmarks, compareTheirIdsAsSignedIntegers) {
    const std::int32_t cases[][3] = {{7, 6, 1},  {6, 7, -1},       {6, 6, 0},
                                     {0, -1, 1}, {kHigh, kLow, 1}, {kLow, kHigh, -1}};
    for (const auto& [a, b, expected] : cases) {
        const LandmarkEntry first = {a, 9.0F, 1.0F};
        const LandmarkEntry second = {b, 2.0F, 3.0F};
        EXPECT_EQ(expected, compareLandmarkIds(&first, &second)) << a << ", " << b;
    }
}

TEST(Landmarks, areKeptByTheirIdsWhateverTheirOrder) {
    Entries entries;
    Entries expected;
    for (const ReferenceLandmark& row : kReferenceLandmarks) {
        const auto id = static_cast<float>(row.id);
        entries.push_back({row.id, id + 0.25F, -id});
        if (row.keptPosition >= 0) {
            EXPECT_EQ(expected.size(), static_cast<std::size_t>(row.keptPosition));
            expected.push_back(entries.back());
        }
    }
    entries[0] = expected[0] = {0, -0.0F, std::numeric_limits<float>::denorm_min()};
    EXPECT_EQ(6, expected[kUpperAnchor].id);
    EXPECT_EQ(10, expected[kLowerAnchor].id);
    expectKept(expected, entries);
    expectKept(expected, withoutSides(entries));
    Random random(21);
    for (int round = 0; round < 50; ++round) {
        random.shuffle(entries.data(), static_cast<int>(entries.size()));
        expectKept(expected, entries);
    }
}

TEST(Landmarks, ofOtherIdsTakePositionsByTheirOrder) {
    Entries entries = withoutSides(seenFrom({}));
    ASSERT_EQ(0, entries[0].id);
    entries[0].id = 317;  // everybody moves up by one
    Entries expected(entries.begin() + 1, entries.end());
    expected.push_back(entries[0]);
    expectKept(expected, entries);
}

TEST(Landmarks, ofOneIdKeepTheOrderOfTheRecord) {
    Entries entries;
    Entries expected;
    for (const int remainder : {1, 0}) {
        for (int i = remainder; i < kKeptCount; i += 2) {
            expected.push_back({remainder == 1 ? 3 : 45, static_cast<float>(i), 0.0F});
        }
    }
    for (int i = 0; i < kKeptCount; ++i) {
        entries.push_back({i % 2 == 1 ? 3 : 45, static_cast<float>(i), 0.0F});
    }
    expectKept(expected, entries);
}

TEST(Landmarks, behindTheDeclaredArrayAreRead) {
    Entries entries;
    for (int i = 0; i < 10; ++i) {
        entries.push_back({i % 2 == 0 ? 240 : 316, 1.0F, 1.0F});
    }
    const Entries needed = withoutSides(seenFrom({}));
    entries.insert(entries.end(), needed.begin(), needed.end());
    expectKept(needed, entries);
}

TEST(Landmarks, areRefusedWhereTheyAreFewerThanTwentyFive) {
    Entries entries = withoutSides(seenFrom({}));
    entries.pop_back();
    EXPECT_STREQ("fewer than 25 landmarks", reasonFor(entries));
    RecordBlock block({});
    for (const std::int32_t count : {0, 1, -1, -29, kLow}) {
        block.setCount(count);
        EXPECT_STREQ("fewer than 25 landmarks", whyRecordIsRefused(block.record())) << count;
    }
    entries = seenFrom({});
    entries[5].id = 241;  // 29 entries, five of them at the sides
    EXPECT_STREQ("fewer than 25 landmarks besides the sides of the head", reasonFor(entries));
}

TEST(Landmarks, areRefusedForAnIdOutsideTheTable) {
    for (const std::int32_t id : {-1, 318, kLow, kHigh}) {
        for (const std::size_t place : {0U, 13U, 28U}) {
            Entries entries = seenFrom({});
            entries[place].id = id;
            EXPECT_STREQ("a landmark id outside 0 to 317", reasonFor(entries))
                << "id " << id << " at " << place;
        }
    }
}

// Whatever the record's count: behind the 26th there is nothing to be read.
TEST(Landmarks, areRefusedAtTheTwentySixth) {
    Entries entries = withoutSides(seenFrom({}));
    entries.push_back({100, 0.0F, 0.0F});
    RecordBlock block(entries);
    for (const std::int32_t count : {26, kHigh}) {
        block.setCount(count);
        EXPECT_STREQ("more than 25 landmarks besides the sides of the head",
                     whyRecordIsRefused(block.record()));
    }
}

// The 100 others would be written past the end of the 25.
TEST(Landmarks, areKeptUpToTheTwentyFifthOfARefusedRecord) {
    const Entries entries = withoutSides(seenFrom({}));
    Entries more = entries;
    more.insert(more.end(), 100, LandmarkEntry{0, 1e9F, 1e9F});
    const RecordBlock block(more);
    for (const LandmarkEntry& entry : selectKeptLandmarks(block.record())) {
        EXPECT_LT(entry.x, 1e9F);
    }
}

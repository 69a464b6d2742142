#include "patches/landmarks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "patches/sample_face.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

void expectSameEntry(const LandmarkEntry& expected, const LandmarkEntry& actual, int position) {
    EXPECT_EQ(expected.id, actual.id) << "position " << position;
    EXPECT_TRUE(sameFloat(expected.x, actual.x)) << "x at position " << position;
    EXPECT_TRUE(sameFloat(expected.y, actual.y)) << "y at position " << position;
}

void expectSameKept(const KeptLandmarks& expected, const KeptLandmarks& actual) {
    for (int i = 0; i < kKeptCount; ++i)
        expectSameEntry(expected[static_cast<std::size_t>(i)], actual[static_cast<std::size_t>(i)],
                        i);
}

KeptLandmarks keptOf(const std::vector<LandmarkEntry>& entries) {
    const RecordBlock block(entries);
    return selectKeptLandmarks(block.record());
}

const char* reasonFor(const std::vector<LandmarkEntry>& entries) {
    const RecordBlock block(entries);
    return whyRecordIsRefused(block.record());
}

}  // namespace

TEST(Landmarks, everyIdOfTheContractHasItsRowOfTheModel) {
    for (int row = 0; row < kModelPointCount; ++row) {
        const ContractRow& expected = kContract[row];
        EXPECT_EQ(row, kLandmarkRow[expected.id]) << "id " << expected.id;
        const float point[3] = {expected.X, expected.Y, expected.Z};
        EXPECT_TRUE(sameFloats(point, kHeadModel[row], 3)) << "row " << row;
    }
}

TEST(Landmarks, everyOtherIdHasRowZero) {
    std::vector<bool> listed(kLandmarkIdCount);
    for (const ContractRow& row : kContract)
        listed[static_cast<std::size_t>(row.id)] = true;
    for (int id = 0; id < kLandmarkIdCount; ++id) {
        if (!listed[static_cast<std::size_t>(id)]) {
            EXPECT_EQ(0, kLandmarkRow[id]) << "id " << id;
        }
    }
}

TEST(Landmarks, eyesOfTheModelLieTheEyeDistanceApart) {
    const double dx = static_cast<double>(kHeadModel[0][0] - kHeadModel[1][0]);
    const double dy = static_cast<double>(kHeadModel[0][1] - kHeadModel[1][1]);
    const double dz = static_cast<double>(kHeadModel[0][2] - kHeadModel[1][2]);
    EXPECT_NEAR(6.2773, std::sqrt(dx * dx + dy * dy + dz * dz), 5e-5);
}

TEST(Landmarks, pairsOfTheModelLieOppositeEachOther) {
    const std::pair<int, int> pairs[] = {{0, 1},     {2, 5},     {3, 4},     {12, 13},
                                         {44, 43},   {221, 227}, {222, 226}, {223, 225},
                                         {240, 241}, {300, 302}, {315, 316}};
    for (const auto& [leftId, rightId] : pairs) {
        const float* left = kHeadModel[kLandmarkRow[leftId]];
        const float* right = kHeadModel[kLandmarkRow[rightId]];
        EXPECT_LT(left[0], 0.0F) << "id " << leftId;
        EXPECT_NEAR(left[0], -right[0], 0.3) << "ids " << leftId << " and " << rightId;
        EXPECT_NEAR(left[1], right[1], 0.1) << "ids " << leftId << " and " << rightId;
        EXPECT_NEAR(left[2], right[2], 0.3) << "ids " << leftId << " and " << rightId;
    }
    for (const int id : {6, 9, 10, 11, 45, 200, 314})
        EXPECT_NEAR(0.0F, kHeadModel[kLandmarkRow[id]][0], 0.1) << "id " << id;
}

TEST(Landmarks, fourIdsLieAtTheSidesOfTheHead) {
    for (std::int32_t id = -400; id <= 400; ++id)
        EXPECT_EQ(id == 240 || id == 241 || id == 315 || id == 316, isSideOfHead(id)) << id;
}

TEST(Landmarks, idsCompareAsSignedIntegers) {
    constexpr std::int32_t kLow = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kHigh = std::numeric_limits<std::int32_t>::max();
    const auto compare = [](std::int32_t a, std::int32_t b) {
        const LandmarkEntry first = {a, 9.0F, 1.0F};
        const LandmarkEntry second = {b, 2.0F, 3.0F};
        return compareLandmarkIds(&first, &second);
    };
    EXPECT_EQ(1, compare(7, 6));
    EXPECT_EQ(-1, compare(6, 7));
    EXPECT_EQ(0, compare(6, 6));
    EXPECT_EQ(1, compare(0, -1));
    // A difference of these would not fit.
    EXPECT_EQ(1, compare(kHigh, kLow));
    EXPECT_EQ(-1, compare(kLow, kHigh));
}

TEST(Landmarks, entriesStartEightBytesIntoTheRecord) {
    const RecordBlock block({{314, 2.5F, -7.25F}});
    const LandmarkRecord& record = block.record();
    EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(&record) + 8,
              reinterpret_cast<const std::uint8_t*>(entriesOf(record)));
    expectSameEntry({314, 2.5F, -7.25F}, entriesOf(record)[0], 0);
}

TEST(Landmarks, keptPositionsFollowTheIds) {
    std::vector<LandmarkEntry> entries;
    for (const ContractRow& row : kContract)
        entries.push_back(
            {row.id, static_cast<float>(row.id) + 0.25F, -static_cast<float>(row.id)});
    const KeptLandmarks kept = keptOf(entries);
    int positions = 0;
    for (const ContractRow& row : kContract) {
        if (row.keptPosition < 0)
            continue;
        expectSameEntry({row.id, static_cast<float>(row.id) + 0.25F, -static_cast<float>(row.id)},
                        kept[static_cast<std::size_t>(row.keptPosition)], row.keptPosition);
        ++positions;
    }
    EXPECT_EQ(kKeptCount, positions);
    EXPECT_EQ(6, kept[kUpperAnchor].id);
    EXPECT_EQ(10, kept[kLowerAnchor].id);
}

TEST(Landmarks, coordinatesAreCopiedToTheLastBit) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    entries[0].x = -0.0F;
    entries[0].y = std::numeric_limits<float>::denorm_min();
    entries[1].x = std::numeric_limits<float>::infinity();
    entries[1].y = std::numeric_limits<float>::quiet_NaN();
    entries[2].x = 0x1.234568p+9F;
    const KeptLandmarks kept = keptOf(entries);
    for (const std::size_t i : {0U, 1U, 2U})
        expectSameEntry(entries[i], kept[i], static_cast<int>(i));
}

TEST(Landmarks, orderOfTheEntriesDoesNotMatter) {
    std::vector<LandmarkEntry> entries = seenFrom({.pitch = 3.0, .yaw = -12.0, .roll = 20.0});
    const KeptLandmarks expected = keptOf(entries);
    Random random(21);
    for (int round = 0; round < 50; ++round) {
        random.shuffle(entries.data(), static_cast<int>(entries.size()));
        expectSameKept(expected, keptOf(entries));
    }
}

TEST(Landmarks, sidesOfTheHeadMayBeLeftOut) {
    const std::vector<LandmarkEntry> entries = seenFrom({.yaw = 9.0});
    const std::vector<LandmarkEntry> shorter = withoutSides(entries);
    ASSERT_EQ(25U, shorter.size());
    EXPECT_EQ(nullptr, reasonFor(shorter));
    expectSameKept(keptOf(entries), keptOf(shorter));
}

TEST(Landmarks, otherIdsTakePositionsByTheirOrder) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    ASSERT_EQ(0, entries[0].id);
    entries[0].id = 317;
    ASSERT_EQ(nullptr, reasonFor(entries));
    const KeptLandmarks kept = keptOf(entries);
    expectSameEntry(entries[1], kept[0], 0);  // everybody moves up by one
    expectSameEntry(entryOf(entries, 9), kept[kUpperAnchor], kUpperAnchor);
    expectSameEntry(entryOf(entries, 317), kept[kKeptCount - 1], kKeptCount - 1);
}

TEST(Landmarks, equalIdsKeepTheOrderOfTheRecord) {
    std::vector<LandmarkEntry> entries;
    for (int i = 0; i < kKeptCount; ++i)
        entries.push_back({i % 2 == 0 ? 45 : 3, static_cast<float>(i), 0.0F});
    ASSERT_EQ(nullptr, reasonFor(entries));
    const KeptLandmarks kept = keptOf(entries);
    for (int i = 0; i < 12; ++i)
        expectSameEntry({3, static_cast<float>(2 * i + 1), 0.0F}, kept[static_cast<std::size_t>(i)],
                        i);
    for (int i = 0; i < 13; ++i)
        expectSameEntry({45, static_cast<float>(2 * i), 0.0F},
                        kept[static_cast<std::size_t>(12 + i)], 12 + i);
}

TEST(Landmarks, reservedWordHasNoEffect) {
    RecordBlock block(seenFrom({}));
    const KeptLandmarks expected = selectKeptLandmarks(block.record());
    for (const std::uint32_t word : {1U, 25U, 0x80000000U, 0xFFFFFFFFU}) {
        block.setReserved(word);
        EXPECT_EQ(nullptr, whyRecordIsRefused(block.record()));
        expectSameKept(expected, selectKeptLandmarks(block.record()));
    }
}

TEST(Landmarks, longRecordsAreReadToTheirEnd) {
    // Ten sides of the head and then the 25: the last six entries lie behind the declared array.
    std::vector<LandmarkEntry> entries;
    for (int i = 0; i < 10; ++i)
        entries.push_back({i % 2 == 0 ? 240 : 316, 1.0F, 1.0F});
    const std::vector<LandmarkEntry> needed = withoutSides(seenFrom({}));
    entries.insert(entries.end(), needed.begin(), needed.end());
    ASSERT_EQ(35U, entries.size());
    EXPECT_EQ(nullptr, reasonFor(entries));
    expectSameKept(keptOf(needed), keptOf(entries));
}

TEST(Landmarks, shortRecordsAreRefused) {
    std::vector<LandmarkEntry> entries = withoutSides(seenFrom({}));
    entries.pop_back();
    EXPECT_STREQ("fewer than 25 landmarks", reasonFor(entries));
    EXPECT_STREQ("fewer than 25 landmarks", reasonFor({}));

    RecordBlock block({});
    for (const std::int32_t count : {1, -1, -29, std::numeric_limits<std::int32_t>::min()}) {
        block.setCount(count);
        EXPECT_STREQ("fewer than 25 landmarks", whyRecordIsRefused(block.record())) << count;
    }
}

TEST(Landmarks, recordsWithTooManySidesAreRefused) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    entries[5].id = 241;  // 29 entries, five of them at the sides
    EXPECT_STREQ("fewer than 25 landmarks besides the sides of the head", reasonFor(entries));
}

TEST(Landmarks, idsOutsideTheTableAreRefused) {
    constexpr std::int32_t kLow = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t kHigh = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t id : {-1, 318, kLow, kHigh}) {
        for (const std::size_t place : {0U, 13U, 28U}) {
            std::vector<LandmarkEntry> entries = seenFrom({});
            entries[place].id = id;
            EXPECT_STREQ("a landmark id outside 0 to 317", reasonFor(entries))
                << "id " << id << " at " << place;
        }
    }
    std::vector<LandmarkEntry> entries = seenFrom({});
    entries[3].id = 317;
    EXPECT_EQ(nullptr, reasonFor(entries));
}

TEST(Landmarks, aTwentySixthLandmarkIsRefused) {
    std::vector<LandmarkEntry> entries = seenFrom({});
    entries.push_back({100, 0.0F, 0.0F});
    EXPECT_STREQ("more than 25 landmarks besides the sides of the head", reasonFor(entries));
}

TEST(Landmarks, theWalkEndsAtTheTwentySixthLandmark) {
    std::vector<LandmarkEntry> entries = withoutSides(seenFrom({}));
    entries.push_back({100, 0.0F, 0.0F});
    RecordBlock block(entries);
    block.setCount(std::numeric_limits<std::int32_t>::max());  // there is nothing behind the 26th
    EXPECT_STREQ("more than 25 landmarks besides the sides of the head",
                 whyRecordIsRefused(block.record()));
}

// The function that docs/landmarks.md gives to fill a record from 68 points.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "patches/landmarks.h"

extern "C" LandmarkRecord recordFrom68(const float (*points)[2]);

TEST(RecordFrom68, takesPointsAndMeansAsThePageSays) {
    // Coordinates that name their point: no mean of some of them is the mean of others by accident.
    float points[68][2];
    for (int k = 0; k < 68; ++k) {
        points[k][0] = static_cast<float>(4 * k + (k * k) % 7);
        points[k][1] = static_cast<float>(1000 + 3 * k * k);
    }
    std::map<std::int32_t, std::vector<int>> sources = {{0, {36, 37, 38, 39, 40, 41}},
                                                        {1, {42, 43, 44, 45, 46, 47}},
                                                        {45, {62, 66}},
                                                        {222, {40, 41}},
                                                        {226, {46, 47}}};
    for (const auto& [id, point] :
         {std::pair{2, 17}, {3, 21},   {4, 22},   {5, 26},   {6, 27},   {9, 30},   {10, 51},
          {11, 57},         {12, 48},  {13, 54},  {43, 35},  {44, 31},  {200, 33}, {221, 39},
          {223, 36},        {225, 45}, {227, 42}, {300, 19}, {302, 24}, {314, 8}}) {
        sources[id] = {point};
    }
    std::map<std::int32_t, std::pair<float, float>> expected;
    for (const auto& [id, numbers] : sources) {
        auto& [x, y] = expected[id];
        for (const int k : numbers) {
            x += points[k][0] / static_cast<float>(numbers.size());
            y += points[k][1] / static_cast<float>(numbers.size());
        }
    }
    const LandmarkRecord record = recordFrom68(points);
    EXPECT_EQ(whyRecordIsRefused(record), nullptr);
    ASSERT_EQ(record.count, 25);
    for (const LandmarkEntry& entry : std::span(record.entries, 25)) {
        const auto& [x, y] = expected.at(entry.id);
        EXPECT_FLOAT_EQ(entry.x, x) << entry.id;
        EXPECT_FLOAT_EQ(entry.y, y) << entry.id;
    }
}

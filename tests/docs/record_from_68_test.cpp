// The function that docs/landmarks.md gives to fill a record from 68 points.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "patches/landmarks.h"

extern "C" LandmarkRecord recordFrom68(const float (*points)[2]);

namespace {

using Points = std::array<float[2], 68>;

// Coordinates that name their point: no mean of some of them is the mean of others by accident.
Points numberedPoints() {
    Points points{};
    for (int k = 0; k < 68; ++k) {
        const auto place = static_cast<std::size_t>(k);
        points[place][0] = static_cast<float>(4 * k + (k * k) % 7);
        points[place][1] = static_cast<float>(1000 + 3 * k * k);
    }
    return points;
}

std::map<std::int32_t, std::pair<float, float>> placesById(const LandmarkRecord& record) {
    std::map<std::int32_t, std::pair<float, float>> places;
    for (std::int32_t i = 0; i < record.count; ++i) {
        const LandmarkEntry& entry = record.entries[i];
        places[entry.id] = {entry.x, entry.y};
    }
    return places;
}

}  // namespace

TEST(RecordFrom68, takesPointsAndMeansAsThePageSays) {
    const Points points = numberedPoints();
    const auto mean = [&points](const std::vector<std::size_t>& numbers) {
        std::pair<float, float> sum{0.0F, 0.0F};
        for (const std::size_t k : numbers) {
            sum.first += points[k][0];
            sum.second += points[k][1];
        }
        const auto terms = static_cast<float>(numbers.size());
        return std::pair(sum.first / terms, sum.second / terms);
    };
    const std::map<std::int32_t, std::size_t> single = {
        {2, 17},   {3, 21},   {4, 22},   {5, 26},   {6, 27},   {9, 30},   {10, 51},
        {11, 57},  {12, 48},  {13, 54},  {43, 35},  {44, 31},  {200, 33}, {221, 39},
        {223, 36}, {225, 45}, {227, 42}, {300, 19}, {302, 24}, {314, 8}};
    std::map<std::int32_t, std::pair<float, float>> expected = {{0, mean({36, 37, 38, 39, 40, 41})},
                                                                {1, mean({42, 43, 44, 45, 46, 47})},
                                                                {45, mean({62, 66})},
                                                                {222, mean({40, 41})},
                                                                {226, mean({46, 47})}};
    for (const auto& [id, number] : single) {
        expected[id] = mean({number});
    }
    const LandmarkRecord record = recordFrom68(points.data());
    EXPECT_EQ(whyRecordIsRefused(record), nullptr);
    EXPECT_EQ(record.count, 25);
    EXPECT_EQ(placesById(record), expected);
}

// In a face that looks at the camera every landmark lies on the side where the head model has it.
TEST(RecordFrom68, agreesWithTheHeadModelAboutLeftAndRight) {
    const std::set<int> left = {0,  1,  2,  3,  4,  5,  6,  7,  17, 18, 19, 20, 21, 31, 32,
                                36, 37, 38, 39, 40, 41, 48, 49, 50, 58, 59, 60, 61, 67};
    const std::set<int> midline = {8, 27, 28, 29, 30, 33, 51, 57, 62, 66};
    Points points{};
    for (int k = 0; k < 68; ++k) {
        const int side = midline.count(k) != 0 ? 0 : left.count(k) != 0 ? -1 : 1;
        points[static_cast<std::size_t>(k)][0] = static_cast<float>(side);
    }
    for (const auto& [id, place] : placesById(recordFrom68(points.data()))) {
        const float x = kHeadModel[kLandmarkRow[id]][0];
        const float side = std::fabs(x) < 0.1F ? 0.0F : std::copysign(1.0F, x);
        EXPECT_EQ(place.first, side) << "landmark " << id;
    }
}

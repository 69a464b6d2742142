// The function that docs/landmarks.md gives to fill a record from 68 points.
#include <gtest/gtest.h>

#include <algorithm>
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

// The point of the other side, for each of the 68.
std::vector<int> partners() {
    std::vector<int> partner(68);
    const auto reverse = [&partner](int first, int last) {
        for (int k = first; k <= last; ++k) {
            partner[static_cast<std::size_t>(k)] = first + last - k;
        }
    };
    reverse(0, 16);   // jaw
    reverse(17, 26);  // brows
    for (int k = 27; k <= 30; ++k) {
        partner[static_cast<std::size_t>(k)] = k;  // bridge
    }
    reverse(31, 35);  // base of the nose
    for (const auto& [a, b] : {std::pair(36, 45), std::pair(37, 44), std::pair(38, 43),
                               std::pair(39, 42), std::pair(40, 47), std::pair(41, 46)}) {
        partner[static_cast<std::size_t>(a)] = b;
        partner[static_cast<std::size_t>(b)] = a;
    }
    reverse(48, 54);  // lips: upper edges, then lower ones
    reverse(55, 59);
    reverse(60, 64);
    reverse(65, 67);
    return partner;
}

}  // namespace

TEST(RecordFrom68, holdsThe25LandmarksThatARecordNeeds) {
    const Points points = numberedPoints();
    const LandmarkRecord record = recordFrom68(points.data());
    EXPECT_EQ(whyRecordIsRefused(record), nullptr);
    const auto places = placesById(record);
    ASSERT_EQ(places.size(), 25U);
    const auto isKnown = [](std::int32_t id) { return id == 0 || kLandmarkRow[id] != 0; };
    EXPECT_TRUE(std::all_of(places.begin(), places.end(),
                            [&](const auto& place) { return isKnown(place.first); }));
}

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
    const std::map<std::int32_t, std::pair<float, float>> expected = {
        {0, mean({36, 37, 38, 39, 40, 41})},
        {1, mean({42, 43, 44, 45, 46, 47})},
        {2, mean({17})},
        {3, mean({21})},
        {4, mean({22})},
        {5, mean({26})},
        {6, mean({27})},
        {9, mean({30})},
        {10, mean({51})},
        {11, mean({57})},
        {12, mean({48})},
        {13, mean({54})},
        {43, mean({35})},
        {44, mean({31})},
        {45, mean({62, 66})},
        {200, mean({33})},
        {221, mean({39})},
        {222, mean({40, 41})},
        {223, mean({36})},
        {225, mean({45})},
        {226, mean({46, 47})},
        {227, mean({42})},
        {300, mean({19})},
        {302, mean({24})},
        {314, mean({8})},
    };
    EXPECT_EQ(placesById(recordFrom68(points.data())), expected);
}

// Mirrored points give the mirrored record: left and right are nowhere mixed up.
TEST(RecordFrom68, swapsPartnersWhenThePictureIsMirrored) {
    const std::map<std::int32_t, std::int32_t> partnerOfId = {
        {0, 1},     {1, 0},     {2, 5},     {5, 2},     {3, 4},     {4, 3},
        {12, 13},   {13, 12},   {43, 44},   {44, 43},   {221, 227}, {227, 221},
        {222, 226}, {226, 222}, {223, 225}, {225, 223}, {300, 302}, {302, 300}};
    const Points points = numberedPoints();
    const std::vector<int> partner = partners();
    Points mirrored{};
    for (std::size_t k = 0; k < 68; ++k) {
        mirrored[k][0] = 300.0F - points[static_cast<std::size_t>(partner[k])][0];
        mirrored[k][1] = points[static_cast<std::size_t>(partner[k])][1];
    }
    const auto before = placesById(recordFrom68(points.data()));
    for (const auto& [id, place] : placesById(recordFrom68(mirrored.data()))) {
        const auto found = partnerOfId.find(id);
        const auto& other = before.at(found == partnerOfId.end() ? id : found->second);
        // Sixths are the only inexact means.
        EXPECT_NEAR(place.first, 300.0F - other.first, 1e-4F) << "landmark " << id;
        EXPECT_NEAR(place.second, other.second, 2e-3F) << "landmark " << id;
    }
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

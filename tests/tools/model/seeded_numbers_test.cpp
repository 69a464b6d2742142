// Numbers that must never change: models made on different machines depend on them.
#include "model/seeded_numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

TEST(SeededNumbers, seriesFollowFromSeedAndNameAndNoTwoBeginAlike) {
    std::set<std::uint64_t> starts;
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        for (int number = 0; number < 100; ++number) {
            const std::string name = "5-" + std::to_string(number);
            const std::uint64_t start = SeededNumbers(seed, name).bits();
            EXPECT_EQ(SeededNumbers(seed, name).bits(), start);
            starts.insert(start);
        }
    }
    EXPECT_EQ(starts.size(), 10000U);
}

TEST(SeededNumbers, normalsHaveTheMomentsOfANormalDistribution) {
    SeededNumbers series(7, "normal");
    constexpr int kCount = 200000;
    double sum = 0;
    double squares = 0;
    double fourths = 0;
    for (int i = 0; i < kCount; ++i) {
        const double x = series.normal();
        EXPECT_LE(std::abs(x), 6.0);
        EXPECT_EQ(std::trunc(x * 65536.0), x * 65536.0);
        sum += x;
        squares += x * x;
        fourths += x * x * x * x;
    }
    // Five standard errors of each estimate; the fourth moment of twelve uniform numbers is 2.9.
    EXPECT_NEAR(sum / kCount, 0.0, 5 / std::sqrt(kCount));
    EXPECT_NEAR(squares / kCount, 1.0, 5 * std::sqrt(1.9 / kCount));
    EXPECT_NEAR(fourths / kCount, 2.9, 0.15);
}

TEST(SeededNumbers, everyColumnGetsAllTaps) {
    SeededNumbers series(7, "taps");
    const int taps[] = {5, -3, 2};
    for (const int rows : {3, 4, 7, 100}) {
        const std::vector<float> values = series.dealtTaps(rows, 50, taps);
        ASSERT_EQ(values.size(), static_cast<std::size_t>(rows) * 50);
        for (std::size_t col = 0; col < 50; ++col) {
            std::multiset<float> found;
            for (std::size_t row = 0; row < static_cast<std::size_t>(rows); ++row) {
                if (values[row * 50 + col] != 0.0F) {
                    found.insert(values[row * 50 + col]);
                }
            }
            EXPECT_EQ(found, (std::multiset<float>{-3.0F, 2.0F, 5.0F})) << rows << " rows";
        }
    }
    EXPECT_THROW(series.dealtTaps(2, 1, taps), std::invalid_argument) << "more taps than rows";
}

// Halves against what the format says, for every half and around every rounding.
#include "model/half_float.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

// The value of a half by the definition of the format.
static double valueOf(int half) {
    const int exponent = (half >> 10) & 0x1f;
    const int fraction = half & 0x3ff;
    const double magnitude =
        exponent == 0 ? std::ldexp(fraction, -24) : std::ldexp(1024 + fraction, exponent - 25);
    return (half & 0x8000) != 0 ? -magnitude : magnitude;
}

TEST(HalfFloat, everyFiniteHalfIsItsValueAndComesBack) {
    for (int half = 0; half < 0x10000; ++half) {
        if ((half & 0x7c00) == 0x7c00) {
            continue;
        }
        const float value = fromHalf(static_cast<std::uint16_t>(half));
        ASSERT_EQ(static_cast<double>(value), valueOf(half)) << std::hex << half;
        ASSERT_EQ(std::signbit(value), (half & 0x8000) != 0) << std::hex << half;
        ASSERT_EQ(toHalf(value), half) << std::hex << half;
    }
}

// Between two neighbours: below the middle down, above it up, at it to the even one.
TEST(HalfFloat, roundsToNearestTiesToEven) {
    for (int half = 0; half < 0x7bff; ++half) {
        const auto middle = static_cast<float>((valueOf(half) + valueOf(half + 1)) / 2);
        const int even = (half & 1) == 0 ? half : half + 1;
        ASSERT_EQ(toHalf(middle), even) << std::hex << half;
        ASSERT_EQ(toHalf(std::nextafter(middle, 0.0F)), half) << std::hex << half;
        ASSERT_EQ(toHalf(std::nextafter(middle, 1e6F)), half + 1) << std::hex << half;
        ASSERT_EQ(toHalf(-middle), even | 0x8000) << std::hex << half;
    }
}

TEST(HalfFloat, whatIsTooLargeIsInfiniteAndWhatIsTooSmallIsZero) {
    EXPECT_EQ(toHalf(65519.996F), 0x7bff);
    EXPECT_EQ(toHalf(65520.0F), 0x7c00);
    EXPECT_EQ(toHalf(1e30F), 0x7c00);
    EXPECT_EQ(toHalf(-std::numeric_limits<float>::infinity()), 0xfc00);
    EXPECT_EQ(toHalf(std::ldexp(1.0F, -26)), 0);
    EXPECT_EQ(toHalf(-0.0F), 0x8000);
    EXPECT_EQ(toHalf(std::numeric_limits<float>::denorm_min()), 0);
    // Infinity and NaN come back.
    EXPECT_EQ(fromHalf(0x7c00), std::numeric_limits<float>::infinity());
    EXPECT_EQ(fromHalf(0xfc00), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(fromHalf(toHalf(std::numeric_limits<float>::quiet_NaN()))));
}

// Comparison of floats to the last bit, with messages that show every bit.
//
// Use as EXPECT_TRUE(sameFloats(expected, actual, count)).
#ifndef ZOMU_TESTS_SUPPORT_BITS_H
#define ZOMU_TESTS_SUPPORT_BITS_H

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// Equal bit patterns: -0.0 differs from 0.0. All NaN count as one value, because their sign and
// payload depend on which operand the compiler puts first.
inline bool sameBits(float expected, float actual) {
    if (std::isnan(expected) || std::isnan(actual)) {
        return std::isnan(expected) && std::isnan(actual);
    }
    return std::bit_cast<std::uint32_t>(expected) == std::bit_cast<std::uint32_t>(actual);
}

inline std::string hexFloat(float value) {
    char text[64];
    std::snprintf(text, sizeof text, "%a (%.9g, bits %08x)", static_cast<double>(value),
                  static_cast<double>(value),
                  static_cast<unsigned>(std::bit_cast<std::uint32_t>(value)));
    return text;
}

inline testing::AssertionResult sameFloat(float expected, float actual) {
    if (sameBits(expected, actual)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "expected " << hexFloat(expected) << ", actual " << hexFloat(actual);
}

// Names the first difference and counts all.
inline testing::AssertionResult sameFloats(const float* expected, const float* actual,
                                           std::size_t count) {
    std::size_t first = count;
    std::size_t differences = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!sameBits(expected[i], actual[i]) && differences++ == 0) {
            first = i;
        }
    }
    if (differences == 0) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << differences << " of " << count << " floats differ, first at index " << first << ": "
           << sameFloat(expected[first], actual[first]).message();
}

inline testing::AssertionResult sameFloats(const std::vector<float>& expected,
                                           const std::vector<float>& actual) {
    if (expected.size() != actual.size()) {
        return testing::AssertionFailure()
               << "expected " << expected.size() << " floats, actual " << actual.size();
    }
    return sameFloats(expected.data(), actual.data(), expected.size());
}

#endif

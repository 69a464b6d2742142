// Comparison of whole templates to the last bit; all NaN count as one value.
#ifndef ZOMU_TESTS_HARDENING_SAME_TEMPLATES_H
#define ZOMU_TESTS_HARDENING_SAME_TEMPLATES_H

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/bits.h"
#include "zomu.h"

inline testing::AssertionResult sameTemplates(const FaceTemplate& expected,
                                              const FaceTemplate& actual) {
    constexpr std::size_t kCount = sizeof(FaceTemplate) / sizeof(float);
    std::vector<float> expectedValues(kCount);
    std::vector<float> actualValues(kCount);
    std::memcpy(expectedValues.data(), &expected, sizeof expected);
    std::memcpy(actualValues.data(), &actual, sizeof actual);
    return sameFloats(expectedValues, actualValues);
}

#endif

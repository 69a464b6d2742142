// The proof that a network of integers computes without any rounding.
#ifndef ZOMU_TOOLS_MODEL_EXACT_SUMS_H
#define ZOMU_TOOLS_MODEL_EXACT_SUMS_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/drawn_model.h"
#include "model/net_plan.h"

// Every integer up to this one is a float.
constexpr std::int64_t kExactLimit = std::int64_t{1} << 24;

struct LargestSum {
    std::int64_t value = 0;
    std::string layer;
};

// The largest sum of absolute products, bias included, that any output of any layer can come to for
// any picture: pixels from 0 to 255 less the mean image, through the given weights. Below
// kExactLimit no partial sum of any order of additions, fused or not, is ever rounded.
//
// Throws std::runtime_error where a number is not an integer. May return as soon as the limit is
// reached.
LargestSum largestSum(const NetPlan& plan, const NetNumbers& numbers,
                      const std::vector<float>& meanImage);

#endif

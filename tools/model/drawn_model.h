// The numbers of a model that was never trained: drawn from a seed, file by file.
#ifndef ZOMU_TOOLS_MODEL_DRAWN_MODEL_H
#define ZOMU_TOOLS_MODEL_DRAWN_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/net_plan.h"

// random: normal-like weights of variance 2 / fan-in, which keep the size of the activations from
// layer to layer under relu. A network's outputs depend on the order in which the BLAS adds.
//
// integer: a few small integers in every column, so that all sums inside a network are exact in
// float and come out the same from every BLAS (see exact_sums.h).
enum class WeightKind { random, integer };

// The files of one layer, in the order of its plan.
struct LayerNumbers {
    std::vector<std::vector<float>> weights;
    std::vector<float> biases;  // empty for a layer without
};

using NetNumbers = std::vector<LayerNumbers>;

// One entry for each layer of the plan.
NetNumbers drawNetwork(WeightKind kind, std::uint64_t seed, const NetPlan& plan);

// A mean image of `count` integers around mid-grey, for both kinds.
std::vector<float> drawMeanImage(std::uint64_t seed, const std::string& name, std::int32_t count);

// For both kinds: 8000 multiples of 1/1024, about as large as the components of a unit vector of
// 160.
std::vector<float> drawFeatureMean(std::uint64_t seed);

// The projections are made so that a template scores exactly 1 with itself. "6-1" is "6-2" with the
// signs of every second row turned: the rows' sums then differ in their signs at most, their
// squares not at all, and quadraticTerm is the squared length of `projection`. Templates a and b
// score
//
//     (2 a.b - (|a|^2 + |b|^2)) / (|a| |b|) + 1 = 1 - |a - b|^2 / (|a| |b|),
//
// which is 1 where a = b, also in float, since a.b and |a|^2 are then one and the same sum, and
// less everywhere else. With the turned signs nobody can mistake one table for the other.
struct Projections {
    std::vector<float> a;  // "6-1"
    std::vector<float> b;  // "6-2"
};

// random: normal-like numbers of variance 1 / 500, which keep the lengths of vectors on average.
// integer: odd multiples of 1/256 of about the same size.
Projections drawProjections(WeightKind kind, std::uint64_t seed);

#endif

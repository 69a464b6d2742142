// The network of every_kind_net_test.cpp once more, of the references of its layers.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_EVERY_KIND_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_EVERY_KIND_H

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "reference/reference_layers.h"

// A row for each filter or output; the files of the network hold them with rows and columns
// exchanged.
struct EveryKindWeights {
    std::vector<float> filters;  // 2 x 9
    std::vector<float> filterBiases;
    std::vector<float> bank;  // 2 filters x 4 places x 2 planes
    std::vector<float> bankBiases;
    std::vector<float> full;  // 3 x 8
    std::vector<float> fullBiases;
};

template <typename Function>
std::vector<float> combined(const std::vector<float>& first, const std::vector<float>& second,
                            Function function) {
    std::vector<float> out;
    for (std::size_t i = 0; i < first.size(); ++i) {
        // A second list that is shorter has an entry for each of as many equal parts of the first.
        out.push_back(function(first[i], second[i * second.size() / first.size()]));
    }
    return out;
}

// What each layer that has a matrix of its own makes of one image of 4 x 4.
inline std::map<std::string, std::vector<float>> referenceEveryKind(const EveryKindWeights& weights,
                                                                    const float* image) {
    const auto plus = [](float x, float y) { return x + y; };
    std::map<std::string, std::vector<float>> acts;
    // One filter for all of its 16 places, and the rectifier behind it.
    std::vector<float> everywhere;
    for (std::size_t i = 0; i < std::size_t{2} * 16 * 9; ++i) {
        everywhere.push_back(weights.filters[i / 144 * 9 + i % 9]);
    }
    const ReferenceFilters conv = {1, 1, 4, 4, 2, 3, 1, 1};
    const auto sums =
        combined(referenceFilterSums(conv, ReferenceBank::PerModule, image, everywhere.data()),
                 weights.filterBiases, plus);
    acts["c"] = combined(sums, {0}, [](float x, float y) { return std::max(x, y); });

    acts["p"] = referencePool(ReferencePool::Max, {2, 2, 0, 2, 2}, acts["c"].data(), 1, 32);
    const std::vector<float>& p = acts["p"];
    std::vector<float>& m = acts["m"];
    m.resize(8);
    referenceNorm({2, 3, 0.3F, 0.75F}, p.data(), m.data(), 1, 8);
    const ReferenceFilters local = {1, 2, 2, 2, 2, 1, 0, 1};
    acts["l"] = combined(
        referenceFilterSums(local, ReferenceBank::PerModule, m.data(), weights.bank.data()),
        weights.bankBiases, plus);
    acts["s"] = combined(m, acts["l"], [](float x, float y) { return x - 0.5F * y; });
    acts["x"] = combined(acts["l"], acts["s"], [](float x, float y) { return y > x ? y : x; });
    const ReferenceFilters full = {1, 8, 1, 1, 3, 1, 0, 1};
    acts["f"] =
        combined(referenceFilterSums(full, ReferenceBank::PerModule, p.data(), weights.full.data()),
                 weights.fullBiases, plus);
    acts["t"] = referenceSoftmax({acts["f"]});
    return acts;
}

#endif

#include "model/exact_sums.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

// |value|; throws where it is not an integer below the limit, which keeps all sums here far from
// overflow.
std::int64_t magnitude(float value, const std::string& where) {
    const float size = std::abs(value);
    if (!(size < static_cast<float>(kExactLimit)) || std::trunc(size) != size) {
        throw std::runtime_error(where + ": a number that is not a small integer");
    }
    return static_cast<std::int64_t>(size);
}

// Bounds are kept for each plane of a layer's output: a filter meets every position of its planes.
using PlaneBounds = std::vector<std::int64_t>;

PlaneBounds boundsOfPatch(const LayerPlan& data, const std::vector<float>& meanImage) {
    const auto planes = static_cast<std::size_t>(data.planes);
    if (meanImage.size() != static_cast<std::size_t>(data.elements())) {
        throw std::runtime_error(data.name + ": the mean image is not as large as the patch");
    }
    const std::size_t planeSize = meanImage.size() / planes;
    PlaneBounds bounds(planes, 0);
    for (std::size_t e = 0; e < meanImage.size(); ++e) {
        const std::int64_t below = magnitude(meanImage[e], data.name);
        const std::int64_t above = magnitude(255.0F - meanImage[e], data.name);
        bounds[e / planeSize] = std::max({bounds[e / planeSize], below, above});
    }
    return bounds;
}

// Adds |weight| * bound of the plane that the weight meets; `rowsPerPlane` rows belong to each
// plane.
void addProducts(PlaneBounds& sums, const std::string& where, const std::vector<float>& weights,
                 const PlaneBounds& input, std::size_t rowsPerPlane) {
    const std::size_t cols = sums.size();
    for (std::size_t w = 0; w < weights.size(); ++w) {
        const std::size_t plane = w / cols / rowsPerPlane;
        sums[w % cols] += magnitude(weights[w], where) * input.at(plane);
    }
}

PlaneBounds boundsOfSums(const NetPlan& plan, std::size_t index, const LayerNumbers& numbers,
                         const std::vector<PlaneBounds>& bounds) {
    const LayerPlan& layer = plan[index];
    PlaneBounds sums(static_cast<std::size_t>(layer.planes), 0);
    for (std::size_t k = 0; k < layer.inputs.size(); ++k) {
        const LayerPlan& input = plan[layer.inputs[k]];
        const std::int32_t rowsPerPlane =
            layer.type == "conv" ? layer.filterPixels : input.side * input.side;
        addProducts(sums, layer.name, numbers.weights.at(k), bounds[layer.inputs[k]],
                    static_cast<std::size_t>(rowsPerPlane));
    }
    for (std::size_t f = 0; f < sums.size(); ++f) {
        sums[f] += magnitude(numbers.biases.at(f), layer.name);
    }
    return sums;
}

}  // namespace

LargestSum largestSum(const NetPlan& plan, const NetNumbers& numbers,
                      const std::vector<float>& meanImage) {
    std::vector<PlaneBounds> bounds;
    LargestSum largest;
    for (std::size_t i = 0; i < plan.size(); ++i) {
        if (plan[i].type == "data") {
            bounds.push_back(boundsOfPatch(plan[i], meanImage));
        } else if (plan[i].weights.empty()) {
            // relu and the maximum of a pool enlarge nothing.
            bounds.push_back(bounds[plan[i].inputs[0]]);
        } else {
            bounds.push_back(boundsOfSums(plan, i, numbers[i], bounds));
        }
        for (const std::int64_t bound : bounds.back()) {
            if (bound > largest.value) {
                largest = {bound, plan[i].name};
            }
        }
        if (largest.value >= kExactLimit) {
            break;  // the next products might not fit their 64 bits
        }
    }
    return largest;
}

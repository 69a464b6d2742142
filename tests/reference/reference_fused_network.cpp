#include "reference/reference_fused_network.h"

#include <cmath>
#include <cstddef>

namespace {

// Square planes, one after the other.
struct Planes {
    int count;
    int side;
    std::vector<float> values;

    Planes(int planeCount, int planeSide)
        : count(planeCount),
          side(planeSide),
          values(static_cast<std::size_t>(planeCount * planeSide * planeSide)) {}

    float& at(int plane, int y, int x) {
        return values[static_cast<std::size_t>((plane * side + y) * side + x)];
    }
};

Planes convolveAndRectify(Planes& in, const ReferenceWeights& filters,
                          const ReferenceWeights& biases, int filterSide) {
    Planes out(filters.cols, in.side - filterSide + 1);
    for (int f = 0; f < out.count; ++f) {
        for (int y = 0; y < out.side; ++y) {
            for (int x = 0; x < out.side; ++x) {
                float sum = 0.0F;
                const float* weight = &filters.values[static_cast<std::size_t>(f)];
                for (int plane = 0; plane < in.count; ++plane) {
                    for (int dy = 0; dy < filterSide; ++dy) {
                        for (int dx = 0; dx < filterSide; ++dx, weight += filters.cols) {
                            sum = std::fma(in.at(plane, y + dy, x + dx), *weight, sum);
                        }
                    }
                }
                sum = sum + biases.values[static_cast<std::size_t>(f)];
                out.at(f, y, x) = sum > 0.0F ? sum : 0.0F;
            }
        }
    }
    return out;
}

// The greatest of each 2 x 2 square.
Planes pool(Planes& in) {
    Planes out(in.count, in.side / 2);
    for (int plane = 0; plane < out.count; ++plane) {
        for (int y = 0; y < out.side; ++y) {
            for (int x = 0; x < out.side; ++x) {
                float greatest = -2.0e38F;
                for (int corner = 0; corner < 4; ++corner) {
                    const float v = in.at(plane, 2 * y + corner / 2, 2 * x + corner % 2);
                    greatest = v > greatest ? v : greatest;
                }
                out.at(plane, y, x) = greatest;
            }
        }
    }
    return out;
}

float addTerms(float sum, const Planes& in, const ReferenceWeights& weights, std::size_t unit) {
    for (std::size_t i = 0; i < in.values.size(); ++i) {
        sum = std::fma(in.values[i], weights.values[i * 160 + unit], sum);
    }
    return sum;
}

}  // namespace

std::vector<float> runFusedNetwork(const ReferenceNetwork& network, const float* image) {
    Planes data(network.channels, network.side);
    data.values.assign(image, image + data.values.size());
    Planes pooled = data;
    Planes last = data;
    constexpr int kFilterSide[4] = {4, 3, 3, 2};
    for (int stage = 0; stage < 4; ++stage) {
        if (stage > 0) {
            pooled = pool(last);
        }
        last = convolveAndRectify(pooled, network.filters[stage], network.biases[stage],
                                  kFilterSide[stage]);
    }
    std::vector<float> outputs;
    for (std::size_t unit = 0; unit < 160; ++unit) {
        const float first = addTerms(0.0F, last, network.fromLocal4, unit);
        const float biased = first + network.outputBiases.values[unit];
        outputs.push_back(addTerms(biased, pooled, network.fromPool3, unit));
    }
    return outputs;
}

#include "reference/reference_network.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>

#include "reference/reference_tables.h"

namespace {

// Stack of square planes: values with the bounds of the library's deviation.
struct Activation {
    int planes;
    int side;
    std::vector<double> value;
    std::vector<double> bound;

    Activation(int planeCount, int planeSide)
        : planes(planeCount),
          side(planeSide),
          value(static_cast<std::size_t>(planeCount * planeSide * planeSide)),
          bound(value.size()) {}

    std::size_t at(int plane, int y, int x) const {
        return static_cast<std::size_t>((plane * side + y) * side + x);
    }
};

// A dot product under way.
struct Dot {
    double sum = 0;        // of w x
    double incoming = 0;   // of |w| e
    double size = 0;       // of |w| (|x| + e)
    double exactSize = 0;  // of |w| |x|
    int terms = 0;

    void add(double weight, double value, double error) {
        sum += weight * value;
        incoming += std::abs(weight) * error;
        size += std::abs(weight) * (std::abs(value) + error);
        exactSize += std::abs(weight) * std::abs(value);
        ++terms;
    }

    double bound() const;
};

}  // namespace

static constexpr int kFilterSide[4] = {4, 3, 3, 2};
static constexpr int kFilterCount[4] = {16, 32, 48, 64};

static constexpr double kFloatRounding = 0x1p-24;
static constexpr double kDoubleRounding = 0x1p-53;

static double gammaOf(int terms, double rounding) {
    return terms * rounding / (1.0 - terms * rounding);
}

double Dot::bound() const {
    const double rounding = gammaOf(terms, kFloatRounding) + gammaOf(terms, kDoubleRounding);
    return (incoming + rounding * size + terms * 0x1p-149) * (1.0 + 0x1p-30);
}

static double boundAfterBias(double sum, double bound) {
    return (bound + (kFloatRounding + kDoubleRounding) * (std::abs(sum) + bound)) * (1.0 + 0x1p-30);
}

static ReferenceWeights readWeights(const std::string& path, int rows, int cols) {
    std::ifstream file(path, std::ios::binary);
    std::int32_t shape[2] = {0, 0};
    file.read(reinterpret_cast<char*>(shape), sizeof shape);
    if (!file || shape[0] != rows || shape[1] != cols) {
        throw std::runtime_error("missing or of another shape: " + path);
    }
    ReferenceWeights weights;
    weights.rows = rows;
    weights.cols = cols;
    weights.values.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols));
    file.read(reinterpret_cast<char*>(weights.values.data()),
              static_cast<std::streamsize>(4 * weights.values.size()));
    if (!file) {
        throw std::runtime_error("too short: " + path);
    }
    return weights;
}

ReferenceNetwork readReferenceNetwork(const std::string& folder, int number) {
    const auto read = [&](int stage, int matrix, int rows, int cols) {
        return readWeights(folder + std::to_string(stage) + "-" + std::to_string(number) + "-" +
                               std::to_string(matrix),
                           rows, cols);
    };
    ReferenceNetwork network;
    network.side = kReferencePatches[number - 1].size;
    network.channels = kReferencePatches[number - 1].isColour ? 3 : 1;
    int planes = network.channels;
    for (int stage = 0; stage < 4; ++stage) {
        const int rows = planes * kFilterSide[stage] * kFilterSide[stage];
        planes = kFilterCount[stage];
        network.filters[stage] = read(stage + 1, 1, rows, planes);
        network.biases[stage] = read(stage + 1, 2, planes, 1);
    }
    const bool large = network.side == 55;
    network.fromLocal4 = read(5, 1, large ? 1024 : 576, 160);
    network.fromPool3 = read(5, 2, large ? 1200 : 768, 160);
    network.outputBiases = read(5, 3, 1, 160);
    return network;
}

// out[f][y][x] = bias[f] + sum over plane, dy, dx of w[plane][dy][dx][f] in[plane][y + dy][x + dx]
static Activation convolve(const Activation& in, const ReferenceWeights& filters,
                           const ReferenceWeights& biases, int filterSide,
                           ReferenceOutput& output) {
    Activation out(filters.cols, in.side - filterSide + 1);
    // Plain pointers keep builds without optimisation bearable.
    const float* weights = filters.values.data();
    const double* values = in.value.data();
    const double* bounds = in.bound.data();
    for (int f = 0; f < out.planes; ++f) {
        for (int y = 0; y < out.side; ++y) {
            for (int x = 0; x < out.side; ++x) {
                Dot dot;
                for (int plane = 0; plane < in.planes; ++plane) {
                    for (int dy = 0; dy < filterSide; ++dy) {
                        for (int dx = 0; dx < filterSide; ++dx) {
                            const int element = (plane * filterSide + dy) * filterSide + dx;
                            const std::size_t i = in.at(plane, y + dy, x + dx);
                            dot.add(static_cast<double>(weights[element * filters.cols + f]),
                                    values[i], bounds[i]);
                        }
                    }
                }
                const auto bias = static_cast<double>(biases.values[static_cast<std::size_t>(f)]);
                const std::size_t o = out.at(f, y, x);
                out.value[o] = dot.sum + bias;
                out.bound[o] = boundAfterBias(out.value[o], dot.bound());
                output.largestSum = std::max(output.largestSum, dot.exactSize + std::abs(bias));
            }
        }
    }
    return out;
}

static void rectify(Activation& activation, ReferenceOutput& output) {
    for (std::size_t i = 0; i < activation.value.size(); ++i) {
        const double x = activation.value[i];
        if (x > 0) {
            continue;
        }
        activation.value[i] = 0;
        activation.bound[i] = std::fmax(0.0, x + activation.bound[i]);
        ++output.rectified;
    }
}

// The largest of each 2 x 2 square.
static Activation pool(const Activation& in) {
    Activation out(in.planes, in.side / 2);
    for (int plane = 0; plane < out.planes; ++plane) {
        for (int y = 0; y < out.side; ++y) {
            for (int x = 0; x < out.side; ++x) {
                const std::size_t o = out.at(plane, y, x);
                out.value[o] = -2.0e38;
                for (int corner = 0; corner < 4; ++corner) {
                    const std::size_t i = in.at(plane, 2 * y + corner / 2, 2 * x + corner % 2);
                    out.value[o] = std::fmax(out.value[o], in.value[i]);
                    out.bound[o] = std::fmax(out.bound[o], in.bound[i]);
                }
            }
        }
    }
    return out;
}

static void addInputs(Dot& dot, const Activation& in, const ReferenceWeights& weights, int unit) {
    for (std::size_t i = 0; i < in.value.size(); ++i) {
        const std::size_t w = i * 160 + static_cast<std::size_t>(unit);
        dot.add(static_cast<double>(weights.values[w]), in.value[i], in.bound[i]);
    }
}

static void runRow(const ReferenceNetwork& network, const float* row, ReferenceOutput& output) {
    Activation data(network.channels, network.side);
    for (std::size_t i = 0; i < data.value.size(); ++i) {
        data.value[i] = static_cast<double>(row[i]);
    }

    Activation pool3 = data;
    Activation local4 = data;
    for (int stage = 0; stage < 4; ++stage) {
        pool3 = stage == 0 ? data : pool(local4);
        local4 = convolve(pool3, network.filters[stage], network.biases[stage], kFilterSide[stage],
                          output);
        rectify(local4, output);
    }

    for (int unit = 0; unit < 160; ++unit) {
        Dot first;
        addInputs(first, local4, network.fromLocal4, unit);
        const auto bias =
            static_cast<double>(network.outputBiases.values[static_cast<std::size_t>(unit)]);
        const double y = first.sum + bias;
        const double bound = boundAfterBias(y, first.bound());
        Dot second;
        second.add(1.0, y, bound);
        addInputs(second, pool3, network.fromPool3, unit);
        output.values.push_back(second.sum);
        output.bounds.push_back(second.bound());
        output.largestSum =
            std::max(output.largestSum, first.exactSize + std::abs(bias) + second.exactSize);
    }
}

ReferenceOutput runReferenceNetwork(const ReferenceNetwork& network, const float* patch) {
    ReferenceOutput output;
    runRow(network, patch, output);
    runRow(network, patch + network.channels * network.side * network.side, output);
    return output;
}

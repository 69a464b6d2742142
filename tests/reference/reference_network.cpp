#include "reference/reference_network.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>

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
    // The networks that read three planes; all others read one.
    static constexpr int kColour[] = {1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25};
    const auto path = [&](const std::string& stage, const std::string& matrix) {
        return folder + stage + "-" + std::to_string(number) + "-" + matrix;
    };
    const bool large = number <= 2;
    ReferenceNetwork network;
    network.side = large ? 55 : 47;
    network.channels = 1;
    for (const int colour : kColour) {
        if (colour == number) {
            network.channels = 3;
        }
    }
    network.filters[0] = readWeights(path("1", "1"), network.channels * 16, 16);
    network.biases[0] = readWeights(path("1", "2"), 16, 1);
    network.filters[1] = readWeights(path("2", "1"), 144, 32);
    network.biases[1] = readWeights(path("2", "2"), 32, 1);
    network.filters[2] = readWeights(path("3", "1"), 288, 48);
    network.biases[2] = readWeights(path("3", "2"), 48, 1);
    network.filters[3] = readWeights(path("4", "1"), 192, 64);
    network.biases[3] = readWeights(path("4", "2"), 64, 1);
    network.fromLocal4 = readWeights(path("5", "1"), large ? 1024 : 576, 160);
    network.fromPool3 = readWeights(path("5", "2"), large ? 1200 : 768, 160);
    network.outputBiases = readWeights(path("5", "3"), 1, 160);
    return network;
}

static void noteSum(ReferenceOutput& output, double size) {
    if (size > output.largestSum) {
        output.largestSum = size;
    }
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
                noteSum(output, dot.exactSize + std::abs(bias));
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
                double largest = -2.0e38;
                double bound = 0;
                for (int dy = 0; dy < 2; ++dy) {
                    for (int dx = 0; dx < 2; ++dx) {
                        const std::size_t i = in.at(plane, 2 * y + dy, 2 * x + dx);
                        largest = std::fmax(largest, in.value[i]);
                        bound = std::fmax(bound, in.bound[i]);
                    }
                }
                out.value[out.at(plane, y, x)] = largest;
                out.bound[out.at(plane, y, x)] = bound;
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

    static constexpr int kFilterSide[4] = {4, 3, 3, 2};
    Activation pool3 = data;
    for (int stage = 0; stage < 3; ++stage) {
        Activation conv = convolve(pool3, network.filters[stage], network.biases[stage],
                                   kFilterSide[stage], output);
        rectify(conv, output);
        pool3 = pool(conv);
    }
    Activation local4 =
        convolve(pool3, network.filters[3], network.biases[3], kFilterSide[3], output);
    rectify(local4, output);

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
        noteSum(output, first.exactSize + std::abs(bias) + second.exactSize);
    }
}

ReferenceOutput runReferenceNetwork(const ReferenceNetwork& network, const float* patch) {
    ReferenceOutput output;
    runRow(network, patch, output);
    runRow(network, patch + network.channels * network.side * network.side, output);
    return output;
}

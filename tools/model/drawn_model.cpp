#include "model/drawn_model.h"

#include <cmath>
#include <span>

#include "model/model_tables.h"
#include "model/seeded_numbers.h"

namespace {

// In both kinds the filters of the first convolution add up to 0: they answer to edges and hues,
// and a picture's brightness counts for little.
//
// Taps of an integer column. Behind a relu, where nothing is negative, the positive ones prevail,
// so that most filters stay alive. With inputs up to 159 the sums of `fc` stay below 159 * 8^4 * 10
// + 159 * 8^3 * 10, under half of 2^24.
constexpr int kEdgeTaps[] = {-2, -1, -1, 1, 1, 1, 1};
constexpr int kFilterTaps[] = {2, 1, 1, 1, -1, -1, -1};
constexpr int kOutputTaps[] = {-2, 2, -1, -1, -1, 1, 1, 1};

constexpr double kBiasScale = 0.5;  // activations of the random networks go to the tens

std::size_t sizeOf(const MatrixShape& shape) {
    return static_cast<std::size_t>(shape.rows) * static_cast<std::size_t>(shape.cols);
}

// Makes every column add up to 0, but for the rounding of its values.
void removeColumnMeans(std::vector<float>& values, const MatrixShape& shape) {
    const auto cols = static_cast<std::size_t>(shape.cols);
    for (std::size_t col = 0; col < cols; ++col) {
        double sum = 0.0;
        for (std::size_t i = col; i < values.size(); i += cols) {
            sum += static_cast<double>(values[i]);
        }
        const double mean = sum / shape.rows;
        for (std::size_t i = col; i < values.size(); i += cols) {
            values[i] = static_cast<float>(static_cast<double>(values[i]) - mean);
        }
    }
}

LayerNumbers drawRandomLayer(std::uint64_t seed, const LayerPlan& layer, bool isFirst) {
    double fanIn = 0.0;
    for (const MatrixShape& shape : layer.weights) {
        fanIn += shape.rows;
    }
    LayerNumbers numbers;
    for (const MatrixShape& shape : layer.weights) {
        SeededNumbers series(seed, shape.name);
        numbers.weights.push_back(series.normals(sizeOf(shape), std::sqrt(2.0 / fanIn)));
        if (isFirst) {
            removeColumnMeans(numbers.weights.back(), shape);
        }
    }
    for (const MatrixShape& shape : layer.biases) {
        SeededNumbers series(seed, shape.name);
        numbers.biases = series.normals(sizeOf(shape), kBiasScale);
    }
    return numbers;
}

LayerNumbers drawIntegerLayer(std::uint64_t seed, const LayerPlan& layer, bool isFirst) {
    std::span<const int> taps = isFirst ? kEdgeTaps : kFilterTaps;
    if (layer.type == "fc") {
        taps = kOutputTaps;
    }
    LayerNumbers numbers;
    for (const MatrixShape& shape : layer.weights) {
        SeededNumbers series(seed, shape.name);
        numbers.weights.push_back(series.dealtTaps(shape.rows, shape.cols, taps));
    }
    for (const MatrixShape& shape : layer.biases) {
        SeededNumbers series(seed, shape.name);
        numbers.biases = series.integers(sizeOf(shape), -8, 4);
    }
    return numbers;
}

}  // namespace

NetNumbers drawNetwork(WeightKind kind, std::uint64_t seed, const NetPlan& plan) {
    NetNumbers numbers;
    for (const LayerPlan& layer : plan) {
        const bool readsPatch = layer.inputs.size() == 1 && plan[layer.inputs[0]].type == "data";
        numbers.push_back(kind == WeightKind::random ? drawRandomLayer(seed, layer, readsPatch)
                                                     : drawIntegerLayer(seed, layer, readsPatch));
    }
    return numbers;
}

std::vector<float> drawMeanImage(std::uint64_t seed, const std::string& name, std::int32_t count) {
    return SeededNumbers(seed, name).integers(static_cast<std::size_t>(count), 96, 6);
}

std::vector<float> drawFeatureMean(std::uint64_t seed) {
    std::vector<float> mean = SeededNumbers(seed, "6-0").integers(kFeatureCount, -64, 7);
    for (float& value : mean) {
        value *= 0x1p-10F;
    }
    return mean;
}

Projections drawProjections(WeightKind kind, std::uint64_t seed) {
    constexpr std::size_t kCount = std::size_t{kProjectionCount} * kFeatureCount;
    SeededNumbers series(seed, "6-2");
    Projections tables;
    if (kind == WeightKind::random) {
        tables.b = series.normals(kCount, std::sqrt(1.0 / kProjectionCount));
    } else {
        tables.b = series.integers(kCount, -8, 4);
        for (float& value : tables.b) {
            value = (2.0F * value + 1.0F) * 0x1p-8F;
        }
    }
    tables.a = tables.b;
    for (std::size_t row = 1; row < kProjectionCount; row += 2) {
        for (std::size_t n = 0; n < kFeatureCount; ++n) {
            float& value = tables.a[row * kFeatureCount + n];
            value = -value;
        }
    }
    return tables;
}

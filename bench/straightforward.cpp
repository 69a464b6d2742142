#include "straightforward.h"

#include <algorithm>
#include <cstddef>

#include "matrix/blas.h"
#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_network.h"
#include "reference/reference_patches.h"
#include "support/projection_rows.h"

namespace {

constexpr int kRows = 2;

Matrix matrixOf(const ReferenceWeights& weights) {
    Matrix matrix(weights.rows, weights.cols);
    std::copy(weights.values.begin(), weights.values.end(), matrix.data);
    return matrix;
}

Matrix transposed(const ReferenceWeights& weights) {
    return std::move(*matrixOf(weights).transpose());
}

std::vector<float> pooled(const std::vector<float>& images, int planes, int side) {
    std::vector<float> target(images.size() / 4);
    plainMaxPool(images.data(), kRows, planes, side, target.data());
    return target;
}

}  // namespace

void plainUnfold(const float* image, int channels, int height, int width, int k, float* P) {
    const int outH = height - k + 1;
    const int outW = width - k + 1;
    for (int r = 0; r < channels * k * k; ++r) {
        for (int m = 0; m < outH * outW; ++m) {
            const int y = m / outW + (r / k) % k;
            const int x = m % outW + r % k;
            P[static_cast<std::ptrdiff_t>(r) * outH * outW + m] =
                image[(r / k / k * height + y) * width + x];
        }
    }
}

void plainBias(const Matrix& biases, Matrix& T) {
    for (std::int32_t m = 0; m < T.numCols; ++m) {
        addScaled(biases.numElements, 1.0F, biases.data, T.data + m, T.numCols);
    }
}

void plainRelu(float* values, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        if (!(values[i] > 0.0F)) {
            values[i] = 0.0F;
        }
    }
}

void plainMaxPool(const float* images, int rows, int planes, int side, float* target) {
    const int outputs = side / 2;
    for (int plane = 0; plane < rows * planes; ++plane) {
        const float* source = images + static_cast<std::ptrdiff_t>(plane) * side * side;
        for (int j = 0; j < outputs * outputs; ++j) {
            float cell = -2.0e38F;
            for (int y = j / outputs * 2; y < j / outputs * 2 + 2; ++y) {
                for (int x = j % outputs * 2; x < j % outputs * 2 + 2; ++x) {
                    if (source[y * side + x] > cell) {
                        cell = source[y * side + x];
                    }
                }
            }
            *target++ = cell;
        }
    }
}

void plainGrey(const std::uint8_t* image, int width, int height, int stride, std::uint8_t* grey) {
    const auto values = referenceGrey(image, width, height, stride);
    std::copy(values.begin(), values.end(), grey);
}

PlainNetwork::PlainNetwork(const std::string& folder, int number) {
    const ReferenceNetwork network = readReferenceNetwork(folder, number);
    side = network.side;
    channels = network.channels;
    const int sides[] = {4, 3, 3, 2};
    int planes = channels;
    for (int i = 0; i < 4; ++i) {
        convolutions.push_back(
            {transposed(network.filters[i]), matrixOf(network.biases[i]), planes, sides[i]});
        planes = network.filters[i].cols;
    }
    fromLocal4 = matrixOf(network.fromLocal4);
    fromPool3 = matrixOf(network.fromPool3);
    outputBiases = matrixOf(network.outputBiases);
}

std::vector<float> PlainNetwork::convolve(const Convolution& layer,
                                          const std::vector<float>& images, int inputSide) const {
    const int modules = (inputSide - layer.k + 1) * (inputSide - layer.k + 1);
    const std::size_t inputSize = images.size() / kRows;
    std::vector<float> target(static_cast<std::size_t>(kRows * layer.filters.numRows * modules));
    const Matrix P(layer.channels * layer.k * layer.k, modules);
    for (std::size_t n = 0; n < kRows; ++n) {
        plainUnfold(images.data() + n * inputSize, layer.channels, inputSide, inputSide, layer.k,
                    P.data);
        Matrix T = Matrix::view(target.data() + n * (target.size() / kRows), layer.filters.numRows,
                                modules);
        multiply(1.0F, layer.filters, P, 0.0F, T.data, T.numCols);
        plainBias(layer.biases, T);
    }
    plainRelu(target.data(), static_cast<std::int64_t>(target.size()));
    return target;
}

const std::vector<float>& PlainNetwork::run(const float* patch) {
    std::vector<float> images(patch, patch + kRows * channels * side * side);
    int width = side;
    for (std::size_t i = 0; i < 3; ++i) {
        images = convolve(convolutions[i], images, width);
        width = width - convolutions[i].k + 1;
        images = pooled(images, convolutions[i].filters.numRows, width);
        width = width / 2;
    }
    std::vector<float> local4 = convolve(convolutions[3], images, width);

    output.resize(kRows * 160);
    Matrix X0 =
        Matrix::view(local4.data(), kRows, static_cast<std::int32_t>(local4.size()) / kRows);
    Matrix X1 =
        Matrix::view(images.data(), kRows, static_cast<std::int32_t>(images.size()) / kRows);
    multiply(1.0F, X0, fromLocal4, 0.0F, output.data(), fromLocal4.numCols);
    for (int r = 0; r < kRows; ++r) {
        addScaled(160, 1.0F, outputBiases.data, output.data() + 160 * r, 1);
    }
    multiply(1.0F, X1, fromPool3, 1.0F, output.data(), fromPool3.numCols);
    return output;
}

PlainModel::PlainModel(const std::string& folder)
    : a(rowsOf(g_modelTables.projection, 0)),
      b(rowsOf(g_modelTables.projection, kProjectionCount)) {
    for (int number = 1; number <= kNetCount; ++number) {
        networks.emplace_back(folder, number);
    }
}

void plainExtract(PlainModel& model, const SourceImage& image, const LandmarkRecord& landmarks,
                  FaceTemplate& templateOut) {
    const auto patches = referencePatches(image.bytes, image.width, image.height, image.stride,
                                          landmarks, &g_modelTables.meanImages[0][0]);
    std::vector<float> features(kFeatureCount);
    for (std::size_t i = 0; i < model.networks.size(); ++i) {
        referenceStoreNetworkOutput(model.networks[i].run(patches[i].data()).data(),
                                    features.data() + 320 * i);
    }
    referenceSubtractFeatureMean(features.data(), g_modelTables.featureMean);
    referenceProjectFeatures(features.data(), model.a.data(), model.b.data(), templateOut);
}

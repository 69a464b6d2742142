// The full connection of a network, which reads the last two stages of its convolutions. Its weights are
// by far the most of a network's, so they are read once for many images.
#ifndef ZOMU_KERNELS_FULL_CONNECTION_KERNEL_H
#define ZOMU_KERNELS_FULL_CONNECTION_KERNEL_H

#include <cstddef>

#include "kernels/kernels.h"
#include "kernels/lanes.h"

namespace {

// Vectors of outputs whose sums are in registers, for two images: half of them where there are 16
// registers.
#if defined(__AVX2__) && !defined(__AVX512F__)
constexpr int kFullVectors = 5;
#else
constexpr int kFullVectors = 10;
#endif

// Images advance in pairs: a patch and its mirror image.
constexpr int kPair = 2;
// Rows of weights that are read for all images before the next ones: they stay in the first cache.
constexpr int kBlockRows = 32;
static_assert(kNetworkOutputs % (kFullVectors * kLanes) == 0);

// Adds the terms of some rows to the outputs of a pair of images.
void addRows(const float* weights, const float* const (&values)[kPair], int rows,
             float (*outputs)[kNetworkOutputs]) {
    for (int column = 0; column < kNetworkOutputs; column += kFullVectors * kLanes) {
        Lanes sums[kPair][kFullVectors];
        ZOMU_UNROLL
        for (int i = 0; i < kPair; ++i) {
            ZOMU_UNROLL
            for (int v = 0; v < kFullVectors; ++v) {
                sums[i][v] = load(&outputs[i][column + v * kLanes]);
            }
        }
        const float* row = weights + column;
        for (int k = 0; k < rows; ++k, row += kNetworkOutputs) {
            const Lanes x[kPair] = {broadcast(values[0][k]), broadcast(values[1][k])};
            ZOMU_UNROLL
            for (int v = 0; v < kFullVectors; ++v) {
                const Lanes w = load(row + v * kLanes);
                ZOMU_UNROLL
                for (int i = 0; i < kPair; ++i) {
                    sums[i][v] = multiplyAdd(x[i], w, sums[i][v]);
                }
            }
        }
        ZOMU_UNROLL
        for (int i = 0; i < kPair; ++i) {
            ZOMU_UNROLL
            for (int v = 0; v < kFullVectors; ++v) {
                store(&outputs[i][column + v * kLanes], sums[i][v]);
            }
        }
    }
}

// The share of one of the two stages, whose values begin at `first` of an image's.
void addStage(const float* weights, const StageValues* images, int pairs, int first, int rows,
              float (*outputs)[kNetworkOutputs]) {
    for (int block = 0; block < rows; block += kBlockRows) {
        const int blockRows = rows - block < kBlockRows ? rows - block : kBlockRows;
        const float* blockWeights = weights + std::ptrdiff_t{block} * kNetworkOutputs;
        for (int i = 0; i < kPair * pairs; i += kPair) {
            const float* const values[kPair] = {images[i].values + first + block,
                                                images[i + 1].values + first + block};
            addRows(blockWeights, values, blockRows, outputs + i);
        }
    }
}

// The order of the layers: the terms of the last stage, the bias, the terms of the third stage.
template <int kSide>
void runFullConnectionOfSide(const NetworkWeights& network, const StageValues* images, int pairs,
                             float (*outputs)[kNetworkOutputs]) {
    constexpr NetworkSides kSides(kSide);
    constexpr int kLast = kSides.lastValues();
    constexpr int kPooled = kSides.pooledValues();
    for (int i = 0; i < kPair * pairs; ++i) {
        for (float& output : outputs[i]) {
            output = 0.0F;
        }
    }
    addStage(network.fromLast, images, pairs, 0, kLast, outputs);
    for (int i = 0; i < kPair * pairs; ++i) {
        for (int column = 0; column < kNetworkOutputs; column += kLanes) {
            float* place = &outputs[i][column];
            store(place, add(load(place), load(network.outputBiases + column)));
        }
    }
    addStage(network.fromPooled, images, pairs, kLast, kPooled, outputs);
}

void runFullConnection(const NetworkWeights& network, const StageValues* images, int pairs,
                       float (*outputs)[kNetworkOutputs]) {
    if (network.side == kLargeSide) {
        runFullConnectionOfSide<kLargeSide>(network, images, pairs, outputs);
    } else {
        runFullConnectionOfSide<kSmallSide>(network, images, pairs, outputs);
    }
}

}  // namespace

#endif

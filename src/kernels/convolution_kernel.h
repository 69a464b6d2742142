// The convolutions of a network: direct, without a copy of the image for each filter position.
//
// A vector holds the sums of kLanes filters at one position. A tile of positions x filters, as many
// as there are registers for, runs over all terms at once: for each term a row of the weights is
// loaded and the pixel of each position is broadcast to all lanes.
//
// The order of a sum in a network, the same in every instruction set: start with +0; then the terms in
// the order of the rows of the weight file, one fused multiply-add each. Then the bias is added, rounded
// on its own.
#ifndef ZOMU_KERNELS_CONVOLUTION_KERNEL_H
#define ZOMU_KERNELS_CONVOLUTION_KERNEL_H

#include <cstddef>

#include "kernels/kernels.h"
#include "kernels/lanes.h"

namespace {

// A convolution, as far as it is known when it is compiled.
struct ConvShape {
    int side;        // of the input
    int filterSide;  // of the filters
    int filters;
    int column;     // floats from an input pixel to the next one in its row
    bool isPlanar;  // the output: plane by plane, not pixel by pixel

    constexpr int row() const { return side * column; }
    constexpr int outSide() const { return side - filterSide + 1; }
};

// How many sums are in registers at a time: positions, and vectors of filters for each.
struct Tile {
    int rows, columns, vectors;
};

template <Tile kTile>
using Sums = Lanes[kSize<kTile.rows>][kSize<kTile.columns>][kSize<kTile.vectors>];

// The planes of an input: floats from a plane to the next one, and their number.
struct Planes {
    std::ptrdiff_t step;
    int count;
};

// The sums of one tile, whose first position is at `in` and whose first filter is at `weights`.
template <ConvShape kShape, Tile kTile>
ZOMU_INLINE void sumTerms(const float* in, Planes planes, const float* weights, Sums<kTile>& sums) {
    ZOMU_UNROLL
    for (auto& row : sums) {
        ZOMU_UNROLL
        for (auto& position : row) {
            ZOMU_UNROLL
            for (Lanes& sum : position) {
                sum = broadcast(0.0F);
            }
        }
    }
    for (int plane = 0; plane < planes.count; ++plane, in += planes.step) {
        ZOMU_UNROLL
        for (int ky = 0; ky < kShape.filterSide; ++ky) {
            ZOMU_UNROLL
            for (int kx = 0; kx < kShape.filterSide; ++kx, weights += kShape.filters) {
                Lanes w[kSize<kTile.vectors>];
                ZOMU_UNROLL
                for (int v = 0; v < kTile.vectors; ++v) {
                    w[v] = load(weights + v * kLanes);
                }
                ZOMU_UNROLL
                for (int y = 0; y < kTile.rows; ++y) {
                    ZOMU_UNROLL
                    for (int x = 0; x < kTile.columns; ++x) {
                        const Lanes pixel =
                            broadcast(in[(y + ky) * kShape.row() + (x + kx) * kShape.column]);
                        ZOMU_UNROLL
                        for (int v = 0; v < kTile.vectors; ++v) {
                            sums[y][x][v] = multiplyAdd(pixel, w[v], sums[y][x][v]);
                        }
                    }
                }
            }
        }
    }
}

// Where a convolution writes. `positions` is the number of its outputs for each filter.
template <ConvShape kShape>
ZOMU_INLINE void storeOutput(Lanes value, float* out, int positions, int position, int filter) {
    if constexpr (kShape.isPlanar) {
        float values[kLanes];
        store(values, value);
        for (int lane = 0; lane < kLanes; ++lane) {
            out[(filter + lane) * positions + position] = values[lane];
        }
    } else {
        store(out + position * kShape.filters + filter, value);
    }
}

// What the layers compute in three steps: the bias is added, the result is rectified, and a NaN
// becomes 0.
ZOMU_INLINE Lanes rectify(Lanes sum, const float* biases) {
    return greater(add(sum, load(biases)), broadcast(0.0F));
}

// Fetches a range into the cache, some lines for each tile that is computed.
class Ahead {
  public:
    Ahead(FloatRange range, int tiles)
        : next(range.first),
          end(range.first + range.count),
          linesPerTile(range.count / kLine / tiles + 1) {}

    ZOMU_INLINE void fetchSome() {
        for (int i = 0; i < linesPerTile && next < end; ++i, next += kLine) {
            prefetch(next);
        }
    }

  private:
    static constexpr int kLine = 16;  // the floats of a cache line

    const float* next;
    const float* end;
    int linesPerTile;
};

constexpr float kLowest = -std::numeric_limits<float>::infinity();

// A tile of `kTile.columns / 2` windows of 2 x 2. The greatest sum is found before the bias is added
// and the result rectified: rounding keeps the order of two sums, so the result is that of a pool
// over rectified values. A NaN is skipped, as it would be rectified to 0; if all four are NaN, or
// the bias is, the result is 0.
template <ConvShape kShape, Tile kTile>
ZOMU_INLINE void poolTile(const float* in, Planes planes, const float* weights, const float* biases,
                          float* out, int position, int filter) {
    constexpr int kPooledSide = kShape.outSide() / 2;
    Sums<kTile> sums;
    sumTerms<kShape, kTile>(in, planes, weights + filter, sums);
    const Lanes lowest = broadcast(kLowest);
    ZOMU_UNROLL
    for (int window = 0; window < kTile.columns / 2; ++window) {
        ZOMU_UNROLL
        for (int v = 0; v < kTile.vectors; ++v) {
            Lanes greatest = greater(sums[0][2 * window][v], lowest);
            greatest = greater(sums[0][2 * window + 1][v], greatest);
            greatest = greater(sums[1][2 * window][v], greatest);
            greatest = greater(sums[1][2 * window + 1][v], greatest);
            const int first = filter + v * kLanes;
            storeOutput<kShape>(rectify(greatest, biases + first), out, kPooledSide * kPooledSide,
                                position + window, first);
        }
    }
}

// How a row of windows is divided into tiles of at most kTile.columns / 2 windows: the last ones are
// a window shorter where they have to be.
template <ConvShape kShape, Tile kTile>
struct TilesOfRow {
    static constexpr int kWindows = kShape.outSide() / 2;
    static constexpr int kLongest = kTile.columns / 2;
    static constexpr int kCount = (kWindows + kLongest - 1) / kLongest;
    static constexpr int kShorter = kCount * kLongest - kWindows;
    static constexpr int kPasses = kShape.filters / (kTile.vectors * kLanes);
    static constexpr int kOfStage = kWindows * kPasses * kCount;
    static_assert(kShorter < kCount && kShape.outSide() % 2 == 0);
    static_assert(kPasses * kTile.vectors * kLanes == kShape.filters);
};

// A convolution with its pool of 2 x 2.
template <ConvShape kShape, Tile kTile>
void convolveAndPool(const float* in, Planes planes, const float* weights, const float* biases,
                     float* out, Ahead& ahead) {
    using Row = TilesOfRow<kShape, kTile>;
    constexpr Tile kShort = {kTile.rows, kTile.columns - 2, kTile.vectors};
    for (int oy = 0; oy < Row::kWindows; ++oy, in += 2 * kShape.row()) {
        for (int filter = 0; filter < kShape.filters; filter += kTile.vectors * kLanes) {
            int ox = 0;
            for (int i = 0; i < Row::kCount - Row::kShorter; ++i, ox += Row::kLongest) {
                ahead.fetchSome();
                poolTile<kShape, kTile>(in + 2 * ox * kShape.column, planes, weights, biases, out,
                                        oy * Row::kWindows + ox, filter);
            }
            if constexpr (Row::kShorter > 0) {
                for (int i = 0; i < Row::kShorter; ++i, ox += Row::kLongest - 1) {
                    ahead.fetchSome();
                    poolTile<kShape, kShort>(in + 2 * ox * kShape.column, planes, weights, biases,
                                             out, oy * Row::kWindows + ox, filter);
                }
            }
        }
    }
}

// A convolution without a pool; a tile is whole rows.
template <ConvShape kShape, Tile kTile>
void convolve(const float* in, Planes planes, const float* weights, const float* biases,
              float* out) {
    constexpr int kSide = kShape.outSide();
    static_assert(kTile.columns == kSide && kSide % kTile.rows == 0);
    for (int filter = 0; filter < kShape.filters; filter += kTile.vectors * kLanes) {
        for (int oy = 0; oy < kSide; oy += kTile.rows) {
            Sums<kTile> sums;
            sumTerms<kShape, kTile>(in + oy * kShape.row(), planes, weights + filter, sums);
            ZOMU_UNROLL
            for (int i = 0; i < kTile.rows * kSide; ++i) {
                ZOMU_UNROLL
                for (int v = 0; v < kTile.vectors; ++v) {
                    const int first = filter + v * kLanes;
                    const Lanes value = rectify(sums[i / kSide][i % kSide][v], biases + first);
                    storeOutput<kShape>(value, out, kSide * kSide, oy * kSide + i, first);
                }
            }
        }
    }
}

// The tiles by the number of registers: those that were fastest; for NEON, the largest that compilers keep in
// registers beside the weights and the pixels of a plane.
#if defined(__AVX512F__)
constexpr Tile kPoolTiles[3] = {{2, 12, 1}, {2, 6, 2}, {2, 4, 3}};
constexpr int kLastVectors = 4;
#elif defined(__AVX2__)
constexpr Tile kPoolTiles[3] = {{2, 2, 2}, {2, 2, 2}, {2, 2, 3}};
constexpr int kLastVectors = 4;
#else
constexpr Tile kPoolTiles[3] = {{2, 2, 4}, {2, 2, 4}, {2, 2, 4}};
constexpr int kLastVectors = 4;
#endif

template <int kSide>
void runConvolutionsOfSide(const NetworkWeights& network, const float* image, FloatRange ahead,
                           NetworkScratch& scratch, StageValues& stages) {
    constexpr NetworkSides kSides(kSide);
    constexpr ConvShape kFirst = {kSides.in[0], kFilterSides[0], kFilters[0], 1, false};
    constexpr ConvShape kSecond = {kSides.in[1], kFilterSides[1], kFilters[1], kFilters[0], false};
    constexpr ConvShape kThird = {kSides.in[2], kFilterSides[2], kFilters[2], kFilters[1], true};
    constexpr ConvShape kLast = {kSides.in[3], kFilterSides[3], kFilters[3], 1, true};
    constexpr int kTiles = TilesOfRow<kFirst, kPoolTiles[0]>::kOfStage +
                           TilesOfRow<kSecond, kPoolTiles[1]>::kOfStage +
                           TilesOfRow<kThird, kPoolTiles[2]>::kOfStage;

    constexpr int kLastValues = kSides.lastValues();
    float* last = stages.values;
    float* pooled = stages.values + kLastValues;
    Ahead fetching(ahead, kTiles);
    convolveAndPool<kFirst, kPoolTiles[0]>(image, {kSide * kSide, network.channels},
                                           network.filters[0], network.biases[0], scratch.first,
                                           fetching);
    convolveAndPool<kSecond, kPoolTiles[1]>(scratch.first, {1, kFilters[0]}, network.filters[1],
                                            network.biases[1], scratch.second, fetching);
    convolveAndPool<kThird, kPoolTiles[2]>(scratch.second, {1, kFilters[1]}, network.filters[2],
                                           network.biases[2], pooled, fetching);
    convolve<kLast, Tile{1, kLast.outSide(), kLastVectors}>(
        pooled, {kSides.in[3] * kSides.in[3], kFilters[2]}, network.filters[3], network.biases[3],
        last);
}

void runConvolutions(const NetworkWeights& network, const float* image, FloatRange ahead,
                     NetworkScratch& scratch, StageValues& stages) {
    if (network.side == kLargeSide) {
        runConvolutionsOfSide<kLargeSide>(network, image, ahead, scratch, stages);
    } else {
        runConvolutionsOfSide<kSmallSide>(network, image, ahead, scratch, stages);
    }
}

}  // namespace

#endif

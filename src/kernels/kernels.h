// The kernels that carry nearly all of an extraction: the networks and the projection. They exist
// once for each instruction set, with the same results to the last bit.
#ifndef ZOMU_KERNELS_KERNELS_H
#define ZOMU_KERNELS_KERNELS_H

#include <cstddef>
#include <span>

// The shape that all embedded networks have: four convolutions, of which all but the last are
// pooled by 2 x 2, and a full connection that reads the last two stages.
constexpr int kConvolutions = 4;
constexpr int kFilterSides[kConvolutions] = {4, 3, 3, 2};
constexpr int kFilters[kConvolutions] = {16, 32, 48, 64};
constexpr int kNetworkOutputs = 160;

// The sides of the patches that the kernels are compiled for.
constexpr int kLargeSide = 55;
constexpr int kSmallSide = 47;

// The sides of a network's stages, from that of its patch.
struct NetworkSides {
    constexpr explicit NetworkSides(int patch) {
        for (int side = patch, i = 0; i < kConvolutions; ++i) {
            in[i] = side;
            side = side - kFilterSides[i] + 1;
            if (i < kConvolutions - 1) {
                side /= 2;
            }
            out[i] = side;
        }
    }
    // Values of the third stage, pooled, and of the last: what the full connection reads.
    constexpr int pooledValues() const { return kFilters[2] * out[2] * out[2]; }
    constexpr int lastValues() const { return kFilters[3] * out[3] * out[3]; }

    int in[kConvolutions] = {};
    int out[kConvolutions] = {};
};

constexpr int kMostStageValues =
    NetworkSides(kLargeSide).pooledValues() + NetworkSides(kLargeSide).lastValues();

// A network as the kernels read it. Matrices are row by row, as the weight files hold them: a row
// for each term of a sum, a column for each result. Everything is owned elsewhere.
struct NetworkWeights {
    int side = 0;                              // of the patch: kLargeSide or kSmallSide
    int channels = 0;                          // planes of the patch
    const float* filters[kConvolutions] = {};  // rows by plane, filter row and filter column
    const float* biases[kConvolutions] = {};
    const float* fromLast = nullptr;    // of the full connection: rows by plane, row and column
    const float* fromPooled = nullptr;  // the same for the third stage
    const float* outputBiases = nullptr;
};

// What a network writes while it runs: one for each thread. Not initialised.
struct NetworkScratch {
    // The first two stages of one image, pixel by pixel: the values of all filters at a pixel are
    // contiguous.
    alignas(64) float first[26 * 26 * 16];
    alignas(64) float second[12 * 12 * 32];
};

// The last two stages of one image: the last one, then the third, plane by plane.
struct alignas(64) StageValues {
    float values[kMostStageValues];
};

// Rows of the projections are laid out in groups: the values of a group's rows at one column are
// contiguous.
constexpr int kGroupRows = 32;

struct FloatRange {
    const float* first = nullptr;
    int count = 0;
};

struct Kernels {
    const char* name;  // of the instruction set

    // The networks: null if the processor has no fused multiply-add.
    //
    // runConvolutions runs the four convolutions on one image, `channels` planes of `side` x `side`.
    // Meanwhile it fetches `ahead` into the cache, which the caller reads next.
    //
    // runFullConnection runs the full connection on `pairs` pairs of images, and reads the weights
    // once for all of them. outputs[i] gets the kNetworkOutputs values of image i.
    void (*runConvolutions)(const NetworkWeights& network, const float* image, FloatRange ahead,
                            NetworkScratch& scratch, StageValues& stages);
    void (*runFullConnection)(const NetworkWeights& network, const StageValues* images, int pairs,
                              float (*outputs)[kNetworkOutputs]);

    // Continues the sums of a group's rows over some columns, for each of `count` vectors: the product
    // of a row's value and the vector's value at a column, rounded, is added to the row's sum, column by
    // column. Vectors are `step` floats apart.
    void (*projectGroup)(const float (*group)[kGroupRows], int columns, const float* vectors,
                         std::ptrdiff_t step, int count, float (*sums)[kGroupRows]);
};

// The kernels that this processor can run, the fastest first.
std::span<const Kernels* const> runnableKernels();

#endif

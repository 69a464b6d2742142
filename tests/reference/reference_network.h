// One of the 25 networks once more, in 64-bit floats and straight from the definition of its
// layers: four convolutions with rectifiers, three maximum pools, one layer that sees the last two
// stages. No unfolding, no BLAS, nothing shared with the library.
//
// The library computes in 32 bits and leaves the order of each dot product to the BLAS. How far it
// may stray is computed beside the values. Let u = 2^-24, gamma(n) = n u / (1 - n u), and let e be
// the bound of an input x, so that the library's input lies within x - e and x + e:
//
//   dot product      sum |w| e + gamma(n) sum |w| (|x| + e) + n 2^-149, for n terms in any order,
//                    fused or not; the last summand covers products that underflow
//   adding a bias    + u (|y| + bound so far), y being the exact sum
//   adding to y      the earlier result is one more term, of weight 1, of the second dot product
//   rectifier        e where x > 0, else max(0, x + e); its own operation is exact
//   maximum          the largest e in the window
//
// The rounding of this 64-bit calculation counts as well: gamma of 2^-53 is added to gamma of
// 2^-24, and each bound is made larger by 2^-30 of itself for the rounding of its own sums.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_NETWORK_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_NETWORK_H

#include <string>
#include <vector>

struct ReferenceWeights {
    int rows = 0;
    int cols = 0;
    std::vector<float> values;  // as in the file, row by row
};

struct ReferenceNetwork {
    int channels = 0;  // planes of the patch
    int side = 0;      // of the patch
    ReferenceWeights
        filters[4];  // conv1, conv2, local3, local4: a row an element, a column a filter
    ReferenceWeights biases[4];   // a row a filter
    ReferenceWeights fromLocal4;  // a row an input value, a column an output
    ReferenceWeights fromPool3;
    ReferenceWeights outputBiases;  // one row
};

// Reads the 11 files of network `number`, counted from 1, from `folder`, which ends in a separator.
// Throws where a file is missing or has another shape than the network needs.
ReferenceNetwork readReferenceNetwork(const std::string& folder, int number);

struct ReferenceOutput {
    std::vector<double> values;  // 2 x 160
    std::vector<double> bounds;  // 2 x 160, absolute
    double largestSum = 0;       // the largest sum |w| |x| + |bias| of all dot products
    long rectified = 0;          // how many values the rectifiers replaced by 0
};

// `patch` holds two rows of channels x side x side floats.
ReferenceOutput runReferenceNetwork(const ReferenceNetwork& network, const float* patch);

#endif

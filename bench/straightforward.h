// The straightforward extraction: the tests' reference twins for patches and arithmetic, and one
// plain loop for each step of a network, with the same BLAS.
#ifndef ZOMU_BENCH_STRAIGHTFORWARD_H
#define ZOMU_BENCH_STRAIGHTFORWARD_H

#include <cstdint>
#include <string>
#include <vector>

#include "matrix/matrix.h"
#include "patches/sampling.h"
#include "zomu.h"

// One column for each position of a k x k filter with stride 1, element by element.
void plainUnfold(const float* image, int channels, int height, int width, int k, float* P);

// One bias for each row of T (filters x modules), module by module.
void plainBias(const Matrix& biases, Matrix& T);

void plainRelu(float* values, std::int64_t count);

// Max pooling over 2 x 2 with stride 2, on square planes.
void plainMaxPool(const float* images, int rows, int planes, int side, float* target);

void plainGrey(const std::uint8_t* image, int width, int height, int stride, std::uint8_t* grey);

// One of the 25 networks with the weights of its files.
class PlainNetwork {
  public:
    PlainNetwork(const std::string& folder, int number);

    // From a patch of two rows to 2 x 160 values.
    const std::vector<float>& run(const float* patch);

  private:
    struct Convolution {
        Matrix filters;  // a row for each filter
        Matrix biases;
        int channels, k;
    };

    std::vector<float> convolve(const Convolution& layer, const std::vector<float>& images,
                                int side) const;

    int side;
    int channels;
    std::vector<Convolution> convolutions;
    Matrix fromLocal4, fromPool3, outputBiases;
    std::vector<float> output;
};

// All networks, and the rows of both projections as their files hold them. The model tables must
// have been loaded.
struct PlainModel {
    explicit PlainModel(const std::string& folder);

    std::vector<PlainNetwork> networks;
    std::vector<float> a, b;
};

// The whole extraction, on one thread.
void plainExtract(PlainModel& model, const SourceImage& image, const LandmarkRecord& landmarks,
                  FaceTemplate& templateOut);

#endif

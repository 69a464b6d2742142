#include "layers/norm_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

float narrow(double x) {
    return static_cast<float>(x);
}

std::vector<float> normed(const Matrix& images, const CrossMapNorm& norm) {
    Matrix target;
    crossMapNormForward(images, target, norm);
    return valuesOf(target);
}

// Up to three rows of any column count, so that some columns often lie behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(1, 7) + random.between(0, channels - 1);
    Matrix images(rows, cols);
    std::generate_n(images.data, images.numElements,
                    [&] { return random.oneIn(60) ? random.anyFloat() : random.uniform(-3, 3); });
    return images;
}

CrossMapNorm randomNorm(Random& random) {
    CrossMapNorm norm;
    norm.channels = random.between(1, 9);
    norm.sizeX = random.between(-1, 12);
    norm.scale = random.uniform(-0.25F, 2.0F);
    norm.pow = random.uniform(-1.5F, 1.5F);
    return norm;
}

// One row, worked out by hand. Where the power is -1 and the scale the size, the result is v x (1 +
// sum of squares): exact for small whole numbers, and squares 1, 4, 16, ... tell which planes a sum
// has met.
struct NormedRow {
    const char* what;
    CrossMapNorm norm;  // channels, sizeX, scale, pow
    std::vector<float> row, expected;
};

constexpr float kThird = 1.0F / 3;

const NormedRow kNormedRows[] = {
    {"size 4: c - 2 to c + 1", {4, 4, 4, -1}, {1, 2, 4, 8}, {1 * 6, 2 * 22, 4 * 86, 8 * 85}},
    {"size 0: 0 by 0", {2, 0, 2, 0.75F}, {1, 0}, {kNaN, kNaN}},
    {"size 0, but NaN to the power 0 is 1", {2, 0, 2, 0}, {5, -3}, {5, -3}},
    {"size -1: no planes", {2, -1, 2, 1}, {5, -3}, {5, -3}},
    {"at the borders, too: 1 + 6 / 3 x 2", {3, 3, 6, -1}, {1, 1, 1}, {5, 7, 5}},
    {"zeros, times", {4, 3, 2, -0.75F}, {0, 0, -0.0F, 0}, {0, 0, -0.0F, 0}},
    {"power 0", {1, 1, 1, 0}, {2}, {2}},
    {"-2 to the power -0.5", {1, 1, -kThird, 0.5F}, {3}, {kNaN}},
    {"0 to the power -0.5", {1, 1, -1, 0.5F}, {-1}, {-kInf}},
    {"0 to the power 0.5", {1, 1, -1, -0.5F}, {-1}, {-0.0F}},
    {"NaN to the power 0", {4, 2, 2, 0}, {kNaN, 1, 1, 1}, {kNaN, 1, 1, 1}},
    {"infinity", {4, 2, 2, 1}, {kInf, 1, 1, 1}, {kNaN, 0, narrow(1.0 / 3), narrow(1.0 / 3)}},
    {"scale 0", {3, 3, 0, 0.75F}, {0.1F, 0x1p-149F, -1e19F}, {0.1F, 0x1p-149F, -1e19F}},
    {"scale 0 and a sum that overflows", {3, 3, 0, 0.75F}, {2e19F, 1, 3}, {kNaN, kNaN, 3}},
    // Three planes of two positions; column 6 stands for the first position of a fourth.
    {"a column behind two positions",
     {3, 2, 2, -1},
     {1, 1, 2, 3, 4, 5, 7},
     {1 * 2, 1 * 2, 2 * 6, 3 * 11, 4 * 21, 5 * 35, 7 * 17}},
};

}  // namespace

TEST(CrossMapNorm, givesWhatWasWorkedOutByHand) {
    for (const NormedRow& row : kNormedRows) {
        EXPECT_TRUE(sameFloats(row.expected, normed(rowOf(row.row), row.norm))) << row.what;
    }
}

TEST(CrossMapNorm, equalsTheReferenceForManySizes) {
    Random random(21);
    Matrix target;
    for (int round = 0; round < 3000; ++round) {
        const CrossMapNorm norm = randomNorm(random);
        Matrix images = randomImages(random, norm.channels);
        crossMapNormForward(images, target, norm);
        ASSERT_EQ(target.numRows, images.numRows);
        ASSERT_EQ(target.numCols, images.numCols);
        ASSERT_TRUE(sameFloats(referenceNorm(norm, images), valuesOf(target))) << "round " << round;

        // In its own input it meets what it has already overwritten.
        Matrix shared = matrixOf(images.numRows, images.numCols, valuesOf(images));
        referenceNorm(norm, shared, shared);
        const float* storage = images.data;
        crossMapNormForward(images, images, norm);
        ASSERT_TRUE(sameFloats(valuesOf(shared), valuesOf(images))) << "round " << round;
        ASSERT_EQ(images.data, storage);
    }
}

TEST(CrossMapNorm, writesItsTargetAndNothingBesideIt) {
    const CrossMapNorm norm = {3, 4, 0.5F, 0.75F};
    const Matrix images = matrixOf(2, 10, Random(26).floats(20, -3, 3));
    GuardedBuffer<float> buffer(20, 1);
    Matrix target = Matrix::view(buffer.data(), 4, 5);  // as many elements
    crossMapNormForward(images, target, norm);
    EXPECT_TRUE(sameFloats(referenceNorm(norm, images), valuesOf(target)));
    EXPECT_TRUE(buffer.guardsIntact());
    EXPECT_EQ(target.data, buffer.data());
    EXPECT_EQ(target.numRows, 2);
}

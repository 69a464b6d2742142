#include "layers/norm_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

float narrow(double x) {
    return static_cast<float>(x);
}

double wide(float x) {
    return static_cast<double>(x);
}

// The two passes over arrays of rows x n, which may be one and the same.
void plainNorm(const float* images, float* target, std::int32_t rows, std::int32_t n,
               const CrossMapNorm& norm) {
    const std::int32_t pixels = n / norm.channels;
    const float alpha = norm.scale / static_cast<float>(norm.sizeX);
    for (std::int32_t r = 0; r < rows; ++r) {
        const float* src = images + r * n;
        float* dst = target + r * n;
        for (std::int32_t j = 0; j < n; ++j) {
            const std::int32_t c = j / pixels;
            const std::int32_t p = j % pixels;
            const std::int32_t unclipped = c - norm.sizeX / 2;
            dst[j] = 0.0F;
            for (std::int32_t k = unclipped; k < unclipped + norm.sizeX; ++k) {
                if (k >= 0 && k < norm.channels) {
                    const float v = src[k * pixels + p];
                    const float product = v * v;
                    dst[j] = product + dst[j];
                }
            }
        }
    }
    for (std::int32_t r = 0; r < rows; ++r) {
        const float* src = images + r * n;
        float* dst = target + r * n;
        for (std::int32_t j = 0; j < n; ++j) {
            const float product = alpha * dst[j];
            const float d = product + 1.0F;
            const float e = narrow(std::pow(wide(d), -wide(norm.pow)));
            dst[j] = e * src[j];
        }
    }
}

std::vector<float> plainNorm(const Matrix& images, const CrossMapNorm& norm) {
    std::vector<float> result(static_cast<std::size_t>(images.numElements));
    plainNorm(images.data, result.data(), images.numRows, images.numCols, norm);
    return result;
}

std::vector<float> normed(const Matrix& images, const CrossMapNorm& norm) {
    Matrix target;
    crossMapNormForward(images, target, norm);
    return valuesOf(target);
}

// One row of planes of one pixel each.
std::vector<float> normed(const std::vector<float>& planes, std::int32_t sizeX, float scale,
                          float pow) {
    const auto channels = static_cast<std::int32_t>(planes.size());
    return normed(matrixOf(1, channels, planes), {channels, sizeX, scale, pow});
}

// With this scale and power, v x (1 + sum of squares): exact in float for small whole numbers.
std::vector<float> timesOnePlusSum(const std::vector<float>& planes, std::int32_t sizeX) {
    return normed(planes, sizeX, static_cast<float>(sizeX), -1.0F);
}

// Up to three rows of any column count, so that some columns often lie behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(1, 7) + random.between(0, channels - 1);
    std::vector<float> values = random.floats(static_cast<std::size_t>(rows * cols), -3, 3);
    for (float& value : values) {
        if (random.oneIn(60)) {
            value = random.anyFloat();
        }
    }
    return matrixOf(rows, cols, values);
}

CrossMapNorm randomNorm(Random& random) {
    CrossMapNorm norm;
    norm.channels = random.between(1, 9);
    norm.sizeX = random.between(-1, 12);
    norm.scale = random.uniform(-0.25F, 2.0F);
    norm.pow = random.uniform(-1.5F, 1.5F);
    return norm;
}

// The second pass for one element: s is the sum of squares over the window, v the input. Each form
// leaves out one rounding or goes another way.
struct CarelessForm {
    const char* omission;
    float (*formula)(float s, float v, const CrossMapNorm& norm);
};

const CarelessForm kCarelessForms[] = {
    {"alpha in 64 bits",
     [](float s, float v, const CrossMapNorm& norm) {
         const float d = narrow(wide(norm.scale) / norm.sizeX * wide(s)) + 1.0F;
         return narrow(std::pow(wide(d), -wide(norm.pow))) * v;
     }},
    {"alpha divided last",
     [](float s, float v, const CrossMapNorm& norm) {
         const float d = norm.scale * s / static_cast<float>(norm.sizeX) + 1.0F;
         return narrow(std::pow(wide(d), -wide(norm.pow))) * v;
     }},
    {"d not rounded after the product",
     [](float s, float v, const CrossMapNorm& norm) {
         const float d = std::fma(norm.scale / static_cast<float>(norm.sizeX), s, 1.0F);
         return narrow(std::pow(wide(d), -wide(norm.pow))) * v;
     }},
    {"d not rounded after the sum",
     [](float s, float v, const CrossMapNorm& norm) {
         const float product = norm.scale / static_cast<float>(norm.sizeX) * s;
         return narrow(std::pow(wide(product) + 1.0, -wide(norm.pow))) * v;
     }},
    {"power not narrowed",
     [](float s, float v, const CrossMapNorm& norm) {
         const float d = norm.scale / static_cast<float>(norm.sizeX) * s + 1.0F;
         return narrow(std::pow(wide(d), -wide(norm.pow)) * wide(v));
     }},
    {"a division by the power",
     [](float s, float v, const CrossMapNorm& norm) {
         const float d = norm.scale / static_cast<float>(norm.sizeX) * s + 1.0F;
         return v / narrow(std::pow(wide(d), wide(norm.pow)));
     }},
};

// The same for a sum of squares over all planes.
struct CarelessSum {
    const char* omission;
    float (*sum)(const std::vector<float>& planes);
};

const CarelessSum kCarelessSums[] = {
    {"squares not rounded",
     [](const std::vector<float>& planes) {
         float sum = 0.0F;
         for (const float v : planes) {
             sum = std::fma(v, v, sum);
         }
         return sum;
     }},
    {"sum in 64 bits",
     [](const std::vector<float>& planes) {
         double sum = 0.0;
         for (const float v : planes) {
             sum += wide(v * v);
         }
         return narrow(sum);
     }},
    {"planes in descending order",
     [](const std::vector<float>& planes) {
         float sum = 0.0F;
         for (auto v = planes.rbegin(); v != planes.rend(); ++v) {
             sum = *v * *v + sum;
         }
         return sum;
     }},
};

}  // namespace

TEST(CrossMapNorm, equalsThePlainFormForManySizes) {
    Random random(21);
    Matrix target;
    for (int round = 0; round < 3000; ++round) {
        const CrossMapNorm norm = randomNorm(random);
        const Matrix images = randomImages(random, norm.channels);
        crossMapNormForward(images, target, norm);
        ASSERT_EQ(target.numRows, images.numRows);
        ASSERT_EQ(target.numCols, images.numCols);
        ASSERT_TRUE(sameFloats(plainNorm(images, norm), valuesOf(target)))
            << "round " << round << ": " << images.numRows << " x " << images.numCols
            << ", channels " << norm.channels << ", sizeX " << norm.sizeX << ", scale "
            << norm.scale << ", pow " << norm.pow;
    }
}

TEST(CrossMapNorm, ofSizeOneDividesByTheOwnSquare) {
    // 1 + 2 x 2^2 = 9 and 1 + 2 x 0 = 1, to the power -0.5.
    EXPECT_TRUE(sameFloats({narrow(1.0 / 3.0) * 2.0F, 0, narrow(1.0 / 3.0) * -2.0F},
                           normed({2, 0, -2}, 1, 2.0F, 0.5F)));
}

TEST(CrossMapNorm, ofOddSizeReachesAsFarUpAsDown) {
    // Squares 1, 4, 16, ... tell which planes a sum has met: c - 1 to c + 1.
    EXPECT_TRUE(sameFloats({1 * 6.0F, 2 * 22.0F, 4 * 85.0F, 8 * 337.0F, 16 * 1345.0F, 32 * 1281.0F},
                           timesOnePlusSum({1, 2, 4, 8, 16, 32}, 3)));
}

TEST(CrossMapNorm, ofEvenSizeReachesOnePlaneFurtherDownThanUp) {
    // c - 2 to c + 1, and c - 1 to c.
    EXPECT_TRUE(sameFloats({1 * 6.0F, 2 * 22.0F, 4 * 86.0F, 8 * 341.0F, 16 * 1361.0F, 32 * 1345.0F},
                           timesOnePlusSum({1, 2, 4, 8, 16, 32}, 4)));
    EXPECT_TRUE(sameFloats({1 * 2.0F, 2 * 6.0F, 4 * 21.0F, 8 * 81.0F, 16 * 321.0F, 32 * 1281.0F},
                           timesOnePlusSum({1, 2, 4, 8, 16, 32}, 2)));
}

TEST(CrossMapNorm, ofASizeAboveThePlanesMeetsAllThatExist) {
    EXPECT_TRUE(sameFloats({1 * 22.0F, 2 * 22.0F, 4 * 22.0F}, timesOnePlusSum({1, 2, 4}, 7)));
    // Size 4 still reaches only one plane up.
    EXPECT_TRUE(sameFloats({1 * 6.0F, 2 * 22.0F, 4 * 22.0F}, timesOnePlusSum({1, 2, 4}, 4)));
}

TEST(CrossMapNorm, ofSizeZeroDividesByZero) {
    EXPECT_TRUE(sameFloats({kNaN, kNaN}, normed({1, 0}, 0, 2.0F, 0.75F)));
    EXPECT_TRUE(sameFloats({5, -3}, normed({5, -3}, 0, 2.0F, 0.0F))) << "NaN to the power 0 is 1";
}

TEST(CrossMapNorm, dividesByItsSizeHoweverFewPlanesAreMet) {
    // 1 + (5 / 5) x 2^2.
    EXPECT_TRUE(sameFloats({2 * 5.0F}, normed({2}, 5, 5.0F, -1.0F)));
    // 1 + (6 / 3) x sum, at the borders and between them.
    EXPECT_TRUE(sameFloats({5, 7, 5}, normed({1, 1, 1}, 3, 6.0F, -1.0F)));
}

TEST(CrossMapNorm, sumsEachPositionByItself) {
    // Three planes of two positions: 1, 2, 4 at the first and 0, 3, 0 at the second.
    EXPECT_TRUE(sameFloats({1 * 6.0F, 0, 2 * 22.0F, 3 * 10.0F, 4 * 21.0F, 0},
                           normed(matrixOf(1, 6, {1, 0, 2, 3, 4, 0}), {3, 3, 3.0F, -1.0F})));
}

TEST(CrossMapNorm, keepsRowsApart) {
    Random random(22);
    const std::vector<float> values = random.floats(36, -3, 3);
    const CrossMapNorm norm = {4, 3, 0.5F, 0.75F};
    std::vector<float> oneByOne;
    for (std::ptrdiff_t row = 0; row < 3; ++row) {
        const auto begin = values.begin() + row * 12;
        for (const float value : normed(matrixOf(1, 12, {begin, begin + 12}), norm)) {
            oneByOne.push_back(value);
        }
    }
    EXPECT_TRUE(sameFloats(oneByOne, normed(matrixOf(3, 12, values), norm)));
}

TEST(CrossMapNorm, ofScaleZeroGivesTheInputExactly) {
    const std::vector<float> values = {0.1F, -0.0F, 0, 0x1p-149F, -1e19F, 3};
    for (const float pow : {-2.5F, 0.0F, 0.75F}) {
        EXPECT_TRUE(sameFloats(values, normed(values, 3, 0.0F, pow)));
    }
    // But a sum that overflows makes 0 x infinity of it.
    EXPECT_TRUE(sameFloats({kNaN, kNaN, 3}, normed({2e19F, 1, 3}, 3, 0.0F, 0.75F)));
}

TEST(CrossMapNorm, leavesZerosZero) {
    EXPECT_TRUE(sameFloats({0, 0, -0.0F, 0}, normed({0, 0, -0.0F, 0}, 3, 2.0F, 0.75F)));
    EXPECT_TRUE(sameFloats({0, 0, -0.0F, 0}, normed({0, 0, -0.0F, 0}, 3, 2.0F, -0.75F)));
}

TEST(CrossMapNorm, multipliesWhereThePowerIsNegative) {
    EXPECT_TRUE(sameFloats({2 * 5.0F}, normed({2}, 1, 1.0F, -1.0F)));
    EXPECT_TRUE(sameFloats({2 * 25.0F}, normed({2}, 1, 1.0F, -2.0F)));
    EXPECT_TRUE(sameFloats({2.0F}, normed({2}, 1, 1.0F, 0.0F)));
    EXPECT_TRUE(sameFloats({0.2F * 2.0F}, normed({2}, 1, 1.0F, 1.0F)));
}

TEST(CrossMapNorm, takesThePowerOfANegativeBaseAsTheLibraryDoes) {
    EXPECT_TRUE(sameFloats({0.25F * 3}, normed({3}, 1, -1.0F / 3, 2.0F)));  // -2 to the power -2
    EXPECT_TRUE(sameFloats({kNaN}, normed({3}, 1, -1.0F / 3, 0.5F)));
    EXPECT_TRUE(sameFloats({-kInfinity}, normed({-1}, 1, -1.0F, 0.5F)));  // 0 to the power -0.5
    EXPECT_TRUE(sameFloats({-0.0F}, normed({-1}, 1, -1.0F, -0.5F)));
}

TEST(CrossMapNorm, carriesNaNAndInfinityAsFarAsTheWindows) {
    EXPECT_TRUE(sameFloats({kNaN, kNaN, 3, 3}, normed({kNaN, 1, 1, 1}, 2, 2.0F, -1.0F)));
    EXPECT_TRUE(sameFloats({kNaN, 1, 1, 1}, normed({kNaN, 1, 1, 1}, 2, 2.0F, 0.0F)));
    EXPECT_TRUE(sameFloats({kNaN, 0, narrow(1.0 / 3.0), narrow(1.0 / 3.0)},
                           normed({kInfinity, 1, 1, 1}, 2, 2.0F, 1.0F)));
}

TEST(CrossMapNorm, takesColumnsBehindTheLastPlaneForFurtherPlanes) {
    // Four planes of one position, and columns 4, 5 and 6 behind them. From c - 1 to c + 1 column 4
    // still meets plane 3, the others meet none.
    EXPECT_TRUE(sameFloats({1 * 6.0F, 2 * 22.0F, 4 * 85.0F, 8 * 81.0F, 5 * 65.0F, 6, 7},
                           normed(matrixOf(1, 7, {1, 2, 4, 8, 5, 6, 7}), {4, 3, 3.0F, -1.0F})));
    // Three planes of two positions; column 6 stands for the first position of a fourth.
    EXPECT_TRUE(
        sameFloats({1 * 2.0F, 1 * 2.0F, 2 * 6.0F, 3 * 11.0F, 4 * 21.0F, 5 * 35.0F, 7 * 17.0F},
                   normed(matrixOf(1, 7, {1, 1, 2, 3, 4, 5, 7}), {3, 2, 2.0F, -1.0F})));
}

TEST(CrossMapNorm, ofItsOwnInputWorksOnWhatItHasAlreadyOverwritten) {
    // The first pass: 0 + 3^2 = 9, then 9^2 = 81 and 81 + 81^2 = 6642.
    Matrix shared = matrixOf(1, 2, {2, 3});
    crossMapNormForward(shared, shared, {2, 3, 3.0F, -1.0F});
    EXPECT_TRUE(sameFloats({10 * 9.0F, 6643.0F * 6642.0F}, valuesOf(shared)));
}

TEST(CrossMapNorm, ofItsOwnInputKeepsTheOrderOfThePlainForm) {
    Random random(23);
    for (int round = 0; round < 1000; ++round) {
        const CrossMapNorm norm = randomNorm(random);
        Matrix shared = randomImages(random, norm.channels);
        std::vector<float> expected = valuesOf(shared);
        plainNorm(expected.data(), expected.data(), shared.numRows, shared.numCols, norm);
        const float* storage = shared.data;
        crossMapNormForward(shared, shared, norm);
        ASSERT_TRUE(sameFloats(expected, valuesOf(shared))) << "round " << round;
        ASSERT_EQ(shared.data, storage);
    }
}

TEST(CrossMapNorm, roundsEveryStepOfASum) {
    for (const CarelessSum& careless : kCarelessSums) {
        Random random(24);
        bool isSeen = false;
        for (int round = 0; round < 100; ++round) {
            const std::vector<float> planes = random.floats(9, -3, 3);
            const float d = careless.sum(planes) + 1.0F;
            isSeen = isSeen || !sameBits(d * planes[0], timesOnePlusSum(planes, 17)[0]);
        }
        EXPECT_TRUE(isSeen) << careless.omission << " would not be seen";
    }
}

TEST(CrossMapNorm, roundsEveryStepThatFollowsTheSum) {
    const CrossMapNorm norm = {1, 3, 0.7F, 0.75F};
    const std::vector<float> values = Random(25).floats(1000, -3, 3);
    const std::vector<float> actual = normed(matrixOf(1, 1000, values), norm);
    for (const CarelessForm& careless : kCarelessForms) {
        std::vector<float> expected;
        for (const float v : values) {
            expected.push_back(careless.formula(v * v, v, norm));
        }
        EXPECT_FALSE(sameFloats(expected, actual)) << careless.omission << " would not be seen";
    }
}

TEST(CrossMapNorm, writesItsTargetAndNothingBesideIt) {
    const CrossMapNorm norm = {3, 4, 0.5F, 0.75F};
    const Matrix images = matrixOf(2, 10, Random(26).floats(20, -3, 3));
    GuardedBuffer<float> buffer(20, 1);
    Matrix target = Matrix::view(buffer.data(), 2, 10);
    crossMapNormForward(images, target, norm);
    const std::vector<float> expected = plainNorm(images, norm);
    EXPECT_TRUE(sameFloats(expected.data(), buffer.data(), buffer.count()));
    EXPECT_TRUE(buffer.guardsIntact());
}

TEST(CrossMapNorm, keepsTheStorageOfItsTarget) {
    const CrossMapNorm norm = {3, 3, 0.5F, 0.75F};
    Random random(27);
    const Matrix first = matrixOf(2, 6, random.floats(12, -3, 3));
    const Matrix second = matrixOf(2, 6, random.floats(12, -3, 3));
    Matrix target;
    crossMapNormForward(first, target, norm);
    EXPECT_EQ(target.numRows, 2);
    EXPECT_EQ(target.numCols, 6);
    EXPECT_EQ(target.trans, kRowMajor);
    const float* storage = target.data;
    const std::vector<float> expected = valuesOf(target);
    crossMapNormForward(second, target, norm);
    EXPECT_TRUE(sameFloats(plainNorm(second, norm), valuesOf(target)));
    crossMapNormForward(first, target, norm);
    EXPECT_TRUE(sameFloats(expected, valuesOf(target)));
    EXPECT_EQ(target.data, storage);
}

TEST(CrossMapNorm, ofNoRowsIsEmpty) {
    Matrix target = matrixOf(1, 2, {1, 2});
    crossMapNormForward(Matrix(0, 6), target, {3, 3, 1.0F, 1.0F});
    EXPECT_EQ(target.numRows, 0);
    EXPECT_EQ(target.numCols, 6);
    EXPECT_EQ(target.numElements, 0);
}

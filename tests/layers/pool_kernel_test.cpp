#include "layers/pool_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
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
const float kLowest = std::bit_cast<float>(0xFF167699U);

using PoolKernel = void (*)(const Matrix&, Matrix&, const PoolGeometry&);

// What a window holds, in the order of its rows, and the number that the average divides by.
struct PlainWindow {
    std::vector<float> values;
    std::int32_t count = 0;
};

std::int32_t sideOf(std::int32_t pixels) {
    std::int32_t side = 0;
    while ((side + 1) * (side + 1) <= pixels) {
        ++side;
    }
    return side;
}

// The window of column j of row n: every pixel of the plane is asked whether it lies inside.
PlainWindow plainWindow(const Matrix& images, const PoolGeometry& g, std::int32_t n,
                        std::int32_t j) {
    const std::int32_t pixels = images.numCols / g.channels;
    const std::int32_t side = sideOf(pixels);
    const std::int32_t plane = j / (g.outputsX * g.outputsX);
    const std::int32_t q = j % (g.outputsX * g.outputsX);
    const std::int32_t y0 = q / g.outputsX * g.stride + g.start;
    const std::int32_t x0 = q % g.outputsX * g.stride + g.start;
    PlainWindow window;
    for (std::int32_t y = 0; y < side; ++y) {
        for (std::int32_t x = 0; x < side; ++x) {
            if (y >= y0 && y < y0 + g.sizeX && x >= x0 && x < x0 + g.sizeX) {
                window.values.push_back(images.at(n, plane * pixels + y * side + x));
            }
        }
    }
    const std::int32_t height = std::min(side, y0 + g.sizeX) - std::max(y0, 0);
    const std::int32_t width = std::min(side, x0 + g.sizeX) - std::max(x0, 0);
    window.count = height * width;
    return window;
}

float plainMax(const PlainWindow& window) {
    float cell = kLowest;
    for (const float v : window.values) {
        if (v > cell) {
            cell = v;
        }
    }
    return cell;
}

float plainAverage(const PlainWindow& window) {
    float cell = 0.0F;
    for (const float v : window.values) {
        cell = cell + v;
    }
    return cell / static_cast<float>(window.count);
}

std::vector<float> plainPool(float (*fold)(const PlainWindow&), const Matrix& images,
                             const PoolGeometry& g) {
    std::vector<float> result;
    for (std::int32_t n = 0; n < images.numRows; ++n) {
        for (std::int32_t j = 0; j < g.outputsX * g.outputsX * g.channels; ++j) {
            result.push_back(fold(plainWindow(images, g, n, j)));
        }
    }
    return result;
}

Matrix counting(std::int32_t rows, std::int32_t cols) {
    Matrix matrix(rows, cols);
    for (std::int32_t i = 0; i < matrix.numElements; ++i) {
        matrix.data[i] = static_cast<float>(i);
    }
    return matrix;
}

std::vector<float> pooled(PoolKernel kernel, const Matrix& images, const PoolGeometry& g) {
    Matrix target;
    kernel(images, target, g);
    return valuesOf(target);
}

// A window of 2 x 2 that holds the whole plane.
float pooledTile(PoolKernel kernel, const std::vector<float>& values) {
    return pooled(kernel, matrixOf(1, 4, values), {1, 2, 0, 2, 1})[0];
}

PoolGeometry randomGeometry(Random& random) {
    PoolGeometry g;
    g.channels = random.between(1, 4);
    g.sizeX = random.between(0, 5);
    g.start = random.between(-4, 5);
    g.stride = random.between(0, 3);
    g.outputsX = random.between(0, 5);
    return g;
}

// Up to three rows; planes of any pixel count, and often some columns behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(0, 90) + random.between(0, channels - 1);
    std::vector<float> values = random.floats(static_cast<std::size_t>(rows * cols), -9, 9);
    for (float& value : values) {
        if (random.oneIn(100)) {
            value = random.anyFloat();
        }
    }
    return matrixOf(rows, cols, values);
}

void expectPlainPoolForManyGeometries(PoolKernel kernel, float (*fold)(const PlainWindow&)) {
    Random random(11);
    Matrix target;
    for (int round = 0; round < 2000; ++round) {
        const PoolGeometry g = randomGeometry(random);
        const Matrix images = randomImages(random, g.channels);
        kernel(images, target, g);
        ASSERT_EQ(target.numRows, images.numRows);
        ASSERT_EQ(target.numCols, g.outputsX * g.outputsX * g.channels);
        ASSERT_TRUE(sameFloats(plainPool(fold, images, g), valuesOf(target)))
            << "round " << round << ": " << images.numRows << " x " << images.numCols
            << ", channels " << g.channels << ", sizeX " << g.sizeX << ", start " << g.start
            << ", stride " << g.stride << ", outputsX " << g.outputsX;
    }
}

// A side that is no multiple of anything, more than one row and plane, columns to spare.
const PoolGeometry kCommon = {3, 3, -1, 2, 4};

void expectOwnRoomOnly(PoolKernel kernel, float (*fold)(const PlainWindow&)) {
    const Matrix images = counting(2, 3 * 50 + 2);
    GuardedBuffer<float> buffer(2 * 48, 1);
    Matrix target = Matrix::view(buffer.data(), 2, 48);
    kernel(images, target, kCommon);
    const std::vector<float> expected = plainPool(fold, images, kCommon);
    EXPECT_TRUE(sameFloats(expected.data(), buffer.data(), buffer.count()));
    EXPECT_TRUE(buffer.guardsIntact());
}

void expectStorageKept(PoolKernel kernel) {
    Matrix target;
    kernel(counting(2, 16), target, {1, 2, 0, 2, 2});
    EXPECT_EQ(target.trans, kRowMajor);
    const float* storage = target.data;
    std::fill_n(target.data, 8, 1000.0F);
    kernel(counting(2, 16), target, {1, 2, 0, 2, 2});
    EXPECT_EQ(target.data, storage);
    EXPECT_TRUE(sameFloats(pooled(kernel, counting(2, 16), {1, 2, 0, 2, 2}), valuesOf(target)));
    kernel(counting(1, 32), target, {2, 2, 0, 2, 2});
    EXPECT_EQ(target.data, storage);
    EXPECT_EQ(target.numRows, 1);
    EXPECT_EQ(target.numCols, 8);
}

}  // namespace

TEST(MaxPool, theStartValueIsMinusTwoTimesTenToThe38) {
    EXPECT_TRUE(sameFloat(kLowest, -2.0e38F));
}

TEST(MaxPool, takesTheGreatestOfEachTile) {
    EXPECT_TRUE(
        sameFloats({5, 7, 13, 15}, pooled(maxPoolForward, counting(1, 16), {1, 2, 0, 2, 2})));
}

TEST(MaxPool, cutsWindowsThatOverhang) {
    const Matrix images = counting(1, 36);
    EXPECT_TRUE(sameFloats({14, 16, 17, 26, 28, 29, 32, 34, 35},
                           pooled(maxPoolForward, images, {1, 3, 0, 2, 3})));
    EXPECT_TRUE(sameFloats({0, 3, 18, 21}, pooled(maxPoolForward, images, {1, 2, -1, 3, 2})));
}

TEST(MaxPool, leavesItsStartValueInAWindowOutsideThePlane) {
    const Matrix images = counting(1, 4);
    EXPECT_TRUE(sameFloats({3, kLowest, kLowest, kLowest},
                           pooled(maxPoolForward, images, {1, 2, 0, 2, 2})));
    EXPECT_TRUE(sameFloats({kLowest, kLowest, kLowest, 3},
                           pooled(maxPoolForward, images, {1, 2, -3, 3, 2})));
}

TEST(MaxPool, leavesItsStartValueWhereNothingIsAboveIt) {
    EXPECT_TRUE(
        sameFloat(kLowest, pooledTile(maxPoolForward, {-2.5e38F, -kInfinity, kNaN, -2.0e38F})));
    const float above = std::nextafter(kLowest, 0.0F);
    EXPECT_TRUE(
        sameFloat(above, pooledTile(maxPoolForward, {-2.5e38F, -kInfinity, above, -2.0e38F})));
}

TEST(MaxPool, neverTakesANaN) {
    EXPECT_TRUE(sameFloat(1.0F, pooledTile(maxPoolForward, {kNaN, 1, kNaN, -1})));
    EXPECT_TRUE(sameFloat(kLowest, pooledTile(maxPoolForward, {kNaN, kNaN, kNaN, kNaN})));
    EXPECT_TRUE(sameFloat(kInfinity, pooledTile(maxPoolForward, {kNaN, 1, kInfinity, kNaN})));
}

TEST(MaxPool, keepsTheFirstOfEqualZeros) {
    EXPECT_TRUE(sameFloat(-0.0F, pooledTile(maxPoolForward, {-0.0F, 0.0F, 0.0F, 0.0F})));
    EXPECT_TRUE(sameFloat(0.0F, pooledTile(maxPoolForward, {0.0F, -0.0F, -0.0F, -0.0F})));
}

TEST(MaxPool, neverReadsBeyondItsWindows) {
    Matrix images = counting(1, 36);
    for (std::int32_t i = 0; i < 36; ++i) {
        if (i / 6 >= 4 || i % 6 >= 4) {
            images.data[i] = 1000;
        }
    }
    EXPECT_TRUE(sameFloats({7, 9, 19, 21}, pooled(maxPoolForward, images, {1, 2, 0, 2, 2})));
}

TEST(MaxPool, equalsThePlainFormForManyGeometries) {
    expectPlainPoolForManyGeometries(maxPoolForward, plainMax);
}

TEST(MaxPool, writesItsTargetAndNothingBesideIt) {
    expectOwnRoomOnly(maxPoolForward, plainMax);
}

TEST(MaxPool, keepsItsStorageFromCallToCall) {
    expectStorageKept(maxPoolForward);
}

TEST(MaxPool, hasLostItsInputWhereThatIsItsTarget) {
    Matrix shared = counting(2, 18);
    maxPoolForward(shared, shared, {2, 1, 0, 1, 3});
    EXPECT_TRUE(sameFloats(std::vector<float>(36, kLowest), valuesOf(shared)));
}

TEST(AvgPool, takesTheMeanOfEachTile) {
    EXPECT_TRUE(sameFloats({2.5F, 4.5F, 10.5F, 12.5F},
                           pooled(avgPoolForward, counting(1, 16), {1, 2, 0, 2, 2})));
}

TEST(AvgPool, dividesByWhatACutWindowHolds) {
    // Windows of 9 values, of 6 at the right and lower edges, of 4 in the corner.
    const PoolGeometry overhanging = {1, 3, 0, 2, 3};
    const Matrix ones = matrixOf(1, 36, std::vector<float>(36, 1.0F));
    EXPECT_TRUE(sameFloats(std::vector<float>(9, 1.0F), pooled(avgPoolForward, ones, overhanging)));
    const Matrix images = counting(1, 36);
    EXPECT_TRUE(sameFloats({7, 9, 10.5F, 19, 21, 22.5F, 28, 30, 31.5F},
                           pooled(avgPoolForward, images, overhanging)));
    // Cut on the upper and left sides: of 1, 2, 2 and 4 values.
    EXPECT_TRUE(sameFloats({0, 2.5F, 15, 17.5F}, pooled(avgPoolForward, images, {1, 2, -1, 3, 2})));
}

TEST(AvgPool, sumsRowByRowInFloat) {
    // 1e8 swallows the first 1 and is gone before the second. By columns, from the end, in pairs
    // or in 64 bits the sum would be 2, 0, 0 or 2.
    EXPECT_TRUE(sameFloat(0.25F, pooledTile(avgPoolForward, {1e8F, 1, -1e8F, 1})));
    // Past the largest float on the way.
    EXPECT_TRUE(sameFloat(kInfinity, pooledTile(avgPoolForward, {3e38F, 3e38F, -3e38F, -3e38F})));
}

TEST(AvgPool, dividesOnceAtTheEnd) {
    const Matrix images = matrixOf(1, 9, {10, 7, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(sameFloats({17.0F / 9.0F}, pooled(avgPoolForward, images, {1, 3, 0, 1, 1})));
    EXPECT_FALSE(sameBits(17.0F / 9.0F, 17.0F * (1.0F / 9.0F))) << "a reciprocal would not be seen";
    EXPECT_FALSE(sameBits(17.0F / 9.0F, 10.0F / 9.0F + 7.0F / 9.0F)) << "nor a division of each";
}

TEST(AvgPool, startsAtPlusZero) {
    EXPECT_TRUE(sameFloat(0.0F, pooledTile(avgPoolForward, {-0.0F, -0.0F, -0.0F, -0.0F})));
}

TEST(AvgPool, ofAWindowOutsideThePlaneIsZeroByItsCount) {
    const Matrix images = counting(1, 4);
    // Just outside: a side of 0.
    EXPECT_TRUE(
        sameFloats({1.5F, kNaN, kNaN, kNaN}, pooled(avgPoolForward, images, {1, 2, 0, 2, 2})));
    EXPECT_TRUE(
        sameFloats({kNaN, kNaN, kNaN, 1.5F}, pooled(avgPoolForward, images, {1, 2, -2, 2, 2})));
    // Farther off: a side of -1, once or twice.
    EXPECT_TRUE(
        sameFloats({1.5F, -0.0F, -0.0F, 0}, pooled(avgPoolForward, images, {1, 2, 0, 3, 2})));
    EXPECT_TRUE(
        sameFloats({0, -0.0F, -0.0F, 1.5F}, pooled(avgPoolForward, images, {1, 2, -3, 3, 2})));
}

TEST(AvgPool, carriesNaNAndInfinityInTheirOwnWindowsOnly) {
    const Matrix images = matrixOf(1, 16,
                                   {kNaN, 1, kInfinity, 1,  //
                                    1, 1, 1, 1,             //
                                    1, 2, kInfinity, 1,     //
                                    3, 4, 1, -kInfinity});
    EXPECT_TRUE(
        sameFloats({kNaN, kInfinity, 2.5F, kNaN}, pooled(avgPoolForward, images, {1, 2, 0, 2, 2})));
}

TEST(AvgPool, neverReadsBeyondItsWindows) {
    Matrix images = counting(1, 36);
    for (std::int32_t i = 0; i < 36; ++i) {
        if (i / 6 >= 4 || i % 6 >= 4) {
            images.data[i] = kNaN;
        }
    }
    EXPECT_TRUE(
        sameFloats({3.5F, 5.5F, 15.5F, 17.5F}, pooled(avgPoolForward, images, {1, 2, 0, 2, 2})));
}

TEST(AvgPool, takesPlanesForSquareAndLeavesTheRestOut) {
    // Two planes of 6 pixels, whose side is 2, and one column behind them, in two rows.
    const Matrix images = counting(2, 13);
    EXPECT_TRUE(
        sameFloats({1.5F, 7.5F, 14.5F, 20.5F}, pooled(avgPoolForward, images, {2, 2, 0, 1, 1})));
}

TEST(AvgPool, equalsThePlainFormForManyGeometries) {
    expectPlainPoolForManyGeometries(avgPoolForward, plainAverage);
}

TEST(AvgPool, writesItsTargetAndNothingBesideIt) {
    expectOwnRoomOnly(avgPoolForward, plainAverage);
}

TEST(AvgPool, keepsItsStorageFromCallToCall) {
    expectStorageKept(avgPoolForward);
}

TEST(AvgPool, hasLostItsInputWhereThatIsItsTarget) {
    Matrix shared = counting(2, 18);
    avgPoolForward(shared, shared, {2, 1, 0, 1, 3});
    EXPECT_TRUE(sameFloats(std::vector<float>(36, 0.0F), valuesOf(shared)));
}

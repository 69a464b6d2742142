#include "layers/pool_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

#include "layers/unusable_layer.h"
#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
const float kLow = std::bit_cast<float>(0xFF167699U);

struct PoolKind {
    ReferencePool kind;
    void (*forward)(const Matrix&, Matrix&, const PoolGeometry&);
    float ofNothing;  // what a target is filled with before it is folded
};

const PoolKind kMax = {ReferencePool::Max, maxPoolForward, kLow};
const PoolKind kAvg = {ReferencePool::Avg, avgPoolForward, 0.0F};
const PoolKind kKinds[] = {kMax, kAvg};

std::vector<float> pooled(const PoolKind& pool, const Matrix& images, const PoolGeometry& g) {
    Matrix target;
    pool.forward(images, target, g);
    return valuesOf(target);
}

Matrix counting(std::int32_t rows, std::int32_t cols) {
    Matrix matrix(rows, cols);
    std::iota(matrix.data, matrix.data + matrix.numElements, 0.0F);
    return matrix;
}

// Half of them have windows of 2 x 2 side by side, which have a path of their own in the library
// as long as none overhangs.
PoolGeometry randomGeometry(Random& random) {
    PoolGeometry g;
    const bool isTiles = random.oneIn(2);
    g.channels = random.between(1, 4);
    g.sizeX = isTiles ? 2 : random.between(0, 5);
    g.start = isTiles ? 0 : random.between(-4, 5);
    g.stride = isTiles ? 2 : random.between(-1, 3);
    g.outputsX = random.between(-3, 5);
    return g;
}

// Up to three rows; planes of any pixel count, and often some columns behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(0, 90) + random.between(0, channels - 1);
    Matrix images(rows, cols);
    std::generate_n(images.data, images.numElements,
                    [&] { return random.oneIn(100) ? random.anyFloat() : random.uniform(-9, 9); });
    return images;
}

struct PooledPlane {
    const char* what;
    PoolGeometry geometry;  // channels, sizeX, start, stride, outputsX
    std::vector<float> max, avg;
};

// Of one plane of 4 x 4 that counts from 0.
const PooledPlane kPooledPlanes[] = {
    {"cut on the right and below", {1, 3, 0, 2, 2}, {10, 11, 14, 15}, {5, 6.5F, 11, 12.5F}},
    {"cut on the left and above", {1, 2, -1, 3, 2}, {0, 3, 12, 15}, {0, 2.5F, 10, 12.5F}},
    {"-1 is one window, at the start", {1, 2, 1, 2, -1}, {10}, {7.5F}},
    // q / -2 is 0, 0, -1, -1 and q % -2 is 0, 1, 0, 1.
    {"-2 is four that go up", {1, 2, 1, 1, -2}, {10, 11, 6, 7}, {7.5F, 8.5F, 3.5F, 4.5F}},
    {"no extent", {1, 0, 1, 1, 1}, {kLow}, {kNaN}},
    {"the greatest size", {1, kMost, 0, 3, 2}, {15, 15, 15, 15}, {7.5F, 9, 13.5F, 15}},
    {"the least size", {1, kLeast, 0, 3, 2}, {kLow, kLow, kLow, kLow}, {0, 0, 0, 0}},
    {"the greatest start", {1, kMost, kMost, kMost, 2}, {kLow, kLow, kLow, kLow}, {0, 0, 0, 0}},
    {"the least start", {1, kMost, kLeast, 1, 1}, {kLow}, {0}},
    {"stepping in", {1, kMost, kLeast, kMost, 2}, {kLow, kLow, kLow, 15}, {0, -0.0F, -0.0F, 7.5F}},
    {"the least size from the least start", {1, kLeast, kLeast, 1, 1}, {kLow}, {0}},
    {"the least stride", {1, 2, 0, kLeast, 2}, {5, kLow, kLow, kLow}, {2.5F, -0.0F, -0.0F, 0}},
};

// Four values in one window.
struct PooledTile {
    const char* what;
    const PoolKind& pool;
    std::vector<float> values;
    float expected;
};

const float kAbove = std::nextafter(kLow, 0.0F);

const PooledTile kPooledTiles[] = {
    {"the start value, where nothing is above it", kMax, {-2.5e38F, -kInf, kNaN, -2.0e38F}, kLow},
    {"what is just above it", kMax, {-2.5e38F, -kInf, kAbove, -2.0e38F}, kAbove},
    {"never a NaN", kMax, {kNaN, 1, kNaN, -1}, 1},
    {"infinity", kMax, {kNaN, 1, kInf, kNaN}, kInf},
    {"the first of equal zeros: -0", kMax, {-0.0F, 0.0F, 0.0F, 0.0F}, -0.0F},
    {"the first of equal zeros: +0", kMax, {0.0F, -0.0F, -0.0F, -0.0F}, 0.0F},
    // 1e8 swallows the first 1 and is gone before the second. By columns, from the end, in pairs
    // or in 64 bits the sum would be 2, 0, 0 or 2.
    {"a sum row by row in float", kAvg, {1e8F, 1, -1e8F, 1}, 0.25F},
    {"a sum past the largest float on the way", kAvg, {3e38F, 3e38F, -3e38F, -3e38F}, kInf},
    {"a sum from plus zero", kAvg, {-0.0F, -0.0F, -0.0F, -0.0F}, 0},
};

const std::pair<const char*, PoolGeometry> kUnusable[] = {
    {"no channels", {0, 2, 0, 2, 2}},
    {"negative channels", {-1, 2, 0, 2, 2}},
    {"the least channels", {kLeast, 2, 0, 2, 2}},
    {"46341 x 46341 windows, more than can be counted", {1, 2, 0, 2, 46341}},
    {"65536 x 65536 windows, which are 0 in 32 bits", {1, 2, 0, 2, 65536}},
    {"2^31 x 2^31 windows", {1, 2, 0, 2, kLeast}},
    {"4 x 2^29 columns, more than can be counted", {1 << 29, 2, 0, 2, -2}},
    {"4 x 2^30 columns, which are 0 in 32 bits", {1 << 30, 2, 0, 2, 2}},
};

}  // namespace

TEST(Pool, givesWhatWasWorkedOutByHand) {
    for (const PooledPlane& plane : kPooledPlanes) {
        EXPECT_TRUE(sameFloats(plane.max, pooled(kMax, counting(1, 16), plane.geometry)))
            << plane.what;
        EXPECT_TRUE(sameFloats(plane.avg, pooled(kAvg, counting(1, 16), plane.geometry)))
            << plane.what;
    }
    for (const auto& [what, pool, values, expected] : kPooledTiles) {
        EXPECT_TRUE(sameFloats({expected}, pooled(pool, rowOf(values), {1, 2, 0, 2, 1}))) << what;
    }
}

TEST(Pool, equalsTheReferenceForManyGeometries) {
    for (const PoolKind& pool : kKinds) {
        Random random(11);
        Matrix target;
        for (int round = 0; round < 3000; ++round) {
            const PoolGeometry g = randomGeometry(random);
            const Matrix images = randomImages(random, g.channels);
            pool.forward(images, target, g);
            ASSERT_EQ(target.numRows, images.numRows);
            ASSERT_EQ(target.numCols, g.outputsX * g.outputsX * g.channels);
            ASSERT_TRUE(sameFloats(referencePool(pool.kind, g, images), valuesOf(target)))
                << "round " << round;
        }
    }
}

TEST(Pool, writesItsTargetAndNothingBesideIt) {
    // More than one row and plane, columns to spare; then tiles.
    for (const PoolGeometry& g : {PoolGeometry{3, 3, -1, 2, 4}, PoolGeometry{3, 2, 0, 2, 3}}) {
        const Matrix images = counting(2, 3 * 50 + 2);
        const std::int32_t columns = 3 * g.outputsX * g.outputsX;
        for (const PoolKind& pool : kKinds) {
            GuardedBuffer<float> buffer(static_cast<std::size_t>(2 * columns), 1);
            Matrix target = Matrix::view(buffer.data(), columns, 2);  // as many elements
            pool.forward(images, target, g);
            EXPECT_TRUE(sameFloats(referencePool(pool.kind, g, images), valuesOf(target)));
            EXPECT_TRUE(buffer.guardsIntact());
            EXPECT_EQ(target.data, buffer.data());
            EXPECT_EQ(target.numRows, 2);
        }
    }
}

TEST(Pool, hasLostItsInputWhereThatIsItsTargetAndStaysAsLarge) {
    // Nine windows in a plane of nine pixels; the last column of 19 is none of a plane.
    for (const PoolKind& pool : kKinds) {
        for (const std::int32_t cols : {18, 19}) {
            Matrix shared = counting(2, cols);
            pool.forward(shared, shared, {2, 1, 0, 1, 3});
            EXPECT_TRUE(sameFloats(std::vector<float>(36, pool.ofNothing), valuesOf(shared)));
            pool.forward(shared, shared, {2, 1, 0, 1, -3});
            EXPECT_EQ(shared.numCols, 18);
            pool.forward(shared, shared, {2, 3, 0, 1, 4});
            EXPECT_EQ(shared.numCols, 32);
            EXPECT_EQ(shared.data[0], pool.ofNothing);
        }
    }
}

TEST(Pool, isRefusedInItsOwnInputWhereThatWouldShrink) {
    for (const PoolKind& pool : kKinds) {
        for (const PoolGeometry& g : {PoolGeometry{1, 2, 0, 2, 2}, PoolGeometry{1, 1, 0, 1, 3},
                                      PoolGeometry{2, 2, 0, 1, -2}, PoolGeometry{1, 2, 0, 2, 0}}) {
            Matrix shared = counting(1, 16);
            EXPECT_THROW(pool.forward(shared, shared, g), UnusableLayer);
            EXPECT_TRUE(sameFloats(valuesOf(counting(1, 16)), valuesOf(shared))) << "untouched";
        }
    }
}

TEST(Pool, isRefusedWhereItsNumbersGiveNoShape) {
    for (const PoolKind& pool : kKinds) {
        for (const auto& [what, geometry] : kUnusable) {
            Matrix target = rowOf({1, 2, 3});
            EXPECT_THROW(pool.forward(Matrix(0, 16), target, geometry), UnusableLayer) << what;
            EXPECT_TRUE(sameFloats({1, 2, 3}, valuesOf(target))) << what;
        }
    }
}

TEST(Pool, takesAsManyColumnsAsCanBeCounted) {
    // No rows of them, so that they take no room.
    for (const PoolKind& pool : kKinds) {
        Matrix target;
        pool.forward(Matrix(0, 16), target, {1, 2, 0, 2, 46340});
        EXPECT_EQ(target.numCols, 46340 * 46340);
        pool.forward(Matrix(0, 16), target, {kMost, 2, 0, 2, 1});
        EXPECT_EQ(target.numCols, kMost);
    }
}

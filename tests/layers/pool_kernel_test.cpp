#include "layers/pool_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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
constexpr float kLow = -2.0e38F;

struct PoolKind {
    ReferencePool kind;
    void (*forward)(const Matrix&, Matrix&, const PoolGeometry&);
    float ofNothing;  // what a target is filled with before it is folded
};

const PoolKind kKinds[] = {{ReferencePool::Max, maxPoolForward, kLow},
                           {ReferencePool::Avg, avgPoolForward, 0.0F}};

Matrix counting(std::int32_t rows, std::int32_t cols) {
    Matrix matrix(rows, cols);
    std::iota(matrix.data, matrix.data + matrix.numElements, 0.0F);
    return matrix;
}

// Mostly one of few numbers, now and then one at an end of all numbers.
std::int32_t fewOrExtreme(Random& random, int low, int high) {
    if (random.oneIn(20)) {
        return random.oneIn(2) ? kMost : kLeast;
    }
    return random.between(low, high);
}

// Half of them have windows of 2 x 2 side by side, which have a path of their own in the library
// as long as none overhangs.
PoolGeometry randomGeometry(Random& random) {
    PoolGeometry g;
    const bool isTiles = random.oneIn(2);
    g.channels = random.between(1, 4);
    g.sizeX = isTiles ? 2 : fewOrExtreme(random, 0, 5);
    g.start = isTiles ? 0 : fewOrExtreme(random, -4, 5);
    g.stride = isTiles ? 2 : fewOrExtreme(random, -1, 3);
    g.outputsX = random.between(-3, 5);
    return g;
}

// What comparisons and sums may treat in a way of their own: both zeros, what lies around the start
// of a maximum, and sums that overflow or swallow a value.
const float kSpecial[] = {kNaN,     kInf,  -kInf,  0.0F, -0.0F, kLow, std::nextafter(kLow, 0.0F),
                          -2.5e38F, 3e38F, -3e38F, 1e8F, -1e8F};

// Up to three rows; planes of any pixel count, and often some columns behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(0, 90) + random.between(0, channels - 1);
    Matrix images(rows, cols);
    const int oneSpecialIn = random.oneIn(2) ? 2 : 50;
    std::generate_n(images.data, images.numElements, [&] {
        return random.oneIn(oneSpecialIn) ? random.oneOf(kSpecial) : random.uniform(-9, 9);
    });
    return images;
}

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

TEST(Pool, equalsTheReferenceForManyGeometriesAndWritesNothingBesideItsTarget) {
    for (const PoolKind& pool : kKinds) {
        Random random(11);
        Matrix target;
        for (int round = 0; round < 4000; ++round) {
            const PoolGeometry g = randomGeometry(random);
            const Matrix images = randomImages(random, g.channels);
            const std::vector<float> expected = referencePool(pool.kind, g, images);
            pool.forward(images, target, g);
            ASSERT_EQ(target.numRows, images.numRows);
            ASSERT_EQ(target.numCols, g.outputsX * g.outputsX * g.channels);
            ASSERT_TRUE(sameFloats(expected, valuesOf(target))) << "round " << round;

            // A target of as many elements keeps its storage.
            GuardedBuffer<float> buffer(expected.size(), 1);
            Matrix inBuffer = Matrix::view(buffer.data(), target.numCols, target.numRows);
            pool.forward(images, inBuffer, g);
            ASSERT_TRUE(sameFloats(expected.data(), buffer.data(), expected.size()));
            ASSERT_TRUE(buffer.guardsIntact()) << "round " << round;
            ASSERT_EQ(inBuffer.numRows, images.numRows);
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

#include "layers/conv_kernel.h"

#include <gtest/gtest.h>

#include <limits>

#include "layers/random_filters.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"

namespace {

// One module: a filter of one element on one pixel of each plane.
const FilterGeometry kOnePixel = {1, 1, 1, 1, 0, 1};
const FilterGeometry kTwoPlanes = {2, 1, 1, 1, 0, 1};
// A 2 x 2 filter that covers the image.
const FilterGeometry kOneModule = {1, 2, 1, 1, 0, 1};

void convolve(const Matrix& images, const Matrix& filters, const Matrix& biases, Matrix& target,
              const FilterGeometry& geometry, float targetScale = 0.0F, float outputScale = 1.0F) {
    convForward(images, filters, biases, target,
                filterShape(geometry, images.numCols, filters.numCols), targetScale, outputScale);
}

std::vector<float> unfolded(const std::vector<float>& image, const FilterGeometry& geometry,
                            std::int32_t filterCols) {
    const auto imageCols = static_cast<std::int32_t>(image.size());
    const FilterShape shape = filterShape(geometry, imageCols, filterCols);
    GuardedBuffer<float> P(static_cast<std::size_t>(shape.channels * shape.filterPixels) *
                           static_cast<std::size_t>(shape.modules));
    unfoldPatches(image.data(), shape, P.data());
    EXPECT_TRUE(P.guardsIntact());
    return {P.data(), P.data() + P.count()};
}

}  // namespace

TEST(UnfoldPatches, putsZeroWhereTheFilterHangsOver) {
    EXPECT_TRUE(sameFloats({0, 0, 0, 0, 1, 2, 0, 3, 4,   // upper left element of the filter
                            0, 0, 0, 1, 2, 0, 3, 4, 0,   // upper right
                            0, 1, 2, 0, 3, 4, 0, 0, 0,   // lower left
                            1, 2, 0, 3, 4, 0, 0, 0, 0},  // lower right
                           unfolded({1, 2, 3, 4}, {1, 2, 3, 3, 1, 1}, 4)));
}

TEST(UnfoldPatches, leavesOutTheBordersOfAnImageWithNegativePadding) {
    EXPECT_TRUE(sameFloats(
        {6, 7, 10, 11},
        unfolded({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, {1, 4, 2, 2, -1, 1}, 1)));
}

TEST(UnfoldPatches, meetsTheImageBetweenTheGreatestPaddings) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    EXPECT_TRUE(sameFloats({0, 0, 0, 0, 5, 0, 0, 0, 0},
                           unfolded({5, 6, 7, 8}, {1, 2, 3, 3, kMost, kMost}, 1)));
}

TEST(ConvForward, equalsTheDefinitionForManyGeometries) {
    Random random(5);
    for (int round = 0; round < 400; ++round) {
        const ReferenceFilters c = randomFilters(random, 2);
        // Whole numbers small enough for every sum to be exact, whatever its order.
        const auto whole = [&] { return static_cast<float>(random.between(-9, 9)); };
        const Matrix images = filled(c.images, c.imageElements(), whole);
        const Matrix filters = filled(c.filters, c.filterElements(), whole);
        const Matrix biases = filled(c.filters, 1, whole);
        std::vector<float> expected =
            referenceFilterSums(c, ReferenceBank::Shared, images.data, filters.data);
        const auto modules = static_cast<std::size_t>(c.modules());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            expected[i] += biases.data[i / modules % static_cast<std::size_t>(c.filters)];
        }
        Matrix target;
        convolve(images, filters, biases, target, c.geometry());
        ASSERT_EQ(target.numRows, c.images);
        ASSERT_TRUE(sameFloats(expected, valuesOf(target))) << "round " << round;
    }
}

TEST(ConvForward, accumulatesWithoutABiasWhereTargetScaleIsNotZero) {
    const Matrix images = rowOf({1, 2, 3, 4});
    const Matrix filters = matrixOf(2, 4, {1, 1, 1, 1, 1, 0, 0, 0});
    const Matrix biases = matrixOf(2, 1, {100, 200});
    Matrix target = rowOf({1000, 2000});
    convolve(images, filters, biases, target, kOneModule, 1.0F);
    EXPECT_TRUE(sameFloats({1010, 2001}, valuesOf(target)));
    convolve(images, filters, biases, target, kOneModule, 1.0F, 2.0F);
    EXPECT_TRUE(sameFloats({1030, 2003}, valuesOf(target)));
    convolve(images, filters, biases, target, kOneModule, -1.0F);
    EXPECT_TRUE(sameFloats({-1020, -2002}, valuesOf(target)));
}

TEST(ConvForward, keepsTheRestOfTheRowsOfAKeptTarget) {
    Matrix target = matrixOf(2, 3, {10, 20, 30, 40, 50, 60});
    convolve(matrixOf(2, 1, {1, 2}), matrixOf(2, 1, {1, 2}), Matrix(), target, kOnePixel, 1.0F);
    EXPECT_TRUE(sameFloats({11, 22, 30, 42, 54, 60}, valuesOf(target)));
}

TEST(ConvForward, readsFiltersByTheirStorageOrder) {
    Matrix target;  // rows 1 2 3 4 and 5 6 7 8 of the filters
    convolve(rowOf({1, 2, 3, 4}), matrixOf(2, 4, {1, 5, 2, 6, 3, 7, 4, 8}, kTransposed),
             matrixOf(2, 1, {0, 0}), target, kOneModule);
    EXPECT_TRUE(sameFloats({30, 70}, valuesOf(target)));
}

TEST(ConvForward, addsTheBiasAsARoundingOfItsOwn) {
    // 2^24 + 1 rounds to 2^24, and adding 1 once more rounds there again; one sum of all three
    // would give 2^24 + 2.
    Matrix target;
    convolve(rowOf({0x1p24F, 1}), matrixOf(2, 2, {1, 1, 1, 1}), matrixOf(2, 1, {1, 1}), target,
             kTwoPlanes);
    EXPECT_TRUE(sameFloats({0x1p24F, 0x1p24F}, valuesOf(target)));
}

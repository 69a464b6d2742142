#include "layers/conv_kernel.h"

#include <gtest/gtest.h>

#include <limits>

#include "layers/random_filters.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"

namespace {

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

TEST(UnfoldPatches, putsZeroWhereTheFilterHangsOverAndLeavesOutTheBordersInNegativePadding) {
    EXPECT_TRUE(sameFloats({0, 0, 0, 0, 1, 2, 0, 3, 4,   // upper left element of the filter
                            0, 0, 0, 1, 2, 0, 3, 4, 0,   // upper right
                            0, 1, 2, 0, 3, 4, 0, 0, 0,   // lower left
                            1, 2, 0, 3, 4, 0, 0, 0, 0},  // lower right
                           unfolded({1, 2, 3, 4}, {1, 2, 3, 3, 1, 1}, 4)));
    EXPECT_TRUE(sameFloats(
        {6, 7, 10, 11},
        unfolded({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}, {1, 4, 2, 2, -1, 1}, 1)));
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    EXPECT_TRUE(sameFloats({0, 0, 0, 0, 5, 0, 0, 0, 0},
                           unfolded({5, 6, 7, 8}, {1, 2, 3, 3, kMost, kMost}, 1)));
}

TEST(ConvForward, equalsTheDefinitionForManyGeometriesScalesAndStorageOrders) {
    Random random(5);
    Matrix target;
    for (int round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        const ReferenceFilters c = randomFilters(random, 2);
        // Whole numbers small enough for every sum to be exact, whatever its order.
        const auto whole = [&] { return static_cast<float>(random.between(-9, 9)); };
        const Matrix images = filled(c.images, c.imageElements(), whole);
        const Matrix filters = filled(c.filters, c.filterElements(), whole);
        const Matrix biases = filled(c.filters, 1, whole);
        const std::vector<float> sums =
            referenceFilterSums(c, ReferenceBank::Shared, images.data, filters.data);
        const FilterShape shape = filterShape(c.geometry(), images.numCols, filters.numCols);

        std::vector<float> expected = sums;
        const auto modules = static_cast<std::size_t>(c.modules());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            expected[i] += biases.data[i / modules % static_cast<std::size_t>(c.filters)];
        }
        convForward(images, filters, biases, target, shape, 0.0F, 1.0F);
        ASSERT_EQ(target.numRows, c.images);
        ASSERT_TRUE(sameFloats(expected, valuesOf(target)));

        // Into a target that is kept, from filters that are stored by columns: without biases, and
        // the rest of its rows stays.
        const Matrix columns =
            matrixOf(c.filters, c.filterElements(), valuesOf(*filters.transpose()), kTransposed);
        const auto targetScale = static_cast<float>(random.oneIn(2) ? 1 : -1);
        const auto outputScale = static_cast<float>(random.between(1, 2));
        Matrix kept = filled(c.images, target.numCols + random.between(0, 2), whole);
        expected = valuesOf(kept);
        for (std::size_t i = 0; i < sums.size(); ++i) {
            const std::size_t cols = static_cast<std::size_t>(target.numCols);
            float& value = expected[i / cols * static_cast<std::size_t>(kept.numCols) + i % cols];
            value = value * targetScale + sums[i] * outputScale;
        }
        convForward(images, columns, biases, kept, shape, targetScale, outputScale);
        ASSERT_TRUE(sameFloats(expected, valuesOf(kept)));
    }
}

TEST(ConvForward, addsTheBiasAsARoundingOfItsOwn) {
    // 2^24 + 1 rounds to 2^24, and adding 1 once more rounds there again; one sum of all three
    // would give 2^24 + 2.
    Matrix target;
    convForward(rowOf({0x1p24F, 1}), matrixOf(2, 2, {1, 1, 1, 1}), matrixOf(2, 1, {1, 1}), target,
                filterShape({2, 1, 1, 1, 0, 1}, 2, 2), 0.0F, 1.0F);
    EXPECT_TRUE(sameFloats({0x1p24F, 0x1p24F}, valuesOf(target)));
}

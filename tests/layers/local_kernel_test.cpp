#include "layers/local_kernel.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

#include "layers/random_filters.h"
#include "support/bits.h"
#include "support/nets.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Four modules: 1 x 1 filters on 2 x 2 pixels of one plane.
const FilterShape kFourModules = filterShape({1, 2, 2, 2, 0, 1}, 4, 1);

const std::vector<float> kImage = {1, 2, 3, 4};

void expectDefinition(const ReferenceFilters& c, bool isAny, Random& random) {
    const auto make = [&] { return isAny ? random.anyFloat() : random.uniform(-2, 2); };
    const Matrix images = filled(c.images, c.imageElements(), make);
    const Matrix filters = filled(c.filters, c.modules() * c.filterElements(), make);
    Matrix biases = filled(c.filters * c.modules(), 1, make);
    const FilterShape shape = filterShape(c.geometry(), images.numCols, c.filterElements());
    std::vector<float> expected =
        referenceFilterSums(c, ReferenceBank::PerModule, images.data, filters.data);

    Matrix kept = filled(c.images, c.filters * c.modules(), make);
    localForward(images, filters, biases, kept, shape, 1.0F);
    ASSERT_TRUE(sameFloats(expected, valuesOf(kept))) << "without biases";

    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = expected[i] + biases.data[i % static_cast<std::size_t>(biases.numElements)];
    }
    Matrix target;
    localForward(images, filters, biases, target, shape, 0.0F);
    ASSERT_EQ(target.numRows, c.images);
    ASSERT_EQ(target.trans, kRowMajor);
    ASSERT_TRUE(sameFloats(expected, valuesOf(target))) << "with biases";
}

}  // namespace

TEST(LocalForward, equalsTheDefinitionForManyGeometriesAndAnyBitPattern) {
    Random random(41);
    for (int round = 0; round < 400 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        expectDefinition(randomFilters(random, 1), round % 2 == 0, random);
    }
}

TEST(LocalForward, countsThePaddingAsZerosOfTheFiltersSum) {
    // 1 x 1 pixels, padding 1: of the nine modules only the middle one meets the pixel. Sums begin
    // at +0, which 0 x -6 leaves.
    Matrix biases;
    Matrix target;
    localForward(rowOf({2}), rowOf({1, 2, 3, kInfinity, 5, -6, kNaN, 8, 9}), biases, target,
                 filterShape({1, 1, 3, 3, 1, 1}, 1, 1), 0.0F);
    EXPECT_TRUE(sameFloats({0, 0, 0, kNaN, 10, 0, kNaN, 0, 0}, valuesOf(target)));
}

TEST(LocalForward, readsBiasesByTheirStorageOrderAndAddsNothingForNone) {
    for (const std::int32_t trans : {kRowMajor, kTransposed}) {
        Matrix biases = trans == kRowMajor
                            ? matrixOf(8, 1, {10, 20, 30, 40, 50, 60, 70, 80})
                            : matrixOf(1, 8, {10, 50, 20, 60, 30, 70, 40, 80}, trans);
        Matrix target;
        localForward(rowOf(kImage), matrixOf(2, 4, std::vector<float>(8, 1)), biases, target,
                     kFourModules, 0.0F);
        EXPECT_TRUE(sameFloats({11, 22, 33, 44, 51, 62, 73, 84}, valuesOf(target))) << trans;
        EXPECT_EQ(biases.trans, trans);

        Matrix none;
        none.trans = trans;
        localForward(rowOf(kImage), rowOf({1, 1, 1, 1}), none, target, kFourModules, 0.0F);
        EXPECT_TRUE(sameFloats(kImage, valuesOf(target)));
        EXPECT_EQ(none.numElements, 0);
    }
}

TEST(LocalForward, overwritesWhatAFirstInputLeftAndAddsNoBiasForAnyScaleButZero) {
    for (const float targetScale : {1.0F, 0.5F, -1.0F, 0.0F, -0.0F}) {
        Matrix biases = matrixOf(4, 1, {100, 200, 300, 400});
        Matrix target = rowOf({1000, kNaN, 1000, kNaN});
        localForward(rowOf(kImage), rowOf({2, 2, 2, 2}), biases, target, kFourModules, targetScale);
        EXPECT_TRUE(sameFloats(targetScale == 0.0F ? std::vector<float>{102, 204, 306, 408}
                                                   : std::vector<float>{2, 4, 6, 8},
                               valuesOf(target)))
            << targetScale;
        EXPECT_EQ(biases.numRows, 1) << "the shape filters x modules";
        EXPECT_EQ(biases.numCols, 4);
        EXPECT_TRUE(sameFloats({100, 200, 300, 400}, valuesOf(biases)));
    }
}

TEST(LocalForward, keepsTheRestOfTheRowsOfAKeptTarget) {
    Matrix biases;
    Matrix target = matrixOf(2, 6, std::vector<float>(12, -1));
    localForward(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}), rowOf({1, 1, 1, 1}), biases, target,
                 kFourModules, 1.0F);
    EXPECT_EQ(target.numRows, 2);
    EXPECT_EQ(target.numCols, 6);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, -1, -1, 5, 6, 7, 8, -1, -1}, valuesOf(target)));
}

TEST(LocalForward, ofNoImagesHasNoRows) {
    Matrix biases;
    Matrix target(3, 6);
    localForward(Matrix(0, 4), rowOf({1, 1, 1, 1}), biases, target, kFourModules, 0.0F);
    EXPECT_EQ(target.numRows, 0);
    EXPECT_EQ(target.numCols, 4);
}

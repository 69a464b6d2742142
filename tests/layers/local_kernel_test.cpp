#include "layers/local_kernel.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>

#include "reference/reference_local.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

FilterGeometry geometryOf(const ReferenceLocal& c) {
    return {c.channels, c.height, c.outH(), c.outW(), c.padding, c.stride};
}

// One module: the filter covers the image, which has `planes` pixels, one a plane.
FilterGeometry onePixel(std::int32_t planes) {
    return {planes, 1, 1, 1, 0, 1};
}

// Four modules: 1 x 1 filters on 2 x 2 pixels of one plane.
const FilterGeometry kFourModules = {1, 2, 2, 2, 0, 1};

ReferenceLocal randomCase(Random& random) {
    ReferenceLocal c;
    c.images = random.between(1, 3);
    c.channels = random.between(1, 3);
    c.k = random.between(1, 4);
    c.padding = random.between(0, 2);
    c.stride = random.between(1, 3);
    c.height = random.between(c.k, 8);
    c.width = random.between(c.k, 8);
    c.filters = random.between(1, 4);
    return c;
}

// `count` numbers from `make`, as a matrix of `rows` rows.
template <typename Make>
Matrix filled(std::int32_t rows, std::int32_t cols, Make make) {
    Matrix matrix(rows, cols);
    for (std::int32_t i = 0; i < matrix.numElements; ++i) {
        matrix.data[i] = make();
    }
    return matrix;
}

template <typename Make>
void expectDefinition(const ReferenceLocal& c, Make make) {
    const Matrix images = filled(c.images, c.imageElements(), make);
    const Matrix filters = filled(c.filters, c.modules() * c.filterElements(), make);
    Matrix biases = filled(c.filters * c.modules(), 1, make);
    std::vector<float> expected = referenceLocalSums(c, images.data, filters.data);

    Matrix target;
    Matrix accumulated = filled(c.images, c.filters * c.modules(), make);
    localForward(images, filters, biases, accumulated, geometryOf(c), 1.0F);
    EXPECT_TRUE(sameFloats(expected, valuesOf(accumulated))) << "without biases";

    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = expected[i] + biases.data[i % static_cast<std::size_t>(biases.numElements)];
    }
    localForward(images, filters, biases, target, geometryOf(c), 0.0F);
    EXPECT_EQ(target.numRows, c.images);
    EXPECT_EQ(target.numCols, c.filters * c.modules());
    EXPECT_EQ(target.trans, kRowMajor);
    EXPECT_TRUE(sameFloats(expected, valuesOf(target))) << "with biases";
}

// The output for one image and one filter of as many planes as there are pixels, with no biases.
float sumOf(const std::vector<float>& pixels, const std::vector<float>& filter) {
    const auto planes = static_cast<std::int32_t>(pixels.size());
    Matrix biases;
    Matrix target;
    localForward(matrixOf(1, planes, pixels), matrixOf(1, planes, filter), biases, target,
                 onePixel(planes), 0.0F);
    return target.at(0, 0);
}

}  // namespace

TEST(LocalForward, equalsTheDefinitionForManyGeometries) {
    Random random(41);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        expectDefinition(randomCase(random), [&] { return random.uniform(-2, 2); });
        if (HasFailure()) {
            return;
        }
    }
}

TEST(LocalForward, equalsTheDefinitionForAnyBitPattern) {
    Random random(43);
    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(round);
        expectDefinition(randomCase(random), [&] { return random.anyFloat(); });
        if (HasFailure()) {
            return;
        }
    }
}

TEST(LocalForward, hasAFilterOfItsOwnForEachPosition) {
    Matrix biases;
    Matrix target;
    localForward(matrixOf(1, 4, {1, 2, 3, 4}), matrixOf(2, 4, {1, 10, 100, 1000, 5, 6, 7, 8}),
                 biases, target, kFourModules, 0.0F);
    EXPECT_TRUE(sameFloats({1, 20, 300, 4000, 5, 12, 21, 32}, valuesOf(target)));
}

TEST(LocalForward, sumsInTheOrderOfAFiltersElements) {
    // 2^24 + 1 is 2^24 again; 1 + 1 comes through.
    EXPECT_TRUE(sameFloat(0x1p24F, sumOf({0x1p24F, 1, 1}, {1, 1, 1})));
    EXPECT_TRUE(sameFloat(0x1p24F + 2, sumOf({1, 1, 0x1p24F}, {1, 1, 1})));
}

TEST(LocalForward, roundsEachProductBeforeItIsAdded) {
    // The product is 1 + 2^-11 + 2^-24, whose last bit a fused step would keep.
    constexpr float kFactor = 1 + 0x1p-12F;
    EXPECT_TRUE(sameFloat(0, sumOf({-(1 + 0x1p-11F), kFactor}, {1, kFactor})));
}

TEST(LocalForward, startsItsSumsAtPlusZero) {
    EXPECT_TRUE(sameFloat(0.0F, sumOf({-0.0F}, {1})));
}

TEST(LocalForward, countsThePaddingAsZerosOfTheFiltersSum) {
    // 1 x 1 pixels, padding 1: of the nine modules only the middle one meets the pixel.
    const ReferenceLocal c = {1, 1, 1, 1, 1, 1, 1, 1};
    Matrix biases;
    Matrix target;
    localForward(matrixOf(1, 1, {2}), matrixOf(1, 9, {1, 2, 3, kInfinity, 5, -6, kNaN, 8, 9}),
                 biases, target, geometryOf(c), 0.0F);
    EXPECT_TRUE(sameFloats({0, 0, 0, kNaN, 10, 0, kNaN, 0, 0}, valuesOf(target)));
}

TEST(LocalForward, addsABiasForEachFilterAndModuleFilterByFilter) {
    Matrix biases = matrixOf(8, 1, {100, 200, 300, 400, 500, 600, 700, 800});
    Matrix target;
    localForward(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}), matrixOf(2, 4, {1, 1, 1, 1, 2, 2, 2, 2}),
                 biases, target, kFourModules, 0.0F);
    EXPECT_TRUE(sameFloats({101, 202, 303, 404, 502, 604, 706, 808,  // first image
                            105, 206, 307, 408, 510, 612, 714, 816},
                           valuesOf(target)));
}

TEST(LocalForward, addsTheBiasAsARoundingOfItsOwn) {
    // 2^24 + 1 rounds to 2^24, and so does that with another 1; 1 + 1 first would come through.
    Matrix biases = matrixOf(1, 1, {1});
    Matrix target;
    localForward(matrixOf(1, 2, {0x1p24F, 1}), matrixOf(1, 2, {1, 1}), biases, target, onePixel(2),
                 0.0F);
    EXPECT_TRUE(sameFloats({0x1p24F}, valuesOf(target)));
}

TEST(LocalForward, givesTheBiasesTheirShapeAndKeepsTheirElements) {
    for (const float targetScale : {0.0F, 1.0F}) {
        Matrix biases = matrixOf(1, 8, {1, 2, 3, 4, 5, 6, 7, 8});
        const float* storage = biases.data;
        Matrix target(1, 8);
        localForward(matrixOf(1, 4, {0, 0, 0, 0}), matrixOf(2, 4, {1, 1, 1, 1, 1, 1, 1, 1}), biases,
                     target, kFourModules, targetScale);
        EXPECT_EQ(biases.numRows, 2);
        EXPECT_EQ(biases.numCols, 4);
        EXPECT_EQ(biases.numElements, 8);
        EXPECT_EQ(biases.data, storage);
        EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6, 7, 8}, valuesOf(biases)));
    }
}

TEST(LocalForward, readsTransposedBiasesByTheirStorageOrder) {
    Matrix biases = matrixOf(1, 8, {10, 50, 20, 60, 30, 70, 40, 80});  // module by module
    biases.trans = kTransposed;
    Matrix target;
    localForward(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}), matrixOf(2, 4, {1, 1, 1, 1, 1, 1, 1, 1}),
                 biases, target, kFourModules, 0.0F);
    EXPECT_TRUE(sameFloats({11, 22, 33, 44, 51, 62, 73, 84, 15, 26, 37, 48, 55, 66, 77, 88},
                           valuesOf(target)));
    EXPECT_EQ(biases.trans, kTransposed);
}

TEST(LocalForward, addsNothingForEmptyBiasesOfEitherStorageOrder) {
    for (const std::int32_t trans : {kRowMajor, kTransposed}) {
        Matrix biases;
        biases.trans = trans;
        Matrix target;
        localForward(matrixOf(1, 4, {1, 2, 3, 4}), matrixOf(1, 4, {1, 1, 1, 1}), biases, target,
                     kFourModules, 0.0F);
        EXPECT_TRUE(sameFloats({1, 2, 3, 4}, valuesOf(target)));
        EXPECT_EQ(biases.numRows, 1);
        EXPECT_EQ(biases.numCols, 4);
        EXPECT_EQ(biases.numElements, 0);
        EXPECT_EQ(biases.data, nullptr);
    }
}

TEST(LocalForward, overwritesWhatAFirstInputLeftAndAddsNoBias) {
    Matrix biases = matrixOf(4, 1, {100, 200, 300, 400});
    for (const float targetScale : {1.0F, 0.5F, -1.0F}) {
        for (const float former : {1000.0F, kNaN}) {
            Matrix target = matrixOf(1, 4, {former, former, former, former});
            localForward(matrixOf(1, 4, {1, 2, 3, 4}), matrixOf(1, 4, {2, 2, 2, 2}), biases, target,
                         kFourModules, targetScale);
            EXPECT_TRUE(sameFloats({2, 4, 6, 8}, valuesOf(target))) << targetScale;
        }
    }
}

TEST(LocalForward, takesMinusZeroForAFirstInput) {
    Matrix biases = matrixOf(4, 1, {100, 200, 300, 400});
    Matrix target;
    localForward(matrixOf(1, 4, {1, 2, 3, 4}), matrixOf(1, 4, {1, 1, 1, 1}), biases, target,
                 kFourModules, -0.0F);
    EXPECT_TRUE(sameFloats({101, 202, 303, 404}, valuesOf(target)));
}

TEST(LocalForward, leavesTheShapeOfTheTargetAloneForALaterInput) {
    // Rows of six: the last two values of each are none of this input's.
    Matrix biases;
    Matrix target = matrixOf(2, 6, std::vector<float>(12, -1));
    localForward(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}), matrixOf(1, 4, {1, 1, 1, 1}), biases,
                 target, kFourModules, 1.0F);
    EXPECT_EQ(target.numRows, 2);
    EXPECT_EQ(target.numCols, 6);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, -1, -1, 5, 6, 7, 8, -1, -1}, valuesOf(target)));
}

TEST(LocalForward, givesTheTargetItsShapeForAFirstInput) {
    Matrix biases;
    Matrix target = matrixOf(3, 6, std::vector<float>(18, kNaN));
    localForward(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}), matrixOf(1, 4, {1, 1, 1, 1}), biases,
                 target, kFourModules, 0.0F);
    EXPECT_EQ(target.numRows, 2);
    EXPECT_EQ(target.numCols, 4);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6, 7, 8}, valuesOf(target)));
}

TEST(LocalForward, writesIntoTheStorageOfATargetThatHasItsShape) {
    Matrix biases = matrixOf(4, 1, {100, 200, 300, 400});
    const Matrix images = matrixOf(1, 4, {1, 2, 3, 4});
    const Matrix filters = matrixOf(1, 4, {1, 1, 1, 1});
    std::vector<float> storage(4, kNaN);
    Matrix target = Matrix::view(storage.data(), 1, 4);
    localForward(images, filters, biases, target, kFourModules, 0.0F);
    EXPECT_EQ(target.data, storage.data());
    EXPECT_TRUE(sameFloats({101, 202, 303, 404}, storage));
}

TEST(LocalForward, ofNoImagesGivesNoRows) {
    Matrix biases = matrixOf(4, 1, {100, 200, 300, 400});
    Matrix target(1, 4);
    localForward(Matrix(0, 4), matrixOf(1, 4, {1, 1, 1, 1}), biases, target, kFourModules, 0.0F);
    EXPECT_EQ(target.numRows, 0);
    EXPECT_EQ(target.numCols, 4);
    EXPECT_EQ(target.numElements, 0);
}

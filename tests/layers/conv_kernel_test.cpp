#include "layers/conv_kernel.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

FilterGeometry geometryOf(std::int32_t channels, std::int32_t height, std::int32_t modulesY,
                          std::int32_t modulesX, std::int32_t padding, std::int32_t stride) {
    FilterGeometry geometry;
    geometry.channels = channels;
    geometry.height = height;
    geometry.modulesY = modulesY;
    geometry.modulesX = modulesX;
    geometry.padding = padding;
    geometry.stride = stride;
    return geometry;
}

// One output by the definition, with whole numbers small enough for every sum to be exact.
float plainOutput(const Matrix& images, const Matrix& filters, const FilterGeometry& g,
                  std::int32_t k, std::int32_t n, std::int32_t f, std::int32_t oy,
                  std::int32_t ox) {
    const std::int32_t width = images.numCols / g.channels / g.height;
    float sum = 0;
    for (std::int32_t plane = 0; plane < g.channels; ++plane) {
        for (std::int32_t dy = 0; dy < k; ++dy) {
            for (std::int32_t dx = 0; dx < k; ++dx) {
                const std::int32_t y = oy * g.stride - g.padding + dy;
                const std::int32_t x = ox * g.stride - g.padding + dx;
                if (y >= 0 && y < g.height && x >= 0 && x < width) {
                    sum += filters.at(f, (plane * k + dy) * k + dx) *
                           images.at(n, (plane * g.height + y) * width + x);
                }
            }
        }
    }
    return sum;
}

std::vector<float> wholeNumbers(Random& random, std::size_t count) {
    std::vector<float> values(count);
    for (float& value : values) {
        value = static_cast<float>(random.between(-9, 9));
    }
    return values;
}

}  // namespace

TEST(FilterShape, followsFromColumnsAndGeometry) {
    const FilterShape shape = filterShape(geometryOf(3, 55, 52, 52, 0, 1), 9075, 48);
    EXPECT_EQ(shape.width, 55);
    EXPECT_EQ(shape.filterPixels, 16);
    EXPECT_EQ(shape.k, 4);
    EXPECT_EQ(shape.outH, 52);
    EXPECT_EQ(shape.outW, 52);
    EXPECT_EQ(shape.modules, 2704);
}

TEST(UnfoldPatches, fillsNothingWithZeroWhereTheFilterStaysInside) {
    const FilterGeometry geometry = geometryOf(1, 55, 52, 52, 0, 1);
    const FilterShape shape = filterShape(geometry, 3025, 16);
    const std::vector<float> image(3025, 7);
    GuardedBuffer<float> P(16 * 2704);
    unfoldPatches(image.data(), geometry, shape, P.data());
    EXPECT_TRUE(sameFloats(std::vector<float>(16 * 2704, 7), {P.data(), P.data() + P.count()}));
    EXPECT_TRUE(P.guardsIntact());
}

TEST(UnfoldPatches, putsZeroWhereTheFilterHangsOver) {
    const FilterGeometry geometry = geometryOf(1, 2, 3, 3, 1, 1);
    const FilterShape shape = filterShape(geometry, 4, 4);
    const float image[4] = {1, 2, 3, 4};
    GuardedBuffer<float> P(4 * 9);
    unfoldPatches(image, geometry, shape, P.data());
    const std::vector<float> expected = {
        0, 0, 0, 0, 1, 2, 0, 3, 4,  // upper left element of the filter
        0, 0, 0, 1, 2, 0, 3, 4, 0,  // upper right
        0, 1, 2, 0, 3, 4, 0, 0, 0,  // lower left
        1, 2, 0, 3, 4, 0, 0, 0, 0,  // lower right
    };
    EXPECT_TRUE(sameFloats(expected, {P.data(), P.data() + P.count()}));
    EXPECT_TRUE(P.guardsIntact());
}

TEST(ConvForward, equalsTheDefinitionForManyGeometries) {
    Random random(5);
    for (int round = 0; round < 200; ++round) {
        const std::int32_t k = random.between(1, 4);
        const std::int32_t channels = random.between(1, 4);
        const std::int32_t padding = random.between(0, 2);
        const std::int32_t stride = random.between(1, 3);
        const std::int32_t height = random.between(k, 9);
        const std::int32_t width = random.between(k, 9);
        const std::int32_t outH = (height + 2 * padding - k) / stride + 1;
        const std::int32_t outW = (width + 2 * padding - k) / stride + 1;
        const std::int32_t F = random.between(2, 5);
        const std::int32_t count = random.between(1, 3);
        const FilterGeometry g = geometryOf(channels, height, outH, outW, padding, stride);
        const Matrix images = matrixOf(
            count, channels * height * width,
            wholeNumbers(random, static_cast<std::size_t>(count * channels * height * width)));
        const Matrix filters =
            matrixOf(F, channels * k * k,
                     wholeNumbers(random, static_cast<std::size_t>(F * channels * k * k)));
        const Matrix biases = matrixOf(F, 1, wholeNumbers(random, static_cast<std::size_t>(F)));
        Matrix target;
        convForward(images, filters, biases, target, g, 0.0F, 1.0F);
        ASSERT_EQ(target.numRows, count);
        ASSERT_EQ(target.numCols, F * outH * outW);
        for (std::int32_t n = 0; n < count; ++n) {
            for (std::int32_t f = 0; f < F; ++f) {
                for (std::int32_t oy = 0; oy < outH; ++oy) {
                    for (std::int32_t ox = 0; ox < outW; ++ox) {
                        const float expected =
                            plainOutput(images, filters, g, k, n, f, oy, ox) + biases.at(f, 0);
                        ASSERT_TRUE(sameFloat(expected, target.at(n, (f * outH + oy) * outW + ox)))
                            << "round " << round << ", image " << n << ", filter " << f << ", "
                            << oy << ", " << ox;
                    }
                }
            }
        }
    }
}

TEST(ConvForward, accumulatesWithoutABiasWhereTargetScaleIsNotZero) {
    const FilterGeometry g = geometryOf(1, 2, 1, 1, 0, 1);
    const Matrix images = matrixOf(1, 4, {1, 2, 3, 4});
    const Matrix filters = matrixOf(2, 4, {1, 1, 1, 1, 1, 0, 0, 0});
    const Matrix biases = matrixOf(2, 1, {100, 200});
    Matrix target = matrixOf(1, 2, {1000, 2000});
    convForward(images, filters, biases, target, g, 1.0F, 1.0F);
    EXPECT_TRUE(sameFloats({1010, 2001}, valuesOf(target)));
    convForward(images, filters, biases, target, g, 1.0F, 2.0F);
    EXPECT_TRUE(sameFloats({1030, 2003}, valuesOf(target)));
}

TEST(ConvForward, readsFiltersByTheirStorageOrder) {
    const FilterGeometry g = geometryOf(1, 2, 1, 1, 0, 1);
    const Matrix images = matrixOf(1, 4, {1, 2, 3, 4});
    Matrix filters = matrixOf(2, 4, {1, 5, 2, 6, 3, 7, 4, 8});
    filters.trans = kTransposed;  // rows 1 2 3 4 and 5 6 7 8
    const Matrix biases = matrixOf(2, 1, {0, 0});
    Matrix target;
    convForward(images, filters, biases, target, g, 0.0F, 1.0F);
    EXPECT_TRUE(sameFloats({30, 70}, valuesOf(target)));
}

TEST(ConvForward, givesTheBiasOfASingleFilterToModuleZeroOnly) {
    const FilterGeometry g = geometryOf(1, 2, 2, 2, 0, 1);
    const Matrix images = matrixOf(1, 4, {1, 2, 3, 4});
    const Matrix filters = matrixOf(1, 1, {1});
    const Matrix biases = matrixOf(1, 1, {100});
    Matrix target;
    convForward(images, filters, biases, target, g, 0.0F, 1.0F);
    EXPECT_TRUE(sameFloats({101, 2, 3, 4}, valuesOf(target)));
}

TEST(ConvForward, addsNothingForAnEmptyBias) {
    const FilterGeometry g = geometryOf(1, 2, 2, 2, 0, 1);
    Matrix target;
    convForward(matrixOf(1, 4, {1, 2, 3, 4}), matrixOf(2, 1, {1, 2}), Matrix(), target, g, 0.0F,
                1.0F);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 2, 4, 6, 8}, valuesOf(target)));
}

TEST(ConvForward, addsTheBiasAsARoundingOfItsOwn) {
    // 2^24 + 1 rounds to 2^24, and adding 1 once more rounds there again; one sum of all three
    // would give 2^24 + 2.
    const FilterGeometry g = geometryOf(1, 1, 1, 1, 0, 1);
    const Matrix images = matrixOf(1, 2, {0x1p24F, 1});
    FilterGeometry twoPlanes = g;
    twoPlanes.channels = 2;
    Matrix target;
    convForward(images, matrixOf(2, 2, {1, 1, 1, 1}), matrixOf(2, 1, {1, 1}), target, twoPlanes,
                0.0F, 1.0F);
    EXPECT_TRUE(sameFloats({0x1p24F, 0x1p24F}, valuesOf(target)));
}

TEST(ConvForward, ignoresWhatAFreshTargetHolds) {
    const FilterGeometry g = geometryOf(1, 1, 1, 1, 0, 1);
    Matrix target = matrixOf(1, 2, std::vector<float>(2, std::numeric_limits<float>::quiet_NaN()));
    convForward(matrixOf(1, 1, {3}), matrixOf(2, 1, {1, 2}), matrixOf(2, 1, {0, 0}), target, g,
                0.0F, 1.0F);
    EXPECT_TRUE(sameFloats({3, 6}, valuesOf(target)));
}

TEST(ConvForward, keepsItsStorageFromCallToCall) {
    const FilterGeometry g = geometryOf(1, 2, 2, 2, 0, 1);
    Matrix target;
    const Matrix images = matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8});
    convForward(images, matrixOf(2, 1, {1, 2}), Matrix(), target, g, 0.0F, 1.0F);
    const float* storage = target.data;
    convForward(images, matrixOf(2, 1, {1, 2}), Matrix(), target, g, 0.0F, 1.0F);
    EXPECT_EQ(target.data, storage);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 2, 4, 6, 8, 5, 6, 7, 8, 10, 12, 14, 16}, valuesOf(target)));
}

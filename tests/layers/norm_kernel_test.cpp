#include "layers/norm_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kInf = std::numeric_limits<float>::infinity();

// Squares of 2e19 overflow.
const float kSpecial[] = {0.0F, -0.0F, 1.0F, -1.0F, kInf, 2e19F, 0x1p-149F};

// Up to three rows of any column count, so that some columns often lie behind the last plane.
Matrix randomImages(Random& random, std::int32_t channels) {
    const std::int32_t rows = random.between(0, 3);
    const std::int32_t cols = channels * random.between(1, 7) + random.between(0, channels - 1);
    Matrix images(rows, cols);
    const int oneSpecialIn = random.oneIn(4) ? 2 : 60;
    std::generate_n(images.data, images.numElements, [&] {
        return !random.oneIn(oneSpecialIn) ? random.uniform(-3, 3)
               : random.oneIn(2)           ? random.anyFloat()
                                           : random.oneOf(kSpecial);
    });
    return images;
}

// Among the numbers are a base and an exponent of 0, whose powers are special.
CrossMapNorm randomNorm(Random& random) {
    const float scales[] = {random.uniform(-0.25F, 2.0F), 0.0F, -1.0F};
    const float powers[] = {random.uniform(-1.5F, 1.5F), 0.0F, -1.0F, 0.5F};
    CrossMapNorm norm;
    norm.channels = random.between(1, 9);
    norm.sizeX = random.between(-1, 12);
    norm.scale = random.oneOf(scales);
    norm.pow = random.oneOf(powers);
    return norm;
}

}  // namespace

TEST(CrossMapNorm, sumsTheSquaresOfTwoPlanesBelowToOneAboveForASizeOfFour) {
    // At a power of -1 and a scale of the size the result is v x (1 + sum of squares).
    Matrix target;
    crossMapNormForward(rowOf({1, 2, 4, 8}), target, {4, 4, 4, -1});
    EXPECT_TRUE(sameFloats({1 * 6, 2 * 22, 4 * 86, 8 * 85}, valuesOf(target)));
}

TEST(CrossMapNorm, equalsTheReferenceForManySizesAndWritesNothingBesideItsTarget) {
    Random random(21);
    Matrix target;
    for (int round = 0; round < 4000; ++round) {
        SCOPED_TRACE(round);
        const CrossMapNorm norm = randomNorm(random);
        Matrix images = randomImages(random, norm.channels);
        const std::vector<float> expected = referenceNorm(norm, images);
        crossMapNormForward(images, target, norm);
        ASSERT_EQ(target.numRows, images.numRows);
        ASSERT_EQ(target.numCols, images.numCols);
        ASSERT_TRUE(sameFloats(expected, valuesOf(target)));

        // A target of as many elements keeps its storage.
        GuardedBuffer<float> buffer(expected.size(), 1);
        Matrix inBuffer = Matrix::view(buffer.data(), images.numCols, images.numRows);
        crossMapNormForward(images, inBuffer, norm);
        ASSERT_TRUE(sameFloats(expected.data(), buffer.data(), expected.size()));
        ASSERT_TRUE(buffer.guardsIntact());
        ASSERT_EQ(inBuffer.numRows, images.numRows);

        // In its own input it meets what it has already overwritten.
        Matrix shared = matrixOf(images.numRows, images.numCols, valuesOf(images));
        referenceNorm(norm, shared, shared);
        const float* storage = images.data;
        crossMapNormForward(images, images, norm);
        ASSERT_TRUE(sameFloats(valuesOf(shared), valuesOf(images)));
        ASSERT_EQ(images.data, storage);
    }
}

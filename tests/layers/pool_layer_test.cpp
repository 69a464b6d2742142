#include "layers/pool_kernel.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>

#include "layers/layer_kinds.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kLowest = std::bit_cast<float>(0xFF167699U);

// The plainest form: every output looks at every pixel of its plane.
std::vector<float> plainMaxPool(const Matrix& images, const PoolGeometry& g, std::int32_t side) {
    std::vector<float> result;
    const std::int32_t pixels = images.numCols / g.channels;
    for (std::int32_t n = 0; n < images.numRows; ++n) {
        for (std::int32_t j = 0; j < g.outputsX * g.outputsX * g.channels; ++j) {
            const std::int32_t plane = j / (g.outputsX * g.outputsX);
            const std::int32_t q = j % (g.outputsX * g.outputsX);
            const std::int32_t y0 = q / g.outputsX * g.stride + g.start;
            const std::int32_t x0 = q % g.outputsX * g.stride + g.start;
            float cell = kLowest;
            for (std::int32_t y = 0; y < side; ++y) {
                for (std::int32_t x = 0; x < side; ++x) {
                    const float v = images.at(n, plane * pixels + y * side + x);
                    const bool isInside =
                        y >= y0 && y < y0 + g.sizeX && x >= x0 && x < x0 + g.sizeX;
                    if (isInside && v > cell) {
                        cell = v;
                    }
                }
            }
            result.push_back(cell);
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

}  // namespace

TEST(MaxPool, theStartValueIsMinusTwoTimesTenToThe38) {
    EXPECT_TRUE(sameFloat(kLowest, -2.0e38F));
}

TEST(MaxPool, takesTheGreatestOfEachTile) {
    const Matrix images = counting(1, 16);
    Matrix target;
    maxPoolForward(images, target, {1, 2, 0, 2, 2});
    EXPECT_TRUE(sameFloats({5, 7, 13, 15}, valuesOf(target)));
}

TEST(MaxPool, cutsWindowsThatOverhang) {
    const Matrix images = counting(1, 36);
    Matrix target;
    maxPoolForward(images, target, {1, 3, 0, 2, 3});
    EXPECT_TRUE(sameFloats({14, 16, 17, 26, 28, 29, 32, 34, 35}, valuesOf(target)));
    maxPoolForward(images, target, {1, 2, -1, 3, 2});
    EXPECT_TRUE(sameFloats({0, 3, 18, 21}, valuesOf(target)));
}

TEST(MaxPool, leavesItsStartValueInAWindowOutsideThePlane) {
    const Matrix images = counting(1, 4);
    Matrix target;
    maxPoolForward(images, target, {1, 2, 0, 2, 2});
    EXPECT_TRUE(sameFloats({3, kLowest, kLowest, kLowest}, valuesOf(target)));
}

TEST(MaxPool, leavesItsStartValueWhereNothingIsAboveIt) {
    const float infinity = std::numeric_limits<float>::infinity();
    const Matrix images = matrixOf(1, 4, {-2.5e38F, -infinity, kNaN, -2.0e38F});
    Matrix target;
    maxPoolForward(images, target, {1, 2, 0, 2, 1});
    EXPECT_TRUE(sameFloats({kLowest}, valuesOf(target)));
}

TEST(MaxPool, neverTakesANaN) {
    const Matrix images = matrixOf(1, 4, {kNaN, 1, kNaN, -1});
    Matrix target;
    maxPoolForward(images, target, {1, 2, 0, 2, 1});
    EXPECT_TRUE(sameFloats({1}, valuesOf(target)));
}

TEST(MaxPool, keepsTheFirstOfEqualZeros) {
    Matrix target;
    maxPoolForward(matrixOf(1, 4, {-0.0F, 0.0F, 0.0F, 0.0F}), target, {1, 2, 0, 2, 1});
    EXPECT_TRUE(sameFloats({-0.0F}, valuesOf(target)));
}

TEST(MaxPool, neverReadsBeyondItsWindows) {
    Matrix images = counting(1, 36);
    for (std::int32_t i = 0; i < 36; ++i) {
        if (i / 6 >= 4 || i % 6 >= 4) {
            images.data[i] = 1000;
        }
    }
    Matrix target;
    maxPoolForward(images, target, {1, 2, 0, 2, 2});
    EXPECT_TRUE(sameFloats({7, 9, 19, 21}, valuesOf(target)));
}

TEST(MaxPool, equalsThePlainFormForManyGeometries) {
    Random random(11);
    for (int round = 0; round < 300; ++round) {
        PoolGeometry g;
        g.channels = random.between(1, 4);
        g.sizeX = random.between(1, 4);
        g.start = random.between(-2, 2);
        g.stride = random.between(1, 3);
        g.outputsX = random.between(1, 5);
        const std::int32_t side = random.between(1, 9);
        const std::int32_t rows = random.between(1, 3);
        const Matrix images = matrixOf(
            rows, g.channels * side * side,
            random.floats(static_cast<std::size_t>(rows * g.channels * side * side), -9, 9));
        Matrix target;
        maxPoolForward(images, target, g);
        ASSERT_EQ(target.numRows, rows);
        ASSERT_TRUE(sameFloats(plainMaxPool(images, g, side), valuesOf(target))) << round;
    }
}

TEST(MaxPool, keepsItsStorageFromCallToCall) {
    Matrix target;
    maxPoolForward(counting(2, 16), target, {1, 2, 0, 2, 2});
    const float* storage = target.data;
    maxPoolForward(counting(2, 16), target, {1, 2, 0, 2, 2});
    EXPECT_EQ(target.data, storage);
}

TEST(PoolLayer, readsItsKeysAndIgnoresASecondInput) {
    const auto net = buildNet(
        "[Net]\nLayerCount=3\nLayerNames=d_e_p\n[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
        "[e]\ntype=data\ndataIdx=1\nactsTarget=0\n"
        "[p]\ntype=pool\npool=max\ninputs=d_e\nchannels=2\nsizeX=1\nstart=1\nstride=1\noutputsX="
        "1\n");
    Matrix patch = counting(2, 8);
    Matrix other = matrixOf(2, 8, std::vector<float>(16, 99));
    EXPECT_TRUE(sameFloats({3, 7, 11, 15}, valuesOf(*runNet(*net, {&patch, &other}))));
}

TEST(PoolLayer, namesTheUnknownKind) {
    describe("[p]\npool=Max\n[q]\n");
    ConvNet net(1, "", "");
    describe("[p]\npool=Max\n[q]\n");
    for (const auto& [section, words] :
         {std::pair{"p", "Unknown pooling layer type Max"}, {"q", "Unknown pooling layer type "}}) {
        try {
            createPoolLayer(net, section);
            ADD_FAILURE() << section << " was accepted";
        } catch (const std::string& thrown) {
            EXPECT_EQ(thrown, words);
        }
    }
}

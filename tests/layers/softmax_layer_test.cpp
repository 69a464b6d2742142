#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "layers/one_layer.h"
#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kLowest = std::numeric_limits<float>::lowest();

using Rows = std::vector<std::vector<float>>;

const std::string kSection = "type=softmax\ninputs=a\n";

// Row by row, or column by column.
Matrix matrixOf(const Rows& rows, std::int32_t trans = kRowMajor) {
    Matrix matrix(static_cast<std::int32_t>(rows.size()),
                  static_cast<std::int32_t>(rows[0].size()));
    matrix.trans = trans;
    for (std::int32_t i = 0; i < matrix.numRows; ++i) {
        for (std::int32_t j = 0; j < matrix.numCols; ++j) {
            matrix.at(i, j) = rows[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
        }
    }
    return matrix;
}

std::vector<float> softmaxOf(const Rows& rows) {
    return OneLayer(kSection).run(matrixOf(rows));
}

const Rows kRows = {{1, 2}, {3, 5}};

// Infinity, NaN, and numbers around the lowest, with which the search for the greatest begins.
const float kSpecial[] = {kNaN, kInf, -kInf, kLowest, -3.4e38F, 3e38F, 0.0F, 1000.0F};

}  // namespace

TEST(SoftmaxLayer, shiftsAndDividesOnlyTheFirstElementOfASingleRow) {
    const float e = static_cast<float>(std::exp(-0.25));
    // A product with the reciprocal would differ from the quotient.
    ASSERT_FALSE(sameFloat(e * (1.0F / (e + 1.0F)), e / (e + 1.0F)));
    const std::pair<std::vector<float>, std::vector<float>> cases[] = {
        {{5, 0, 0}, {1.0F / 3, 1, 1}},
        {{-0.25F, 0}, {e / (e + 1.0F), 1}},
        {{0, 1000}, {0, kInf}},
        {{-123}, {1}},
        {{kInf}, {kNaN}},
    };
    for (const auto& [row, expected] : cases) {
        EXPECT_TRUE(sameFloats(expected, softmaxOf({row})));
    }
}

TEST(SoftmaxLayer, equalsTheReferenceForManyShapesAndAnyBitPattern) {
    Random random(53);
    OneLayer net(kSection);
    for (int round = 0; round < 900; ++round) {
        Rows rows(static_cast<std::size_t>(random.between(2, 5)),
                  std::vector<float>(static_cast<std::size_t>(random.between(1, 12))));
        for (std::vector<float>& row : rows) {
            for (float& x : row) {
                x = round % 3 == 0   ? random.uniform(-9, 9)
                    : round % 3 == 1 ? random.oneOf(kSpecial)
                                     : random.anyFloat();
            }
        }
        ASSERT_TRUE(sameFloats(referenceSoftmax(rows), net.run(matrixOf(rows)))) << round;
        ASSERT_EQ(net.output()->numRows, net.a.numRows);
        ASSERT_TRUE(sameFloats(valuesOf(matrixOf(rows)), valuesOf(net.a)))
            << "leaves its input alone";
    }
}

TEST(SoftmaxLayer, takesTheExponentialIn64Bits) {
    // So close to the middle between two floats that a function of floats picks the wrong one.
    EXPECT_TRUE(sameFloat(0x1.78b0a000p-2F, softmaxOf({{0, -0x1.00033cp+0F}})[1]));
}

TEST(SoftmaxLayer, readsItsFirstInputAndWorksInTheOneThatItShares) {
    for (const std::string target : {"-1", "0", "1"}) {
        OneLayer net("type=softmax\ninputs=a_b\nactsTarget=" + target + "\n");
        // It runs once for each input, and so twice over what it has in place.
        const std::vector<float> once = referenceSoftmax(kRows);
        const std::vector<float> twice = referenceSoftmax({{once[0], once[1]}, {once[2], once[3]}});
        EXPECT_TRUE(sameFloats(target == "0" ? twice : once,
                               net.run(matrixOf(kRows), matrixOf({{-9, 9}, {7, 0}}))))
            << target;
        EXPECT_EQ(net.output() == &net.a, target == "0");
        EXPECT_EQ(net.output() == &net.b, target == "1");
    }
}

TEST(SoftmaxLayer, readsATransposedInputByItsRows) {
    const Rows rows = {{1, 2, 0}, {3, 5, 4}, {0, -0.25F, -3}, {0, 0, 0}};
    OneLayer net(kSection);
    EXPECT_TRUE(sameFloats(referenceSoftmax(rows), net.run(matrixOf(rows, kTransposed))));
    EXPECT_EQ(net.output()->trans, kRowMajor);
    // In place it divides truly.
    const Rows inexact = {{0, -0.25F}, {3, 5}, {0, -0.25F}};
    OneLayer shared(kSection + "actsTarget=0\n");
    shared.run(matrixOf(inexact, kTransposed));
    EXPECT_EQ(shared.a.trans, kTransposed);
    EXPECT_TRUE(sameFloats(referenceSoftmax(inexact, ReferenceShare::Quotient),
                           valuesOf(*shared.a.copy())));
}

TEST(SoftmaxLayer, ofNoValuesIsEmpty) {
    OneLayer net(kSection);
    for (const auto& [rows, cols] : {std::pair{0, 0}, {2, 0}, {0, 3}}) {
        EXPECT_TRUE(net.run(Matrix(rows, cols)).empty());
        EXPECT_EQ(net.output()->numRows, rows);
        EXPECT_EQ(net.output()->numCols, cols);
    }
}

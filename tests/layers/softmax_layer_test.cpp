#include <gtest/gtest.h>

#include <cmath>
#include <limits>

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

float narrowedExp(float x) {
    return static_cast<float>(std::exp(static_cast<double>(x)));
}

const Rows kRows = {{1, 2}, {3, 5}};
struct SoftmaxCase {
    const char* what;
    Rows rows;
    std::vector<float> expected;
};

const SoftmaxCase kCases[] = {
    {"equal shares",
     {{7, 7, 7, 7}, {-500, -999, -999, -999}},
     {0.25F, 0.25F, 0.25F, 0.25F, 1, 0, 0, 0}},
    {"no overflow", {{3e38F, 3e38F, -3e38F}, {1000, 0, 500}}, {0.5F, 0.5F, 0, 1, 0, 0}},
    {"the lowest float", {{kLowest, -3.4e38F}, {kLowest, kLowest}}, {0, 1, 0.5F, 0.5F}},
    {"one row: only element 0 is shifted and divided", {{5, 0, 0}}, {1.0F / 3, 1, 1}},
    {"one row: nothing else", {{0, 1000}}, {0, kInf}},
    {"one row of one element", {{-123}}, {1}},
    {"one infinite element", {{kInf}}, {kNaN}},
    {"one column", {{-123}, {0}, {1e30F}}, {1, 1, 1}},
    {"NaN in its own rows",
     {{1, kNaN}, {0, 0}, {kNaN, kNaN}},
     {kNaN, kNaN, 0.5F, 0.5F, kNaN, kNaN}},
    {"infinity", {{kInf, 0}, {-kInf, -kInf}, {-kInf, 5}}, {kNaN, kNaN, kNaN, kNaN, 0, 1}},
};

}  // namespace

TEST(SoftmaxLayer, givesWhatWasWorkedOutByHand) {
    for (const SoftmaxCase& softmax : kCases) {
        EXPECT_TRUE(sameFloats(softmax.expected, softmaxOf(softmax.rows))) << softmax.what;
    }
}

TEST(SoftmaxLayer, equalsTheReferenceForManyShapesAndAnyBitPattern) {
    Random random(53);
    OneLayer net(kSection);
    for (int round = 0; round < 400; ++round) {
        Rows rows(static_cast<std::size_t>(random.between(2, 5)),
                  std::vector<float>(static_cast<std::size_t>(random.between(1, 12))));
        for (std::vector<float>& row : rows) {
            for (float& x : row) {
                x = round % 2 == 0 ? random.uniform(-9, 9) : random.anyFloat();
            }
        }
        ASSERT_TRUE(sameFloats(referenceSoftmax(rows), net.run(matrixOf(rows)))) << round;
        ASSERT_EQ(net.output()->numRows, net.a.numRows);
        ASSERT_TRUE(sameFloats(valuesOf(matrixOf(rows)), valuesOf(net.a)))
            << "leaves its input alone";
    }
}

TEST(SoftmaxLayer, dividesASingleRow) {
    const float e = narrowedExp(-0.25F);
    ASSERT_FALSE(sameFloat(e * (1.0F / (e + 1.0F)), e / (e + 1.0F)));
    EXPECT_TRUE(sameFloats({e / (e + 1.0F), 1}, softmaxOf({{-0.25F, 0}})));
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

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kLowest = std::numeric_limits<float>::lowest();

using Row = std::vector<float>;

std::unique_ptr<ConvNet> netOf(const std::string& keys = "inputs=d\n") {
    return netBehindTwoInputs("s", "[s]\ntype=softmax\n" + keys);
}

Matrix rowsOf(const std::vector<Row>& rows) {
    Row all;
    for (const Row& row : rows) {
        all.insert(all.end(), row.begin(), row.end());
    }
    return matrixOf(static_cast<std::int32_t>(rows.size()),
                    static_cast<std::int32_t>(rows[0].size()), all);
}

std::vector<float> softmaxOf(const std::vector<Row>& rows) {
    const auto net = netOf();
    Matrix patch = rowsOf(rows);
    return valuesOf(*runNet(*net, {&patch, &patch}));
}

float narrowedExp(float x) {
    return static_cast<float>(std::exp(static_cast<double>(x)));
}

// One of several rows, step by step. `isDivided`: a true division at the end, not a product with
// the reciprocal of the sum.
Row plainSoftmax(Row row, bool isDivided = false) {
    float greatest = kLowest;
    for (const float x : row) {
        greatest = x > greatest ? x : greatest;
    }
    float sum = 0;
    for (float& x : row) {
        const float shifted = x - greatest;
        x = narrowedExp(shifted);
        sum = x + sum;
    }
    const float reciprocal = 1.0F / sum;
    for (float& x : row) {
        x = isDivided ? x / sum : x * reciprocal;
    }
    return row;
}

std::vector<float> plainSoftmax(const std::vector<Row>& rows, bool isDivided = false) {
    std::vector<float> all;
    for (const Row& row : rows) {
        const Row result = plainSoftmax(row, isDivided);
        all.insert(all.end(), result.begin(), result.end());
    }
    return all;
}

// The same logical values, column by column.
Matrix transposedOf(const std::vector<Row>& rows) {
    Matrix matrix(static_cast<std::int32_t>(rows.size()),
                  static_cast<std::int32_t>(rows[0].size()));
    matrix.trans = kTransposed;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t j = 0; j < rows[i].size(); ++j) {
            matrix.at(static_cast<std::int32_t>(i), static_cast<std::int32_t>(j)) = rows[i][j];
        }
    }
    return matrix;
}

// A row whose element 1 differs between quotient and product.
const Row kInexact = {0, -0.25F};

}  // namespace

TEST(SoftmaxLayer, equalsThePlainStepsForManyShapes) {
    Random random(53);
    for (int round = 0; round < 200; ++round) {
        const auto cols = static_cast<std::size_t>(random.between(1, 12));
        std::vector<Row> rows(static_cast<std::size_t>(random.between(2, 5)));
        for (Row& row : rows) {
            row = random.floats(cols, -9, 9);
        }
        ASSERT_TRUE(sameFloats(plainSoftmax(rows), softmaxOf(rows))) << round;
    }
}

TEST(SoftmaxLayer, equalsThePlainStepsForAnyBitPattern) {
    Random random(59);
    for (int round = 0; round < 200; ++round) {
        std::vector<Row> rows(2, Row(5));
        for (Row& row : rows) {
            for (float& x : row) {
                x = random.anyFloat();
            }
        }
        ASSERT_TRUE(sameFloats(plainSoftmax(rows), softmaxOf(rows))) << round;
    }
}

TEST(SoftmaxLayer, givesEqualValuesEqualShares) {
    EXPECT_TRUE(sameFloats({0.25F, 0.25F, 0.25F, 0.25F, 1, 0, 0, 0},
                           softmaxOf({{7, 7, 7, 7}, {-500, -1000, -1000, -1000}})));
}

TEST(SoftmaxLayer, sharesUpOneForEachRow) {
    Random random(61);
    const std::vector<float> out = softmaxOf({random.floats(50, -5, 5), random.floats(50, -5, 5)});
    for (std::size_t row = 0; row < 2; ++row) {
        double sum = 0;
        for (std::size_t j = 0; j < 50; ++j) {
            sum += static_cast<double>(out[row * 50 + j]);
        }
        // 49 sums, a reciprocal and a product: each is off by 2^-24 of the whole at most.
        EXPECT_NEAR(sum, 1, 52 * 0x1p-24);
    }
}

TEST(SoftmaxLayer, doesNotOverflowForLargeInputs) {
    EXPECT_TRUE(
        sameFloats({0.5F, 0.5F, 0, 1, 0, 0}, softmaxOf({{3e38F, 3e38F, -3e38F}, {1000, 0, 500}})));
}

TEST(SoftmaxLayer, comparesWithTheLowestFloatFirst) {
    constexpr float kNearLowest = -3.4e38F;
    EXPECT_TRUE(
        sameFloats({0, 1, 0.5F, 0.5F}, softmaxOf({{kLowest, kNearLowest}, {kLowest, kLowest}})));
}

TEST(SoftmaxLayer, multipliesByTheRoundedReciprocal) {
    const Row product = plainSoftmax(kInexact);
    ASSERT_FALSE(sameFloats(product, plainSoftmax(kInexact, true))) << "shows nothing";
    EXPECT_TRUE(sameFloats({product[0], product[1], product[0], product[1]},
                           softmaxOf({kInexact, kInexact})));
}

TEST(SoftmaxLayer, sumsInAscendingOrderInFloat) {
    // exp of the small one is 0.8 * 2^-24: it is lost beside 1, three of them together are not.
    constexpr float kSmall = -16.86F;
    const float e = narrowedExp(kSmall);
    ASSERT_TRUE(sameFloat(1, 1.0F + e));
    const float reciprocal = 1.0F / (e + e + e + 1.0F);
    ASSERT_FALSE(sameFloat(1, reciprocal));
    EXPECT_TRUE(sameFloats({1, e, e, e,  //
                            e * reciprocal, e * reciprocal, e * reciprocal, reciprocal},
                           softmaxOf({{0, kSmall, kSmall, kSmall}, {kSmall, kSmall, kSmall, 0}})));
}

TEST(SoftmaxLayer, shiftsAndDividesOnlyElementZeroOfASingleRow) {
    EXPECT_TRUE(sameFloats({1.0F / 3, 1, 1}, softmaxOf({{5, 0, 0}})));
    EXPECT_TRUE(sameFloats({0, kInfinity}, softmaxOf({{0, 1000}}))) << "nothing else is shifted";
    // Here it is a true division.
    const float e = narrowedExp(-0.25F);
    const float sum = e + 1.0F;
    ASSERT_FALSE(sameFloat(e * (1.0F / sum), e / sum)) << "shows nothing";
    EXPECT_TRUE(sameFloats({e / sum, 1}, softmaxOf({{-0.25F, 0}})));
}

TEST(SoftmaxLayer, takesTheExponentialIn64Bits) {
    // So close to the middle between two floats that a function of floats picks the wrong one.
    EXPECT_TRUE(sameFloat(0x1.78b0a000p-2F, softmaxOf({{0, -0x1.00033cp+0F}})[1]));
}

TEST(SoftmaxLayer, ofOneElementIsOne) {
    EXPECT_TRUE(sameFloats({1}, softmaxOf({{-123}})));
    EXPECT_TRUE(sameFloats({1, 1, 1}, softmaxOf({{-123}, {0}, {1e30F}})));
    EXPECT_TRUE(sameFloats({kNaN}, softmaxOf({{kInfinity}})));
}

TEST(SoftmaxLayer, spoilsNoRowButTheOneWithANaN) {
    EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN, 0.5F, 0.5F, 0, kNaN, kNaN, kNaN},
                           softmaxOf({{1, kNaN, 2}, {0, 0, -200}, {kNaN, kNaN, kNaN}})));
}

TEST(SoftmaxLayer, isNaNWhereARowHoldsPlusInfinityOrMinusInfinityAlone) {
    EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN, kNaN, 0, 1},
                           softmaxOf({{kInfinity, 0}, {-kInfinity, -kInfinity}, {-kInfinity, 5}})));
}

TEST(SoftmaxLayer, leavesItsInputAlone) {
    const auto net = netOf();
    Matrix patch = rowsOf({{1, 2}, {3, 5}});
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_NE(out, &patch);
    EXPECT_EQ(out->numRows, 2);
    EXPECT_EQ(out->numCols, 2);
    EXPECT_TRUE(sameFloats({1, 2, 3, 5}, valuesOf(patch)));
}

TEST(SoftmaxLayer, worksInPlaceWithActsTarget) {
    const auto net = netOf("inputs=d\nactsTarget=0\n");
    const std::vector<Row> rows = {{1, 2}, {3, 5}};
    Matrix patch = rowsOf(rows);
    EXPECT_EQ(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats(plainSoftmax(rows), valuesOf(patch)));
}

TEST(SoftmaxLayer, readsItsFirstInputOnly) {
    const std::vector<Row> rows = {{1, 2}, {3, 5}};
    Matrix first = rowsOf(rows);
    Matrix second = rowsOf({{-9, 9}, {7, 0}});
    EXPECT_TRUE(sameFloats(plainSoftmax(rows),
                           valuesOf(*runNet(*netOf("inputs=d_e\n"), {&first, &second}))));
    // Into the matrix of the second.
    EXPECT_EQ(runNet(*netOf("inputs=d_e\nactsTarget=1\n"), {&first, &second}), &second);
    EXPECT_TRUE(sameFloats(plainSoftmax(rows), valuesOf(second)));
    EXPECT_TRUE(sameFloats({1, 2, 3, 5}, valuesOf(first)));
}

TEST(SoftmaxLayer, runsOnceForEachInputAndSoTwiceInPlace) {
    const std::vector<Row> rows = {{1, 2}, {3, 5}};
    const std::vector<float> once = plainSoftmax(rows);
    Matrix first = rowsOf(rows);
    Matrix second = rowsOf(rows);
    runNet(*netOf("inputs=d_e\nactsTarget=0\n"), {&first, &second});
    EXPECT_TRUE(
        sameFloats(plainSoftmax({{once[0], once[1]}, {once[2], once[3]}}), valuesOf(first)));
}

TEST(SoftmaxLayer, readsATransposedInputByItsRows) {
    const std::vector<Row> rows = {{1, 2, 0}, {3, 5, 4}, {0, -0.25F, -3}, {0, 0, 0}};
    const auto net = netOf();
    Matrix patch = transposedOf(rows);
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_EQ(out->trans, kRowMajor);
    EXPECT_TRUE(sameFloats(plainSoftmax(rows), valuesOf(*out)));
}

TEST(SoftmaxLayer, dividesTrulyWhereItWorksInPlaceOnATransposedInput) {
    const std::vector<Row> rows = {kInexact, {3, 5}, kInexact};
    const auto net = netOf("inputs=d\nactsTarget=0\n");
    Matrix patch = transposedOf(rows);
    runNet(*net, {&patch, &patch});
    EXPECT_EQ(patch.trans, kTransposed);
    EXPECT_TRUE(sameFloats(plainSoftmax(rows, true), valuesOf(*patch.copy())));
    EXPECT_FALSE(sameFloats(plainSoftmax(rows), valuesOf(*patch.copy())));
}

TEST(SoftmaxLayer, writesIntoTheStorageOfItsFormerOutput) {
    const auto net = netOf();
    Matrix patch = rowsOf({{7, 7}, {0, -200}});
    Matrix& out = *runNet(*net, {&patch, &patch});
    std::vector<float> storage(4, kNaN);
    out = Matrix::view(storage.data(), 2, 2);
    runNet(*net, {&patch, &patch});
    EXPECT_EQ(out.data, storage.data());
    EXPECT_TRUE(sameFloats({0.5F, 0.5F, 1, 0}, storage));
}

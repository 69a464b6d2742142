// The operations of a matrix with a vector, against plain loops, in every combination of storage
// orders.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/matrix.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Placement {
    RowsAndCols shape;
    RowsAndCols shapeOfVec;
    std::int32_t order;
    std::int32_t orderOfTarget;
    std::int32_t orderOfVec;  // makes no difference: there is one line
};

// test(placement) for row and column vectors and all orders. A matrix of one row has no column
// vector: one element counts as a row vector.
template <typename Test>
void forPlacements(Test test) {
    for (const RowsAndCols shape : kTestShapes) {
        for (const bool isRow : {true, false}) {
            if (!isRow && shape.rows == 1) {
                continue;
            }
            for (const std::int32_t order : kOrders) {
                for (const std::int32_t orderOfTarget : kOrders) {
                    for (const std::int32_t orderOfVec : kOrders) {
                        const RowsAndCols vec =
                            isRow ? RowsAndCols{1, shape.cols} : RowsAndCols{shape.rows, 1};
                        SCOPED_TRACE(testing::Message()
                                     << shape.rows << " x " << shape.cols << ", vector " << vec.rows
                                     << " x " << vec.cols << ", orders " << order << " "
                                     << orderOfTarget << " " << orderOfVec);
                        test(Placement{shape, vec, order, orderOfTarget, orderOfVec});
                    }
                }
            }
        }
    }
}

// What division gives: a quotient where the vector lies along the lines of a storage that matrix
// and target share, else a product with the rounded reciprocal.
ReferenceMatrix divided(const ReferenceMatrix& a, const ReferenceMatrix& vec, std::int32_t order,
                        std::int32_t orderOfTarget) {
    const bool liesAlong =
        (order == kRowMajor && vec.rows == 1) || (order == kTransposed && vec.rows != 1);
    if (order == orderOfTarget && liesAlong) {
        return onVector(a, vec, [](float x, float v) { return x / v; });
    }
    return onVector(a, vec, [](float x, float v) {
        const float reciprocal = 1.0F / v;
        return x * reciprocal;
    });
}

Matrix transposedOf(std::int32_t rows, std::int32_t cols, const std::vector<float>& storage) {
    Matrix result = matrixOf(rows, cols, storage);
    result.trans = kTransposed;
    return result;
}

}  // namespace

TEST(MatrixVectors, addVectorAddsToEveryRowOrColumn) {
    Random random(21);
    forPlacements([&](const Placement& p) {
        const ReferenceMatrix a = smallIntegers(p.shape, random);
        const ReferenceMatrix vec = smallIntegers(p.shapeOfVec, random);
        const Matrix storedVec = storedAs(vec, p.orderOfVec);
        for (const float scale : {1.0F, -2.0F, 0.5F, 0.0F}) {
            const auto expected =
                onVector(a, vec, [scale](float x, float v) { return scale * v + x; });
            Matrix stored = storedAs(a, p.order);
            Matrix target = unwrittenMatrix(p.shape, p.orderOfTarget);
            stored.addVector(storedVec, scale, target);
            EXPECT_TRUE(sameElements(expected, target)) << scale;
            EXPECT_EQ(target.trans, p.orderOfTarget);
            Matrix other(p.shape.rows + 1, 2);
            other.trans = kTransposed;
            stored.addVector(storedVec, scale, other);
            EXPECT_TRUE(sameElements(expected, other)) << scale;
            EXPECT_EQ(other.trans, kRowMajor);
            stored.addVector(storedVec, scale, stored);
            EXPECT_TRUE(sameElements(expected, stored)) << scale;
            EXPECT_EQ(stored.trans, p.order);
        }
    });
}

TEST(MatrixVectors, addVectorOfScaleOneRoundsTheSumAlone) {
    Random random(22);
    forPlacements([&](const Placement& p) {
        const ReferenceMatrix a = uniformFloats(p.shape, random, -1, 1);
        const ReferenceMatrix vec = uniformFloats(p.shapeOfVec, random, -1, 1);
        Matrix target = unwrittenMatrix(p.shape, p.orderOfTarget);
        storedAs(a, p.order).addVector(storedAs(vec, p.orderOfVec), 1.0F, target);
        EXPECT_TRUE(sameElements(onVector(a, vec, [](float x, float v) { return x + v; }), target));
    });
}

TEST(MatrixVectors, eltwiseMultByVectorMultipliesEveryRowOrColumn) {
    Random random(23);
    forPlacements([&](const Placement& p) {
        const ReferenceMatrix a = uniformFloats(p.shape, random, -2, 2);
        const ReferenceMatrix vec = uniformFloats(p.shapeOfVec, random, -2, 2);
        const Matrix storedVec = storedAs(vec, p.orderOfVec);
        const auto expected = onVector(a, vec, [](float x, float v) { return x * v; });
        Matrix stored = storedAs(a, p.order);
        Matrix target = unwrittenMatrix(p.shape, p.orderOfTarget);
        stored.eltwiseMultByVector(storedVec, target);
        EXPECT_TRUE(sameElements(expected, target));
        EXPECT_EQ(target.trans, p.orderOfTarget);
        Matrix other(p.shape.rows + 1, 2);
        other.trans = kTransposed;
        stored.eltwiseMultByVector(storedVec, other);
        EXPECT_TRUE(sameElements(expected, other));
        EXPECT_EQ(other.trans, kRowMajor);
        stored.eltwiseMultByVector(storedVec, stored);
        EXPECT_TRUE(sameElements(expected, stored));
        EXPECT_EQ(stored.trans, p.order);
    });
}

TEST(MatrixVectors, eltwiseMultByVectorMultipliesByZeroInfinityAndNaN) {
    for (const std::int32_t order : kOrders) {
        const ReferenceMatrix vec = [] {
            ReferenceMatrix row(1, 4);
            row.elements = {{0, -0.0F, kInfinity, kNaN}};
            return row;
        }();
        ReferenceMatrix a(3, 4);
        a.elements = {{1, 1, 1, 1}, {-2, -2, -2, -2}, {kNaN, kInfinity, 0, 0}};
        Matrix stored = storedAs(a, order);
        stored.eltwiseMultByVector(storedAs(vec, kRowMajor), stored);
        EXPECT_TRUE(sameElements(onVector(a, vec, [](float x, float v) { return x * v; }), stored));
    }
}

TEST(MatrixVectors, eltwiseDivideByVectorDividesOrMultipliesByReciprocals) {
    Random random(24);
    forPlacements([&](const Placement& p) {
        const ReferenceMatrix a = uniformFloats(p.shape, random, -2, 2);
        const ReferenceMatrix vec = uniformFloats(p.shapeOfVec, random, 1, 2);
        Matrix storedVec = storedAs(vec, p.orderOfVec);
        const std::vector<float> bytesOfVec = valuesOf(storedVec);
        Matrix stored = storedAs(a, p.order);
        Matrix target = unwrittenMatrix(p.shape, p.orderOfTarget);
        stored.eltwiseDivideByVector(storedVec, target);
        EXPECT_TRUE(sameElements(divided(a, vec, p.order, p.orderOfTarget), target));
        EXPECT_EQ(target.trans, p.orderOfTarget);
        Matrix other(p.shape.rows + 1, 2);
        other.trans = kTransposed;
        stored.eltwiseDivideByVector(storedVec, other);
        EXPECT_TRUE(sameElements(divided(a, vec, p.order, kRowMajor), other));
        EXPECT_EQ(other.trans, kRowMajor);
        stored.eltwiseDivideByVector(storedVec, stored);
        EXPECT_TRUE(sameElements(divided(a, vec, p.order, p.order), stored));
        EXPECT_EQ(stored.trans, p.order);
        EXPECT_TRUE(sameFloats(bytesOfVec, valuesOf(storedVec)));
    });
}

// 5 / 3 is 0x1.aaaaaap+0 to the nearest; 5 times the float nearest to 1/3 is one place above.
TEST(MatrixVectors, theTwoWaysToDivideDifferInTheLastBit) {
    const std::vector<float> fives = {5, 5, 5, 5};
    const std::vector<float> quotients(4, 0x1.aaaaaap+0F);
    const std::vector<float> products(4, 0x1.aaaaacp+0F);
    const Matrix row = matrixOf(1, 2, {3, 3});
    const Matrix column = matrixOf(2, 1, {3, 3});
    const Matrix rowMajor = matrixOf(2, 2, fives);
    const Matrix transposed = transposedOf(2, 2, fives);
    Matrix target(2, 2);
    rowMajor.eltwiseDivideByVector(row, target);
    EXPECT_TRUE(sameFloats(quotients, valuesOf(target)));
    rowMajor.eltwiseDivideByVector(column, target);
    EXPECT_TRUE(sameFloats(products, valuesOf(target)));
    transposed.eltwiseDivideByVector(row, target);
    EXPECT_TRUE(sameFloats(products, valuesOf(target)));
    transposed.eltwiseDivideByVector(column, target);  // the target is row-major
    EXPECT_TRUE(sameFloats(products, valuesOf(target)));
    target.trans = kTransposed;
    transposed.eltwiseDivideByVector(column, target);
    EXPECT_TRUE(sameFloats(quotients, valuesOf(target)));
    transposed.eltwiseDivideByVector(row, target);
    EXPECT_TRUE(sameFloats(products, valuesOf(target)));
    rowMajor.eltwiseDivideByVector(row, target);
    EXPECT_TRUE(sameFloats(products, valuesOf(target)));
}

TEST(MatrixVectors, divisionByASingleElementIsThatByARowVector) {
    const Matrix three = matrixOf(1, 1, {3});
    Matrix target;
    matrixOf(2, 1, {5, 5}).eltwiseDivideByVector(three, target);
    EXPECT_TRUE(sameFloats({0x1.aaaaaap+0F, 0x1.aaaaaap+0F}, valuesOf(target)));
    Matrix transposed = transposedOf(2, 1, {5, 5});
    transposed.eltwiseDivideByVector(three, transposed);
    EXPECT_TRUE(sameFloats({0x1.aaaaacp+0F, 0x1.aaaaacp+0F}, valuesOf(transposed)));
}

TEST(MatrixVectors, divisionByZeroFollowsTheFloatsInBothWays) {
    for (const std::int32_t order : kOrders) {
        Matrix matrix = matrixOf(3, 1, {1, -1, 0});
        matrix.trans = order;
        matrix.eltwiseDivideByVector(matrixOf(1, 1, {0}), matrix);
        EXPECT_TRUE(sameFloats({kInfinity, -kInfinity, kNaN}, valuesOf(matrix)));
        matrix = matrixOf(3, 1, {1, -1, 0});
        matrix.trans = order;
        matrix.eltwiseDivideByVector(matrixOf(1, 1, {kNaN}), matrix);
        EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN}, valuesOf(matrix)));
    }
}

// Whatever the shape of the matrix: one element is a row vector for one column.
TEST(MatrixVectors, aSingleElementMeetsTheFirstColumn) {
    const Matrix half = matrixOf(1, 1, {0.5F});
    for (const std::int32_t order : kOrders) {
        ReferenceMatrix a(3, 2);
        a.elements = {{1, 2}, {3, 4}, {5, 6}};
        Matrix stored = storedAs(a, order);
        stored.addVector(half, 1.0F, stored);
        a.elements = {{1.5F, 2}, {3.5F, 4}, {5.5F, 6}};
        EXPECT_TRUE(sameElements(a, stored)) << order;
    }
    Matrix row = matrixOf(1, 3, {1, 2, 3});
    row.addVector(half, 2.0F, row);
    EXPECT_TRUE(sameFloats({2, 2, 3}, valuesOf(row)));
    row.eltwiseMultByVector(half, row);
    EXPECT_TRUE(sameFloats({1, 2, 3}, valuesOf(row)));
    row.eltwiseDivideByVector(half, row);
    EXPECT_TRUE(sameFloats({2, 2, 3}, valuesOf(row)));
}

// With as many rows as columns, the shape of the vector alone decides.
TEST(MatrixVectors, theRowsOfTheVectorDecideWhatItMeets) {
    const Matrix row = matrixOf(1, 2, {10, 100});
    const Matrix column = matrixOf(2, 1, {10, 100});
    const Matrix square = matrixOf(2, 2, {1, 2, 3, 4});
    Matrix target;
    square.addVector(row, 1.0F, target);
    EXPECT_TRUE(sameFloats({11, 102, 13, 104}, valuesOf(target)));
    square.addVector(column, 1.0F, target);
    EXPECT_TRUE(sameFloats({11, 12, 103, 104}, valuesOf(target)));
    square.eltwiseMultByVector(row, target);
    EXPECT_TRUE(sameFloats({10, 200, 30, 400}, valuesOf(target)));
    square.eltwiseMultByVector(column, target);
    EXPECT_TRUE(sameFloats({10, 20, 300, 400}, valuesOf(target)));
}

// No rows is not one row: an empty vector is a column vector.
TEST(MatrixVectors, aVectorOfNoElementsChangesNothing) {
    const Matrix empty;
    for (const std::int32_t order : kOrders) {
        Matrix matrix = matrixOf(2, 3, {1, 2, 3, 4, 5, 6});
        matrix.trans = order;
        matrix.addVector(empty, 1.0F, matrix);
        matrix.eltwiseMultByVector(empty, matrix);
        matrix.eltwiseDivideByVector(empty, matrix);
        EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(matrix)));
    }
    const Matrix rowMajor = matrixOf(2, 2, {1, 2, 3, 4});
    Matrix target = unwrittenMatrix({2, 2}, kRowMajor);
    rowMajor.eltwiseDivideByVector(empty, target);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4}, valuesOf(target)));
}

// Its length is taken for that of the rows, as it is with every vector that fits.
TEST(MatrixVectors, eltwiseMultByVectorStepsByTheLengthOfARowVector) {
    Matrix matrix = matrixOf(3, 2, {1, 2, 3, 4, 5, 6});
    matrix.eltwiseMultByVector(matrixOf(1, 1, {0.5F}), matrix);
    EXPECT_TRUE(sameFloats({0.5F, 1, 1.5F, 4, 5, 6}, valuesOf(matrix)));
}

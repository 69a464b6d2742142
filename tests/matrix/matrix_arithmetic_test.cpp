// Worked examples of Matrix's arithmetic: special values, what has an order of its own, operands
// that do not quite fit, and how rows and columns are folded. Ordinary operands in every storage
// order are in matrix_operations_test.cpp.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/matrix.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/matrices.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

testing::AssertionResult holds(const std::vector<float>& expected, const Matrix& matrix) {
    return sameFloats(expected, valuesOf(matrix));
}

float applied(ElementFunction function, float x) {
    Matrix matrix = matrixOf(1, 1, {x});
    matrix.apply(function);
    return matrix.data[0];
}

std::uint32_t bitsOf(float x) {
    return std::bit_cast<std::uint32_t>(x);
}

// Depends on the order of its arguments, and each step rounds.
float mixture(float element, float soFar) {
    return element - 0.3F * soFar;
}

}  // namespace

TEST(MatrixArithmetic, binaryFunctionsTakeTheirArgumentsInOrder) {
    EXPECT_TRUE(sameFloat(5.0F, addition(2, 3)));
    EXPECT_TRUE(sameFloat(6.0F, multiplication(2, 3)));
    EXPECT_TRUE(sameFloat(3.0F, maximum(2, 3)));
    EXPECT_TRUE(sameFloat(3.0F, maximum(3, 2)));
    EXPECT_TRUE(sameFloat(-0.0F, maximum(0.0F, -0.0F)));  // not above it: the second
    EXPECT_TRUE(sameFloat(0.0F, maximum(-0.0F, 0.0F)));
    EXPECT_TRUE(sameFloat(1.0F, maximum(kNaN, 1)));
    EXPECT_TRUE(sameFloat(kNaN, maximum(1, kNaN)));
}

// The path is chosen by the order that the target has before it takes its shape and with it
// row-major order: b is then added along the storage. Nobody hands such a target in.
TEST(MatrixArithmetic, addOfTransposedIntoATransposedTargetOfAnotherShapeAddsByStorage) {
    const Matrix a = matrixOf(2, 3, {1, 4, 2, 5, 3, 6}, kTransposed);
    const Matrix b = matrixOf(2, 3, {10, 40, 20, 50, 30, 60}, kTransposed);
    Matrix target = matrixOf(1, 1, {0}, kTransposed);
    a.add(b, 1.0F, target);
    EXPECT_EQ(target.trans, kRowMajor);
    EXPECT_TRUE(holds({11, 42, 23, 54, 35, 66}, target));
}

TEST(MatrixArithmetic, applyBinaryLeavesTheShapeOfItsTargetAlone) {
    Matrix target = matrixOf(3, 3, {0, 0, 9, 0, 0, 9, 9, 9, 9});
    matrixOf(2, 2, {5, 6, 7, 8}).applyBinary(multiplication, matrixOf(2, 2, {1, 2, 3, 4}), target);
    EXPECT_EQ(target.numRows, 3);
    EXPECT_EQ(target.numCols, 3);
    EXPECT_TRUE(holds({5, 12, 9, 21, 32, 9, 9, 9, 9}, target));
}

TEST(MatrixArithmetic, anUnknownFunctionGivesTheShapeAndLeavesTheContents) {
    const Matrix source = matrixOf(2, 3, {9, 9, 9, 9, 9, 9});
    for (const std::int32_t code : {11, -1, 1000}) {
        Matrix target = matrixOf(3, 2, {1, 2, 3, 4, 5, 6}, kTransposed);
        source.apply(static_cast<ElementFunction>(code), target);
        EXPECT_EQ(target.numRows, 2);
        EXPECT_EQ(target.numCols, 3);
        EXPECT_EQ(target.trans, kRowMajor);
        target.apply(static_cast<ElementFunction>(code));
        EXPECT_TRUE(holds({1, 2, 3, 4, 5, 6}, target));
    }
}

TEST(MatrixArithmetic, absClearsTheSignBitAndNoOther) {
    const auto markedNaN = std::bit_cast<float>(0xFFC12345U);
    for (const float x : {-0.0F, 0.0F, -1e-45F, -2.5F, 2.5F, -kInfinity, kNaN, -kNaN, markedNaN}) {
        EXPECT_EQ(bitsOf(applied(ElementFunction::Abs, x)), bitsOf(x) & 0x7FFFFFFFU) << hexFloat(x);
    }
}

TEST(MatrixArithmetic, zeroAndOneDoNotReadTheSource) {
    const Matrix unreadable = Matrix::view(nullptr, 2, 2);
    Matrix target = matrixOf(2, 2, {kNaN, -1, kInfinity, -0.0F});
    unreadable.apply(ElementFunction::Zero, target);
    EXPECT_TRUE(holds({0, 0, 0, 0}, target));
    unreadable.apply(ElementFunction::One, target);
    EXPECT_TRUE(holds({1, 1, 1, 1}, target));
}

TEST(MatrixArithmetic, everyFunctionTakesAMatrixWithoutStorage) {
    for (std::int32_t code = 0; code <= 10; ++code) {
        Matrix empty;
        empty.apply(static_cast<ElementFunction>(code));
        EXPECT_EQ(empty.data, nullptr);
    }
}

// Whatever the shape of the matrix: one element is a row vector for one column.
TEST(MatrixArithmetic, aSingleElementMeetsTheFirstColumn) {
    const Matrix half = matrixOf(1, 1, {0.5F});
    Matrix rowMajor = matrixOf(3, 2, {1, 2, 3, 4, 5, 6});
    rowMajor.addVector(half, 1.0F, rowMajor);
    EXPECT_TRUE(holds({1.5F, 2, 3.5F, 4, 5.5F, 6}, rowMajor));
    Matrix transposed = matrixOf(3, 2, {1, 3, 5, 2, 4, 6}, kTransposed);
    transposed.addVector(half, 1.0F, transposed);
    EXPECT_TRUE(holds({1.5F, 3.5F, 5.5F, 2, 4, 6}, transposed));
    Matrix row = matrixOf(1, 3, {1, 2, 3});
    row.addVector(half, 2.0F, row);
    EXPECT_TRUE(holds({2, 2, 3}, row));
    row.eltwiseDivideByVector(half, row);
    EXPECT_TRUE(holds({4, 2, 3}, row));
    // Here the vector's length is taken for that of the rows, as it is with every one that fits.
    Matrix matrix = matrixOf(3, 2, {1, 2, 3, 4, 5, 6});
    matrix.eltwiseMultByVector(half, matrix);
    EXPECT_TRUE(holds({0.5F, 1, 1.5F, 4, 5, 6}, matrix));
}

// No rows is not one row: an empty vector is a column vector.
TEST(MatrixArithmetic, aVectorOfNoElementsChangesNothing) {
    const Matrix empty;
    for (const std::int32_t order : kOrders) {
        Matrix matrix = matrixOf(2, 3, {1, 2, 3, 4, 5, 6}, order);
        matrix.addVector(empty, 1.0F, matrix);
        matrix.eltwiseMultByVector(empty, matrix);
        matrix.eltwiseDivideByVector(empty, matrix);
        EXPECT_TRUE(holds({1, 2, 3, 4, 5, 6}, matrix));
    }
    Matrix target = matrixOf(2, 2, {kNaN, kNaN, kNaN, kNaN});
    matrixOf(2, 2, {1, 2, 3, 4}).eltwiseDivideByVector(empty, target);
    EXPECT_TRUE(holds({1, 2, 3, 4}, target));
}

TEST(MatrixArithmetic, aggregateFoldsColumnsForAxisZeroAndRowsForAnyOther) {
    Random random(31);
    for (const RowsAndCols shape :
         {RowsAndCols{0, 0}, {0, 5}, {5, 0}, {1, 1}, {1, 7}, {6, 1}, {4, 4}, {17, 33}}) {
        const ReferenceMatrix source(shape, [&] { return random.uniform(-1, 1); });
        for (const std::int32_t order : kOrders) {
            const GuardedMatrix stored(source, order);
            for (const std::int32_t axis : {0, 1, 2, -1, 112}) {
                SCOPED_TRACE(testing::Message() << shape.rows << " x " << shape.cols << ", order "
                                                << order << ", axis " << axis);
                const ReferenceMatrix expected = axis == 0 ? foldedColumns(source, mixture, 0.75F)
                                                           : foldedRows(source, mixture, 0.75F);
                Matrix target(2, 3);  // none of the shapes folds to this one
                target.trans = kTransposed;
                stored.matrix.aggregate(axis, target, mixture, 0.75F);
                EXPECT_EQ(target.numRows, expected.rows);
                EXPECT_EQ(target.numCols, expected.cols);
                EXPECT_EQ(target.trans, kRowMajor);
                EXPECT_TRUE(holds(referenceStorage(expected, kRowMajor), target));
                // A target of the right shape keeps its order, and nothing beside it is written.
                GuardedMatrix fitting(
                    onPairs(expected, expected, [](float, float) { return kNaN; }), kTransposed);
                stored.matrix.aggregate(axis, fitting.matrix, mixture, 0.75F);
                EXPECT_EQ(fitting.matrix.trans, kTransposed);
                EXPECT_TRUE(holds(referenceStorage(expected, kTransposed), fitting.matrix));
                EXPECT_TRUE(fitting.guardsIntact());
            }
        }
    }
}

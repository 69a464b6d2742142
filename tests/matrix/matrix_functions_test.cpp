// The operations on one matrix: functions of each element, in every pair of storage orders, what
// they make of special values, and how rows and columns are folded.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/matrix.h"
#include "matrix/vector_functions.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kLargest = std::numeric_limits<float>::max();

// test(shape, order of this, order of the target) for all of them.
template <typename Test>
void forShapesAndTwoOrders(Test test) {
    for (const RowsAndCols shape : kTestShapes) {
        for (const std::int32_t a : kOrders) {
            for (const std::int32_t target : kOrders) {
                SCOPED_TRACE(testing::Message() << shape.rows << " x " << shape.cols << ", orders "
                                                << a << " " << target);
                test(shape, a, target);
            }
        }
    }
}

// Operations on one matrix, with what they do to an element.
struct ElementOperation {
    const char* name;
    void (*operate)(const Matrix& source, Matrix& target);
    float (*onElement)(float x);
};

template <std::int32_t code>
void applyCode(const Matrix& source, Matrix& target) {
    source.apply(static_cast<ElementFunction>(code), target);
}

template <void (*function)(std::int32_t, const float*, float*)>
float onOne(float x) {
    float y = 0;
    function(1, &x, &y);
    return y;
}

float logisticByTanh(float x) {
    const float half = x * 0.5F;
    const float curve = onOne<vsTanh>(half);
    const float raised = 1.0F + curve;
    return raised * 0.5F;
}

float logisticByExp(float x) {
    const float negated = x * -1.0F;
    const float power = onOne<vsExp>(negated);
    const float raised = 1.0F + power;
    return onOne<vsInv>(raised);
}

// These walk through the storage, whatever order the target has.
const ElementOperation kFlatOperations[] = {
    {"addScalar", [](const Matrix& m, Matrix& target) { m.addScalar(0.3F, target); },
     [](float x) { return 0.3F + x; }},
    {"maxWithScalar", [](const Matrix& m, Matrix& target) { m.maxWithScalar(-0.7F, target); },
     [](float x) { return x > -0.7F ? x : -0.7F; }},
    {"Tanh", applyCode<0>, onOne<vsTanh>},
    {"Reciprocal", applyCode<1>, onOne<vsInv>},
    {"Square", applyCode<2>, onOne<vsSqr>},
    {"Abs", applyCode<3>, [](float x) { return x < 0 ? -x : x; }},
    {"Exp", applyCode<4>, onOne<vsExp>},
    {"Log", applyCode<5>, onOne<vsLn>},
    {"Zero", applyCode<6>, [](float) { return 0.0F; }},
    {"One", applyCode<7>, [](float) { return 1.0F; }},
    {"Sign", applyCode<10>, [](float x) { return x > 0 ? 1.0F : -1.0F; }},
};

// These start with a copy, which keeps every element at its logical place.
const ElementOperation kCopyingOperations[] = {
    {"scale", [](const Matrix& m, Matrix& target) { m.scale(-0.3F, target); },
     [](float x) { return x * -0.3F; }},
    {"LogisticByTanh", applyCode<8>, logisticByTanh},
    {"LogisticByExp", applyCode<9>, logisticByExp},
};

// Depends on the order of its arguments, and each step rounds.
float mixture(float element, float soFar) {
    return element - 0.3F * soFar;
}

float applied(ElementFunction function, float x) {
    Matrix matrix = matrixOf(1, 1, {x});
    matrix.apply(function);
    return matrix.data[0];
}

std::uint32_t bitsOf(float x) {
    return std::bit_cast<std::uint32_t>(x);
}

// The one row or the one column of a matrix of 1 x n or n x 1, folded.
std::vector<float> foldOf(const std::vector<float>& values, BinaryFunction fn, float initial) {
    const auto n = static_cast<std::int32_t>(values.size());
    Matrix fromRow;
    matrixOf(1, n, values).aggregate(1, fromRow, fn, initial);
    Matrix fromColumn;
    matrixOf(n, 1, values).aggregate(0, fromColumn, fn, initial);
    EXPECT_TRUE(sameFloats(valuesOf(fromRow), valuesOf(fromColumn)));
    return valuesOf(fromRow);
}

}  // namespace

TEST(MatrixFunctions, flatOperationsWalkThroughTheStorage) {
    Random random(15);
    for (const ElementOperation& operation : kFlatOperations) {
        SCOPED_TRACE(operation.name);
        forShapesAndTwoOrders(
            [&](RowsAndCols shape, std::int32_t order, std::int32_t orderOfTarget) {
                Matrix source = storedAs(uniformFloats(shape, random, -3, 3), order);
                std::vector<float> expected = valuesOf(source);
                for (float& value : expected) {
                    value = operation.onElement(value);
                }
                Matrix target = unwrittenMatrix(shape, orderOfTarget);
                operation.operate(source, target);
                EXPECT_TRUE(sameFloats(expected, valuesOf(target)));
                EXPECT_EQ(target.trans, orderOfTarget);
                EXPECT_EQ(target.numRows, shape.rows);
                EXPECT_EQ(target.numCols, shape.cols);

                Matrix other(shape.rows + 1, 2);
                other.trans = kTransposed;
                operation.operate(source, other);
                EXPECT_TRUE(sameFloats(expected, valuesOf(other)));
                EXPECT_EQ(other.trans, kRowMajor);
                EXPECT_EQ(other.numRows, shape.rows);
                EXPECT_EQ(other.numCols, shape.cols);

                operation.operate(source, source);
                EXPECT_TRUE(sameFloats(expected, valuesOf(source)));
                EXPECT_EQ(source.trans, order);
            });
    }
}

TEST(MatrixFunctions, scaleAndLogisticFunctionsKeepElementsAtTheirPlaces) {
    Random random(16);
    for (const ElementOperation& operation : kCopyingOperations) {
        SCOPED_TRACE(operation.name);
        forShapesAndTwoOrders(
            [&](RowsAndCols shape, std::int32_t order, std::int32_t orderOfTarget) {
                const ReferenceMatrix source = uniformFloats(shape, random, -9, 9);
                const ReferenceMatrix expected = onElements(source, operation.onElement);
                Matrix stored = storedAs(source, order);
                Matrix target = unwrittenMatrix(shape, orderOfTarget);
                operation.operate(stored, target);
                EXPECT_TRUE(sameElements(expected, target));
                EXPECT_EQ(target.trans, orderOfTarget);

                Matrix other(shape.rows + 1, 2);
                other.trans = kTransposed;
                operation.operate(stored, other);
                EXPECT_TRUE(sameElements(expected, other));
                EXPECT_EQ(other.trans, kRowMajor);

                operation.operate(stored, stored);
                EXPECT_TRUE(sameElements(expected, stored));
                EXPECT_EQ(stored.trans, order);
            });
    }
}

TEST(MatrixFunctions, scaleByZeroAndByNaN) {
    Matrix matrix = matrixOf(1, 3, {1, 0, -2});
    matrix.scale(0.0F, matrix);
    EXPECT_TRUE(sameFloats({0.0F, 0.0F, -0.0F}, valuesOf(matrix)));
    matrix.scale(kNaN, matrix);
    EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN}, valuesOf(matrix)));
}

TEST(MatrixFunctions, maxWithScalarTakesOnlyWhatIsAboveIt) {
    const std::vector<float> values = {1.5F, -1.5F,  0.0F,      -0.0F,
                                       kNaN, 1e-45F, kInfinity, -kInfinity};
    const std::vector<float> expected = {1.5F, 0.0F, 0.0F, 0.0F, 0.0F, 1e-45F, kInfinity, 0.0F};
    Matrix matrix = matrixOf(1, 8, values);
    Matrix target;
    matrix.maxWithScalar(0.0F, target);
    EXPECT_TRUE(sameFloats(expected, valuesOf(target)));
    matrix.maxWithScalar(0.0F, matrix);
    EXPECT_TRUE(sameFloats(expected, valuesOf(matrix)));
}

TEST(MatrixFunctions, maxWithScalarGivesTheScalarWhereNothingIsAboveIt) {
    const Matrix matrix = matrixOf(1, 4, {0.0F, -0.0F, 2.0F, kNaN});
    Matrix target;
    matrix.maxWithScalar(-0.0F, target);
    EXPECT_TRUE(sameFloats({-0.0F, -0.0F, 2.0F, -0.0F}, valuesOf(target)));
    matrix.maxWithScalar(kNaN, target);
    EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN, kNaN}, valuesOf(target)));
}

TEST(MatrixFunctions, codesAreThoseOfTheTable) {
    EXPECT_EQ(static_cast<int>(ElementFunction::Tanh), 0);
    EXPECT_EQ(static_cast<int>(ElementFunction::Reciprocal), 1);
    EXPECT_EQ(static_cast<int>(ElementFunction::Square), 2);
    EXPECT_EQ(static_cast<int>(ElementFunction::Abs), 3);
    EXPECT_EQ(static_cast<int>(ElementFunction::Exp), 4);
    EXPECT_EQ(static_cast<int>(ElementFunction::Log), 5);
    EXPECT_EQ(static_cast<int>(ElementFunction::Zero), 6);
    EXPECT_EQ(static_cast<int>(ElementFunction::One), 7);
    EXPECT_EQ(static_cast<int>(ElementFunction::LogisticByTanh), 8);
    EXPECT_EQ(static_cast<int>(ElementFunction::LogisticByExp), 9);
    EXPECT_EQ(static_cast<int>(ElementFunction::Sign), 10);
}

TEST(MatrixFunctions, unknownCodeGivesTheShapeAndLeavesTheContents) {
    const Matrix source = matrixOf(2, 3, {9, 9, 9, 9, 9, 9});
    for (const std::int32_t code : {11, -1, 1000}) {
        Matrix target = matrixOf(3, 2, {1, 2, 3, 4, 5, 6});
        target.trans = kTransposed;
        source.apply(static_cast<ElementFunction>(code), target);
        EXPECT_EQ(target.numRows, 2);
        EXPECT_EQ(target.numCols, 3);
        EXPECT_EQ(target.trans, kRowMajor);
        EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(target)));
        target.apply(static_cast<ElementFunction>(code));
        EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(target)));
    }
}

TEST(MatrixFunctions, applyWithoutATargetWorksInPlace) {
    Matrix matrix = matrixOf(2, 2, {1, -2, 3, -4});
    matrix.trans = kTransposed;
    const float* storage = matrix.data;
    matrix.apply(ElementFunction::Square);
    EXPECT_EQ(matrix.data, storage);
    EXPECT_EQ(matrix.trans, kTransposed);
    EXPECT_TRUE(sameFloats({1, 4, 9, 16}, valuesOf(matrix)));
}

TEST(MatrixFunctions, signIsNegativeForZeroAndNaN) {
    for (const float x : {0.0F, -0.0F, kNaN, -1e-45F, -kInfinity}) {
        EXPECT_TRUE(sameFloat(-1.0F, applied(ElementFunction::Sign, x))) << hexFloat(x);
    }
    for (const float x : {1e-45F, 1.0F, 7.5F, kInfinity}) {
        EXPECT_TRUE(sameFloat(1.0F, applied(ElementFunction::Sign, x))) << hexFloat(x);
    }
}

TEST(MatrixFunctions, absClearsTheSignBitAndNoOther) {
    for (const float x : {-0.0F, 0.0F, -1e-45F, -2.5F, 2.5F, -kInfinity, kNaN, -kNaN}) {
        EXPECT_EQ(bitsOf(applied(ElementFunction::Abs, x)), bitsOf(x) & 0x7FFFFFFFU) << hexFloat(x);
    }
    const auto markedNaN = std::bit_cast<float>(0xFFC12345U);
    EXPECT_EQ(bitsOf(applied(ElementFunction::Abs, markedNaN)), 0x7FC12345U);
}

TEST(MatrixFunctions, zeroAndOneDoNotReadTheSource) {
    const Matrix unreadable = Matrix::view(nullptr, 2, 2);
    Matrix target = matrixOf(2, 2, {kNaN, -1, kInfinity, -0.0F});
    unreadable.apply(ElementFunction::Zero, target);
    EXPECT_TRUE(sameFloats({0, 0, 0, 0}, valuesOf(target)));
    unreadable.apply(ElementFunction::One, target);
    EXPECT_TRUE(sameFloats({1, 1, 1, 1}, valuesOf(target)));
    EXPECT_TRUE(sameFloat(0.0F, applied(ElementFunction::Zero, kNaN)));
    EXPECT_TRUE(sameFloat(1.0F, applied(ElementFunction::One, kNaN)));
}

TEST(MatrixFunctions, everyFunctionTakesAMatrixWithoutElements) {
    for (std::int32_t code = 0; code <= 10; ++code) {
        const auto function = static_cast<ElementFunction>(code);
        Matrix empty;
        empty.apply(function);
        EXPECT_EQ(empty.data, nullptr);
        Matrix target(2, 2);
        Matrix(3, 0).apply(function, target);
        EXPECT_EQ(target.numRows, 3);
        EXPECT_EQ(target.numElements, 0);
    }
}

// Far out, the float nearest to the hyperbolic tangent is 1, and the sum with 1 then loses what the
// exponential still shows.
TEST(MatrixFunctions, logisticFunctionsRoundEachStep) {
    EXPECT_TRUE(sameFloat(0.0F, applied(ElementFunction::LogisticByTanh, -20)));
    EXPECT_TRUE(sameFloat(1.0F, applied(ElementFunction::LogisticByTanh, 20)));
    EXPECT_TRUE(sameFloat(0.5F, applied(ElementFunction::LogisticByTanh, 0)));
    EXPECT_TRUE(sameFloat(0.5F, applied(ElementFunction::LogisticByExp, 0)));
    float power = 20;
    vsExp(1, &power, &power);
    EXPECT_TRUE(sameFloat(1.0F / (1.0F + power), applied(ElementFunction::LogisticByExp, -20)));
    EXPECT_TRUE(sameFloat(1.0F, applied(ElementFunction::LogisticByExp, 20)));
    EXPECT_TRUE(sameFloat(0.0F, applied(ElementFunction::LogisticByExp, -100)));  // 1 / infinity
}

TEST(MatrixFunctions, logisticFunctionsTakeInfinitiesAndNaN) {
    for (const auto function : {ElementFunction::LogisticByTanh, ElementFunction::LogisticByExp}) {
        EXPECT_TRUE(sameFloat(1.0F, applied(function, kInfinity)));
        EXPECT_TRUE(sameFloat(0.0F, applied(function, -kInfinity)));
        EXPECT_TRUE(sameFloat(1.0F, applied(function, kLargest)));
        EXPECT_TRUE(sameFloat(0.0F, applied(function, -kLargest)));
        EXPECT_TRUE(sameFloat(kNaN, applied(function, kNaN)));
    }
}

TEST(MatrixFunctions, aggregateFoldsColumnsForAxisZeroAndRowsForAnyOther) {
    Random random(31);
    for (const RowsAndCols shape : kTestShapes) {
        for (const std::int32_t order : kOrders) {
            SCOPED_TRACE(testing::Message() << shape.rows << " x " << shape.cols << " " << order);
            const ReferenceMatrix source = uniformFloats(shape, random, -1, 1);
            const Matrix stored = storedAs(source, order);
            Matrix target(2, 3);
            target.trans = kTransposed;
            stored.aggregate(0, target, mixture, 0.75F);
            EXPECT_TRUE(sameElements(foldedColumns(source, mixture, 0.75F), target));
            EXPECT_EQ(target.trans, kRowMajor);
            for (const std::int32_t axis : {1, 2, -1, 112}) {
                Matrix column;
                stored.aggregate(axis, column, mixture, 0.75F);
                EXPECT_TRUE(sameElements(foldedRows(source, mixture, 0.75F), column)) << axis;
            }
        }
    }
}

TEST(MatrixFunctions, aggregateIntoTheRightShapeKeepsItsStorageOrder) {
    const Matrix source = matrixOf(2, 3, {1, 2, 3, 10, 20, 30});
    Matrix row = unwrittenMatrix({1, 3}, kTransposed);
    source.aggregate(0, row, addition, 0.0F);
    EXPECT_EQ(row.trans, kTransposed);
    EXPECT_TRUE(sameFloats({11, 22, 33}, valuesOf(row)));
    Matrix column = unwrittenMatrix({2, 1}, kTransposed);
    source.aggregate(1, column, addition, 0.0F);
    EXPECT_EQ(column.trans, kTransposed);
    EXPECT_TRUE(sameFloats({6, 60}, valuesOf(column)));
}

TEST(MatrixFunctions, aggregateHandsOverTheElementFirst) {
    const auto quotient = [](float x, float y) { return x / y; };
    EXPECT_TRUE(sameFloats({6.0F / (8.0F / 2.0F)}, foldOf({8, 6}, quotient, 2.0F)));
}

// 1 is lost beside 2^25, unless the large ones have cancelled before it comes.
TEST(MatrixFunctions, aggregateAddsInAscendingOrder) {
    EXPECT_TRUE(sameFloats({0.0F}, foldOf({1, 0x1p25F, -0x1p25F}, addition, 0.0F)));
    EXPECT_TRUE(sameFloats({1.0F}, foldOf({0x1p25F, -0x1p25F, 1}, addition, 0.0F)));
    EXPECT_TRUE(sameFloats({0.0F}, foldOf({0x1p25F, -0x1p25F}, addition, 1.0F)));
}

TEST(MatrixFunctions, aggregateOfNaNAloneWithMaximumGivesTheInitialValue) {
    EXPECT_TRUE(sameFloats({-7.0F}, foldOf({kNaN, kNaN, kNaN}, maximum, -7.0F)));
    EXPECT_TRUE(sameFloats({-kInfinity}, foldOf({kNaN}, maximum, -kInfinity)));
}

TEST(MatrixFunctions, aggregateWithMaximumPassesOverNaN) {
    EXPECT_TRUE(sameFloats({3.0F}, foldOf({kNaN, 3, 1}, maximum, -7.0F)));
    EXPECT_TRUE(sameFloats({3.0F}, foldOf({3, kNaN, 1}, maximum, -7.0F)));
    EXPECT_TRUE(sameFloats({3.0F}, foldOf({1, 3, kNaN}, maximum, -7.0F)));
    EXPECT_TRUE(sameFloats({kNaN}, foldOf({1, 3}, maximum, kNaN)));
    EXPECT_TRUE(sameFloats({kNaN}, foldOf({1, kNaN, 3}, addition, 0.0F)));
}

TEST(MatrixFunctions, aggregateOverALengthOfZeroGivesTheInitialValue) {
    Matrix target;
    Matrix(0, 3).aggregate(0, target, maximum, 2.5F);
    EXPECT_EQ(target.numRows, 1);
    EXPECT_TRUE(sameFloats({2.5F, 2.5F, 2.5F}, valuesOf(target)));
    Matrix(2, 0).aggregate(1, target, addition, -1.5F);
    EXPECT_EQ(target.numCols, 1);
    EXPECT_TRUE(sameFloats({-1.5F, -1.5F}, valuesOf(target)));
    Matrix(2, 0).aggregate(0, target, addition, -1.5F);
    EXPECT_EQ(target.numRows, 1);
    EXPECT_EQ(target.numElements, 0);
    Matrix(0, 3).aggregate(1, target, addition, -1.5F);
    EXPECT_EQ(target.numCols, 1);
    EXPECT_EQ(target.numElements, 0);
}

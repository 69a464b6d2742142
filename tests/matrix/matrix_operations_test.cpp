// The operations on the elements of two matrices, against plain loops, in every combination of
// storage orders. Those on one matrix are tested in matrix_functions_test.cpp, those with a vector
// in matrix_vectors_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
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

float subtraction(float x, float y) {
    return x - y;
}

// test(shape, order of this, order of b, order of the target) for all of them.
template <typename Test>
void forShapesAndThreeOrders(Test test) {
    for (const RowsAndCols shape : kTestShapes) {
        for (const std::int32_t a : kOrders) {
            for (const std::int32_t b : kOrders) {
                for (const std::int32_t target : kOrders) {
                    SCOPED_TRACE(testing::Message()
                                 << shape.rows << " x " << shape.cols << ", orders " << a << " "
                                 << b << " " << target);
                    test(shape, a, b, target);
                }
            }
        }
    }
}

// What add may give where the BLAS does it: with one rounding or with two.
testing::AssertionResult sumsFusedOrNot(const std::vector<float>& a, const std::vector<float>& b,
                                        float scale, const std::vector<float>& actual) {
    for (std::size_t n = 0; n < actual.size(); ++n) {
        if (!sameBits(std::fma(b[n], scale, a[n]), actual[n])) {
            const auto same = sameFloat(b[n] * scale + a[n], actual[n]);
            if (!same) {
                return testing::AssertionFailure() << "at " << n << ": " << same.message();
            }
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace

TEST(MatrixOperations, binaryFunctionsTakeTheirArgumentsInOrder) {
    EXPECT_TRUE(sameFloat(5.0F, addition(2, 3)));
    EXPECT_TRUE(sameFloat(6.0F, multiplication(2, 3)));
    EXPECT_TRUE(sameFloat(3.0F, maximum(2, 3)));
    EXPECT_TRUE(sameFloat(3.0F, maximum(3, 2)));
    EXPECT_TRUE(sameFloat(-0.0F, maximum(0.0F, -0.0F)));  // not above it: the second
    EXPECT_TRUE(sameFloat(0.0F, maximum(-0.0F, 0.0F)));
    EXPECT_TRUE(sameFloat(1.0F, maximum(kNaN, 1)));
    EXPECT_TRUE(sameFloat(kNaN, maximum(1, kNaN)));
}

TEST(MatrixOperations, addMeetsElementsByPlaceInEveryOrder) {
    Random random(11);
    forShapesAndThreeOrders([&](RowsAndCols shape, std::int32_t orderOfA, std::int32_t orderOfB,
                                std::int32_t orderOfTarget) {
        const ReferenceMatrix a = smallIntegers(shape, random);
        const ReferenceMatrix b = smallIntegers(shape, random);
        const Matrix second = storedAs(b, orderOfB);
        for (const float scale : {1.0F, -2.0F, 0.5F, 0.0F}) {
            const auto expected =
                onPairs(a, b, [scale](float x, float y) { return y * scale + x; });
            Matrix first = storedAs(a, orderOfA);
            Matrix target = unwrittenMatrix(shape, orderOfTarget);
            first.add(second, scale, target);
            EXPECT_TRUE(sameElements(expected, target)) << scale;
            EXPECT_EQ(target.trans, orderOfTarget);
            Matrix fresh;
            first.add(second, scale, fresh);
            EXPECT_TRUE(sameElements(expected, fresh)) << scale;
            EXPECT_EQ(fresh.trans, kRowMajor);
            first.add(second, scale, first);
            EXPECT_TRUE(sameElements(expected, first)) << scale;
            EXPECT_EQ(first.trans, orderOfA);
        }
    });
}

TEST(MatrixOperations, addOfMixedOrdersRoundsTheProductAndThenTheSum) {
    Random random(12);
    forShapesAndThreeOrders([&](RowsAndCols shape, std::int32_t orderOfA, std::int32_t orderOfB,
                                std::int32_t orderOfTarget) {
        if (orderOfA == orderOfB && orderOfA == orderOfTarget) {
            return;
        }
        const ReferenceMatrix a = uniformFloats(shape, random, -1, 1);
        const ReferenceMatrix b = uniformFloats(shape, random, -1, 1);
        for (const float scale : {1.0F, 1.1F, -0.7F}) {
            Matrix target = unwrittenMatrix(shape, orderOfTarget);
            storedAs(a, orderOfA).add(storedAs(b, orderOfB), scale, target);
            const auto expected = onPairs(a, b, [scale](float x, float y) {
                const float product = y * scale;
                return product + x;
            });
            EXPECT_TRUE(sameElements(expected, target)) << scale;
        }
    });
}

// The product is 1 + 2^-11 + 2^-24: its last summand is lost to the rounding that a fused operation
// leaves out.
TEST(MatrixOperations, addOfMixedOrdersIsNotFused) {
    Matrix a = matrixOf(1, 1, {-0x1.002p+0F});
    const Matrix b = matrixOf(1, 1, {0x1.001p+0F});
    a.trans = kTransposed;
    Matrix target;
    a.add(b, 0x1.001p+0F, target);
    EXPECT_TRUE(sameFloat(0.0F, target.data[0]));
    EXPECT_TRUE(sameFloat(0x1p-24F, std::fma(0x1.001p+0F, 0x1.001p+0F, -0x1.002p+0F)));
}

TEST(MatrixOperations, addOfLikeOrdersRoundsOnceOrTwice) {
    Random random(13);
    for (const std::int32_t order : kOrders) {
        Matrix a = storedAs(uniformFloats({17, 33}, random, -1, 1), order);
        const Matrix b = storedAs(uniformFloats({17, 33}, random, -1, 1), order);
        Matrix target = unwrittenMatrix({17, 33}, order);
        a.add(b, -0.7F, target);
        EXPECT_TRUE(sumsFusedOrNot(valuesOf(a), valuesOf(b), -0.7F, valuesOf(target)));
        const std::vector<float> former = valuesOf(a);
        a.add(b, 1.0F, a);
        EXPECT_TRUE(sumsFusedOrNot(former, valuesOf(b), 1.0F, valuesOf(a)));
    }
}

TEST(MatrixOperations, addOfMixedOrdersMayWriteIntoTheSecondOperand) {
    Random random(14);
    for (const std::int32_t orderOfA : kOrders) {
        const std::int32_t orderOfB = orderOfA == kRowMajor ? kTransposed : kRowMajor;
        for (const float scale : {1.0F, 3.0F}) {
            const ReferenceMatrix a = smallIntegers({3, 5}, random);
            const ReferenceMatrix b = smallIntegers({3, 5}, random);
            Matrix second = storedAs(b, orderOfB);
            storedAs(a, orderOfA).add(second, scale, second);
            EXPECT_TRUE(sameElements(
                onPairs(a, b, [scale](float x, float y) { return y * scale + x; }), second));
        }
    }
}

TEST(MatrixOperations, addWithScaleNaNGivesNaN) {
    for (const std::int32_t order : kOrders) {
        const Matrix a = matrixOf(2, 2, {1, 2, 3, 4});
        Matrix b = matrixOf(2, 2, {0, 1, -1, kInfinity});
        b.trans = order;
        Matrix target(2, 2);
        a.add(b, kNaN, target);
        EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN, kNaN}, valuesOf(target))) << order;
    }
}

// The path is chosen by the order that the target has before it takes its shape and with it
// row-major order: b is then added along the storage. Nobody hands such a target in.
TEST(MatrixOperations, addOfTransposedIntoATransposedTargetOfAnotherShapeAddsByStorage) {
    Matrix a = matrixOf(2, 3, {1, 4, 2, 5, 3, 6});
    Matrix b = matrixOf(2, 3, {10, 40, 20, 50, 30, 60});
    Matrix target(1, 1);
    for (Matrix* m : {&a, &b, &target}) {
        m->trans = kTransposed;
    }
    a.add(b, 1.0F, target);
    EXPECT_EQ(target.trans, kRowMajor);
    EXPECT_TRUE(sameFloats({11, 42, 23, 54, 35, 66}, valuesOf(target)));
}

TEST(MatrixOperations, eltwiseMultMeetsElementsByPlace) {
    Random random(17);
    forShapesAndThreeOrders([&](RowsAndCols shape, std::int32_t orderOfA, std::int32_t orderOfB,
                                std::int32_t orderOfTarget) {
        const ReferenceMatrix a = uniformFloats(shape, random, -2, 2);
        const ReferenceMatrix b = uniformFloats(shape, random, -2, 2);
        const auto expected = onPairs(a, b, [](float x, float y) { return x * y; });
        Matrix first = storedAs(a, orderOfA);
        Matrix second = storedAs(b, orderOfB);
        if (orderOfA != orderOfB || orderOfA == orderOfTarget) {
            Matrix target = unwrittenMatrix(shape, orderOfTarget);
            first.eltwiseMult(second, target);
            EXPECT_TRUE(sameElements(expected, target));
            EXPECT_EQ(target.trans, orderOfTarget);
        }
        first.eltwiseMult(second, second);
        EXPECT_TRUE(sameElements(expected, second));
        EXPECT_EQ(second.trans, orderOfB);
        first.eltwiseMult(storedAs(b, orderOfB), first);
        EXPECT_TRUE(sameElements(expected, first));
        EXPECT_EQ(first.trans, orderOfA);
    });
}

// Only the operands' orders are compared: a target in the other order gets their storage.
TEST(MatrixOperations, eltwiseMultOfLikeOrdersWalksThroughTheStorage) {
    for (const std::int32_t order : kOrders) {
        Matrix a = matrixOf(2, 3, {1, 2, 3, 4, 5, 6});
        Matrix b = matrixOf(2, 3, {3, 5, 7, 11, 13, 17});
        a.trans = b.trans = order;
        for (const std::int32_t orderOfTarget : kOrders) {
            Matrix target(2, 3);
            target.trans = orderOfTarget;
            a.eltwiseMult(b, target);
            EXPECT_TRUE(sameFloats({3, 10, 21, 44, 65, 102}, valuesOf(target)));
            EXPECT_EQ(target.trans, orderOfTarget);
        }
        Matrix fresh;
        a.eltwiseMult(b, fresh);
        EXPECT_TRUE(sameFloats({3, 10, 21, 44, 65, 102}, valuesOf(fresh)));
        EXPECT_EQ(fresh.trans, kRowMajor);
    }
}

TEST(MatrixOperations, eltwiseMaxTakesTheGreaterElementInEveryOrder) {
    Random random(18);
    forShapesAndThreeOrders([&](RowsAndCols shape, std::int32_t orderOfA, std::int32_t orderOfB,
                                std::int32_t orderOfTarget) {
        const ReferenceMatrix a = uniformFloats(shape, random, -1, 1);
        const ReferenceMatrix b = uniformFloats(shape, random, -1, 1);
        const auto expected = onPairs(a, b, [](float x, float y) { return x > y ? x : y; });
        Matrix first = storedAs(a, orderOfA);
        Matrix second = storedAs(b, orderOfB);
        Matrix target = unwrittenMatrix(shape, orderOfTarget);
        first.eltwiseMax(second, target);
        EXPECT_TRUE(sameElements(expected, target));
        EXPECT_EQ(target.trans, orderOfTarget);
        Matrix fresh(shape.rows + 1, 2);
        first.eltwiseMax(second, fresh);
        EXPECT_TRUE(sameElements(expected, fresh));
        first.eltwiseMax(second, second);
        EXPECT_TRUE(sameElements(expected, second));
        first.eltwiseMax(storedAs(b, orderOfB), first);
        EXPECT_TRUE(sameElements(expected, first));
    });
}

TEST(MatrixOperations, eltwiseMaxNeverTakesANaNFromTheFirstAndKeepsOneInTheSecond) {
    const Matrix a = matrixOf(1, 5, {kNaN, 1, kNaN, 0.0F, -0.0F});
    const Matrix b = matrixOf(1, 5, {2, kNaN, kNaN, -0.0F, 0.0F});
    Matrix target;
    a.eltwiseMax(b, target);
    EXPECT_TRUE(sameFloats({2, kNaN, kNaN, -0.0F, 0.0F}, valuesOf(target)));
}

TEST(MatrixOperations, applyBinaryTakesTheFirstArgumentFromThisInEveryOrder) {
    Random random(19);
    forShapesAndThreeOrders([&](RowsAndCols shape, std::int32_t orderOfA, std::int32_t orderOfB,
                                std::int32_t orderOfTarget) {
        const ReferenceMatrix a = uniformFloats(shape, random, -1, 1);
        const ReferenceMatrix b = uniformFloats(shape, random, -1, 1);
        const auto expected = onPairs(a, b, [](float x, float y) { return x - y; });
        Matrix first = storedAs(a, orderOfA);
        Matrix second = storedAs(b, orderOfB);
        Matrix target = unwrittenMatrix(shape, orderOfTarget);
        first.applyBinary(subtraction, second, target);
        EXPECT_TRUE(sameElements(expected, target));
        EXPECT_EQ(target.trans, orderOfTarget);
        first.applyBinary(subtraction, second, second);
        EXPECT_TRUE(sameElements(expected, second));
        first.applyBinary(subtraction, storedAs(b, orderOfB), first);
        EXPECT_TRUE(sameElements(expected, first));
    });
}

TEST(MatrixOperations, applyBinaryLeavesTheShapeOfItsTargetAlone) {
    const Matrix a = matrixOf(2, 2, {5, 6, 7, 8});
    const Matrix b = matrixOf(2, 2, {1, 2, 3, 4});
    Matrix target = matrixOf(3, 3, {0, 0, 9, 0, 0, 9, 9, 9, 9});
    a.applyBinary(subtraction, b, target);
    EXPECT_EQ(target.numRows, 3);
    EXPECT_EQ(target.numCols, 3);
    EXPECT_TRUE(sameFloats({4, 4, 9, 4, 4, 9, 9, 9, 9}, valuesOf(target)));
}

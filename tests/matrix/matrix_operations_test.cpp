// Every element-wise operation of Matrix against a plain function of the elements that meet: on
// fixed and random shapes, in every combination of storage orders, into a target of the right
// shape, of another shape, and into either operand. Oddities are in matrix_arithmetic_test.cpp.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "matrix/matrix.h"
#include "matrix/vector_functions.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/matrices.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

enum class Other { None, Matrix, Vector };

// Where an element's result goes.
enum class Place {
    Logical,            // to its logical place
    Flat,               // to its place in the storage, whatever order the target has
    FlatWhereOneOrder,  // so if both operands have one storage order
};

struct Setting {
    std::int32_t orderOfA;
    std::int32_t orderOfB;
    std::int32_t orderOfTarget;
    bool vecIsRow;
    float s;  // the scalar operand, where there is one

    bool hasOneOrder() const { return orderOfA == orderOfB && orderOfA == orderOfTarget; }
};

struct Operation {
    const char* name;
    Other other;
    Place place;
    void (*call)(const Matrix& a, const Matrix& b, float s, Matrix& target);
    float (*plain)(float x, float y, const Setting& at);
    std::vector<float> scalars = {1};
    bool shapesItsTarget = true;
    // What the BLAS may give instead, which does the work where the orders allow it.
    float (*alsoAllowed)(float x, float y, float s) = nullptr;
};

template <void (*function)(std::int32_t, const float*, float*)>
float onOne(float x) {
    float y = 0;
    function(1, &x, &y);
    return y;
}

float logisticByTanh(float x) {
    const float raised = 1.0F + onOne<vsTanh>(x * 0.5F);
    return raised * 0.5F;
}

float logisticByExp(float x) {
    const float raised = 1.0F + onOne<vsExp>(-x);
    return 1.0F / raised;
}

// In the order of their codes.
float (*const kElementFunctions[])(float) = {
    onOne<vsTanh>,
    onOne<vsInv>,
    onOne<vsSqr>,
    [](float x) { return std::copysign(x, 1.0F); },
    onOne<vsExp>,
    onOne<vsLn>,
    [](float) { return 0.0F; },
    [](float) { return 1.0F; },
    logisticByTanh,
    logisticByExp,
    [](float x) { return x > 0 ? 1.0F : -1.0F; },
};

void apply(const Matrix& a, const Matrix&, float code, Matrix& target) {
    a.apply(static_cast<ElementFunction>(static_cast<std::int32_t>(code)), target);
}

float applied(float x, float, const Setting& at) {
    return kElementFunctions[static_cast<int>(at.s)](x);
}

float roundedTwice(float x, float y, const Setting& at) {
    const float product = y * at.s;
    return product + x;
}

// A product that is not rounded before the sum; with a factor of zero, none.
float fusedOrLeftOut(float x, float y, float s) {
    return s == 0 ? x : std::fma(y, s, x);
}

float product(float x, float y, const Setting&) {
    return x * y;
}

// A quotient where the vector lies along the lines of a storage that matrix and target share, else
// a product with the rounded reciprocal.
float divided(float x, float y, const Setting& at) {
    const bool liesAlong = at.orderOfA == (at.vecIsRow ? kRowMajor : kTransposed);
    const float reciprocal = 1.0F / y;
    return liesAlong && at.orderOfA == at.orderOfTarget ? x / y : x * reciprocal;
}

using M = Matrix;

const Operation kOperations[] = {
    {"addScalar",
     Other::None,
     Place::Flat,
     [](const M& a, const M&, float s, M& target) { a.addScalar(s, target); },
     [](float x, float, const Setting& at) { return at.s + x; },
     {0.3F, -kInfinity}},
    {"maxWithScalar",
     Other::None,
     Place::Flat,
     [](const M& a, const M&, float s, M& target) { a.maxWithScalar(s, target); },
     [](float x, float, const Setting& at) { return x > at.s ? x : at.s; },
     {-0.7F, 0.0F, -0.0F, kNaN}},
    {"scale",
     Other::None,
     Place::Logical,
     [](const M& a, const M&, float s, M& target) { a.scale(s, target); },
     [](float x, float, const Setting& at) { return x * at.s; },
     {-0.3F, 1.0F, 1e-40F, 0.0F, -0.0F, kInfinity, kNaN}},
    {"apply", Other::None, Place::Flat, apply, applied, {0, 1, 2, 3, 4, 5, 6, 7, 10}},
    {"apply a logistic function", Other::None, Place::Logical, apply, applied, {8, 9}},
    {"add",
     Other::Matrix,
     Place::Logical,
     [](const M& a, const M& b, float s, M& target) { a.add(b, s, target); },
     roundedTwice,
     {1.0F, 1.5F, -0.7F, 0.0F, kInfinity, kNaN},
     true,
     fusedOrLeftOut},
    {"eltwiseMult", Other::Matrix, Place::FlatWhereOneOrder,
     [](const M& a, const M& b, float, M& target) { a.eltwiseMult(b, target); }, product},
    {"eltwiseMax", Other::Matrix, Place::Logical,
     [](const M& a, const M& b, float, M& target) { a.eltwiseMax(b, target); },
     [](float x, float y, const Setting&) { return x > y ? x : y; }},
    {"applyBinary",
     Other::Matrix,
     Place::Logical,
     [](const M& a, const M& b, float, M& target) {
         a.applyBinary([](float x, float y) { return x - y; }, b, target);
     },
     [](float x, float y, const Setting&) { return x - y; },
     {1},
     false},
    {"addVector",
     Other::Vector,
     Place::Logical,
     [](const M& a, const M& b, float s, M& target) { a.addVector(b, s, target); },
     roundedTwice,
     {1.0F, 1.5F, -0.7F, 0.0F, kNaN},
     true,
     fusedOrLeftOut},
    {"eltwiseMultByVector", Other::Vector, Place::Logical,
     [](const M& a, const M& b, float, M& target) { a.eltwiseMultByVector(b, target); }, product},
    {"eltwiseDivideByVector", Other::Vector, Place::Logical,
     [](const M& a, const M& b, float, M& target) { a.eltwiseDivideByVector(b, target); }, divided},
};

// Mostly of moderate size, so that sums and products of them round; now and then a special one.
float drawnElement(Random& random) {
    constexpr float kSpecial[] = {0.0F, -0.0F,     1.0F,      kInfinity,        -kInfinity,
                                  kNaN, 0x1p-149F, 0x1p-126F, -0x1.fffffep+127F};
    if (random.oneIn(8)) {
        return kSpecial[random.between(0, 8)];
    }
    return random.oneIn(16) ? random.anyFloat() : random.uniform(-3, 3);
}

// One operation on two operands in one setting.
class Trial {
  public:
    Trial(const Operation& tried, Random& random, RowsAndCols shape, RowsAndCols otherShape,
          const Setting& where)
        : operation(tried),
          at(where),
          a(shape, [&] { return drawnElement(random); }),
          b(otherShape, [&] { return drawnElement(random); }) {}

    void intoEveryTarget() const {
        const ReferenceMatrix unwritten({a.rows, a.cols}, [] { return kNaN; });
        GuardedMatrix target(unwritten, at.orderOfTarget);
        GuardedMatrix first(a, at.orderOfA);
        GuardedMatrix second(b, at.orderOfB);
        call(first, second, target.matrix);
        expectPlain(target.matrix, at.orderOfTarget);
        EXPECT_TRUE(target.guardsIntact());

        // This target takes row-major order with its new shape. The sum of three transposed
        // matrices is an oddity of its own.
        const bool isPair = operation.other == Other::Matrix;
        if (operation.shapesItsTarget &&
            !(isPair && at.hasOneOrder() && at.orderOfA == kTransposed)) {
            Matrix reshaped(a.rows + 1, a.cols + 1);
            reshaped.trans = at.orderOfTarget;
            call(first, second, reshaped);
            expectPlain(reshaped, kRowMajor);
        }

        call(first, second, first.matrix);
        expectPlain(first.matrix, at.orderOfA);
        EXPECT_TRUE(first.guardsIntact());
        EXPECT_TRUE(sameFloats(referenceStorage(b, at.orderOfB), valuesOf(second.matrix)));

        // add may not write into b where all have one order: it copies this matrix first.
        if (isPair && !(operation.alsoAllowed != nullptr && at.orderOfA == at.orderOfB)) {
            call(GuardedMatrix(a, at.orderOfA), second, second.matrix);
            expectPlain(second.matrix, at.orderOfB);
            EXPECT_TRUE(second.guardsIntact());
        }
    }

  private:
    void call(const GuardedMatrix& first, const GuardedMatrix& second, Matrix& target) const {
        operation.call(first.matrix, second.matrix, at.s, target);
    }

    void expectPlain(const Matrix& target, std::int32_t orderOfTarget) const {
        EXPECT_EQ(target.trans, orderOfTarget);
        EXPECT_EQ(target.numRows, a.rows);
        EXPECT_EQ(target.numCols, a.cols);
        Setting here = at;
        here.orderOfTarget = orderOfTarget;
        const bool isFlat =
            operation.place == Place::Flat ||
            (operation.place == Place::FlatWhereOneOrder && at.orderOfA == at.orderOfB);
        const std::int32_t order = isFlat ? at.orderOfA : orderOfTarget;
        const auto plain = [&](float x, float y) { return operation.plain(x, y, here); };
        const auto allowed = [&](float x, float y) { return operation.alsoAllowed(x, y, at.s); };
        std::vector<float> expected = referenceStorage(onPairs(a, b, plain), order);
        const std::vector<float> actual = valuesOf(target);
        if (operation.alsoAllowed != nullptr &&
            (operation.other == Other::Vector || here.hasOneOrder())) {
            const std::vector<float> others = referenceStorage(onPairs(a, b, allowed), order);
            for (std::size_t n = 0; n < expected.size() && n < actual.size(); ++n) {
                expected[n] = sameBits(others[n], actual[n]) ? others[n] : expected[n];
            }
        }
        EXPECT_TRUE(sameFloats(expected, actual));
    }

    const Operation& operation;
    Setting at;
    ReferenceMatrix a;
    ReferenceMatrix b;
};

void tryEverySetting(const Operation& operation, float s, RowsAndCols shape, Random& random) {
    const bool hasVector = operation.other == Other::Vector;
    for (unsigned bits = 0; bits < 16; ++bits) {
        const Setting at = {kOrders[bits & 1], kOrders[bits >> 1 & 1], kOrders[bits >> 2 & 1],
                            (bits & 8) == 0, s};
        // A matrix of one row has no column vector: one element counts as a row vector.
        if (!at.vecIsRow && (!hasVector || shape.rows == 1)) {
            continue;
        }
        const RowsAndCols vec =
            at.vecIsRow ? RowsAndCols{1, shape.cols} : RowsAndCols{shape.rows, 1};
        SCOPED_TRACE(testing::Message()
                     << operation.name << ", scalar " << s << ", " << shape.rows << " x "
                     << shape.cols << ", orders " << at.orderOfA << " " << at.orderOfB << " "
                     << at.orderOfTarget << ", row vector " << at.vecIsRow);
        Trial(operation, random, shape, hasVector ? vec : shape, at).intoEveryTarget();
    }
}

}  // namespace

TEST(MatrixOperations, giveWhatThePlainFunctionGivesForTheElementsThatMeet) {
    Random random(11);
    for (const Operation& operation : kOperations) {
        for (const float s : operation.scalars) {
            for (const RowsAndCols shape :
                 {RowsAndCols{0, 0}, {0, 5}, {5, 0}, {1, 1}, {1, 7}, {6, 1}, {4, 4}}) {
                tryEverySetting(operation, s, shape, random);
            }
            for (int i = 0; i < 4; ++i) {
                tryEverySetting(operation, s, {random.between(2, 20), random.between(2, 36)},
                                random);
            }
            ASSERT_FALSE(HasFailure()) << operation.name << ", scalar " << s;
        }
    }
}

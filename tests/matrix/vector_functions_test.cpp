#include "matrix/vector_functions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kSmallestNormal = 0x1p-126F;
constexpr float kSmallest = 0x1p-149F;
constexpr std::size_t kLongestTail = 70;

struct OneOperand {
    const char* name;
    void (*function)(std::int32_t, const float*, float*);
    double (*exact)(double);
};

constexpr OneOperand kInv = {"vsInv", vsInv, [](double a) { return 1.0 / a; }};
constexpr OneOperand kSqr = {"vsSqr", vsSqr, [](double a) { return a * a; }};
constexpr OneOperand kExp = {"vsExp", vsExp, [](double a) { return std::exp(a); }};
constexpr OneOperand kLn = {"vsLn", vsLn, [](double a) { return std::log(a); }};
constexpr OneOperand kTanh = {"vsTanh", vsTanh, [](double a) { return std::tanh(a); }};
constexpr OneOperand kOfOne[] = {kInv, kSqr, kExp, kLn, kTanh};

struct TwoOperands {
    const char* name;
    void (*function)(std::int32_t, const float*, const float*, float*);
    double (*exact)(double, double);
};

constexpr TwoOperands kDiv = {"vsDiv", vsDiv, [](double a, double b) { return a / b; }};
constexpr TwoOperands kMul = {"vsMul", vsMul, [](double a, double b) { return a * b; }};
constexpr TwoOperands kOfTwo[] = {kDiv, kMul};

float of(const OneOperand& operation, float a) {
    float y = 0;
    operation.function(1, &a, &y);
    return y;
}

float of(const TwoOperands& operation, float a, float b) {
    float y = 0;
    operation.function(1, &a, &b, &y);
    return y;
}

// About a million floats, evenly over all bit patterns.
std::vector<float> everySortOfFloat() {
    std::vector<float> values;
    for (std::uint64_t bits = 0; bits <= 0xFFFFFFFFU; bits += 4099) {
        values.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    }
    return values;
}

// `count` floats in a row on each side of `centre`.
void addNeighbours(std::vector<float>& values, float centre, int count) {
    float below = centre;
    float above = centre;
    values.push_back(centre);
    for (int i = 0; i < count; ++i) {
        below = std::nextafter(below, -kInfinity);
        above = std::nextafter(above, kInfinity);
        values.push_back(below);
        values.push_back(above);
    }
}

// How far y lies from the exact value, in units of the last place that a float of the exact
// value's size has. Infinity counts as 2^128, the float that would come next.
double unitsInTheLastPlace(float y, double exact) {
    if (std::isnan(y) || std::isnan(exact)) {
        return std::isnan(y) && std::isnan(exact) ? 0 : HUGE_VAL;
    }
    const auto finite = [](double value) { return std::clamp(value, -0x1p128, 0x1p128); };
    const double target = finite(exact);
    const int exponent = target == 0 ? -126 : std::clamp(std::ilogb(target), -126, 127);
    return std::fabs(finite(static_cast<double>(y)) - target) / std::ldexp(1.0, exponent - 23);
}

void expectWithinOneUnit(const OneOperand& operation, const std::vector<float>& values) {
    std::vector<float> results(values.size());
    operation.function(static_cast<std::int32_t>(values.size()), values.data(), results.data());
    double worst = 0;
    std::size_t place = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double error =
            unitsInTheLastPlace(results[i], operation.exact(static_cast<double>(values[i])));
        if (error > worst) {
            worst = error;
            place = i;
        }
    }
    EXPECT_LE(worst, 1.0) << operation.name << " of " << hexFloat(values[place]) << " gives "
                          << hexFloat(results[place]) << ", " << worst
                          << " ULP off; that is the largest error found";
    EXPECT_GT(worst, 0.0) << "no float rounds: nothing was measured";
}

void expectRoundedOnce(const OneOperand& operation) {
    const std::vector<float> values = everySortOfFloat();
    std::vector<float> expected;
    for (const float a : values) {
        expected.push_back(static_cast<float>(operation.exact(static_cast<double>(a))));
    }
    std::vector<float> results(values.size());
    operation.function(static_cast<std::int32_t>(values.size()), values.data(), results.data());
    EXPECT_TRUE(sameFloats(expected, results)) << operation.name;
}

// The 64-bit result is so much finer that its own rounding cannot change the one to 32 bits.
void expectRoundedOnce(const TwoOperands& operation) {
    Random random(41);
    const std::vector<float> a = everySortOfFloat();
    std::vector<float> b;
    std::vector<float> expected;
    for (std::size_t i = 0; i < a.size(); ++i) {
        // Every other b is of moderate size, so that few of the results there overflow or vanish.
        const float other = random.anyFloat();
        b.push_back(i % 2 == 0 ? other : random.uniform(-2, 2));
        expected.push_back(static_cast<float>(
            operation.exact(static_cast<double>(a[i]), static_cast<double>(b[i]))));
    }
    std::vector<float> results(a.size());
    operation.function(static_cast<std::int32_t>(a.size()), a.data(), b.data(), results.data());
    EXPECT_TRUE(sameFloats(expected, results)) << operation.name;
}

}  // namespace

TEST(VectorFunctions, countOfZeroTouchesNothing) {
    const float operand = 2;
    for (const OneOperand& operation : kOfOne) {
        operation.function(0, nullptr, nullptr);
        GuardedBuffer<float> y(1);
        operation.function(0, &operand, y.data());
        EXPECT_TRUE(y.untouched()) << operation.name;
    }
    for (const TwoOperands& operation : kOfTwo) {
        operation.function(0, nullptr, nullptr, nullptr);
        GuardedBuffer<float> y(1);
        operation.function(0, &operand, &operand, y.data());
        EXPECT_TRUE(y.untouched()) << operation.name;
    }
}

// At every length and at every place within a vector register, each element is what it is alone.
TEST(VectorFunctions, everyLengthAndPlaceGivesTheSameElements) {
    Random random(42);
    for (std::size_t n = 1; n <= kLongestTail; ++n) {
        const std::size_t misalignment = n % 8;
        const std::vector<float> source = random.floats(n + misalignment, 0.1F, 4.0F);
        const std::vector<float> other = random.floats(n, -4.0F, -0.1F);
        const float* a = source.data() + misalignment;
        for (const OneOperand& operation : kOfOne) {
            GuardedBuffer<float> y(n, misalignment / 2);
            operation.function(static_cast<std::int32_t>(n), a, y.data());
            EXPECT_TRUE(y.guardsIntact()) << operation.name << ", " << n;
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_TRUE(sameFloat(of(operation, a[i]), y[i]))
                    << operation.name << ", " << i << " of " << n;
            }
        }
        for (const TwoOperands& operation : kOfTwo) {
            GuardedBuffer<float> y(n, misalignment / 2);
            operation.function(static_cast<std::int32_t>(n), a, other.data(), y.data());
            EXPECT_TRUE(y.guardsIntact()) << operation.name << ", " << n;
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_TRUE(sameFloat(of(operation, a[i], other[i]), y[i]))
                    << operation.name << ", " << i << " of " << n;
            }
        }
    }
}

TEST(VectorFunctions, resultMayReplaceAnOperand) {
    Random random(43);
    for (const std::int32_t n : {1, 7, 8, 33, 70}) {
        const auto count = static_cast<std::size_t>(n);
        const std::vector<float> a = random.floats(count, 0.1F, 4.0F);
        const std::vector<float> b = random.floats(count, -4.0F, -0.1F);
        std::vector<float> expected(count);
        for (const OneOperand& operation : kOfOne) {
            operation.function(n, a.data(), expected.data());
            std::vector<float> y = a;
            operation.function(n, y.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y)) << operation.name;
        }
        for (const TwoOperands& operation : kOfTwo) {
            operation.function(n, a.data(), b.data(), expected.data());
            std::vector<float> y = a;
            operation.function(n, y.data(), b.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y)) << operation.name;
            y = b;
            operation.function(n, a.data(), y.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y)) << operation.name;
            operation.function(n, a.data(), a.data(), expected.data());
            y = a;
            operation.function(n, y.data(), y.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y)) << operation.name;
        }
    }
}

TEST(VectorFunctions, invOfSpecialValues) {
    EXPECT_TRUE(sameFloat(kInfinity, of(kInv, 0.0F)));
    EXPECT_TRUE(sameFloat(-kInfinity, of(kInv, -0.0F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kInv, kInfinity)));
    EXPECT_TRUE(sameFloat(-0.0F, of(kInv, -kInfinity)));
    EXPECT_TRUE(sameFloat(kNaN, of(kInv, kNaN)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kInv, kSmallest)));
    EXPECT_TRUE(sameFloat(0x1p127F, of(kInv, 0x1p-127F)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kInv, 0x1p-128F)));
    EXPECT_TRUE(sameFloat(0x1p126F, of(kInv, kSmallestNormal)));
    EXPECT_TRUE(sameFloat(0x1p-127F, of(kInv, 0x1p127F)));
    EXPECT_TRUE(sameFloat(0x1p-128F, of(kInv, kLargest)));
    EXPECT_TRUE(sameFloat(0x1.555556p-2F, of(kInv, 3.0F)));
}

TEST(VectorFunctions, divOfSpecialValues) {
    EXPECT_TRUE(sameFloat(kNaN, of(kDiv, 0.0F, 0.0F)));
    EXPECT_TRUE(sameFloat(kNaN, of(kDiv, kInfinity, -kInfinity)));
    EXPECT_TRUE(sameFloat(kNaN, of(kDiv, kNaN, 1.0F)));
    EXPECT_TRUE(sameFloat(kNaN, of(kDiv, 1.0F, kNaN)));
    EXPECT_TRUE(sameFloat(-kInfinity, of(kDiv, 1.0F, -0.0F)));
    EXPECT_TRUE(sameFloat(-0.0F, of(kDiv, -1.0F, kInfinity)));
    EXPECT_TRUE(sameFloat(0.0F, of(kDiv, 0.0F, kSmallest)));
    EXPECT_TRUE(sameFloat(1.0F, of(kDiv, kSmallest, kSmallest)));
    EXPECT_TRUE(sameFloat(1.0F, of(kDiv, kLargest, kLargest)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kDiv, kLargest, 0.5F)));
    EXPECT_TRUE(sameFloat(kSmallest, of(kDiv, kSmallestNormal, 0x1p23F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kDiv, kSmallest, 2.0F)));  // half way: to even
    EXPECT_TRUE(sameFloat(2.5F, of(kDiv, 5.0F, 2.0F)));
}

TEST(VectorFunctions, mulOfSpecialValues) {
    EXPECT_TRUE(sameFloat(kNaN, of(kMul, 0.0F, kInfinity)));
    EXPECT_TRUE(sameFloat(kNaN, of(kMul, -kInfinity, 0.0F)));
    EXPECT_TRUE(sameFloat(kNaN, of(kMul, kNaN, 0.0F)));
    EXPECT_TRUE(sameFloat(kNaN, of(kMul, 0.0F, kNaN)));
    EXPECT_TRUE(sameFloat(-0.0F, of(kMul, -0.0F, 3.0F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kMul, -0.0F, -3.0F)));
    EXPECT_TRUE(sameFloat(-kInfinity, of(kMul, kLargest, -2.0F)));
    EXPECT_TRUE(sameFloat(kSmallest, of(kMul, kSmallestNormal, 0x1p-23F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kMul, kSmallest, 0.5F)));
    EXPECT_TRUE(sameFloat(6.0F, of(kMul, 2.0F, 3.0F)));
}

TEST(VectorFunctions, sqrOfSpecialValues) {
    EXPECT_TRUE(sameFloat(0.0F, of(kSqr, -0.0F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kSqr, 0.0F)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kSqr, -kInfinity)));
    EXPECT_TRUE(sameFloat(kNaN, of(kSqr, kNaN)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kSqr, -kLargest)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kSqr, 0x1p64F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kSqr, kSmallestNormal)));
    EXPECT_TRUE(sameFloat(0x1p-148F, of(kSqr, 0x1p-74F)));
    EXPECT_TRUE(sameFloat(9.0F, of(kSqr, -3.0F)));
}

TEST(VectorFunctions, expOfSpecialValues) {
    EXPECT_TRUE(sameFloat(1.0F, of(kExp, 0.0F)));
    EXPECT_TRUE(sameFloat(1.0F, of(kExp, -0.0F)));
    EXPECT_TRUE(sameFloat(1.0F, of(kExp, kSmallest)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kExp, kInfinity)));
    EXPECT_TRUE(sameFloat(0.0F, of(kExp, -kInfinity)));
    EXPECT_TRUE(sameFloat(kNaN, of(kExp, kNaN)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kExp, kLargest)));
    EXPECT_TRUE(sameFloat(0.0F, of(kExp, -kLargest)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kExp, 89.0F)));
    EXPECT_TRUE(std::isfinite(of(kExp, 88.7F)));
    EXPECT_TRUE(sameFloat(0.0F, of(kExp, -105.0F)));
    EXPECT_GT(of(kExp, -103.0F), 0.0F);  // subnormal, not flushed to zero
}

TEST(VectorFunctions, lnOfSpecialValues) {
    EXPECT_TRUE(sameFloat(0.0F, of(kLn, 1.0F)));
    EXPECT_TRUE(sameFloat(-kInfinity, of(kLn, 0.0F)));
    EXPECT_TRUE(sameFloat(-kInfinity, of(kLn, -0.0F)));
    EXPECT_TRUE(sameFloat(kInfinity, of(kLn, kInfinity)));
    for (const float negative : {-kSmallest, -1.0F, -kLargest, -kInfinity, kNaN}) {
        EXPECT_TRUE(sameFloat(kNaN, of(kLn, negative))) << hexFloat(negative);
    }
}

TEST(VectorFunctions, tanhOfSpecialValues) {
    EXPECT_TRUE(sameFloat(0.0F, of(kTanh, 0.0F)));
    EXPECT_TRUE(sameFloat(-0.0F, of(kTanh, -0.0F)));
    EXPECT_TRUE(sameFloat(kNaN, of(kTanh, kNaN)));
    for (const float x : {kSmallest, 0x1.8p-140F, kSmallestNormal}) {
        EXPECT_TRUE(sameFloat(x, of(kTanh, x)));
        EXPECT_TRUE(sameFloat(-x, of(kTanh, -x)));
    }
    for (const float x : {10.0F, 20.0F, 1000.0F, kLargest, kInfinity}) {
        EXPECT_TRUE(sameFloat(1.0F, of(kTanh, x))) << hexFloat(x);
        EXPECT_TRUE(sameFloat(-1.0F, of(kTanh, -x))) << hexFloat(x);
    }
    EXPECT_LT(of(kTanh, 8.0F), 1.0F);
}

TEST(VectorFunctions, invRoundsOnce) {
    expectRoundedOnce(kInv);
}

TEST(VectorFunctions, sqrRoundsOnce) {
    expectRoundedOnce(kSqr);
}

TEST(VectorFunctions, divRoundsOnce) {
    expectRoundedOnce(kDiv);
}

TEST(VectorFunctions, mulRoundsOnce) {
    expectRoundedOnce(kMul);
}

TEST(VectorFunctions, expStaysWithinOneUnitInTheLastPlace) {
    std::vector<float> values = everySortOfFloat();
    addNeighbours(values, 0x1.62e43p+6F, 500);    // ln 2^128: where it overflows
    addNeighbours(values, -0x1.5d58ap+6F, 500);   // ln 2^-126: where subnormal results begin
    addNeighbours(values, -0x1.9fe368p+6F, 500);  // ln 2^-150: where nothing is left
    addNeighbours(values, 0.0F, 500);
    expectWithinOneUnit(kExp, values);
}

TEST(VectorFunctions, lnStaysWithinOneUnitInTheLastPlace) {
    std::vector<float> values = everySortOfFloat();
    addNeighbours(values, 1.0F, 5000);
    addNeighbours(values, kSmallestNormal, 500);
    addNeighbours(values, 0.0F, 500);
    expectWithinOneUnit(kLn, values);
}

TEST(VectorFunctions, tanhStaysWithinOneUnitInTheLastPlace) {
    std::vector<float> values = everySortOfFloat();
    addNeighbours(values, 9.01F, 5000);  // where it reaches 1
    addNeighbours(values, -9.01F, 5000);
    addNeighbours(values, 0.0F, 500);
    expectWithinOneUnit(kTanh, values);
}

TEST(VectorFunctions, tanhNeverExceedsOne) {
    std::vector<float> values = everySortOfFloat();
    vsTanh(static_cast<std::int32_t>(values.size()), values.data(), values.data());
    for (const float value : values) {
        ASSERT_FALSE(std::fabs(value) > 1) << hexFloat(value);
    }
}

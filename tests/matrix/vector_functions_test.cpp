#include "matrix/vector_functions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
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

struct Function {
    const char* name;
    void (*call)(std::int32_t n, const float* a, const float* b, float* y);
    double (*exact)(double a, double b);
};

template <void (*function)(std::int32_t, const float*, float*)>
void ofOne(std::int32_t n, const float* a, const float*, float* y) {
    function(n, a, y);
}

constexpr Function kInv = {"vsInv", ofOne<vsInv>, [](double a, double) { return 1.0 / a; }};
constexpr Function kSqr = {"vsSqr", ofOne<vsSqr>, [](double a, double) { return a * a; }};
constexpr Function kExp = {"vsExp", ofOne<vsExp>, [](double a, double) { return std::exp(a); }};
constexpr Function kLn = {"vsLn", ofOne<vsLn>, [](double a, double) { return std::log(a); }};
constexpr Function kTanh = {"vsTanh", ofOne<vsTanh>, [](double a, double) { return std::tanh(a); }};
constexpr Function kDiv = {"vsDiv", vsDiv, [](double a, double b) { return a / b; }};
constexpr Function kMul = {"vsMul", vsMul, [](double a, double b) { return a * b; }};
constexpr Function kFunctions[] = {kInv, kSqr, kExp, kLn, kTanh, kDiv, kMul};

float of(const Function& function, float a, float b = 0) {
    float y = 0;
    function.call(1, &a, &b, &y);
    return y;
}

struct SpecialValues {
    Function function;
    std::vector<float> a;
    std::vector<float> expected;
};

const SpecialValues kSpecialValues[] = {
    {kExp,
     {0, -0.0F, kSmallest, kInfinity, -kInfinity, kNaN, kLargest, -kLargest, 89, -105},
     {1, 1, 1, kInfinity, 0, kNaN, kInfinity, 0, kInfinity, 0}},
    {kLn,
     {1, 0, -0.0F, kInfinity, -kSmallest, -1, -kLargest, -kInfinity, kNaN},
     {0, -kInfinity, -kInfinity, kInfinity, kNaN, kNaN, kNaN, kNaN, kNaN}},
    {kTanh,
     {0, -0.0F, kNaN, kSmallest, -0x1.8p-140F, kSmallestNormal, 10, -10, kLargest, -kInfinity},
     {0, -0.0F, kNaN, kSmallest, -0x1.8p-140F, kSmallestNormal, 1, -1, 1, -1}},
};

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

std::vector<float> expectWithinOneUnit(const Function& function, const std::vector<float>& values) {
    std::vector<float> results(values.size());
    function.call(static_cast<std::int32_t>(values.size()), values.data(), nullptr, results.data());
    double worst = 0;
    std::size_t place = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double exact = function.exact(static_cast<double>(values[i]), 0);
        const double error = unitsInTheLastPlace(results[i], exact);
        if (error > worst) {
            worst = error;
            place = i;
        }
    }
    EXPECT_LE(worst, 1.0) << function.name << " of " << hexFloat(values[place]) << " gives "
                          << hexFloat(results[place]) << ", " << worst
                          << " ULP off; that is the largest error found";
    EXPECT_GT(worst, 0.0) << "no float rounds: nothing was measured";
    return results;
}

}  // namespace

TEST(VectorFunctions, countOfZeroTouchesNothing) {
    const float operand = 2;
    for (const Function& function : kFunctions) {
        function.call(0, nullptr, nullptr, nullptr);
        GuardedBuffer<float> y(1);
        function.call(0, &operand, &operand, y.data());
        EXPECT_TRUE(y.untouched()) << function.name;
    }
}

// At every length and at every place within a vector register, each element is what it is alone.
TEST(VectorFunctions, everyLengthAndPlaceGivesTheSameElements) {
    Random random(42);
    for (std::size_t n = 1; n <= kLongestTail; ++n) {
        const std::size_t misalignment = n % 8;
        const std::vector<float> source = random.floats(n + misalignment, 0.1F, 4.0F);
        const std::vector<float> b = random.floats(n, -4.0F, -0.1F);
        const float* a = source.data() + misalignment;
        for (const Function& function : kFunctions) {
            GuardedBuffer<float> y(n, misalignment / 2);
            function.call(static_cast<std::int32_t>(n), a, b.data(), y.data());
            EXPECT_TRUE(y.guardsIntact()) << function.name << ", " << n;
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_TRUE(sameFloat(of(function, a[i], b[i]), y[i]))
                    << function.name << ", " << i << " of " << n;
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
        for (const Function& function : kFunctions) {
            SCOPED_TRACE(function.name);
            function.call(n, a.data(), b.data(), expected.data());
            std::vector<float> y = a;
            function.call(n, y.data(), b.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y));
            y = b;
            function.call(n, a.data(), y.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y));
            function.call(n, a.data(), a.data(), expected.data());
            y = a;
            function.call(n, y.data(), y.data(), y.data());
            EXPECT_TRUE(sameFloats(expected, y));
        }
    }
}

TEST(VectorFunctions, specialValuesAreThoseOfTheFloats) {
    for (const SpecialValues& values : kSpecialValues) {
        std::vector<float> y = values.a;
        values.function.call(static_cast<std::int32_t>(y.size()), y.data(), nullptr, y.data());
        EXPECT_TRUE(sameFloats(values.expected, y)) << values.function.name;
    }
    EXPECT_TRUE(std::isfinite(of(kExp, 88.7F)));
    EXPECT_GT(of(kExp, -103.0F), 0.0F);  // subnormal, not flushed to zero
    EXPECT_LT(of(kTanh, 8.0F), 1.0F);
}

// The 64-bit result is so much finer that its own rounding cannot change the one to 32 bits.
TEST(VectorFunctions, productsAndQuotientsRoundOnce) {
    Random random(41);
    std::vector<float> a = everySortOfFloat();
    std::vector<float> b;
    for (std::size_t i = 0; i < a.size(); ++i) {
        // Every other b is of moderate size, so that few of the results there overflow or vanish.
        b.push_back(i % 2 == 0 ? random.anyFloat() : random.uniform(-2, 2));
    }
    constexpr float kSpecial[] = {
        0,         -0.0F,           1,        -3,       kInfinity, -kInfinity, kNaN,
        kSmallest, kSmallestNormal, kLargest, -kLargest};
    for (const float x : kSpecial) {
        for (const float y : kSpecial) {
            a.push_back(x);
            b.push_back(y);
        }
    }
    for (const Function& function : {kInv, kSqr, kDiv, kMul}) {
        std::vector<float> expected;
        for (std::size_t i = 0; i < a.size(); ++i) {
            expected.push_back(static_cast<float>(
                function.exact(static_cast<double>(a[i]), static_cast<double>(b[i]))));
        }
        std::vector<float> results(a.size());
        function.call(static_cast<std::int32_t>(a.size()), a.data(), b.data(), results.data());
        EXPECT_TRUE(sameFloats(expected, results)) << function.name;
    }
}

TEST(VectorFunctions, expLnAndTanhStayWithinOneUnitInTheLastPlaceAndTanhWithinOne) {
    const struct {
        Function function;
        std::vector<std::pair<float, int>> places;  // where many neighbours are tried
    } cases[] = {
        // Where it overflows, where subnormal results begin, and where nothing is left.
        {kExp, {{0x1.62e43p+6F, 500}, {-0x1.5d58ap+6F, 500}, {-0x1.9fe368p+6F, 500}, {0.0F, 500}}},
        {kLn, {{1.0F, 5000}, {kSmallestNormal, 500}, {0.0F, 500}}},
        {kTanh, {{9.01F, 5000}, {-9.01F, 5000}, {0.0F, 500}}},  // where it reaches 1
    };
    for (const auto& [function, places] : cases) {
        std::vector<float> values = everySortOfFloat();
        for (const auto& [centre, count] : places) {
            addNeighbours(values, centre, count);
        }
        const std::vector<float> results = expectWithinOneUnit(function, values);
        for (const float result : results) {
            ASSERT_FALSE(function.call == kTanh.call && std::fabs(result) > 1) << hexFloat(result);
        }
    }
}

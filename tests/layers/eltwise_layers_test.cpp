#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "layers/one_layer.h"
#include "support/bits.h"
#include "support/nets.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

struct EltwiseCase {
    const char* what;
    const char* keys;
    std::vector<float> inputs[3], expected;
};

const EltwiseCase kCases[] = {
    {"each input times the coefficient of its place",
     "eltsum\ninputs=c_a_b\ncoeffs=2_-0.5_4",
     {{1, 10}, {0, 6}, {100, 200}},
     {199.5F, 419}},
    {"one rounding for the first",
     "eltsum\ninputs=a\ncoeffs=0.1",
     {{3, -7, 0x1.fffffep0F, 1e-40F}, {}, {}},
     {0.1F * 3, 0.1F * -7, 0.1F * 0x1.fffffep0F, 0.1F * 1e-40F}},
    // (1 + 2^24) - 2^24, (2^24 - 2^24) + 1
    {"a sum in the order of the inputs",
     "eltsum\ninputs=a_b_c\ncoeffs=1_1_1",
     {{1, 0x1p24F}, {0x1p24F, -0x1p24F}, {-0x1p24F, 1}},
     {0, 1}},
    // (2 * 2^23 + 1) - 2^24: neither (1 + -2^24) + 2^24 nor (2^24 - 2^24) + 1.
    {"a sum from the shared input on",
     "eltsum\ninputs=a_b_c\ncoeffs=1_2_1\nactsTarget=1",
     {{1, 1}, {0x1p23F, 3}, {-0x1p24F, 100}},
     {0, 107}},
    {"no coefficients beyond the inputs",
     "eltsum\ninputs=a_b\ncoeffs=1_2_1000",
     {{1, 2}, {10, 20}, {5, 5}},
     {21, 42}},
    {"the first values of a longer input",
     "eltsum\ninputs=a_b\ncoeffs=1_1",
     {{1, 2}, {10, 20, 30}, {}},
     {11, 22}},
    // Where the second is not above it, the first is taken: a NaN in the first stays, one in the
    // second goes.
    {"the second compared with the first",
     "eltmax\ninputs=a_b",
     {{1, 2, -1, 0, kNaN, 7, kNaN, -0.0F, 0.0F}, {4, 2, -5, kInf, 7, kNaN, kNaN, 0.0F, -0.0F}, {}},
     {4, 2, -1, kInf, kNaN, 7, kNaN, -0.0F, 0.0F}},
    // A NaN of the first two loses against the third; one in the third stays.
    {"the result of two compared with the third",
     "eltmax\ninputs=a_b_c",
     {{1, 3, 2, kNaN, kNaN, 8, -0.0F}, {2, 1, 3, 9, kNaN, 9, -0.0F}, {3, 2, 1, 5, 6, kNaN, 0.0F}},
     {3, 3, 3, 5, 6, kNaN, 0.0F}},
    {"the shape of the second", "eltmax\ninputs=a_b", {{5, 1, 9}, {4, 2}, {}}, {5, 2}},
    {"the first two, then as much of the third",
     "eltmax\ninputs=a_b_c",
     {{5, 1}, {4, 2}, {0, 7, 9}},
     {5, 7}},
    {"nothing for a single input", "eltmax\ninputs=a", {{1, 2}, {}, {}}, {}},
    {"a single input that it shares", "eltmax\ninputs=a\nactsTarget=0", {{1, 2}, {}, {}}, {1, 2}},
};

}  // namespace

TEST(EltwiseLayers, giveWhatWasWorkedOutByHand) {
    for (const EltwiseCase& eltwise : kCases) {
        const auto& [a, b, c] = eltwise.inputs;
        OneLayer net(std::string("type=") + eltwise.keys);
        EXPECT_TRUE(sameFloats(eltwise.expected, net.run(rowOf(a), rowOf(b), rowOf(c))))
            << eltwise.what;
        EXPECT_TRUE(net.output() == &net.a || sameFloats(a, valuesOf(net.a))) << eltwise.what;
        EXPECT_TRUE(net.output() == &net.b || sameFloats(b, valuesOf(net.b))) << eltwise.what;
        EXPECT_TRUE(sameFloats(c, valuesOf(net.c))) << eltwise.what;
    }
}

TEST(EltwiseLayers, meetATransposedInputByRowsAndColumns) {
    const auto rows = [] { return matrixOf(2, 2, {1, 2, 3, 4}); };
    const auto columns = [](const std::vector<float>& values) {
        return matrixOf(2, 2, values, kTransposed);
    };
    OneLayer sum("type=eltsum\ninputs=a_b_c\ncoeffs=1_1_2\n");
    EXPECT_TRUE(sameFloats({211, 422, 633, 844}, sum.run(rows(), columns({10, 30, 20, 40}),
                                                         columns({100, 300, 200, 400}))));
    // As the first, too: the output has its own order.
    EXPECT_TRUE(sameFloats(
        {211, 423, 632, 844},
        sum.run(columns({1, 2, 3, 4}), columns({10, 30, 20, 40}), columns({100, 300, 200, 400}))));
    EXPECT_EQ(sum.output()->trans, kRowMajor);
    OneLayer max("type=eltmax\ninputs=a_b\n");
    EXPECT_TRUE(sameFloats({1, 8, 9, 4}, max.run(rows(), columns({0, 9, 8, 0}))));
    EXPECT_EQ(max.output()->trans, kRowMajor);
}

TEST(EltwiseSumLayer, sumsIntoTheMatrixOfTheInputThatItShares) {
    OneLayer net("type=eltsum\ninputs=a_b\ncoeffs=2_-3\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({-28, -56}, net.run(rowOf({1, 2}), rowOf({10, 20}))));
    EXPECT_EQ(net.output(), &net.a);
    OneLayer twice("type=eltsum\ninputs=a_a\ncoeffs=2_3\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({8, 16}, twice.run(rowOf({1, 2})))) << "2 x + 3 (2 x)";
}

TEST(EltwiseSumLayer, throwsAtTheFirstInputWithoutACoefficientAndKeepsWhatItHas) {
    const std::pair<const char*, std::vector<float>> cases[] = {
        {"", {}},
        {"actsTarget=0\n", {1, 2}},
        {"coeffs=3\n", {3, 6}},
        {"coeffs=3\nactsTarget=0\n", {3, 6}},
        {"coeffs=3\nactsTarget=1\n", {10, 20}},  // the second input comes first
    };
    for (const auto& [keys, output] : cases) {
        OneLayer net(std::string("type=eltsum\ninputs=a_b\n") + keys);
        EXPECT_THROW(net.run(rowOf({1, 2}), rowOf({10, 20})), std::out_of_range) << keys;
        EXPECT_TRUE(sameFloats(output, valuesOf(*net.output()))) << keys;
        EXPECT_TRUE(sameFloats({10, 20}, valuesOf(net.b))) << keys;
    }
}

TEST(EltwiseMaxLayer, leavesItsFormerOutputForASingleInput) {
    OneLayer net("type=eltmax\ninputs=a\n");
    std::vector<float> storage = {-5, kNaN};
    *net.output() = Matrix::view(storage.data(), 1, 2);
    EXPECT_TRUE(sameFloats({-5, kNaN}, net.run(rowOf({1, 2}))));
}

TEST(EltwiseMaxLayer, worksInTheMatrixOfEitherInputAndLosesAThird) {
    for (const std::string target : {"0", "1"}) {
        OneLayer net("type=eltmax\ninputs=a_b\nactsTarget=" + target + "\n");
        EXPECT_TRUE(sameFloats({5, 9, kNaN}, net.run(rowOf({1, 9, kNaN}), rowOf({5, 4, 2}))));
        EXPECT_EQ(net.output(), target == "0" ? &net.a : &net.b);
    }
    // An input of another shape that it works in takes the shape of the second first.
    OneLayer reshaped("type=eltmax\ninputs=a_b\nactsTarget=0\n");
    EXPECT_TRUE(
        sameFloats({5, 9, 3, 4}, reshaped.run(rowOf({1, 9, 3, 0}), matrixOf(2, 2, {5, 4, 2, 4}))));
    EXPECT_EQ(reshaped.a.numRows, 2);
    // A third that it works in meets itself first; then the second and the first go over it.
    OneLayer third("type=eltmax\ninputs=a_b_c\nactsTarget=2\n");
    EXPECT_TRUE(sameFloats({2, 2}, third.run(rowOf({1, 2}), rowOf({2, 1}), rowOf({100, 100}))));
    EXPECT_EQ(third.output(), &third.c);
    EXPECT_TRUE(sameFloats({2, 2}, third.run(rowOf({1, 2}), rowOf({2, 1}), rowOf({7, 7, 7}))));
}

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
    const char* keys;
    std::vector<float> inputs[3], expected;
};

const EltwiseCase kCases[] = {
    // Each input times the coefficient of its place. Those beyond the inputs do not count.
    {"eltsum\ninputs=c_a_b\ncoeffs=2_-0.5_4", {{1, 10}, {0, 6}, {100, 200}}, {199.5F, 419}},
    {"eltsum\ninputs=a_b\ncoeffs=1_2_1000", {{1, 2}, {10, 20}, {5, 5}}, {21, 42}},
    // One rounding for the first.
    {"eltsum\ninputs=a\ncoeffs=0.1", {{3, 0x1.fffffep0F}}, {0.1F * 3, 0.1F * 0x1.fffffep0F}},
    // A sum in the order of the inputs: (1 + 2^24) - 2^24, (2^24 - 2^24) + 1.
    {"eltsum\ninputs=a_b_c\ncoeffs=1_1_1",
     {{1, 0x1p24F}, {0x1p24F, -0x1p24F}, {-0x1p24F, 1}},
     {0, 1}},
    // From the shared input on: (2 * 2^23 + 1) - 2^24, neither (1 + -2^24) + 2^24 nor
    // (2^24 - 2^24) + 1.
    {"eltsum\ninputs=a_b_c\ncoeffs=1_2_1\nactsTarget=1",
     {{1, 1}, {0x1p23F, 3}, {-0x1p24F, 100}},
     {0, 107}},
    {"eltsum\ninputs=a_b\ncoeffs=2_-3\nactsTarget=0", {{1, 2}, {10, 20}}, {-28, -56}},
    {"eltsum\ninputs=a_a\ncoeffs=2_3\nactsTarget=0", {{1, 2}}, {8, 16}},  // 2 x + 3 (2 x)
    // The first values of a longer input.
    {"eltsum\ninputs=a_b\ncoeffs=1_1", {{1, 2}, {10, 20, 30}}, {11, 22}},
    // Where the second is not above it, the first is taken: a NaN in the first stays, one in the
    // second goes.
    {"eltmax\ninputs=a_b",
     {{1, 2, -1, 0, kNaN, 7, kNaN, -0.0F, 0.0F}, {4, 2, -5, kInf, 7, kNaN, kNaN, 0.0F, -0.0F}},
     {4, 2, -1, kInf, kNaN, 7, kNaN, -0.0F, 0.0F}},
    // A NaN of the first two loses against the third; one in the third stays.
    {"eltmax\ninputs=a_b_c",
     {{1, 3, 2, kNaN, kNaN, 8, -0.0F}, {2, 1, 3, 9, kNaN, 9, -0.0F}, {3, 2, 1, 5, 6, kNaN, 0.0F}},
     {3, 3, 3, 5, 6, kNaN, 0.0F}},
    // The shape of the second, then as much of the third.
    {"eltmax\ninputs=a_b", {{5, 1, 9}, {4, 2}}, {5, 2}},
    {"eltmax\ninputs=a_b_c", {{5, 1}, {4, 2}, {0, 7, 9}}, {5, 7}},
    {"eltmax\ninputs=a_b\nactsTarget=0", {{1, 9, kNaN}, {5, 4, 2}}, {5, 9, kNaN}},
    {"eltmax\ninputs=a_b\nactsTarget=1", {{1, 9, kNaN}, {5, 4, 2}}, {5, 9, kNaN}},
    // Nothing for a single input.
    {"eltmax\ninputs=a", {{1, 2}}, {}},
    {"eltmax\ninputs=a\nactsTarget=0", {{1, 2}}, {1, 2}},
    // A third that it works in meets itself first; then the second and the first go over it.
    {"eltmax\ninputs=a_b_c\nactsTarget=2", {{1, 2}, {2, 1}, {100, 100}}, {2, 2}},
    {"eltmax\ninputs=a_b_c\nactsTarget=2", {{1, 2}, {2, 1}, {7, 7, 7}}, {2, 2}},
};

}  // namespace

TEST(EltwiseLayers, giveWhatWasWorkedOutByHandInTheMatrixThatTheyShareOrTheirOwn) {
    for (const auto& [keys, inputs, expected] : kCases) {
        SCOPED_TRACE(keys);
        OneLayer net(std::string("type=") + keys);
        EXPECT_TRUE(
            sameFloats(expected, net.run(rowOf(inputs[0]), rowOf(inputs[1]), rowOf(inputs[2]))));
        const Matrix* const matrices[] = {&net.a, &net.b, &net.c};
        for (int i = 0; i < 3; ++i) {
            const bool isShared = net.layer().actsTarget == i;
            EXPECT_EQ(net.output() == matrices[i], isShared);
            EXPECT_TRUE(isShared || sameFloats(inputs[i], valuesOf(*matrices[i])));
        }
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

TEST(EltwiseMaxLayer, givesAnInputThatItWorksInTheShapeOfTheSecond) {
    OneLayer net("type=eltmax\ninputs=a_b\nactsTarget=0\n");
    EXPECT_TRUE(
        sameFloats({5, 9, 3, 4}, net.run(rowOf({1, 9, 3, 0}), matrixOf(2, 2, {5, 4, 2, 4}))));
    EXPECT_EQ(net.a.numRows, 2);
}

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "support/bits.h"
#include "support/nets.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Three data layers, `a`, `b` and `c`, and the layer `x` behind them.
class EltwiseNet {
  public:
    explicit EltwiseNet(const std::string& keys)
        : net(buildNet("[Net]\nLayerCount=4\nLayerNames=a_b_c_x\n"
                       "[a]\ntype=data\ndataIdx=0\nactsTarget=0\n"
                       "[b]\ntype=data\ndataIdx=1\nactsTarget=0\n"
                       "[c]\ntype=data\ndataIdx=2\nactsTarget=0\n[x]\n" +
                       keys)) {}

    // A row for each input.
    std::vector<float> run(const std::vector<float>& rowA, const std::vector<float>& rowB,
                           const std::vector<float>& rowC) {
        a = rowMatrix(rowA);
        b = rowMatrix(rowB);
        c = rowMatrix(rowC);
        return run();
    }

    std::vector<float> run() { return valuesOf(*runNet(*net, {&a, &b, &c})); }

    Matrix*& output() { return net->layers[3]->outputs; }

    Matrix a;
    Matrix b;
    Matrix c;

  private:
    static Matrix rowMatrix(const std::vector<float>& values) {
        return matrixOf(1, static_cast<std::int32_t>(values.size()), values);
    }

    std::unique_ptr<ConvNet> net;
};

// The words of the std::out_of_range that a run throws.
std::string rangeErrorOf(EltwiseNet& net) {
    try {
        net.run();
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "nothing thrown";
}

}  // namespace

TEST(EltwiseSumLayer, givesTheDifferenceForOneAndMinusOne) {
    EltwiseNet net("type=eltsum\ninputs=a_b\ncoeffs=1_-1\n");
    EXPECT_TRUE(sameFloats({-3, 0, 5.5F}, net.run({1, 2, 6}, {4, 2, 0.5F}, {0})));
    EXPECT_EQ(net.output()->numRows, 1);
    EXPECT_EQ(net.output()->numCols, 3);
}

TEST(EltwiseSumLayer, takesEachInputTimesTheCoefficientOfItsPlace) {
    EltwiseNet net("type=eltsum\ninputs=a_b_c\ncoeffs=2_-0.5_4\n");
    EXPECT_TRUE(sameFloats({402, 817}, net.run({1, 10}, {0, 6}, {100, 200})));
    EltwiseNet other("type=eltsum\ninputs=c_a_b\ncoeffs=2_-0.5_4\n");
    EXPECT_TRUE(sameFloats({199.5F, 419}, other.run({1, 10}, {0, 6}, {100, 200})));
}

TEST(EltwiseSumLayer, scalesItsFirstInputWithOneRounding) {
    EltwiseNet net("type=eltsum\ninputs=a\ncoeffs=0.1\n");
    const std::vector<float> values = {3, -7, 0x1.fffffep0F, 1e-40F};
    std::vector<float> expected;
    for (const float value : values) {
        expected.push_back(0.1F * value);
    }
    EXPECT_TRUE(sameFloats(expected, net.run(values, {0}, {0})));
}

TEST(EltwiseSumLayer, addsNothingToItsFormerOutput) {
    EltwiseNet net("type=eltsum\ninputs=a_b\ncoeffs=1_1\n");
    net.run({1, 2}, {10, 20}, {0});
    std::vector<float> storage = {kNaN, kNaN};
    *net.output() = Matrix::view(storage.data(), 1, 2);
    EXPECT_TRUE(sameFloats({11, 22}, net.run()));
    EXPECT_TRUE(sameFloats({11, 22}, storage)) << "into the same storage";
}

TEST(EltwiseSumLayer, addsItsInputsInTheirOrder) {
    EltwiseNet net("type=eltsum\ninputs=a_b_c\ncoeffs=1_1_1\n");
    // (1 + 2^24) - 2^24, (2^24 - 2^24) + 1
    EXPECT_TRUE(sameFloats({0, 1}, net.run({1, 0x1p24F}, {0x1p24F, -0x1p24F}, {-0x1p24F, 1})));
}

TEST(EltwiseSumLayer, leavesItsInputsAlone) {
    EltwiseNet net("type=eltsum\ninputs=a_b_c\ncoeffs=2_3_4\n");
    net.run({1, 2}, {3, 4}, {5, 6});
    EXPECT_TRUE(sameFloats({1, 2}, valuesOf(net.a)));
    EXPECT_TRUE(sameFloats({3, 4}, valuesOf(net.b)));
    EXPECT_TRUE(sameFloats({5, 6}, valuesOf(net.c)));
}

TEST(EltwiseSumLayer, sumsIntoTheMatrixOfItsFirstInput) {
    EltwiseNet net("type=eltsum\ninputs=a_b\ncoeffs=2_-3\nactsTarget=0\n");
    net.run({1, 2}, {10, 20}, {0});
    EXPECT_EQ(net.output(), &net.a);
    EXPECT_TRUE(sameFloats({-28, -56}, valuesOf(net.a)));
    EXPECT_TRUE(sameFloats({10, 20}, valuesOf(net.b)));
}

TEST(EltwiseSumLayer, sumsIntoTheMatrixOfItsSecondInputFromThereOn) {
    EltwiseNet net("type=eltsum\ninputs=a_b_c\ncoeffs=1_2_1\nactsTarget=1\n");
    // (2 * 2^23 + 1) - 2^24: neither (1 + -2^24) + 2^24 nor (2^24 - 2^24) + 1.
    net.run({1, 1}, {0x1p23F, 3}, {-0x1p24F, 100});
    EXPECT_EQ(net.output(), &net.b);
    EXPECT_TRUE(sameFloats({0, 107}, valuesOf(net.b)));
    EXPECT_TRUE(sameFloats({1, 1}, valuesOf(net.a)));
    EXPECT_TRUE(sameFloats({-0x1p24F, 100}, valuesOf(net.c)));
}

TEST(EltwiseSumLayer, ignoresCoefficientsBeyondItsInputs) {
    EltwiseNet net("type=eltsum\ninputs=a_b\ncoeffs=1_2_1000\n");
    EXPECT_TRUE(sameFloats({21, 42}, net.run({1, 2}, {10, 20}, {5, 5})));
}

TEST(EltwiseSumLayer, throwsAtTheFirstPassWithoutCoefficientsAndWritesNothing) {
    for (const char* target : {"", "actsTarget=0\n"}) {
        EltwiseNet net(std::string("type=eltsum\ninputs=a_b\n") + target);
        net.a = matrixOf(1, 2, {1, 2});
        net.b = matrixOf(1, 2, {3, 4});
        EXPECT_EQ(rangeErrorOf(net), "invalid vector<T> subscript");
        EXPECT_TRUE(sameFloats({1, 2}, valuesOf(net.a)));
        EXPECT_TRUE(sameFloats({3, 4}, valuesOf(net.b)));
        EXPECT_EQ(net.output()->numElements, *target == '\0' ? 0 : 2);
    }
}

TEST(EltwiseSumLayer, throwsAtTheInputWithoutACoefficientAndKeepsWhatItHas) {
    EltwiseNet net("type=eltsum\ninputs=a_b\ncoeffs=3\n");
    net.a = matrixOf(1, 2, {1, 2});
    net.b = matrixOf(1, 2, {10, 20});
    EXPECT_EQ(rangeErrorOf(net), "invalid vector<T> subscript");
    EXPECT_TRUE(sameFloats({3, 6}, valuesOf(*net.output())));

    EltwiseNet shared("type=eltsum\ninputs=a_b\ncoeffs=3\nactsTarget=1\n");
    shared.a = matrixOf(1, 2, {1, 2});
    shared.b = matrixOf(1, 2, {10, 20});
    EXPECT_EQ(rangeErrorOf(shared), "invalid vector<T> subscript");
    EXPECT_TRUE(sameFloats({10, 20}, valuesOf(shared.b))) << "the second input comes first";
}

TEST(EltwiseSumLayer, meetsATransposedInputByRowsAndColumns) {
    EltwiseNet net("type=eltsum\ninputs=a_b_c\ncoeffs=1_1_2\n");
    net.a = matrixOf(2, 2, {1, 2, 3, 4});
    net.b = matrixOf(2, 2, {10, 30, 20, 40});
    net.b.trans = kTransposed;
    net.c = matrixOf(2, 2, {100, 300, 200, 400});
    net.c.trans = kTransposed;
    EXPECT_TRUE(sameFloats({211, 422, 633, 844}, net.run()));
    // As the first, too: the output has its own order.
    net.a.trans = kTransposed;
    EXPECT_TRUE(sameFloats({211, 423, 632, 844}, net.run()));
    EXPECT_EQ(net.output()->trans, kRowMajor);
}

TEST(EltwiseMaxLayer, takesTheGreaterOfTwo) {
    EltwiseNet net("type=eltmax\ninputs=a_b\n");
    EXPECT_TRUE(
        sameFloats({4, 2, -1, kInfinity}, net.run({1, 2, -1, 0}, {4, 2, -5, kInfinity}, {0})));
    EXPECT_EQ(net.output()->numRows, 1);
    EXPECT_EQ(net.output()->numCols, 4);
}

TEST(EltwiseMaxLayer, comparesItsSecondInputWithItsFirst) {
    // Where the second is not above it, the first is taken: a NaN in the first stays, one in the
    // second goes.
    EltwiseNet net("type=eltmax\ninputs=a_b\n");
    EXPECT_TRUE(
        sameFloats({kNaN, 7, kNaN, -0.0F, 0.0F},
                   net.run({kNaN, 7, kNaN, -0.0F, 0.0F}, {7, kNaN, kNaN, 0.0F, -0.0F}, {0})));
}

TEST(EltwiseMaxLayer, comparesTheResultOfTwoWithTheThird) {
    EltwiseNet net("type=eltmax\ninputs=a_b_c\n");
    EXPECT_TRUE(sameFloats({3, 3, 3}, net.run({1, 3, 2}, {2, 1, 3}, {3, 2, 1})));
    // A NaN of the first two loses against the third; one in the third stays.
    EXPECT_TRUE(sameFloats({5, 6, kNaN, 0.0F}, net.run({kNaN, kNaN, 8, -0.0F}, {9, kNaN, 9, -0.0F},
                                                       {5, 6, kNaN, 0.0F})));
}

TEST(EltwiseMaxLayer, computesNothingForASingleInput) {
    EltwiseNet net("type=eltmax\ninputs=a\n");
    EXPECT_TRUE(net.run({1, 2}, {0}, {0}).empty());
    EXPECT_EQ(net.output()->data, nullptr);
    // Whatever its output held stays.
    std::vector<float> storage = {-5, kNaN};
    *net.output() = Matrix::view(storage.data(), 1, 2);
    EXPECT_TRUE(sameFloats({-5, kNaN}, net.run()));

    EltwiseNet shared("type=eltmax\ninputs=a\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({1, 2}, shared.run({1, 2}, {0}, {0})));
}

TEST(EltwiseMaxLayer, leavesItsInputsAloneAndKeepsItsStorage) {
    EltwiseNet net("type=eltmax\ninputs=a_b_c\n");
    net.run({1, 9}, {5, 4}, {3, 6});
    std::vector<float> storage = {kNaN, kNaN};
    *net.output() = Matrix::view(storage.data(), 1, 2);
    net.run();
    EXPECT_TRUE(sameFloats({5, 9}, storage));
    EXPECT_TRUE(sameFloats({1, 9}, valuesOf(net.a)));
    EXPECT_TRUE(sameFloats({5, 4}, valuesOf(net.b)));
    EXPECT_TRUE(sameFloats({3, 6}, valuesOf(net.c)));
}

TEST(EltwiseMaxLayer, worksInTheMatrixOfEitherInput) {
    EltwiseNet first("type=eltmax\ninputs=a_b\nactsTarget=0\n");
    first.run({1, 9, kNaN}, {5, 4, 2}, {0});
    EXPECT_EQ(first.output(), &first.a);
    EXPECT_TRUE(sameFloats({5, 9, kNaN}, valuesOf(first.a)));
    EXPECT_TRUE(sameFloats({5, 4, 2}, valuesOf(first.b)));

    EltwiseNet second("type=eltmax\ninputs=a_b\nactsTarget=1\n");
    second.run({1, 9, kNaN}, {5, 4, 2}, {0});
    EXPECT_EQ(second.output(), &second.b);
    EXPECT_TRUE(sameFloats({5, 9, kNaN}, valuesOf(second.b)));
    EXPECT_TRUE(sameFloats({1, 9, kNaN}, valuesOf(second.a)));
}

TEST(EltwiseMaxLayer, losesItsThirdInputWhereItWorksInItsMatrix) {
    // The third meets itself first; then the second and the first go over it.
    EltwiseNet net("type=eltmax\ninputs=a_b_c\nactsTarget=2\n");
    net.run({1, 2}, {2, 1}, {100, 100});
    EXPECT_EQ(net.output(), &net.c);
    EXPECT_TRUE(sameFloats({2, 2}, valuesOf(net.c)));
}

TEST(EltwiseMaxLayer, meetsATransposedInputByRowsAndColumns) {
    EltwiseNet net("type=eltmax\ninputs=a_b\n");
    net.a = matrixOf(2, 2, {1, 2, 3, 4});
    net.b = matrixOf(2, 2, {0, 9, 8, 0});
    net.b.trans = kTransposed;
    EXPECT_TRUE(sameFloats({1, 8, 9, 4}, net.run()));
    EXPECT_EQ(net.output()->trans, kRowMajor);
}

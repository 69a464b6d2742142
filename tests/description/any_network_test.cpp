// Whole networks of a test's own, of every kind of layer and in shapes that no embedded text has.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <map>

#include "network/conv_net.h"
#include "layers/two_input_net.h"
#include "reference/reference_local.h"
#include "support/bits.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

using Names = std::vector<std::string>;
using Values = std::vector<float>;

Values wholeNumbers(Random& random, std::size_t count, int low, int high) {
    Values values(count);
    for (float& value : values) {
        value = static_cast<float>(random.between(low, high));
    }
    return values;
}

void append(Values& all, const Values& more) {
    all.insert(all.end(), more.begin(), more.end());
}

// One network with a layer of each kind. `d` to `t` in the order of the description:
//
//   d  data     1 x 4 x 4
//   c  conv     2 filters of 3 x 3, padded: 2 x 4 x 4
//   n  neuron   relu, in place in c
//   r  rnorm    hands on the matrix of c
//   p  pool     the greatest of 2 x 2: 2 x 2 x 2
//   m  cmrnorm  over both planes
//   k  cnorm    hands on the matrix of m
//   l  local    1 x 1 filters: 2 x 2 x 2
//   s  eltsum   k - l / 2
//   x  eltmax   of l and s
//   f  fc       p to 3 values
//   t  softmax  of these
//
// Everything up to p, and f, is whole numbers, so that the order of a sum does not matter there.
class EveryKindNet : public testing::Test {
  protected:
    EveryKindNet() {
        Random random(67);
        filters = wholeNumbers(random, 18, -2, 2);
        filterBiases = wholeNumbers(random, 2, -1, 1);
        bank = random.floats(16, -1, 1);
        bankBiases = random.floats(8, -1, 1);
        full = wholeNumbers(random, 24, -1, 1);
        fullBiases = wholeNumbers(random, 3, -2, 2);
        images = wholeNumbers(random, 48, -3, 3);
        write("c", 9, 2, transposed(filters, 2));
        write("cb", 2, 1, filterBiases);
        write("l", 8, 2, transposed(bank, 2));
        write("lb", 8, 1, bankBiases);
        write("f", 8, 3, full);
        write("fb", 1, 3, fullBiases);
        net = buildNet(
            "[Net]\nLayerCount=12\nLayerNames=d_c_n_r_p_m_k_l_s_x_f_t\n"
            "[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
            "[c]\ntype=conv\ninputs=d\nweights=c\nbiases=cb\nchannels=1\nfilters=2\npadding=1\n"
            "stride=1\nfilterSize=3\nfilterPixels=9\nimgSize=4\nimgPixels=16\nmodulesX=4\n"
            "[n]\ntype=neuron\nneuron=relu\ninputs=c\nactsTarget=0\n"
            "[r]\ntype=rnorm\ninputs=n\nactsTarget=0\nchannels=2\nsizeX=3\nscale=9\npow=2\n"
            "[p]\ntype=pool\npool=max\ninputs=r\nchannels=2\nsizeX=2\nstart=0\nstride=2\n"
            "outputsX=2\n"
            "[m]\ntype=cmrnorm\ninputs=p\nchannels=2\nsizeX=3\nscale=0.3\npow=0.75\n"
            "[k]\ntype=cnorm\ninputs=m\nactsTarget=0\nchannels=2\nsizeX=3\nscale=9\npow=2\n"
            "imgSize=2\n"
            "[l]\ntype=local\ninputs=k\nweights=l\nbiases=lb\nchannels=2\nfilters=2\npadding=0\n"
            "stride=1\nfilterSize=1\nfilterPixels=1\nimgSize=2\nimgPixels=4\nmodulesX=2\n"
            "[s]\ntype=eltsum\ninputs=k_l\ncoeffs=1_-0.5\n"
            "[x]\ntype=eltmax\ninputs=l_s\n"
            "[f]\ntype=fc\ninputs=p\nweights=f\nbiases=fb\noutputs=3\n"
            "[t]\ntype=softmax\ninputs=f\n",
            folder.prefix());
    }

    // The columns of a weight file are the rows of the matrix that a convolution works with.
    static Values transposed(const Values& rows, std::size_t rowCount) {
        Values result;
        for (std::size_t col = 0; col < rows.size() / rowCount; ++col) {
            for (std::size_t row = 0; row < rowCount; ++row) {
                result.push_back(rows[row * (rows.size() / rowCount) + col]);
            }
        }
        return result;
    }

    void write(const std::string& name, std::int32_t rows, std::int32_t cols,
               const Values& values) const {
        writeWeightFile(folder.prefix() + name, rows, cols, values);
    }

    const Matrix* run(int rows) {
        patch = matrixOf(rows, 16, {images.begin(), images.begin() + std::ptrdiff_t{16} * rows});
        return runNet(*net, {&patch});
    }

    // The values of the layers that have a matrix of their own, for the first `rows` images.
    std::map<std::string, Values> expected(int rows) const {
        std::map<std::string, Values> all;
        for (int row = 0; row < rows; ++row) {
            const Values c = rectifiedConvolution(images.data() + std::ptrdiff_t{16} * row);
            const Values p = pooled(c.data());
            const Values m = normalised(p.data());
            const Values l = local(m);
            const Values s = combined(m, l, [](float x, float y) { return x - 0.5F * y; });
            append(all["c"], c);
            append(all["p"], p);
            append(all["m"], m);
            append(all["l"], l);
            append(all["s"], s);
            append(all["x"], combined(l, s, [](float x, float y) { return y > x ? y : x; }));
            append(all["f"], fullyConnected(p));
            append(all["t"], softmax(fullyConnected(p)));
        }
        return all;
    }

    void expectEverything(int rows) {
        const Matrix* out = run(rows);
        EXPECT_EQ(out, layerNamed(*net, "t")->getActs());
        for (const auto& [name, values] : expected(rows)) {
            const Matrix& acts = *layerNamed(*net, name)->getActs();
            EXPECT_EQ(acts.numRows, rows) << name;
            EXPECT_TRUE(sameFloats(values, valuesOf(acts))) << name;
        }
    }

    TemporaryFolder folder;
    std::unique_ptr<ConvNet> net;
    Values images;  // three
    Matrix patch;

  private:
    Values rectifiedConvolution(const float* image) const {
        Values out;
        for (int f = 0; f < 2; ++f) {
            for (int y = 0; y < 4; ++y) {
                for (int x = 0; x < 4; ++x) {
                    float sum = filterBiases.data()[f];
                    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, 3); ++v) {
                        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, 3); ++u) {
                            sum += image[v * 4 + u] *
                                   filters.data()[f * 9 + (v - y + 1) * 3 + (u - x + 1)];
                        }
                    }
                    out.push_back(std::max(sum, 0.0F));
                }
            }
        }
        return out;
    }

    static Values pooled(const float* planes) {
        Values out;
        for (int corner : {0, 2, 8, 10, 16, 18, 24, 26}) {
            const float* upper = planes + corner;
            out.push_back(std::max({upper[0], upper[1], upper[4], upper[5]}));
        }
        return out;
    }

    static Values normalised(const float* planes) {
        Values out;
        const float alpha = 0.3F / 3.0F;
        for (int i = 0; i < 8; ++i) {
            const float below = planes[i % 4];
            const float above = planes[i % 4 + 4];
            const float energy = above * above + below * below;
            const float base = alpha * energy + 1.0F;
            out.push_back(static_cast<float>(std::pow(static_cast<double>(base), -0.75)) *
                          planes[i]);
        }
        return out;
    }

    Values local(const Values& planes) const {
        const ReferenceLocal c = {1, 2, 2, 2, 2, 1, 0, 1};
        return combined(referenceLocalSums(c, planes.data(), bank.data()), bankBiases,
                        [](float x, float y) { return x + y; });
    }

    template <typename Function>
    static Values combined(const Values& first, const Values& second, Function function) {
        Values out;
        for (std::size_t i = 0; i < first.size(); ++i) {
            out.push_back(function(first[i], second[i]));
        }
        return out;
    }

    Values fullyConnected(const Values& in) const {
        Values out = fullBiases;
        for (std::size_t i = 0; i < 8; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                out[j] += in[i] * full[i * 3 + j];
            }
        }
        return out;
    }

    static Values softmax(Values row) {
        const float greatest = *std::max_element(row.begin(), row.end());
        float sum = 0;
        for (float& value : row) {
            value = static_cast<float>(std::exp(static_cast<double>(value - greatest)));
            sum += value;
        }
        const float reciprocal = 1.0F / sum;
        for (float& value : row) {
            value *= reciprocal;
        }
        return row;
    }

    Values filters;
    Values filterBiases;
    Values bank;
    Values bankBiases;
    Values full;
    Values fullBiases;
};

// A layer that multiplies what it reads by `factor`.
std::string timesFactor(const std::string& name, const std::string& input,
                        const std::string& factor) {
    return "[" + name + "]\ntype=eltsum\ninputs=" + input + "\ncoeffs=" + factor + "\n";
}

Values run(ConvNet& net, const Values& first, const Values& second = {0}) {
    Matrix d = matrixOf(1, static_cast<std::int32_t>(first.size()), first);
    Matrix e = matrixOf(1, static_cast<std::int32_t>(second.size()), second);
    const MatrixList patches = {&d, &e};
    return valuesOf(*runNet(net, patches));
}

}  // namespace

TEST_F(EveryKindNet, computesEveryLayerAsWrittenByHand) {
    expectEverything(2);
}

TEST_F(EveryKindNet, handsOnTheMatricesThatItsLayersShare) {
    run(2);
    EXPECT_EQ(layerNamed(*net, "d")->getActs(), &patch);
    for (const char* name : {"n", "r"}) {
        EXPECT_EQ(layerNamed(*net, name)->getActs(), layerNamed(*net, "c")->getActs()) << name;
    }
    EXPECT_EQ(layerNamed(*net, "k")->getActs(), layerNamed(*net, "m")->getActs());
    EXPECT_TRUE(sameFloats({images.begin(), images.begin() + 32}, valuesOf(patch)));
}

TEST_F(EveryKindNet, firesInTheOrderOfItsDescription) {
    FiringOrder order(*net);
    run(2);
    EXPECT_EQ(order.fired, (Names{"d", "c", "n", "r", "p", "m", "k", "l", "s", "x", "f", "t"}));
}

TEST_F(EveryKindNet, givesTheSameBitsAgainInTheSameStorage) {
    run(2);
    const std::map<std::string, Values> once = expected(2);
    std::map<std::string, Values> storage = once;
    for (auto& [name, values] : storage) {
        std::fill(values.begin(), values.end(), std::numeric_limits<float>::quiet_NaN());
        Matrix& acts = *layerNamed(*net, name)->getActs();
        acts = Matrix::view(values.data(), acts.numRows, acts.numCols);
    }
    run(2);
    for (const auto& [name, values] : storage) {
        EXPECT_TRUE(sameFloats(once.at(name), values)) << name;
    }
}

TEST_F(EveryKindNet, takesAnotherNumberOfImagesAtEachRun) {
    expectEverything(3);
    expectEverything(2);
    expectEverything(3);
}

TEST(AnyNetwork, dataLayersTakeTheEntriesOfTheirIndices) {
    const auto net = buildNet(
        "[Net]\nLayerCount=4\nLayerNames=a_b_c_j\n[a]\ntype=data\ndataIdx=3\n"
        "[b]\ntype=data\ndataIdx=0\nactsTarget=0\n[c]\ntype=data\ndataIdx=1\nactsTarget=0\n"
        "[j]\ntype=eltsum\ninputs=c_a_b\ncoeffs=1_10_100\n");
    ASSERT_EQ(net->dataLayers.size(), 3U);
    FiringOrder order(*net);
    Matrix zero = matrixOf(1, 1, {3});
    Matrix one = matrixOf(1, 1, {5});
    Matrix three = matrixOf(1, 1, {7});
    const Matrix* out = runNet(*net, {&zero, &one, nullptr, &three});
    EXPECT_TRUE(sameFloats({5 + 70 + 300}, valuesOf(*out)));
    EXPECT_EQ(order.fired, (Names{"a", "b", "c", "j"}));
}

TEST(AnyNetwork, aLayerSumsIntoTheInputWhoseMatrixItShares) {
    const auto net =
        netBehindTwoInputs("j", "[j]\ntype=eltsum\ninputs=d_e\ncoeffs=2_3\nactsTarget=1\n");
    FiringOrder order(*net);
    Matrix d = matrixOf(1, 2, {1, 2});
    Matrix e = matrixOf(1, 2, {10, 20});
    EXPECT_EQ(runNet(*net, {&d, &e}), &e);
    EXPECT_TRUE(sameFloats({1, 2}, valuesOf(d)));
    EXPECT_TRUE(sameFloats({32, 64}, valuesOf(e)));
    EXPECT_EQ(order.fired, (Names{"d", "e", "j"}));
    EXPECT_EQ(net->layers[2]->inputs, (MatrixList{&d, &e}));
}

TEST(AnyNetwork, aLayerStartsWithTheInputWhoseMatrixItShares) {
    // 1 + 1 + 2^24 comes through, 2^24 + 1 + 1 stays where it is.
    const std::string section = "[j]\ntype=eltsum\ninputs=d_d_e\ncoeffs=1_1_1\n";
    EXPECT_TRUE(sameFloats({0x1p24F + 2}, run(*netBehindTwoInputs("j", section), {1}, {0x1p24F})));
    EXPECT_TRUE(sameFloats(
        {0x1p24F}, run(*netBehindTwoInputs("j", section + "actsTarget=2\n"), {1}, {0x1p24F})));
}

TEST(AnyNetwork, aBranchIsWalkedToItsEndBeforeTheNext) {
    const auto net = netBehindTwoInputs(
        "a_b_u_v_j", timesFactor("a", "d", "2") + timesFactor("b", "d", "3") +
                         timesFactor("u", "a", "10") + timesFactor("v", "b", "100") +
                         "[j]\ntype=eltsum\ninputs=v_u\ncoeffs=1_-1\n");
    FiringOrder order(*net);
    EXPECT_TRUE(sameFloats({280, -560}, run(*net, {1, -2})));
    EXPECT_EQ(order.fired, (Names{"d", "a", "u", "b", "v", "j", "e"}));
}

TEST(AnyNetwork, theOrderOfTheDescriptionDecidesWhoSeesAnInPlaceResult) {
    const std::string sections = timesFactor("c", "d", "1") +
                                 "[n]\ntype=neuron\nneuron=relu\ninputs=c\nactsTarget=0\n" +
                                 timesFactor("q", "c", "1");
    const auto before = netBehindTwoInputs("c_q_n", sections);
    run(*before, {-1, 2});
    EXPECT_TRUE(sameFloats({-1, 2}, valuesOf(*layerNamed(*before, "q")->getActs())));
    EXPECT_TRUE(sameFloats({0, 2}, valuesOf(*layerNamed(*before, "n")->getActs())));
    const auto after = netBehindTwoInputs("c_n_q", sections);
    EXPECT_TRUE(sameFloats({0, 2}, run(*after, {-1, 2})));
}

TEST(AnyNetwork, aLayerMayReadOneInputTwice) {
    const auto net = netBehindTwoInputs("j_x",
                                        "[j]\ntype=eltsum\ninputs=d_d\ncoeffs=1_2\n"
                                        "[x]\ntype=eltmax\ninputs=j_j_d\n");
    FiringOrder order(*net);
    EXPECT_TRUE(sameFloats({3, -2}, run(*net, {1, -2})));
    EXPECT_TRUE(sameFloats({3, -6}, valuesOf(*layerNamed(*net, "j")->getActs())));
    EXPECT_EQ(order.fired, (Names{"d", "j", "x", "e"})) << "each once";
    EXPECT_EQ(layerNamed(*net, "j")->received, 2);
}

TEST(AnyNetwork, keepsItsFormerOutputWhereResetIsForgotten) {
    const auto net = netBehindTwoInputs("j", "[j]\ntype=eltsum\ninputs=d_e\ncoeffs=1_1\n");
    EXPECT_TRUE(sameFloats({11}, run(*net, {1}, {10})));
    Matrix d = matrixOf(1, 1, {2});
    Matrix e = matrixOf(1, 1, {20});
    for (Layer* layer : net->dataLayers) {
        layer->fprop({&d, &e});
    }
    EXPECT_TRUE(sameFloats({11}, valuesOf(*net->layers.back()->getActs())));
    EXPECT_EQ(net->layers.back()->received, 4);
    EXPECT_TRUE(sameFloats({22}, valuesOf(*runNet(*net, {&d, &e}))));
}

TEST(AnyNetwork, aLayerWithoutInputsNeverFires) {
    const auto net =
        netBehindTwoInputs("j_k", "[j]\ntype=eltsum\ncoeffs=1\n" + timesFactor("k", "j", "1"));
    FiringOrder order(*net);
    EXPECT_TRUE(run(*net, {1}).empty());
    EXPECT_EQ(order.fired, (Names{"d", "e"}));
}

TEST(AnyNetwork, ofNoLayersTouchesNoMatrix) {
    for (const char* text : {"[Net]\nLayerCount=0\nLayerNames=d\n[d]\ntype=data\n",
                             "[Net]\nLayerNames=d\n[d]\ntype=data\n"}) {
        const auto net = buildNet(text);
        EXPECT_TRUE(net->layers.empty());
        EXPECT_TRUE(net->dataLayers.empty());
        EXPECT_EQ(runNet(*net, {nullptr}), nullptr);
    }
}

TEST(AnyNetwork, aDataLayerWithInputsThrowsOutOfTheRunAndEndsNothing) {
    const ForkedResult result = runForked([] {
        const auto net = netBehindTwoInputs(
            "c_f", timesFactor("c", "d", "2") + "[f]\ntype=data\ndataIdx=0\ninputs=c\n");
        try {
            run(*net, {1});
        } catch (const std::string& words) {
            std::printf("%s %g", words.c_str(),
                        static_cast<double>(layerNamed(*net, "c")->getActs()->data[0]));
            std::fflush(stdout);
        }
    });
    EXPECT_EQ(result.output, "No data given! 2");
    EXPECT_EQ(result.status, 0);
}

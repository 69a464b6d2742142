// Networks in shapes that no embedded text has: how layers wait, share matrices and fire.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "layers/two_input_net.h"
#include "layers/unusable_layer.h"
#include "network/conv_net.h"
#include "support/bits.h"
#include "support/nets.h"

namespace {

using Names = std::vector<std::string>;
using Values = std::vector<float>;

// A layer that multiplies what it reads by `factor`.
std::string timesFactor(const std::string& name, const std::string& input,
                        const std::string& factor) {
    return "[" + name + "]\ntype=eltsum\ninputs=" + input + "\ncoeffs=" + factor + "\n";
}

Values run(ConvNet& net, const Values& first, const Values& second = {0}) {
    Matrix d = rowOf(first);
    Matrix e = rowOf(second);
    return valuesOf(*runNet(net, {&d, &e}));
}

}  // namespace

TEST(AnyNetwork, dataLayersTakeTheEntriesOfTheirIndicesOrTheFirstAndTheLastLayerIsTheOutput) {
    const auto net = buildNet(
        "[Net]\nLayerCount=5\nLayerNames=a_b_c_j_e\n[a]\ntype=data\ndataIdx=3\n"
        "[b]\ntype=data\nactsTarget=0\n[c]\ntype=data\ndataIdx=1\nactsTarget=0\n"
        "[j]\ntype=eltsum\ninputs=c_a_b\ncoeffs=1_10_100\n[e]\ntype=data\ndataIdx=1\n");
    EXPECT_EQ(net->dataLayers.size(), 4U);
    FiringOrder order(*net);
    Matrix zero = rowOf({3});
    Matrix one = rowOf({5});
    Matrix three = rowOf({7});
    EXPECT_EQ(runNet(*net, {&zero, &one, nullptr, &three}), &one);
    EXPECT_TRUE(sameFloats({5 + 70 + 300}, valuesOf(*layerNamed(*net, "j")->getActs())));
    EXPECT_EQ(order.fired, (Names{"a", "b", "c", "j", "e"}));
}

TEST(AnyNetwork, aDataIndexOutsideTheListIsUnusableAndNothingIsRead) {
    for (const std::string index : {"-1", "2", "3", "2147483647", "-2147483648"}) {
        const auto net = buildNet(
            "[Net]\nLayerCount=2\nLayerNames=d_n\n[d]\ntype=data\nactsTarget=0\ndataIdx=" + index +
            "\n[n]\ntype=neuron\nneuron=relu\ninputs=d\nactsTarget=0\n");
        FiringOrder order(*net);
        Matrix first = rowOf({-1});
        Matrix second = rowOf({-2});
        EXPECT_THROW(runNet(*net, {&first, &second}), UnusableLayer) << index;
        EXPECT_EQ(net->layers[0]->getActs(), nullptr) << index;
        EXPECT_EQ(order.fired, Names{}) << index;
        EXPECT_THROW(runNet(*net, {}), UnusableLayer) << index;
    }
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

TEST(AnyNetwork, aLayerWithoutInputsNeverFires) {
    const auto net =
        netBehindTwoInputs("j_k", "[j]\ntype=eltsum\ncoeffs=1\n" + timesFactor("k", "j", "1"));
    FiringOrder order(*net);
    EXPECT_TRUE(run(*net, {1}).empty());
    EXPECT_EQ(order.fired, (Names{"d", "e"}));
}

TEST(AnyNetwork, aDataLayerWithInputsThrowsOutOfTheRunAndEndsNothing) {
    const auto net = netBehindTwoInputs(
        "c_f", timesFactor("c", "d", "2") + "[f]\ntype=data\ndataIdx=0\ninputs=c\n");
    try {
        run(*net, {1});
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::string& words) {
        EXPECT_EQ(words, "No data given!");
    }
    EXPECT_TRUE(sameFloats({2}, valuesOf(*layerNamed(*net, "c")->getActs())));
}

#include <gtest/gtest.h>

#include <string>

#include "layers/layer_registry.h"
#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/nets.h"

namespace {

// A neuron layer `n` behind `d`, and `e` beside it.
std::unique_ptr<ConvNet> netOf(const std::string& keys, const std::string& inputs = "d") {
    return netBehindTwoInputs("n", "[n]\ntype=neuron\ninputs=" + inputs + "\n" + keys);
}

// In front of or behind an in-place layer of the same input: a layer `r` that copies planes of 2 x
// 2, and the squaring layer `n`.
std::unique_ptr<ConvNet> netWithReader(const std::string& order) {
    return netBehindTwoInputs(order,
                              "[n]\ntype=neuron\nneuron=square\ninputs=d\nactsTarget=0\n"
                              "[r]\ntype=pool\npool=max\ninputs=d\nchannels=1\nsizeX=1\nstart=0\n"
                              "stride=1\noutputsX=2\n");
}

}  // namespace

TEST(NeuronLayer, withActsTargetHandsOnItsInputsOwnMatrixTransformed) {
    const auto net = netOf("neuron=relu\nactsTarget=0\n");
    Matrix patch = matrixOf(2, 2, {-1, 2, 3, -4});
    EXPECT_EQ(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats({0, 2, 3, 0}, valuesOf(patch)));
}

TEST(NeuronLayer, withoutActsTargetTransformsItsInputAllTheSameAndHandsOnNothing) {
    const auto net = netOf("neuron=relu\n");
    Matrix patch = matrixOf(1, 2, {-1, 2});
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_EQ(out->numElements, 0);
    EXPECT_NE(out, &patch);
    EXPECT_TRUE(sameFloats({0, 2}, valuesOf(patch)));
}

TEST(NeuronLayer, withoutActsTargetGivesItsReadersAnEmptyMatrix) {
    const auto net =
        netBehindTwoInputs("n_m",
                           "[n]\ntype=neuron\nneuron=square\ninputs=d\n"
                           "[m]\ntype=neuron\nneuron=linear\na=1\nb=1\ninputs=n\nactsTarget=0\n");
    Matrix patch = matrixOf(1, 2, {-2, 3});
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_EQ(out, layerNamed(*net, "n")->getActs());
    EXPECT_EQ(out->numElements, 0);
    EXPECT_TRUE(sameFloats({4, 9}, valuesOf(patch)));
}

TEST(NeuronLayer, runsOnItsFirstInputOnceForEachInput) {
    const auto net = netOf("neuron=square\nactsTarget=0\n", "d_e");
    Matrix patch = matrixOf(1, 2, {-2, 3});
    Matrix other = matrixOf(1, 2, {5, 7});
    EXPECT_EQ(runNet(*net, {&patch, &other}), &patch);
    EXPECT_TRUE(sameFloats({16, 81}, valuesOf(patch)));
    EXPECT_TRUE(sameFloats({5, 7}, valuesOf(other)));
}

TEST(NeuronLayer, runsOnItsFirstInputEvenWhereItSharesTheSecond) {
    const auto net = netOf("neuron=square\nactsTarget=1\n", "d_e");
    Matrix patch = matrixOf(1, 2, {-2, 3});
    Matrix other = matrixOf(1, 2, {5, 7});
    EXPECT_EQ(runNet(*net, {&patch, &other}), &other);
    EXPECT_TRUE(sameFloats({16, 81}, valuesOf(patch)));
    EXPECT_TRUE(sameFloats({5, 7}, valuesOf(other)));
}

TEST(NeuronLayer, takesTheParametersOfItsOwnSection) {
    const auto net =
        netBehindTwoInputs("n_m",
                           "[n]\ntype=neuron\nneuron=linear\na=2\nb=1\ninputs=d\nactsTarget=0\n"
                           "[m]\ntype=neuron\nneuron=linear\na=-1\nb=3\ninputs=n\nactsTarget=0\n");
    Matrix patch = matrixOf(1, 2, {5, -2});
    EXPECT_EQ(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats({-8, 6}, valuesOf(patch)));
}

TEST(NeuronLayer, transformsEachPatchThatItIsGiven) {
    const auto net = netOf("neuron=square\nactsTarget=0\n");
    Matrix first = matrixOf(1, 2, {2, 3});
    Matrix second = matrixOf(2, 1, {4, 5});
    EXPECT_EQ(runNet(*net, {&first, &first}), &first);
    EXPECT_EQ(runNet(*net, {&second, &second}), &second);
    EXPECT_TRUE(sameFloats({4, 9}, valuesOf(first)));
    EXPECT_TRUE(sameFloats({16, 25}, valuesOf(second)));
}

TEST(NeuronLayer, showsLaterReadersOfItsInputTheTransformedValues) {
    const auto net = netWithReader("n_r");
    Matrix patch = matrixOf(1, 4, {1, 2, 3, 4});
    EXPECT_TRUE(sameFloats({1, 4, 9, 16}, valuesOf(*runNet(*net, {&patch, &patch}))));
}

TEST(NeuronLayer, showsEarlierReadersOfItsInputTheFormerValues) {
    const auto net = netWithReader("r_n");
    Matrix patch = matrixOf(1, 4, {1, 2, 3, 4});
    EXPECT_TRUE(sameFloats({1, 4, 9, 16}, valuesOf(*runNet(*net, {&patch, &patch}))));
    EXPECT_TRUE(sameFloats({1, 2, 3, 4}, valuesOf(*layerNamed(*net, "r")->getActs())));
}

TEST(NeuronLayer, needsAKnownNeuron) {
    ConvNet net(0, "", "");
    describe("[n]\ntype=neuron\n[m]\ntype=neuron\nneuron=\n[o]\ntype=neuron\nneuron=brelu[0.5]\n");
    for (const auto& [section, words] : {std::pair{"n", "Unknown neuron type: "},
                                         {"m", "Unknown neuron type: "},
                                         {"o", "Unknown neuron type: brelu[0.5]"}}) {
        try {
            createNeuronLayer(net, section);
            ADD_FAILURE() << section << " was accepted";
        } catch (const std::string& thrown) {
            EXPECT_EQ(thrown, words);
        }
    }
}

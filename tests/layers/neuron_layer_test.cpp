#include "layers/neuron.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/bits.h"
#include "support/nets.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::string netOf(const std::string& neuronKeys, const std::string& inputs = "d") {
    return "[Net]\nLayerCount=3\nLayerNames=d_e_n\n[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
           "[e]\ntype=data\ndataIdx=1\nactsTarget=0\n"
           "[n]\ntype=neuron\ninputs=" +
           inputs + "\n" + neuronKeys;
}

}  // namespace

TEST(Neuron, reluKeepsOnlyWhatIsAboveZero) {
    Matrix matrix = matrixOf(1, 6, {2, -2, -0.0F, kNaN, 0.0F, 1e-45F});
    const auto neuron = createNeuron("any", "relu");
    EXPECT_FALSE(neuron->activated);
    EXPECT_EQ(neuron->acts, nullptr);
    neuron->run(&matrix);
    EXPECT_TRUE(sameFloats({2, 0, 0, 0, 0, 1e-45F}, valuesOf(matrix)));
    EXPECT_TRUE(neuron->activated);
    EXPECT_EQ(neuron->acts, &matrix);
}

TEST(Neuron, leavesAMatrixWithoutElementsAlone) {
    Matrix matrix;
    createNeuron("any", "relu")->run(&matrix);
    EXPECT_EQ(matrix.data, nullptr);
    EXPECT_EQ(matrix.numElements, 0);
}

TEST(Neuron, theBaseClassIsTheIdentity) {
    Matrix matrix = matrixOf(1, 2, {-1, -0.0F});
    Neuron().run(&matrix);
    EXPECT_TRUE(sameFloats({-1, -0.0F}, valuesOf(matrix)));
}

TEST(Neuron, namesTheUnknownKeyword) {
    for (const char* keyword : {"", "Relu", "relu6", "brelu[0.5]"}) {
        try {
            createNeuron("any", keyword);
            ADD_FAILURE() << keyword << " was accepted";
        } catch (const std::string& words) {
            EXPECT_EQ(words, std::string("Unknown neuron type: ") + keyword);
        }
    }
}

TEST(NeuronLayer, withActsTargetHandsOnItsInputsOwnMatrixTransformed) {
    const auto net = buildNet(netOf("neuron=relu\nactsTarget=0\n"));
    Matrix patch = matrixOf(2, 2, {-1, 2, 3, -4});
    EXPECT_EQ(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats({0, 2, 3, 0}, valuesOf(patch)));
}

TEST(NeuronLayer, withoutActsTargetTransformsItsInputAllTheSameAndHandsOnNothing) {
    const auto net = buildNet(netOf("neuron=relu\n"));
    Matrix patch = matrixOf(1, 2, {-1, 2});
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_EQ(out->numElements, 0);
    EXPECT_NE(out, &patch);
    EXPECT_TRUE(sameFloats({0, 2}, valuesOf(patch)));
}

TEST(NeuronLayer, neverReadsItsSecondInput) {
    const auto net = buildNet(netOf("neuron=relu\nactsTarget=0\n", "d_e"));
    Matrix patch = matrixOf(1, 2, {-1, 2});
    Matrix other = matrixOf(1, 2, {-3, -4});
    runNet(*net, {&patch, &other});
    EXPECT_TRUE(sameFloats({0, 2}, valuesOf(patch)));
    EXPECT_TRUE(sameFloats({-3, -4}, valuesOf(other)));
}

#include <gtest/gtest.h>

#include <string>

#include "layers/one_layer.h"
#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/nets.h"

TEST(NeuronLayer, withActsTargetHandsOnItsInputsOwnMatrixTransformed) {
    OneLayer net("type=neuron\nneuron=relu\ninputs=a\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({0, 2, 3, 0}, net.run(matrixOf(2, 2, {-1, 2, 3, -4}))));
    EXPECT_EQ(net.output(), &net.a);
    EXPECT_EQ(net.a.numRows, 2);
    // Each patch that it is given.
    EXPECT_TRUE(sameFloats({5}, net.run(rowOf({5}))));
}

TEST(NeuronLayer, takesTheParametersOfItsOwnSectionAndWithoutActsTargetHandsOnNothing) {
    const auto net =
        netBehindTwoInputs("n_m",
                           "[n]\ntype=neuron\nneuron=linear\na=2\nb=1\ninputs=d\nactsTarget=0\n"
                           "[m]\ntype=neuron\nneuron=linear\na=-1\nb=3\ninputs=n\n");
    Matrix patch = rowOf({5, -2});
    EXPECT_EQ(runNet(*net, {&patch, &patch})->numElements, 0);
    EXPECT_EQ(layerNamed(*net, "n")->getActs(), &patch);
    EXPECT_TRUE(sameFloats({-8, 6}, valuesOf(patch))) << "transformed all the same";
}

TEST(NeuronLayer, runsOnItsFirstInputOnceForEachInputWhicheverItShares) {
    for (const std::string target : {"0", "1"}) {
        OneLayer net("type=neuron\nneuron=square\ninputs=a_b\nactsTarget=" + target + "\n");
        net.run(rowOf({-2, 3}), rowOf({5, 7}));
        EXPECT_EQ(net.output(), target == "0" ? &net.a : &net.b);
        EXPECT_TRUE(sameFloats({16, 81}, valuesOf(net.a)));
        EXPECT_TRUE(sameFloats({5, 7}, valuesOf(net.b)));
    }
}

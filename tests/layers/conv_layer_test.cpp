#include "layers/weight_folder.h"

namespace {

class ConvLayerTest : public WeightFolderTest {
  protected:
    ConvLayerTest() : WeightFolderTest(kConv) {}
};

}  // namespace

TEST_F(ConvLayerTest, convolvesEachRowOfItsInputAndAddsABiasForEachFilter) {
    OneLayer net = changed("");
    EXPECT_TRUE(sameFloats({101, 102, 103, 104, 202, 204, 206, 208,  //
                            105, 106, 107, 108, 210, 212, 214, 216},
                           net.run(matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}))));
    const auto& layer = dynamic_cast<WeightLayer&>(net.layer());
    EXPECT_EQ(layer.weights[0]->matrix->numRows, 2) << "one row for each filter";
    EXPECT_EQ(layer.biases->matrix->numRows, 2);
}

TEST_F(ConvLayerTest, addsBiasesByTheirShapeAndALaterInputToTheFirstOutputs) {
    write("rowBias", 1, 4, {100, 200, 300, 400});
    write("shortRowBias", 1, 2, {100, 200});
    write("w123", 1, 3, {1, 2, 3});
    const std::pair<const char*, std::vector<float>> cases[] = {
        // That of a single filter goes to module 0 only; a row has one for each module.
        {"weights=one\nbiases=oneBias\n", {103, 6, 9, 12}},
        {"biases=rowBias\n", {101, 202, 303, 404, 102, 204, 306, 408}},
        {"biases=shortRowBias\n", {101, 202, 3, 4, 102, 204, 6, 8}},
        // Fewer than filters go to the first filters.
        {"weights=w123\n", {101, 102, 103, 104, 202, 204, 206, 208, 3, 6, 9, 12}},
        {"biases=absent\n", {1, 2, 3, 4, 2, 4, 6, 8}},
        {"inputs=a_b\nweights=w12_w56\n", {151, 202, 253, 304, 262, 324, 386, 448}},
        {"inputs=a_b\nweights=w12_one\n", {131, 162, 193, 224, 202, 204, 206, 208}},
        // A negative number of modules per side counts as that many.
        {"modulesX=-2\n", {101, 102, 103, 104, 202, 204, 206, 208}},
    };
    for (const auto& [changes, expected] : cases) {
        EXPECT_TRUE(sameFloats(expected, run(changes))) << changes;
    }
}

TEST_F(ConvLayerTest, convolvesInTheMatrixOfAnInputOfItsOwnSize) {
    OneLayer net = changed("weights=one\nbiases=oneBias\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({103, 6, 9, 12}, net.run(rowOf({1, 2, 3, 4}))));
    EXPECT_EQ(net.output(), &net.a);
    // Two planes that stay, then their sum on top of the first: a later share may be smaller.
    write("identity", 2, 2, {1, 0, 0, 1});
    write("sum", 2, 1, {1, 1});
    EXPECT_TRUE(sameFloats(
        {7, 10, 13, 16, 5, 6, 7, 8},
        run("inputs=a_a\nweights=identity_sum\nbiases=absent\nchannels=2_2\nactsTarget=0\n",
            rowOf({1, 2, 3, 4, 5, 6, 7, 8}))));
}

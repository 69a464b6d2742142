#include "layers/weight_layer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <stdexcept>

#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/build_failure.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

// 1 x 1 filters on a 2 x 2 image of one plane.
const char* const kConvKeys =
    "type=conv\nchannels=1_1\nfilters=2\npadding=0_0\nstride=1_1\nfilterSize=1_1\nfilterPixels=1_"
    "1\n"
    "imgSize=2_2\nimgPixels=4_4\nmodulesX=2\n";

class WeightLayerTest : public testing::Test {
  protected:
    WeightLayerTest() {
        writeWeightFile(file("w12"), 1, 2, {1, 2});
        writeWeightFile(file("w56"), 1, 2, {5, 6});
        writeWeightFile(file("bias"), 2, 1, {100, 200});
        writeWeightFile(file("one"), 1, 1, {3});
        writeWeightFile(file("oneBias"), 1, 1, {100});
        writeWeightFile(file("fc0"), 4, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 1, 1});
        writeWeightFile(file("fc1"), 4, 3, {2, 2, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        writeWeightFile(file("fcBias"), 1, 3, {10, 20, 30});
    }

    std::string file(const std::string& name) const { return folder.prefix() + name; }

    std::vector<float> run(const std::string& names, const std::string& sections) {
        net = netBehindTwoInputs(names, sections, folder.prefix());
        return valuesOf(*runNet(*net, {&first, &second}));
    }

    void expectUnusable(const std::string& sections) {
        EXPECT_THROW(run("x", "[x]\n" + sections), UnusableLayer) << sections;
    }

    // The layers are `d`, `e` and `names`; the process ends over `b`.
    void expectNothingToShare(const std::string& names, const std::string& sections) {
        SCOPED_TRACE(sections);
        expectBuildFailure(textBehindTwoInputs(names, sections), "No weights to share with layer b",
                           folder.prefix());
    }

    WeightLayer& layer(const std::string& name) {
        return dynamic_cast<WeightLayer&>(*layerNamed(*net, name));
    }

    TemporaryFolder folder;
    Matrix first = matrixOf(1, 4, {1, 2, 3, 4});
    Matrix second = matrixOf(1, 4, {10, 20, 30, 40});
    std::unique_ptr<ConvNet> net;
};

using ConvLayerTest = WeightLayerTest;
using FCLayerTest = WeightLayerTest;
using SharedWeightsTest = WeightLayerTest;

}  // namespace

TEST_F(ConvLayerTest, convolvesItsInputAndAddsABiasForEachFilter) {
    EXPECT_TRUE(
        sameFloats({101, 102, 103, 104, 202, 204, 206, 208},
                   run("c", std::string("[c]\ninputs=d\nweights=w12\nbiases=bias\n") + kConvKeys)));
}

TEST_F(ConvLayerTest, addsTheBiasOnceForTwoInputs) {
    EXPECT_TRUE(sameFloats(
        {151, 202, 253, 304, 262, 324, 386, 448},
        run("c", std::string("[c]\ninputs=d_e\nweights=w12_w56\nbiases=bias\n") + kConvKeys)));
}

TEST_F(ConvLayerTest, givesTheBiasOfASingleFilterToModuleZeroOnly) {
    EXPECT_TRUE(sameFloats(
        {103, 6, 9, 12},
        run("c", std::string("[c]\ninputs=d\nweights=one\nbiases=oneBias\n") + kConvKeys)));
}

TEST_F(ConvLayerTest, rejectsAnInputBeyondItsListsWithTheStandardRangeError) {
    for (const char* shortList : {"channels", "stride", "padding", "imgSize"}) {
        std::string keys =
            std::string("[c]\ninputs=d_e\nweights=w12_w56\nbiases=bias\n") + kConvKeys;
        const std::string key = std::string("\n") + shortList + "=";
        const std::size_t at = keys.find(key) + key.size();
        keys.erase(at + 1, 2);
        try {
            run("c", keys);
            ADD_FAILURE() << shortList;
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "invalid vector<T> subscript") << shortList;
        }
    }
}

TEST_F(ConvLayerTest, keepsTheRowsOfABatchApart) {
    first = matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_TRUE(
        sameFloats({101, 102, 103, 104, 202, 204, 206, 208, 105, 106, 107, 108, 210, 212, 214, 216},
                   run("c", std::string("[c]\ninputs=d\nweights=w12\nbiases=bias\n") + kConvKeys)));
}

TEST_F(ConvLayerTest, readsTheGeometryOfItsDescription) {
    run("c", std::string("[c]\ninputs=d\nweights=w12\nbiases=bias\n") + kConvKeys);
    EXPECT_EQ(layer("c").weights[0]->matrix->numRows, 2) << "one row for each filter";
    EXPECT_EQ(layer("c").weights[0]->matrix->numCols, 1);
    EXPECT_EQ(layer("c").biases->matrix->numRows, 2);
}

TEST_F(ConvLayerTest, takesASingleRowOfBiasesForOneForEachModule) {
    writeWeightFile(file("rowBias"), 1, 4, {100, 200, 300, 400});
    const std::string keys = std::string("[c]\ninputs=d\nweights=w12\n") + kConvKeys;
    EXPECT_TRUE(
        sameFloats({101, 202, 303, 404, 102, 204, 306, 408}, run("c", keys + "biases=rowBias\n")));
    writeWeightFile(file("shortRowBias"), 1, 2, {100, 200});
    EXPECT_TRUE(
        sameFloats({101, 202, 3, 4, 102, 204, 6, 8}, run("c", keys + "biases=shortRowBias\n")));
}

TEST_F(ConvLayerTest, givesFewerBiasesThanFiltersToTheFirstFilters) {
    writeWeightFile(file("w123"), 1, 3, {1, 2, 3});
    EXPECT_TRUE(sameFloats(
        {101, 102, 103, 104, 202, 204, 206, 208, 3, 6, 9, 12},
        run("c", std::string("[c]\ninputs=d\nweights=w123\nbiases=bias\n") + kConvKeys)));
}

TEST_F(FCLayerTest, multipliesAndAddsTheBias) {
    EXPECT_TRUE(
        sameFloats({15, 26, 37}, run("f", "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=fcBias\n")));
    EXPECT_EQ(layer("f").weights[0]->matrix->numRows, 4) << "stays as stored";
}

TEST_F(FCLayerTest, addsTheBiasBetweenItsTwoProducts) {
    EXPECT_TRUE(sameFloats({35, 46, 57},
                           run("f", "[f]\ntype=fc\ninputs=d_e\nweights=fc0_fc1\nbiases=fcBias\n")));
    // The order shows in the rounding: (2^24 + 1) + 1 stays at 2^24, (1 + 1) + 2^24 does not.
    writeWeightFile(file("big"), 1, 1, {0x1p24F});
    first = matrixOf(1, 1, {1});
    second = matrixOf(1, 1, {1});
    writeWeightFile(file("small"), 1, 1, {1});
    EXPECT_TRUE(sameFloats(
        {0x1p24F}, run("f", "[f]\ntype=fc\ninputs=d_e\nweights=big_small\nbiases=small\n")));
    EXPECT_TRUE(sameFloats(
        {0x1p24F + 2}, run("f", "[f]\ntype=fc\ninputs=d_e\nweights=small_big\nbiases=small\n")));
}

TEST_F(FCLayerTest, keepsTheRowsOfABatchApart) {
    first = matrixOf(2, 4, {1, 2, 3, 4, 0, 0, 1, 1});
    EXPECT_TRUE(sameFloats({15, 26, 37, 11, 21, 32},
                           run("f", "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=fcBias\n")));
}

TEST_F(FCLayerTest, readsATransposedInputByItsRows) {
    first = matrixOf(2, 4, {1, 0, 2, 0, 3, 1, 4, 1});
    first.trans = kTransposed;
    EXPECT_TRUE(sameFloats({15, 26, 37, 11, 21, 32},
                           run("f", "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=fcBias\n")));
}

TEST_F(FCLayerTest, takesAColumnOfBiasesForOneForEachRow) {
    first = matrixOf(2, 4, {1, 2, 3, 4, 0, 0, 1, 1});
    writeWeightFile(file("columnBias"), 2, 1, {100, 200});
    EXPECT_TRUE(sameFloats({105, 106, 107, 201, 201, 202},
                           run("f", "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=columnBias\n")));
}

TEST_F(FCLayerTest, ignoresWhatAFreshOutputHolds) {
    const std::string keys = "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=fcBias\n";
    run("f", keys);
    std::vector<float> storage(3, std::numeric_limits<float>::quiet_NaN());
    *layer("f").outputs = Matrix::view(storage.data(), 1, 3);
    runNet(*net, {&first, &second});
    EXPECT_TRUE(sameFloats({15, 26, 37}, storage)) << "written into the same storage";
}

TEST_F(FCLayerTest, takesItsWidthFromTheWeights) {
    EXPECT_EQ(run("f", "[f]\ntype=fc\noutputs=160\ninputs=d\nweights=fc0\nbiases=fcBias\n").size(),
              3U);
}

TEST_F(WeightLayerTest, addsNothingForABiasThatCannotBeOpened) {
    EXPECT_TRUE(sameFloats(
        {1, 2, 3, 4, 2, 4, 6, 8},
        run("c", std::string("[c]\ninputs=d\nweights=w12\nbiases=absent\n") + kConvKeys)));
    EXPECT_TRUE(
        sameFloats({5, 6, 7}, run("f", "[f]\ntype=fc\ninputs=d\nweights=fc0\nbiases=absent\n")));
}

TEST_F(WeightLayerTest, refusesMissingShortAndMisshapenConvolutionWeights) {
    const std::string keys = std::string("inputs=d\nbiases=bias\n") + kConvKeys;
    expectUnusable(keys + "weights=absent\n");
    expectUnusable(keys);
    writeWeightFile(file("tall"), 2, 2, {1, 2, 3, 4});  // two planes for an image of one: k is 1
    expectUnusable(keys + "weights=tall\n");
    writeWeightFile(file("large"), 4, 2,
                    {1, 2, 3, 4, 5, 6, 7, 8});  // 2 x 2 filters: 1 module, not 4
    expectUnusable(keys + "weights=large\n");
    writeWeightFile(file("none"), 0, 2, {});
    expectUnusable(keys + "weights=none\n");
    const std::int32_t headOnly[2] = {1, 2};
    writeFile(file("head"), headOnly, sizeof headOnly);
    expectUnusable(keys + "weights=head\n");
    writeFile(file("empty"), headOnly, 0);
    expectUnusable(keys + "weights=empty\n");
}

TEST_F(WeightLayerTest, refusesBiasesThatReachBeyondTheOutput) {
    const std::string keys = std::string("inputs=d\nweights=w12\n") + kConvKeys;
    writeWeightFile(file("threeBiases"), 3, 1, {1, 2, 3});
    expectUnusable(keys + "biases=threeBiases\n");
    writeWeightFile(file("wideBias"), 1, 5, {1, 2, 3, 4, 5});
    expectUnusable(keys + "biases=wideBias\n");
    const std::int32_t headOnly[2] = {2, 1};
    writeFile(file("head"), headOnly, sizeof headOnly);
    expectUnusable(keys + "biases=head\n");
    writeWeightFile(file("columnBias"), 3, 1, {10, 20, 30});
    expectUnusable("type=fc\ninputs=d\nweights=fc0\nbiases=columnBias\n");
    writeWeightFile(file("fourBiases"), 1, 4, {10, 20, 30, 40});
    expectUnusable("type=fc\ninputs=d\nweights=fc0\nbiases=fourBiases\n");
    expectUnusable("type=fc\ninputs=d\nweights=fc0\nbiases=head\n");
}

TEST_F(WeightLayerTest, refusesFullyConnectedWeightsOfAnotherShape) {
    expectUnusable("type=fc\ninputs=d\nbiases=fcBias\nweights=w12\n");
    expectUnusable("type=fc\ninputs=d_e\nbiases=fcBias\nweights=fc0\n");
    writeWeightFile(file("narrow"), 4, 2, std::vector<float>(8, 1));
    expectUnusable("type=fc\ninputs=d_e\nbiases=fcBias\nweights=fc0_narrow\n");
    second = matrixOf(2, 4, std::vector<float>(8, 1));
    expectUnusable("type=fc\ninputs=d_e\nbiases=fcBias\nweights=fc0_fc1\n");
}

TEST_F(WeightLayerTest, refusesALaterConvolutionThatDoesNotFitTheOutput) {
    expectUnusable(std::string("inputs=d_e\nbiases=bias\nweights=w12_one\n") + kConvKeys);
    second = matrixOf(2, 4, std::vector<float>(8, 1));
    expectUnusable(std::string("inputs=d_e\nbiases=bias\nweights=w12_w56\n") + kConvKeys);
}

TEST_F(WeightLayerTest, refusesAnOutputOfMoreColumnsThanCanBeCounted) {
    // 65536 filters of one element on 182 x 182 pixels: 2^31 and some more.
    writeWeightFile(file("wide"), 1, 65536, std::vector<float>(65536, 1));
    first = matrixOf(1, 182 * 182, std::vector<float>(std::size_t{182} * 182, 1));
    expectUnusable(
        "type=conv\ninputs=d\nbiases=bias\nweights=wide\nchannels=1\npadding=0\nstride=1\n"
        "imgSize=182\nmodulesX=182\n");
}

TEST_F(WeightLayerTest, movesLaterWeightsUpWhereAFileIsMissing) {
    EXPECT_THROW(run("f", "[f]\ntype=fc\ninputs=d_e\nweights=absent_fc1\nbiases=fcBias\n"),
                 UnusableLayer);
    ASSERT_EQ(layer("f").weights.size(), 1U);
    EXPECT_TRUE(sameFloat(2, layer("f").weights[0]->matrix->data[0])) << "fc1 stands at position 0";
}

TEST_F(SharedWeightsTest, areThoseOfAnEarlierLayer) {
    const std::string keys = std::string("inputs=d\nbiases=bias\n") + kConvKeys;
    EXPECT_TRUE(sameFloats({101, 102, 103, 104, 202, 204, 206, 208},
                           run("a_b", "[a]\nweights=w12\n" + keys +
                                          "[b]\nweights=w56\nweightSourceLayerIndices=2\n"
                                          "weightSourceMatrixIndices=0\n" +
                                          keys)));
    EXPECT_EQ(layer("b").weights[0]->matrix, layer("a").weights[0]->matrix);
    EXPECT_EQ(layer("b").weights[0]->source, layer("a").weights[0].get());
    EXPECT_EQ(layer("a").weights[0]->source, nullptr);
    EXPECT_NE(layer("b").biases->matrix, layer("a").biases->matrix);
}

TEST_F(SharedWeightsTest, mayBeAnEarlierMatrixOfTheLayerItself) {
    const std::string keys = std::string("biases=bias\n") + kConvKeys;
    // Layer 3 takes matrix 0 of layer 2, then its own first binding: itself is 3 in the list.
    EXPECT_TRUE(sameFloats({111, 122, 133, 144, 222, 244, 266, 288},
                           run("a_b", "[a]\ninputs=d\nweights=w12\n" + keys +
                                          "[b]\ninputs=d_e\nweightSourceLayerIndices=2_3\n"
                                          "weightSourceMatrixIndices=0_0\n" +
                                          keys)));
    EXPECT_EQ(layer("b").weights[1]->source, layer("b").weights[0].get());
    EXPECT_EQ(layer("b").weights[1]->matrix, layer("a").weights[0]->matrix);
}

TEST_F(SharedWeightsTest, outliveALayerThatTookThem) {
    const std::string keys = std::string("inputs=d\nbiases=bias\n") + kConvKeys;
    run("a_b", "[a]\nweights=w12\n" + keys +
                   "[b]\nweightSourceLayerIndices=2\nweightSourceMatrixIndices=0\n" + keys);
    net->layers.pop_back();
    EXPECT_TRUE(sameFloats({1, 2}, valuesOf(*layer("a").weights[0]->matrix)));
}

TEST_F(SharedWeightsTest, mayComeFromALayerOfAnotherKind) {
    // A fully connected layer takes a convolution's matrix, and with it the way back: the rows are
    // filters for the one and inputs for the other.
    writeWeightFile(file("tied"), 4, 3, {1, 0, 1, 0, 1, 1, 0, 0, 1, 0, 1, 1});
    writeWeightFile(file("tiedBias"), 3, 1, {0, 0, 1});
    writeWeightFile(file("backBias"), 1, 4, {100, 200, 300, 400});
    EXPECT_TRUE(sameFloats(
        {112, 217, 311, 417},
        run("c_f",
            "[c]\ntype=conv\ninputs=d\nweights=tied\nbiases=tiedBias\nchannels=1\npadding=0\n"
            "stride=1\nimgSize=2\nmodulesX=1\n"
            "[f]\ntype=fc\ninputs=c\nbiases=backBias\nweightSourceLayerIndices=2\n"
            "weightSourceMatrixIndices=0\n")));
    EXPECT_EQ(layer("f").weights[0]->matrix, layer("c").weights[0]->matrix);
}

TEST_F(SharedWeightsTest, mayGoFromOneLocalLayerToAnother) {
    writeWeightFile(file("local"), 4, 2, {1, 10, 2, 20, 3, 30, 4, 40});
    const std::string keys =
        "type=local\nbiases=absent\nchannels=1\npadding=0\nstride=1\nimgSize=2\nmodulesX=2\n";
    EXPECT_TRUE(sameFloats({10, 40, 90, 160, 100, 400, 900, 1600},
                           run("a_b", "[a]\ninputs=d\nweights=local\n" + keys +
                                          "[b]\ninputs=e\nweightSourceLayerIndices=2\n"
                                          "weightSourceMatrixIndices=0\n" +
                                          keys)));
    EXPECT_TRUE(sameFloats({1, 4, 9, 16, 10, 40, 90, 160}, valuesOf(*layer("a").getActs())));
}

TEST_F(SharedWeightsTest, areNamedByLayerAndMatrixInTheOrderOfTheInputs) {
    const std::string keys = "type=fc\ninputs=d_e\nbiases=fcBias\n";
    run("a_b", "[a]\nweights=fc0_fc1\n" + keys +
                   "[b]\nweightSourceLayerIndices=2_2\nweightSourceMatrixIndices=1_0\n" + keys);
    ASSERT_EQ(layer("b").weights.size(), 2U);
    EXPECT_EQ(layer("b").weights[0]->source, layer("a").weights[1].get());
    EXPECT_EQ(layer("b").weights[1]->source, layer("a").weights[0].get());
    EXPECT_TRUE(
        sameFloats({2 + 10 + 50, 2 + 20 + 60, 2 + 30 + 70}, valuesOf(*layer("b").getActs())));
}

TEST_F(SharedWeightsTest, pointToTheBindingTheyWereTakenFrom) {
    const std::string keys = "type=fc\ninputs=d\nbiases=fcBias\n";
    run("a_b_c", "[a]\nweights=fc0\n" + keys +
                     "[b]\nweightSourceLayerIndices=2\nweightSourceMatrixIndices=0\n" + keys +
                     "[c]\nweightSourceLayerIndices=3\nweightSourceMatrixIndices=0\n" + keys);
    EXPECT_EQ(layer("c").weights[0]->source, layer("b").weights[0].get());
    EXPECT_EQ(layer("b").weights[0]->source, layer("a").weights[0].get());
    EXPECT_EQ(layer("a").weights[0]->source, nullptr);
    EXPECT_EQ(layer("c").weights[0]->matrix, layer("a").weights[0]->matrix);
    EXPECT_EQ(layer("c").biases->source, nullptr);
    EXPECT_TRUE(sameFloats({15, 26, 37}, valuesOf(*layer("c").getActs())));
}

TEST_F(SharedWeightsTest, standInForFilesThatAreReadAllTheSame) {
    const std::string sections =
        "[a]\ntype=fc\ninputs=d\nweights=fc0\nbiases=fcBias\n"
        "[b]\ntype=fc\ninputs=d\nweights=absent_fc1\nbiases=fcBias\n"
        "weightSourceLayerIndices=2\nweightSourceMatrixIndices=0\n";
    const ForkedResult built =
        runForked([&] { netBehindTwoInputs("a_b", sections, folder.prefix()); });
    EXPECT_EQ(built.output, "load " + file("absent") + " failed\n");
    EXPECT_EQ(built.status, 0);
    EXPECT_TRUE(sameFloats({15, 26, 37}, run("a_b", sections)));
    EXPECT_EQ(layer("b").weights.size(), 1U) << "fc1 is not bound";
}

TEST_F(SharedWeightsTest, areAsIncompleteAsTheirSource) {
    const std::int32_t headOnly[2] = {4, 3};
    writeFile(file("head"), headOnly, sizeof headOnly);
    const std::string keys = "type=fc\nbiases=fcBias\n";
    net = netBehindTwoInputs(
        "a_b",
        "[a]\ninputs=d\nweights=head\n" + keys +
            "[b]\ninputs=e\nweightSourceLayerIndices=2\nweightSourceMatrixIndices=0\n" + keys,
        folder.prefix());
    EXPECT_FALSE(layer("b").weights[0]->isComplete);
    EXPECT_THROW(net->dataLayers[1]->fprop({&first, &second}), UnusableLayer);
}

TEST_F(SharedWeightsTest, endTheProcessWhereTheyAreNotThere) {
    const std::string fc = "\ntype=fc\ninputs=d\nbiases=fcBias\n";
    const std::string a = "[a]" + fc + "weights=fc0\n";
    const std::string c = "[c]" + fc + "weights=fc0\n";
    const std::string b = "[b]" + fc + "weights=fc0\n";
    const auto indices = [](const std::string& layers, const std::string& matrices) {
        return "weightSourceLayerIndices=" + layers + "\nweightSourceMatrixIndices=" + matrices +
               "\n";
    };
    expectNothingToShare("a_b_c", a + c + b + indices("4", "0"));  // a later layer
    expectNothingToShare("a_b", a + b + indices("4", "0"));        // no layer
    expectNothingToShare("a_b", a + b + indices("-1", "0"));
    expectNothingToShare("a_b", a + b + indices("0", "0"));  // a data layer
    expectNothingToShare("a_b", a + b + indices("3", "0"));  // itself, with nothing bound yet
    expectNothingToShare("a_b", a + b + indices("2_3", "0_1"));
    expectNothingToShare("a_b", a + b + indices("2", "1"));  // no such matrix
    expectNothingToShare("a_b", a + b + indices("2", "-1"));
    expectNothingToShare("a_b", a + b + indices("2_2", "0"));  // an index too few
    expectNothingToShare("a_b", a + b + "weightSourceLayerIndices=2\n");
}

TEST_F(SharedWeightsTest, needNoMoreMatrixIndicesThanLayerIndices) {
    const std::string fc = "type=fc\ninputs=d\nbiases=fcBias\nweights=fc0\n";
    run("a_b",
        "[a]\n" + fc + "[b]\nweightSourceLayerIndices=2\nweightSourceMatrixIndices=0_9\n" + fc);
    EXPECT_EQ(layer("b").weights.size(), 1U);
    // Without layer indices nothing is shared.
    run("a_b", "[a]\n" + fc + "[b]\nweightSourceMatrixIndices=0\n" + fc);
    EXPECT_EQ(layer("b").weights[0]->source, nullptr);
    EXPECT_NE(layer("b").weights[0]->matrix, layer("a").weights[0]->matrix);
}

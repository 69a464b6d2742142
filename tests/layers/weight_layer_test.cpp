// Layers that take their weights from an earlier layer, or from themselves.
#include "layers/weight_layer.h"

#include <gtest/gtest.h>

#include "layers/two_input_net.h"
#include "layers/unusable_layer.h"
#include "layers/weight_folder.h"
#include "support/build_failure.h"
#include "support/forked.h"

namespace {

// The layers are `d`, `e` and a test's own, from index 2 on.
class SharedWeightsTest : public WeightFolderTest {
  protected:
    std::vector<float> run(const std::string& names, const std::string& sections) {
        net = netBehindTwoInputs(names, sections, folder.prefix());
        return valuesOf(*runNet(*net, {&first, &second}));
    }

    // The changes replace lines of a section that reads `d`.
    static std::string section(const std::string& name, const std::string& keys,
                               const std::string& changes) {
        return "[" + name + "]\n" + with(with(keys, "inputs=d\n"), changes);
    }

    static std::string indices(const std::string& layers, const std::string& matrices) {
        return "weightSourceLayerIndices=" + layers + "\nweightSourceMatrixIndices=" + matrices +
               "\n";
    }

    WeightLayer& layer(const std::string& name) {
        return dynamic_cast<WeightLayer&>(*layerNamed(*net, name));
    }

    Matrix first = rowOf({1, 2, 3, 4});
    Matrix second = rowOf({10, 20, 30, 40});
    std::unique_ptr<ConvNet> net;
};

}  // namespace

TEST_F(SharedWeightsTest, areThoseOfAnEarlierLayer) {
    EXPECT_TRUE(sameFloats(
        {101, 102, 103, 104, 202, 204, 206, 208},
        run("a_b",
            section("a", kConv, "") + section("b", kConv, "weights=w56\n" + indices("2", "0")))));
    EXPECT_EQ(layer("b").weights[0]->matrix, layer("a").weights[0]->matrix);
    EXPECT_EQ(layer("b").weights[0]->source, layer("a").weights[0].get());
    EXPECT_EQ(layer("a").weights[0]->source, nullptr);
    EXPECT_NE(layer("b").biases->matrix, layer("a").biases->matrix);
    net->layers.pop_back();
    EXPECT_TRUE(sameFloats({1, 2}, valuesOf(*layer("a").weights[0]->matrix)))
        << "outlive a layer that took them";
}

TEST_F(SharedWeightsTest, mayBeAnEarlierMatrixOfTheLayerItself) {
    // Layer 3 takes matrix 0 of layer 2, then its own first binding: itself is 3 in the list.
    EXPECT_TRUE(sameFloats(
        {111, 122, 133, 144, 222, 244, 266, 288},
        run("a_b", section("a", kConv, "") +
                       section("b", kConv, "weights=\ninputs=d_e\n" + indices("2_3", "0_0")))));
    EXPECT_EQ(layer("b").weights[1]->source, layer("b").weights[0].get());
    EXPECT_EQ(layer("b").weights[1]->matrix, layer("a").weights[0]->matrix);
}

TEST_F(SharedWeightsTest, mayComeFromALayerOfAnotherKind) {
    // A fully connected layer takes a convolution's matrix, and with it the way back: the rows are
    // filters for the one and inputs for the other.
    write("tied", 4, 3, {1, 0, 1, 0, 1, 1, 0, 0, 1, 0, 1, 1});
    write("tiedBias", 3, 1, {0, 0, 1});
    write("backBias", 1, 4, {100, 200, 300, 400});
    EXPECT_TRUE(sameFloats(
        {112, 217, 311, 417},
        run("c_f", section("c", kConv, "weights=tied\nbiases=tiedBias\nmodulesX=1\n") +
                       section("f", kFullyConnected,
                               "inputs=c\nweights=\nbiases=backBias\n" + indices("2", "0")))));
    EXPECT_EQ(layer("f").weights[0]->matrix, layer("c").weights[0]->matrix);
}

TEST_F(SharedWeightsTest, areNamedByLayerAndMatrixInTheOrderOfTheInputs) {
    run("a_b", section("a", kFullyConnected, "inputs=d_e\nweights=fc0_fc1\n") +
                   section("b", kFullyConnected, "inputs=d_e\n" + indices("2_2", "1_0")));
    ASSERT_EQ(layer("b").weights.size(), 2U);
    EXPECT_EQ(layer("b").weights[0]->source, layer("a").weights[1].get());
    EXPECT_EQ(layer("b").weights[1]->source, layer("a").weights[0].get());
    EXPECT_TRUE(
        sameFloats({2 + 10 + 50, 2 + 20 + 60, 2 + 30 + 70}, valuesOf(*layer("b").getActs())));
}

TEST_F(SharedWeightsTest, pointToTheBindingTheyWereTakenFrom) {
    EXPECT_TRUE(sameFloats({15, 26, 37},
                           run("a_b_c", section("a", kFullyConnected, "") +
                                            section("b", kFullyConnected, indices("2", "0")) +
                                            section("c", kFullyConnected, indices("3", "0")))));
    EXPECT_EQ(layer("c").weights[0]->source, layer("b").weights[0].get());
    EXPECT_EQ(layer("c").weights[0]->matrix, layer("a").weights[0]->matrix);
    EXPECT_EQ(layer("c").biases->source, nullptr);
}

TEST_F(SharedWeightsTest, standInForFilesThatAreReadAllTheSame) {
    const std::string sections =
        section("a", kFullyConnected, "") +
        section("b", kFullyConnected, "weights=absent_fc1\n" + indices("2", "0"));
    const ForkedResult built =
        runForked([&] { netBehindTwoInputs("a_b", sections, folder.prefix()); });
    EXPECT_EQ(built.output, "load " + file("absent") + " failed\n");
    EXPECT_EQ(built.status, 0);
    EXPECT_TRUE(sameFloats({15, 26, 37}, run("a_b", sections)));
    EXPECT_EQ(layer("b").weights.size(), 1U) << "fc1 is not bound";
}

TEST_F(SharedWeightsTest, moveUpWhereAFileInFrontOfThemIsMissing) {
    EXPECT_THROW(run("f", section("f", kFullyConnected, "inputs=d_e\nweights=absent_fc1\n")),
                 UnusableLayer);
    ASSERT_EQ(layer("f").weights.size(), 1U);
    EXPECT_TRUE(sameFloat(2, layer("f").weights[0]->matrix->data[0])) << "fc1 stands at position 0";
}

TEST_F(SharedWeightsTest, areAsIncompleteAsTheirSource) {
    const std::int32_t headOnly[2] = {4, 3};
    writeFile(file("head"), headOnly, sizeof headOnly);
    net = netBehindTwoInputs(
        "a_b",
        section("a", kFullyConnected, "weights=head\n") +
            section("b", kFullyConnected, "inputs=e\nweights=\n" + indices("2", "0")),
        folder.prefix());
    EXPECT_FALSE(layer("b").weights[0]->isComplete);
    EXPECT_THROW(net->dataLayers[1]->fprop({&first, &second}), UnusableLayer);
}

TEST_F(SharedWeightsTest, endTheProcessWhereTheyAreNotThere) {
    const struct {
        const char *what, *names, *layers, *matrices;
    } cases[] = {
        {"a later layer", "a_b_c", "4", "0"},
        {"no layer", "a_b", "4", "0"},
        {"a negative layer", "a_b", "-1", "0"},
        {"a data layer", "a_b", "0", "0"},
        {"itself, with nothing bound yet", "a_b", "3", "0"},
        {"itself, beyond what is bound", "a_b", "2_3", "0_1"},
        {"no such matrix", "a_b", "2", "1"},
        {"a negative matrix", "a_b", "2", "-1"},
        {"an index too few", "a_b", "2_2", "0"},
        {"no matrix indices", "a_b", "2", ""},
    };
    for (const auto& [what, names, layers, matrices] : cases) {
        SCOPED_TRACE(what);
        const std::string sections = section("a", kFullyConnected, "") +
                                     section("b", kFullyConnected, indices(layers, matrices)) +
                                     section("c", kFullyConnected, "");
        expectBuildFailure(textBehindTwoInputs(names, sections), "No weights to share with layer b",
                           folder.prefix());
    }
}

TEST_F(SharedWeightsTest, needNoMoreMatrixIndicesThanLayerIndices) {
    const std::string a = section("a", kFullyConnected, "");
    run("a_b", a + section("b", kFullyConnected, indices("2", "0_9")));
    EXPECT_EQ(layer("b").weights.size(), 1U);
    // Without layer indices nothing is shared.
    run("a_b", a + section("b", kFullyConnected, indices("", "0")));
    EXPECT_EQ(layer("b").weights[0]->source, nullptr);
    EXPECT_NE(layer("b").weights[0]->matrix, layer("a").weights[0]->matrix);
}

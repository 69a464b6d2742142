#include "description/conv_net.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "description/net_texts.h"
#include "support/bits.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

using Names = std::vector<std::string>;

Names namesOf(const std::vector<Layer*>& layers) {
    Names names;
    for (const Layer* layer : layers) {
        names.push_back(layer->name);
    }
    return names;
}

const char* const kDataSection = "[d]\ntype=data\ndataIdx=0\nactsTarget=0\n";

// The line and the exit status that a description which cannot be built ends with.
void expectFailure(const std::string& text, const std::string& reason) {
    const ForkedResult result = runForked([&] {
        std::fputs("before;", stdout);
        buildNet(text);
    });
    EXPECT_EQ(result.output, "before;Error creating ConvNet: " + reason + "\n");
    EXPECT_EQ(result.status, 1);
}

// Network 3 (index 2) with random weights, and a patch of its own size.
class EmbeddedNet : public testing::Test {
  protected:
    EmbeddedNet() {
        Random random(3);
        writeNetWeights(folder.prefix(), 3, random);
        net = std::make_unique<ConvNet>(2, netDescriptionTexts[2], folder.prefix());
        patch = matrixOf(2, 6627, random.floats(std::size_t{2} * 6627, -128, 128));
        patches.assign(25, nullptr);
        patches[2] = &patch;
    }

    TemporaryFolder folder;
    std::unique_ptr<ConvNet> net;
    Matrix patch;
    MatrixList patches;
};

}  // namespace

TEST_F(EmbeddedNet, isWiredAsItsDescriptionSays) {
    const std::map<std::string, std::pair<Names, Names>> expected = {
        {"data", {{}, {"conv1"}}},
        {"conv1", {{"data"}, {"neuron1"}}},
        {"neuron1", {{"conv1"}, {"pool1"}}},
        {"pool1", {{"neuron1"}, {"conv2"}}},
        {"conv2", {{"pool1"}, {"neuron2"}}},
        {"neuron2", {{"conv2"}, {"pool2"}}},
        {"pool2", {{"neuron2"}, {"local3"}}},
        {"local3", {{"pool2"}, {"neuron3"}}},
        {"neuron3", {{"local3"}, {"pool3"}}},
        {"pool3", {{"neuron3"}, {"local4", "fc"}}},
        {"local4", {{"pool3"}, {"neuron4", "fc"}}},
        {"neuron4", {{"local4"}, {}}},
        {"fc", {{"local4", "pool3"}, {}}},
    };
    ASSERT_EQ(net->layers.size(), expected.size());
    for (const auto& layer : net->layers) {
        EXPECT_EQ(namesOf(layer->prev), expected.at(layer->name).first) << layer->name;
        EXPECT_EQ(namesOf(layer->next), expected.at(layer->name).second) << layer->name;
        EXPECT_EQ(layer->net, net.get());
    }
    EXPECT_EQ(namesOf(net->dataLayers), Names{"data"});
}

TEST_F(EmbeddedNet, firesItsFourthNeuronBetweenItsFourthConvolutionAndTheLastLayer) {
    FiringOrder order(*net);
    runNet(*net, patches);
    EXPECT_EQ(order.fired, (Names{"data", "conv1", "neuron1", "pool1", "conv2", "neuron2", "pool2",
                                  "local3", "neuron3", "pool3", "local4", "neuron4", "fc"}));
}

TEST_F(EmbeddedNet, lastLayerReadsTheRectifiedFourthConvolution) {
    runNet(*net, patches);
    const Matrix* local4 = layerNamed(*net, "local4")->getActs();
    EXPECT_EQ(layerNamed(*net, "neuron4")->getActs(), local4);
    EXPECT_EQ(layerNamed(*net, "fc")->inputs[0], local4);
    EXPECT_EQ(layerNamed(*net, "fc")->inputs[1], layerNamed(*net, "pool3")->getActs());
    for (const float value : valuesOf(*local4)) {
        ASSERT_GE(value, 0.0F);
    }
}

TEST_F(EmbeddedNet, activationsHaveTheShapesOfTheirGeometry) {
    const Matrix* out = runNet(*net, patches);
    EXPECT_EQ(out->numRows, 2);
    EXPECT_EQ(out->numCols, 160);
    const std::map<std::string, std::int32_t> columns = {
        {"data", 6627},   {"conv1", 30976}, {"pool1", 7744}, {"conv2", 12800}, {"pool2", 3200},
        {"local3", 3072}, {"pool3", 768},   {"local4", 576}, {"fc", 160}};
    for (const auto& [name, cols] : columns) {
        const Matrix* acts = layerNamed(*net, name)->getActs();
        EXPECT_EQ(acts->numCols, cols) << name;
        EXPECT_EQ(acts->numRows, 2) << name;
        EXPECT_EQ(acts->trans, kRowMajor) << name;
    }
}

TEST_F(EmbeddedNet, givesTheSameBitsAgainAndKeepsItsStorage) {
    const std::vector<float> once = valuesOf(*runNet(*net, patches));
    std::vector<const float*> storage;
    for (const auto& layer : net->layers) {
        storage.push_back(layer->getActs()->data);
    }
    EXPECT_TRUE(sameFloats(once, valuesOf(*runNet(*net, patches))));
    for (std::size_t i = 0; i < storage.size(); ++i) {
        EXPECT_EQ(net->layers[i]->getActs()->data, storage[i]) << net->layers[i]->name;
    }
}

TEST_F(EmbeddedNet, keepsItsFormerOutputWhereResetIsForgotten) {
    const std::vector<float> once = valuesOf(*runNet(*net, patches));
    Matrix other = matrixOf(2, 6627, std::vector<float>(std::size_t{2} * 6627, 50));
    patches[2] = &other;
    net->dataLayers[0]->fprop(patches);
    EXPECT_TRUE(sameFloats(once, valuesOf(*net->layers.back()->getActs())));
    EXPECT_FALSE(sameFloats(once, valuesOf(*runNet(*net, patches))));
}

TEST_F(EmbeddedNet, runsOnAfterItsDescriptionHasBeenReplaced) {
    const std::vector<float> once = valuesOf(*runNet(*net, patches));
    const ConvNet replacing(2, "[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\ndataIdx=0\n",
                            "");
    EXPECT_TRUE(sameFloats(once, valuesOf(*runNet(*net, patches))));
    EXPECT_EQ(g_currentNet, 2);
}

TEST(ConvNet, ofNoLayersRunsToNothing) {
    for (const char* text : {"", "[Net]\nLayerNames=a_b\n", "[Net]\nLayerCount=x\n"}) {
        const auto net = buildNet(text);
        EXPECT_TRUE(net->layers.empty());
        EXPECT_EQ(runNet(*net, {}), nullptr);
    }
}

TEST(ConvNet, buildsOnlyTheFirstLayersWhereTheCountIsBelowTheNames) {
    const auto net =
        buildNet(std::string("[Net]\nLayerCount=1\nLayerNames=d_gone\n") + kDataSection);
    EXPECT_EQ(net->layers.size(), 1U);
}

TEST(ConvNet, listsSeveralDataLayersInOrder) {
    const auto net = buildNet(
        "[Net]\nLayerCount=3\nLayerNames=b_n_a\n[a]\ntype=data\ndataIdx=0\nactsTarget=0\n"
        "[b]\ntype=data\ndataIdx=1\nactsTarget=0\n"
        "[n]\ntype=neuron\nneuron=relu\ninputs=b\nactsTarget=0\n");
    EXPECT_EQ(namesOf(net->dataLayers), (Names{"b", "a"}));
    Matrix first = matrixOf(1, 1, {-1});
    Matrix second = matrixOf(1, 1, {-2});
    EXPECT_EQ(runNet(*net, {&first, &second}), &first);
    EXPECT_TRUE(sameFloat(0, second.data[0]));
}

TEST(ConvNet, endsTheProcessOverAnUnknownLayerType) {
    const std::string net = "[Net]\nLayerCount=1\nLayerNames=x\n[x]\n";
    expectFailure(net, "Unknown layer type ");
    expectFailure(net + "type=Conv\n", "Unknown layer type Conv");
    expectFailure(net + "type=convolution\n", "Unknown layer type convolution");
    expectFailure("[Net]\nLayerCount=1\nLayerNames=x\n", "Unknown layer type ");
}

TEST(ConvNet, endsTheProcessOverAnUnknownPoolOrNeuron) {
    const std::string net = "[Net]\nLayerCount=1\nLayerNames=x\n[x]\n";
    expectFailure(net + "type=pool\npool=min\n", "Unknown pooling layer type min");
    expectFailure(net + "type=pool\n", "Unknown pooling layer type ");
    expectFailure(net + "type=neuron\nneuron=swish\n", "Unknown neuron type: swish");
    expectFailure(net + "type=neuron\n", "Unknown neuron type: ");
}

TEST(ConvNet, endsTheProcessOverAnInputThatIsNoEarlierLayer) {
    const std::string head = std::string("[Net]\nLayerCount=2\nLayerNames=d_n\n") + kDataSection;
    expectFailure(head + "[n]\ntype=neuron\nneuron=relu\ninputs=gone\n",
                  "Unknown input gone of layer n");
    expectFailure(head + "[n]\ntype=neuron\nneuron=relu\ninputs=n\n", "Unknown input n of layer n");
}

TEST(ConvNet, endsTheProcessOverMoreLayersThanNames) {
    expectFailure("[Net]\nLayerCount=2\nLayerNames=d\n" + std::string(kDataSection),
                  "LayerCount is above the number of LayerNames");
}

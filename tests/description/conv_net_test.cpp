#include "network/conv_net.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <new>
#include <utility>

#include "network/net_texts.h"
#include "layers/layer_registry.h"
#include "support/bits.h"
#include "support/build_failure.h"
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

// A description of one layer `x` with these keys.
std::string textOfOne(const std::string& keys) {
    return "[Net]\nLayerCount=1\nLayerNames=x\n[x]\n" + keys;
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
    for (const char* text : {"", "[Net]\nLayerNames=a_b\n", "[Net]\nLayerCount=x\n",
                             "[Net]\nLayerCount=-1\nLayerNames=a\n"}) {
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
    expectBuildFailure(textOfOne(""), "Unknown layer type ");
    expectBuildFailure("[Net]\nLayerCount=1\nLayerNames=x\n", "Unknown layer type ");
    for (const std::string type : {"Conv", "CONV", "con", "convolution", "conv2", "max", "relu"}) {
        expectBuildFailure(textOfOne("type=" + type + "\n"), "Unknown layer type " + type);
    }
}

TEST(ConvNet, endsTheProcessOverAnUnknownPoolOrNeuron) {
    expectBuildFailure(textOfOne("type=pool\n"), "Unknown pooling layer type ");
    expectBuildFailure(textOfOne("type=neuron\n"), "Unknown neuron type: ");
    for (const std::string name : {"min", "Max", "AVG", "maxi", "relu"}) {
        expectBuildFailure(textOfOne("type=pool\npool=" + name + "\n"),
                           "Unknown pooling layer type " + name);
    }
    for (const std::string name : {"swish", "ReLU", "relu6", "max"}) {
        expectBuildFailure(textOfOne("type=neuron\nneuron=" + name + "\n"),
                           "Unknown neuron type: " + name);
    }
}

TEST(ConvNet, endsTheProcessOverTheFirstLayerThatIsWrong) {
    expectBuildFailure(std::string("[Net]\nLayerCount=3\nLayerNames=d_x_y\n") + kDataSection +
                           "[x]\ntype=first\ninputs=gone\n[y]\ntype=second\n",
                       "Unknown layer type first");
}

TEST(ConvNet, flushesItsLineBeforeTheProcessExits) {
    // What the exit itself would flush is cut off.
    const ForkedResult result = runForked([] {
        std::atexit([] { _exit(3); });
        std::fputs("before;", stdout);
        buildNet(textOfOne("type=Conv\n"));
    });
    EXPECT_EQ(result.output, "before;Error creating ConvNet: Unknown layer type Conv\n");
    EXPECT_EQ(result.status, 3);
}

TEST(ConvNet, letsOtherFailuresThrough) {
    TemporaryFolder folder;
    const std::int32_t tooLarge[2] = {65536, 65536};
    writeFile(folder.prefix() + "w", tooLarge, sizeof tooLarge);
    EXPECT_THROW(buildNet(textOfOne("type=fc\nweights=w\nbiases=w\n"), folder.prefix()),
                 std::bad_alloc);
}

TEST(ConvNet, readsItsTextThroughTheSlotOfItsIndex) {
    describe("[kept]\na=1\n");
    const ConvNet last(24, "[Net]\nLayerCount=1\nLayerNames=x\n[x]\ntype=data\ndataIdx=0\n", "");
    EXPECT_EQ(last.layers.size(), 1U);
    EXPECT_EQ(g_currentNet, 24) << "stays behind";
    EXPECT_NE(getSection(g_descriptions[24], "x"), nullptr);
    EXPECT_EQ(getSection(g_descriptions[0], "x"), nullptr);
    EXPECT_NE(getSection(g_descriptions[0], "kept"), nullptr);
}

TEST(ConvNet, findsAnInputUnderTheFirstEqualName) {
    const auto net = buildNet(
        "[Net]\nLayerCount=4\nLayerNames=dd_d_d_n\n[dd]\ntype=data\ndataIdx=0\n"
        "[d]\ntype=data\ndataIdx=1\n[n]\ntype=eltmax\ninputs=d_dd_d\n");
    EXPECT_EQ(net->layers[3]->prev, (std::vector<Layer*>{net->layers[1].get(), net->layers[0].get(),
                                                         net->layers[1].get()}));
    EXPECT_EQ(net->layers[1]->next,
              (std::vector<Layer*>{net->layers[3].get(), net->layers[3].get()}));
    EXPECT_TRUE(net->layers[2]->next.empty());
    EXPECT_EQ(net->layers[0]->next, std::vector<Layer*>{net->layers[3].get()});
}

TEST(LayerKinds, areComparedInThisOrder) {
    const std::vector<std::pair<std::string, LayerCreator>> expected = {
        {"fc", createFCLayer},
        {"conv", createConvLayer},
        {"local", createLocalUnsharedLayer},
        {"pool", createPoolLayer},
        {"rnorm", createResponseNormLayer},
        {"cmrnorm", createCrossMapResponseNormLayer},
        {"cnorm", createContrastNormLayer},
        {"softmax", createSoftmaxLayer},
        {"eltsum", createEltwiseSumLayer},
        {"eltmax", createEltwiseMaxLayer},
        {"neuron", createNeuronLayer},
        {"data", createDataLayer},
    };
    std::vector<std::pair<std::string, LayerCreator>> actual;
    for (const LayerKind& kind : kLayerKinds) {
        actual.emplace_back(kind.keyword, kind.create);
    }
    EXPECT_EQ(actual, expected);
}

TEST(ConvNet, endsTheProcessOverAnInputThatIsNoEarlierLayer) {
    const std::string head = std::string("[Net]\nLayerCount=2\nLayerNames=d_n\n") + kDataSection;
    for (const std::string input : {"gone", "n", "D", "dd"}) {
        expectBuildFailure(head + "[n]\ntype=neuron\nneuron=relu\ninputs=d_" + input + "\n",
                           "Unknown input " + input + " of layer n");
    }
    expectBuildFailure(std::string("[Net]\nLayerCount=3\nLayerNames=d_n_m\n") + kDataSection +
                           "[n]\ntype=neuron\nneuron=relu\ninputs=m\n"
                           "[m]\ntype=neuron\nneuron=relu\ninputs=d\n",
                       "Unknown input m of layer n");
}

TEST(ConvNet, endsTheProcessOverMoreLayersThanNames) {
    expectBuildFailure("[Net]\nLayerCount=2\nLayerNames=d\n" + std::string(kDataSection),
                       "LayerCount is above the number of LayerNames");
}

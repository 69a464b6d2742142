#include "network/conv_net.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "network/net_texts.h"
#include "support/bits.h"
#include "support/build_failure.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

using Layers = std::vector<Layer*>;

// Names joined by `_`, as in a description.
std::string namesOf(const Layers& layers) {
    std::string names;
    for (const Layer* layer : layers) {
        names += (names.empty() ? "" : "_") + layer->name;
    }
    return names;
}

const std::string kData = "[d]\ntype=data\ndataIdx=0\nactsTarget=0\n";

// A description of layers of these names.
std::string textOf(const std::string& names, const std::string& sections) {
    return "[Net]\nLayerCount=" + std::to_string(splitList(names).size()) +
           "\nLayerNames=" + names + "\n" + sections;
}

struct Expected {
    const char* name;
    const char* prev;
    const char* next;
    std::int32_t cols;
};

}  // namespace

TEST(ConvNet, isWiredAndShapedAndFiresAsItsDescriptionSays) {
    const std::vector<Expected> expected = {
        {"data", "", "conv1", 6627},
        {"conv1", "data", "neuron1", 30976},
        {"neuron1", "conv1", "pool1", 30976},
        {"pool1", "neuron1", "conv2", 7744},
        {"conv2", "pool1", "neuron2", 12800},
        {"neuron2", "conv2", "pool2", 12800},
        {"pool2", "neuron2", "local3", 3200},
        {"local3", "pool2", "neuron3", 3072},
        {"neuron3", "local3", "pool3", 3072},
        {"pool3", "neuron3", "local4_fc", 768},
        {"local4", "pool3", "neuron4_fc", 576},
        {"neuron4", "local4", "", 576},
        {"fc", "local4_pool3", "", 160},
    };
    const TemporaryFolder folder;
    Random random(3);
    writeNetWeights(folder.prefix(), 3, random);
    // The network may keep no pointer to its text or to the name of its folder.
    std::string text = netDescriptionTexts[2];
    const auto net = buildNet(text, folder.prefix());
    text.assign(text.size(), '!');
    Matrix patch = matrixOf(2, 6627, random.floats(std::size_t{2} * 6627, -128, 128));
    MatrixList patches(25, nullptr);
    patches[2] = &patch;
    FiringOrder order(*net);
    EXPECT_EQ(runNet(*net, patches), net->layers.back()->getActs());
    ASSERT_EQ(order.fired.size(), expected.size());
    ASSERT_EQ(net->layers.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        Layer& layer = *net->layers[i];
        layer.next.erase(layer.next.begin());  // what FiringOrder put there
        EXPECT_EQ(layer.name, expected[i].name);
        EXPECT_EQ(order.fired[i], expected[i].name);
        EXPECT_EQ(namesOf(layer.prev), expected[i].prev) << layer.name;
        EXPECT_EQ(namesOf(layer.next), expected[i].next) << layer.name;
        EXPECT_EQ(layer.getActs()->numRows, 2) << layer.name;
        EXPECT_EQ(layer.getActs()->numCols, expected[i].cols) << layer.name;
        EXPECT_EQ(layer.getActs()->trans, kRowMajor) << layer.name;
    }
    EXPECT_EQ(namesOf(net->dataLayers), "data");
    // The last layer reads the fourth convolution after it was rectified in place.
    Matrix* local4 = layerNamed(*net, "local4")->getActs();
    EXPECT_EQ(layerNamed(*net, "neuron4")->getActs(), local4);
    EXPECT_EQ(net->layers.back()->inputs,
              (MatrixList{local4, layerNamed(*net, "pool3")->getActs()}));
    for (const float value : valuesOf(*local4)) {
        ASSERT_GE(value, 0.0F);
    }
}

TEST(ConvNet, ofNoLayersRunsToNothing) {
    for (const char* text : {"", "[Net]\nLayerNames=a_b\n", "[Net]\nLayerCount=x\n",
                             "[Net]\nLayerCount=-1\nLayerNames=a\n",
                             "[Net]\nLayerCount=0\nLayerNames=d\n[d]\ntype=data\n"}) {
        const auto net = buildNet(text);
        EXPECT_TRUE(net->layers.empty() && net->dataLayers.empty()) << text;
        EXPECT_EQ(runNet(*net, {nullptr}), nullptr) << text;
    }
}

TEST(ConvNet, buildsOnlyTheFirstLayersWhereTheCountIsBelowTheNames) {
    EXPECT_EQ(buildNet("[Net]\nLayerCount=1\nLayerNames=d_gone\n" + kData)->layers.size(), 1U);
}

TEST(ConvNet, findsAnInputUnderTheFirstEqualName) {
    const auto net = buildNet(textOf("dd_d_d_n",
                                     "[dd]\ntype=data\ndataIdx=0\n[d]\ntype=data\n"
                                     "dataIdx=1\n[n]\ntype=eltmax\ninputs=d_dd_d\n"));
    const LayerList& layers = net->layers;
    EXPECT_EQ(layers[3]->prev, (Layers{layers[1].get(), layers[0].get(), layers[1].get()}));
    EXPECT_EQ(layers[0]->next, Layers{layers[3].get()});
    EXPECT_EQ(layers[1]->next, (Layers{layers[3].get(), layers[3].get()}));
    EXPECT_EQ(layers[2]->next, Layers{});
}

// Each of the networks takes other weights and another factor to the same names.
TEST(ConvNet, isBuiltOnSeveralThreadsAtOnce) {
    const TemporaryFolder folder;
    int right[4] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        const std::string prefix = folder.prefix() + std::to_string(i);
        writeWeightFile(prefix + "w", 1, 1, {static_cast<float>(i)});
        writeWeightFile(prefix + "b", 1, 1, {100});
        const std::string text =
            textOf("d_f_s", kData + "[f]\ntype=fc\ninputs=d\noutputs=1\nweights=w\nbiases=b\n" +
                                "[s]\ntype=eltsum\ninputs=f\ncoeffs=" + std::to_string(i + 1));
        threads.emplace_back([=, &right] {
            Matrix one = matrixOf(1, 1, {1});
            for (int round = 0; round < 200; ++round) {
                const auto net = buildNet(text, prefix);
                const auto expected = static_cast<float>((i + 100) * (i + 1));
                right[i] += runNet(*net, {&one})->data[0] == expected ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < 4; ++i) {
        threads[static_cast<std::size_t>(i)].join();
        EXPECT_EQ(right[i], 200) << "thread " << i;
    }
}

TEST(ConvNet, endsTheProcessOverTheFirstThingThatIsWrong) {
    const std::string neuron = "[n]\ntype=neuron\nneuron=relu\ninputs=";
    const std::vector<std::pair<std::string, std::string>> examples = {
        {textOf("d_x_y", kData + "[x]\ntype=first\ninputs=gone\n[y]\ntype=second\n"),
         "Unknown layer type first"},
        {textOf("d_x_y_n", kData + "[x]\ntype=data\n[y]\ntype=data\n" + neuron + "d_gone\n"),
         "Unknown input gone of layer n"},
        {textOf("d_n", kData + neuron + "d_n\n"), "Unknown input n of layer n"},
        {textOf("d_n", kData + neuron + "D\n"), "Unknown input D of layer n"},
        {textOf("d_n_m", kData + neuron + "m\n[m]\ntype=data\n"), "Unknown input m of layer n"},
        {"[Net]\nLayerCount=1\n", "LayerCount is above the number of LayerNames"},
        {"[Net]\nLayerCount=3\nLayerNames=d_x\n" + kData, "Unknown layer type "},
    };
    for (const auto& [text, reason] : examples) {
        expectBuildFailure(text, reason);
    }
}

TEST(ConvNet, knowsItsKeywordsByAllTheirLettersInTheirCase) {
    const struct {
        std::string keys, reason;
        std::vector<std::string> keywords;
    } examples[] = {
        // A key without a value is dropped.
        {"type=", "Unknown layer type ", {"", "Conv", "con", "conv2", "max", "relu"}},
        {"type=pool\npool=", "Unknown pooling layer type ", {"", "Max", "ma", "maxx", "sum"}},
        {"type=neuron\nneuron=", "Unknown neuron type: ", {"", "RELU", "rel", "relu6", "elu"}},
    };
    for (const auto& [keys, reason, keywords] : examples) {
        for (const std::string& keyword : keywords) {
            expectBuildFailure(textOf("x", "[x]\n" + keys + keyword), reason + keyword);
        }
    }
}

TEST(ConvNet, buildsTheLayersThatHaveNamesBeforeItMissesOne) {
    const ForkedResult result = runForked([] {
        buildNet("[Net]\nLayerCount=2\nLayerNames=f\n[f]\ntype=fc\nweights=w_v\nbiases=b\n",
                 "nowhere/");
    });
    EXPECT_EQ(result.output,
              "load nowhere/w failed\nload nowhere/v failed\nload nowhere/b failed\n"
              "Error creating ConvNet: LayerCount is above the number of LayerNames\n");
    EXPECT_EQ(result.status, 1);
}

TEST(ConvNet, flushesItsLineBeforeTheProcessExits) {
    // What the exit itself would flush is cut off.
    const ForkedResult result = runForked([] {
        std::atexit([] { _exit(3); });
        std::fputs("before;", stdout);
        buildNet(textOf("x", ""));
    });
    EXPECT_EQ(result.output, "before;Error creating ConvNet: Unknown layer type \n");
    EXPECT_EQ(result.status, 3);
}

TEST(ConvNet, letsOtherFailuresThrough) {
    TemporaryFolder folder;
    const std::int32_t tooLarge[2] = {65536, 65536};
    writeFile(folder.prefix() + "w", tooLarge, sizeof tooLarge);
    EXPECT_THROW(buildNet(textOf("x", "[x]\ntype=fc\nweights=w\nbiases=w\n"), folder.prefix()),
                 std::bad_alloc);
}

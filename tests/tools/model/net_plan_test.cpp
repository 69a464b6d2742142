// Descriptions as numbers: sizes of activations, shapes of weight files.
#include "model/net_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "network/net_texts.h"
#include "reference/reference_tables.h"
#include "support/thrown.h"

static NetPlan planOf(int number) {
    return planNetwork(netDescriptionTexts[number - 1]);
}

static std::vector<int> elementsOf(int number) {
    std::vector<int> elements;
    for (const LayerPlan& layer : planOf(number)) {
        elements.push_back(layer.elements());
    }
    return elements;
}

TEST(NetPlan, smallNetworksDifferInTheirPatchOnly) {
    EXPECT_EQ(elementsOf(1), (std::vector<int>{9075, 43264, 43264, 10816, 18432, 18432, 4608, 4800,
                                               4800, 1200, 1024, 1024, 160}));
    const std::vector<int> rest = {30976, 30976, 7744, 12800, 12800, 3200,
                                   3072,  3072,  768,  576,   576,   160};
    for (const int number : {3, 4, 10, 25}) {
        std::vector<int> expected = rest;
        expected.insert(expected.begin(), kReferencePatches[number - 1].isColour ? 6627 : 2209);
        EXPECT_EQ(elementsOf(number), expected) << "network " << number;
    }
}

TEST(NetPlan, lastLayerReadsTheTwoStagesBeforeIt) {
    const NetPlan plan = planOf(7);
    ASSERT_EQ(plan.size(), 13U);
    EXPECT_EQ(plan[12].name, "fc");
    EXPECT_EQ(plan[12].inputs, (std::vector<std::size_t>{10, 9}));
    ASSERT_EQ(plan[12].weights.size(), 2U);
    EXPECT_EQ(plan[12].weights[0].name, "5-7-1");
    EXPECT_EQ(plan[12].weights[0].rows, 576);
    EXPECT_EQ(plan[12].weights[1].name, "5-7-2");
    EXPECT_EQ(plan[12].weights[1].rows, 768);
}

TEST(NetPlan, namesTheLayerThatFitsNoModel) {
    const struct {
        const char* line;  // of network 4
        const char* replacement;
        const char* reason;
    } faults[] = {
        {"channels=1 ", "channels=3 ", "layer conv1: channels are not the planes of the input"},
        {"imgSize=22", "imgSize=23", "layer conv2: imgSize is not that of the input"},
        {"channels=48 \n  \n [local4]", "channels=47 \n  \n [local4]",
         "layer pool3: channels are not the planes of the input"},
        {"inputs=local4_pool3", "inputs=local4_pool9",
         "layer fc: input pool9 is not an earlier layer"},
        {"weights=5-4-1_5-4-2", "weights=5-4-1", "layer fc: not one weight file for each input"},
        {"pool=max", "pool=avg", "layer pool1: a pool other than max"},
        {"neuron=relu", "neuron=tanh", "layer neuron1: a neuron other than relu"},
        {"type=pool", "type=rnorm", "layer pool1: type rnorm is not known here"},
        {"type=fc", "type=softmax", "layer fc: not exactly one input"},
        {"outputs=160", "outputs=x", "layer fc: no usable outputs"},
        {"dataIdx=3", "dataIdx=25", "layer data: dataIdx is not the index of a patch"},
        {"dataIdx=3", "dataIdx=3", ""},
    };
    for (const auto& [line, replacement, reason] : faults) {
        std::string text = netDescriptionTexts[3];
        const std::size_t position = text.find(line);
        ASSERT_NE(position, std::string::npos) << line;
        text.replace(position, std::string(line).size(), replacement);
        EXPECT_EQ(reasonOf([&text = text] { planNetwork(text.c_str()); }), reason);
    }
}

// Descriptions as numbers: sizes of activations. model_files_test.cpp has the shapes of weights, and
// exact_sums_test.cpp follows a plan from layer to layer.
#include "model/net_plan.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "network/net_texts.h"
#include "support/thrown.h"

TEST(NetPlan, activationsShrinkFromStageToStage) {
    const std::pair<int, std::vector<int>> networks[] = {
        {1, {9075, 43264, 43264, 10816, 18432, 18432, 4608, 4800, 4800, 1200, 1024, 1024, 160}},
        {4, {2209, 30976, 30976, 7744, 12800, 12800, 3200, 3072, 3072, 768, 576, 576, 160}}};
    for (const auto& [number, expected] : networks) {
        std::vector<int> elements;
        for (const LayerPlan& layer : planNetwork(netDescriptionTexts[number - 1])) {
            elements.push_back(layer.elements());
        }
        EXPECT_EQ(elements, expected) << "network " << number;
    }
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

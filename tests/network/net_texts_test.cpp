#include "network/net_texts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "description/parameters.h"
#include "reference/reference_tables.h"
#include "zomu_model.hpp"

namespace {

using Names = std::vector<std::string>;

std::int32_t intAt(const NetDescription& description, const std::string& section,
                   const std::string& key) {
    std::int32_t value = -77;
    getInt(getSection(description, section), key, value);
    return value;
}

Names listAt(const NetDescription& description, const std::string& section,
             const std::string& key) {
    return getStringList(getSection(description, section), key);
}

}  // namespace

// Of all texts with their NULs. A program that joined them from lists of lines, with sizes computed
// instead of stored, gave the same bytes; what stands below says why they are right.
TEST(NetTexts, haveTheirDigest) {
    ZomuSha256 digest;
    for (const char* text : netDescriptionTexts) {
        digest.update(text, std::strlen(text) + 1);
    }
    EXPECT_EQ(ZomuModel::hexadecimal(digest.finish()),
              "48aeda56b6814bb8b52a5890eb173a13a9b12742bb8f7261847ee7d59234bc2a");
}

TEST(NetTexts, joinTheirLinesByBlankLineFeedBlank) {
    EXPECT_EQ(std::string(netDescriptionTexts[9], 237),
              "[Net] \n LayerCount=13 \n LayerNames=data_conv1_neuron1_pool1_conv2_neuron2_pool2_"
              "local3_neuron3_pool3_local4_neuron4_fc \n  \n [data] \n type=data \n dataIdx=9 \n "
              "actsTarget=0 \n  \n [conv1] \n type=conv \n inputs=data \n channels=1 \n filters=16 "
              "\n ");
    const std::string last = netDescriptionTexts[24];
    EXPECT_EQ(last.size(), 1688U);
    EXPECT_TRUE(last.ends_with("weights=5-25-1_5-25-2 \n biases=5-25-3 \n "));
}

TEST(NetTexts, nameTheirPatchAndTheirFilesAndAgreeOnSizesFromLayerToLayer) {
    for (int i = 0; i < kDescriptionCount; ++i) {
        SCOPED_TRACE(i);
        const NetDescription text = parseDescription(netDescriptionTexts[i]);
        const std::string number = "-" + std::to_string(i + 1) + "-";
        int size = kReferencePatches[i].size;
        int channels = kReferencePatches[i].isColour ? 3 : 1;
        EXPECT_EQ(intAt(text, "data", "dataIdx"), i);
        for (const std::string stage : {"1", "2", "3", "4"}) {
            const std::string conv = (stage < "3" ? "conv" : "local") + stage;
            const int filterSize = intAt(text, conv, "filterSize");
            const int modules = size - filterSize + 1;
            EXPECT_EQ(listAt(text, conv, "weights"), Names{stage + number + "1"});
            EXPECT_EQ(listAt(text, conv, "biases"), Names{stage + number + "2"});
            EXPECT_EQ(intAt(text, conv, "channels"), channels) << conv;
            EXPECT_EQ(intAt(text, conv, "imgSize"), size) << conv;
            EXPECT_EQ(intAt(text, conv, "imgPixels"), size * size) << conv;
            EXPECT_EQ(intAt(text, conv, "filterPixels"), filterSize * filterSize) << conv;
            EXPECT_EQ(intAt(text, conv, "modulesX"), modules) << conv;
            channels = intAt(text, conv, "filters");
            size = modules / 2;
            if (stage < "4") {
                EXPECT_EQ(intAt(text, "pool" + stage, "outputsX"), size) << stage;
                EXPECT_EQ(intAt(text, "pool" + stage, "channels"), channels) << stage;
            }
        }
        EXPECT_EQ(listAt(text, "fc", "weights"), (Names{"5" + number + "1", "5" + number + "2"}));
        EXPECT_EQ(listAt(text, "fc", "biases"), Names{"5" + number + "3"});
        EXPECT_EQ(intAt(text, "fc", "outputs"), 160);
    }
}

#include "network/net_texts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "description/description_reader.h"
#include "description/parameters.h"

namespace {

using Lines = std::vector<std::string>;

// One row for each network.
struct NetFacts {
    int number;
    int dataIdx;
    int channels;
    int imgSize;
    std::size_t length;
};

static constexpr NetFacts kNetFacts[] = {
    {1, 0, 3, 55, 1677},   {2, 1, 3, 55, 1677},   {3, 2, 3, 47, 1676},   {4, 3, 1, 47, 1676},
    {5, 4, 3, 47, 1676},   {6, 5, 1, 47, 1676},   {7, 6, 1, 47, 1676},   {8, 7, 3, 47, 1676},
    {9, 8, 1, 47, 1676},   {10, 9, 1, 47, 1687},  {11, 10, 3, 47, 1688}, {12, 11, 1, 47, 1688},
    {13, 12, 1, 47, 1688}, {14, 13, 3, 47, 1688}, {15, 14, 1, 47, 1688}, {16, 15, 1, 47, 1688},
    {17, 16, 3, 47, 1688}, {18, 17, 1, 47, 1688}, {19, 18, 3, 47, 1688}, {20, 19, 1, 47, 1688},
    {21, 20, 3, 47, 1688}, {22, 21, 1, 47, 1688}, {23, 22, 3, 47, 1688}, {24, 23, 1, 47, 1688},
    {25, 24, 3, 47, 1688},
};

static std::string line(const std::string& key, int value) {
    return key + "=" + std::to_string(value);
}

static void append(Lines& lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

static Lines neuronLines(const std::string& number, const std::string& input) {
    return {"",
            "[neuron" + number + "]",
            "type=neuron",
            "neuron=relu",
            "inputs=" + input,
            "actsTarget=0"};
}

static Lines poolLines(const std::string& number, int outputs, int channels) {
    return {"",
            "[pool" + number + "]",
            "type=pool",
            "pool=max",
            "inputs=neuron" + number,
            "start=0",
            "sizeX=2",
            "stride=2",
            line("outputsX", outputs),
            line("channels", channels)};
}

// A convolution whose keys stand in the usual order.
static Lines convLines(const std::string& name, const std::string& input, int channels, int filters,
                       int filterSize, const std::string& files, int imgSize) {
    return {"",
            "[" + name + "]",
            "type=conv",
            "inputs=" + input,
            line("channels", channels),
            line("filters", filters),
            "padding=0",
            "stride=1",
            line("filterSize", filterSize),
            "weights=" + files + "-1",
            "biases=" + files + "-2",
            line("filterPixels", filterSize * filterSize),
            line("imgSize", imgSize),
            line("imgPixels", imgSize * imgSize),
            line("modulesX", imgSize - filterSize + 1)};
}

// A text written at run time, with the sizes computed instead of stored.
static std::string writePlainText(const NetFacts& net) {
    const std::string number = std::to_string(net.number);
    const int pool1 = (net.imgSize - 3) / 2;
    const int pool2 = (pool1 - 2) / 2;
    const int pool3 = (pool2 - 2) / 2;

    Lines lines = {"[Net]", "LayerCount=13",
                   "LayerNames=data_conv1_neuron1_pool1_conv2_neuron2_pool2_local3_neuron3_pool3_"
                   "local4_neuron4_fc"};
    append(lines, {"", "[data]", "type=data", line("dataIdx", net.dataIdx), "actsTarget=0"});
    append(lines, convLines("conv1", "data", net.channels, 16, 4, "1-" + number, net.imgSize));
    append(lines, neuronLines("1", "conv1"));
    append(lines, poolLines("1", pool1, 16));
    append(lines, convLines("conv2", "pool1", 16, 32, 3, "2-" + number, pool1));
    append(lines, neuronLines("2", "conv2"));
    append(lines, poolLines("2", pool2, 32));
    append(lines, convLines("local3", "pool2", 32, 48, 3, "3-" + number, pool2));
    append(lines, neuronLines("3", "local3"));
    append(lines, poolLines("3", pool3, 48));
    append(lines, {"", "[local4]", "type=conv", "inputs=pool3", "filters=64", "padding=0",
                   "stride=1", "filterSize=2", "channels=48", "weights=4-" + number + "-1",
                   "biases=4-" + number + "-2", "filterPixels=4", line("imgSize", pool3),
                   line("imgPixels", pool3 * pool3), line("modulesX", pool3 - 1)});
    append(lines, neuronLines("4", "local4"));
    append(lines, {"", "[fc]", "type=fc", "outputs=160", "inputs=local4_pool3",
                   "weights=5-" + number + "-1_5-" + number + "-2", "biases=5-" + number + "-3"});

    std::string text;
    for (const std::string& part : lines) {
        text += part + " \n ";
    }
    return text;
}

// Parses a text into its own slot and makes it the current one, as the building of a network does.
static const NetDescription& describe(int index) {
    g_currentNet = index;
    const char* text = netDescriptionTexts[index];
    parseDescription(g_descriptions[index], text, static_cast<std::uint32_t>(std::strlen(text)));
    return g_descriptions[index];
}

static std::int32_t intAt(const std::string& section, const std::string& key) {
    std::int32_t value = -77;
    getInt(section, key, value);
    return value;
}

class NetTexts : public testing::TestWithParam<NetFacts> {
  protected:
    ~NetTexts() override {
        for (NetDescription& description : g_descriptions) {
            clearDescription(description);
        }
        g_currentNet = 0;
    }
};

INSTANTIATE_TEST_SUITE_P(Networks, NetTexts, testing::ValuesIn(kNetFacts),
                         [](const testing::TestParamInfo<NetFacts>& net) {
                             return std::to_string(net.param.number);
                         });

TEST_P(NetTexts, equalThePlainWritingByteForByte) {
    EXPECT_EQ(netDescriptionTexts[GetParam().dataIdx], writePlainText(GetParam()));
}

TEST_P(NetTexts, haveTheirLengths) {
    EXPECT_EQ(std::strlen(netDescriptionTexts[GetParam().dataIdx]), GetParam().length);
}

TEST_P(NetTexts, joinTheirLinesByBlankLineFeedBlank) {
    const std::string text = netDescriptionTexts[GetParam().dataIdx];
    const std::string number = std::to_string(GetParam().number);
    EXPECT_EQ(text.rfind("[Net] \n LayerCount=13 \n ", 0), 0U);
    const std::string end = "biases=5-" + number + "-3 \n ";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    EXPECT_EQ(text.find_first_of("\r\t;,$"), std::string::npos);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            EXPECT_EQ(text.substr(i - 1, 3), " \n ") << "at " << i;
        }
    }
}

TEST_P(NetTexts, giveFifteenSections) {
    const NetDescription& description = describe(GetParam().dataIdx);
    const struct {
        const char* name;
        std::uint32_t entries;
    } expected[] = {
        {"Net", 2},     {"[DEFAULT]", 0}, {"conv1", 13},  {"conv2", 13},  {"data", 3},
        {"fc", 5},      {"local3", 13},   {"local4", 13}, {"neuron1", 4}, {"neuron2", 4},
        {"neuron3", 4}, {"neuron4", 4},   {"pool1", 8},   {"pool2", 8},   {"pool3", 8},
    };
    ASSERT_EQ(description.sectionCount, 15U);
    for (std::size_t i = 0; i < 15; ++i) {
        EXPECT_STREQ(description.sections[i]->name, expected[i].name);
        EXPECT_EQ(description.sections[i]->entryCount, expected[i].entries) << expected[i].name;
    }
}

TEST_P(NetTexts, nameTheirPatchAndTheirModelFiles) {
    const NetFacts& net = GetParam();
    describe(net.dataIdx);
    const std::string number = std::to_string(net.number);
    EXPECT_EQ(intAt("data", "dataIdx"), net.dataIdx);
    EXPECT_EQ(intAt("conv1", "channels"), net.channels);
    EXPECT_EQ(intAt("conv1", "imgSize"), net.imgSize);
    int stage = 0;
    for (const char* section : {"conv1", "conv2", "local3", "local4"}) {
        const std::string files = std::to_string(++stage) + "-" + number;
        EXPECT_EQ(getStringList(section, "weights"), Lines{files + "-1"});
        EXPECT_EQ(getStringList(section, "biases"), Lines{files + "-2"});
    }
    EXPECT_EQ(getStringList("fc", "weights"), (Lines{"5-" + number + "-1", "5-" + number + "-2"}));
    EXPECT_EQ(getStringList("fc", "biases"), Lines{"5-" + number + "-3"});
}

TEST_P(NetTexts, agreeOnSizesFromLayerToLayer) {
    describe(GetParam().dataIdx);
    int size = GetParam().imgSize;
    int channels = GetParam().channels;
    for (const char* stage : {"1", "2", "3", "4"}) {
        const std::string conv = std::string(*stage < '3' ? "conv" : "local") + stage;
        EXPECT_EQ(intAt(conv, "channels"), channels) << conv;
        EXPECT_EQ(intAt(conv, "imgSize"), size) << conv;
        EXPECT_EQ(intAt(conv, "imgPixels"), size * size) << conv;
        const int filterSize = intAt(conv, "filterSize");
        EXPECT_EQ(intAt(conv, "filterPixels"), filterSize * filterSize) << conv;
        const int modules = size - filterSize + 1;
        EXPECT_EQ(intAt(conv, "modulesX"), modules) << conv;
        channels = intAt(conv, "filters");
        if (*stage < '4') {
            const std::string pool = std::string("pool") + stage;
            EXPECT_EQ(intAt(pool, "outputsX"), modules / 2) << pool;
            EXPECT_EQ(intAt(pool, "channels"), channels) << pool;
            size = modules / 2;
        }
    }
    EXPECT_EQ(size * size * 48, GetParam().imgSize == 55 ? 1200 : 768);
}

TEST_P(NetTexts, listEachSectionAsALayerAndOnlyEarlierLayersAsInputs) {
    describe(GetParam().dataIdx);
    const Lines names = getStringList("Net", "LayerNames");
    EXPECT_EQ(intAt("Net", "LayerCount"), static_cast<std::int32_t>(names.size()));
    ASSERT_EQ(names.size(), 13U);
    for (std::size_t i = 0; i < names.size(); ++i) {
        ASSERT_NE(currentSection(names[i]), nullptr) << names[i];
        for (const std::string& input : getStringList(names[i], "inputs")) {
            std::size_t place = 0;
            while (place < i && names[place] != input) {
                ++place;
            }
            EXPECT_LT(place, i) << names[i] << " reads " << input;
        }
    }
    EXPECT_EQ(getStringList("data", "inputs"), Lines{});
    EXPECT_EQ(getStringList("fc", "inputs"), (Lines{"local4", "pool3"}));
}

TEST(NetTextTable, hasOneTextForEachNetwork) {
    EXPECT_EQ(kDescriptionCount, 25);
    EXPECT_EQ(sizeof kNetFacts / sizeof kNetFacts[0], 25U);
    for (int i = 0; i < 25; ++i) {
        EXPECT_EQ(kNetFacts[i].dataIdx, i);
    }
}

}  // namespace

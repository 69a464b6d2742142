#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <stdexcept>

#include "layers/local_layer.h"
#include "layers/two_input_net.h"
#include "reference/reference_local.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

using Keys = std::map<std::string, std::string>;

// `keys` with some of them changed. A key without a value counts as absent.
Keys changed(Keys keys, const Keys& changes) {
    for (const auto& [key, value] : changes) {
        keys[key] = value;
    }
    return keys;
}

std::string sectionOf(const Keys& keys) {
    std::string text = "[x]\ntype=local\n";
    for (const auto& [key, value] : keys) {
        text.append(key).append("=").append(value).append("\n");
    }
    return text;
}

// 1 x 1 filters on 2 x 2 pixels of one plane: four modules. A file has a row for each of them and a
// column for each of the two filters.
class LocalUnsharedLayerTest : public testing::Test {
  protected:
    LocalUnsharedLayerTest() {
        write("w", 4, 2, {1, 10, 2, 20, 3, 30, 4, 40});
        write("v", 4, 2, {-1, 5, -1, 6, -1, 7, -1, 8});
        write("b", 8, 1, {100, 200, 300, 400, 500, 600, 700, 800});
    }

    void write(const std::string& name, std::int32_t rows, std::int32_t cols,
               const std::vector<float>& values) const {
        writeWeightFile(folder.prefix() + name, rows, cols, values);
    }

    void build(const Keys& keys) {
        net = netBehindTwoInputs("x", sectionOf(keys), folder.prefix());
    }

    std::vector<float> run(const Keys& keys) {
        build(keys);
        return valuesOf(*runNet(*net, {&first, &second}));
    }

    void expectUnusable(const Keys& changes) {
        SCOPED_TRACE(sectionOf(changes));
        EXPECT_THROW(run(changed(oneInput, changes)), UnusableLayer);
        EXPECT_EQ(layer().getActs()->numElements, 0) << "no output";
    }

    LocalLayer& layer() { return dynamic_cast<LocalLayer&>(*net->layers[2]); }

    const Keys oneInput = {{"inputs", "d"},  {"weights", "w"}, {"biases", "b"},  {"channels", "1"},
                           {"padding", "0"}, {"stride", "1"},  {"imgSize", "2"}, {"modulesX", "2"}};
    const Keys twoInputs = changed(oneInput, {{"inputs", "d_e"},
                                              {"weights", "w_v"},
                                              {"channels", "1_1"},
                                              {"padding", "0_0"},
                                              {"stride", "1_1"},
                                              {"imgSize", "2_2"}});
    const std::vector<float> outputOfD = {101, 204, 309, 416, 510, 640, 790, 960};

    TemporaryFolder folder;
    Matrix first = matrixOf(1, 4, {1, 2, 3, 4});
    Matrix second = matrixOf(1, 4, {10, 20, 30, 40});
    std::unique_ptr<ConvNet> net;
};

}  // namespace

TEST_F(LocalUnsharedLayerTest, hasAFilterAndABiasForEachPosition) {
    EXPECT_TRUE(sameFloats(outputOfD, run(oneInput)));
    EXPECT_EQ(layer().getActs()->numRows, 1);
    EXPECT_EQ(layer().getActs()->numCols, 8);
}

TEST_F(LocalUnsharedLayerTest, turnsTheColumnsOfItsFilesIntoRows) {
    run(oneInput);
    const Matrix& bank = *layer().weights[0]->matrix;
    EXPECT_EQ(bank.numRows, 2);
    EXPECT_EQ(bank.numCols, 4);
    EXPECT_EQ(bank.trans, kRowMajor);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 10, 20, 30, 40}, valuesOf(bank)));
}

TEST_F(LocalUnsharedLayerTest, equalsTheDefinitionOverPlanesPaddingAndStride) {
    const ReferenceLocal c = {2, 2, 4, 5, 3, 2, 1, 2};
    ASSERT_EQ(c.outH(), 3);
    ASSERT_EQ(c.outW(), 3);
    Random random(47);
    first = matrixOf(2, 40, random.floats(80, -2, 2));
    const std::vector<float> bank = random.floats(std::size_t{3} * 72, -2, 2);
    const std::vector<float> biases = random.floats(27, -2, 2);
    std::vector<float> columns;  // element by element, filter by filter
    for (std::size_t element = 0; element < 72; ++element) {
        for (std::size_t filter = 0; filter < 3; ++filter) {
            columns.push_back(bank[filter * 72 + element]);
        }
    }
    write("bank", 72, 3, columns);
    write("biases", 1, 27, biases);
    std::vector<float> expected = referenceLocalSums(c, first.data, bank.data());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        expected[i] = expected[i] + biases[i % 27];
    }
    EXPECT_TRUE(sameFloats(expected, run({{"inputs", "d"},
                                          {"weights", "bank"},
                                          {"biases", "biases"},
                                          {"channels", "2"},
                                          {"padding", "1"},
                                          {"stride", "2"},
                                          {"imgSize", "4"},
                                          {"modulesX", "3"}})));
}

TEST_F(LocalUnsharedLayerTest, keepsTheRowsOfABatchApart) {
    first = matrixOf(3, 4, {1, 2, 3, 4, 0, 0, 0, 0, 4, 3, 2, 1});
    EXPECT_TRUE(sameFloats({101, 204, 309, 416, 510, 640, 790, 960,  //
                            100, 200, 300, 400, 500, 600, 700, 800,  //
                            104, 206, 306, 404, 540, 660, 760, 840},
                           run(oneInput)));
}

TEST_F(LocalUnsharedLayerTest, overwritesItsFirstInputByItsSecond) {
    EXPECT_TRUE(sameFloats({-10, -20, -30, -40, 50, 120, 210, 320}, run(twoInputs)))
        << "the second input alone, without biases";
}

TEST_F(LocalUnsharedLayerTest, readsEachListByTheInputsPlace) {
    // The second input has two planes of 3 x 3 pixels. The positions are -1 and 2 in both
    // directions, so that only the last module meets a pixel: the last of each plane.
    second = matrixOf(1, 18, {0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 5});
    write("v", 8, 2, {1, 9, 2, 9, 10, 9, 20, 9, 100, 9, 200, 9, 1000, 0, 2000, 1});
    EXPECT_TRUE(sameFloats(
        {0, 0, 0, 13000, 0, 0, 0, 5},
        run(changed(
            twoInputs,
            {{"channels", "1_2"}, {"padding", "0_1"}, {"stride", "1_3"}, {"imgSize", "2_3"}}))));
}

TEST_F(LocalUnsharedLayerTest, givesItsBiasesTheirShapeAtTheFirstPass) {
    build(oneInput);
    const Matrix& biases = *layer().biases->matrix;
    EXPECT_EQ(biases.numRows, 8);
    EXPECT_EQ(biases.numCols, 1);
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_TRUE(sameFloats(outputOfD, valuesOf(*runNet(*net, {&first, &second}))));
        EXPECT_EQ(biases.numRows, 2);
        EXPECT_EQ(biases.numCols, 4);
        EXPECT_EQ(biases.numElements, 8);
        EXPECT_TRUE(sameFloats({100, 200, 300, 400, 500, 600, 700, 800}, valuesOf(biases)));
    }
}

TEST_F(LocalUnsharedLayerTest, acceptsBiasesOfAnyShape) {
    write("wide", 1, 8, {100, 200, 300, 400, 500, 600, 700, 800});
    write("square", 2, 4, {100, 200, 300, 400, 500, 600, 700, 800});
    EXPECT_TRUE(sameFloats(outputOfD, run(changed(oneInput, {{"biases", "wide"}}))));
    EXPECT_TRUE(sameFloats(outputOfD, run(changed(oneInput, {{"biases", "square"}}))));
}

TEST_F(LocalUnsharedLayerTest, addsNothingForBiasesThatCannotBeOpened) {
    for (const char* name : {"absent", ""}) {
        EXPECT_TRUE(
            sameFloats({1, 4, 9, 16, 10, 40, 90, 160}, run(changed(oneInput, {{"biases", name}}))))
            << name;
    }
}

TEST_F(LocalUnsharedLayerTest, takesTheFirstOfMoreBiasesThanItNeeds) {
    write("nine", 9, 1, {100, 200, 300, 400, 500, 600, 700, 800, 900});
    EXPECT_TRUE(sameFloats(outputOfD, run(changed(oneInput, {{"biases", "nine"}}))));
    EXPECT_EQ(layer().biases->matrix->numElements, 9);
}

TEST_F(LocalUnsharedLayerTest, readsItsGeometryByKey) {
    build({{"padding", "1_2"},
           {"stride", "3_4"},
           {"channels", "5_6"},
           {"filterSize", "7_8"},
           {"filters", "9"},
           {"filterPixels", "10_11"},
           {"imgSize", "12_13"},
           {"imgPixels", "14_15"},
           {"modulesX", "16"}});
    using List = std::vector<std::int32_t>;
    EXPECT_EQ(layer().padding, (List{1, 2}));
    EXPECT_EQ(layer().stride, (List{3, 4}));
    EXPECT_EQ(layer().channels, (List{5, 6}));
    EXPECT_EQ(layer().filterSize, (List{7, 8}));
    EXPECT_EQ(layer().filters, 9);
    EXPECT_EQ(layer().filterPixels, (List{10, 11}));
    EXPECT_EQ(layer().imgSize, (List{12, 13}));
    EXPECT_EQ(layer().imgPixels, (List{14, 15}));
    EXPECT_EQ(layer().modulesX, 16);
    EXPECT_EQ(layer().modules, 256);
}

TEST_F(LocalUnsharedLayerTest, goesByItsWeightsWhateverTheDescriptionSaysOfFilters) {
    EXPECT_TRUE(sameFloats(outputOfD, run(changed(oneInput, {{"filters", "77"},
                                                             {"filterSize", "9"},
                                                             {"filterPixels", "81"},
                                                             {"imgPixels", "1"}}))));
}

TEST_F(LocalUnsharedLayerTest, rejectsAnInputBeyondAnyOfItsLists) {
    for (const char* key : {"channels", "stride", "padding", "imgSize"}) {
        for (const Keys& keys :
             {changed(twoInputs, {{key, oneInput.at(key)}}), changed(oneInput, {{key, ""}})}) {
            try {
                run(keys);
                ADD_FAILURE() << key;
            } catch (const std::out_of_range& error) {
                EXPECT_STREQ(error.what(), "invalid vector<T> subscript") << key;
            }
        }
    }
}

TEST_F(LocalUnsharedLayerTest, refusesWeightsThatAreMissing) {
    expectUnusable({{"weights", "absent"}});
    expectUnusable({{"weights", ""}});
    EXPECT_THROW(run(changed(twoInputs, {{"weights", "w"}})), UnusableLayer);
    EXPECT_TRUE(sameFloats(outputOfD, valuesOf(*layer().getActs()))) << "the first input's";
}

TEST_F(LocalUnsharedLayerTest, refusesWeightsThatAreShort) {
    const std::int32_t head[2] = {4, 2};
    writeFile(folder.prefix() + "head", head, sizeof head);
    writeFile(folder.prefix() + "half", head, sizeof head / 2);
    writeFile(folder.prefix() + "empty", head, 0);
    for (const char* name : {"head", "half", "empty"}) {
        expectUnusable({{"weights", name}});
    }
    write("noFilters", 4, 0, {});
    write("noElements", 0, 2, {});
    expectUnusable({{"weights", "noFilters"}});
    expectUnusable({{"weights", "noElements"}});
}

TEST_F(LocalUnsharedLayerTest, refusesWeightsThatAreNoWholeFiltersForEachModule) {
    write("five", 5, 2, std::vector<float>(10, 1));
    expectUnusable({{"weights", "five"}});
    write("three", 3, 2, std::vector<float>(6, 1));
    expectUnusable({{"weights", "three"}});
}

TEST_F(LocalUnsharedLayerTest, refusesFiltersThatAreNoSquares) {
    write("eight", 8, 2, std::vector<float>(16, 1));  // two elements for a filter of one plane
    expectUnusable({{"weights", "eight"}});
    // One element for a filter of two planes; two for one of three.
    first = matrixOf(1, 12, std::vector<float>(12, 1));
    expectUnusable({{"channels", "2"}});
    expectUnusable({{"channels", "3"}, {"weights", "eight"}});
}

TEST_F(LocalUnsharedLayerTest, refusesAnotherNumberOfModulesThanTheImageHas) {
    write("nine", 9, 2, std::vector<float>(18, 1));
    write("sixteen", 16, 2, std::vector<float>(32, 1));
    expectUnusable({{"modulesX", ""}});
    expectUnusable({{"modulesX", "0"}});
    expectUnusable({{"modulesX", "3"}, {"weights", "nine"}});
    expectUnusable({{"modulesX", "4"}, {"weights", "sixteen"}});
    expectUnusable({{"padding", "1"}});
    expectUnusable({{"stride", "2"}});
    first = matrixOf(1, 8, std::vector<float>(8, 1));
    expectUnusable({});
}

TEST_F(LocalUnsharedLayerTest, takesASingleModuleForAFilterOfTheImagesSize) {
    EXPECT_TRUE(sameFloats({130, 500}, run(changed(oneInput, {{"modulesX", "1"}}))));
}

TEST_F(LocalUnsharedLayerTest, refusesGeometryThatIsNotAboveZero) {
    for (const char* key : {"channels", "stride", "imgSize"}) {
        expectUnusable({{key, "0"}});
        expectUnusable({{key, "-1"}});
    }
    // As many positions as modules all the same: 2 x 2, for filters that overhang; 3 x 3, all in
    // the padding.
    first = matrixOf(1, 1, {1});
    write("sixteen", 16, 2, std::vector<float>(32, 1));
    expectUnusable({{"weights", "sixteen"}, {"imgSize", "1"}, {"stride", "-1"}});
    write("nine", 9, 2, std::vector<float>(18, 1));
    write("eighteen", 18, 1, std::vector<float>(18, 1));
    expectUnusable({{"weights", "nine"},
                    {"biases", "eighteen"},
                    {"imgSize", "-1"},
                    {"padding", "2"},
                    {"modulesX", "3"}});
}

TEST_F(LocalUnsharedLayerTest, refusesFiltersThatTheImageHasNoRoomFor) {
    // 4 x 4 filters on 1 x 1 pixels leave room for -2 x -2 positions: their product is four.
    first = matrixOf(1, 1, {1});
    write("large", 64, 2, std::vector<float>(128, 1));
    expectUnusable({{"weights", "large"}, {"imgSize", "1"}});
}

TEST_F(LocalUnsharedLayerTest, refusesFewerBiasesThanItNeeds) {
    write("seven", 7, 1, std::vector<float>(7, 1));
    write("one", 1, 1, {1});
    const std::int32_t head[2] = {8, 1};
    writeFile(folder.prefix() + "head", head, sizeof head);
    for (const char* name : {"seven", "one", "head"}) {
        expectUnusable({{"biases", name}});
    }
}

TEST_F(LocalUnsharedLayerTest, refusesALaterInputThatDoesNotFitItsOutput) {
    write("oneFilter", 4, 1, {1, 2, 3, 4});
    EXPECT_THROW(run(changed(twoInputs, {{"weights", "w_oneFilter"}})), UnusableLayer);
    second = matrixOf(2, 4, std::vector<float>(8, 1));
    EXPECT_THROW(run(twoInputs), UnusableLayer);
    EXPECT_TRUE(sameFloats(outputOfD, valuesOf(*layer().getActs()))) << "the first input's";
}

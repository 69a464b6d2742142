#include <limits>

#include "layers/local_layer.h"
#include "layers/weight_folder.h"

namespace {

class LocalUnsharedLayerTest : public WeightFolderTest {
  protected:
    LocalUnsharedLayerTest() : WeightFolderTest(kLocal) {}
};

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
const std::vector<float> kBiases = {100, 200, 300, 400, 500, 600, 700, 800};
const std::vector<float> kOutput = {101, 204, 309, 416, 510, 640, 790, 960};
const std::vector<float> kWithoutBiases = {1, 4, 9, 16, 10, 40, 90, 160};

LocalLayer& localLayer(OneLayer& net) {
    return dynamic_cast<LocalLayer&>(net.layer());
}

}  // namespace

TEST_F(LocalUnsharedLayerTest, hasAFilterAndABiasForEachPosition) {
    OneLayer net = changed("");
    const Matrix& biases = *localLayer(net).biases->matrix;
    EXPECT_EQ(biases.numRows, 8);
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_TRUE(sameFloats({101, 204, 309, 416, 510, 640, 790, 960,  //
                                100, 200, 300, 400, 500, 600, 700, 800,  //
                                104, 206, 306, 404, 540, 660, 760, 840},
                               net.run(matrixOf(3, 4, {1, 2, 3, 4, 0, 0, 0, 0, 4, 3, 2, 1}))));
        EXPECT_EQ(biases.numRows, 2) << "their shape from the first pass on";
        EXPECT_TRUE(sameFloats(kBiases, valuesOf(biases)));
    }
    EXPECT_EQ(net.output()->numRows, 3);
    const Matrix& bank = *localLayer(net).weights[0]->matrix;
    EXPECT_EQ(bank.numRows, 2) << "the columns of its files are rows";
    EXPECT_EQ(bank.trans, kRowMajor);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 10, 20, 30, 40}, valuesOf(bank)));
}

TEST_F(LocalUnsharedLayerTest, goesByTheSizesOfItsInputsWeightsAndBiases) {
    write("seven", 7, 2, {1, 10, 2, 20, 3, 30, 4, 40, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN});
    write("eighteen", 18, 1, std::vector<float>(18, 1000));
    write("wide", 1, 8, kBiases);
    write("square", 2, 4, kBiases);
    write("nine", 9, 1, {100, 200, 300, 400, 500, 600, 700, 800, 900});
    const std::pair<const char*, std::vector<float>> cases[] = {
        // A second input overwrites the first, and adds no bias, as far as its filters go.
        {"inputs=a_b\nweights=bank_bank2\n", {-10, -20, -30, -40, 50, 120, 210, 320}},
        {"inputs=a_b\nweights=bank_oneBank\n", {10, 40, 90, 160, 510, 640, 790, 960}},
        // Weights behind the last whole filter are left out. Where there are too few for a filter
        // of one element, what is left are filters of none, and the biases.
        {"weights=seven\n", kOutput},
        {"modulesX=3\nbiases=eighteen\n", std::vector<float>(18, 1000)},
        // Biases have any shape, and there may be more than it needs, or none.
        {"biases=wide\n", kOutput},
        {"biases=square\n", kOutput},
        {"biases=nine\n", kOutput},
        {"biases=absent\n", kWithoutBiases},
        {"biases=\n", kWithoutBiases},
        // Whatever the description says of filters.
        {"filters=77\nfilterSize=9\nfilterPixels=81\nimgPixels=1\n", kOutput},
        {"modulesX=1\n", {130, 500}},  // one filter of the image's size
    };
    for (const auto& [changes, expected] : cases) {
        EXPECT_TRUE(sameFloats(expected, run(changes))) << changes;
    }
    // A second input of more filters and fewer images goes on in the next row, however few biases
    // there are.
    write("fourBiases", 4, 1, {100, 200, 300, 400});
    EXPECT_TRUE(sameFloats({10, 40, 90, 160, 100, 400, 900, 1600},
                           run("inputs=a_b\nweights=oneBank_bank\nbiases=fourBiases\n",
                               matrixOf(2, 4, {1, 2, 3, 4, 5, 6, 7, 8}))));
}

TEST_F(LocalUnsharedLayerTest, readsEachListByTheInputsPlace) {
    // The second input has two planes of 3 x 3 pixels. The positions are -1 and 2 in both
    // directions, so that only the last module meets a pixel: the last of each plane.
    write("planes", 8, 2, {1, 9, 2, 9, 10, 9, 20, 9, 100, 9, 200, 9, 1000, 0, 2000, 1});
    std::vector<float> planes(18);
    planes[8] = 3;
    planes[17] = 5;
    EXPECT_TRUE(sameFloats({0, 0, 0, 13000, 0, 0, 0, 5},
                           run("inputs=a_b\nweights=bank_planes\nchannels=1_2\npadding=0_1\n"
                               "stride=1_3\nimgSize=2_3\n",
                               rowOf({1, 2, 3, 4}), rowOf(planes))));
}

TEST_F(LocalUnsharedLayerTest, readsItsGeometryByKey) {
    OneLayer net(
        "type=local\npadding=1_2\nstride=3_4\nchannels=5_6\nfilterSize=7_8\nfilters=9\n"
        "filterPixels=10_11\nimgSize=12_13\nimgPixels=14_15\nmodulesX=16\n");
    const LocalLayer& layer = localLayer(net);
    using Lists = std::vector<std::vector<std::int32_t>>;
    EXPECT_EQ((Lists{layer.padding, layer.stride, layer.channels, layer.filterSize,
                     layer.filterPixels, layer.imgSize, layer.imgPixels}),
              (Lists{{1, 2}, {3, 4}, {5, 6}, {7, 8}, {10, 11}, {12, 13}, {14, 15}}));
    EXPECT_EQ(layer.filters, 9);
    EXPECT_EQ(layer.modulesX, 16);
    EXPECT_EQ(layer.modules, 256);
    OneLayer large("type=local\nmodulesX=65537\n");
    EXPECT_EQ(localLayer(large).modules, 131073) << "of 65537 x 65537 the last 32 bits";
}

TEST_F(LocalUnsharedLayerTest, worksInTheMatrixOfAnInputOfItsOwnSize) {
    OneLayer net = changed("weights=oneBank\nactsTarget=0\n");
    EXPECT_TRUE(sameFloats({101, 204, 309, 416}, net.run(rowOf({1, 2, 3, 4}))));
    EXPECT_EQ(net.output(), &net.a);
}

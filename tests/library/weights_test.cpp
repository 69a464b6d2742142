// Weight files as a host meets them: the lines of those that are missing, and the templates of a
// context whose weights cannot be used.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/model_folder.h"
#include "support/read_file.h"

TEST(WeightFiles, allMissingGive275LinesInTheOrderOfConstruction) {
    ModelVariant model;
    model.removeAll(weightNames());
    const HostRun run = model.extract();
    ASSERT_TRUE(ended(run, weightLines(model.temporaryDirectory()), kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));

    const std::string start = "load " + model.modelDir();
    std::string firstNetwork;
    for (const char* name : {"1-1-1", "1-1-2", "2-1-1", "2-1-2", "3-1-1", "3-1-2", "4-1-1", "4-1-2",
                             "5-1-1", "5-1-2", "5-1-3"}) {
        firstNetwork += start + name + " failed\n";
    }
    EXPECT_EQ(run.out.substr(0, firstNetwork.size()), firstNetwork);
}

TEST(WeightFiles, absentFolderGivesTheLinesOfTheTablesThenThoseOfTheWeights) {
    const TemporaryFolder empty;
    const std::string path = empty.path().string();
    const HostRun run = runHost(path, {"extract", "1"});
    ASSERT_TRUE(ended(run, tableLines(path) + weightLines(path), kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
}

// Something done to one of the 11 files of a network that makes the network unusable.
struct Damage {
    const char* name;
    int stage;
    int matrix;
    void (*inflict)(ModelVariant& model, const std::string& file, const WeightFile& shape);
    bool isReported = false;
};

static WeightFile fileOf(int number, int stage, int matrix) {
    for (const WeightFile& file : weightFilesOf(number)) {
        if (file.stage == stage && file.matrix == matrix) {
            return file;
        }
    }
    throw std::logic_error("no such weight file");
}

using Model = ModelVariant;
using Name = std::string;
using Shape = WeightFile;

static void remove(Model& model, const Name& file, const Shape&) {
    model.remove(file);
}

template <int change>
static void addRows(Model& model, const Name& file, const Shape& shape) {
    model.reshape(file, shape.rows + change, shape.cols);
}

template <int change>
static void addColumns(Model& model, const Name& file, const Shape& shape) {
    model.reshape(file, shape.rows, shape.cols + change);
}

static void keep100Columns(Model& model, const Name& file, const Shape& shape) {
    model.reshape(file, shape.rows, 100);
}

static void swapSizes(Model& model, const Name& file, const Shape& shape) {
    model.relabel(file, shape.cols, shape.rows);
}

static void cutLastByte(Model& model, const Name& file, const Shape& shape) {
    model.resize(file, 8 + 4 * static_cast<std::size_t>(shape.rows * shape.cols) - 1);
}

static const Damage kDamages[] = {
    {"conv1Missing", 1, 1, remove, true},
    {"conv1IsAFolder", 1, 1,
     [](Model& model, const Name& file, const Shape&) { model.replaceByFolder(file); }, true},
    {"conv1Empty", 1, 1,
     [](Model& model, const Name& file, const Shape&) { model.resize(file, 0); }},
    {"conv1HeaderShort", 1, 1,
     [](Model& model, const Name& file, const Shape&) { model.resize(file, 6); }},
    {"conv2OneByteShort", 2, 1, cutLastByte},
    {"conv1RowTooMany", 1, 1, addRows<1>},
    {"conv2RowTooFew", 2, 1, addRows<-1>},
    // The filters grow from 4 x 4 to 55 x 55 and more: larger than the picture.
    {"conv1FiltersLargerThanThePicture", 1, 1,
     [](Model& model, const Name& file, const Shape& shape) {
         model.reshape(file, shape.rows / 16 * 60 * 60, shape.cols);
     }},
    {"local3FilterTooFew", 3, 1, addColumns<-1>},
    {"local3Transposed", 3, 1, swapSizes},
    {"local4NegativeSizes", 4, 1,
     [](Model& model, const Name& file, const Shape& shape) {
         model.relabel(file, -shape.rows, -shape.cols);
     }},
    {"local4WithoutRows", 4, 1,
     [](Model& model, const Name& file, const Shape& shape) {
         model.reshape(file, 0, shape.cols);
     }},
    {"conv2BiasesOneByteShort", 2, 2, cutLastByte},
    {"conv2BiasRowTooMany", 2, 2, addRows<1>},
    {"fcFirstMissing", 5, 1, remove, true},
    {"fcSecondMissing", 5, 2, remove, true},
    {"fcFirstOf100Columns", 5, 1, keep100Columns},
    {"fcSecondRowTooFew", 5, 2, addRows<-1>},
    {"fcSecondOneByteShort", 5, 2, cutLastByte},
    {"fcBiasesAsAColumn", 5, 3, swapSizes},
    {"fcBiasColumnTooMany", 5, 3, addColumns<1>},
};

class DamagedNetwork : public testing::TestWithParam<std::tuple<Damage, int>> {};

TEST_P(DamagedNetwork, makesTheTemplateNan) {
    const auto& [damage, number] = GetParam();
    const WeightFile shape = fileOf(number, damage.stage, damage.matrix);
    const std::string file = shape.name(number);
    ModelVariant model;
    damage.inflict(model, file, shape);
    const HostRun run = model.extract(2);
    ASSERT_TRUE(
        ended(run, damage.isReported ? failureLine(model.pathOf(file)) : "", 2 * kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
    EXPECT_TRUE(isNanTemplate(run, 1));
}

INSTANTIATE_TEST_SUITE_P(WeightFiles, DamagedNetwork,
                         testing::Combine(testing::ValuesIn(kDamages), testing::Values(1, 13)),
                         [](const auto& test) {
                             return std::string(std::get<0>(test.param).name) + "Network" +
                                    std::to_string(std::get<1>(test.param));
                         });

// Weights and biases of one filter more, or one less, than the next layer reads: nothing compares
// them, and the values mean nothing, but nothing is read outside a matrix either.
TEST(WeightFiles, anotherNumberOfFiltersDoesNoHarm) {
    for (const int change : {-1, 1}) {
        for (const char* stage : {"1", "3"}) {
            SCOPED_TRACE(std::string("stage ") + stage + ", change " + std::to_string(change));
            const WeightFile shape = fileOf(13, std::stoi(stage), 1);
            const std::string start = std::string(stage) + "-13-";
            ModelVariant model;
            model.reshape(start + "1", shape.rows, shape.cols + change);
            model.reshape(start + "2", shape.cols + change, 1);
            EXPECT_TRUE(ended(model.extract(), "", kTemplateSize));
        }
    }
}

// Rows behind those that the input reaches are not read.
TEST(WeightFiles, oneRowTooManyOfTheFullyConnectedLayerChangesNothing) {
    ModelVariant model;
    for (const int matrix : {1, 2}) {
        const WeightFile shape = fileOf(13, 5, matrix);
        addRows<1>(model, shape.name(13), shape);
    }
    const HostRun run = model.extract();
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
}

// The second input then adds to the first outputs alone.
TEST(WeightFiles, fewerColumnsForTheSecondInputOfTheFullyConnectedLayerDoNoHarm) {
    const WeightFile shape = fileOf(13, 5, 2);
    ModelVariant model;
    keep100Columns(model, shape.name(13), shape);
    const HostRun run = model.extract(2);
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_FALSE(sameTemplate(plainRun(), 0, run, 0));
}

// Both of the fully connected layer's matrices alike, so that only the output has another size.
TEST(WeightFiles, outputOf100ColumnsMakesTheTemplateNan) {
    ModelVariant model;
    model.reshape("5-13-1", 576, 100);
    model.reshape("5-13-2", 768, 100);
    model.reshape("5-13-3", 1, 100);
    const HostRun run = model.extract();
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
}

class MissingBias : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(MissingBias, addsNothing) {
    const auto [stage, number] = GetParam();
    const std::string file = fileOf(number, stage, stage == 5 ? 3 : 2).name(number);
    ModelVariant missing;
    missing.remove(file);
    ModelVariant zeros;
    zeros.zeroFrom(file, 8);
    const HostRun expected = zeros.extract();
    const HostRun whole = plainRun();
    const HostRun run = missing.extract();
    ASSERT_TRUE(ended(expected, "", kTemplateSize));
    ASSERT_TRUE(ended(run, failureLine(missing.pathOf(file)), kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameTemplate(expected, 0, run, 0));
    EXPECT_FALSE(sameTemplate(whole, 0, run, 0));
}

INSTANTIATE_TEST_SUITE_P(WeightFiles, MissingBias,
                         testing::Combine(testing::Values(1, 3, 5), testing::Values(1, 13)),
                         [](const auto& test) {
                             return "stage" + std::to_string(std::get<0>(test.param)) + "Network" +
                                    std::to_string(std::get<1>(test.param));
                         });

TEST(WeightFiles, excessBehindAMatrixIsNotRead) {
    ModelVariant model;
    for (const char* name : {"1-1-1", "2-7-2", "5-25-1"}) {
        model.replaceByBytes(name, readFile(sharedModelDir() + name) + std::string(64, '\x7F'));
    }
    const HostRun whole = plainRun();
    const HostRun run = model.extract();
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(sameTemplate(whole, 0, run, 0));
}

// Sizes whose product is no number of elements. The create that follows finds a good file.
TEST(WeightFiles, sizesThatCannotBeAllocatedRaiseBadAllocAndDoNoHarm) {
    struct Sizes {
        const char* name;
        std::int32_t rows;
        std::int32_t cols;
    };
    const HostRun whole = plainRun();
    for (const auto& [name, rows, cols] : {Sizes{"2-13-1", 65536, 65536}, Sizes{"2-13-1", -16, 48},
                                           Sizes{"2-13-2", INT32_MIN, INT32_MIN}}) {
        SCOPED_TRACE(std::string(name) + " of " + std::to_string(rows) + " rows");
        ModelVariant model;
        model.relabel(name, rows, cols);
        HostRun run =
            runHost(model.temporaryDirectory(),
                    {"create-after-failure", model.pathOf(name), sharedModelDir() + name});
        ASSERT_TRUE(ended(run, "", 1 + kTemplateSize));
        EXPECT_EQ(run.results[0], 1.0F);
        run.results.erase(run.results.begin());
        EXPECT_TRUE(sameTemplate(whole, 0, run, 0));
    }
}

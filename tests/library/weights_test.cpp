// Weight files as a host meets them: the lines of those that are missing, and the templates of a
// context whose weights cannot be used.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include "library/host_run.h"
#include "library/model_variant.h"
#include "support/environment.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"

// In the order of construction; the folder is neither made nor changed.
TEST(WeightFiles, absentFolderGivesTheLinesOfTheTablesThenThoseOfTheWeights) {
    const TemporaryFolder empty;
    const std::string path = empty.path().string();
    const HostRun run = runHost(path, {"extract", "1"});
    ASSERT_TRUE(ended(run, tableLines(path) + weightLines(path), kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
    EXPECT_TRUE(std::filesystem::is_empty(path));

    std::string firstNetwork;
    for (const char* name : {"1-1-1", "1-1-2", "2-1-1", "2-1-2", "3-1-1", "3-1-2", "4-1-1", "4-1-2",
                             "5-1-1", "5-1-2", "5-1-3"}) {
        firstNetwork += failureLine(empty.prefix() + "~zvplugintmp~" + kFolderSeparator + name);
    }
    EXPECT_TRUE(run.out.substr(tableLines(path).size()).starts_with(firstNetwork));
    EXPECT_TRUE(run.out.starts_with("load " + empty.prefix() + "~zvplugintmp~" + kFolderSeparator +
                                    kFolderSeparator + "0-1-0 failed\n"));
}

static WeightFile fileOf(int number, int stage, int matrix) {
    for (const WeightFile& file : weightFilesOf(number)) {
        if (file.stage == stage && file.matrix == matrix) {
            return file;
        }
    }
    throw std::logic_error("no such weight file");
}

using Sizes = std::pair<std::int32_t, std::int32_t>;

// Other sizes of one of the 11 files of a network, which make the network unusable. What else may
// be wrong with a file, the tests of model faults go through.
struct OtherSizes {
    const char* name;
    int stage;
    int matrix;
    Sizes (*of)(std::int32_t rows, std::int32_t cols);
};

static const OtherSizes kOtherSizes[] = {
    {"conv1RowTooMany", 1, 1, [](auto rows, auto cols) { return Sizes(rows + 1, cols); }},
    {"conv2RowTooFew", 2, 1, [](auto rows, auto cols) { return Sizes(rows - 1, cols); }},
    // The filters grow from 4 x 4 to 55 x 55 and more: larger than the picture.
    {"conv1FiltersLargerThanThePicture", 1, 1,
     [](auto rows, auto cols) { return Sizes(rows / 16 * 60 * 60, cols); }},
    {"local3FilterTooFew", 3, 1, [](auto rows, auto cols) { return Sizes(rows, cols - 1); }},
    {"local3Transposed", 3, 1, [](auto rows, auto cols) { return Sizes(cols, rows); }},
    {"local4WithoutRows", 4, 1, [](auto, auto cols) { return Sizes(0, cols); }},
    {"conv2BiasRowTooMany", 2, 2, [](auto rows, auto cols) { return Sizes(rows + 1, cols); }},
    {"fcFirstOf100Columns", 5, 1, [](auto rows, auto) { return Sizes(rows, 100); }},
    {"fcSecondRowTooFew", 5, 2, [](auto rows, auto cols) { return Sizes(rows - 1, cols); }},
    {"fcBiasesAsAColumn", 5, 3, [](auto rows, auto cols) { return Sizes(cols, rows); }},
    {"fcBiasColumnTooMany", 5, 3, [](auto rows, auto cols) { return Sizes(rows, cols + 1); }},
};

class NetworkOfOtherSizes : public testing::TestWithParam<std::tuple<OtherSizes, int>> {};

TEST_P(NetworkOfOtherSizes, makesTheTemplateNan) {
    const auto& [other, number] = GetParam();
    const WeightFile shape = fileOf(number, other.stage, other.matrix);
    const auto [rows, cols] = other.of(shape.rows, shape.cols);
    const ModelVariant model;
    model.reshape(shape.name(number), rows, cols);
    const HostRun run = model.extract(2);
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
    EXPECT_TRUE(isNanTemplate(run, 1));
}

INSTANTIATE_TEST_SUITE_P(WeightFiles, NetworkOfOtherSizes,
                         testing::Combine(testing::ValuesIn(kOtherSizes), testing::Values(1, 13)),
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
            const ModelVariant model;
            model.reshape(start + "1", shape.rows, shape.cols + change);
            model.reshape(start + "2", shape.cols + change, 1);
            EXPECT_TRUE(ended(model.extract(), "", kTemplateSize));
        }
    }
}

// Both of the fully connected layer's matrices alike, so that only the output has another size.
TEST(WeightFiles, outputOf100ColumnsMakesTheTemplateNan) {
    const ModelVariant model;
    model.reshape("5-13-1", 576, 100);
    model.reshape("5-13-2", 768, 100);
    model.reshape("5-13-3", 1, 100);
    const HostRun run = model.extract();
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
}

// Sizes whose product is no number of elements. The create that follows finds a good file.
TEST(WeightFiles, sizesThatCannotBeAllocatedRaiseBadAllocAndDoNoHarm) {
    const HostRun whole = plainRun();
    for (const auto& [name, rows, cols] :
         {std::tuple("2-13-1", 65536, 65536), std::tuple("2-13-1", -16, 48),
          std::tuple("2-13-2", INT32_MIN, INT32_MIN)}) {
        SCOPED_TRACE(std::string(name) + " of " + std::to_string(rows) + " rows");
        const ModelVariant model;
        model.relabel(name, rows, cols);
        HostRun run = runHost(model.temporaryDirectory(),
                              {"create-after-failure", model.pathOf(name), model.goodPathOf(name)});
        ASSERT_TRUE(ended(run, "", 1 + kTemplateSize));
        EXPECT_EQ(run.results[0], 1.0F);
        run.results.erase(run.results.begin());
        EXPECT_TRUE(sameTemplate(whole, 0, run, 0));
    }
}

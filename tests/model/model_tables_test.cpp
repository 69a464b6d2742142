#include "model/model_tables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support/model_folder.h"
#include "support/temporary_folder.h"

namespace {

// Tables of a test's own, read from a folder of its own.
class ModelTablesTest : public testing::Test {
  protected:
    ModelTablesTest() : tables(std::make_unique<ModelTables>()) {
        std::memcpy(former, modelDir, sizeof modelDir);
        std::snprintf(modelDir, sizeof modelDir, "%s", model.c_str());
    }
    ~ModelTablesTest() override { std::memcpy(modelDir, former, sizeof modelDir); }

    // Standard output of loading the tables.
    std::string load() {
        testing::internal::CaptureStdout();
        loadModelTables(*tables);
        return testing::internal::GetCapturedStdout();
    }

    void expectZeros(const float* first, const float* end) {
        EXPECT_EQ(std::count(first, end, 0.0F), end - first);
    }

    const TemporaryFolder folder;
    const std::string model = folder.prefix();
    const std::unique_ptr<ModelTables> tables;
    char former[sizeof modelDir];
};

std::size_t countLines(const std::string& output) {
    return static_cast<std::size_t>(std::count(output.begin(), output.end(), '\n'));
}

}  // namespace

TEST_F(ModelTablesTest, areFilledFromTheirOwnFiles) {
    writeMeanImage(model, 1, {1, 2});
    writeMeanImage(model, 25, std::vector<float>(6627, 3));
    std::vector<float> table(std::size_t{500} * 8000);
    table[8000 * 3 + 5] = 4;
    writeFloats(model + "6-1", table);
    table[8000 * 3 + 5] = 5;
    table.back() = 7;
    writeFloats(model + "6-2", table);
    writeFloats(model + "6-0", std::vector<float>(8000, 6));
    EXPECT_EQ(countLines(load()), 23U);
    EXPECT_EQ(tables->meanImages[0][0], 1);
    EXPECT_EQ(tables->meanImages[0][1], 2);
    EXPECT_EQ(tables->meanImages[24][6626], 3);
    expectZeros(&tables->meanImages[0][2], &tables->meanImages[24][0]);
    expectZeros(&tables->meanImages[24][6627], &tables->featureMean[0]);
    EXPECT_EQ(std::count(tables->featureMean, tables->featureMean + 8000, 6.0F), 8000);
    EXPECT_EQ(tables->projection.at(3, 5), 4);
    EXPECT_EQ(tables->projection.at(499, 7999), 0);
    EXPECT_EQ(tables->projection.at(503, 5), 5);
    EXPECT_EQ(tables->projection.at(999, 7999), 7);
}

TEST_F(ModelTablesTest, keepWhatShortFilesHoldAndNothingOfLongOnes) {
    writeFloats(model + "6-1", std::vector<float>(2000, 7));
    writeFloats(model + "6-0", std::vector<float>(8002, 8));
    writeFile(model + "0-1-0", "", 0);
    writeFile(model + "0-2-0", "\3\0", 2);
    const std::int32_t negative[2] = {-1, 0x3F800000};
    writeFile(model + "0-3-0", negative, sizeof negative);
    EXPECT_EQ(countLines(load()), 23U);
    EXPECT_EQ(tables->projection.at(0, 1999), 7);
    expectZeros(&tables->meanImages[0][0], &tables->featureMean[0]);
    EXPECT_EQ(tables->featureMean[7999], 8);
    EXPECT_EQ(tables->projection.at(0, 0), 7) << "an excess of 6-0 is not read";
    const auto* first = reinterpret_cast<const float*>(&tables->projection);
    EXPECT_EQ(std::count(first, first + sizeof tables->projection / sizeof(float), 7.0F), 2000);
}

TEST_F(ModelTablesTest, letAMeanImageRunIntoTheNextSlotsUntilTheTableEnds) {
    writeMeanImage(model, 1, std::vector<float>(9078, 1));
    writeMeanImage(model, 2, {2});
    writeMeanImage(model, 24, std::vector<float>(20000, 8));
    load();
    EXPECT_EQ(tables->meanImages[0][9074], 1);
    EXPECT_EQ(tables->meanImages[1][0], 2);
    EXPECT_EQ(tables->meanImages[1][1], 1);
    EXPECT_EQ(tables->meanImages[1][3], 0);
    EXPECT_EQ(tables->meanImages[24][9074], 8);
    const auto* all = reinterpret_cast<const float*>(tables.get());
    expectZeros(tables->featureMean, all + sizeof(ModelTables) / sizeof(float));
}

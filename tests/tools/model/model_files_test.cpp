// The list of model files against tables written down apart from it.
#include "model/model_files.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "support/model_folder.h"

static std::map<std::string, ModelFile> filesByName() {
    std::map<std::string, ModelFile> files;
    for (const ModelFile& file : listModelFiles()) {
        files.emplace(file.name, file);
    }
    return files;
}

TEST(ModelFiles, threeHundredAndThreeWithNamesOfTheirOwn) {
    const std::vector<ModelFile> files = listModelFiles();
    EXPECT_EQ(files.size(), 303U);
    EXPECT_EQ(filesByName().size(), 303U);
    std::map<ModelFileKind, int> counts;
    for (const ModelFile& file : files) {
        ++counts[file.kind];
    }
    EXPECT_EQ(counts[ModelFileKind::meanImage], 25);
    EXPECT_EQ(counts[ModelFileKind::meanFeatures], 1);
    EXPECT_EQ(counts[ModelFileKind::projection], 2);
    EXPECT_EQ(counts[ModelFileKind::weights], 25 * 6);
    EXPECT_EQ(counts[ModelFileKind::biases], 25 * 5);
}

TEST(ModelFiles, orderIsThatOfTheirReading) {
    const std::vector<ModelFile> files = listModelFiles();
    ASSERT_EQ(files.size(), 303U);
    EXPECT_EQ(files[0].name, "0-1-0");
    EXPECT_EQ(files[24].name, "0-25-0");
    EXPECT_EQ(files[25].name, "6-0");
    EXPECT_EQ(files[26].name, "6-1");
    EXPECT_EQ(files[27].name, "6-2");
    EXPECT_EQ(files[28].name, "1-1-1");
    EXPECT_EQ(files[29].name, "1-1-2");
    EXPECT_EQ(files[38].name, "5-1-3");
    EXPECT_EQ(files[39].name, "1-2-1");
    EXPECT_EQ(files[302].name, "5-25-3");
}

TEST(ModelFiles, weightFilesHaveTheShapesThatTheKernelsNeed) {
    const std::map<std::string, ModelFile> files = filesByName();
    for (int number = 1; number <= 25; ++number) {
        for (const WeightFile& expected : weightFilesOf(number)) {
            const std::string name = expected.name(number);
            ASSERT_EQ(files.count(name), 1U) << name;
            const ModelFile& file = files.at(name);
            EXPECT_EQ(file.rows, expected.rows) << name;
            EXPECT_EQ(file.cols, expected.cols) << name;
            EXPECT_EQ(file.network, number) << name;
            EXPECT_EQ(file.kind, expected.isBias ? ModelFileKind::biases : ModelFileKind::weights)
                << name;
            EXPECT_EQ(headerOf(file), (std::vector<std::int32_t>{file.rows, file.cols})) << name;
        }
    }
}

TEST(ModelFiles, sizesInBytes) {
    const std::map<std::string, ModelFile> files = filesByName();
    const std::map<std::string, std::int64_t> expected = {
        {"1-1-1", 3080},   {"1-4-1", 1032},    {"1-4-2", 72},     {"2-4-1", 18440},
        {"2-4-2", 136},    {"3-4-1", 55304},   {"3-4-2", 200},    {"4-4-1", 49160},
        {"4-4-2", 264},    {"5-1-1", 655368},  {"5-2-1", 655368}, {"5-3-1", 368648},
        {"5-1-2", 768008}, {"5-25-2", 491528}, {"5-25-3", 648},   {"0-1-0", 36304},
        {"0-2-0", 36304},  {"0-3-0", 26512},   {"0-4-0", 8840},   {"0-25-0", 26512},
        {"6-0", 32000},    {"6-1", 16000000},  {"6-2", 16000000},
    };
    for (const auto& [name, bytes] : expected) {
        ASSERT_EQ(files.count(name), 1U) << name;
        EXPECT_EQ(byteCount(files.at(name)), bytes) << name;
    }
}

// 12 colour patches (two of them large), 13 grey ones, and what each network has in common.
TEST(ModelFiles, allTogetherAreFiftyEightMillionBytes) {
    const std::int64_t images = 2 * 36304 + 10 * 26512 + 13 * 8840;
    const std::int64_t first = 12 * 3080 + 13 * 1032;
    const std::int64_t common = 25 * (72 + 18440 + 136 + 55304 + 200 + 49160 + 264 + 648);
    const std::int64_t outputs = 2 * (655368 + 768008) + 23 * (368648 + 491528);
    const std::int64_t tables = 32000 + 2 * 16000000;
    std::int64_t total = 0;
    for (const ModelFile& file : listModelFiles()) {
        total += byteCount(file);
    }
    EXPECT_EQ(total, images + first + common + outputs + tables);
    EXPECT_EQ(total, 58271424);
}

TEST(ModelFiles, headersCountWhatFollows) {
    const std::map<std::string, ModelFile> files = filesByName();
    EXPECT_EQ(headerOf(files.at("0-2-0")), std::vector<std::int32_t>{9075});
    EXPECT_EQ(headerOf(files.at("0-9-0")), std::vector<std::int32_t>{2209});
    EXPECT_TRUE(headerOf(files.at("6-0")).empty());
    EXPECT_TRUE(headerOf(files.at("6-2")).empty());
    EXPECT_EQ(floatCount(files.at("6-1")), 4000000);
}

TEST(ModelFiles, everyFileSaysWhoReadsIt) {
    const std::map<std::string, ModelFile> files = filesByName();
    EXPECT_EQ(files.at("3-12-1").layer, "local3");
    EXPECT_EQ(files.at("3-12-2").layer, "local3");
    EXPECT_EQ(files.at("5-12-2").layer, "fc");
    EXPECT_EQ(files.at("0-12-0").layer, "");
    EXPECT_EQ(files.at("6-1").network, 0);
    std::set<std::string> kinds;
    for (const auto& [name, file] : files) {
        kinds.insert(nameOf(file.kind));
    }
    EXPECT_EQ(kinds, (std::set<std::string>{"biases", "feature mean", "mean image", "projection",
                                            "weights"}));
}

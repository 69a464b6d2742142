// The list of model files against the shapes that are written down apart from it.
#include "model/model_files.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "support/model_folder.h"

static std::map<std::string, ModelFile> filesByName() {
    std::map<std::string, ModelFile> files;
    for (const ModelFile& file : listModelFiles()) {
        files.emplace(file.name, file);
    }
    return files;
}

TEST(ModelFiles, haveNamesAndAnOrderOfTheirOwn) {
    const std::vector<ModelFile> files = listModelFiles();
    ASSERT_EQ(files.size(), 303U);
    EXPECT_EQ(filesByName().size(), 303U);
    // As the library reads them.
    const std::map<std::size_t, const char*> places = {
        {0, "0-1-0"},  {24, "0-25-0"}, {25, "6-0"},   {26, "6-1"},   {27, "6-2"},
        {28, "1-1-1"}, {29, "1-1-2"},  {38, "5-1-3"}, {39, "1-2-1"}, {302, "5-25-3"}};
    for (const auto& [place, name] : places) {
        EXPECT_EQ(files[place].name, name) << place;
    }
    std::map<std::string, int> kinds;
    for (const ModelFile& file : files) {
        ++kinds[nameOf(file.kind)];
    }
    EXPECT_EQ(kinds, (std::map<std::string, int>{{"biases", 125},
                                                 {"feature mean", 1},
                                                 {"mean image", 25},
                                                 {"projection", 2},
                                                 {"weights", 150}}));
}

TEST(ModelFiles, weightFilesHaveTheShapesThatTheKernelsNeed) {
    const std::map<std::string, ModelFile> files = filesByName();
    const std::string layers[] = {"conv1", "conv2", "local3", "local4", "fc"};
    for (int number = 1; number <= 25; ++number) {
        for (const WeightFile& expected : weightFilesOf(number)) {
            const std::string name = expected.name(number);
            ASSERT_EQ(files.count(name), 1U) << name;
            const ModelFile& file = files.at(name);
            EXPECT_EQ(file.rows, expected.rows) << name;
            EXPECT_EQ(file.cols, expected.cols) << name;
            EXPECT_EQ(file.network, number) << name;
            EXPECT_EQ(file.layer, layers[expected.stage - 1]) << name;
            EXPECT_EQ(file.kind, expected.isBias ? ModelFileKind::biases : ModelFileKind::weights)
                << name;
            EXPECT_EQ(headerOf(file), (std::vector<std::int32_t>{file.rows, file.cols})) << name;
            EXPECT_EQ(byteCount(file), 8 + 4 * std::int64_t{expected.rows} * expected.cols) << name;
        }
    }
}

TEST(ModelFiles, tablesHaveTheSizesThatTheLibraryReads) {
    const std::tuple<const char*, std::vector<std::int32_t>, std::int64_t> tables[] = {
        {"0-2-0", {9075}, 36304}, {"0-3-0", {6627}, 26512}, {"0-9-0", {2209}, 8840},
        {"6-0", {}, 32000},       {"6-1", {}, 16000000},    {"6-2", {}, 16000000}};
    const std::map<std::string, ModelFile> files = filesByName();
    for (const auto& [name, header, bytes] : tables) {
        const ModelFile& file = files.at(name);
        EXPECT_EQ(headerOf(file), header) << name;
        EXPECT_EQ(byteCount(file), bytes) << name;
        EXPECT_EQ(floatCount(file), bytes / 4 - static_cast<std::int64_t>(header.size())) << name;
        EXPECT_EQ(file.layer, "") << name;
    }
    EXPECT_EQ(files.at("0-12-0").network, 12);
    EXPECT_EQ(files.at("6-1").network, 0);
    std::int64_t total = 0;
    for (const ModelFile& file : listModelFiles()) {
        total += byteCount(file);
    }
    EXPECT_EQ(total, 58271424);
}

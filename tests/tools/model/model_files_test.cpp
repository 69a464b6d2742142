// The weight files against the shapes that are written down apart from them. zomu_model_test.cpp has
// the tables, and the order of all files.
#include "model/model_files.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/model_folder.h"

TEST(ModelFiles, weightFilesHaveTheShapesThatTheKernelsNeed) {
    std::map<std::string, ModelFile> files;
    for (const ModelFile& file : listModelFiles()) {
        files.emplace(file.name, file);
    }
    const std::string layers[] = {"conv1", "conv2", "local3", "local4", "fc"};
    for (int number = 1; number <= 25; ++number) {
        for (const WeightFile& expected : weightFilesOf(number)) {
            const std::string name = expected.name(number);
            ASSERT_EQ(files.count(name), 1U) << name;
            const ModelFile& file = files.at(name);
            EXPECT_EQ(file.network, number) << name;
            EXPECT_EQ(file.layer, layers[expected.stage - 1]) << name;
            EXPECT_EQ(file.kind, expected.isBias ? ModelFileKind::biases : ModelFileKind::weights)
                << name;
            EXPECT_EQ(headerOf(file), (std::vector<std::int32_t>{expected.rows, expected.cols}))
                << name;
            EXPECT_EQ(byteCount(file), 8 + 4 * std::int64_t{expected.rows} * expected.cols) << name;
        }
    }
}

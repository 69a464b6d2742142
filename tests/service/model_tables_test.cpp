#include "model/model_tables.h"
#include "service/attach.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "support/bits.h"
#include "support/environment.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/temporary_folder.h"
#include "support/zeroed_tables.h"

namespace {

// Everything runs in a child process: the tables are process-wide and other tests rely on zeros.
class ModelTables : public testing::Test {
  protected:
    ModelTables() : model(folder.prefix() + kModelFolderName + "/") {
        std::filesystem::create_directory(model);
    }

    // Loads the tables in a child and prints there what `body` prints.
    ForkedResult load(const std::function<void()>& body) {
        return runForked([&] {
            setVariable(kTemporaryVariable, folder.prefix());
            attachLibrary();
            body();
            std::fflush(stdout);
        });
    }

    // The library's lines come first; what follows the last of them is the body's.
    static std::string afterLines(const std::string& output) {
        const std::size_t at = output.rfind(" failed\n");
        return at == std::string::npos ? output : output.substr(at + 8);
    }

    static std::size_t countLines(const std::string& output) {
        return static_cast<std::size_t>(std::count(output.begin(), output.end(), '\n'));
    }

    const ZeroedTables tables;
    TemporaryFolder folder;
    std::string model;
};

}  // namespace

TEST_F(ModelTables, readAsZeroWhereTheFolderIsEmpty) {
    const ForkedResult result = load([] {
        float sum = 0;
        for (const auto& slot : g_modelTables.meanImages) {
            for (const float value : slot) {
                sum += value * value;
            }
        }
        for (const float value : g_modelTables.featureMean) {
            sum += value * value;
        }
        std::printf("%g %g %g", static_cast<double>(sum),
                    static_cast<double>(g_modelTables.projectionA[0][0]),
                    static_cast<double>(g_modelTables.projectionB[499][7999]));
    });
    EXPECT_EQ(afterLines(result.output), "0 0 0");
    EXPECT_EQ(countLines(result.output), 28U);
}

TEST_F(ModelTables, nameTheirFolderAfterTheTemporaryDirectory) {
    const ForkedResult result = load([] { std::printf("%s|%s", tempPath, modelDir); });
    const std::string path = folder.path().string();
    EXPECT_EQ(afterLines(result.output),
              path + "|" + path + kSeparator + "~zvplugintmp~" + kSeparator);
}

TEST_F(ModelTables, areFilledInTheirOwnOrder) {
    writeMeanImage(model, 1, {1, 2});
    writeMeanImage(model, 25, std::vector<float>(6627, 3));
    std::vector<float> table(std::size_t{500} * 8000);
    table[8000 * 3 + 5] = 4;
    writeFloats(model + "6-1", table);
    table[8000 * 3 + 5] = 5;
    writeFloats(model + "6-2", table);
    writeFloats(model + "6-0", std::vector<float>(8000, 6));
    const ForkedResult result = load([] {
        std::printf("%g %g %g %g %g %g %g %g", static_cast<double>(g_modelTables.meanImages[0][0]),
                    static_cast<double>(g_modelTables.meanImages[0][1]),
                    static_cast<double>(g_modelTables.meanImages[0][2]),
                    static_cast<double>(g_modelTables.meanImages[24][6626]),
                    static_cast<double>(g_modelTables.meanImages[24][6627]),
                    static_cast<double>(g_modelTables.projectionA[3][5]),
                    static_cast<double>(g_modelTables.projectionB[3][5]),
                    static_cast<double>(g_modelTables.featureMean[7999]));
    });
    EXPECT_EQ(afterLines(result.output), "1 2 0 3 0 4 5 6");
    EXPECT_EQ(countLines(result.output), 23U);
}

TEST_F(ModelTables, keepWhatAShortFileHolds) {
    writeFloats(model + "6-1", std::vector<float>(2000, 7));
    const ForkedResult result = load([] {
        std::printf("%g %g %g", static_cast<double>(g_modelTables.projectionA[0][1999]),
                    static_cast<double>(g_modelTables.projectionA[0][2000]),
                    static_cast<double>(g_modelTables.projectionB[0][0]));
    });
    EXPECT_EQ(afterLines(result.output), "7 0 0");
    EXPECT_EQ(countLines(result.output), 27U);
}

TEST_F(ModelTables, leaveASlotAtZeroWhereItsFileIsEmptyOrHeadless) {
    writeFile(model + "0-1-0", "", 0);
    writeFile(model + "0-2-0", "\3\0", 2);
    const std::int32_t negative[2] = {-1, 0x3F800000};
    writeFile(model + "0-3-0", negative, sizeof negative);
    const ForkedResult result = load([] {
        std::printf("%g %g %g", static_cast<double>(g_modelTables.meanImages[0][0]),
                    static_cast<double>(g_modelTables.meanImages[1][0]),
                    static_cast<double>(g_modelTables.meanImages[2][0]));
    });
    EXPECT_EQ(afterLines(result.output), "0 0 0");
    EXPECT_EQ(countLines(result.output), 25U);
}

TEST_F(ModelTables, letAMeanImageRunIntoTheNextSlotUntilItsOwnFileComes) {
    writeMeanImage(model, 1, std::vector<float>(9078, 1));
    writeMeanImage(model, 2, {2});
    const ForkedResult result = load([] {
        std::printf("%g %g %g %g", static_cast<double>(g_modelTables.meanImages[0][9074]),
                    static_cast<double>(g_modelTables.meanImages[1][0]),
                    static_cast<double>(g_modelTables.meanImages[1][1]),
                    static_cast<double>(g_modelTables.meanImages[1][3]));
    });
    EXPECT_EQ(afterLines(result.output), "1 2 1 0");
}

TEST_F(ModelTables, stopAMeanImageAtTheEndOfTheTable) {
    writeMeanImage(model, 25, std::vector<float>(20000, 8));
    const ForkedResult result = load([] {
        std::printf(
            "%g %g", static_cast<double>(g_modelTables.meanImages[24][9074]),
            static_cast<double>(g_modelTables.featureMean[0] + g_modelTables.projectionA[0][0] +
                                g_modelTables.projectionB[0][0]));
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(afterLines(result.output), "8 0");
}

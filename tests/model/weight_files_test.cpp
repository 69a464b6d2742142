#include "model/weight_files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

class WeightFiles : public testing::Test {
  protected:
    WeightFiles() {
        writeWeightFile(prefix + "six", 2, 3, {1, 2, 3, 4, 5, 6});
        writeWeightFile(prefix + "two", 1, 2, {7, 8});
    }

    std::vector<LoadedMatrix> load(const std::vector<std::string>& names, bool transposed = false) {
        return loadWeightList(prefix, names, transposed);
    }

    TemporaryFolder folder;
    const std::string prefix = folder.prefix();
};

void expectMatrix(const LoadedMatrix& loaded, std::int32_t rows, std::int32_t cols,
                  const std::vector<float>& values) {
    EXPECT_TRUE(loaded.isComplete);
    EXPECT_TRUE(loaded.matrix->ownsData);
    EXPECT_EQ(loaded.matrix->trans, kRowMajor);
    EXPECT_EQ(loaded.matrix->numRows, rows);
    EXPECT_EQ(loaded.matrix->numCols, cols);
    EXPECT_TRUE(sameFloats(values, valuesOf(*loaded.matrix)));
}

}  // namespace

TEST_F(WeightFiles, loadInTheOrderOfTheirNamesAsStoredOrTransposedUnlessTheyAreBiases) {
    std::filesystem::resize_file(prefix + "six", 100);  // an excess is not read
    const auto asStored = load({"two", "six"});
    ASSERT_EQ(asStored.size(), 2U);
    expectMatrix(asStored[0], 1, 2, {7, 8});
    expectMatrix(asStored[1], 2, 3, {1, 2, 3, 4, 5, 6});
    expectMatrix(load({"six"}, true).at(0), 3, 2, {1, 4, 2, 5, 3, 6});
    expectMatrix(loadBias(prefix, "six"), 2, 3, {1, 2, 3, 4, 5, 6});
    EXPECT_TRUE(load({}).empty());
}

TEST_F(WeightFiles, thatCannotBeOpenedPrintTheirLineAndLeaveNoGap) {
    std::filesystem::create_directory(folder.path() / "sub");
    testing::internal::CaptureStdout();
    const auto list = load({"absent", "two", "", "sub", "six"});
    const LoadedMatrix bias = loadBias(prefix, "gone");
    std::string lines;
    for (const std::string name : {"absent", "", "sub", "gone"}) {
        lines += "load " + prefix + name + " failed\n";
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), lines);
    ASSERT_EQ(list.size(), 2U);
    expectMatrix(list[1], 2, 3, {1, 2, 3, 4, 5, 6});
    expectMatrix(bias, 0, 0, {});
    EXPECT_EQ(bias.matrix->data, nullptr);
}

TEST_F(WeightFiles, shorterThanTheirSizesSayAreKeptAsStoredButIncomplete) {
    std::filesystem::resize_file(prefix + "six", 8 + 5 * 4 + 3);
    testing::internal::CaptureStdout();
    for (const bool transposed : {false, true}) {
        const auto list = load({"six"}, transposed);
        ASSERT_EQ(list.size(), 1U);
        EXPECT_FALSE(list[0].isComplete);
        EXPECT_EQ(list[0].matrix->numRows, 2) << "not worth a transposition";
        EXPECT_EQ(list[0].matrix->data[4], 5);
    }
    EXPECT_FALSE(loadBias(prefix, "six").isComplete);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(WeightFiles, withMoreElementsThanAnyNetworkHasAreIncompleteAndAskForNoMemory) {
    for (const std::int32_t rows : {kMostElements, 1 << 30}) {
        const std::int32_t sizes[2] = {rows, 1};
        writeFile(prefix + "large", sizes, sizeof sizes);
        std::filesystem::resize_file(prefix + "large", 8 + 4 * std::uintmax_t{kMostElements});
        const bool isUsable = rows == kMostElements;
        const LoadedMatrix bias = loadBias(prefix, "large");
        EXPECT_EQ(bias.isComplete, isUsable);
        EXPECT_EQ(bias.matrix->numElements, isUsable ? rows : 0);
        const auto weights = load({"large"}, true);
        EXPECT_EQ(weights.at(0).isComplete, isUsable);
        EXPECT_EQ(weights.at(0).matrix->numElements, isUsable ? rows : 0);
    }
}

TEST_F(WeightFiles, withSizesThatOverflowFailInTheAllocator) {
    const std::int32_t sizes[2] = {1 << 20, 1 << 20};
    writeFile(prefix + "huge", sizes, sizeof sizes);
    EXPECT_THROW(load({"huge"}), std::bad_alloc);
    EXPECT_THROW(loadBias(prefix, "huge"), std::bad_alloc);
}

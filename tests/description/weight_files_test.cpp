#include "model/weight_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/bits.h"
#include "support/forked.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

class WeightFiles : public testing::Test {
  protected:
    WeightFiles() : prefix(folder.prefix()) {
        g_weightFolder = prefix.c_str();
        writeWeightFile(prefix + "six", 2, 3, {1, 2, 3, 4, 5, 6});
        writeWeightFile(prefix + "two", 1, 2, {7, 8});
    }
    ~WeightFiles() override { g_weightFolder = ""; }

    // Standard output of loading section `s` of a description with these keys.
    std::string printed(const std::string& keys) {
        describe("[s]\n" + keys);
        return runForked([] {
                   loadWeightList("s", true);
                   loadBias("s");
               })
            .output;
    }

    std::string failed(const std::string& name) { return "load " + prefix + name + " failed\n"; }

    TemporaryFolder folder;
    std::string prefix;
};

}  // namespace

TEST_F(WeightFiles, loadAsStoredOrTransposed) {
    describe("[s]\nweights=six\n");
    const auto asStored = loadWeightList("s", false);
    ASSERT_EQ(asStored.size(), 1U);
    EXPECT_EQ(asStored[0].matrix->numRows, 2);
    EXPECT_EQ(asStored[0].matrix->numCols, 3);
    EXPECT_TRUE(sameFloats({1, 2, 3, 4, 5, 6}, valuesOf(*asStored[0].matrix)));
    EXPECT_TRUE(asStored[0].isComplete);

    const auto transposed = loadWeightList("s", true);
    EXPECT_EQ(transposed[0].matrix->numRows, 3);
    EXPECT_EQ(transposed[0].matrix->numCols, 2);
    EXPECT_EQ(transposed[0].matrix->trans, kRowMajor);
    EXPECT_TRUE(transposed[0].matrix->ownsData);
    EXPECT_TRUE(sameFloats({1, 4, 2, 5, 3, 6}, valuesOf(*transposed[0].matrix)));
}

TEST_F(WeightFiles, stayInTheOrderOfTheirKey) {
    describe("[s]\nweights=two_six\n");
    const auto list = loadWeightList("s", false);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].matrix->numElements, 2);
    EXPECT_EQ(list[1].matrix->numElements, 6);
}

TEST_F(WeightFiles, biasIsOneFileAndNeverTransposed) {
    writeWeightFile(prefix + "16", 16, 1, std::vector<float>(16, 1));
    writeWeightFile(prefix + "a_b", 1, 2, {7, 8});
    describe("[s]\nbiases=16\n[t]\nbiases=a_b\n");
    const LoadedMatrix bias = loadBias("s");
    EXPECT_EQ(bias.matrix->numRows, 16);
    EXPECT_EQ(bias.matrix->numCols, 1);
    EXPECT_EQ(bias.matrix->numElements, 16);
    EXPECT_EQ(loadBias("t").matrix->numElements, 2) << "an underscore is part of the name";
}

TEST_F(WeightFiles, sayWhichFileCannotBeOpenedAndGoOn) {
    EXPECT_EQ(printed("weights=absent\nbiases=two\n"), failed("absent"));
    EXPECT_EQ(printed("weights=absent_two\nbiases=gone\n"), failed("absent") + failed("gone"));
    describe("[s]\nweights=absent_two\n");
    testing::internal::CaptureStdout();
    const auto list = loadWeightList("s", false);
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(list.size(), 1U);
    EXPECT_TRUE(sameFloats({7, 8}, valuesOf(*list[0].matrix)));
}

TEST_F(WeightFiles, withoutKeysGiveNoWeightsAndTheFolderAsBias) {
    EXPECT_EQ(printed("type=conv\n"), failed(""));
    describe("[s]\n");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(loadWeightList("s", true).empty());
    const LoadedMatrix bias = loadBias("s");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(bias.matrix->data, nullptr);
    EXPECT_EQ(bias.matrix->numElements, 0);
    EXPECT_TRUE(bias.matrix->ownsData);
    EXPECT_TRUE(bias.isComplete);
}

TEST_F(WeightFiles, takeAnEmptyTokenForTheFolderAndATrailingUnderscoreForNothing) {
    EXPECT_EQ(printed("weights=two_\nbiases=two\n"), "");
    EXPECT_EQ(printed("weights=two__six\nbiases=two\n"), failed(""));
}

TEST_F(WeightFiles, aFolderCannotBeOpened) {
    std::filesystem::create_directory(folder.path() / "sub");
    EXPECT_EQ(printed("weights=sub\nbiases=sub\n"), failed("sub") + failed("sub"));
}

TEST_F(WeightFiles, shorterThanTheirSizesSayAreBoundSilentlyButIncomplete) {
    std::filesystem::resize_file(prefix + "six", 8 + 5 * 4 + 3);
    EXPECT_EQ(printed("weights=six\nbiases=six\n"), "");
    describe("[s]\nweights=six\nbiases=six\n");
    const auto list = loadWeightList("s", false);
    ASSERT_EQ(list.size(), 1U);
    EXPECT_FALSE(list[0].isComplete);
    EXPECT_EQ(list[0].matrix->numRows, 2);
    EXPECT_TRUE(sameFloat(5, list[0].matrix->data[4]));
    EXPECT_FALSE(loadBias("s").isComplete);
    EXPECT_FALSE(loadWeightList("s", true)[0].isComplete);
}

TEST_F(WeightFiles, longerThanTheirSizesSayAreReadAsFarAsThat) {
    std::filesystem::resize_file(prefix + "six", 100);
    describe("[s]\nweights=six\n");
    EXPECT_TRUE(loadWeightList("s", false)[0].isComplete);
}

TEST_F(WeightFiles, withSizesThatOverflowFailInTheAllocator) {
    const std::int32_t sizes[2] = {1 << 20, 1 << 20};
    writeFile(prefix + "huge", sizes, sizeof sizes);
    describe("[s]\nweights=huge\nbiases=huge\n");
    EXPECT_THROW(loadWeightList("s", false), std::bad_alloc);
    EXPECT_THROW(loadBias("s"), std::bad_alloc);
}

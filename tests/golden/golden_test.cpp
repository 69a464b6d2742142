#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "description/parameters.h"
#include "golden/portrait_template.h"
#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_network.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/temporary_folder.h"

namespace {

std::vector<float> valuesOf(const FaceTemplate& faceTemplate) {
    std::vector<float> values(std::begin(faceTemplate.projection),
                              std::end(faceTemplate.projection));
    values.push_back(faceTemplate.quadraticTerm);
    values.push_back(faceTemplate.projectionNorm);
    return values;
}

std::vector<float> storedValues() {
    std::ifstream file(ZOMU_GOLDEN_FILE);
    std::vector<float> values;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line[0] == '#' ? "" : line);
        for (std::string word; words >> word;) {
            values.push_back(std::strtof(word.c_str(), nullptr));
        }
    }
    return values;
}

// The model is made once for all tests, and loaded into the process-wide tables.
class GoldenTemplate : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        folder = new TemporaryFolder;
        extracted = valuesOf(extractPortrait(folder->prefix()));
    }
    static void TearDownTestSuite() { delete folder; }

    static TemporaryFolder* folder;
    static std::vector<float> extracted;
};

TemporaryFolder* GoldenTemplate::folder = nullptr;
std::vector<float> GoldenTemplate::extracted;

}  // namespace

TEST_F(GoldenTemplate, ofThePortraitIsTheStoredOne) {
    const std::vector<float> stored = storedValues();
    ASSERT_EQ(stored.size(), 502U);
    EXPECT_TRUE(sameFloats(stored, extracted));
}

TEST_F(GoldenTemplate, isWhatThePlainSecondWritingFinds) {
    const auto [picture, landmarks] = loadPortrait();
    const std::vector<ReferenceFloats> patches =
        referencePatches(picture.pixels.data(), picture.width, picture.height, 3 * picture.width,
                         landmarks, &g_modelTables.meanImages[0][0]);
    std::vector<float> features(8000);
    for (int number = 1; number <= 25; ++number) {
        const auto i = static_cast<std::size_t>(number - 1);
        const ReferenceOutput output =
            runReferenceNetwork(readReferenceNetwork(modelDir, number), patches[i].data());
        // Whole numbers below 2^24 are exact in both widths, and so is their sum in any order.
        ASSERT_LT(output.largestSum, 0x1p24) << "network " << number;
        const std::vector<float> exact(output.values.begin(), output.values.end());
        referenceStoreNetworkOutput(exact.data(), features.data() + 320 * i);
    }
    referenceSubtractFeatureMean(features.data(), g_modelTables.featureMean);
    FaceTemplate expected;
    referenceProjectFeatures(features.data(), &g_modelTables.projectionA[0][0],
                             &g_modelTables.projectionB[0][0], expected);
    EXPECT_TRUE(sameFloats(valuesOf(expected), extracted));
}

TEST_F(GoldenTemplate, holdsOnlyOrdinaryNumbers) {
    std::size_t zeros = 0;
    for (const float value : extracted) {
        ASSERT_TRUE(std::isfinite(value));
        zeros += value == 0.0F ? 1 : 0;
    }
    EXPECT_LT(zeros, 5U);
}

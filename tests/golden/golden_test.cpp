#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "golden/portrait_template.h"
#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_network.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/projection_rows.h"
#include "support/temporary_folder.h"

namespace {

std::vector<float> valuesOf(const FaceTemplate& faceTemplate) {
    const auto* values = reinterpret_cast<const float*>(&faceTemplate);
    return {values, values + ZOMU_PROJECTION_SIZE + 2};
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

// The model is made by the first call, for all tests, and loaded into the process-wide tables.
const std::vector<float>& extractedValues() {
    static const TemporaryFolder folder;
    static const std::vector<float> values = valuesOf(extractPortrait(folder.prefix()));
    return values;
}

}  // namespace

TEST(GoldenTemplate, ofThePortraitIsTheStoredOne) {
    const std::vector<float> stored = storedValues();
    ASSERT_EQ(stored.size(), 502U);
    EXPECT_TRUE(sameFloats(stored, extractedValues()));
}

TEST(GoldenTemplate, isWhatThePlainSecondWritingFinds) {
    const std::vector<float>& extracted = extractedValues();
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
    referenceProjectFeatures(features.data(), rowsOf(g_modelTables.projection, 0).data(),
                             rowsOf(g_modelTables.projection, 500).data(), expected);
    EXPECT_TRUE(sameFloats(valuesOf(expected), extracted));
}

TEST(GoldenTemplate, holdsOnlyOrdinaryNumbers) {
    std::size_t zeros = 0;
    for (const float value : extractedValues()) {
        ASSERT_TRUE(std::isfinite(value));
        zeros += value == 0.0F ? 1 : 0;
    }
    EXPECT_LT(zeros, 5U);
}

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "golden/portrait_template.h"
#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_fused_network.h"
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

std::vector<float> storedValues(const char* path) {
    std::ifstream file(path);
    std::vector<float> values;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line[0] == '#' ? "" : line);
        for (std::string word; words >> word;) {
            values.push_back(std::strtof(word.c_str(), nullptr));
        }
    }
    return values;
}

// A folder for each model. They stay until the program ends, since the temporary directory is there.
std::string prefixFor(GoldenModel model) {
    static const TemporaryFolder folders[2];
    return folders[static_cast<std::size_t>(model)].prefix();
}

// What plain loops find with the model that is loaded. `runNetwork` gives a network's 320 outputs.
template <class RunNetwork>
std::vector<float> plainValues(const RunNetwork& runNetwork) {
    const auto [picture, landmarks] = loadPortrait();
    const std::vector<ReferenceFloats> patches =
        referencePatches(picture.pixels.data(), picture.width, picture.height, 3 * picture.width,
                         landmarks, &g_modelTables.meanImages[0][0]);
    std::vector<float> features(8000);
    for (int number = 1; number <= 25; ++number) {
        const auto i = static_cast<std::size_t>(number - 1);
        const std::vector<float> outputs =
            runNetwork(readReferenceNetwork(modelDir, number), patches[i].data());
        referenceStoreNetworkOutput(outputs.data(), features.data() + 320 * i);
    }
    referenceSubtractFeatureMean(features.data(), g_modelTables.featureMean);
    FaceTemplate expected;
    referenceProjectFeatures(features.data(), rowsOf(g_modelTables.projection, 0).data(),
                             rowsOf(g_modelTables.projection, 500).data(), expected);
    return valuesOf(expected);
}

// In 64 bits: whole numbers below 2^24 are exact in both widths, and so is their sum in any order.
std::vector<float> runExactly(const ReferenceNetwork& network, const float* patch) {
    const ReferenceOutput output = runReferenceNetwork(network, patch);
    EXPECT_LT(output.largestSum, 0x1p24);
    return {output.values.begin(), output.values.end()};
}

// In the library's own order.
std::vector<float> runFused(const ReferenceNetwork& network, const float* patch) {
    std::vector<float> outputs = runFusedNetwork(network, patch);
    const std::vector<float> mirrored =
        runFusedNetwork(network, patch + network.channels * network.side * network.side);
    outputs.insert(outputs.end(), mirrored.begin(), mirrored.end());
    return outputs;
}

void expectTheStoredTemplateFromEveryInstructionSet(const std::vector<float>& stored) {
    ASSERT_EQ(stored.size(), 502U);
    for (const Kernels* kernels : runnableKernels()) {
        if (kernels->runConvolutions != nullptr) {
            EXPECT_TRUE(sameFloats(stored, valuesOf(extractPortrait(kernels)))) << kernels->name;
        }
    }
}

}  // namespace

TEST(GoldenTemplate, underTheIntegerModelIsTheStoredOne) {
    loadGoldenModel(GoldenModel::integer, prefixFor(GoldenModel::integer));
    const std::vector<float> stored = storedValues(ZOMU_GOLDEN_FOLDER "/portrait_integer.txt");
    expectTheStoredTemplateFromEveryInstructionSet(stored);
    EXPECT_TRUE(sameFloats(stored, valuesOf(extractPortrait(nullptr)))) << "layers";
    EXPECT_TRUE(sameFloats(stored, plainValues(runExactly))) << "plain loops, 64 bits";
    std::size_t zeros = 0;
    for (const float value : stored) {
        ASSERT_TRUE(std::isfinite(value));
        zeros += value == 0.0F ? 1 : 0;
    }
    EXPECT_LT(zeros, 5U);
}

// The layers have other last bits, by the BLAS's order of each sum.
TEST(GoldenTemplate, underTheDemonstrationModelIsTheStoredOne) {
    loadGoldenModel(GoldenModel::demonstration, prefixFor(GoldenModel::demonstration));
    const std::vector<float> stored =
        storedValues(ZOMU_GOLDEN_FOLDER "/portrait_demonstration.txt");
    expectTheStoredTemplateFromEveryInstructionSet(stored);
    EXPECT_TRUE(sameFloats(stored, plainValues(runFused))) << "plain loops";
    const std::vector<float> layers = valuesOf(extractPortrait(nullptr));
    for (std::size_t n = 0; n < stored.size(); ++n) {
        ASSERT_NEAR(layers[n], stored[n], 1e-4F * (1.0F + std::fabs(stored[n]))) << n;
    }
}

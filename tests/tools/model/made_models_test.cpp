// What made models are good for: finite templates of any picture, and scores that tell pictures
// apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "model/model_tables.h"
#include "service/context.h"
#include "service/extraction.h"
#include "support/bits.h"
#include "support/made_model.h"
#include "support/people.h"
#include "support/random.h"
#include "support/temporary_folder.h"
#include "zomu.h"

// The library's tables and a context with the weights of one made model.
class MadeModel : public testing::TestWithParam<WeightKind> {
  protected:
    void SetUp() override {
        const std::string prefix = parent.prefix() + "model/";
        makeModelIn(prefix, GetParam());
        ASSERT_LT(prefix.size(), sizeof modelDir);
        std::strcpy(modelDir, prefix.c_str());
        loadModelTables(*tables);
        context = std::make_unique<ZomuContext>(modelDir);
    }

    void TearDown() override { modelDir[0] = '\0'; }

    FaceTemplate extract(const FacePicture& face) {
        FaceTemplate result;
        extractTemplate(*context, *tables, face.picture.pixels.data(), face.picture.width,
                        face.picture.height, 3 * face.picture.width, face.landmarks, result);
        return result;
    }

    const TemporaryFolder parent;
    const std::unique_ptr<ModelTables> tables = std::make_unique<ModelTables>();
    std::unique_ptr<ZomuContext> context;
};

static FacePicture paintedOver(FacePicture face, std::uint8_t level) {
    face.picture.pixels.assign(face.picture.pixels.size(), level);
    return face;
}

// NaN would come from a half of zeros. The fewest outputs of a half that are not 0 tell how far
// away that is.
TEST_P(MadeModel, noNetworkFallsSilentOnOrdinaryPictures) {
    const FacePicture known = portrait();
    for (const FacePicture& face : {known, person(1), paintedOver(known, 0),
                                    paintedOver(known, 128), paintedOver(known, 255)}) {
        std::vector<float> values(kFeatureCount);
        computeFeatures(*context, tables->meanImages, face.picture.pixels.data(),
                        face.picture.width, face.picture.height, 3 * face.picture.width,
                        face.landmarks, values.data());
        for (std::size_t half = 0; half < 50; ++half) {
            int active = 0;
            for (std::size_t n = 160 * half; n < 160 * (half + 1); ++n) {
                ASSERT_TRUE(std::isfinite(values[n])) << "feature " << n;
                active += values[n] != 0.0F ? 1 : 0;
            }
            EXPECT_GE(active, 100) << "half " << half;
        }
    }
}

// Rare noise on the pixels changes a picture less than another face does.
TEST_P(MadeModel, onlyEqualTemplatesScoreOne) {
    Random random(9);
    std::vector<FaceTemplate> templates;
    float lowestOfNoisy = 1.0F;
    for (int number = 0; number < 5; ++number) {
        FacePicture face = person(number);
        templates.push_back(extract(face));
        const FaceTemplate again = extract(face);
        EXPECT_TRUE(sameFloat(1.0F, ZomuCompareTemplates(&templates.back(), &again)));
        for (std::uint8_t& byte : face.picture.pixels) {
            byte = static_cast<std::uint8_t>(byte ^ random.between(0, 3));
        }
        const FaceTemplate noisy = extract(face);
        lowestOfNoisy = std::min(lowestOfNoisy, ZomuCompareTemplates(&templates.back(), &noisy));
    }
    EXPECT_LT(lowestOfNoisy, 1.0F);
    for (std::size_t i = 0; i < templates.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_LT(ZomuCompareTemplates(&templates[i], &templates[j]), lowestOfNoisy)
                << i << " " << j;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MadeModel, testing::Values(WeightKind::random, WeightKind::integer),
                         [](const auto& kind) { return nameOfKind(kind.param); });

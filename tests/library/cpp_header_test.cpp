// zomu.hpp: owners, views and values around the four functions.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "library/host/scene.h"
#include "library/made_template.h"
#include "zomu.hpp"

namespace {

ZomuPixels viewOf(const Picture& picture) {
    return {picture.topRow(), picture.width, picture.height, picture.stride};
}

}  // namespace

TEST(CppHeader, extractsTheBitsOfTheCFunctions) {
    const Scene face = scene(0);
    FaceTemplate expected;
    ZomuContext* context = ZomuCreate();
    ZomuExtractTemplate(context, face.picture.topRow(), face.picture.width, face.picture.height,
                        face.picture.stride, &face.record, &expected);
    ZomuDestroy(context);

    ZomuExtractor extractor;
    const ZomuTemplate result = extractor.extract(viewOf(face.picture), face.record);
    ASSERT_TRUE(result.isUsable());
    EXPECT_EQ(std::memcmp(&result.face, &expected, sizeof expected), 0);
    EXPECT_EQ(result.scoreAgainst(result), ZomuCompareTemplates(&expected, &expected));
}

TEST(CppHeader, templatesCarryTheFingerprintOfTheirModel) {
    const Scene face = scene(0);
    const auto stamp = [&](ZomuExtractor extractor) {
        return extractor.extract(viewOf(face.picture), face.record).model;
    };
    EXPECT_EQ(stamp(ZomuExtractor()), ZomuModel::fingerprint(ZomuModel::folder()));
    const ZomuFingerprint known = {1, 2, 3};
    EXPECT_EQ(stamp(ZomuExtractor(known)), known);
}

TEST(CppHeader, anExtractorMayBeMovedAndWhatIsRefusedIsNotUsable) {
    const Scene face = scene(0);
    ZomuExtractor first;
    const ZomuTemplate expected = first.extract(viewOf(face.picture), face.record);
    ZomuExtractor second = std::move(first);
    EXPECT_EQ(second.extract(viewOf(face.picture), face.record), expected);
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left computes nothing
    EXPECT_FALSE(first.extract(viewOf(face.picture), face.record).isUsable());
    EXPECT_FALSE(second.extract(ZomuPixels{}, face.record).isUsable()) << "without a picture";
}

TEST(CppHeader, eachValueDecidesWhetherATemplateIsUsable) {
    EXPECT_TRUE(madeTemplate().isUsable());
    for (const std::size_t place : {0U, 499U, 500U, 501U}) {
        ZomuTemplate broken = madeTemplate();
        const float infinite = std::numeric_limits<float>::infinity();
        std::memcpy(reinterpret_cast<char*>(&broken.face) + 4 * place, &infinite, 4);
        EXPECT_FALSE(broken.isUsable()) << place;
    }
}

TEST(CppHeader, equalMeansTheSameBitsOfTheSameModel) {
    ZomuTemplate other = madeTemplate();
    EXPECT_TRUE(other == madeTemplate());
    other.face.projection[0] = -0.0F;
    EXPECT_TRUE(other != madeTemplate()) << "-0 has other bits than 0";
    other = madeTemplate();
    other.model[31] ^= 1;
    EXPECT_TRUE(other != madeTemplate());
}

TEST(CppHeader, doesNotScoreTemplatesOfTwoModels) {
    ZomuTemplate other = madeTemplate();
    EXPECT_FALSE(std::isnan(other.scoreAgainst(madeTemplate())));
    other.model[0] ^= 1;
    EXPECT_THROW(other.scoreAgainst(madeTemplate()), std::invalid_argument);
}

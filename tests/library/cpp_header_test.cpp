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

// Computing one takes a minute under a sanitizer.
const ZomuFingerprint kKnown = {1, 2, 3};

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

    ZomuExtractor extractor(kKnown);
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
    EXPECT_EQ(stamp(ZomuExtractor(kKnown)), kKnown);
#if !defined(ZOMU_SANITIZED)
    EXPECT_EQ(stamp(ZomuExtractor()), ZomuModel::fingerprint(ZomuModel::folder()));
#endif
}

TEST(CppHeader, anExtractorMayBeMovedAndWhatIsRefusedIsNotUsable) {
    const Scene face = scene(0);
    ZomuExtractor first(kKnown);
    const ZomuTemplate expected = first.extract(viewOf(face.picture), face.record);
    ZomuExtractor second = std::move(first);
    EXPECT_EQ(second.extract(viewOf(face.picture), face.record), expected);
    // NOLINTNEXTLINE(bugprone-use-after-move): what is left computes nothing
    EXPECT_FALSE(first.extract(viewOf(face.picture), face.record).isUsable());
    ZomuPixels none = viewOf(face.picture);
    none.topRow = nullptr;
    EXPECT_FALSE(second.extract(none, face.record).isUsable()) << "without a picture";
}

TEST(CppHeader, refusesLandmarksOfNoFaceUnlessTheHostInsists) {
    const Scene face = scene(0);
    LandmarkRecord fractions = face.record;
    for (LandmarkEntry& entry : fractions.entries) {
        entry.x /= static_cast<float>(face.picture.width);
        entry.y /= static_cast<float>(face.picture.height);
    }
    ZomuExtractor extractor(kKnown);
    try {
        (void)extractor.extract(viewOf(face.picture), fractions);
        FAIL() << "nothing was thrown";
    } catch (const ZomuLandmarkError& error) {
        EXPECT_EQ(error.fault, ZOMU_LANDMARKS_TOO_SMALL);
        EXPECT_TRUE(std::string(error.what()).starts_with("the eyes are 0.")) << error.what();
    }
    EXPECT_TRUE(extractor.extractUnchecked(viewOf(face.picture), fractions).isUsable());
}

TEST(CppHeader, handsOverThePictureNearTheFace) {
    const Scene face = scene(0);
    const int column = 3 * 256;
    const int row = 2 * 256;
    // The face is larger than the picture: only the margin decides where a view begins.
    Picture large(column + 1600, row + 1400, 3 * (column + 1600));
    LandmarkRecord moved = face.record;
    for (LandmarkEntry& entry : moved.entries) {
        entry.x += 1400;
        entry.y += 1100;
    }
    for (std::size_t i = 0; i < large.bytes.size(); ++i) {
        large.bytes[i] = static_cast<std::uint8_t>((i >> 5) * 41 + i);
    }
    ZomuFaceView view;
    ZomuNearFace(large.topRow(), large.width, large.height, large.stride, &moved, &view);
    ASSERT_NE(view.image, large.topRow());
    FaceTemplate expected;
    ZomuContext* context = ZomuCreate();
    ZomuExtractTemplate(context, view.image, view.width, view.height, view.stride, view.landmarks,
                        &expected);
    ZomuDestroy(context);
    ZomuExtractor extractor(kKnown);
    for (const ZomuTemplate& result : {extractor.extract(viewOf(large), moved),
                                       extractor.extractUnchecked(viewOf(large), moved)}) {
        EXPECT_EQ(std::memcmp(&result.face, &expected, sizeof expected), 0);
    }
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

TEST(CppHeader, doesNotScoreTemplatesOfTwoModelsOrOfAnUnknownOne) {
    ZomuTemplate other = madeTemplate();
    EXPECT_FALSE(std::isnan(other.scoreAgainst(madeTemplate())));
    other.model[0] ^= 1;
    EXPECT_THROW(other.scoreAgainst(madeTemplate()), std::invalid_argument);
    other.model = {};
    EXPECT_THROW(other.scoreAgainst(other), std::invalid_argument);
}

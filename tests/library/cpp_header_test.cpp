// zomu.hpp: owners, views and values around the four functions.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

#include "library/host/scene.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/thrown.h"
#include "zomu.hpp"

namespace {

// A template that needs no model: value i is i / 7, the model's name counts.
ZomuTemplate madeTemplate() {
    ZomuTemplate made;
    std::array<float, 502> values = {};
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<float>(i) / 7;
    }
    std::memcpy(&made.face, values.data(), sizeof made.face);
    std::iota(made.model.begin(), made.model.end(), std::uint8_t{0});
    return made;
}

std::string refusal(const std::filesystem::path& path) {
    return reasonOf([&] { ZomuTemplate::load(path); });
}

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

TEST(CppHeader, anExtractorMayBeMovedAndWhatIsRefusedIsNotUsable) {
    const Scene face = scene(0);
    ZomuExtractor first;
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
    ZomuExtractor extractor;
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
    ZomuExtractor extractor;
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

TEST(CppHeader, savesWhatItLoads) {
    const TemporaryFolder folder;
    const auto path = folder.path() / "face.zomu";
    madeTemplate().save(path);
    EXPECT_EQ(ZomuTemplate::load(path), madeTemplate());

    const std::string bytes = readFile(path);
    ASSERT_EQ(bytes.size(), 2048U);
    EXPECT_EQ(bytes.substr(0, 8), "ZOMUTPL1");
    EXPECT_EQ(bytes[39], 31);
    EXPECT_EQ(bytes.substr(44, 4), std::string("\x25\x49\x12\x3e")) << "1/7, the low byte first";
}

TEST(CppHeader, refusesFilesThatAreNoTemplates) {
    const TemporaryFolder folder;
    const auto path = folder.path() / "face.zomu";
    EXPECT_EQ(refusal(path), path.string() + ": cannot be opened");
    madeTemplate().save(path);
    const std::string good = readFile(path);
    for (const std::string& bytes :
         {std::string(), good.substr(0, 2047), good + "x", "z" + good.substr(1)}) {
        std::ofstream(path, std::ios::binary) << bytes;
        EXPECT_EQ(refusal(path), path.string() + ": is not a template file") << bytes.size();
    }
    std::ofstream(path, std::ios::binary) << good.substr(0, 2044) << std::string("\0\0\xc0\x7f", 4);
    EXPECT_EQ(refusal(path), path.string() + ": holds values that are not finite");
}

TEST(CppHeader, doesNotSaveWhatIsNotUsable) {
    const TemporaryFolder folder;
    ZomuTemplate broken = madeTemplate();
    broken.face.projectionNorm = std::nanf("");
    EXPECT_THROW(broken.save(folder.path() / "face.zomu"), std::invalid_argument);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "face.zomu"));
    EXPECT_THROW(madeTemplate().save(folder.path() / "nowhere" / "face.zomu"), std::runtime_error);
}

TEST(CppHeader, doesNotScoreTemplatesOfTwoModels) {
    ZomuTemplate other = madeTemplate();
    EXPECT_FALSE(std::isnan(other.scoreAgainst(madeTemplate())));
    other.model[0] ^= 1;
    EXPECT_THROW(other.scoreAgainst(madeTemplate()), std::invalid_argument);
}

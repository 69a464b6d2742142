#include "sheets/landmark_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "drawing/drawn_face.h"
#include "sheets/face_changes.h"
#include "sheets/face_picture.h"

namespace {

const std::vector<std::pair<std::int32_t, std::int32_t>> kPairs = {
    {0, 1},     {2, 5},     {3, 4},     {12, 13},   {44, 43},  {221, 227},
    {222, 226}, {223, 225}, {240, 241}, {300, 302}, {315, 316}};

std::vector<LandmarkRecord> someFaces() {
    std::vector<LandmarkRecord> faces = {
        loadFacePicture(ZOMU_SAMPLES "/portrait.png", ZOMU_SAMPLES "/portrait.csv").landmarks};
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        faces.push_back(drawFace(seed, 64).landmarks);
    }
    return faces;
}

void exchange(LandmarkRecord& face, std::int32_t left, std::int32_t right) {
    for (std::int32_t i = 0; i < face.count; ++i) {
        std::int32_t& id = face.entries[i].id;
        id = id == left ? right : id == right ? left : id;
    }
}

bool contains(const std::string& text, const std::string& words) {
    return text.find(words) != std::string::npos;
}

}  // namespace

TEST(LandmarkCheck, hasNoDoubtAboutGoodFaces) {
    for (const LandmarkRecord& face : someFaces()) {
        EXPECT_EQ(doubtAboutLandmarks(face), "");
    }
}

TEST(LandmarkCheck, hasNoDoubtAboutTurnedAndMirroredPictures) {
    const FacePicture portrait =
        loadFacePicture(ZOMU_SAMPLES "/portrait.png", ZOMU_SAMPLES "/portrait.csv");
    for (const double angle : {40.0, 90.0, 180.0, 270.0}) {
        EXPECT_EQ(doubtAboutLandmarks(turned(portrait, angle).landmarks), "") << angle;
    }
    EXPECT_EQ(doubtAboutLandmarks(mirrored(portrait).landmarks), "");
}

TEST(LandmarkCheck, namesAnExchangedPair) {
    for (const LandmarkRecord& face : someFaces()) {
        for (const auto& [left, right] : kPairs) {
            LandmarkRecord changed = face;
            exchange(changed, left, right);
            EXPECT_EQ(doubtAboutLandmarks(changed),
                      "left and right look exchanged: " + std::to_string(left) + " and " +
                          std::to_string(right));
        }
    }
}

TEST(LandmarkCheck, seesThatAllSidesAreExchanged) {
    for (LandmarkRecord& face : someFaces()) {
        for (const auto& [left, right] : kPairs) {
            exchange(face, left, right);
        }
        EXPECT_TRUE(contains(doubtAboutLandmarks(face), "exchanged in all landmarks"));
    }
}

TEST(LandmarkCheck, seesRowsThatRunUpwards) {
    for (LandmarkRecord& face : someFaces()) {
        for (std::int32_t i = 0; i < face.count; ++i) {
            face.entries[i].y = 300.0F - face.entries[i].y;
        }
        EXPECT_TRUE(contains(doubtAboutLandmarks(face), "or y runs upwards"));
    }
}

TEST(LandmarkCheck, seesAnotherOrder) {
    for (const LandmarkRecord& face : someFaces()) {
        for (std::int32_t shift = 1; shift < face.count; ++shift) {
            LandmarkRecord changed = face;
            for (std::int32_t i = 0; i < face.count; ++i) {
                changed.entries[i].id = face.entries[(i + shift) % face.count].id;
            }
            EXPECT_TRUE(contains(doubtAboutLandmarks(changed), "is the order another one?"));
        }
    }
}

TEST(LandmarkCheck, seesPointsAtOnePlace) {
    LandmarkRecord face = someFaces().front();
    for (std::int32_t i = 0; i < face.count; ++i) {
        face.entries[i].x = 5.0F;
        face.entries[i].y = 5.0F;
    }
    EXPECT_TRUE(contains(doubtAboutLandmarks(face), "at one place or on one line"));
}

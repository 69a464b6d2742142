#include "sheets/landmark_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "sheets/face_changes.h"
#include "sheets/landmark_names.h"
#include "support/people.h"

namespace {

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
    for (const LandmarkRecord& face : allLandmarks()) {
        EXPECT_EQ(doubtAboutLandmarks(face), "");
    }
}

TEST(LandmarkCheck, hasNoDoubtAboutTurnedAndMirroredPictures) {
    const FacePicture face = portrait();
    for (const double angle : {40.0, 90.0, 180.0, 270.0}) {
        EXPECT_EQ(doubtAboutLandmarks(turned(face, angle).landmarks), "") << angle;
    }
    EXPECT_EQ(doubtAboutLandmarks(mirrored(face).landmarks), "");
}

TEST(LandmarkCheck, namesAnExchangedPair) {
    for (const LandmarkRecord& face : allLandmarks()) {
        for (const LandmarkName& name : kLandmarkNames) {
            if (name.isPair()) {
                LandmarkRecord changed = face;
                exchange(changed, name.left, name.right);
                EXPECT_EQ(doubtAboutLandmarks(changed),
                          "left and right look exchanged: " + std::to_string(name.left) + " and " +
                              std::to_string(name.right));
            }
        }
    }
}

TEST(LandmarkCheck, seesThatAllSidesAreExchanged) {
    for (LandmarkRecord& face : allLandmarks()) {
        for (std::int32_t i = 0; i < face.count; ++i) {
            face.entries[i].id = mirroredId(face.entries[i].id);
        }
        EXPECT_TRUE(contains(doubtAboutLandmarks(face), "exchanged in all landmarks"));
    }
}

TEST(LandmarkCheck, seesRowsThatRunUpwards) {
    for (LandmarkRecord& face : allLandmarks()) {
        for (std::int32_t i = 0; i < face.count; ++i) {
            face.entries[i].y = 300.0F - face.entries[i].y;
        }
        EXPECT_TRUE(contains(doubtAboutLandmarks(face), "or y runs upwards"));
    }
}

TEST(LandmarkCheck, seesAnotherOrder) {
    for (const LandmarkRecord& face : allLandmarks()) {
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
    LandmarkRecord face = allLandmarks().front();
    for (std::int32_t i = 0; i < face.count; ++i) {
        face.entries[i].x = 5.0F;
        face.entries[i].y = 5.0F;
    }
    EXPECT_TRUE(contains(doubtAboutLandmarks(face), "at one place or on one line"));
}

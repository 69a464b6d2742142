#include "sheets/landmark_check.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "sheets/face_changes.h"
#include "sheets/landmark_names.h"
#include "support/people.h"

static void expectDoubt(const LandmarkRecord& face, const std::string& words) {
    EXPECT_NE(landmarkWarning(face).find(words), std::string::npos) << words;
}

TEST(LandmarkCheck, hasNoDoubtAboutGoodFacesAndTheirTurnedAndMirroredPictures) {
    for (const LandmarkRecord& record : allLandmarks()) {
        EXPECT_EQ(landmarkWarning(record), "");
    }
    const FacePicture face = portrait();
    for (const double angle : {40.0, 90.0, 180.0, 270.0}) {
        EXPECT_EQ(landmarkWarning(turned(face, angle).landmarks), "") << angle;
    }
    EXPECT_EQ(landmarkWarning(mirrored(face).landmarks), "");
}

TEST(LandmarkCheck, namesAnExchangedPair) {
    for (const LandmarkRecord& face : allLandmarks()) {
        for (const LandmarkName& name : kLandmarkNames) {
            if (name.isPair()) {
                LandmarkRecord changed = face;
                for (LandmarkEntry& entry : changed.entries) {
                    entry.id = entry.id == name.left    ? name.right
                               : entry.id == name.right ? name.left
                                                        : entry.id;
                }
                EXPECT_EQ(landmarkWarning(changed),
                          "left and right look exchanged: " + std::to_string(name.left) + " and " +
                              std::to_string(name.right));
            }
        }
    }
}

TEST(LandmarkCheck, seesWhatIsWrongWithAllLandmarks) {
    for (const LandmarkRecord& face : allLandmarks()) {
        LandmarkRecord otherSides = face;
        LandmarkRecord upwards = face;
        for (std::int32_t i = 0; i < face.count; ++i) {
            otherSides.entries[i].id = mirroredId(face.entries[i].id);
            upwards.entries[i].y = 300.0F - face.entries[i].y;
        }
        expectDoubt(otherSides, "exchanged in all landmarks");
        expectDoubt(upwards, "or y runs upwards");
        for (std::int32_t shift = 1; shift < face.count; ++shift) {
            LandmarkRecord changed = face;
            for (std::int32_t i = 0; i < face.count; ++i) {
                changed.entries[i].id = face.entries[(i + shift) % face.count].id;
            }
            expectDoubt(changed, "is the order another one?");
        }
    }
    LandmarkRecord heap = allLandmarks().front();
    for (LandmarkEntry& entry : heap.entries) {
        entry.x = entry.y = 5.0F;
    }
    expectDoubt(heap, "at one place or on one line");
}

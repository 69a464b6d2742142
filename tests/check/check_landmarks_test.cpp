// ZomuCheckLandmarks over the table that C, Python and the landmark editor share, and what a table cannot hold.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <string>

#include "check/landmark_cases.h"
#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "zomu_check.h"

namespace {

std::string textFor(const LandmarkRecord* record, std::int32_t width, std::int32_t height) {
    ZomuLandmarkReport report;
    EXPECT_EQ(ZomuCheckLandmarks(record, width, height, nullptr),
              ZomuCheckLandmarks(record, width, height, &report));
    EXPECT_EQ(report.text[0] == '\0', report.fault == ZOMU_LANDMARKS_GOOD);
    return report.text;
}

LandmarkCase theCase(const std::string& name) {
    for (const LandmarkCase& one : landmarkCases()) {
        if (one.name == name) {
            return one;
        }
    }
    ADD_FAILURE() << "no case " << name;
    return {};
}

}  // namespace

TEST(CheckLandmarks, findsTheFaultOfEachCase) {
    std::map<std::string, int> found;
    for (const LandmarkCase& one : landmarkCases()) {
        const auto block = one.block();
        ZomuLandmarkReport report;
        const ZomuLandmarkFault fault = ZomuCheckLandmarks(
            reinterpret_cast<const LandmarkRecord*>(block.get()), one.width, one.height, &report);
        EXPECT_EQ(ZomuLandmarkFaultName(fault), one.fault) << one.name << ": " << report.text;
        EXPECT_EQ(report.fault, fault) << one.name;
        EXPECT_EQ(report.text[0] == '\0', fault == ZOMU_LANDMARKS_GOOD) << one.name;
        ++found[one.fault];
    }
    EXPECT_EQ(found.size(), 10U) << "each word at least once";
    EXPECT_GE(found["good"], 15);
}

TEST(CheckLandmarks, saysWhatIsWrongInOneSentence) {
    const std::map<std::string, std::string> texts = {
        {"24 landmarks", "24 landmarks are there, and 25 to 29 are needed"},
        {"an unknown id", "8 is not the id of a landmark"},
        {"one id twice", "landmark 10 is there twice"},
        {"the tip of the nose missing", "landmark 9 is missing"},
        {"one x is nan", "landmark 6 has a coordinate that is not finite"},
        {"on a row",
         "the landmarks do not lie like a face: all of them are at one place or on one line"},
        {"eyes 7.5 pixels apart",
         "the eyes are 7.4 pixels apart, and 8 are needed: landmarks are pixels of this picture, "
         "not fractions of it"},
        {"ten points cut off",
         "10 of 29 landmarks lie outside the picture of 300 x 300 pixels: are they those of "
         "another picture?"},
        {"two pairs exchanged", "left and right look exchanged: 12 and 13, 44 and 43"},
        {"y from below",
         "y runs upwards: it counts from the first row of the picture, which is 0, downwards"},
        {"all pairs exchanged",
         "left and right look exchanged in all landmarks: id 0 is the eye on the left of the "
         "picture, not the person's left eye"},
        {"x and y exchanged",
         "x and y look exchanged, or left and right in all landmarks: x runs to the right, y "
         "downwards, and id 0 is the eye on the left of an upright face"},
        {"one point at the origin",
         "the landmarks do not lie like a face: they miss the head model by 1.12 eye distances "
         "(up to 0.20 is usual), most of all landmark 314; is the order another one?"},
    };
    for (const auto& [name, text] : texts) {
        const LandmarkCase one = theCase(name);
        const auto block = one.block();
        EXPECT_EQ(
            textFor(reinterpret_cast<const LandmarkRecord*>(block.get()), one.width, one.height),
            text);
    }
}

TEST(CheckLandmarks, readsNoEntryOfARecordWithAWrongCount) {
    EXPECT_EQ(textFor(nullptr, 300, 300), "0 landmarks are there, and 25 to 29 are needed");
    LandmarkCase one = theCase("the portrait");
    one.entries.clear();
    const auto block = one.block();
    for (const std::int32_t count : {-1, 0, 24, 30, std::numeric_limits<std::int32_t>::max(),
                                     std::numeric_limits<std::int32_t>::min()}) {
        std::memcpy(block.get(), &count, sizeof count);
        EXPECT_EQ(textFor(reinterpret_cast<const LandmarkRecord*>(block.get()), 300, 300),
                  std::to_string(count) + " landmarks are there, and 25 to 29 are needed");
    }
}

TEST(CheckLandmarks, fitsTheHeadModelOfTheLibrary) {
    for (int row = 0; row < ZOMU_LANDMARK_COUNT; ++row) {
        const ZomuCheckPlace* place = zomuCheckPlace(row);
        EXPECT_EQ(kLandmarkRow[place->id], row);
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(static_cast<float>(place->model[k]), kHeadModel[row][k]) << place->id;
        }
    }
    EXPECT_EQ(static_cast<float>(ZOMU_CHECK_EYE_DISTANCE), kModelEyeDistance);
    for (const LandmarkCase& one : landmarkCases()) {
        if (one.fault == "good" && one.width < 10000) {
            const auto block = one.block();
            const auto* record = reinterpret_cast<const LandmarkRecord*>(block.get());
            const HeadPose pose = fitHeadPose(*record);
            ZomuCheckPoints points;
            char text[256];
            zomuCheckRecord(record, &points, text, sizeof text);
            const ZomuCheckFit fit = zomuCheckFitHead(&points);
            EXPECT_NEAR(fit.eyeDistance, static_cast<double>(pose.k * kModelEyeDistance), 1e-3)
                << one.name;
            EXPECT_NEAR(fit.rows[1][2], static_cast<double>(pose.R[5]), 1e-4) << one.name;
        }
    }
}

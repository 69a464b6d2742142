// Devices in place of files: one without an end, and one that is always full.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "landmark_file.h"
#include "picture_file.h"
#include "zomu.h"

TEST(LandmarkFile, endlessFilesAreReported) {
    LandmarkRecord record;
    Problem problem = {};
    EXPECT_FALSE(readLandmarks("/dev/zero", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "is larger than 1048576 bytes");
}

TEST(LandmarkFile, fullDiskIsReported) {
    LandmarkRecord record = {};
    record.count = ZOMU_LANDMARK_COUNT;
    Problem problem = {};
    EXPECT_FALSE(writeLandmarks("/dev/full", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "cannot be written: No space left on device");
}

// Small files meet the full disk only when they are closed.
TEST(PictureFile, fullDiskIsReported) {
    const std::string start = "cannot be written: ";
    for (const int side : {2, 200}) {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(3 * side * side), 90);
        const Picture picture = {side, side, 3 * side, bytes.data()};
        Problem problem = {};
        EXPECT_FALSE(writePng("/dev/full", &picture, &problem));
        EXPECT_EQ(std::string(problem.text).substr(0, start.size()), start);
        problem = {};
        EXPECT_FALSE(writeJpeg("/dev/full", &picture, 90, &problem));
        EXPECT_EQ(std::string(problem.text).substr(0, start.size()), start);
    }
}

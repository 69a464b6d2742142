// Devices in place of files: one without an end, and one that is always full.
#include "landmark_file.h"
#include "pictures/test_pictures.h"

TEST(LandmarkFileOnDevices, endlessAndFullOnesAreReported) {
    LandmarkRecord record = {};
    record.count = ZOMU_LANDMARK_COUNT;
    Problem problem = {};
    EXPECT_FALSE(writeLandmarks("/dev/full", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "cannot be written: No space left on device");
    EXPECT_FALSE(readLandmarks("/dev/zero", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "is larger than 1048576 bytes");
}

// Small files meet the full disk only when they are closed.
TEST(PictureFileOnDevices, fullDiskIsReported) {
    for (const int side : {2, 200}) {
        const TestPicture source(side, side, 3 * side, 1);
        expectNotSaved("/dev/full", source.picture, "cannot be written: ");
    }
}

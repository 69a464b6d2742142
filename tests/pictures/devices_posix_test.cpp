// A device without an end in place of a file, and disks that are full.
#include "landmark_file.h"
#include "pictures/test_pictures.h"
#include "support/small_files.h"
#include "support/temporary_folder.h"

TEST(LandmarkFileOnDevices, endlessOnesAreReported) {
    LandmarkRecord record = {};
    Problem problem = {};
    EXPECT_FALSE(readLandmarks("/dev/zero", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "is larger than 1048576 bytes");
}

// Small files meet the full disk only when they are closed.
TEST(PictureFileOnDevices, fullDiskIsReported) {
    const TemporaryFolder folder;
    const SmallFiles full(1);
    for (const int side : {2, 200}) {
        const TestPicture source(side, side, 3 * side, 1);
        expectNotSaved((folder.prefix() + "a").c_str(), source.picture, SmallFiles::kReason);
    }
}

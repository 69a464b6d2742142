// The example program where its output finds no room.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/environment.h"
#include "support/process.h"
#include "support/temporary_folder.h"
#include "zomu.h"

TEST(CompareFacesOutput, scoreThatCannotBeWrittenIsAFailure) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    FaceTemplate face = {};
    face.projection[0] = 3.0F;
    face.quadraticTerm = 4.0F;
    face.projectionNorm = 3.0F;
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(&face), sizeof face);
    const ProcessResult full =
        runProcess({"sh", "-c", "\"$0\" \"$1\" \"$1\" > /dev/full", COMPARE_FACES_PATH, path},
                   {{kTemporaryVariable, ZOMU_TEST_MODEL}});
    EXPECT_EQ(full.exitStatus, 1);
    EXPECT_EQ(full.err, "compare_faces: standard output: the score could not be written\n");
}

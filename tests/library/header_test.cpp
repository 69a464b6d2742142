// The public headers, compiled as C++ with all warnings on. header_use.c and batch_header_use.c do the
// same in C; they are linked with the libraries and run from here.
#include "zomu_batch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>

#include "library/host_run.h"
#include "support/environment.h"
#include "support/process.h"
#include "zomu_check.h"

static_assert(ZOMU_PROJECTION_SIZE == 500 && ZOMU_LANDMARK_COUNT == 29);
static_assert(sizeof(FaceTemplate) == 2008 && alignof(FaceTemplate) == 4);
static_assert(offsetof(FaceTemplate, quadraticTerm) == 2000);
static_assert(offsetof(FaceTemplate, projectionNorm) == 2004);
static_assert(sizeof(LandmarkEntry) == 12 && offsetof(LandmarkEntry, x) == 4 &&
              offsetof(LandmarkEntry, y) == 8);
static_assert(sizeof(LandmarkRecord) == 356 && offsetof(LandmarkRecord, reserved) == 4);
static_assert(std::is_trivial_v<FaceTemplate> && std::is_trivial_v<LandmarkRecord>);
static_assert(std::is_trivial_v<ZomuBatchRequest>);
static_assert(std::is_trivial_v<ZomuLandmarkReport> && std::is_trivial_v<ZomuFaceView>);

// What the program printed, which must have come to its end without a complaint.
static std::string outputOf(const std::string& program) {
    const ProcessResult result =
        runProcess({program}, {{kTemporaryVariable, sharedTemporaryDirectory()}});
    EXPECT_EQ(result.exitStatus, 0) << "signal " << result.signal << ", " << result.err;
    EXPECT_EQ(result.err, "");
    return result.out;
}

TEST(Header, servesAProgramInC) {
    EXPECT_EQ(outputOf(ZOMU_HEADER_USE),
              "template refused: no image\n25 to 29 are needed\nscore 2.2\n");
    EXPECT_EQ(outputOf(ZOMU_BATCH_HEADER_USE), "template refused: no image\n");
}

// The public header, compiled as C++ with all warnings on, twice in one file. header_use.c does the
// same in C; it is linked with the library and run from here.
#include "zomu.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "library/host_run.h"
#include "support/environment.h"
#include "support/process.h"

static_assert(ZOMU_PROJECTION_SIZE == 500 && ZOMU_LANDMARK_COUNT == 29);
static_assert(sizeof(FaceTemplate) == 2008 && alignof(FaceTemplate) == 4);
static_assert(offsetof(FaceTemplate, quadraticTerm) == 2000);
static_assert(offsetof(FaceTemplate, projectionNorm) == 2004);
static_assert(sizeof(LandmarkEntry) == 12 && offsetof(LandmarkEntry, x) == 4 &&
              offsetof(LandmarkEntry, y) == 8);
static_assert(sizeof(LandmarkRecord) == 356 && offsetof(LandmarkRecord, reserved) == 4);
static_assert(std::is_trivial_v<FaceTemplate> && std::is_trivial_v<LandmarkRecord>);

TEST(Header, servesAProgramInC) {
    const ProcessResult result =
        runProcess({ZOMU_HEADER_USE}, {{kTemporaryVariable, sharedTemporaryDirectory()}});
    EXPECT_EQ(result.exitStatus, 0) << "signal " << result.signal << ", " << result.err;
    EXPECT_EQ(result.out, "template refused: no image\nscore 2.2\n");
    EXPECT_EQ(result.err, "");
}

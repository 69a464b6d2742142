// The sweep over hostile geometry is worth what its pictures, records and comparisons are worth:
// they are looked at here, beside pictures of sizes that no sweep can paint.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "reference/reference_patches.h"
#include "reference/reference_tables.h"
#include "support/bits.h"
#include "support/face_generator.h"
#include "support/faces.h"
#include "support/patch_stage_check.h"
#include "support/pictures.h"
#include "support/random.h"

// Asks the system, which answers where the processor would end the program.
static bool canRead(const std::uint8_t* byte) {
    static int ends[2];
    static const bool isOpen = pipe(ends) == 0;
    char sink;
    return isOpen && write(ends[1], byte, 1) == 1 && read(ends[0], &sink, 1) == 1;
}

static const std::uint8_t* rowOf(const SourceImage& image, int y) {
    return image.bytes + static_cast<std::ptrdiff_t>(y) * image.stride;
}

TEST(HostilePictures, areReadableInTheirRowsAndStandBesideGuards) {
    PictureGround ground;
    int fromGuardToGuard = 0;
    int bottomUp = 0;
    std::set<int> strides;
    for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
        Random random(seed);
        const SourceImage image = ground.place(random);
        const std::ptrdiff_t rowBytes = 3 * static_cast<std::ptrdiff_t>(image.width);
        ASSERT_GE(image.width, 2) << "seed " << seed;
        ASSERT_GE(image.height, 2) << "seed " << seed;
        for (int y = 0; y < image.height; ++y) {
            const std::uint8_t* row = rowOf(image, y);
            ASSERT_TRUE(canRead(row) && canRead(row + rowBytes - 1))
                << "seed " << seed << ", row " << y;
        }
        const std::uint8_t* lowest = rowOf(image, image.stride < 0 ? image.height - 1 : 0);
        const std::uint8_t* highest = rowOf(image, image.stride < 0 ? 0 : image.height - 1);
        const bool beginsBehindGuard = !canRead(lowest - 1);
        const bool endsAtGuard = !canRead(highest + rowBytes);
        // Of rows at any distance, the lowest one stands beside a guard.
        const bool lowestEndsAtGuard = !canRead(lowest + rowBytes);
        ASSERT_TRUE(beginsBehindGuard || endsAtGuard || lowestEndsAtGuard) << "seed " << seed;
        fromGuardToGuard += beginsBehindGuard && endsAtGuard ? 1 : 0;
        bottomUp += image.stride < 0 ? 1 : 0;
        strides.insert(image.stride);
    }
    EXPECT_GT(fromGuardToGuard, 100);
    EXPECT_GT(bottomUp, 300);
    EXPECT_TRUE(strides.contains(std::numeric_limits<std::int32_t>::min()) ||
                strides.contains(std::numeric_limits<std::int32_t>::max()));
    EXPECT_GT(strides.size(), 300U);
}

TEST(HostileRecords, holdEverythingThatMayGoWrong) {
    std::map<std::string, int> seen;
    FaceGenerator faces;
    for (std::uint64_t seed = 1; seed <= 3000; ++seed) {
        Random random(seed);
        const LandmarkRecord& record = faces.make(random).record;
        const char* refusal = referenceRefusal(record);
        ++seen[refusal == nullptr ? "kept" : refusal];
        if (refusal != nullptr) {
            continue;
        }
        std::set<std::pair<float, float>> places;
        std::set<std::int32_t> ids;
        std::set<std::string> oddities;
        for (int i = 0; i < record.count; ++i) {
            const LandmarkEntry& entry = record.entries[i];
            for (const float value : {entry.x, entry.y}) {
                const int kind = std::fpclassify(value);
                oddities.insert(kind == FP_NAN             ? "NaN"
                                : kind == FP_INFINITE      ? "infinite"
                                : kind == FP_SUBNORMAL     ? "subnormal"
                                : std::fabs(value) > 1e30F ? "huge"
                                : std::fabs(value) > 1e4F  ? "outside"
                                                           : "ordinary");
            }
            if (!std::isnan(entry.x) && !std::isnan(entry.y)) {
                places.emplace(entry.x, entry.y);
            }
            ids.insert(entry.id);
        }
        for (const std::string& oddity : oddities) {
            ++seen[oddity];
        }
        seen["one place"] += places.size() == 1 ? 1 : 0;
        seen["repeated ids"] += ids.size() < static_cast<std::size_t>(record.count) ? 1 : 0;
        seen["hundreds of entries"] += record.count > 300 ? 1 : 0;
    }
    for (const char* name :
         {"kept", "fewer than 25 landmarks", "a landmark id outside 0 to 317",
          "more than 25 landmarks besides the sides of the head",
          "fewer than 25 landmarks besides the sides of the head", "NaN", "infinite", "subnormal",
          "huge", "outside", "one place", "repeated ids", "hundreds of entries"}) {
        EXPECT_GE(seen[name], 20) << name;
    }
}

// A check that cannot fail would be none: one bit of one value, in every patch and both of its
// crops.
TEST(PatchStageCheck, noticesOneBit) {
    Random random(3);
    const Picture picture = randomPicture(random, 90, 110, -300);
    const SourceImage image = {picture.topRow(), picture.width, picture.height, picture.stride};
    const LandmarkRecord record = projectFace(HeadView());
    PatchStage stage;
    const PatchList patches = stage.cut(image, record);
    ASSERT_EQ(stage.difference(image, record, patches), "");
    for (const auto& patch : patches) {
        for (const int row : {0, 1}) {
            float& value =
                patch->data[row * patch->numCols + random.between(0, patch->numCols - 1)];
            const float before = value;
            value = std::nextafter(value, 1000.0F);
            EXPECT_NE(stage.difference(image, record, patches), "");
            value = before;
        }
    }
    LandmarkRecord moved = record;
    jitter(moved, random, 1.0F);
    EXPECT_NE(stage.difference(image, moved, patches), "");
}

// Sizes up to the largest that can be said. All bytes are zero: the pages cost nothing until they
// are written.
struct Extreme {
    const char* name;
    std::int32_t width, height, stride;
};

class ExtremePictures : public testing::TestWithParam<Extreme> {};

TEST_P(ExtremePictures, areReadInTheirRowsOnly) {
    const Extreme& size = GetParam();
    const std::size_t page = GuardedPages::pageSize();
    const std::ptrdiff_t reach = static_cast<std::ptrdiff_t>(size.height - 1) * size.stride;
    const auto bytes =
        static_cast<std::size_t>(std::abs(reach)) + 3 * static_cast<std::size_t>(size.width);
    ClosedSpace space(bytes + 3 * page);
    std::uint8_t* lowest = space.begin() + page + (page - bytes % page) % page;
    space.open(lowest, bytes);
    const SourceImage image = {reach < 0 ? lowest - reach : lowest, size.width, size.height,
                               size.stride};

    PatchStage stage;
    Random random(4);
    for (int round = 0; round < 40; ++round) {
        HeadView view = randomView(random, size.width, size.height);
        view.scale = std::ldexp(8.0, random.between(-3, 27));
        if (round % 2 == 0) {  // at the far corner
            view.x = size.width;
            view.y = size.height;
        }
        const PatchList patches = stage.cut(image, projectFace(view));
        for (int patch = 0; patch < 25; ++patch) {
            const Matrix& matrix = *patches[static_cast<std::size_t>(patch)];
            for (std::int32_t i = 0; i < matrix.numElements; ++i) {
                const std::int32_t e = i % matrix.numCols;
                const int side = kReferencePatches[patch].size;
                const bool isCleared = referenceInMargin(patch, e / side % side, e % side);
                const float expected = isCleared ? 0.0F : 0.0F - stage.meanImage(patch)[e];
                ASSERT_TRUE(sameFloat(expected, matrix.data[i]))
                    << "round " << round << ", patch " << patch << ", element " << i;
            }
        }
    }
}

static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
static constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();

INSTANTIATE_TEST_SUITE_P(HostileGeometry, ExtremePictures,
                         testing::Values(Extreme{"widest", kMost, 2, 1},
                                         Extreme{"widestBottomUp", kMost, 2, -1},
                                         Extreme{"widestWithoutStride", kMost, kMost, 0},
                                         Extreme{"tallest", 2, kMost, 6},
                                         Extreme{"tallestBottomUp", 2, kMost, -6},
                                         Extreme{"rowsFarthestApart", 2, 3, kMost},
                                         Extreme{"rowsFarthestApartBottomUp", 2, 3, kLeast}),
                         [](const auto& test) { return test.param.name; });

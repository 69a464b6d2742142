// The warps of patches/sampling.h, and the rule for one number that they rest on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "matrix/float_rules.h"
#include "patches/sampling.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/picture_ground.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kOutsideTheRange[] = {2147483648.0F, -2147483648.0F, -2147483904.0F, 1e20F, -1e20F,
                                      kInfinity,     -kInfinity,     kNaN,           -kNaN};
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::size_t kCanvasPixels = std::size_t{kCanvasSide} * kCanvasSide;

Bytes warped(bool isColour, const SourceImage& image, const CanvasToImage& transform) {
    GuardedBuffer<std::uint8_t> canvas(isColour ? 3 * kCanvasPixels : kCanvasPixels, 3);
    (isColour ? warpColour : warpGrey)(image, transform, kWholeCanvas, canvas.data());
    EXPECT_TRUE(canvas.guardsIntact());
    return {canvas.data(), canvas.data() + canvas.count()};
}

}  // namespace

TEST(Trunc32, cutsTowardsZeroAndGivesTheLowestIntegerOutsideTheRange) {
    // 2147483520 is the last float below 2^31; -2^31 is in range, and the same value as outside.
    const struct {
        float value;
        std::int32_t expected;
    } cases[] = {
        {0.0F, 0},
        {-0.0F, 0},
        {0.99999994F, 0},
        {-0.99999994F, 0},
        {1.0F, 1},
        {-1.0F, -1},
        {-3.2F, -3},
        {300.7F, 300},
        {2147483520.0F, 2147483520},
        {-2147483520.0F, -2147483520},
    };
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(expected, trunc32(value)) << hexFloat(value);
    }
    for (const float value : kOutsideTheRange) {
        EXPECT_EQ(kLowest, trunc32(value)) << hexFloat(value);
    }
}

// Pictures with rows at any distance beside guard pages. Transforms inside and far outside of them,
// often onto whole or half pixels, where roundings decide, and of any bits among others. A piece of
// a canvas has the bytes of the whole, and the rest stays.
TEST(Warp, equalsTheReference) {
    PictureGround pictures;
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        Random random(seed);
        const SourceImage image = pictures.place(random);
        ReferenceAlignment t = {};
        float* const parts[] = {&t.A, &t.B, &t.C, &t.E};
        for (float* part : parts) {
            *part = random.uniform(-2, 2);
        }
        t.C *= 50;
        t.E *= 50;
        if (random.oneIn(3)) {
            for (float* part : parts) {
                *part = std::floor(*part * 4) / 4;
            }
        }
        if (random.oneIn(5)) {
            *random.oneOf(parts) =
                random.oneIn(2) ? random.oneOf(kOutsideTheRange) : random.anyFloat();
        }
        const CanvasToImage transform = {t.A, t.B, t.C, t.E};
        const bool isColour = random.oneIn(2);
        const Bytes expected =
            referenceWarp({image.bytes, image.width, image.height, image.stride}, isColour, t);
        ASSERT_EQ(expected, warped(isColour, image, transform)) << "seed " << seed;

        Bytes pieces(expected.size(), 170);
        Bytes expectedPieces = pieces;
        for (int piece = 0; piece < 6; ++piece) {
            CanvasArea area = {random.between(0, 160), 0, random.between(0, 160), 0};
            area.x1 = random.between(area.x0, 160);
            area.y1 = random.between(area.y0, 160);
            (isColour ? warpColour : warpGrey)(image, transform, area, pieces.data());
            for (int y = area.y0; y < area.y1; ++y) {
                const int channels = isColour ? 3 : 1;
                const int begin = (y * kCanvasSide + area.x0) * channels;
                std::copy_n(expected.begin() + begin, (area.x1 - area.x0) * channels,
                            expectedPieces.begin() + begin);
            }
        }
        ASSERT_EQ(expectedPieces, pieces) << "seed " << seed;
    }
}

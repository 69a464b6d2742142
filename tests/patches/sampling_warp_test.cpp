// The warps of patches/sampling.h, and the two rules for one number that they rest on.
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
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::size_t kCanvasPixels = std::size_t{kCanvasSide} * kCanvasSide;

Bytes warped(bool isColour, const SourceImage& image, const CanvasToImage& transform) {
    GuardedBuffer<std::uint8_t> canvas(isColour ? 3 * kCanvasPixels : kCanvasPixels, 3);
    (isColour ? warpColour : warpGrey)(image, transform, kWholeCanvas, canvas.data());
    EXPECT_TRUE(canvas.guardsIntact());
    return {canvas.data(), canvas.data() + canvas.count()};
}

// The grey canvas of a packed picture of one byte a pixel: a pixel of three equal bytes has their
// grey. The colour canvas must show the same.
Bytes warpedPlane(const Bytes& plane, int width, const CanvasToImage& transform) {
    Bytes image;
    for (const std::uint8_t byte : plane) {
        image.insert(image.end(), 3, byte);
    }
    const int height = static_cast<int>(plane.size()) / width;
    const SourceImage source = {image.data(), width, height, 3 * width};
    const Bytes grey = warped(false, source, transform);
    const Bytes colour = warped(true, source, transform);
    for (std::size_t i = 0; i < colour.size(); ++i) {
        EXPECT_EQ(grey[i / 3], colour[i]) << "byte " << i;
    }
    return grey;
}

}  // namespace

// --- One number ---------------------------------------------------------------------------------

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
    for (const float value : {2147483648.0F, -2147483648.0F, -2147483904.0F, 1e20F, -1e20F,
                              kInfinity, -kInfinity, kNaN, -kNaN}) {
        EXPECT_EQ(kLowest, trunc32(value)) << hexFloat(value);
    }
}

TEST(Grey, weighsBlueGreenRedAndCutsTheRest) {
    // 117 x 255 / 1024 = 29.1, 601 x 255 / 1024 = 149.7, 306 x 255 / 1024 = 76.2; and 0.59
    EXPECT_EQ(29, toGrey(255, 0, 0));
    EXPECT_EQ(149, toGrey(0, 255, 0));
    EXPECT_EQ(76, toGrey(0, 0, 255));
    EXPECT_EQ(0, toGrey(0, 1, 0));
    for (int value = 0; value < 256; ++value) {
        EXPECT_EQ(value, toGrey(value, value, value));
    }
}

// --- Warps --------------------------------------------------------------------------------------

// With A = B = 0 every canvas pixel shows the image at one place.
TEST(Warp, blendsRoundsAndWrapsAsWorkedOutByHand) {
    const auto columns = [](int left, int right) {
        const auto a = static_cast<std::uint8_t>(left);
        const auto b = static_cast<std::uint8_t>(right);
        return Bytes{a, b, a, b};
    };
    const Bytes square = {10, 20, 0, 50, 90, 0, 0, 0, 0};
    const Bytes lastRowFirst = {81, 104, 0, 221, 44, 0, 0, 0, 0};
    const struct {
        const char* what;
        Bytes picture;  // 2 x 2, read along either axis, or 3 x 3
        float sx, sy;
        int expected;
    } cases[] = {
        {"0.75 x 0.5 x (10 + 50) + 0.25 x 0.5 x (20 + 90) = 36.25", square, 0.25F, 0.5F, 36},
        {"0.25 x (2.5 + 15) + 0.75 x (12.5 + 67.5) = 64.375", square, 0.75F, 0.75F, 64},
        {"the first pixel itself", square, 0.0F, 0.0F, 10},
        {"the last place that is copied", square, 1.0F, 1.0F, 90},
        {"bottom pair added up first, or bottom before top: 93", lastRowFirst, 0.45F, 0.023F, 92},
        {"half goes up", columns(10, 11), 0.5F, 0.0F, 11},
        {"less than half goes down", columns(10, 11), 0.498F, 0.0F, 10},
        {"the last column is reached by a fraction", columns(100, 200), 0.75F, 0.0F, 175},
        {"the last column itself reads the last but one", columns(100, 200), 1.0F, 0.0F, 100},
        {"beyond it blends repeat", columns(100, 200), 1.25F, 0.0F, 125},
        {"and again", columns(100, 200), 6.25F, 0.0F, 125},
        {"and far away", columns(100, 200), 100.25F, 0.0F, 125},
        {"left of it: 1.25 x 100 - 0.25 x 80", columns(100, 80), -0.25F, 0.0F, 105},
        {"left of -1 the fraction starts again", columns(100, 80), -2.5F, 0.0F, 110},
        {"whole numbers give the first column", columns(100, 80), -7.0F, 0.0F, 100},
        {"1.502 x 250 - 0.502 x 150 + 0.5 = 300.7: 44", columns(250, 150), -0.502F, 0.0F, 44},
        {"-0.5286 x 7 + 0.5 = -3.2: 256 - 3", columns(0, 7), -0.5286F, 0.0F, 253},
        {"-0.9 is cut to 0 and does not wrap", columns(0, 7), -0.2F, 0.0F, 0},
        {"1.99 x 255 + 0.5 = 507.95: 251", columns(255, 0), -0.99F, 0.0F, 251},
        {"2^31 counts as -2^31, 2^32 beside it", columns(0, 1), 2147483648.0F, 0.0F, 0},
        {"-2^31 is in range, with fraction 0", columns(77, 1), -2147483648.0F, 0.0F, 77},
        {"the last float in range", columns(77, 1), 2147483520.0F, 0.0F, 77},
    };
    for (const auto& [what, picture, sx, sy, expected] : cases) {
        const int width = picture.size() == 4 ? 2 : 3;
        EXPECT_EQ(Bytes(kCanvasPixels, static_cast<std::uint8_t>(expected)),
                  warpedPlane(picture, width, {0.0F, 0.0F, sx, sy}))
            << what;
        if (width == 2) {
            const Bytes turned = {picture[0], picture[0], picture[1], picture[1]};
            EXPECT_EQ(expected, warpedPlane(turned, 2, {0.0F, 0.0F, sy, sx})[0])
                << what << ", down";
        }
    }
}

TEST(Warp, givesTheByteZeroForANonFiniteTransform) {
    const Bytes plane = Random(4).upTo(30);
    for (const float bad : {kNaN, kInfinity, -kInfinity}) {
        for (int place = 0; place < 4; ++place) {
            float values[4] = {1.0F, 0.5F, 2.0F, 3.0F};
            values[place] = bad;
            EXPECT_EQ(Bytes(kCanvasPixels, 0),
                      warpedPlane(plane, 6, {values[0], values[1], values[2], values[3]}));
        }
    }
}

// Pictures with rows at any distance beside guard pages, and transforms of any bits among others. A
// piece of a canvas has the bytes of the whole, and the rest stays.
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
        if (random.oneIn(5)) {
            *random.oneOf(parts) = random.anyFloat();
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

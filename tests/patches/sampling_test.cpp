#include "patches/sampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "patches/patch_layout.h"
#include "service/context.h"
#include "model/model_tables.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/guarded_pages.h"
#include "support/random.h"
#include "support/zeroed_tables.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr int kCanvasPixels = kCanvasSide * kCanvasSide;

Bytes randomBytes(std::size_t count, std::uint64_t seed) {
    Random random(seed);
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes)
        byte = random.byte();
    return bytes;
}

Bytes bytesOf(const GuardedBuffer<std::uint8_t>& buffer) {
    EXPECT_TRUE(buffer.guardsIntact());
    return {buffer.data(), buffer.data() + buffer.count()};
}

Bytes greyOf(const std::uint8_t* image, int width, int height) {
    Bytes grey;
    for (int i = 0; i < 3 * width * height; i += 3) {
        const std::int32_t value = toGrey(image[i], image[i + 1], image[i + 2]);
        EXPECT_TRUE(value >= 0 && value <= 255);
        grey.push_back(static_cast<std::uint8_t>(value));
    }
    return grey;
}

Bytes warpedGrey(const std::uint8_t* image, int width, int height, int stride,
                 const CanvasToImage& transform) {
    GuardedBuffer<std::uint8_t> canvas(kCanvasPixels, 3);
    warpGrey({image, width, height, stride}, transform, kWholeCanvas, canvas.data());
    return bytesOf(canvas);
}

// The same from a packed picture of one byte a pixel: a pixel of three equal bytes has their grey.
Bytes warpedPlane(const Bytes& plane, int width, int height, const CanvasToImage& transform) {
    Bytes image;
    for (const std::uint8_t byte : plane) {
        image.insert(image.end(), 3, byte);
    }
    return warpedGrey(image.data(), width, height, 3 * width, transform);
}

Bytes warpedColour(const std::uint8_t* image, int width, int height, int stride,
                   const CanvasToImage& transform) {
    GuardedBuffer<std::uint8_t> canvas(3 * kCanvasPixels, 3);
    warpColour({image, width, height, stride}, transform, kWholeCanvas, canvas.data());
    return bytesOf(canvas);
}

std::uint8_t at(const Bytes& canvas, int row, int column) {
    return canvas[static_cast<std::size_t>(row * kCanvasSide + column)];
}

// A small packed grey picture, sampled at one place: with A = B = 0 every canvas pixel reads there.
struct SmallPicture {
    int width;
    int height;
    Bytes pixels;

    int pixel(int x, int y) const { return pixels[static_cast<std::size_t>(y * width + x)]; }

    int sample(float sx, float sy) const {
        const Bytes canvas = warpedPlane(pixels, width, height, {0.0F, 0.0F, sx, sy});
        EXPECT_EQ(kCanvasPixels, std::count(canvas.begin(), canvas.end(), canvas[0]));
        return canvas[0];
    }
};

SmallPicture randomPicture(int width, int height, std::uint64_t seed) {
    return {width, height, randomBytes(static_cast<std::size_t>(width * height), seed)};
}

// Two columns, the same in both rows.
SmallPicture twoColumns(int left, int right) {
    const auto a = static_cast<std::uint8_t>(left);
    const auto b = static_cast<std::uint8_t>(right);
    return {2, 2, {a, b, a, b}};
}

SmallPicture twoRows(int top, int bottom) {
    const auto a = static_cast<std::uint8_t>(top);
    const auto b = static_cast<std::uint8_t>(bottom);
    return {2, 2, {a, a, b, b}};
}

}  // namespace

// --- trunc32 ------------------------------------------------------------------------------------

TEST(Sampling, trunc32CutsTowardsZero) {
    EXPECT_EQ(0, trunc32(0.0F));
    EXPECT_EQ(0, trunc32(-0.0F));
    EXPECT_EQ(0, trunc32(0.99999994F));
    EXPECT_EQ(0, trunc32(-0.99999994F));
    EXPECT_EQ(1, trunc32(1.0F));
    EXPECT_EQ(-1, trunc32(-1.0F));
    EXPECT_EQ(-3, trunc32(-3.2F));
    EXPECT_EQ(300, trunc32(300.7F));
    EXPECT_EQ(0, trunc32(std::numeric_limits<float>::denorm_min()));
}

TEST(Sampling, trunc32GivesTheLowestIntegerOutsideTheRange) {
    EXPECT_EQ(2147483520, trunc32(2147483520.0F));  // the last float below 2^31
    EXPECT_EQ(kLowest, trunc32(2147483648.0F));
    EXPECT_EQ(-2147483520, trunc32(-2147483520.0F));
    EXPECT_EQ(kLowest, trunc32(-2147483648.0F));  // in range, and the same value
    EXPECT_EQ(kLowest, trunc32(-2147483904.0F));
    EXPECT_EQ(kLowest, trunc32(1e20F));
    EXPECT_EQ(kLowest, trunc32(-1e20F));
    EXPECT_EQ(kLowest, trunc32(kInfinity));
    EXPECT_EQ(kLowest, trunc32(-kInfinity));
    EXPECT_EQ(kLowest, trunc32(kNaN));
    EXPECT_EQ(kLowest, trunc32(-kNaN));
}

// --- toGrey -------------------------------------------------------------------------------------

TEST(Sampling, whiteStaysWhiteAndBlackBlack) {
    EXPECT_EQ(Bytes(35, 255), greyOf(Bytes(105, 255).data(), 7, 5));
    EXPECT_EQ(Bytes(35, 0), greyOf(Bytes(105, 0).data(), 7, 5));
}

TEST(Sampling, greyWeighsBlueGreenRedAndCutsTheRest) {
    // 117 x 255 / 1024 = 29.1, 601 x 255 / 1024 = 149.7, 306 x 255 / 1024 = 76.2; and 1, 0.59
    const Bytes image = {255, 0, 0, 0, 255, 0, 0, 0, 255, 1, 1, 1, 0, 1, 0};
    EXPECT_EQ((Bytes{29, 149, 76, 1, 0}), greyOf(image.data(), 5, 1));
}

TEST(Sampling, greyOfEqualBytesIsThatByte) {
    for (int value = 0; value < 256; ++value) {
        const Bytes pixel(3, static_cast<std::uint8_t>(value));
        EXPECT_EQ(Bytes(1, static_cast<std::uint8_t>(value)), greyOf(pixel.data(), 1, 1));
    }
}

// --- Warps inside the image ---------------------------------------------------------------------

TEST(Sampling, warpCopiesPixelsAtWholeCoordinates) {
    const SmallPicture picture = randomPicture(9, 6, 1);
    for (int y = 0; y <= picture.height - 2; ++y)
        for (int x = 0; x <= picture.width - 2; ++x)
            EXPECT_EQ(picture.pixel(x, y),
                      picture.sample(static_cast<float>(x), static_cast<float>(y)))
                << x << ", " << y;
}

TEST(Sampling, warpBlendsFourNeighbours) {
    const SmallPicture picture = {3, 3, {10, 20, 0, 50, 90, 0, 0, 0, 0}};
    // 0.75 x 0.5 x (10 + 50) + 0.25 x 0.5 x (20 + 90) = 36.25
    EXPECT_EQ(36, picture.sample(0.25F, 0.5F));
    // 0.25 x (0.25 x 10 + 0.75 x 20) + 0.75 x (0.25 x 50 + 0.75 x 90) = 64.375
    EXPECT_EQ(64, picture.sample(0.75F, 0.75F));
}

TEST(Sampling, warpRoundsHalfUp) {
    EXPECT_EQ(11, twoColumns(10, 11).sample(0.5F, 0.0F));
    EXPECT_EQ(10, twoColumns(10, 11).sample(0.498F, 0.0F));
}

TEST(Sampling, warpAddsTheBottomRowToTheFinishedTopRow) {
    // The sum of four ends at 92.99999. With the bottom pair added up first, or bottom before top,
    // it would end at 93.
    const SmallPicture picture = {3, 3, {81, 104, 0, 221, 44, 0, 0, 0, 0}};
    EXPECT_EQ(92, picture.sample(0.45F, 0.023F));
}

TEST(Sampling, warpTurnsThePlaceItReadsByB) {
    // A = 0, B = 1: canvas pixel (X, Y) reads the image at (160 - Y, X + 3).
    const SmallPicture picture = randomPicture(170, 170, 2);
    const Bytes canvas = warpedPlane(picture.pixels, 170, 170, {0.0F, 1.0F, 160.0F, 3.0F});
    for (int Y = 0; Y < kCanvasSide; ++Y)
        for (int X = 0; X < kCanvasSide; ++X)
            ASSERT_EQ(picture.pixel(160 - Y, X + 3), at(canvas, Y, X)) << X << ", " << Y;
}

TEST(Sampling, warpAddsTheShiftLast) {
    // At (1, 1) 2^24 + 1 rounds back to 2^24 and the shift leaves 0; the other row is exact and
    // leaves 0, too. With the shift added to A first, the 1 would survive and pixel (1, 0) be read.
    const SmallPicture picture = {3, 3, {7, 200, 0, 0, 0, 0, 0, 0, 0}};
    const Bytes canvas =
        warpedPlane(picture.pixels, 3, 3, {16777216.0F, -1.0F, -16777216.0F, -16777215.0F});
    EXPECT_EQ(7, at(canvas, 1, 1));
}

TEST(Sampling, warpTakesCoordinatesFromXAndNotFromSteps) {
    // 70 x 0.1 is 7 in float: the last column of 8, whose fraction 0 leads to the last but one.
    // Seventy steps of 0.1 end just below 7 and would read the last column.
    const SmallPicture picture = {8, 2, {0, 0, 0, 0, 0, 0, 40, 240, 0, 0, 0, 0, 0, 0, 40, 240}};
    float steps = 0.0F;
    for (int i = 0; i < 70; ++i)
        steps += 0.1F;
    ASSERT_LT(steps, 7.0F);
    const Bytes canvas = warpedPlane(picture.pixels, 8, 2, {0.1F, 0.0F, 0.0F, 0.0F});
    EXPECT_EQ(40, at(canvas, 0, 70));
    EXPECT_EQ(240, picture.sample(steps, 0.0F));
}

// --- Warps at and beyond the edges --------------------------------------------------------------

TEST(Sampling, lastColumnAndRowReadTheLastButOne) {
    const SmallPicture picture = randomPicture(7, 5, 3);
    for (int y = 0; y <= 3; ++y)
        EXPECT_EQ(picture.pixel(5, y), picture.sample(6.0F, static_cast<float>(y)));
    for (int x = 0; x <= 5; ++x)
        EXPECT_EQ(picture.pixel(x, 3), picture.sample(static_cast<float>(x), 4.0F));
    EXPECT_EQ(picture.pixel(5, 3), picture.sample(6.0F, 4.0F));
}

TEST(Sampling, lastColumnAndRowAreReachedByFractions) {
    EXPECT_EQ(175, twoColumns(100, 200).sample(0.75F, 0.0F));
    EXPECT_EQ(175, twoRows(100, 200).sample(0.0F, 0.75F));
}

TEST(Sampling, blendsRepeatBeyondTheRightAndBottomEdge) {
    // sx = width + 3.25 and every other whole step beyond: 0.75 x 100 + 0.25 x 200
    for (const float whole : {1.0F, 2.0F, 5.0F, 6.0F, 100.0F}) {
        EXPECT_EQ(125, twoColumns(100, 200).sample(whole + 0.25F, 0.0F)) << whole;
        EXPECT_EQ(125, twoRows(100, 200).sample(0.0F, whole + 0.25F)) << whole;
        EXPECT_EQ(100, twoColumns(100, 200).sample(whole, 0.0F)) << whole;
    }
}

TEST(Sampling, valuesAreExtrapolatedLeftAndTopOfTheImage) {
    // -0.25: 1.25 x 100 - 0.25 x 80 = 105. Left of -1 the fraction starts again: -2.5 gives 1.5 x
    // 100 - 0.5 x 80 = 110, and whole numbers the first column itself.
    EXPECT_EQ(105, twoColumns(100, 80).sample(-0.25F, 0.0F));
    EXPECT_EQ(105, twoRows(100, 80).sample(0.0F, -0.25F));
    EXPECT_EQ(110, twoColumns(100, 80).sample(-2.5F, 0.0F));
    EXPECT_EQ(110, twoRows(100, 80).sample(0.0F, -2.5F));
    EXPECT_EQ(100, twoColumns(100, 80).sample(-1.0F, 0.0F));
    EXPECT_EQ(100, twoColumns(100, 80).sample(-7.0F, -3.0F));
}

TEST(Sampling, warpKeepsTheLowByteOfExtrapolatedValues) {
    // 1.502 x 250 - 0.502 x 150 + 0.5 = 300.7, and 300 - 256 = 44
    EXPECT_EQ(44, twoColumns(250, 150).sample(-0.502F, 0.0F));
    EXPECT_EQ(44, twoRows(250, 150).sample(0.0F, -0.502F));
    // -0.5286 x 7 + 0.5 = -3.2, cut to -3, and 256 - 3 = 253
    EXPECT_EQ(253, twoColumns(0, 7).sample(-0.5286F, 0.0F));
    EXPECT_EQ(253, twoRows(0, 7).sample(0.0F, -0.5286F));
    // -0.9 is cut to 0 and does not wrap
    EXPECT_EQ(0, twoColumns(0, 7).sample(-0.2F, 0.0F));
    // 1.99 x 255 + 0.5 = 507.95 wraps to 251
    EXPECT_EQ(251, twoColumns(255, 0).sample(-0.99F, 0.0F));
}

TEST(Sampling, aConstantImageStaysConstantEverywhere) {
    const CanvasToImage transforms[] = {
        {1.0F, 0.0F, 0.0F, 0.0F},        {1.7F, 0.9F, -60.3F, -110.7F}, {-0.31F, 2.2F, 33.3F, 8.1F},
        {0.01F, 0.02F, -0.77F, -0.123F}, {-3.3F, -1.1F, 40.9F, 90.2F},
    };
    for (int value = 0; value < 256; value += 3) {
        const Bytes image(23 * 17 * 3, static_cast<std::uint8_t>(value));
        for (const CanvasToImage& transform : transforms) {
            ASSERT_EQ(Bytes(kCanvasPixels, static_cast<std::uint8_t>(value)),
                      warpedGrey(image.data(), 23, 17, 69, transform));
        }
        ASSERT_EQ(Bytes(3 * kCanvasPixels, static_cast<std::uint8_t>(value)),
                  warpedColour(image.data(), 23, 17, 69, transforms[value % 5]));
    }
}

TEST(Sampling, nonFiniteTransformsGiveTheByteZero) {
    const SmallPicture picture = randomPicture(6, 5, 4);
    const Bytes colour = randomBytes(90, 5);
    for (const float bad : {kNaN, kInfinity, -kInfinity}) {
        for (int place = 0; place < 4; ++place) {
            float values[4] = {1.0F, 0.5F, 2.0F, 3.0F};
            values[place] = bad;
            const CanvasToImage transform = {values[0], values[1], values[2], values[3]};
            EXPECT_EQ(Bytes(kCanvasPixels, 0), warpedPlane(picture.pixels, 6, 5, transform));
            EXPECT_EQ(Bytes(3 * kCanvasPixels, 0),
                      warpedColour(colour.data(), 6, 5, 18, transform));
        }
    }
}

TEST(Sampling, coordinatesOutsideTheIntegersReadTheFirstPixel) {
    // sx = 2^31 counts as -2^31: column 0, with a fraction of 2^32. In a first column of zeros
    // beside another one, v is far outside and its low byte 0; with zeros in both it is 0.5.
    EXPECT_EQ(0, twoColumns(0, 1).sample(2147483648.0F, 0.0F));
    EXPECT_EQ(0, twoColumns(0, 0).sample(2147483648.0F, 0.0F));
    // -2^31 is in range, with fraction 0: the first pixel as it is.
    EXPECT_EQ(77, twoColumns(77, 1).sample(-2147483648.0F, 0.0F));
    // 2147483520 is in range, too: the last column but one.
    EXPECT_EQ(77, twoColumns(77, 1).sample(2147483520.0F, 0.0F));
}

TEST(Sampling, warpReadsNoPixelOutsideTheImage) {
    // The picture stands in a larger one. What surrounds it must not show on the canvas.
    Random random(6);
    for (const int width : {2, 3, 40}) {
        const int height = 43 - width;
        const int stride = 3 * width + 50;
        Bytes dark(static_cast<std::size_t>(stride * (height + 8)), 0);
        Bytes bright(dark.size(), 255);
        const int start = 4 * stride + 21;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < 3 * width; ++x) {
                const auto i = static_cast<std::size_t>(start + y * stride + x);
                dark[i] = bright[i] = random.byte();
            }
        for (int round = 0; round < 40; ++round) {
            const float scale = round % 4 == 0 ? 1e10F : 3.0F;
            const CanvasToImage transform = {
                random.uniform(-scale, scale), random.uniform(-scale, scale),
                random.uniform(-100.0F, 200.0F), random.uniform(-100.0F, 200.0F)};
            ASSERT_EQ(warpedColour(dark.data() + start, width, height, stride, transform),
                      warpedColour(bright.data() + start, width, height, stride, transform));
            ASSERT_EQ(warpedGrey(dark.data() + start, width, height, stride, transform),
                      warpedGrey(bright.data() + start, width, height, stride, transform));
        }
    }
}

// --- Colour and strides -------------------------------------------------------------------------

TEST(Sampling, colourWarpIsTheGreyWarpOfEachByte) {
    Random random(9);
    const int width = 31;
    const int height = 22;
    const int stride = 3 * width + 5;
    const Bytes image = randomBytes(static_cast<std::size_t>(stride * height), 10);
    for (int round = 0; round < 20; ++round) {
        const CanvasToImage transform = {random.uniform(-0.4F, 0.4F), random.uniform(-0.4F, 0.4F),
                                         random.uniform(-9.0F, 40.0F),
                                         random.uniform(-9.0F, 30.0F)};
        const Bytes colour = warpedColour(image.data(), width, height, stride, transform);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            Bytes plane;
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    plane.push_back(image[static_cast<std::size_t>(y * stride + 3 * x) + channel]);
            Bytes taken;
            for (std::size_t i = channel; i < colour.size(); i += 3)
                taken.push_back(colour[i]);
            ASSERT_EQ(warpedPlane(plane, width, height, transform), taken) << "byte " << channel;
        }
    }
}

TEST(Sampling, warpsFollowAnyStride) {
    const int width = 19;
    const int height = 14;
    const CanvasToImage transform = {0.11F, 0.05F, -1.3F, 2.2F};
    const int rowBytes = 3 * width;
    for (const int channels : {1, 3}) {
        const auto warped = [&](const std::uint8_t* image, int stride) {
            return channels == 1 ? warpedGrey(image, width, height, stride, transform)
                                 : warpedColour(image, width, height, stride, transform);
        };
        const Bytes packed = randomBytes(static_cast<std::size_t>(rowBytes * height), 11);
        const Bytes expected = warped(packed.data(), rowBytes);
        for (const int stride : {rowBytes + 1, rowBytes + 3, rowBytes + 100}) {
            Bytes spread = randomBytes(static_cast<std::size_t>(stride * height), 12);
            Bytes turned = spread;
            for (int y = 0; y < height; ++y) {
                std::copy_n(packed.begin() + rowBytes * y, rowBytes, spread.begin() + stride * y);
                std::copy_n(packed.begin() + rowBytes * y, rowBytes,
                            turned.begin() + stride * (height - 1 - y));
            }
            EXPECT_EQ(expected, warped(spread.data(), stride)) << channels << " bytes a pixel";
            EXPECT_EQ(expected, warped(turned.data() + stride * (height - 1), -stride))
                << channels << " bytes a pixel";
        }
        // Stride 0: every row is the first one.
        Bytes repeated;
        for (int y = 0; y < height; ++y)
            repeated.insert(repeated.end(), packed.begin(), packed.begin() + rowBytes);
        EXPECT_EQ(warped(repeated.data(), rowBytes), warped(packed.data(), 0));
    }
}

TEST(Sampling, greyWarpIsTheWarpOfTheGreyPicture) {
    Random random(13);
    const int width = 31;
    const int height = 22;
    const int stride = 3 * width + 5;
    const Bytes image = randomBytes(static_cast<std::size_t>(stride * height), 14);
    Bytes grey;
    for (int y = 0; y < height; ++y) {
        const Bytes row = greyOf(image.data() + y * stride, width, 1);
        grey.insert(grey.end(), row.begin(), row.end());
    }
    for (int round = 0; round < 20; ++round) {
        const CanvasToImage transform = {random.uniform(-0.4F, 0.4F), random.uniform(-0.4F, 0.4F),
                                         random.uniform(-9.0F, 40.0F),
                                         random.uniform(-9.0F, 30.0F)};
        ASSERT_EQ(warpedPlane(grey, width, height, transform),
                  warpedGrey(image.data(), width, height, stride, transform));
    }
}

TEST(Sampling, warpWritesItsAreaOnly) {
    const Bytes image = randomBytes(3 * 40 * 30, 15);
    const CanvasToImage transform = {0.2F, 0.1F, 3.0F, 2.0F};
    for (const int channels : {1, 3}) {
        const auto warp = channels == 1 ? warpGrey : warpColour;
        Bytes whole(static_cast<std::size_t>(kCanvasPixels * channels));
        warp({image.data(), 40, 30, 120}, transform, kWholeCanvas, whole.data());
        for (const CanvasArea& area : {CanvasArea{0, 1, 0, 1}, CanvasArea{159, 160, 159, 160},
                                       CanvasArea{7, 20, 31, 33}, CanvasArea{5, 5, 0, 160}}) {
            Bytes expected(whole.size(), 99);
            for (int y = area.y0; y < area.y1; ++y)
                std::copy(whole.begin() + (y * kCanvasSide + area.x0) * channels,
                          whole.begin() + (y * kCanvasSide + area.x1) * channels,
                          expected.begin() + (y * kCanvasSide + area.x0) * channels);
            Bytes actual(whole.size(), 99);
            warp({image.data(), 40, 30, 120}, transform, area, actual.data());
            EXPECT_EQ(expected, actual) << area.x0 << " " << area.y0;
        }
    }
}

TEST(Sampling, rowsMayLieMoreThanTwoGigabytesAway) {
    // Address space only: just the pages that are touched get memory.
    constexpr std::int32_t kStride = 1 << 30;
    constexpr std::size_t kRoom = (std::size_t{3} << 30) + 4096;
    void* room = takePages(kRoom);
    ASSERT_NE(room, nullptr);
    auto* image = static_cast<std::uint8_t*>(room);
    for (int y = 0; y < 4; ++y)
        std::fill_n(image + static_cast<std::ptrdiff_t>(y) * kStride, 6, 50 * (y + 1));
    std::uint8_t* lastRow = image + std::ptrdiff_t{3} * kStride;

    const CanvasToImage transform = {0.0F, 0.0F, 0.0F, 2.5F};
    EXPECT_EQ(175, warpedGrey(image, 2, 4, kStride, transform)[0]);
    EXPECT_EQ(175, warpedColour(image, 2, 4, kStride, transform)[0]);
    EXPECT_EQ(75, warpedGrey(lastRow, 2, 4, -kStride, transform)[0]);
    EXPECT_EQ(75, warpedColour(lastRow, 2, 4, -kStride, transform)[0]);
    returnPages(room, kRoom);
}

// --- Crops --------------------------------------------------------------------------------------

namespace {

// Canvases whose bytes are the row or the column, so that a crop tells what it has read.
Bytes rowCanvas(int channels) {
    Bytes canvas;
    for (int i = 0; i < kCanvasPixels; ++i)
        canvas.insert(canvas.end(), static_cast<std::size_t>(channels),
                      static_cast<std::uint8_t>(i / kCanvasSide));
    return canvas;
}

Bytes columnCanvas(int channels) {
    Bytes canvas;
    for (int i = 0; i < kCanvasPixels; ++i)
        canvas.insert(canvas.end(), static_cast<std::size_t>(channels),
                      static_cast<std::uint8_t>(i % kCanvasSide));
    return canvas;
}

int planesOf(int patch) {
    return kPatchLayout.isColour[patch] == 1 ? 3 : 1;
}

// Mean images are zero around every one of these tests.
class Crops : public testing::Test {
    const ZeroedTables tables;

  protected:
    // Runs the crop of the patch's kind and checks that it writes one row and no more.
    static std::vector<float> crop(const Bytes& canvas, CanvasPoint centre, int patch,
                                   bool mirrored) {
        const int size = kPatchLayout.size[patch];
        GuardedBuffer<float> row(static_cast<std::size_t>(planesOf(patch) * size * size), 1);
        if (planesOf(patch) == 3) {
            (mirrored ? cropColourMirrored : cropColour)(canvas.data(), centre, patch, row.data());
        } else {
            (mirrored ? cropGreyMirrored : cropGrey)(canvas.data(), centre, patch, row.data());
        }
        EXPECT_TRUE(row.guardsIntact());
        return {row.data(), row.data() + row.count()};
    }

    // Canvas row (or column) that each output row (or column) of a crop shows, taken from the
    // middle of the first plane, where no margin reaches.
    static std::vector<int> rowsRead(CanvasPoint centre, int patch, bool mirrored = false) {
        const int size = kPatchLayout.size[patch];
        const auto values = crop(rowCanvas(planesOf(patch)), centre, patch, mirrored);
        std::vector<int> rows;
        for (int r = 0; r < size; ++r)
            rows.push_back(static_cast<int>(values[static_cast<std::size_t>(r * size + size / 2)]));
        return rows;
    }

    static std::vector<int> columnsRead(CanvasPoint centre, int patch, bool mirrored = false) {
        const int size = kPatchLayout.size[patch];
        const auto values = crop(columnCanvas(planesOf(patch)), centre, patch, mirrored);
        const auto begin = values.begin() + size / 2 * size;
        return {begin, begin + size};
    }
};

// `count` whole numbers from `first`, up or down, kept inside the canvas.
std::vector<int> clampedRun(int first, int step, int count) {
    std::vector<int> run;
    for (int i = 0; i < count; ++i)
        run.push_back(std::clamp(first + i * step, 0, kCanvasSide - 1));
    return run;
}

constexpr int kGreyPatch = 3;    // 47, no shift, no margins
constexpr int kColourPatch = 2;  // 47, no shift, no margins

}  // namespace

TEST_F(Crops, readTheSquareAroundTheirCentre) {
    for (const int patch : {kGreyPatch, kColourPatch}) {
        EXPECT_EQ(clampedRun(61 - 23, 1, 47), rowsRead({90.0F, 61.0F}, patch));
        EXPECT_EQ(clampedRun(90 - 23, 1, 47), columnsRead({90.0F, 61.0F}, patch));
    }
}

TEST_F(Crops, mirroredOnesSwapLeftAndRightAboutTheirCentre) {
    for (const int patch : {kGreyPatch, kColourPatch}) {
        EXPECT_EQ(clampedRun(61 - 23, 1, 47), rowsRead({90.0F, 61.0F}, patch, true));
        EXPECT_EQ(clampedRun(90 + 23, -1, 47), columnsRead({90.0F, 61.0F}, patch, true));
    }
}

TEST_F(Crops, takeTheNearestPixelAndHalvesUpwards) {
    EXPECT_EQ(clampedRun(81 - 23, 1, 47), columnsRead({80.5F, 80.0F}, kGreyPatch));
    EXPECT_EQ(clampedRun(80 - 23, 1, 47), columnsRead({80.49F, 80.0F}, kGreyPatch));
    EXPECT_EQ(clampedRun(81 - 23, 1, 47), rowsRead({80.0F, 80.5F}, kGreyPatch));
    EXPECT_EQ(clampedRun(80 - 23, 1, 47), rowsRead({80.0F, 80.49F}, kGreyPatch));
    // The mirrored column rounds by the same rule, and not to the mirror image of a rounded one.
    EXPECT_EQ(clampedRun(81 + 23, -1, 47), columnsRead({80.5F, 80.0F}, kGreyPatch, true));
    EXPECT_EQ(clampedRun(80 + 23, -1, 47), columnsRead({80.49F, 80.0F}, kGreyPatch, true));
}

TEST_F(Crops, biggerPatchesReachTwentySevenPixels) {
    EXPECT_EQ(clampedRun(80 - 27, 1, 55), rowsRead({80.0F, 80.0F}, 0));
    // Four columns on either side are margin.
    const std::vector<int> columns = columnsRead({80.0F, 80.0F}, 0);
    for (int q = 4; q < 51; ++q)
        EXPECT_EQ(80 - 27 + q, columns[static_cast<std::size_t>(q)]);
}

TEST_F(Crops, repeatTheEdgeOfTheCanvas) {
    for (const float x : {0.0F, 5.0F, 155.0F, 159.0F, -30.0F, 200.0F}) {
        for (const bool mirrored : {false, true}) {
            const int step = mirrored ? -1 : 1;
            const int whole = static_cast<int>(x);
            EXPECT_EQ(clampedRun(whole - 23, 1, 47), rowsRead({80.0F, x}, kGreyPatch, mirrored));
            EXPECT_EQ(clampedRun(whole - 23 * step, step, 47),
                      columnsRead({x, 80.0F}, kGreyPatch, mirrored));
            EXPECT_EQ(clampedRun(whole - 23 * step, step, 47),
                      columnsRead({x, 80.0F}, kColourPatch, mirrored));
        }
    }
}

TEST_F(Crops, negativePositionsEndAtZero) {
    // -0.75 + 0.5 is cut to 0 as well as clamped to it, and -1.75 + 0.5 is cut to -1 first.
    const std::vector<int> columns = columnsRead({22.25F, 80.0F}, kGreyPatch);
    EXPECT_EQ(0, columns[0]);  // -0.75
    EXPECT_EQ(0, columns[1]);  // 0.25
    EXPECT_EQ(1, columns[2]);
    EXPECT_EQ(clampedRun(21 - 23, 1, 47), columnsRead({21.25F, 80.0F}, kGreyPatch));
}

TEST_F(Crops, nonFiniteAndHugeCentresReadRowOrColumnZero) {
    const std::vector<int> zeros(47, 0);
    for (const float bad : {kNaN, kInfinity, -kInfinity, 1e20F, -1e20F, 2147483648.0F}) {
        for (const bool mirrored : {false, true}) {
            EXPECT_EQ(zeros, rowsRead({80.0F, bad}, kGreyPatch, mirrored)) << bad;
            EXPECT_EQ(zeros, columnsRead({bad, 80.0F}, kGreyPatch, mirrored)) << bad;
            EXPECT_EQ(zeros, columnsRead({bad, 80.0F}, kColourPatch, mirrored)) << bad;
        }
    }
    EXPECT_EQ(std::vector<int>(47, 159), rowsRead({80.0F, 1e6F}, kGreyPatch));
}

TEST_F(Crops, shiftMovesTheCentreDownTheCanvas) {
    for (const bool mirrored : {false, true}) {
        // 27 x 0.3333 = 8.9991, 21 x 0.3333 = 6.9993
        EXPECT_EQ(clampedRun(69 - 23, 1, 47), rowsRead({80.0F, 60.0F}, 4, mirrored));
        EXPECT_EQ(clampedRun(67 - 23, 1, 47), rowsRead({80.0F, 60.0F}, 19, mirrored));
        EXPECT_EQ(80, columnsRead({80.0F, 60.0F}, 4, mirrored)[23]);
        // -15, and rows 3 to 43 are no margin
        const std::vector<int> up = rowsRead({80.0F, 60.0F}, 14, mirrored);
        for (int r = 3; r < 44; ++r)
            EXPECT_EQ(60 - 15 - 23 + r, up[static_cast<std::size_t>(r)]);
    }
}

TEST_F(Crops, shiftIsNoWholeThird) {
    // 80.5002 + 15 x 0.3333 + 0.5 = 85.9997, where a third would reach 86.
    EXPECT_EQ(85, rowsRead({80.0F, 80.5002F}, 12)[23]);
}

TEST_F(Crops, shiftIsAddedToTheSumOfRowAndCentre) {
    // (-10 + 123.500496) + 4.9995 falls just short of 118.5. With centre and shift added first it
    // would reach it, and with it row 119.
    EXPECT_EQ(118, rowsRead({80.0F, 0x1.ee0082p+6F}, 12)[13]);
}

TEST_F(Crops, valuesArePixelMinusMean) {
    Random random(13);
    for (int patch = 0; patch < kPatchCount; ++patch) {
        const int planes = planesOf(patch);
        const int size = kPatchLayout.size[patch];
        const int m = size * size;
        const Bytes canvas = randomBytes(static_cast<std::size_t>(planes * kCanvasPixels), 14);
        const CanvasPoint centre = {random.uniform(30.0F, 130.0F), random.uniform(30.0F, 130.0F)};
        for (const bool mirrored : {false, true}) {
            ZeroedTables::clear();
            std::vector<float> expected = crop(canvas, centre, patch, mirrored);
            for (int e = 0; e < planes * m; ++e)
                meanImages[patch][e] = random.uniform(0.0F, 255.0F);
            const int side = kPatchLayout.sideMargin[patch];
            const int cap = kPatchLayout.capMargin[patch];
            for (int e = 0; e < planes * m; ++e) {
                const int q = e % size;
                const int r = e % m / size;
                if (q >= side && q < size - side && r >= cap && r < size - cap)
                    expected[static_cast<std::size_t>(e)] -= meanImages[patch][e];
            }
            EXPECT_TRUE(sameFloats(expected, crop(canvas, centre, patch, mirrored)))
                << "patch " << patch;
        }
    }
}

TEST_F(Crops, meanImageIsNotMirrored) {
    // On a canvas of one colour only the mean is left, and it stands the same way round in both.
    for (const int patch : {kGreyPatch, kColourPatch}) {
        const int count = planesOf(patch) * 47 * 47;
        for (int e = 0; e < count; ++e)
            meanImages[patch][e] = 0.25F * static_cast<float>(e);
        const Bytes canvas(static_cast<std::size_t>(3 * kCanvasPixels), 100);
        std::vector<float> expected;
        for (int e = 0; e < count; ++e)
            expected.push_back(100.0F - 0.25F * static_cast<float>(e));
        EXPECT_TRUE(sameFloats(expected, crop(canvas, {80.0F, 80.0F}, patch, false)));
        EXPECT_TRUE(sameFloats(expected, crop(canvas, {80.0F, 80.0F}, patch, true)));
    }
}

TEST_F(Crops, valuesKeepTheUnitsOfPixels) {
    for (const bool mirrored : {false, true}) {
        EXPECT_EQ(std::vector<float>(2209, 255.0F),
                  crop(Bytes(kCanvasPixels, 255), {80.0F, 80.0F}, kGreyPatch, mirrored));
        std::fill_n(meanImages[kGreyPatch], 2209, 255.0F);
        EXPECT_EQ(std::vector<float>(2209, -255.0F),
                  crop(Bytes(kCanvasPixels, 0), {80.0F, 80.0F}, kGreyPatch, mirrored));
        ZeroedTables::clear();
    }
}

TEST_F(Crops, planesRunRedGreenBlue) {
    Bytes canvas;
    for (int i = 0; i < kCanvasPixels; ++i)
        canvas.insert(canvas.end(), {11, 22, 33});  // blue, green, red
    for (const bool mirrored : {false, true}) {
        const auto values = crop(canvas, {80.0F, 80.0F}, kColourPatch, mirrored);
        std::vector<float> expected(2209, 33.0F);
        expected.insert(expected.end(), 2209, 22.0F);
        expected.insert(expected.end(), 2209, 11.0F);
        EXPECT_TRUE(sameFloats(expected, values));
    }
}

TEST_F(Crops, everyPatchHasAMeanImageOfItsOwn) {
    for (int patch = 0; patch < kPatchCount; ++patch)
        std::fill(std::begin(meanImages[patch]), std::end(meanImages[patch]),
                  static_cast<float>(patch + 1));
    const Bytes canvas(static_cast<std::size_t>(3 * kCanvasPixels), 100);
    for (int patch = 0; patch < kPatchCount; ++patch) {
        const int size = kPatchLayout.size[patch];
        const auto middle = static_cast<std::size_t>(size / 2 * size + size / 2);
        for (const bool mirrored : {false, true})
            EXPECT_EQ(static_cast<float>(99 - patch),
                      crop(canvas, {80.0F, 80.0F}, patch, mirrored)[middle]);
    }
}

TEST_F(Crops, marginsAreZeroWhateverTheMeanHolds) {
    for (int patch = 0; patch < kPatchCount; ++patch) {
        const int size = kPatchLayout.size[patch];
        const int planes = planesOf(patch);
        // Patches 0 and 1 keep 47 columns, 10 and 14 keep 41 rows, 12 keeps 35, all others
        // everything.
        const int validColumns = patch <= 1 ? 47 : size;
        const int validRows = patch == 10 || patch == 14 ? 41 : (patch == 12 ? 35 : size);
        const int firstColumn = (size - validColumns) / 2;
        const int firstRow = (size - validRows) / 2;
        const Bytes canvas(static_cast<std::size_t>(planes * kCanvasPixels), 50);
        for (const float mean : {0.0F, 20.5F, 50.0F, kNaN, -kInfinity}) {
            std::fill(std::begin(meanImages[patch]), std::end(meanImages[patch]), mean);
            std::vector<float> expected;
            for (int e = 0; e < planes * size * size; ++e) {
                const int q = e % size - firstColumn;
                const int r = e % (size * size) / size - firstRow;
                const bool valid = q >= 0 && q < validColumns && r >= 0 && r < validRows;
                expected.push_back(valid ? 50.0F - mean : 0.0F);
            }
            for (const bool mirrored : {false, true})
                EXPECT_TRUE(sameFloats(expected, crop(canvas, {80.0F, 80.0F}, patch, mirrored)))
                    << "patch " << patch << ", mean " << mean;
        }
    }
}

// --- What a crop reads --------------------------------------------------------------------------

TEST_F(Crops, readAllOfTheirAreaAndNothingElse) {
    Random random(16);
    for (int round = 0; round < 300; ++round) {
        const int patch = random.between(0, kPatchCount - 1);
        const CanvasPoint centre =
            round % 10 == 9 ? CanvasPoint{random.anyFloat(), random.anyFloat()}
                            : CanvasPoint{random.uniform(-60, 220), random.uniform(-60, 220)};
        const bool isMirrored = random.oneIn(2);
        const bool isColour = kPatchLayout.isColour[patch] == 1;
        const CanvasArea area = cropArea(centre, patch, isMirrored);
        ASSERT_TRUE(0 <= area.x0 && area.x0 < area.x1 && area.x1 <= kCanvasSide);
        ASSERT_TRUE(0 <= area.y0 && area.y0 < area.y1 && area.y1 <= kCanvasSide);

        const std::size_t values = std::size_t{3} * 55 * 55;
        const auto cropped = [&](int channels, const auto& byteAt) {
            Bytes canvas(static_cast<std::size_t>(kCanvasPixels * channels));
            for (int i = 0; i < kCanvasPixels * channels; ++i) {
                canvas[static_cast<std::size_t>(i)] =
                    byteAt(i / channels % kCanvasSide, i / channels / kCanvasSide);
            }
            std::vector<float> row(values);
            const auto plain = isColour ? cropColour : cropGrey;
            const auto mirrored = isColour ? cropColourMirrored : cropGreyMirrored;
            (isMirrored ? mirrored : plain)(canvas.data(), centre, patch, row.data());
            return row;
        };
        const int channels = isColour ? 3 : 1;
        const auto inside = [&](int x, int y) {
            return area.x0 <= x && x < area.x1 && area.y0 <= y && y < area.y1;
        };
        const auto oneInside = [&](int x, int y) -> std::uint8_t { return inside(x, y) ? 1 : 200; };
        for (const float value : cropped(channels, oneInside)) {
            ASSERT_LT(value, 2.0F) << "read outside, round " << round;
        }
        // Margins hide rows and columns at the edges of some patches.
        if (kPatchLayout.sideMargin[patch] == 0 && kPatchLayout.capMargin[patch] == 0) {
            for (const auto& [x, y] : {std::pair{area.x0, area.y0},
                                       {area.x1 - 1, area.y0},
                                       {area.x0, area.y1 - 1},
                                       {area.x1 - 1, area.y1 - 1}}) {
                const auto corner = [&, cx = x, cy = y](int u, int v) -> std::uint8_t {
                    return u == cx && v == cy ? 200 : 1;
                };
                const std::vector<float> row = cropped(channels, corner);
                ASSERT_GT(*std::max_element(row.begin(), row.end()), 100.0F)
                    << "a corner is not read, round " << round;
            }
        }
    }
}

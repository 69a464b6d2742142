// The crops of patches/sampling.h. Mean images are the tests' own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "patches/patch_layout.h"
#include "patches/sampling.h"
#include "reference/reference_patches.h"
#include "support/bits.h"
#include "support/crops.h"
#include "support/guarded_buffer.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Floats = std::vector<float>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kCanvasPixels = kCanvasSide * kCanvasSide;
constexpr int kGreyPatch = 3;    // 47, no shift, no margins
constexpr int kColourPatch = 2;  // 47, no shift, no margins

// A canvas of the patch's kind, of whose pixel (x, y) all bytes are byteAt(x, y).
template <typename ByteAt>
Bytes canvasOf(int patch, const ByteAt& byteAt) {
    const int planes = planesOf(patch);
    Bytes canvas(static_cast<std::size_t>(kCanvasPixels * planes));
    for (int i = 0; i < kCanvasPixels; ++i) {
        const int byte = byteAt(i % kCanvasSide, i / kCanvasSide);
        std::fill_n(canvas.begin() + i * planes, planes, static_cast<std::uint8_t>(byte));
    }
    return canvas;
}

Floats cropped(const Bytes& canvas, CanvasPoint centre, int patch, bool isMirrored,
               const Floats& mean) {
    GuardedBuffer<float> row(columnsOf(patch), 1);
    cropPatch(canvas.data(), centre, patch, isMirrored, mean.data(), row.data());
    EXPECT_TRUE(row.guardsIntact());
    return {row.data(), row.data() + row.count()};
}

enum class Axis { rows, columns };

// The canvas row (or column) that each row (or column) of a crop shows, taken from the middle of
// the first plane.
std::vector<int> placesRead(Axis axis, CanvasPoint centre, int patch, bool isMirrored) {
    const Bytes canvas =
        canvasOf(patch, [axis](int x, int y) { return axis == Axis::rows ? y : x; });
    const Floats values = cropped(canvas, centre, patch, isMirrored, Floats(columnsOf(patch)));
    const int size = kPatchLayout.size[patch];
    std::vector<int> places;
    for (int i = 0; i < size; ++i) {
        const int e = axis == Axis::rows ? i * size + size / 2 : size / 2 * size + i;
        places.push_back(static_cast<int>(values[static_cast<std::size_t>(e)]));
    }
    return places;
}

// Row r + 23 of a crop without margins shows row `middle` + r, and so for columns, which run the
// other way in a mirrored one. Places outside the canvas are its edge.
void expectReadAround(int middle, Axis axis, CanvasPoint centre, int patch, bool isMirrored) {
    std::vector<int> expected;
    for (int i = -23; i <= 23; ++i) {
        const int step = axis == Axis::columns && isMirrored ? -i : i;
        expected.push_back(std::clamp(middle + step, 0, kCanvasSide - 1));
    }
    EXPECT_EQ(expected, placesRead(axis, centre, patch, isMirrored))
        << "patch " << patch << " around " << centre.x << ", " << centre.y;
}

}  // namespace

TEST(Crops, readTheSquareAroundTheirCentre) {
    const struct {
        float position;
        int middle;
    } cases[] = {
        {90.0F, 90},     {61.0F, 61},   {80.5F, 81},   {80.49F, 80},  // the nearest, halves upwards
        {0.0F, 0},       {5.0F, 5},     {155.0F, 155}, {159.0F, 159},
        {-30.0F, -30},   {200.0F, 200}, {21.25F, 21},  // -1.75 + 0.5 is cut to -1 before it is clamped
        {1e6F, 1000000},
    };
    for (const int patch : {kGreyPatch, kColourPatch}) {
        for (const bool isMirrored : {false, true}) {
            for (const auto& [position, middle] : cases) {
                expectReadAround(middle, Axis::rows, {75.0F, position}, patch, isMirrored);
                expectReadAround(middle, Axis::columns, {position, 75.0F}, patch, isMirrored);
            }
        }
    }
}

TEST(Crops, readRowOrColumnZeroAroundNonFiniteAndHugeCentres) {
    const std::vector<int> zeros(47, 0);
    for (const float bad : {kNaN, kInfinity, -kInfinity, 1e20F, -1e20F, 2147483648.0F}) {
        for (const bool isMirrored : {false, true}) {
            EXPECT_EQ(zeros, placesRead(Axis::rows, {80.0F, bad}, kGreyPatch, isMirrored)) << bad;
            EXPECT_EQ(zeros, placesRead(Axis::columns, {bad, 80.0F}, kColourPatch, isMirrored));
        }
    }
}

// The row of the crop, counted from 0, that is looked at, and the row of the canvas that it shows.
TEST(Crops, addTheShiftToTheirCentreLast) {
    const struct {
        const char* what;
        float y;
        std::size_t row;
        int expected;
    } cases[] = {
        {"80.5002 + 15 x 0.3333 + 0.5 = 85.9997; a third would reach 86", 80.5002F, 23, 85},
        {"(-10 + 123.500496) + 4.9995 falls short of 118.5; with centre and shift added first it "
         "would not",
         0x1.ee0082p+6F, 13, 118},
    };
    for (const auto& [what, y, row, expected] : cases) {
        EXPECT_EQ(expected, placesRead(Axis::rows, {80.0F, y}, 12, false)[row]) << what;
    }
}

// Centres anywhere, often so that a row or a column lies on the edge between two pixels.
TEST(Crops, equalTheReference) {
    Random random(77);
    const Bytes grey = random.upTo(kCanvasPixels);
    const Bytes colour = random.upTo(3 * kCanvasPixels);
    for (int round = 0; round < 600; ++round) {
        const int patch = round % kPatchCount;
        Floats mean = random.floats(columnsOf(patch), -300, 300);
        if (random.oneIn(8)) {
            std::ranges::fill(mean, kNaN);  // must not reach the margins
        }
        CanvasPoint centre = {random.uniform(-60, 220), random.uniform(-60, 220)};
        if (random.oneIn(4)) {
            centre = {std::floor(centre.x) + 0.5F, std::floor(centre.y) + 0.5F};
        }
        if (random.oneIn(3)) {
            const float shift = static_cast<float>(kPatchLayout.canonicalEyeSpan[patch]) *
                                kPatchLayout.shiftFactor[patch];
            centre.y = (std::floor(centre.y) + 0.5F) - shift;
        }
        if (random.oneIn(8)) {
            (random.oneIn(2) ? centre.x : centre.y) = random.anyFloat();
        }
        const Bytes& canvas = planesOf(patch) == 3 ? colour : grey;
        for (const bool isMirrored : {false, true}) {
            ASSERT_TRUE(sameFloats(
                referenceCrop(canvas, centre.x, centre.y, patch, isMirrored, mean.data()),
                cropped(canvas, centre, patch, isMirrored, mean)))
                << "round " << round << ", centre " << hexFloat(centre.x) << ", "
                << hexFloat(centre.y);
        }
    }
}

TEST(Crops, readAllOfTheirAreaAndNothingElse) {
    Random random(16);
    for (int round = 0; round < 200; ++round) {
        const int patch = random.between(0, kPatchCount - 1);
        const CanvasPoint centre =
            random.oneIn(10) ? CanvasPoint{random.anyFloat(), random.anyFloat()}
                             : CanvasPoint{random.uniform(-60, 220), random.uniform(-60, 220)};
        const bool isMirrored = random.oneIn(2);
        const auto [x0, x1, y0, y1] = cropArea(centre, patch, isMirrored);
        ASSERT_TRUE(0 <= x0 && x0 < x1 && x1 <= kCanvasSide);
        ASSERT_TRUE(0 <= y0 && y0 < y1 && y1 <= kCanvasSide);
        const auto largestOf = [&](const auto& byteAt) {
            const Floats row = cropped(canvasOf(patch, byteAt), centre, patch, isMirrored,
                                       Floats(columnsOf(patch)));
            return *std::max_element(row.begin(), row.end());
        };
        EXPECT_LT(largestOf([&, left = x0, right = x1, top = y0, end = y1](int x, int y) {
                      return left <= x && x < right && top <= y && y < end ? 1 : 200;
                  }),
                  2.0F)
            << "read outside, round " << round;
        // Margins hide rows and columns at the edges of some patches.
        if (kPatchLayout.sideMargin[patch] == 0 && kPatchLayout.capMargin[patch] == 0) {
            for (const int cornerX : {x0, x1 - 1}) {
                for (const int cornerY : {y0, y1 - 1}) {
                    EXPECT_EQ(200.0F, largestOf([&](int x, int y) {
                                  return x == cornerX && y == cornerY ? 200 : 1;
                              }))
                        << "a corner is not read, round " << round;
                }
            }
        }
    }
}

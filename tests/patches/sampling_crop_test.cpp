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
constexpr float kOddPlaces[] = {kNaN, kInfinity, -kInfinity, 1e6F, 1e20F, -1e20F, 2147483648.0F};
constexpr int kCanvasPixels = kCanvasSide * kCanvasSide;

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

}  // namespace

// Centres anywhere, often so that a row or a column lies on the edge between two pixels or a hair
// beside it, or where its position hardly fits a float.
TEST(Crops, equalTheReference) {
    Random random(77);
    const Bytes grey = random.upTo(kCanvasPixels);
    const Bytes colour = random.upTo(3 * kCanvasPixels);
    for (int round = 0; round < 3000; ++round) {
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
        if (random.oneIn(2)) {
            centre = {std::nextafter(centre.x, 0.0F), std::nextafter(centre.y, 0.0F)};
        }
        if (random.oneIn(8)) {
            (random.oneIn(2) ? centre.x : centre.y) =
                random.oneIn(2) ? random.oneOf(kOddPlaces) : random.anyFloat();
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

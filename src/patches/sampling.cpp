#include "patches/sampling.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "matrix/float_rules.h"
#include "patches/patch_layout.h"
#include "service/context.h"
#include "service/model_tables.h"

static_assert(kPatchCount == kNetCount, "patch k has mean image k");

namespace {

// A wrapped byte, not a saturated one: 300 gives 44, -3 gives 253.
std::uint8_t lowByte(std::int32_t value) {
    return static_cast<std::uint8_t>(static_cast<std::uint32_t>(value) & 0xFFU);
}

// Rows may lie any distance apart, in either direction: the product needs 64 bits.
const std::uint8_t* rowOf(const std::uint8_t* image, std::int32_t row, std::int32_t stride) {
    return image + static_cast<std::ptrdiff_t>(row) * stride;
}

// Both warps: kChannels interleaved bytes a pixel, which share the four weights.
template <int kChannels>
void warp(const std::uint8_t* image, std::int32_t width, std::int32_t height, std::int32_t stride,
          const CanvasToImage& transform, std::uint8_t* canvas) {
    const auto [A, B, C, E] = transform;
    for (int Y = 0; Y < kCanvasSide; ++Y) {
        const auto fY = static_cast<float>(Y);
        for (int X = 0; X < kCanvasSide; ++X) {
            const auto fX = static_cast<float>(X);
            const float sx = ((fX * A) - (fY * B)) + C;
            const float sy = ((fX * B) + (fY * A)) + E;
            const std::int32_t ix = trunc32(sx);
            const std::int32_t iy = trunc32(sy);
            // Fractions from before the clamp, so that they are negative left and top of the image.
            const float fx = sx - static_cast<float>(ix);
            const float fy = sy - static_cast<float>(iy);
            const std::int32_t cx = std::min(std::max(ix, 0), width - 2);
            const std::int32_t cy = std::min(std::max(iy, 0), height - 2);

            const float wTR = (1.0F - fy) * fx;
            const float wTL = (1.0F - fx) * (1.0F - fy);
            const float wBL = (1.0F - fx) * fy;
            const float wBR = fy * fx;
            const std::ptrdiff_t left = static_cast<std::ptrdiff_t>(cx) * kChannels;
            const std::uint8_t* top = rowOf(image, cy, stride) + left;
            const std::uint8_t* bottom = rowOf(image, cy + 1, stride) + left;
            for (int channel = 0; channel < kChannels; ++channel) {
                const auto pTL = static_cast<float>(top[channel]);
                const auto pTR = static_cast<float>(top[kChannels + channel]);
                const auto pBL = static_cast<float>(bottom[channel]);
                const auto pBR = static_cast<float>(bottom[kChannels + channel]);
                const float v = ((((wTR * pTR) + (wTL * pTL)) + (wBL * pBL)) + (wBR * pBR)) + 0.5F;
                canvas[(Y * kCanvasSide + X) * kChannels + channel] = lowByte(trunc32(v));
            }
        }
    }
}

// The canvas row or column nearest to a position that has 0.5 added already.
int canvasIndex(float position) {
    return std::clamp(trunc32(position), 0, kCanvasSide - 1);
}

void clearMargins(int patch, int planes, float* row) {
    const int size = kPatchLayout.size[patch];
    const int sideMargin = kPatchLayout.sideMargin[patch];
    const int capMargin = kPatchLayout.capMargin[patch];
    for (int plane = 0; plane < planes; ++plane) {
        float* values = row + plane * size * size;
        if (sideMargin > 0) {
            for (int r = 0; r < size; ++r) {
                std::fill_n(values + r * size, sideMargin, 0.0F);
                std::fill_n(values + (r + 1) * size - sideMargin, sideMargin, 0.0F);
            }
        } else if (capMargin > 0) {
            std::fill_n(values, capMargin * size, 0.0F);
            std::fill_n(values + (size - capMargin) * size, capMargin * size, 0.0F);
        }
    }
}

// All four crops. Only the canvas column is mirrored: the mean image and the place where a value
// lands are not.
template <int kChannels, bool kMirrored>
void crop(const std::uint8_t* canvas, CanvasPoint centre, int patch, float* row) {
    const int size = kPatchLayout.size[patch];
    const int h = size / 2;
    const int m = size * size;
    const float* mean = meanImages[patch];
    const float shift =
        static_cast<float>(kPatchLayout.canonicalEyeSpan[patch]) * kPatchLayout.shiftFactor[patch];
    for (int r = 0; r < size; ++r) {
        const auto i = static_cast<float>(r - h);
        const int canvasRow = canvasIndex(((i + centre.y) + shift) + 0.5F);
        for (int q = 0; q < size; ++q) {
            const auto j = static_cast<float>(q - h);
            const int canvasColumn = canvasIndex((kMirrored ? centre.x - j : j + centre.x) + 0.5F);
            const std::uint8_t* pixel =
                canvas + (canvasRow * kCanvasSide + canvasColumn) * kChannels;
            for (int channel = 0; channel < kChannels; ++channel) {
                // Bytes run blue, green, red; planes run red, green, blue.
                const int e = (kChannels - 1 - channel) * m + r * size + q;
                row[e] = static_cast<float>(pixel[channel]) - mean[e];
            }
        }
    }
    clearMargins(patch, kChannels, row);
}

}  // namespace

std::int32_t trunc32(float value) {
    constexpr float kLimit = 2147483648.0F;  // 2^31; -2^31 is in range, and NaN fails both tests
    if (value >= -kLimit && value < kLimit) {
        return static_cast<std::int32_t>(value);
    }
    return std::numeric_limits<std::int32_t>::min();
}

void toGrey(const std::uint8_t* image, std::int32_t width, std::int32_t height, std::int32_t stride,
            std::uint8_t* grey) {
    for (std::int32_t y = 0; y < height; ++y) {
        const std::uint8_t* pixel = rowOf(image, y, stride);
        for (std::int32_t x = 0; x < width; ++x, pixel += 3) {
            // The weights add up to 1024: the result fits a byte.
            *grey++ = lowByte((601 * pixel[1] + 117 * pixel[0] + 306 * pixel[2]) >> 10);
        }
    }
}

void warpGrey(const std::uint8_t* grey, std::int32_t width, std::int32_t height,
              std::int32_t stride, const CanvasToImage& transform, std::uint8_t* greyCanvas) {
    warp<1>(grey, width, height, stride, transform, greyCanvas);
}

void warpColour(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                std::int32_t stride, const CanvasToImage& transform, std::uint8_t* colourCanvas) {
    warp<3>(image, width, height, stride, transform, colourCanvas);
}

void cropGrey(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, float* row) {
    crop<1, false>(greyCanvas, centre, patch, row);
}

void cropGreyMirrored(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, float* row) {
    crop<1, true>(greyCanvas, centre, patch, row);
}

void cropColour(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch, float* row) {
    crop<3, false>(colourCanvas, centre, patch, row);
}

void cropColourMirrored(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch,
                        float* row) {
    crop<3, true>(colourCanvas, centre, patch, row);
}

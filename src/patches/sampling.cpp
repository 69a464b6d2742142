#include "patches/sampling.h"

#include <algorithm>
#include <cstddef>

#include "matrix/float_rules.h"
#include "patches/patch_layout.h"

namespace {

// Rows may lie any distance apart, in either direction: the product needs 64 bits.
const std::uint8_t* rowOf(const SourceImage& image, std::int32_t row) {
    return image.bytes + static_cast<std::ptrdiff_t>(row) * image.stride;
}

// A piece of one canvas row, as a structure of arrays. Each loop over it does one simple step for
// all pixels, which the compiler can vectorise; every pixel still gets the same operations in the
// same order as on its own.
struct Samples {
    int count;
    // Where the pixel is in the image: the upper left of its four neighbours, and their weights.
    std::int32_t cx[kCanvasSide], cy[kCanvasSide];
    float wTL[kCanvasSide], wTR[kCanvasSide], wBL[kCanvasSide], wBR[kCanvasSide];
    // The neighbours' bytes, lowest first: blue, green and red of the left one with blue of the
    // right one, then green and red of the right one.
    std::uint32_t upper[kCanvasSide], upperRest[kCanvasSide];
    std::uint32_t lower[kCanvasSide], lowerRest[kCanvasSide];
};

void locate(const SourceImage& image, const CanvasToImage& transform, int Y, int x0,
            Samples& samples) {
    const auto [A, B, C, E] = transform;
    const auto fY = static_cast<float>(Y);
    const float YB = fY * B;
    const float YA = fY * A;
    for (int i = 0; i < samples.count; ++i) {
        const auto fX = static_cast<float>(x0 + i);
        const float sx = ((fX * A) - YB) + C;
        const float sy = ((fX * B) + YA) + E;
        const std::int32_t ix = trunc32(sx);
        const std::int32_t iy = trunc32(sy);
        // Fractions from before the clamp: they are negative to the left of the image and above it.
        const float fx = sx - static_cast<float>(ix);
        const float fy = sy - static_cast<float>(iy);
        // Up to the last pixel but one: the right and the lower neighbour exist.
        samples.cx[i] = std::min(std::max(ix, 0), image.width - 2);
        samples.cy[i] = std::min(std::max(iy, 0), image.height - 2);
        samples.wTR[i] = (1.0F - fy) * fx;
        samples.wTL[i] = (1.0F - fx) * (1.0F - fy);
        samples.wBL[i] = (1.0F - fx) * fy;
        samples.wBR[i] = fy * fx;
    }
}

std::uint32_t fourBytes(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
           static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[3]) << 24U;
}

std::uint32_t twoBytes(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U;
}

void fetch(const SourceImage& image, Samples& samples) {
    for (int i = 0; i < samples.count; ++i) {
        const std::uint8_t* top =
            rowOf(image, samples.cy[i]) + 3 * static_cast<std::ptrdiff_t>(samples.cx[i]);
        const std::uint8_t* bottom = top + image.stride;
        samples.upper[i] = fourBytes(top);
        samples.upperRest[i] = twoBytes(top + 4);
        samples.lower[i] = fourBytes(bottom);
        samples.lowerRest[i] = twoBytes(bottom + 4);
    }
}

// What a warp takes from a pair of neighbours: one byte of each, or the grey values of both.
template <int kByte>
struct TakeByte {
    static float left(std::uint32_t pair, std::uint32_t) {
        return static_cast<float>(static_cast<std::int32_t>(pair >> (8U * kByte) & 0xFFU));
    }
    static float right([[maybe_unused]] std::uint32_t pair, [[maybe_unused]] std::uint32_t rest) {
        if constexpr (kByte == 0) {
            return static_cast<float>(static_cast<std::int32_t>(pair >> 24U));
        } else {
            constexpr std::uint32_t kShift = 8U * (kByte - 1U);
            return static_cast<float>(static_cast<std::int32_t>(rest >> kShift & 0xFFU));
        }
    }
};

struct TakeGrey {
    static float of(std::uint32_t b, std::uint32_t g, std::uint32_t r) {
        return static_cast<float>(toGrey(static_cast<std::int32_t>(b), static_cast<std::int32_t>(g),
                                         static_cast<std::int32_t>(r)));
    }
    static float left(std::uint32_t pair, std::uint32_t) {
        return of(pair & 0xFFU, pair >> 8U & 0xFFU, pair >> 16U & 0xFFU);
    }
    static float right([[maybe_unused]] std::uint32_t pair, [[maybe_unused]] std::uint32_t rest) {
        return of(pair >> 24U, rest & 0xFFU, rest >> 8U);
    }
};

// Keeps the low bytes of the results, which wrap instead of saturating: 300 gives 44, -3 gives 253.
template <typename Take>
void blend(const Samples& samples, std::int32_t* result) {
    for (int i = 0; i < samples.count; ++i) {
        const float pTL = Take::left(samples.upper[i], samples.upperRest[i]);
        const float pTR = Take::right(samples.upper[i], samples.upperRest[i]);
        const float pBL = Take::left(samples.lower[i], samples.lowerRest[i]);
        const float pBR = Take::right(samples.lower[i], samples.lowerRest[i]);
        const float v =
            ((((samples.wTR[i] * pTR) + (samples.wTL[i] * pTL)) + (samples.wBL[i] * pBL)) +
             (samples.wBR[i] * pBR)) +
            0.5F;
        result[i] = trunc32(v) & 0xFF;
    }
}

void storeGrey(const Samples& samples, std::uint8_t* canvas) {
    std::int32_t grey[kCanvasSide];
    blend<TakeGrey>(samples, grey);
    for (int i = 0; i < samples.count; ++i) {
        canvas[i] = static_cast<std::uint8_t>(grey[i]);
    }
}

void storeColour(const Samples& samples, std::uint8_t* canvas) {
    std::int32_t bytes[3][kCanvasSide];
    blend<TakeByte<0>>(samples, bytes[0]);
    blend<TakeByte<1>>(samples, bytes[1]);
    blend<TakeByte<2>>(samples, bytes[2]);
    for (int i = 0; i < samples.count; ++i) {
        canvas[3 * i] = static_cast<std::uint8_t>(bytes[0][i]);
        canvas[3 * i + 1] = static_cast<std::uint8_t>(bytes[1][i]);
        canvas[3 * i + 2] = static_cast<std::uint8_t>(bytes[2][i]);
    }
}

// Both warps, which only differ in what they store.
template <int kChannels>
void warp(const SourceImage& image, const CanvasToImage& transform, const CanvasArea& area,
          void (*store)(const Samples&, std::uint8_t*), std::uint8_t* canvas) {
    Samples samples;
    samples.count = area.x1 - area.x0;
    for (int Y = area.y0; Y < area.y1; ++Y) {
        locate(image, transform, Y, area.x0, samples);
        fetch(image, samples);
        store(samples, canvas + (Y * kCanvasSide + area.x0) * kChannels);
    }
}

// The canvas row or column nearest to a position that already has 0.5 added.
int canvasIndex(float position) {
    return std::clamp(trunc32(position), 0, kCanvasSide - 1);
}

// The canvas row that row r of a crop reads, and the column that its column q reads. They ascend
// with r and q (mirrored columns descend) while positions fit in 32 bits, since rounding,
// truncation and clamping are monotonic. Beyond that, trunc32 gives its lowest number, and such
// positions read row or column 0 whatever their sign. Floats of that size are more than 100 pixels
// apart: all of a crop falls onto one of them or its neighbours.
int canvasRowOf(CanvasPoint centre, int patch, int r) {
    const float shift =
        static_cast<float>(kPatchLayout.canonicalEyeSpan[patch]) * kPatchLayout.shiftFactor[patch];
    const int h = kPatchLayout.size[patch] / 2;
    const auto i = static_cast<float>(r - h);
    return canvasIndex(((i + centre.y) + shift) + 0.5F);
}

int canvasColumnOf(CanvasPoint centre, int patch, bool isMirrored, int q) {
    const int h = kPatchLayout.size[patch] / 2;
    const auto j = static_cast<float>(q - h);
    return canvasIndex((isMirrored ? centre.x - j : j + centre.x) + 0.5F);
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

// All four crops. Only the canvas column is mirrored, not the mean image or the stored position.
template <int kChannels, bool kMirrored>
void crop(const std::uint8_t* canvas, CanvasPoint centre, int patch, const float* mean,
          float* row) {
    const int size = kPatchLayout.size[patch];
    const int m = size * size;
    int columns[kCanvasSide];
    for (int q = 0; q < size; ++q) {
        columns[q] = kChannels * canvasColumnOf(centre, patch, kMirrored, q);
    }
    for (int r = 0; r < size; ++r) {
        const std::uint8_t* pixels =
            canvas + canvasRowOf(centre, patch, r) * kCanvasSide * kChannels;
        for (int channel = 0; channel < kChannels; ++channel) {
            // Bytes run blue, green, red; planes run red, green, blue.
            const int e = (kChannels - 1 - channel) * m + r * size;
            for (int q = 0; q < size; ++q) {
                row[e + q] = static_cast<float>(pixels[columns[q] + channel]) - mean[e + q];
            }
        }
    }
    clearMargins(patch, kChannels, row);
}

}  // namespace

void warpGrey(const SourceImage& image, const CanvasToImage& transform, const CanvasArea& area,
              std::uint8_t* greyCanvas) {
    warp<1>(image, transform, area, storeGrey, greyCanvas);
}

void warpColour(const SourceImage& image, const CanvasToImage& transform, const CanvasArea& area,
                std::uint8_t* colourCanvas) {
    warp<3>(image, transform, area, storeColour, colourCanvas);
}

CanvasArea cropArea(CanvasPoint centre, int patch, bool isMirrored) {
    const int last = kPatchLayout.size[patch] - 1;
    const int left = canvasColumnOf(centre, patch, isMirrored, isMirrored ? last : 0);
    const int right = canvasColumnOf(centre, patch, isMirrored, isMirrored ? 0 : last);
    return {left, right + 1, canvasRowOf(centre, patch, 0), canvasRowOf(centre, patch, last) + 1};
}

void cropGrey(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, const float* mean,
              float* row) {
    crop<1, false>(greyCanvas, centre, patch, mean, row);
}

void cropGreyMirrored(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch,
                      const float* mean, float* row) {
    crop<1, true>(greyCanvas, centre, patch, mean, row);
}

void cropColour(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch, const float* mean,
                float* row) {
    crop<3, false>(colourCanvas, centre, patch, mean, row);
}

void cropColourMirrored(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch,
                        const float* mean, float* row) {
    crop<3, true>(colourCanvas, centre, patch, mean, row);
}

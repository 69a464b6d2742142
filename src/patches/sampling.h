// The pixel kernels of the patch stage. A pixel of an image is one byte each of blue, green and
// red; rows are `stride` bytes apart, in either direction. Canvases are 160 x 160, without padding.
//
// Arithmetic is in 32-bit floats, in the order written, with every operation rounded.
#ifndef ZOMU_PATCHES_SAMPLING_H
#define ZOMU_PATCHES_SAMPLING_H

#include <cstdint>

#include "patches/canvases.h"

// Canvas to image: a canvas pixel (X, Y) reads the image at (A X - B Y + C, B X + A Y + E).
struct CanvasToImage {
    float A, B, C, E;
};

struct CanvasPoint {
    float x, y;
};

// The grey value of a pixel: (601 g + 117 b + 306 r) / 1024, truncated. The weights add up to 1024:
// bytes give a byte.
constexpr std::int32_t toGrey(std::int32_t b, std::int32_t g, std::int32_t r) {
    return (601 * g + 117 * b + 306 * r) >> 10;
}

// An image as the host passes it, at least 2 x 2.
struct SourceImage {
    const std::uint8_t* bytes;
    std::int32_t width, height, stride;
};

// The canvas columns [x0, x1) of the rows [y0, y1).
struct CanvasArea {
    int x0, x1, y0, y1;
};

constexpr CanvasArea kWholeCanvas = {0, kCanvasSide, 0, kCanvasSide};

// Resample the image's grey values, or its three bytes, bilinearly onto an area of a canvas. Reads
// stay inside the image; to the left of it and above it values are extrapolated. Only the low 8
// bits of a result are kept: it wraps. The rest of the canvas is unchanged.
void warpGrey(const SourceImage& image, const CanvasToImage& transform, const CanvasArea& area,
              std::uint8_t* greyCanvas);
void warpColour(const SourceImage& image, const CanvasToImage& transform, const CanvasArea& area,
                std::uint8_t* colourCanvas);

// The canvas pixels that a crop of patch number `patch` around `centre` reads.
CanvasArea cropArea(CanvasPoint centre, int patch, bool isMirrored);

// Copy the square of patch number `patch` around `centre` (nearest pixels, clamped at the canvas
// edge) to one row of the patch matrix, subtract `mean`, which is as long as the row, and clear the
// margins. Colour rows hold a red, a green and a blue plane. Mirrored crops swap left and right
// about their centre.
void cropGrey(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, const float* mean,
              float* row);
void cropGreyMirrored(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch,
                      const float* mean, float* row);
void cropColour(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch, const float* mean,
                float* row);
void cropColourMirrored(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch,
                        const float* mean, float* row);

#endif

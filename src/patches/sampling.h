// The pixel kernels of the patch stage. A pixel of an image is one byte of blue, green and red each;
// rows are `stride` bytes apart, upwards or downwards. Canvases are 160 x 160, without gaps.
//
// The arithmetic is that of 32-bit floats, in the order of the code and with its roundings.
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

// The grey value of a pixel: (601 g + 117 b + 306 r) / 1024, cut. The weights add up to 1024, so
// that bytes give a byte.
constexpr std::int32_t toGrey(std::int32_t b, std::int32_t g, std::int32_t r) {
    return (601 * g + 117 * b + 306 * r) >> 10;
}

// An image as the host hands it over, at least 2 x 2.
struct SourceImage {
    const std::uint8_t* bytes;
    std::int32_t width, height, stride;
};

// Pixels x0 to before x1 of canvas rows y0 to before y1.
struct CanvasArea {
    int x0, x1, y0, y1;
};

constexpr CanvasArea kWholeCanvas = {0, kCanvasSide, 0, kCanvasSide};

// Bilinear resampling of the image's grey values, or of its three bytes, onto an area of a canvas.
// Reads stay inside the image; left and top of it values are extrapolated, and only the low 8 bits
// of a result are kept, so that they wrap. The rest of the canvas stays as it is.
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

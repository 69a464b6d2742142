// The pixel kernels of the patch stage. Images are three bytes a pixel in the order blue, green,
// red, rows `stride` bytes apart (any sign); canvases are 160 x 160, rows packed.
//
// All float values are 32-bit and every written operation rounds once, in the order written.
#ifndef ZOMU_PATCHES_SAMPLING_H
#define ZOMU_PATCHES_SAMPLING_H

#include <cstdint>

// Canvas to image: a canvas pixel (X, Y) reads the image at (A X - B Y + C, B X + A Y + E).
struct CanvasToImage {
    float A, B, C, E;
};

struct CanvasPoint {
    float x, y;
};

// Cuts towards zero; NaN and values outside the range of the integer give -2147483648, on every
// processor alike.
std::int32_t trunc32(float value);

// (601 g + 117 b + 306 r) / 1024, cut. `grey` is packed, `width` bytes a row.
void toGrey(const std::uint8_t* image, std::int32_t width, std::int32_t height, std::int32_t stride,
            std::uint8_t* grey);

// Bilinear resampling of one-byte and of three-byte pixels onto a canvas. Reads stay inside the
// image, which is at least 2 x 2; left and top of it values are extrapolated, and only the low 8
// bits of a result are kept, so that they wrap.
void warpGrey(const std::uint8_t* grey, std::int32_t width, std::int32_t height,
              std::int32_t stride, const CanvasToImage& transform, std::uint8_t* greyCanvas);
void warpColour(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                std::int32_t stride, const CanvasToImage& transform, std::uint8_t* colourCanvas);

// Copy the square of patch number `patch` around `centre` (nearest pixels, clamped at the canvas
// edge) to one row of the patch matrix, subtract mean image `patch` and clear the margins. Colour
// rows hold a red, a green and a blue plane. Mirrored crops swap left and right about their centre.
void cropGrey(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, float* row);
void cropGreyMirrored(const std::uint8_t* greyCanvas, CanvasPoint centre, int patch, float* row);
void cropColour(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch, float* row);
void cropColourMirrored(const std::uint8_t* colourCanvas, CanvasPoint centre, int patch,
                        float* row);

#endif

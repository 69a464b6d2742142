// The canvases that faces are warped onto before patches are cropped.
#ifndef ZOMU_PATCHES_CANVASES_H
#define ZOMU_PATCHES_CANVASES_H

#include <cstdint>

constexpr int kCanvasSide = 160;

// Scratch: each patch overwrites the canvas of its kind, and writes pixels before it reads them.
struct FaceCanvases {
    std::uint8_t greyCanvas[kCanvasSide * kCanvasSide];
    std::uint8_t colourCanvas[kCanvasSide * kCanvasSide * 3];  // interleaved, in the source's order
};

#endif

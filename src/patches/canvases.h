// The canvases that faces are brought onto before patches are cut.
#ifndef ZOMU_PATCHES_CANVASES_H
#define ZOMU_PATCHES_CANVASES_H

#include <cstdint>

constexpr int kCanvasSide = 160;

// Scratch: every patch of their kind overwrites them, and writes what it reads before it reads it.
struct FaceCanvases {
    std::uint8_t greyCanvas[kCanvasSide * kCanvasSide];
    std::uint8_t colourCanvas[kCanvasSide * kCanvasSide * 3];  // interleaved, in the source's order
};

#endif

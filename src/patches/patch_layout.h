// Which 25 patches are cut from a face: the table that cutFacePatches and the crops follow.
#ifndef ZOMU_PATCHES_PATCH_LAYOUT_H
#define ZOMU_PATCHES_PATCH_LAYOUT_H

#include <array>
#include <cstdint>

constexpr int kPatchCount = 25;

// Parallel columns, one value for each patch.
struct PatchLayout {
    std::int32_t size[kPatchCount];              // side of the crop in pixels, odd
    std::int32_t canonicalEyeSpan[kPatchCount];  // eye distance on the canvas, canvas pixels
    float shiftFactor[kPatchCount];              // crop centre moves down by span x factor
    std::int32_t isColour[kPatchCount];          // 1: three planes, 0: one grey plane
    std::int32_t sideMargin[kPatchCount];        // columns zeroed at the left and right edge
    std::int32_t capMargin[kPatchCount];         // rows zeroed at top and bottom, if no sideMargin
    std::int32_t firstCentre[kPatchCount];       // kept position that centres the plain crop
    std::int32_t secondCentre[kPatchCount];      // kept position that centres the mirrored crop
};

extern const PatchLayout kPatchLayout;

// Patches of one kind (colour or grey) and one span share a canvas. These are the first patches of
// each: first those of the canvases that take longest.
constexpr int kCanvasCount = 11;
extern const std::array<int, kCanvasCount> kCanvasLeaders;

#endif

// One name for the four crops.
#ifndef ZOMU_TESTS_SUPPORT_CROPS_H
#define ZOMU_TESTS_SUPPORT_CROPS_H

#include <cstddef>
#include <cstdint>

#include "patches/patch_layout.h"
#include "patches/sampling.h"

inline int planesOf(int patch) {
    return kPatchLayout.isColour[patch] == 1 ? 3 : 1;
}

// Values in one row of a patch.
inline std::size_t columnsOf(int patch) {
    return static_cast<std::size_t>(planesOf(patch) * kPatchLayout.size[patch] *
                                    kPatchLayout.size[patch]);
}

// One row of a patch from a canvas of its kind.
inline void cropPatch(const std::uint8_t* canvas, CanvasPoint centre, int patch, bool isMirrored,
                      const float* mean, float* row) {
    const auto crop = planesOf(patch) == 3 ? (isMirrored ? cropColourMirrored : cropColour)
                                           : (isMirrored ? cropGreyMirrored : cropGrey);
    crop(canvas, centre, patch, mean, row);
}

#endif

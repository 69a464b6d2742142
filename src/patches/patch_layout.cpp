#include "patches/patch_layout.h"

// Left-right pairs name the image-left landmark first, so that its crop and the mirrored crop of
// its counterpart show the same side of a face. Midline landmarks are in both columns.
const PatchLayout kPatchLayout = {
    .size = {55, 55, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47,
             47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47, 47},
    .canonicalEyeSpan = {12, 18, 33, 18, 27, 33, 33, 30, 33, 30, 12, 33, 15,
                         30, 15, 24, 18, 30, 33, 21, 33, 18, 33, 18, 33},
    .shiftFactor = {0, 0,  0, 0, 0.3333F, 0, 0,       0, 0, 0, 0, 0, 0.3333F,
                    0, -1, 0, 0, 0,       0, 0.3333F, 0, 0, 0, 0, 0},
    .isColour = {1, 1, 1, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1},
    .sideMargin = {4, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    .capMargin = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 6, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
    .firstCentre = {6,  6, 2,  10, 6, 9, 18, 13, 0,  10, 15, 15, 6,
                    13, 6, 15, 14, 3, 7, 6,  0,  22, 10, 15, 3},
    .secondCentre = {6,  6, 5,  11, 6, 9, 19, 12, 1,  11, 15, 15, 6,
                     12, 6, 15, 14, 4, 7, 6,  1,  23, 11, 15, 4},
};

const std::array<int, kCanvasCount> kCanvasLeaders = {2, 0, 1, 7, 5, 4, 3, 9, 12, 15, 19};

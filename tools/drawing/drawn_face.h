// Artificial faces: pictures with exact landmarks, as many as there are seeds.
#ifndef ZOMU_TOOLS_DRAWING_DRAWN_FACE_H
#define ZOMU_TOOLS_DRAWING_DRAWN_FACE_H

#include <cstdint>
#include <vector>

#include "zomu.h"

struct DrawnFace {
    int width, height;
    std::vector<std::uint8_t> pixels;  // blue, green, red; rows of 3 x width bytes
    LandmarkRecord landmarks;          // all 29, ordered by id, pixels of this picture
};

// Draws the face of `seed`, looking roughly at the viewer, on a square of `side` pixels, 32 or
// more. The head model is varied, turned and projected; picture and landmarks both follow from the
// result. Seed and side settle every landmark to the bit; pixels are the same wherever Cairo is the
// same.
DrawnFace drawFace(std::uint64_t seed, int side = 256);

#endif

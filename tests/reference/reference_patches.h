// The patch stage once more: landmarks, head pose, alignment and pixels, in plain loops. Written
// from the definition and apart from the library; tests demand the same bits.
//
// One rounding an operation; compile without contraction to fused multiply-adds.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_PATCHES_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_PATCHES_H

#include <cstdint>
#include <vector>

#include "zomu.h"

using ReferenceBytes = std::vector<std::uint8_t>;
using ReferenceFloats = std::vector<float>;

// The 25 landmarks that are not at the sides of the head, by ascending id.
std::vector<LandmarkEntry> referenceKeptLandmarks(const LandmarkRecord& record);

// Why the library must refuse the record, word for word; null where it keeps the contract.
const char* referenceRefusal(const LandmarkRecord& record);

struct ReferencePose {
    float R[9];
    float T[3];
    float k;
    float roll, yaw, pitch;  // degrees
    float imageEyeSpan;
};

ReferencePose referencePose(const LandmarkRecord& record);

struct ReferenceAngles {
    float e0, e1, e2;  // radians, about x, y and z
};

// Angles of a rotation (nine floats, row-major) by way of its unit quaternion.
ReferenceAngles referenceAngles(const float* R);

// Solves the 8 x 8 system in place; false, with g as it was, where a pivot is too small.
bool referenceSolve(ReferenceFloats& A, ReferenceFloats& g);

struct ReferenceAlignment {
    float Q;
    float a, b, c, d;  // image to canvas
    float A, B, C, E;  // canvas to image
};

ReferenceAlignment referenceAlignment(const LandmarkEntry& upper, const LandmarkEntry& lower,
                                      int canonicalEyeSpan, float imageEyeSpan);

ReferenceBytes referenceGrey(const std::uint8_t* image, int width, int height, int stride);

// Three bytes a pixel: blue, green, red.
struct ReferencePicture {
    const std::uint8_t* bytes;
    int width, height, stride;
};

// A whole canvas of 160 x 160 pixels, of one byte or three.
ReferenceBytes referenceWarp(const ReferencePicture& picture, bool isColour,
                             const ReferenceAlignment& alignment);

// Whether the value in row r, column q of a crop is cleared.
bool referenceInMargin(int patch, int r, int q);

// One row of patch `patch` around (px, py), 1 or 3 planes by the patch's kind. `mean` is the
// patch's own mean image.
ReferenceFloats referenceCrop(const ReferenceBytes& canvas, float px, float py, int patch,
                              bool mirrored, const float* mean);

// Both rows of a patch, one after the other.
ReferenceFloats referencePatch(const ReferencePicture& picture, const LandmarkRecord& record,
                               int patch, const float* mean);

// All 25 patches, each with its two rows one after the other. `meanImages` holds 25 slots of 9075.
std::vector<ReferenceFloats> referencePatches(const std::uint8_t* image, int width, int height,
                                              int stride, const LandmarkRecord& record,
                                              const float* meanImages);

#endif

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

std::int32_t referenceTrunc(float value);

ReferenceBytes referenceGrey(const std::uint8_t* image, int width, int height, int stride);

// Column X, row Y of a canvas: `channels` bytes, 1 or 3, from a picture of the same kind.
void referencePixel(const std::uint8_t* image, int channels, int width, int height, int stride,
                    const ReferenceAlignment& alignment, int X, int Y, std::uint8_t* bytes);

// The whole canvas of 160 x 160 pixels.
ReferenceBytes referenceWarp(const std::uint8_t* image, int channels, int width, int height,
                             int stride, const ReferenceAlignment& alignment);

// The canvas row that row r of a crop of patch `patch` reads, the column that its column q reads,
// and whether the value there is cleared.
int referenceCropRow(int patch, float py, int r);
int referenceCropColumn(int patch, float px, bool mirrored, int q);
bool referenceInMargin(int patch, int r, int q);

// One row of patch `patch` around (px, py), 1 or 3 planes by the patch's kind. `mean` is the
// patch's own mean image.
ReferenceFloats referenceCrop(const ReferenceBytes& canvas, float px, float py, int patch,
                              bool mirrored, const float* mean);

// All 25 patches, each with its two rows one after the other. `meanImages` holds 25 slots of 9075.
std::vector<ReferenceFloats> referencePatches(const std::uint8_t* image, int width, int height,
                                              int stride, const LandmarkRecord& record,
                                              const float* meanImages);

#endif

// From an image and its landmarks to the 25 patch matrices that the networks read.
#ifndef ZOMU_PATCHES_FACE_PATCHES_H
#define ZOMU_PATCHES_FACE_PATCHES_H

#include <cstdint>
#include <memory>
#include <vector>

#include "matrix/matrix.h"
#include "model/model_tables.h"
#include "patches/canvases.h"
#include "patches/landmarks.h"
#include "patches/sampling.h"

using PatchList = std::vector<std::unique_ptr<Matrix>>;

// Similarity transforms of one patch: x' = a x - b y + c, y' = b x + a y + d maps an image point to
// the canvas; `inverse` maps a canvas pixel to the image and is fitted separately.
struct PatchAlignment {
    float Q;  // canvas row of the lower anchor
    float a, b, c, d;
    CanvasToImage inverse;
};

// The least-squares similarities that map the anchors to (80, 60) and (80, Q), with the scale
// canonicalEyeSpan / imageEyeSpan canvas pixels per image pixel.
PatchAlignment alignPatch(const LandmarkEntry& upperAnchor, const LandmarkEntry& lowerAnchor,
                          std::int32_t canonicalEyeSpan, float imageEyeSpan);

CanvasPoint toCanvas(const PatchAlignment& alignment, const LandmarkEntry& landmark);

// What all patches of a face have in common. `landmarks` must meet the contract.
struct FaceAlignment {
    float imageEyeSpan;
    KeptLandmarks kept;
};
FaceAlignment alignFace(const LandmarkRecord& landmarks);

// Cuts the patches that share canvas `number` (below kCanvasCount) and puts them into `patches`,
// which has 25 entries; a matrix that is already there is written again. Different canvases of a face
// may be cut on different threads, each with FaceCanvases of its own.
void cutCanvas(int number, const FaceAlignment& face, FaceCanvases& canvases,
               const MeanImages& meanImages, const SourceImage& image, PatchList& patches);

// Cuts the 25 patches on the calling thread, by way of the canvases. Entry k is a 2 x (channels x
// size x size) matrix: row 0 the crop, row 1 the mirrored crop, mean image k subtracted.
// `landmarks` must meet the contract.
PatchList cutFacePatches(FaceCanvases& canvases, const MeanImages& meanImages,
                         const SourceImage& image, const LandmarkRecord& landmarks);

#endif

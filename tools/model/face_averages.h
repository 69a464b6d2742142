// Averages over drawn faces: what mean images and the feature mean of a random model are.
#ifndef ZOMU_TOOLS_MODEL_FACE_AVERAGES_H
#define ZOMU_TOOLS_MODEL_FACE_AVERAGES_H

#include <cstdint>
#include <functional>
#include <vector>

#include "drawing/drawn_face.h"
#include "service/context.h"

// One for each patch, in the layout of a row of its matrix.
using AveragedImages = std::vector<std::vector<float>>;

// Called after each face. May throw to stop the work.
using FaceDone = std::function<void()>;

// `count` faces whose own seeds follow from `seed`.
std::vector<DrawnFace> drawFaces(std::uint64_t seed, int count, const FaceDone& faceDone);

// The mean of all patches over the faces, plain and mirrored crops alike; margins are 0. Leaves the
// library's table of mean images zero. Of the context only the canvases are used.
AveragedImages averagePatches(ZomuContext& context, const std::vector<DrawnFace>& faces,
                          const FaceDone& faceDone);

// The mean of the 8000 features, from the networks of the context, which see the patches less
// `images`. Leaves these in the library's table. Throws std::runtime_error where a feature is not
// finite.
//
// The last bits hang on the BLAS, as the networks' do, but not on the number of threads.
std::vector<float> averageFeatures(ZomuContext& context, const std::vector<DrawnFace>& faces,
                                   const AveragedImages& images, const FaceDone& faceDone);

#endif

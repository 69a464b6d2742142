// The inputs of the benchmarks: the sample portrait in several sizes, and the model that TMPDIR
// selects.
#ifndef ZOMU_BENCH_INPUTS_H
#define ZOMU_BENCH_INPUTS_H

#include <string>
#include <vector>

#include "service/context.h"
#include "service/extraction.h"
#include "sheets/face_picture.h"

// The same face in a photo of about that many megapixels. Cached for later calls.
const FacePicture& photo(double megapixels);

SourceImage imageOf(const FacePicture& face);
FaceRequest requestOf(const FacePicture& face, FaceTemplate& out);

// Loads the model tables at the first call. The folder ends in a separator.
const std::string& modelFolder();

// The kernels of that instruction set, or null if this processor cannot run them.
const Kernels* findKernels(const std::string& name);

// A context with all networks and that many threads, the same for all benchmarks, which runs these
// kernels from now on.
ZomuContext& contextWith(const Kernels& kernels, int threads = 1);

// What the networks compute for a photo of a megapixel, the feature mean subtracted.
std::vector<float> someFeatures(ZomuContext& context);

#endif

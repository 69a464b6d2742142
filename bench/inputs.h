// The inputs of the benchmarks: the sample portrait in several sizes, and the model that TMPDIR
// selects.
#ifndef ZOMU_BENCH_INPUTS_H
#define ZOMU_BENCH_INPUTS_H

#include <memory>
#include <string>

#include "service/context.h"
#include "sheets/face_picture.h"

// The same face in a photo of about that many megapixels. Cached for later calls.
const FacePicture& photo(double megapixels);

// Loads the model tables at the first call. The folder ends in a separator.
const std::string& modelFolder();

// One context with all networks for all benchmarks.
ZomuContext& sharedContext();

#endif

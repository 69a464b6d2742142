// One extraction on one thread, for counting instructions. Each stage is a separate function,
// called once, which lets a profiler tell them apart. A first extraction, outside those functions,
// allocates all buffers.
#include <omp.h>

#include <cstdio>
#include <vector>

#include "inputs.h"
#include "layers/weight_layer.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "patches/face_patches.h"
#include "service/extraction.h"
#include "template/template_arithmetic.h"

// Not static and never inlined: the profile finds them by name.
static FaceCanvases canvases;

[[gnu::noinline]] PatchList countPatches(const FacePicture& face) {
    return cutFacePatches(canvases, g_modelTables.meanImages,
                          {face.picture.pixels.data(), face.picture.width, face.picture.height,
                           3 * face.picture.width},
                          face.landmarks);
}

[[gnu::noinline]] void countNetworks(const PatchList& patches, float* features) {
    MatrixList pointers;
    for (const auto& patch : patches) {
        pointers.push_back(patch.get());
    }
    for (int i = 0; i < kNetCount; ++i) {
        const auto k = static_cast<std::size_t>(i);
        storeNetworkOutput(*runNet(*sharedContext().nets[k], pointers),
                           features + kOutputValues * i);
    }
}

[[gnu::noinline]] void countProjection(float* features, FaceTemplate& result) {
    subtractFeatureMean(g_modelTables.featureMean, features);
    projectFeatures(*runnableKernels().front(), g_modelTables, features, result);
}

int main() {
    omp_set_num_threads(1);
    const FacePicture& face = photo(1.0);
    std::vector<float> features(kFeatureCount);
    FaceTemplate result;
    extractTemplate(sharedContext(), g_modelTables, face.picture.pixels.data(), face.picture.width,
                    face.picture.height, 3 * face.picture.width, face.landmarks, result);
    const float expected = result.projectionNorm;
    const PatchList patches = countPatches(face);
    countNetworks(patches, features.data());
    countProjection(features.data(), result);
    std::printf("%s\n", result.projectionNorm == expected ? "same template" : "different template");
    return result.projectionNorm == expected ? 0 : 1;
}

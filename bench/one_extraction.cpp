// One extraction on one thread, for counting instructions.
//
//   zomu_one_extraction KERNELS
//
// KERNELS names an instruction set. Each stage is a separate function, called once, which lets a
// profiler tell them apart. A first extraction, outside those functions, allocates all buffers.
#include <cstdio>

#include "inputs.h"
#include "model/model_tables.h"
#include "service/extraction.h"
#include "template/template_arithmetic.h"

// Not static and never inlined: the profile finds them by name.

[[gnu::noinline]] void countPatches(ZomuContext& context, const FaceRequest& request) {
    cutPatches(context, g_modelTables.meanImages, {&request, 1});
}

[[gnu::noinline]] void countNetworks(ZomuContext& context) {
    runNetworks(context, 1, context.features.data());
}

[[gnu::noinline]] void countProjection(ZomuContext& context, const FaceRequest& request) {
    subtractFeatureMean(g_modelTables.featureMean, context.features.data());
    projectFaces(context, g_modelTables, {&request, 1});
}

int main(int argc, char** argv) {
    const Kernels* kernels = argc == 2 ? findKernels(argv[1]) : nullptr;
    if (kernels == nullptr) {
        std::fputs("usage: zomu_one_extraction KERNELS, which this processor can run\n", stderr);
        return 2;
    }
    ZomuContext& context = contextWith(*kernels);
    FaceTemplate result;
    const FaceRequest request = requestOf(photo(1.0), result);
    extractTemplates(context, g_modelTables, {&request, 1});
    const float expected = result.projectionNorm;
    countPatches(context, request);
    countNetworks(context);
    countProjection(context, request);
    std::printf("%s\n", result.projectionNorm == expected ? "same template" : "different template");
    return result.projectionNorm == expected ? 0 : 1;
}

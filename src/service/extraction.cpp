#include "service/extraction.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <limits>
#include <memory>
#include <numeric>

#include "layers/unusable_layer.h"
#include "matrix/float_mode.h"
#include "network/conv_net.h"
#include "patches/face_patches.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
#include "patches/sampling.h"
#include "template/template_arithmetic.h"

static_assert(kPatchCount == kNetCount, "network k reads patch k");

namespace {

// Runs one network and stores its 320 features. If its layers do not match, or its output has
// another size, the features are NaN, and so is every value of the template.
void runIntoFeatures(ConvNet& net, const MatrixList& patches, float* destination) {
    const DefaultFloatMode mode;  // for this thread of the team
    try {
        const Matrix* out = runNet(net, patches);
        requireUsable(out != nullptr && out->numElements == kOutputValues);
        storeNetworkOutput(*out, destination);
    } catch (const UnusableLayer&) {
        std::fill_n(destination, kOutputValues, std::numeric_limits<float>::quiet_NaN());
    }
}

// One contiguous block of networks for each thread of the team. A network belongs to one iteration
// and writes its own slice of `features`, so the team size does not change a bit.
//
// An exception that left an iteration would end the process. It is kept until all iterations are
// done and then rethrown on the calling thread; of several, that of the first network.
void runNetworks(ZomuContext& context, const MatrixList& patches, float* features) {
    std::array<int, kNetCount> table;
    std::iota(table.begin(), table.end(), 0);
    std::array<std::exception_ptr, kNetCount> failures;
#pragma omp parallel for schedule(static)
    for (int i = 0; i < kNetCount; ++i) {
        const auto number = static_cast<std::size_t>(table[static_cast<std::size_t>(i)]);
        try {
            runIntoFeatures(*context.nets[number], patches,
                            features + static_cast<std::ptrdiff_t>(i) * kOutputValues);
        } catch (...) {
            failures[number] = std::current_exception();
        }
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure != nullptr) {
            std::rethrow_exception(failure);
        }
    }
}

}  // namespace

const char* whyTemplateIsRefused(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                                 const LandmarkRecord* landmarks) {
    if (image == nullptr) {
        return "no image";
    }
    if (width < 2 || height < 2) {
        return "an image smaller than 2 x 2 pixels";
    }
    if (landmarks == nullptr) {
        return "no landmarks";
    }
    return whyRecordIsRefused(*landmarks);
}

void computeFeatures(ZomuContext& context, const MeanImages& meanImages, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, float* features) {
    const PatchList patches =
        cutFacePatches(context.canvases, meanImages, {image, width, height, stride}, landmarks);
    MatrixList pointers;
    for (const auto& patch : patches) {
        pointers.push_back(patch.get());
    }
    runNetworks(context, pointers, features);
}

void extractTemplate(ZomuContext& context, const ModelTables& tables, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, FaceTemplate& templateOut) {
    const auto features = std::make_unique_for_overwrite<float[]>(kFeatureCount);
    computeFeatures(context, tables.meanImages, image, width, height, stride, landmarks,
                    features.get());
    subtractFeatureMean(tables.featureMean, features.get());
    projectFeatures(tables, features.get(), templateOut);
}

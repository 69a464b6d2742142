#include "inputs.h"

#include <cmath>
#include <map>
#include <memory>

#include "model/model_tables.h"
#include "service/attach.h"
#include "sheets/face_changes.h"
#include "template/template_arithmetic.h"

const FacePicture& photo(double megapixels) {
    static std::map<double, FacePicture> photos;
    auto found = photos.find(megapixels);
    if (found == photos.end()) {
        const FacePicture portrait = loadFacePicture(ZOMU_PORTRAIT ".png", ZOMU_PORTRAIT ".csv");
        const double pixels = 1.0 * portrait.picture.width * portrait.picture.height;
        found = photos.emplace(megapixels, scaled(portrait, std::sqrt(1e6 * megapixels / pixels)))
                    .first;
    }
    return found->second;
}

SourceImage imageOf(const FacePicture& face) {
    return {face.picture.pixels.data(), face.picture.width, face.picture.height,
            3 * face.picture.width};
}

FaceRequest requestOf(const FacePicture& face, FaceTemplate& out) {
    return {imageOf(face), &face.landmarks, &out};
}

const std::string& modelFolder() {
    static const std::string folder = [] {
        attachLibrary();
        return std::string(modelDir);
    }();
    return folder;
}

const Kernels* findKernels(const std::string& name) {
    for (const Kernels* kernels : runnableKernels()) {
        if (name == kernels->name) {
            return kernels;
        }
    }
    return nullptr;
}

ZomuContext& contextWith(const Kernels& kernels, int threads) {
    static std::map<int, std::unique_ptr<ZomuContext>> contexts;
    std::unique_ptr<ZomuContext>& context = contexts[threads];
    if (context == nullptr) {
        context = std::make_unique<ZomuContext>(modelFolder(), threads);
    }
    context->kernels = &kernels;
    return *context;
}

std::vector<float> someFeatures(ZomuContext& context) {
    const FacePicture& face = photo(1.0);
    const SourceImage image = imageOf(face);
    std::vector<float> features(kFeatureCount);
    computeFeatures(context, g_modelTables.meanImages, image.bytes, image.width, image.height,
                    image.stride, face.landmarks, features.data());
    subtractFeatureMean(g_modelTables.featureMean, features.data());
    return features;
}

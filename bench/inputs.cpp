#include "inputs.h"

#include <cmath>
#include <map>
#include <stdexcept>

#include "model/model_tables.h"
#include "service/attach.h"
#include "sheets/face_changes.h"

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

const std::string& modelFolder() {
    static const std::string folder = [] {
        attachLibrary();
        return std::string(modelDir);
    }();
    return folder;
}

ZomuContext& sharedContext() {
    static const auto context = std::make_unique<ZomuContext>(modelFolder());
    return *context;
}

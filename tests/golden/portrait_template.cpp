#include "golden/portrait_template.h"

#include <stdexcept>

#include "landmark_file.h"
#include "model/model_maker.h"
#include "model/model_tables.h"
#include "service/attach.h"
#include "support/environment.h"

Portrait::Portrait() : picture(), landmarks() {
    Problem problem;
    if (!readPicture(ZOMU_EXAMPLE_DATA "/portrait.png", &picture, &problem) ||
        !readLandmarks(ZOMU_EXAMPLE_DATA "/portrait.csv", &landmarks, &problem)) {
        throw std::runtime_error(problem.text);
    }
}

Portrait::~Portrait() {
    freePicture(&picture);
}

FaceTemplate extractPortrait(const Portrait& portrait, const std::string& parent) {
    ModelRequest request;
    request.folder = parent + kModelFolderName;
    request.seed = kGoldenSeed;
    request.weights = WeightKind::integer;
    makeModel(request, [](int, int, const std::string&) {});

    setVariable(kTemporaryVariable, parent);
    attachLibrary();
    ZomuContext* context = ZomuCreate();
    FaceTemplate result;
    ZomuExtractTemplate(context, portrait.picture.pixels, portrait.picture.width,
                        portrait.picture.height, portrait.picture.stride, &portrait.landmarks,
                        &result);
    ZomuDestroy(context);
    return result;
}

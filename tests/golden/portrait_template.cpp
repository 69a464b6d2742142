#include "golden/portrait_template.h"

#include <stdexcept>

#include "landmark_file.h"
#include "model/model_tables.h"
#include "service/attach.h"
#include "support/environment.h"
#include "support/made_model.h"

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
    ModelRequest request = requestFor(parent + kModelFolderName);
    request.seed = kGoldenSeed;
    makeModel(request, noProgress);

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

#include "golden/portrait_template.h"

#include "model/model_tables.h"
#include "service/attach.h"
#include "support/environment.h"
#include "support/made_model.h"

FacePicture loadPortrait() {
    return loadFacePicture(ZOMU_EXAMPLE_DATA "/portrait.png", ZOMU_EXAMPLE_DATA "/portrait.csv");
}

FaceTemplate extractPortrait(const std::string& parent) {
    ModelRequest request = requestFor(parent + kModelFolderName);
    request.seed = kGoldenSeed;
    makeModel(request, noProgress);

    setVariable(kTemporaryVariable, parent);
    attachLibrary();
    ZomuContext* context = ZomuCreate();
    const auto [picture, landmarks] = loadPortrait();
    FaceTemplate result;
    ZomuExtractTemplate(context, picture.pixels.data(), picture.width, picture.height,
                        3 * picture.width, &landmarks, &result);
    ZomuDestroy(context);
    return result;
}

#include "golden/portrait_template.h"

#include "model/model_pack.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "service/attach.h"
#include "service/context.h"
#include "service/extraction.h"
#include "support/environment.h"
#include "support/made_model.h"

FacePicture loadPortrait() {
    return loadFacePicture(ZOMU_EXAMPLE_DATA "/portrait.png", ZOMU_EXAMPLE_DATA "/portrait.csv");
}

void loadGoldenModel(GoldenModel model, const std::string& parent) {
    const std::string folder = parent + kModelFolderName;
    if (model == GoldenModel::integer) {
        ModelRequest request = requestFor(folder);
        request.seed = kGoldenSeed;
        makeModel(request, noProgress);
    } else {
        unpackModel(ZOMU_DEMONSTRATION_MODEL, folder, true);
    }
    setVariable(kTemporaryVariable, parent);
    attachLibrary();
}

FaceTemplate extractPortrait(const Kernels* kernels) {
    ZomuContext context(modelDir);
    if (kernels != nullptr) {
        context.kernels = kernels;
    } else {
        for (const auto& net : context.nets) {
            net->plan.reset();
        }
    }
    const auto [picture, landmarks] = loadPortrait();
    FaceTemplate result;
    extractTemplate(context, g_modelTables, picture.pixels.data(), picture.width, picture.height,
                    3 * picture.width, landmarks, result);
    return result;
}

#include "matrix/float_mode.h"
#include "model/model_tables.h"
#include "platform/process.h"
#include "service/context.h"
#include "service/extraction.h"
#include "service/refusal.h"
#include "template/comparison.h"
#include "zomu.h"

ZomuContext* ZomuCreate() {
    const DefaultFloatMode mode;
    // The numbers in descriptions are parsed in the default mode, too.
    return std::make_unique<ZomuContext>(modelDir).release();
}

void ZomuExtractTemplate(ZomuContext* context, const std::uint8_t* image, std::int32_t width,
                         std::int32_t height, std::int32_t stride, const LandmarkRecord* landmarks,
                         FaceTemplate* templateOut) {
    // Without a context or a template there is nothing to compute or to fill.
    RecordCopy copy;
    if (context == nullptr || templateOut == nullptr ||
        refuseRequest(image, width, height, landmarks, copy, *templateOut)) {
        return;
    }
    const DefaultFloatMode mode;
    extractTemplate(*context, g_modelTables, image, width, height, stride, copy.record(),
                    *templateOut);
}

float ZomuCompareTemplates(const FaceTemplate* a, const FaceTemplate* b) {
    const DefaultFloatMode mode;
    return compareTemplates(*a, *b);
}

void ZomuDestroy(ZomuContext* context) {
    if (context != nullptr) {
        closeLibrary(destroyContext(context));
    }
}

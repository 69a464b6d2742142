#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>

#include "matrix/float_mode.h"
#include "model/model_tables.h"
#include "platform/process.h"
#include "service/context.h"
#include "service/extraction.h"
#include "template/comparison.h"
#include "zomu.h"

namespace {

void refuseTemplate(const char* reason, FaceTemplate& templateOut) {
    std::printf("template refused: %s\n", reason);
    std::fflush(stdout);
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    std::fill(std::begin(templateOut.projection), std::end(templateOut.projection), kNaN);
    templateOut.quadraticTerm = kNaN;
    templateOut.projectionNorm = kNaN;
}

// Returns what has kept the library in memory.
void* destroy(ZomuContext* context) {
    const std::unique_ptr<ZomuContext> owned(context);
    return owned->library.handOver();
}

}  // namespace

ZomuContext* ZomuCreate() {
    const DefaultFloatMode mode;
    // The numbers in descriptions are parsed in the default mode, too.
    return std::make_unique<ZomuContext>(modelDir).release();
}

void ZomuExtractTemplate(ZomuContext* context, const std::uint8_t* image, std::int32_t width,
                         std::int32_t height, std::int32_t stride, const LandmarkRecord* landmarks,
                         FaceTemplate* templateOut) {
    // Without a context or a template there is nothing to compute or to fill.
    if (context == nullptr || templateOut == nullptr) {
        return;
    }
    const char* reason = whyTemplateIsRefused(image, width, height, landmarks);
    if (reason != nullptr) {
        refuseTemplate(reason, *templateOut);
        return;
    }
    const DefaultFloatMode mode;
    extractTemplate(*context, g_modelTables, image, width, height, stride, *landmarks,
                    *templateOut);
}

float ZomuCompareTemplates(const FaceTemplate* a, const FaceTemplate* b) {
    const DefaultFloatMode mode;
    return compareTemplates(*a, *b);
}

void ZomuDestroy(ZomuContext* context) {
    if (context != nullptr) {
        closeLibrary(destroy(context));
    }
}

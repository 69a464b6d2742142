// The functions of the library for batches. Linked into nothing else.
#include <array>
#include <cstddef>
#include <memory>
#include <span>

#include "matrix/float_mode.h"
#include "model/model_tables.h"
#include "platform/process.h"
#include "service/context.h"
#include "service/extraction.h"
#include "service/refusal.h"
#include "zomu_batch.h"

// A context like any other. A type of its own keeps the handles of the two libraries apart.
struct ZomuBatchContext : ZomuContext {
    using ZomuContext::ZomuContext;
};

ZomuBatchContext* ZomuBatchCreate() {
    const DefaultFloatMode mode;
    return std::make_unique<ZomuBatchContext>(modelDir).release();
}

// Refused requests take no place among the faces that are computed together.
void ZomuBatchExtract(ZomuBatchContext* context, const ZomuBatchRequest* requests,
                      std::size_t count) {
    if (context == nullptr || requests == nullptr) {
        return;
    }
    const DefaultFloatMode mode;
    std::array<FaceRequest, kFacesAtOnce> faces;
    std::array<RecordCopy, kFacesAtOnce> records;
    std::size_t accepted = 0;
    for (const ZomuBatchRequest request : std::span(requests, count)) {  // a copy, as of the record
        RecordCopy& record = records[accepted];
        if (request.templateOut == nullptr ||
            refuseRequest(request.image, request.width, request.height, request.landmarks, record,
                          *request.templateOut)) {
            continue;
        }
        faces[accepted++] = {{request.image, request.width, request.height, request.stride},
                             &record.record(),
                             request.templateOut};
        if (accepted == faces.size()) {
            extractTemplates(*context, g_modelTables, faces);
            accepted = 0;
        }
    }
    extractTemplates(*context, g_modelTables, std::span(faces).first(accepted));
}

void ZomuBatchDestroy(ZomuBatchContext* context) {
    if (context != nullptr) {
        closeLibrary(destroyContext(context));
    }
}

/* The header for batches in C, and the library linked in the ordinary way: one call of each function. */
#include "zomu_batch.h"

#include <stddef.h>
#include <stdio.h>

_Static_assert(offsetof(ZomuBatchRequest, image) == 0, "");
_Static_assert(offsetof(ZomuBatchRequest, width) == sizeof(void*), "");
_Static_assert(offsetof(ZomuBatchRequest, stride) == sizeof(void*) + 8, "");
_Static_assert(sizeof(void*) != 8 || sizeof(ZomuBatchRequest) == 40, "");

int main(void) {
    ZomuBatchContext* context = ZomuBatchCreate();
    FaceTemplate face;
    const ZomuBatchRequest request = {NULL, 200, 100, 600, NULL, &face};
    ZomuBatchExtract(context, &request, 1);
    ZomuBatchDestroy(context);
    if (context == NULL || face.projectionNorm == face.projectionNorm) {
        fputs("expected a context and a template of NaN\n", stderr);
        return 1;
    }
    return 0;
}

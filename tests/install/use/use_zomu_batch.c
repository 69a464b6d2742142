/* A host in C of the library for batches: a request that is refused, which needs no model. */
#include <stdio.h>
#include <zomu_batch.h>

int main(void) {
    FaceTemplate face;
    const ZomuBatchRequest request = {NULL, 0, 0, 0, NULL, &face};
    ZomuBatchContext* context = ZomuBatchCreate();
    ZomuBatchExtract(context, &request, 1);
    ZomuBatchDestroy(context);
    printf("length %.1f\n", (double)face.projectionNorm);
    return 0;
}

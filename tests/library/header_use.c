/* The public header in C, and the library linked in the ordinary way: one call of each function. */
#include "zomu.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

_Static_assert(sizeof(FaceTemplate) == 2008, "");
_Static_assert(sizeof(LandmarkRecord) == 356, "");
_Static_assert(offsetof(LandmarkRecord, entries) == 8, "");

int main(void) {
    ZomuContext* context = ZomuCreate();
    FaceTemplate face;
    LandmarkRecord record;
    memset(&record, 0, sizeof record);
    ZomuExtractTemplate(context, NULL, 200, 100, 600, &record, &face);
    ZomuDestroy(context);
    if (context == NULL || face.projectionNorm == face.projectionNorm) {
        fputs("expected a context and a template of NaN\n", stderr);
        return 1;
    }

    memset(&face, 0, sizeof face);
    face.projection[0] = 3.0F;
    face.projection[1] = 4.0F;
    face.quadraticTerm = 10.0F;
    face.projectionNorm = 5.0F;
    printf("score %.6g\n", (double)ZomuCompareTemplates(&face, &face));
    return 0;
}

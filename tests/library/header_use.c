/* The public headers in C, and the library linked in the ordinary way: one call of each function. */
#include "zomu.h"
#include "zomu_check.h"

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
    ZomuFaceView view;
    ZomuNearFace(NULL, 200, 100, 600, &record, &view);
    ZomuExtractTemplate(context, view.image, view.width, view.height, view.stride, view.landmarks,
                        &face);
    ZomuDestroy(context);
    if (context == NULL || face.projectionNorm == face.projectionNorm) {
        fputs("expected a context and a template of NaN\n", stderr);
        return 1;
    }

    ZomuLandmarkReport report;
    if (ZomuCheckLandmarks(&record, 200, 100, &report) != ZOMU_LANDMARKS_RECORD) {
        fputs("expected a fault\n", stderr);
        return 1;
    }
    puts(strstr(report.text, "25"));

    memset(&face, 0, sizeof face);
    face.projection[0] = 3.0F;
    face.projection[1] = 4.0F;
    face.quadraticTerm = 10.0F;
    face.projectionNorm = 5.0F;
    printf("score %.6g\n", (double)ZomuCompareTemplates(&face, &face));
    return 0;
}

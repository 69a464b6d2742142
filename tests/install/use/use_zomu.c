/* A host in C: what is wrong with no landmarks, and the score of two templates that are written here, which needs no model. */
#include <stdio.h>
#include <string.h>
#include <zomu.h>
#include <zomu_check.h>

static FaceTemplate withValues(float first, float second, float quadraticTerm) {
    FaceTemplate face;
    memset(&face, 0, sizeof face);
    face.projection[0] = first;
    face.projection[1] = second;
    face.quadraticTerm = quadraticTerm;
    face.projectionNorm = 5.0F;
    return face;
}

int main(void) {
    const FaceTemplate a = withValues(3.0F, 4.0F, 10.0F);
    const FaceTemplate b = withValues(4.0F, 3.0F, 10.0F);
    ZomuDestroy(NULL);
    ZomuLandmarkReport report;
    printf("%s\n", ZomuLandmarkFaultName(ZomuCheckLandmarks(NULL, 2, 2, &report)));
    printf("from C %.4f\n", (double)ZomuCompareTemplates(&a, &b));
    return 0;
}

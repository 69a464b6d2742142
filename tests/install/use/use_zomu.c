/* A host in C: the score of two templates that are written here, which needs no model. */
#include <stdio.h>
#include <string.h>
#include <zomu.h>

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
    printf("from C %.4f\n", (double)ZomuCompareTemplates(&a, &b));
    return 0;
}

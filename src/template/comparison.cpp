#include "template/comparison.h"

#include "matrix/float_rules.h"

// One accumulator, strictly in index order, every product rounded before it is added: the score has
// the same bits everywhere.
float compareTemplates(const FaceTemplate& a, const FaceTemplate& b) {
    float dot = 0.0F;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        dot = dot + a.projection[i] * b.projection[i];
    }
    float t = dot * 2.0F;
    const float q = a.quadraticTerm + b.quadraticTerm;
    t = t - q;
    const float d = a.projectionNorm * b.projectionNorm;
    t = t / d;
    return t + 1.0F;
}

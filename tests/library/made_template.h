// A template that needs no model, as an extraction could have given it.
#ifndef ZOMU_TESTS_LIBRARY_MADE_TEMPLATE_H
#define ZOMU_TESTS_LIBRARY_MADE_TEMPLATE_H

#include <cmath>
#include <cstdint>
#include <numeric>

#include "zomu.hpp"

// Value i is i / 7 times `scale`, and the bytes of the model's fingerprint count from 0.
inline ZomuTemplate madeTemplate(float scale = 1.0F) {
    ZomuTemplate made;
    double squares = 0.0;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        const float value = scale * static_cast<float>(i) / 7;
        made.face.projection[i] = value;
        squares += static_cast<double>(value) * static_cast<double>(value);
    }
    made.face.quadraticTerm = 1.5F;
    made.face.projectionNorm = static_cast<float>(std::sqrt(squares));
    std::iota(made.model.begin(), made.model.end(), std::uint8_t{0});
    return made;
}

#endif

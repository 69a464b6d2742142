// The templates of the sample portrait under two models: the same bits on every machine.
#ifndef ZOMU_TESTS_GOLDEN_PORTRAIT_TEMPLATE_H
#define ZOMU_TESTS_GOLDEN_PORTRAIT_TEMPLATE_H

#include <cstdint>
#include <string>

#include "kernels/kernels.h"
#include "sheets/face_picture.h"
#include "zomu.h"

enum class GoldenModel {
    integer,        // made with kGoldenSeed; every sum inside the networks is exact
    demonstration,  // models/rendered-people.pack; every sum has its one order
};

constexpr std::uint64_t kGoldenSeed = 1;

FacePicture loadPortrait();

// Makes or unpacks the model in the temporary folder `parent` (a separator at its end), and loads the
// tables from there.
void loadGoldenModel(GoldenModel model, const std::string& parent);

// The portrait's template under the model that is loaded. With null in place of kernels, the networks
// run as layers.
FaceTemplate extractPortrait(const Kernels* kernels);

#endif

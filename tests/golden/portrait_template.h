// The template of the sample portrait under an integer model: the same bits on every machine.
#ifndef ZOMU_TESTS_GOLDEN_PORTRAIT_TEMPLATE_H
#define ZOMU_TESTS_GOLDEN_PORTRAIT_TEMPLATE_H

#include <cstdint>
#include <string>

#include "sheets/face_picture.h"
#include "zomu.h"

// Everything the template depends on besides the code.
constexpr std::uint64_t kGoldenSeed = 1;  // of the integer model

FacePicture loadPortrait();

// Makes the integer model in a temporary folder `parent` (a separator at its end), loads the tables
// from there, and extracts.
FaceTemplate extractPortrait(const std::string& parent);

#endif

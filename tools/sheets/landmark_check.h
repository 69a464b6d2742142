// Whether landmarks lie like those of a face: swapped sides, swapped pairs, a wrong order.
#ifndef ZOMU_TOOLS_SHEETS_LANDMARK_CHECK_H
#define ZOMU_TOOLS_SHEETS_LANDMARK_CHECK_H

#include <string>

#include "zomu.h"

// Says in one sentence what looks wrong with the landmarks of a face, or nothing: the empty text.
// The record has ids of landmarks only, each once, and 0, 1 and 45 among them.
std::string landmarkWarning(const LandmarkRecord& record);

#endif

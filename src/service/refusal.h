// Requests that no template can be made of.
#ifndef ZOMU_SERVICE_REFUSAL_H
#define ZOMU_SERVICE_REFUSAL_H

#include <cstdint>

#include "patches/landmarks.h"
#include "zomu.h"

// Whether the request is refused. If so, its line has been printed and the template is NaN. Otherwise
// `copy` holds the landmarks.
bool refuseRequest(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                   const LandmarkRecord* landmarks, RecordCopy& copy, FaceTemplate& templateOut);

#endif

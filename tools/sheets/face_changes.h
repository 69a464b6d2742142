// Changes that leave a face the same person: the picture and its landmarks are changed together.
#ifndef ZOMU_TOOLS_SHEETS_FACE_CHANGES_H
#define ZOMU_TOOLS_SHEETS_FACE_CHANGES_H

#include <cstdint>

#include "sheets/face_picture.h"

// Clockwise about the centre of the picture, which keeps its size; beyond its edges the picture
// continues as its own reflection.
FacePicture turned(const FacePicture& face, double degrees);

// Every pixel `factor` times as large. Smaller pictures are averaged, larger ones interpolated.
FacePicture scaled(const FacePicture& face, double factor);

// Left and right swapped, in the picture and in the ids.
FacePicture mirrored(const FacePicture& face);

// Every channel times `factor`, from 0 to 1.
FacePicture darkened(const FacePicture& face, double factor);

// Noise of standard deviation `sigma` in every channel.
FacePicture withNoise(const FacePicture& face, double sigma, std::uint64_t seed);

// The landmark that takes the place of `id` in a mirror.
std::int32_t mirroredId(std::int32_t id);

#endif

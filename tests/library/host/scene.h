// Pictures with a face in them, the same ones in every run.
#ifndef ZOMU_TESTS_LIBRARY_HOST_SCENE_H
#define ZOMU_TESTS_LIBRARY_HOST_SCENE_H

#include <cstdint>

#include "support/faces.h"
#include "support/pictures.h"
#include "support/random.h"
#include "zomu.h"

struct Scene {
    Picture picture;
    LandmarkRecord record;
};

// The head is so large that every alignment reaches beyond all four edges of the picture.
inline Scene scene(int number) {
    Random random(1000 + static_cast<std::uint64_t>(number));
    Scene result{randomPicture(random, 203, 150, 3 * 203), {}};
    HeadView view;
    view.yaw = 8.0 * number - 12.0;
    view.pitch = 5;
    view.roll = 3.0 * number;
    view.scale = 8.5;
    view.x = 100;
    view.y = 80;
    result.record = projectFace(view);
    jitter(result.record, random, 0.8F);
    return result;
}

#endif

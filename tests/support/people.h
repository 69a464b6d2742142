// The faces that are stored in examples/data: the portrait, and rendered people.
#ifndef ZOMU_TESTS_SUPPORT_PEOPLE_H
#define ZOMU_TESTS_SUPPORT_PEOPLE_H

#include <string>
#include <vector>

#include "sheets/face_picture.h"

constexpr int kPeople = 12;
constexpr int kPhotosOfAPerson = 4;

inline FacePicture portrait() {
    return loadFacePicture(ZOMU_SAMPLES "/portrait.png", ZOMU_SAMPLES "/portrait.csv");
}

inline FacePicture person(int number, int photo = 0) {
    const std::string stem = ZOMU_SAMPLES "/people/photos/" + std::to_string(90000 + number) +
                             "/0" + std::to_string(photo);
    return loadFacePicture(stem + ".jpg", stem + ".csv");
}

// The landmarks of all of them.
inline std::vector<LandmarkRecord> allLandmarks() {
    std::vector<LandmarkRecord> records = {portrait().landmarks};
    for (int number = 0; number < kPeople; ++number) {
        for (int photo = 0; photo < kPhotosOfAPerson; ++photo) {
            records.push_back(person(number, photo).landmarks);
        }
    }
    return records;
}

#endif

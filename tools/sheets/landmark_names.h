// What the 29 landmarks mark, and which of them face each other.
#ifndef ZOMU_TOOLS_SHEETS_LANDMARK_NAMES_H
#define ZOMU_TOOLS_SHEETS_LANDMARK_NAMES_H

#include <cstdint>

constexpr const char* kLandmarkGroups[] = {"Eyes", "Brows", "Nose", "Mouth", "Head"};
constexpr int kHeadGroup = 4;

// A pair, left of the picture and right of it, or with -1 a landmark on the midline.
struct LandmarkName {
    int group;
    std::int32_t left, right;
    const char* place;

    constexpr bool isPair() const { return right >= 0; }
};

constexpr LandmarkName kLandmarkNames[] = {{0, 0, 1, "centre of the eye"},
                                           {0, 223, 225, "outer corner"},
                                           {0, 221, 227, "inner corner"},
                                           {0, 222, 226, "lower lid"},
                                           {1, 2, 5, "outer end"},
                                           {1, 300, 302, "middle"},
                                           {1, 3, 4, "inner end"},
                                           {2, 6, -1, "between the eyes"},
                                           {2, 9, -1, "tip"},
                                           {2, 200, -1, "base"},
                                           {2, 44, 43, "wing"},
                                           {3, 12, 13, "corner"},
                                           {3, 10, -1, "upper lip"},
                                           {3, 45, -1, "centre"},
                                           {3, 11, -1, "lower lip"},
                                           {kHeadGroup, 314, -1, "chin"},
                                           {kHeadGroup, 240, 241, "side of the head"},
                                           {kHeadGroup, 315, 316, "angle of the jaw"}};

#endif

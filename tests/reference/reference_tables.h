// The constant tables once more, row by row in the order a reader would write them down. The
// library has its own copies: a typing error in either of them shows as soon as the two disagree.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_TABLES_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_TABLES_H

struct ReferenceLandmark {
    int id;
    int keptPosition;  // -1: at the side of the head, addresses no patch
    float X, Y, Z;     // head model
};

// In the order of the model's rows.
inline constexpr ReferenceLandmark kReferenceLandmarks[29] = {
    {0, 0, -3.227F, -3.484F, 9.589F},     {1, 1, 3.05F, -3.546F, 9.59F},
    {2, 2, -5.7F, -4.652F, 8.292F},       {3, 3, -1.549F, -5.085F, 10.83F},
    {4, 4, 1.612F, -5.106F, 10.83F},      {5, 5, 5.705F, -4.704F, 8.148F},
    {6, 6, -0.0185F, -3.543F, 11.07F},    {9, 7, 0.01795F, -0.2319F, 13.32F},
    {10, 8, -0.02015F, 2.274F, 11.62F},   {11, 9, -0.04147F, 4.102F, 11.41F},
    {12, 10, -2.673F, 3.301F, 10.002F},   {13, 11, 2.528F, 3.315F, 9.962F},
    {43, 12, 1.661F, 0.3568F, 10.66F},    {44, 13, -1.74F, 0.2793F, 10.69F},
    {45, 14, 0.07737F, 3.101F, 11.32F},   {200, 15, -0.01402F, 1.045F, 11.69F},
    {221, 16, -1.782F, -3.277F, 9.267F},  {222, 17, -3.255F, -2.946F, 9.531F},
    {223, 18, -4.436F, -3.397F, 8.747F},  {225, 19, 4.376F, -3.418F, 8.762F},
    {226, 20, 3.056F, -2.961F, 9.522F},   {227, 21, 1.626F, -3.367F, 9.263F},
    {240, -1, -7.386F, 0.05087F, 1.039F}, {241, -1, 7.377F, 0.0564F, 1.298F},
    {300, 22, -3.956F, -5.678F, 10.06F},  {302, 23, 3.664F, -5.768F, 10.18F},
    {314, 24, -0.0435F, 6.917F, 10.75F},  {315, -1, -6.365F, 3.718F, 3.913F},
    {316, -1, 6.252F, 3.752F, 3.822F},
};

struct ReferencePatch {
    int size;
    int canonicalEyeSpan;
    float shiftFactor;
    bool isColour;
    int sideMargin;
    int capMargin;
    int firstCentre;  // kept positions
    int secondCentre;
};

inline constexpr ReferencePatch kReferencePatches[25] = {
    {55, 12, 0.0F, true, 4, 0, 6, 6},      // patch 0
    {55, 18, 0.0F, true, 4, 0, 6, 6},      // patch 1
    {47, 33, 0.0F, true, 0, 0, 2, 5},      // patch 2
    {47, 18, 0.0F, false, 0, 0, 10, 11},   // patch 3
    {47, 27, 0.3333F, true, 0, 0, 6, 6},   // patch 4
    {47, 33, 0.0F, false, 0, 0, 9, 9},     // patch 5
    {47, 33, 0.0F, false, 0, 0, 18, 19},   // patch 6
    {47, 30, 0.0F, true, 0, 0, 13, 12},    // patch 7
    {47, 33, 0.0F, false, 0, 0, 0, 1},     // patch 8
    {47, 30, 0.0F, false, 0, 0, 10, 11},   // patch 9
    {47, 12, 0.0F, true, 0, 3, 15, 15},    // patch 10
    {47, 33, 0.0F, false, 0, 0, 15, 15},   // patch 11
    {47, 15, 0.3333F, false, 0, 6, 6, 6},  // patch 12
    {47, 30, 0.0F, true, 0, 0, 13, 12},    // patch 13
    {47, 15, -1.0F, false, 0, 3, 6, 6},    // patch 14
    {47, 24, 0.0F, false, 0, 0, 15, 15},   // patch 15
    {47, 18, 0.0F, true, 0, 0, 14, 14},    // patch 16
    {47, 30, 0.0F, false, 0, 0, 3, 4},     // patch 17
    {47, 33, 0.0F, true, 0, 0, 7, 7},      // patch 18
    {47, 21, 0.3333F, false, 0, 0, 6, 6},  // patch 19
    {47, 33, 0.0F, true, 0, 0, 0, 1},      // patch 20
    {47, 18, 0.0F, false, 0, 0, 22, 23},   // patch 21
    {47, 33, 0.0F, true, 0, 0, 10, 11},    // patch 22
    {47, 18, 0.0F, false, 0, 0, 15, 15},   // patch 23
    {47, 33, 0.0F, true, 0, 0, 3, 4},      // patch 24
};

#endif

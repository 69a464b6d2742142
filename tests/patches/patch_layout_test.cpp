#include "patches/patch_layout.h"

#include <gtest/gtest.h>

#include <string>

#include "patches/sample_face.h"
#include "model/model_tables.h"
#include "support/bits.h"

namespace {

// One patch a row, with the centres by landmark id where the table itself holds kept positions.
struct PatchRow {
    int size;
    int canonicalEyeSpan;
    float shiftFactor;
    int isColour;
    int sideMargin;
    int capMargin;
    int firstId;
    int secondId;
};

constexpr PatchRow kPatches[25] = {
    {55, 12, 0.0F, 1, 4, 0, 6, 6},     {55, 18, 0.0F, 1, 4, 0, 6, 6},
    {47, 33, 0.0F, 1, 0, 0, 2, 5},     {47, 18, 0.0F, 0, 0, 0, 12, 13},
    {47, 27, 0.3333F, 1, 0, 0, 6, 6},  {47, 33, 0.0F, 0, 0, 0, 11, 11},
    {47, 33, 0.0F, 0, 0, 0, 223, 225}, {47, 30, 0.0F, 1, 0, 0, 44, 43},
    {47, 33, 0.0F, 0, 0, 0, 0, 1},     {47, 30, 0.0F, 0, 0, 0, 12, 13},
    {47, 12, 0.0F, 1, 0, 3, 200, 200}, {47, 33, 0.0F, 0, 0, 0, 200, 200},
    {47, 15, 0.3333F, 0, 0, 6, 6, 6},  {47, 30, 0.0F, 1, 0, 0, 44, 43},
    {47, 15, -1.0F, 0, 0, 3, 6, 6},    {47, 24, 0.0F, 0, 0, 0, 200, 200},
    {47, 18, 0.0F, 1, 0, 0, 45, 45},   {47, 30, 0.0F, 0, 0, 0, 3, 4},
    {47, 33, 0.0F, 1, 0, 0, 9, 9},     {47, 21, 0.3333F, 0, 0, 0, 6, 6},
    {47, 33, 0.0F, 1, 0, 0, 0, 1},     {47, 18, 0.0F, 0, 0, 0, 300, 302},
    {47, 33, 0.0F, 1, 0, 0, 12, 13},   {47, 18, 0.0F, 0, 0, 0, 200, 200},
    {47, 33, 0.0F, 1, 0, 0, 3, 4},
};

int keptPositionOf(int id) {
    for (const ContractRow& row : kContract)
        if (row.id == id)
            return row.keptPosition;
    return -1;
}

}  // namespace

TEST(PatchLayout, holdsTheTwentyFivePatches) {
    for (int i = 0; i < kPatchCount; ++i) {
        SCOPED_TRACE("patch " + std::to_string(i));
        const PatchRow& expected = kPatches[i];
        EXPECT_EQ(expected.size, kPatchLayout.size[i]);
        EXPECT_EQ(expected.canonicalEyeSpan, kPatchLayout.canonicalEyeSpan[i]);
        EXPECT_TRUE(sameFloat(expected.shiftFactor, kPatchLayout.shiftFactor[i]));
        EXPECT_EQ(expected.isColour, kPatchLayout.isColour[i]);
        EXPECT_EQ(expected.sideMargin, kPatchLayout.sideMargin[i]);
        EXPECT_EQ(expected.capMargin, kPatchLayout.capMargin[i]);
        EXPECT_EQ(keptPositionOf(expected.firstId), kPatchLayout.firstCentre[i]);
        EXPECT_EQ(keptPositionOf(expected.secondId), kPatchLayout.secondCentre[i]);
    }
}

TEST(PatchLayout, everyPatchHasACentrePixelAndFitsItsMeanImage) {
    for (int i = 0; i < kPatchCount; ++i) {
        const int size = kPatchLayout.size[i];
        const int planes = kPatchLayout.isColour[i] == 1 ? 3 : 1;
        EXPECT_EQ(1, size % 2) << "patch " << i;
        EXPECT_LE(planes * size * size, kMeanImageRoom) << "patch " << i;
        EXPECT_LT(2 * kPatchLayout.sideMargin[i], size) << "patch " << i;
        EXPECT_LT(2 * kPatchLayout.capMargin[i], size) << "patch " << i;
    }
}

TEST(PatchLayout, centresAreAMidlineLandmarkOrALeftRightPair) {
    int pairs = 0;
    for (int i = 0; i < kPatchCount; ++i) {
        const ContractRow* first = nullptr;
        const ContractRow* second = nullptr;
        for (const ContractRow& row : kContract) {
            if (row.keptPosition == kPatchLayout.firstCentre[i])
                first = &row;
            if (row.keptPosition == kPatchLayout.secondCentre[i])
                second = &row;
        }
        ASSERT_NE(nullptr, first) << "patch " << i;
        ASSERT_NE(nullptr, second) << "patch " << i;
        if (first == second) {
            EXPECT_NEAR(0.0F, first->X, 0.1) << "patch " << i;
            continue;
        }
        ++pairs;
        EXPECT_LT(first->X, -1.0F) << "patch " << i;
        EXPECT_NEAR(-first->X, second->X, 0.3) << "patch " << i;
        EXPECT_NEAR(first->Y, second->Y, 0.1) << "patch " << i;
    }
    EXPECT_EQ(12, pairs);
}

TEST(PatchLayout, shiftFactorIsTheLiteralAndNoThird) {
    EXPECT_TRUE(sameFloat(0.3333F, kPatchLayout.shiftFactor[4]));
    EXPECT_FALSE(sameFloat(1.0F / 3.0F, kPatchLayout.shiftFactor[4]));
}

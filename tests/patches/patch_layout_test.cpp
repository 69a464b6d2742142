#include "patches/patch_layout.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "model/model_tables.h"
#include "reference/reference_tables.h"
#include "support/bits.h"
#include "support/digest.h"

TEST(PatchLayout, hasTheDigestThatItShould) {
    Digest digest;
    for (int i = 0; i < kPatchCount; ++i) {
        digest.add(kPatchLayout.size[i]);
        digest.add(kPatchLayout.canonicalEyeSpan[i]);
        digest.add(kPatchLayout.shiftFactor[i]);
        digest.add(kPatchLayout.isColour[i]);
        digest.add(kPatchLayout.sideMargin[i]);
        digest.add(kPatchLayout.capMargin[i]);
        digest.add(kPatchLayout.firstCentre[i]);
        digest.add(kPatchLayout.secondCentre[i]);
    }
    EXPECT_EQ(17210241668816295116U, digest.value());
}

TEST(PatchLayout, holdsValuesReadOffByHand) {
    EXPECT_EQ(55, kPatchLayout.size[1]);
    EXPECT_EQ(47, kPatchLayout.size[2]);
    EXPECT_EQ(12, kPatchLayout.canonicalEyeSpan[0]);
    EXPECT_EQ(33, kPatchLayout.canonicalEyeSpan[24]);
    EXPECT_EQ(1, kPatchLayout.isColour[22]);
    EXPECT_EQ(0, kPatchLayout.isColour[23]);
    EXPECT_EQ(4, kPatchLayout.sideMargin[0]);
    EXPECT_EQ(6, kPatchLayout.capMargin[12]);
    EXPECT_TRUE(sameFloat(-1.0F, kPatchLayout.shiftFactor[14]));
    EXPECT_TRUE(sameFloat(0.3333F, kPatchLayout.shiftFactor[4]));
    EXPECT_FALSE(sameFloat(1.0F / 3.0F, kPatchLayout.shiftFactor[4]));
}

TEST(PatchLayout, givesEveryPatchACentrePixelAndAMeanImageThatItFits) {
    for (int i = 0; i < kPatchCount; ++i) {
        const int size = kPatchLayout.size[i];
        const int planes = kPatchLayout.isColour[i] == 1 ? 3 : 1;
        EXPECT_EQ(1, size % 2) << "patch " << i;
        EXPECT_LE(planes * size * size, kMeanImageRoom) << "patch " << i;
        EXPECT_LT(2 * kPatchLayout.sideMargin[i], size) << "patch " << i;
        EXPECT_LT(2 * kPatchLayout.capMargin[i], size) << "patch " << i;
    }
}

// A midline landmark for both crops, or a left-right pair, the image-left one first.
TEST(PatchLayout, centresPatchesOnAMidlineLandmarkOrALeftRightPair) {
    const auto landmarkAt = [](std::int32_t position) {
        int row = 0;
        while (kReferenceLandmarks[row].keptPosition != position) {
            ++row;
        }
        return kReferenceLandmarks[row];
    };
    int pairs = 0;
    for (int i = 0; i < kPatchCount; ++i) {
        const ReferenceLandmark first = landmarkAt(kPatchLayout.firstCentre[i]);
        const ReferenceLandmark second = landmarkAt(kPatchLayout.secondCentre[i]);
        const bool isPair = first.id != second.id;
        pairs += isPair ? 1 : 0;
        EXPECT_TRUE(isPair ? first.X < -1.0F : first.X > -0.1F) << "patch " << i;
        EXPECT_NEAR(-first.X, second.X, 0.3) << "patch " << i;
        EXPECT_NEAR(first.Y, second.Y, 0.1) << "patch " << i;
    }
    EXPECT_EQ(12, pairs);
}

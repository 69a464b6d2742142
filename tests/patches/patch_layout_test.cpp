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

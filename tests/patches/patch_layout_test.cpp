#include "patches/patch_layout.h"

#include <gtest/gtest.h>

#include "reference/reference_tables.h"
#include "support/bits.h"

TEST(PatchLayout, equalsTheReferencesTable) {
    for (int patch = 0; patch < kPatchCount; ++patch) {
        SCOPED_TRACE(patch);
        const ReferencePatch& expected = kReferencePatches[patch];
        EXPECT_EQ(expected.size, kPatchLayout.size[patch]);
        EXPECT_EQ(expected.canonicalEyeSpan, kPatchLayout.canonicalEyeSpan[patch]);
        EXPECT_TRUE(sameFloat(expected.shiftFactor, kPatchLayout.shiftFactor[patch]));
        EXPECT_EQ(expected.isColour ? 1 : 0, kPatchLayout.isColour[patch]);
        EXPECT_EQ(expected.sideMargin, kPatchLayout.sideMargin[patch]);
        EXPECT_EQ(expected.capMargin, kPatchLayout.capMargin[patch]);
        EXPECT_EQ(expected.firstCentre, kPatchLayout.firstCentre[patch]);
        EXPECT_EQ(expected.secondCentre, kPatchLayout.secondCentre[patch]);
    }
}

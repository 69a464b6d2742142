// The sheets of zomu-inspect: every patch is on them, and no face that the library takes stops
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "patches/face_patches.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
#include "sheets/landmark_sheet.h"
#include "sheets/patch_sheet.h"
#include "sheets/sheet_style.h"
#include "support/faces.h"
#include "support/people.h"

namespace {

long countPixels(const BgrPicture& sheet, std::uint8_t blue, std::uint8_t green, std::uint8_t red) {
    const std::uint8_t wanted[3] = {blue, green, red};
    long count = 0;
    for (std::size_t i = 0; i < sheet.pixels.size(); i += 3) {
        count += std::memcmp(sheet.pixels.data() + i, wanted, 3) == 0;
    }
    return count;
}

// Pixels of the sheet that show values of patches with or without colour: three times three for
// each.
long livePixels(bool colour) {
    long count = 0;
    for (int k = 0; k < kPatchCount; ++k) {
        const long size = kPatchLayout.size[k];
        const long side = kPatchLayout.sideMargin[k];
        const long cap = side > 0 ? 0 : kPatchLayout.capMargin[k];
        if ((kPatchLayout.isColour[k] != 0) == colour) {
            count += 2 * 9 * (size - 2 * side) * (size - 2 * cap);
        }
    }
    return count;
}

}  // namespace

// A face of one colour: that colour fills all colour patches, its grey value all grey ones.
TEST(PatchSheet, showsEveryValueOfEveryPatch) {
    FacePicture face = person(1);
    for (std::size_t i = 0; i < face.picture.pixels.size(); ++i) {
        face.picture.pixels[i] = std::array<std::uint8_t, 3>{20, 200, 90}[i % 3];
    }
    const BgrPicture sheet = drawPatchSheet(face, "One colour");
    const auto grey = static_cast<std::uint8_t>((601 * 200 + 117 * 20 + 306 * 90) >> 10);
    EXPECT_EQ(countPixels(sheet, 20, 200, 90), livePixels(true));
    EXPECT_EQ(countPixels(sheet, grey, grey, grey), livePixels(false));
}

// Blue marks the right half of the picture, which the two crops of a pair show differently.
TEST(PatchSheet, showsBothCropsOfAPair) {
    FacePicture face = person(6);
    BgrPicture& picture = face.picture;
    for (int y = 0; y < picture.height; ++y) {
        for (int x = picture.width / 2; x < picture.width; ++x) {
            std::copy_n(std::array<std::uint8_t, 3>{250, 40, 30}.begin(), 3, picture.at(x, y));
        }
    }
    const BgrPicture sheet = drawPatchSheet(face, "Half blue");
    EXPECT_EQ(sheet.pixels, drawPatchSheet(face, "Half blue").pixels);
    static constexpr MeanImages kNoMeanImages = {};
    FaceCanvases canvases;
    const PatchList patches = cutFacePatches(
        canvases, kNoMeanImages,
        {picture.pixels.data(), picture.width, picture.height, 3 * picture.width}, face.landmarks);
    long rows[2] = {0, 0};
    for (int k = 0; k < kPatchCount; ++k) {
        const int plane = kPatchLayout.size[k] * kPatchLayout.size[k];
        const Matrix& patch = *patches[static_cast<std::size_t>(k)];
        for (int e = 0; kPatchLayout.isColour[k] != 0 && e < plane; ++e) {
            for (const int row : {0, 1}) {
                rows[row] += patch.at(row, e) == 30.0F && patch.at(row, plane + e) == 40.0F &&
                             patch.at(row, 2 * plane + e) == 250.0F;
            }
        }
    }
    EXPECT_NE(rows[0], rows[1]);
    EXPECT_EQ(countPixels(sheet, 250, 40, 30), 9 * (rows[0] + rows[1]));
}

TEST(LandmarkSheet, marksEveryLandmark) {
    const FacePicture face = person(4);
    const BgrPicture sheet = drawLandmarkSheet(face, "A face");
    for (int i = 0; i < face.landmarks.count; ++i) {
        FacePicture moved = face;
        moved.landmarks.entries[i].x += 0.5F;
        EXPECT_NE(sheet.pixels, drawLandmarkSheet(moved, "A face").pixels) << i;
    }
}

TEST(Sheets, everyLegalFaceCanBeDrawn) {
    const FacePicture face = person(5);
    const auto sizes = [](const FacePicture& shown) {
        const BgrPicture first = drawLandmarkSheet(shown, "A face");
        const BgrPicture second = drawPatchSheet(shown, "A face");
        return std::array{first.width, first.height, second.width, second.height};
    };
    const auto expectSheets = [&](const FacePicture& variant, const char* what) {
        ASSERT_EQ(whyRecordIsRefused(variant.landmarks), nullptr) << what;
        EXPECT_EQ(sizes(variant), sizes(face)) << what;
    };
    FacePicture variant = face;
    variant.landmarks = withoutSidesOfHead(face.landmarks);
    expectSheets(variant, "25 landmarks");
    variant = face;
    for (LandmarkEntry& entry : variant.landmarks.entries) {
        entry.x -= 5000.0F;
        entry.y += 300.0F;
    }
    expectSheets(variant, "outside of the picture");
    for (LandmarkEntry& entry : variant.landmarks.entries) {
        entry.x = entry.y = 100.0F;
    }
    expectSheets(variant, "all in one point");
    for (LandmarkEntry& entry : variant.landmarks.entries) {
        entry.x = entry.id % 2 == 0 ? 3e38F : -3e38F;
        entry.y = entry.id % 3 == 0 ? 3e38F : -3e38F;
    }
    expectSheets(variant, "at the ends of the range");
    variant = face;
    variant.picture = blackPicture(2, 2);
    expectSheets(variant, "2 x 2 pixels");
}

TEST(SheetStyle, decimalsHaveAPoint) {
    EXPECT_EQ(decimal(0.0, 1), "0.0");
    EXPECT_EQ(decimal(-12.345, 2), "-12.35");
    EXPECT_EQ(decimal(41.25, 0), "41");
    EXPECT_EQ(decimal(0.96, 1), "1.0");
    EXPECT_EQ(decimal(1e300, 1), "too large");
}

// Any picture and any record through the patch stage. A record that its contract does not allow is
// refused before, as the entry point does.
//
// All 25 patches at once take as long as a hundred of the smaller inputs. So each input goes
// through every step of the stage for the one patch that it names: pose, alignment, warp and both
// crops, by the stage's own functions. One input in 128, and every stored one, goes through the
// whole stage, which must give the same patch; some of these are compared with its second writing.
#include <vector>

#include "fuzz/fuzz_face.h"
#include "fuzz/fuzz_target.h"
#include "patches/face_patches.h"
#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
#include "reference/reference_patches.h"
#include "service/extraction.h"
#include "model/model_tables.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

void fillMeanImages() {
    Random random(91);
    for (auto& image : meanImages) {
        for (float& value : image) {
            value = random.uniform(60, 200);
        }
    }
}

void compareWithReference(const FuzzPicture& picture, const LandmarkRecord& record,
                          const PatchList& patches) {
    const std::vector<ReferenceFloats> expected = referencePatches(
        picture.topRow(), picture.width, picture.height, picture.stride, record, &meanImages[0][0]);
    for (std::size_t k = 0; k < patches.size(); ++k) {
        for (std::size_t i = 0; i < expected[k].size(); ++i) {
            REQUIRE(sameBits(expected[k][i], patches[k]->data[i]));
        }
    }
}

using Row = std::vector<float>;

// Both rows of one patch, each in a block of its own size.
std::vector<Row> cutOnePatch(ZomuContext& context, int patch, const SourceImage& image,
                             const LandmarkRecord& record) {
    float roll;
    float yaw;
    float pitch;
    const float imageEyeSpan = estimateFacePose(record, roll, yaw, pitch);
    const KeptLandmarks kept = selectKeptLandmarks(record);
    const PatchAlignment alignment = alignPatch(kept[kUpperAnchor], kept[kLowerAnchor],
                                                kPatchLayout.canonicalEyeSpan[patch], imageEyeSpan);
    const bool isColour = kPatchLayout.isColour[patch] == 1;
    const auto pixels = static_cast<std::size_t>(kPatchLayout.size[patch]) *
                        static_cast<std::size_t>(kPatchLayout.size[patch]);
    const std::int32_t centres[2] = {kPatchLayout.firstCentre[patch],
                                     kPatchLayout.secondCentre[patch]};
    std::vector<Row> rows(2, Row(isColour ? 3 * pixels : pixels));
    for (int i = 0; i < 2; ++i) {
        const bool isMirrored = i == 1;
        const CanvasPoint centre = toCanvas(alignment, kept[static_cast<std::size_t>(centres[i])]);
        const CanvasArea area = cropArea(centre, patch, isMirrored);
        float* row = rows[static_cast<std::size_t>(i)].data();
        if (isColour) {
            warpColour(image, alignment.inverse, area, context.colourCanvas);
            (isMirrored ? cropColourMirrored : cropColour)(context.colourCanvas, centre, patch,
                                                           row);
        } else {
            warpGrey(image, alignment.inverse, area, context.greyCanvas);
            (isMirrored ? cropGreyMirrored : cropGrey)(context.greyCanvas, centre, patch, row);
        }
    }
    return rows;
}

void compareWithWhole(const std::vector<Row>& rows, const Matrix& patch) {
    REQUIRE(patch.numRows == 2 && patch.numElements == 2 * patch.numCols);
    REQUIRE(rows[0].size() == static_cast<std::size_t>(patch.numCols));
    for (std::size_t i = 0; i < rows[0].size(); ++i) {
        REQUIRE(sameBits(rows[0][i], patch.data[i]));
        REQUIRE(sameBits(rows[1][i], patch.data[rows[0].size() + i]));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static ZomuContext context;
    static const bool isReady = (fillMeanImages(), true);
    REQUIRE(isReady);

    FuzzInput input(data, size);
    const int patch = input.between(0, kPatchCount - 1);
    const FuzzPicture picture(input);
    const FuzzRecord face(input);
    const LandmarkRecord& record = face.record();
    const SourceImage image = {picture.topRow(), picture.width, picture.height, picture.stride};
    if (whyTemplateIsRefused(image.bytes, image.width, image.height, &record) != nullptr) {
        return 0;
    }
    const std::vector<Row> rows = cutOnePatch(context, patch, image, record);
    if (isChosen(data, size, 128)) {
        const PatchList patches = cutFacePatches(context.canvases, g_modelTables.meanImages, image, record);
        REQUIRE(patches.size() == kPatchCount);
        compareWithWhole(rows, *patches[static_cast<std::size_t>(patch)]);
        if (isChosen(data, size, 2048)) {
            compareWithReference(picture, record, patches);
        }
    }
    return 0;
}

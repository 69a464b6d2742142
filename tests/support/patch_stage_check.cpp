#include "support/patch_stage_check.h"

#include <cstddef>
#include <vector>

#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "patches/patch_layout.h"
#include "reference/reference_patches.h"
#include "service/extraction.h"
#include "support/bits.h"
#include "support/crops.h"

static std::string differenceOf(const std::string& what, const ReferenceFloats& expected,
                                const float* actual) {
    const auto same = sameFloats(expected.data(), actual, expected.size());
    return same ? "" : what + ": " + same.message();
}

PatchStage::PatchStage() : tables(std::make_unique<Tables>()) {
    Random random(90);
    for (auto& image : tables->meanImages) {
        for (float& value : image) {
            value = random.uniform(-20, 200);
        }
    }
}

PatchList PatchStage::cut(const SourceImage& image, const LandmarkRecord& landmarks) {
    return cutFacePatches(canvases, tables->meanImages, image, landmarks);
}

ReferenceFloats PatchStage::expectedPatch(const SourceImage& image, const LandmarkRecord& landmarks,
                                          int patch) const {
    return referencePatch({image.bytes, image.width, image.height, image.stride}, landmarks, patch,
                          meanImage(patch));
}

static std::string refusalDifference(const Face& face, bool& isRefused) {
    const auto wordsOf = [](const char* refusal) { return refusal == nullptr ? "none" : refusal; };
    const SourceImage& image = face.image;
    const std::string expected = wordsOf(referenceRefusal(face.record));
    RecordCopy copy;
    const std::string actual =
        wordsOf(whyTemplateIsRefused(image.bytes, image.width, image.height, &face.record, copy));
    isRefused = expected != "none";
    return expected == actual ? "" : "refusal: expected " + expected + ", actual " + actual;
}

static std::string poseDifference(const LandmarkRecord& landmarks) {
    const ReferencePose pose = referencePose(landmarks);
    float actual[4];
    actual[0] = estimateFacePose(landmarks, actual[1], actual[2], actual[3]);
    return differenceOf("imageEyeSpan, roll, yaw, pitch",
                        {pose.imageEyeSpan, pose.roll, pose.yaw, pose.pitch}, actual);
}

std::string PatchStage::difference(const SourceImage& image, const LandmarkRecord& landmarks,
                                   const PatchList& patches) const {
    if (patches.size() != kPatchCount) {
        return std::to_string(patches.size()) + " patches";
    }
    std::string found = poseDifference(landmarks);
    for (int patch = 0; patch < kPatchCount && found.empty(); ++patch) {
        const Matrix& matrix = *patches[static_cast<std::size_t>(patch)];
        const ReferenceFloats expected = expectedPatch(image, landmarks, patch);
        const auto count = static_cast<std::int32_t>(expected.size());
        const std::string name = "patch " + std::to_string(patch);
        found = matrix.numRows != 2 || matrix.numCols != count / 2 || matrix.numElements != count ||
                        matrix.trans != kRowMajor || !matrix.ownsData
                    ? "shape of " + name
                    : differenceOf(name, expected, matrix.data);
    }
    return found;
}

std::string PatchStage::check(const Face& face) {
    bool isRefused;
    const std::string found = refusalDifference(face, isRefused);
    if (!found.empty() || isRefused) {
        ++refused;
        return found;
    }
    ++compared;
    return difference(face.image, face.record, cut(face.image, face.record));
}

std::string PatchStage::checkOnePatch(const Face& face, int patch) {
    bool isRefused;
    std::string found = refusalDifference(face, isRefused);
    if (!found.empty() || isRefused) {
        return found;
    }
    float roll;
    float yaw;
    float pitch;
    const float imageEyeSpan = estimateFacePose(face.record, roll, yaw, pitch);
    const KeptLandmarks kept = selectKeptLandmarks(face.record);
    const PatchAlignment alignment = alignPatch(kept[kUpperAnchor], kept[kLowerAnchor],
                                                kPatchLayout.canonicalEyeSpan[patch], imageEyeSpan);
    const ReferenceFloats expected = expectedPatch(face.image, face.record, patch);
    const bool isColour = kPatchLayout.isColour[patch] == 1;
    std::uint8_t* canvas = isColour ? canvases.colourCanvas : canvases.greyCanvas;
    for (const bool isMirrored : {false, true}) {
        const std::int32_t position =
            (isMirrored ? kPatchLayout.secondCentre : kPatchLayout.firstCentre)[patch];
        const CanvasPoint centre = toCanvas(alignment, kept[static_cast<std::size_t>(position)]);
        const CanvasArea area = cropArea(centre, patch, isMirrored);
        (isColour ? warpColour : warpGrey)(face.image, alignment.inverse, area, canvas);
        std::vector<float> row(expected.size() /
                               2);  // of its own, so that a sanitizer sees its end
        cropPatch(canvas, centre, patch, isMirrored, meanImage(patch), row.data());
        const auto columns = static_cast<std::ptrdiff_t>(row.size());
        const auto first = expected.begin() + (isMirrored ? columns : 0);
        found += differenceOf(isMirrored ? "mirrored crop" : "crop", {first, first + columns},
                              row.data());
    }
    return found;
}

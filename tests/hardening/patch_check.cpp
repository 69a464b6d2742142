#include "hardening/patch_check.h"

#include <cstddef>

#include "patches/head_pose.h"
#include "reference/reference_tables.h"
#include "model/model_tables.h"
#include "support/bits.h"

static constexpr int kLargestSpan = 33;
static constexpr int kLargestSize = 55;

static std::string poseDifference(const LandmarkRecord& record, const ReferencePose& expected) {
    float roll, yaw, pitch;
    const float span = estimateFacePose(record, roll, yaw, pitch);
    const float actualValues[4] = {span, roll, yaw, pitch};
    const float expectedValues[4] = {expected.imageEyeSpan, expected.roll, expected.yaw,
                                     expected.pitch};
    const auto same = sameFloats(expectedValues, actualValues, 4);
    return same ? "" : std::string("imageEyeSpan, roll, yaw, pitch: ") + same.message();
}

static std::string shapeDifference(int patch, const PatchList& patches) {
    const ReferencePatch& layout = kReferencePatches[patch];
    const int columns = layout.size * layout.size * (layout.isColour ? 3 : 1);
    const Matrix& matrix = *patches[static_cast<std::size_t>(patch)];
    const bool isRight = matrix.numRows == 2 && matrix.numCols == columns &&
                         matrix.numElements == 2 * columns && matrix.trans == kRowMajor;
    return isRight ? "" : "shape of patch " + std::to_string(patch);
}

PatchCheck::PatchCheck() : canvases(std::make_unique<Canvas[]>(2 * (kLargestSpan + 1))) {}

PatchCheck::Canvas& PatchCheck::canvasOf(int canonicalEyeSpan, bool isColour) const {
    return canvases[static_cast<std::size_t>(2 * canonicalEyeSpan + (isColour ? 1 : 0))];
}

const std::uint8_t* PatchCheck::pixelOf(Canvas& canvas, int row, int column) const {
    const int at = 160 * row + column;
    std::uint8_t* bytes = canvas.bytes + at * canvas.channels;
    if (canvas.faceOf[at] != face) {
        canvas.faceOf[at] = face;
        const bool isColour = canvas.channels == 3;
        referencePixel(isColour ? picture.bytes : grey.data(), canvas.channels, picture.width,
                       picture.height, isColour ? picture.stride : picture.width, canvas.alignment,
                       column, row, bytes);
    }
    return bytes;
}

std::string PatchCheck::rowDifference(int patch, Canvas& canvas, const LandmarkEntry& centre,
                                      bool mirrored, const float* actual) const {
    const ReferenceAlignment& f = canvas.alignment;
    const float px = ((f.a * centre.x) - (f.b * centre.y)) + f.c;
    const float py = ((f.b * centre.x) + (f.a * centre.y)) + f.d;
    const int size = kReferencePatches[patch].size;
    const int planes = canvas.channels;
    int columns[kLargestSize];
    for (int q = 0; q < size; ++q) {
        columns[q] = referenceCropColumn(patch, px, mirrored, q);
    }
    for (int r = 0; r < size; ++r) {
        const int canvasRow = referenceCropRow(patch, py, r);
        for (int q = 0; q < size; ++q) {
            const std::uint8_t* bytes = pixelOf(canvas, canvasRow, columns[q]);
            const bool isCleared = referenceInMargin(patch, r, q);
            for (int plane = 0; plane < planes; ++plane) {
                const int e = (plane * size + r) * size + q;
                const float value = static_cast<float>(bytes[planes - 1 - plane]);
                const float expected = isCleared ? 0.0F : value - meanImages[patch][e];
                if (!sameBits(expected, actual[e])) {
                    return "patch " + std::to_string(patch) + (mirrored ? ", mirrored" : "") +
                           ", element " + std::to_string(e) + ": expected " + hexFloat(expected) +
                           ", actual " + hexFloat(actual[e]);
                }
            }
        }
    }
    return "";
}

std::string PatchCheck::patchDifference(int patch, const PatchList& patches,
                                        const LandmarkEntry& first, const LandmarkEntry& second) {
    const ReferencePatch& layout = kReferencePatches[patch];
    Canvas& canvas = canvasOf(layout.canonicalEyeSpan, layout.isColour);
    std::string difference = shapeDifference(patch, patches);
    if (!difference.empty()) {
        return difference;
    }
    const Matrix& matrix = *patches[static_cast<std::size_t>(patch)];
    difference = rowDifference(patch, canvas, first, false, matrix.data);
    return difference.empty()
               ? rowDifference(patch, canvas, second, true, matrix.data + matrix.numCols)
               : difference;
}

std::string PatchCheck::difference(const SourceImage& image, const LandmarkRecord& record,
                                   const PatchList& patches) {
    const ReferencePose pose = referencePose(record);
    std::string found = poseDifference(record, pose);
    if (!found.empty()) {
        return found;
    }
    ++face;
    picture = image;
    grey = referenceGrey(image.bytes, image.width, image.height, image.stride);
    const std::vector<LandmarkEntry> kept = referenceKeptLandmarks(record);
    for (const ReferencePatch& layout : kReferencePatches) {
        Canvas& canvas = canvasOf(layout.canonicalEyeSpan, layout.isColour);
        canvas.channels = layout.isColour ? 3 : 1;
        canvas.alignment =
            referenceAlignment(kept[6], kept[8], layout.canonicalEyeSpan, pose.imageEyeSpan);
    }
    for (int patch = 0; patch < 25 && found.empty(); ++patch) {
        const ReferencePatch& layout = kReferencePatches[patch];
        found = patchDifference(patch, patches, kept[static_cast<std::size_t>(layout.firstCentre)],
                                kept[static_cast<std::size_t>(layout.secondCentre)]);
    }
    return found;
}

std::string PatchCheck::differenceFromWholeCanvases(const SourceImage& image,
                                                    const LandmarkRecord& record,
                                                    const PatchList& patches) {
    const std::vector<ReferenceFloats> expected = referencePatches(
        image.bytes, image.width, image.height, image.stride, record, &meanImages[0][0]);
    for (int patch = 0; patch < 25; ++patch) {
        const std::string shape = shapeDifference(patch, patches);
        if (!shape.empty()) {
            return shape;
        }
        const ReferenceFloats& values = expected[static_cast<std::size_t>(patch)];
        const auto same = sameFloats(values.data(), patches[static_cast<std::size_t>(patch)]->data,
                                     values.size());
        if (!same) {
            return "patch " + std::to_string(patch) + ", whole canvas: " + same.message();
        }
    }
    return "";
}

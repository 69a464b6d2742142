#include "patches/face_patches.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>

#include "matrix/float_rules.h"
#include "patches/head_pose.h"
#include "patches/patch_layout.h"

static_assert(kPatchCount == kNetCount, "patch k has mean image k");

namespace {

// Where the upper anchor lands on every canvas. The lower one lands in the same column.
constexpr float kAnchorColumn = 80.0F;
constexpr float kAnchorRow = 60.0F;

constexpr auto kPatchNumbers = [] {
    std::array<int, kPatchCount> numbers = {};
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}();

}  // namespace

PatchAlignment alignPatch(const LandmarkEntry& upperAnchor, const LandmarkEntry& lowerAnchor,
                          std::int32_t canonicalEyeSpan, float imageEyeSpan) {
    const float x1 = upperAnchor.x;
    const float y1 = upperAnchor.y;
    const float x2 = lowerAnchor.x;
    const float y2 = lowerAnchor.y;
    const float S = imageEyeSpan;
    const auto t = static_cast<float>(canonicalEyeSpan);
    const float dist = narrowSqrt((x1 - x2) * (x1 - x2) + (y1 - y2) * (y1 - y2));

    PatchAlignment result;
    // The anchors are dist apart in the image and t dist / S on the canvas: the scale is t / S
    // whatever their distance.
    const float Q = ((t * dist) / S) + kAnchorRow;
    result.Q = Q;

    // Sums over the two pairs (x, y) -> (x', y'), which both fits share: dA sums x x' + y y', dB
    // sums x y' - y x', and dC is -dB. Setting the derivatives of the squared error to zero gives
    // the quotients below, where 2 is the number of pairs.
    const float sx = x2 + x1;
    const float sy = y2 + y1;
    const float ss = (y2 * y2 + x2 * x2) + (y1 * y1 + x1 * x1);
    const float dA = (y2 * Q + x2 * kAnchorColumn) + (y1 * kAnchorRow + x1 * kAnchorColumn);
    const float dB = (x2 * Q - y2 * kAnchorColumn) + (x1 * kAnchorRow - y1 * kAnchorColumn);
    const float dC = (y2 * kAnchorColumn - x2 * Q) + (y1 * kAnchorColumn - x1 * kAnchorRow);
    const float tx = 2.0F * kAnchorColumn;
    const float ty = kAnchorRow + Q;

    const float D = ((ss * 2.0F) - sx * sx) - sy * sy;
    result.a = ((dA * 2.0F) - (sy * ty + sx * tx)) / D;
    result.b = ((sy * tx - sx * ty) + (dB * 2.0F)) / D;
    result.c = ((ss * tx - dA * sx) + dB * sy) / D;
    result.d = ((ss * ty - dA * sy) - dB * sx) / D;

    // The inverse is a fit of its own, with the pairs swapped: inverting a, b, c and d would round
    // differently.
    const float ss2 = ((Q * Q) + kAnchorColumn * kAnchorColumn) +
                      (kAnchorColumn * kAnchorColumn + kAnchorRow * kAnchorRow);
    const float D2 = ((ss2 * 2.0F) - tx * tx) - ty * ty;
    result.inverse.A = ((dA * 2.0F) - (ty * sy + tx * sx)) / D2;
    result.inverse.B = ((ty * sx - tx * sy) + (dC * 2.0F)) / D2;
    result.inverse.C = ((ss2 * sx - dA * tx) + dC * ty) / D2;
    result.inverse.E = ((ss2 * sy - dA * ty) - dC * tx) / D2;
    return result;
}

CanvasPoint toCanvas(const PatchAlignment& alignment, const LandmarkEntry& landmark) {
    const float a = alignment.a;
    const float b = alignment.b;
    const float x = landmark.x;
    const float y = landmark.y;
    return {((a * x) - (b * y)) + alignment.c, ((b * x) + (a * y)) + alignment.d};
}

namespace {

// A canvas for all patches with the same transform. Only what their crops read is warped, and only
// once: each canvas row records the columns that it already holds.
class SharedCanvas {
  public:
    SharedCanvas(const SourceImage& source, const CanvasToImage& inverse, FaceCanvases& canvases,
                 bool isColour)
        : image(source),
          transform(inverse),
          warp(isColour ? warpColour : warpGrey),
          canvas(isColour ? canvases.colourCanvas : canvases.greyCanvas) {}

    // A row holds a single range of columns: a gap between two areas is warped as well.
    void cover(const CanvasArea& area) {
        for (int y = area.y0; y < area.y1; ++y) {
            Columns& held = rows[static_cast<std::size_t>(y)];
            if (held.begin == held.end) {
                // Nothing is held yet: the second call below warps the whole row of the area.
                held = {area.x0, area.x0};
            }
            warpColumns(y, {area.x0, held.begin});
            warpColumns(y, {held.end, area.x1});
            held = {std::min(held.begin, area.x0), std::max(held.end, area.x1)};
        }
    }

  private:
    struct Columns {
        int begin = 0;
        int end = 0;
    };

    void warpColumns(int y, const Columns& columns) {
        if (columns.begin < columns.end) {
            warp(image, transform, {columns.begin, columns.end, y, y + 1}, canvas);
        }
    }

    const SourceImage& image;
    CanvasToImage transform;
    void (*warp)(const SourceImage&, const CanvasToImage&, const CanvasArea&, std::uint8_t*);
    std::uint8_t* canvas;
    std::array<Columns, kCanvasSide> rows;
};

bool isColour(int patch) {
    return kPatchLayout.isColour[patch] == 1;
}

bool shareCanvas(int one, int other) {
    return isColour(one) == isColour(other) &&
           kPatchLayout.canonicalEyeSpan[one] == kPatchLayout.canonicalEyeSpan[other];
}

// The matrix may be there from an earlier face: patch k always has the same shape.
void cutPatch(int patch, const FaceCanvases& canvases, const float* mean, CanvasPoint first,
              CanvasPoint second, std::unique_ptr<Matrix>& matrix) {
    const std::int32_t m = kPatchLayout.size[patch] * kPatchLayout.size[patch];
    if (matrix == nullptr) {
        matrix = std::make_unique<Matrix>(2, isColour(patch) ? 3 * m : m);
    }
    if (isColour(patch)) {
        cropColour(canvases.colourCanvas, first, patch, mean, matrix->data);
        cropColourMirrored(canvases.colourCanvas, second, patch, mean, matrix->data + 3 * m);
    } else {
        cropGrey(canvases.greyCanvas, first, patch, mean, matrix->data);
        cropGreyMirrored(canvases.greyCanvas, second, patch, mean, matrix->data + m);
    }
}

}  // namespace

FaceAlignment alignFace(const LandmarkRecord& landmarks) {
    float roll;
    float yaw;
    float pitch;
    const float imageEyeSpan = estimateFacePose(landmarks, roll, yaw, pitch);
    return {imageEyeSpan, selectKeptLandmarks(landmarks)};
}

void cutCanvas(int number, const FaceAlignment& face, FaceCanvases& canvases,
               const MeanImages& meanImages, const SourceImage& image, PatchList& patches) {
    const int leader = kCanvasLeaders.at(static_cast<std::size_t>(number));
    const LandmarkEntry* kept = face.kept.data();
    const PatchAlignment alignment =
        alignPatch(kept[kUpperAnchor], kept[kLowerAnchor], kPatchLayout.canonicalEyeSpan[leader],
                   face.imageEyeSpan);
    SharedCanvas canvas(image, alignment.inverse, canvases, isColour(leader));
    for (const int patch : kPatchNumbers) {
        if (!shareCanvas(leader, patch)) {
            continue;
        }
        const CanvasPoint first = toCanvas(alignment, kept[kPatchLayout.firstCentre[patch]]);
        const CanvasPoint second = toCanvas(alignment, kept[kPatchLayout.secondCentre[patch]]);
        canvas.cover(cropArea(first, patch, false));
        canvas.cover(cropArea(second, patch, true));
        cutPatch(patch, canvases, meanImages[patch], first, second,
                 patches[static_cast<std::size_t>(patch)]);
    }
}

PatchList cutFacePatches(FaceCanvases& canvases, const MeanImages& meanImages,
                         const SourceImage& image, const LandmarkRecord& landmarks) {
    const FaceAlignment face = alignFace(landmarks);
    PatchList patches(kPatchCount);
    for (int number = 0; number < kCanvasCount; ++number) {
        cutCanvas(number, face, canvases, meanImages, image, patches);
    }
    return patches;
}

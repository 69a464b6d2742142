#include "sheets/patch_sheet.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "matrix/float_rules.h"
#include "patches/face_patches.h"
#include "patches/patch_layout.h"
#include "sheets/canvas.h"
#include "sheets/sheet_style.h"

namespace {

constexpr int kColumns = 5;
constexpr double kZoom = 3.0;
constexpr double kPairGap = 6.0;
constexpr double kCellGap = 30.0;
constexpr double kTextHeight = 50.0;
constexpr double kHeadHeight = 76.0;
constexpr double kFootHeight = 76.0;

PatchList cutPatches(const FacePicture& face) {
    static constexpr MeanImages kNoMeanImages = {};
    ZomuFaceView view;
    viewNearFace(face, view);
    const auto canvases = std::make_unique<FaceCanvases>();
    return cutFacePatches(*canvases, kNoMeanImages,
                          {view.image, view.width, view.height, view.stride}, *view.landmarks);
}

// One row of a patch matrix as a picture again.
BgrPicture toPicture(const Matrix& patch, int row, int index) {
    const int size = kPatchLayout.size[index];
    BgrPicture picture = blackPicture(size, size);
    const int plane = size * size;
    for (int e = 0; e < plane; ++e) {
        std::uint8_t* pixel = picture.at(e % size, e / size);
        for (int channel = 0; channel < 3; ++channel) {
            const int source = kPatchLayout.isColour[index] != 0 ? (2 - channel) * plane + e : e;
            pixel[channel] = static_cast<std::uint8_t>(trunc32(patch.at(row, source)));
        }
    }
    return picture;
}

// Slanting lines over what the margins have cleared.
void hatch(const Canvas& canvas, double left, double top, double width, double height) {
    cairo_save(canvas.cairo());
    cairo_rectangle(canvas.cairo(), left, top, width, height);
    cairo_clip(canvas.cairo());
    canvas.paint({0.82, 0.83, 0.85});
    constexpr double kStep = 6.0;
    const int lines = static_cast<int>((width + height) / kStep) + 1;
    for (int line = 0; line < lines; ++line) {
        const double x = left - height + line * kStep;
        canvas.line({x, top + height}, {x + height, top});
    }
    canvas.stroke({0.58, 0.60, 0.64}, 1.2);
    cairo_restore(canvas.cairo());
}

void drawCrop(const Canvas& canvas, const BgrPicture& crop, Point place, int index) {
    canvas.drawPixels(crop.pixels.data(), crop.width, crop.height, place, kZoom, false);
    const double side = kZoom * crop.width;
    const double sideMargin = kZoom * kPatchLayout.sideMargin[index];
    const double capMargin = kZoom * kPatchLayout.capMargin[index];
    if (sideMargin > 0.0) {
        hatch(canvas, place.x, place.y, sideMargin, side);
        hatch(canvas, place.x + side - sideMargin, place.y, sideMargin, side);
    } else if (capMargin > 0.0) {
        hatch(canvas, place.x, place.y, side, capMargin);
        hatch(canvas, place.x, place.y + side - capMargin, side, capMargin);
    }
}

std::string centreText(const KeptLandmarks& kept, int index) {
    const auto id = [&kept](std::int32_t position) {
        return std::to_string(kept[static_cast<std::size_t>(position)].id);
    };
    const std::string first = id(kPatchLayout.firstCentre[index]);
    const std::string second = id(kPatchLayout.secondCentre[index]);
    std::string text = first == second ? "at " + first : "at " + first + "  |  " + second;
    const int shift =
        static_cast<int>(std::lround(kPatchLayout.shiftFactor[index] *
                                     static_cast<float>(kPatchLayout.canonicalEyeSpan[index])));
    if (shift != 0) {
        text += ", " + std::to_string(std::abs(shift)) + (shift > 0 ? " lower" : " higher");
    }
    return text;
}

void drawCell(const Canvas& canvas, const Matrix& patch, const KeptLandmarks& kept, Point place,
              int index) {
    const BgrPicture plain = toPicture(patch, 0, index);
    drawCrop(canvas, plain, place, index);
    const double side = kZoom * plain.width;
    drawCrop(canvas, toPicture(patch, 1, index), place + Point{side + kPairGap, 0.0}, index);
    const Point line = place + Point{0.0, side + 21.0};
    const Point after = drawText(canvas, line, std::to_string(index), {17.0, true});
    drawText(canvas, after + Point{10.0, 0.0},
             std::to_string(kPatchLayout.size[index]) + " px  \u00b7  eye span " +
                 std::to_string(kPatchLayout.canonicalEyeSpan[index]) + "  \u00b7  " +
                 (kPatchLayout.isColour[index] != 0 ? "colour" : "grey"),
             {14.0});
    drawText(canvas, line + Point{0.0, 20.0}, centreText(kept, index), {14.0, false, kFaintInk});
}

// Rows and columns are as large as their largest patch.
struct Grid {
    Point places[kPatchCount];
    double width, height;  // to the end of the last column and row
};

Grid layOutGrid() {
    constexpr int kRows = (kPatchCount + kColumns - 1) / kColumns;
    double widths[kColumns] = {};
    double heights[kRows] = {};
    for (int index = 0; index < kPatchCount; ++index) {
        const double side = kZoom * kPatchLayout.size[index];
        double& width = widths[index % kColumns];
        double& height = heights[index / kColumns];
        width = std::max(width, 2 * side + kPairGap);
        height = std::max(height, side + kTextHeight);
    }
    Grid grid = {};
    double y = kSheetMargin + kHeadHeight;
    for (int row = 0; row < kRows; ++row) {
        double x = kSheetMargin;
        for (int column = 0; column < kColumns; ++column) {
            const int index = row * kColumns + column;
            if (index < kPatchCount) {
                grid.places[index] = {x, y};
            }
            x += widths[column] + kCellGap;
        }
        grid.width = x - kCellGap;
        y += heights[row] + kCellGap;
    }
    grid.height = y - kCellGap;
    return grid;
}

void drawFoot(const Canvas& canvas, Point place) {
    hatch(canvas, place.x, place.y, 30.0, 16.0);
    double y = place.y + 13.0;
    for (const char* line :
         {"Cleared margin. The texts give the number of the patch and of its network, the side of "
          "the crop in pixels, the distance of the eyes in it,",
          "the planes, and below these the landmarks at the centres of the two crops and how many "
          "rows off them the centres lie.",
          "Pixels are shown three times enlarged, as they are before the mean image is "
          "subtracted."}) {
        drawText(canvas, {place.x + 42.0, y}, line, {14.0, false, kFaintInk});
        y += 20.0;
    }
}

}  // namespace

BgrPicture drawPatchSheet(const FacePicture& face, const std::string& title) {
    const PatchList patches = cutPatches(face);
    const KeptLandmarks kept = selectKeptLandmarks(face.landmarks);
    const Grid grid = layOutGrid();
    const Canvas canvas(static_cast<int>(grid.width + kSheetMargin),
                        static_cast<int>(grid.height + kFootHeight + kSheetMargin));
    canvas.paint(kPaper);
    drawText(canvas, {kSheetMargin, kSheetMargin + 26.0}, title, {28.0, true});
    drawText(canvas, {kSheetMargin, kSheetMargin + 52.0},
             "Left of each pair the crop around a landmark, right of it the mirrored crop around "
             "its counterpart.",
             {16.0, false, kFaintInk});
    for (std::size_t index = 0; index < patches.size(); ++index) {
        drawCell(canvas, *patches[index], kept, grid.places[index], static_cast<int>(index));
    }
    drawFoot(canvas, {kSheetMargin, grid.height + 24.0});
    return {canvas.width(), canvas.height(), canvas.pixels()};
}

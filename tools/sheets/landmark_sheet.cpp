#include "sheets/landmark_sheet.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "sheets/canvas.h"
#include "sheets/landmark_names.h"
#include "sheets/sheet_style.h"

namespace {

constexpr Colour kWhite = {1.0, 1.0, 1.0};
constexpr Colour kGroupColours[] = {{0.10, 0.45, 0.85},
                                    {0.55, 0.30, 0.75},
                                    {0.85, 0.42, 0.05},
                                    {0.80, 0.13, 0.27},
                                    {0.08, 0.52, 0.36}};
constexpr double kPhotoSide = 960.0;
constexpr double kLegendWidth = 300.0;
constexpr double kHeadHeight = 92.0;
constexpr double kGap = 32.0;

int groupOf(std::int32_t id) {
    for (const LandmarkName& row : kLandmarkNames) {
        if (row.left == id || row.right == id) {
            return row.group;
        }
    }
    return kHeadGroup;
}

// The square of the picture that is shown: the face with some room around it.
struct Window {
    Point corner;  // of the square, in pixels from the picture's corner
    double zoom;

    Point onSheet(const LandmarkEntry& entry) const {
        const Point pixel = {static_cast<double>(entry.x) + 0.5,
                             static_cast<double>(entry.y) + 0.5};
        return Point{kSheetMargin, kSheetMargin + kHeadHeight} + (pixel - corner) * zoom;
    }
};

Window chooseWindow(const LandmarkRecord& landmarks) {
    const LandmarkEntry* entries = entriesOf(landmarks);
    const auto [left, right] = std::minmax_element(
        entries, entries + landmarks.count, [](const auto& a, const auto& b) { return a.x < b.x; });
    const auto [top, bottom] = std::minmax_element(
        entries, entries + landmarks.count, [](const auto& a, const auto& b) { return a.y < b.y; });
    const Point low = {static_cast<double>(left->x), static_cast<double>(top->y)};
    const Point high = {static_cast<double>(right->x), static_cast<double>(bottom->y)};
    const double side = std::max({1.45 * (high.x - low.x), 1.45 * (high.y - low.y), 8.0});
    return {between(low, high, 0.5) + Point{0.5 - side / 2, 0.5 - side / 2}, kPhotoSide / side};
}

struct Box {
    double left, top, right, bottom;
};

double overlap(const Box& a, const Box& b) {
    const double width = std::min(a.right, b.right) - std::max(a.left, b.left);
    const double height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    return width > 0.0 && height > 0.0 ? width * height : 0.0;
}

Box around(Point centre, double width, double height) {
    return {centre.x - width / 2, centre.y - height / 2, centre.x + width / 2,
            centre.y + height / 2};
}

// True where the lines a1 to a2 and b1 to b2 cross.
bool cross(Point a1, Point a2, Point b1, Point b2) {
    const auto side = [](Point p, Point q, Point r) {
        return (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x) > 0.0;
    };
    return side(a1, a2, b1) != side(a1, a2, b2) && side(b1, b2, a1) != side(b1, b2, a2);
}

struct Label {
    Point dot, centre;
    std::string text;
    Colour colour;
    Box box;
};

constexpr TextStyle kLabelText = {15.0, true, kWhite};

// Labels are put one after another where they cover least: around their dot, rather outwards,
// rather near it.
std::vector<Label> placeLabels(const Canvas& canvas, const LandmarkRecord& landmarks,
                               const Window& window) {
    std::vector<Label> labels;
    Point middle = {0.0, 0.0};
    for (std::int32_t i = 0; i < landmarks.count; ++i) {
        const LandmarkEntry& entry = entriesOf(landmarks)[i];
        const Point dot = window.onSheet(entry);
        middle = middle + dot * (1.0 / landmarks.count);
        const auto group = static_cast<std::size_t>(groupOf(entry.id));
        labels.push_back({dot, dot, std::to_string(entry.id), kGroupColours[group], {}});
    }
    const Box photo = {kSheetMargin, kSheetMargin + kHeadHeight, kSheetMargin + kPhotoSide,
                       kSheetMargin + kHeadHeight + kPhotoSide};
    for (std::size_t i = 0; i < labels.size(); ++i) {
        Label& label = labels[i];
        const double width = textWidth(canvas, label.text, kLabelText) + 12.0;
        const Point outwards = label.dot - middle;
        const double length = std::max(1.0, distance(label.dot, middle));
        double best = 1e300;
        for (int step = 0; step < 168; ++step) {
            const int ring = step / 24;
            const double reach = 26.0 + 9.0 * ring;
            const double angle = 2.0 * std::numbers::pi * step / 24.0;
            const Point direction = {std::cos(angle), std::sin(angle)};
            const Point centre =
                label.dot + Point{direction.x * (reach + width / 4), direction.y * reach};
            const Box box = around(centre, width, 22.0);
            double cost =
                reach - 9.0 * (direction.x * outwards.x + direction.y * outwards.y) / length;
            cost +=
                1e3 * (around(centre, width, 22.0).left < photo.left || box.right > photo.right ||
                       box.top < photo.top || box.bottom > photo.bottom);
            for (const Label& other : labels) {
                cost += 0.5 * overlap(box, around(other.dot, 14.0, 14.0));
                cost += 0.04 * overlap(box, around(other.dot, 60.0, 60.0));
            }
            for (std::size_t j = 0; j < i; ++j) {
                cost += 2.0 * overlap(box, labels[j].box);
                cost += 40.0 * cross(label.dot, centre, labels[j].dot, labels[j].centre);
            }
            if (cost < best) {
                best = cost;
                label.centre = centre;
                label.box = box;
            }
        }
    }
    return labels;
}

void drawLabels(const Canvas& canvas, const std::vector<Label>& labels) {
    for (const Label& label : labels) {
        canvas.line(label.dot, label.centre);
        canvas.stroke(kWhite, 3.0, 0.7);
        canvas.line(label.dot, label.centre);
        canvas.stroke(label.colour, 1.5);
    }
    for (const Label& label : labels) {
        canvas.disc(label.dot, 6.0);
        canvas.fill(kWhite);
        canvas.disc(label.dot, 4.5);
        canvas.fill(label.colour);
    }
    for (const Label& label : labels) {
        // A round-ended bar is a line with round caps.
        const double half = (label.box.right - label.box.left - 20.0) / 2;
        const Point left = label.centre - Point{half, 0.0};
        const Point right = label.centre + Point{half, 0.0};
        canvas.line(left, right);
        canvas.stroke(kWhite, 22.0);
        canvas.line(left, right);
        canvas.stroke(label.colour, 19.0);
        const double width = textWidth(canvas, label.text, kLabelText);
        drawText(canvas, label.centre + Point{-width / 2, 5.5}, label.text, kLabelText);
    }
}

void drawLegend(const Canvas& canvas, Point place) {
    int group = -1;
    for (const LandmarkName& row : kLandmarkNames) {
        const auto index = static_cast<std::size_t>(row.group);
        if (row.group != group) {
            group = row.group;
            place.y += 14.0;
            canvas.disc(place + Point{6.0, 12.0}, 6.0);
            canvas.fill(kGroupColours[index]);
            drawText(canvas, place + Point{22.0, 18.0}, kLandmarkGroups[index], {18.0, true});
            place.y += 30.0;
        }
        const std::string ids =
            std::to_string(row.left) + (row.isPair() ? "  |  " + std::to_string(row.right) : "");
        drawText(canvas, place + Point{22.0, 14.0}, ids, {15.0, true, kGroupColours[index]});
        drawText(canvas, place + Point{126.0, 14.0}, row.place, {15.0});
        place.y += 26.0;
    }
    place.y += 22.0;
    for (const char* line :
         {"Pairs are given as left | right, as they", "lie in the picture. The landmarks 240,",
          "241, 315 and 316 help to measure the", "face but centre no patch."}) {
        drawText(canvas, place + Point{0.0, 14.0}, line, {13.0, false, kFaintInk});
        place.y += 19.0;
    }
}

void drawHead(const Canvas& canvas, const FacePicture& face, const std::string& title) {
    float roll = 0.0f;
    float yaw = 0.0f;
    float pitch = 0.0f;
    const float eyeSpan = estimateFacePose(face.landmarks, roll, yaw, pitch);
    drawText(canvas, {kSheetMargin, kSheetMargin + 26.0}, title, {28.0, true});
    const std::string facts =
        std::to_string(face.picture.width) + " x " + std::to_string(face.picture.height) +
        " pixels   \u00b7   " + std::to_string(face.landmarks.count) +
        " landmarks   \u00b7   eye distance " + decimal(static_cast<double>(eyeSpan), 1) +
        " pixels   \u00b7   roll " + decimal(static_cast<double>(roll), 1) + "\u00b0, yaw " +
        decimal(static_cast<double>(yaw), 1) + "\u00b0, pitch " +
        decimal(static_cast<double>(pitch), 1) + "\u00b0";
    drawText(canvas, {kSheetMargin, kSheetMargin + 60.0}, facts, {16.0, false, kFaintInk});
}

}  // namespace

BgrPicture drawLandmarkSheet(const FacePicture& face, const std::string& title) {
    const Canvas canvas(static_cast<int>(2 * kSheetMargin + kPhotoSide + kGap + kLegendWidth),
                        static_cast<int>(2 * kSheetMargin + kHeadHeight + kPhotoSide));
    canvas.paint(kPaper);
    drawHead(canvas, face, title);
    const Window window = chooseWindow(face.landmarks);
    const Point photo = {kSheetMargin, kSheetMargin + kHeadHeight};
    cairo_save(canvas.cairo());
    cairo_rectangle(canvas.cairo(), photo.x, photo.y, kPhotoSide, kPhotoSide);
    cairo_clip(canvas.cairo());
    canvas.paint({0.86, 0.86, 0.85});
    canvas.drawPixels(face.picture.pixels.data(), face.picture.width, face.picture.height,
                      photo - window.corner * window.zoom, window.zoom, true);
    drawLabels(canvas, placeLabels(canvas, face.landmarks, window));
    cairo_restore(canvas.cairo());
    drawLegend(canvas, photo + Point{kPhotoSide + kGap, -14.0});
    return {canvas.width(), canvas.height(), canvas.pixels()};
}

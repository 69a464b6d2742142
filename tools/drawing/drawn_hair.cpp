#include "drawing/drawn_hair.h"

#include <algorithm>

namespace {

constexpr Colour kBlack = {0.0, 0.0, 0.0};
constexpr Colour kWhite = {1.0, 1.0, 1.0};

std::vector<Point> placeAll(const DrawnHead& head, const std::vector<Point3>& points) {
    std::vector<Point> placed;
    placed.reserve(points.size());
    for (const Point3& point : points) {
        placed.push_back(head.place(point));
    }
    return placed;
}

// From the left temple over the forehead to the right one.
std::vector<Point3> hairline(const Hair& hair) {
    const double s = hair.partSide;
    switch (hair.cut) {
        case HairCut::fringe:
            return {{-7.6, -1.6, 2.4},  {-6.5, -4.6, 6.2}, {-5.2, -6.9, 8.4},
                    {-2.4, -7.1, 10.2}, {0.4, -7.4, 10.6}, {2.9, -7.0, 10.1},
                    {5.2, -6.9, 8.4},   {6.5, -4.6, 6.2},  {7.6, -1.6, 2.4}};
        case HairCut::parted:
            return {{-7.5, -1.8, 2.4},
                    {-6.6, -5.4, 5.6},
                    {-5.4, s < 0 ? -9.0 : -7.0, 7.6},
                    {-3.0, s < 0 ? -11.0 : -7.8, 9.0},
                    {0.0, -9.3, 9.4},
                    {3.0, s > 0 ? -11.0 : -7.8, 9.0},
                    {5.4, s > 0 ? -9.0 : -7.0, 7.6},
                    {6.6, -5.4, 5.6},
                    {7.5, -1.8, 2.4}};
        case HairCut::bob:
        case HairCut::flowing:
            return {{-7.6, 0.6, 3.0},  {-6.7, -4.2, 5.8},     {-5.2, -7.6, 7.6},
                    {-2.4, -9.8, 8.9}, {1.4 * s, -11.0, 8.8}, {2.4, -9.8, 8.9},
                    {5.2, -7.6, 7.6},  {6.7, -4.2, 5.8},      {7.6, 0.6, 3.0}};
        default:
            return {{-7.5, -2.2, 2.4}, {-6.6, -5.6, 5.4}, {-5.4, -8.6, 7.2},
                    {-2.6, -9.8, 8.7}, {0.0, -9.5, 9.2},  {2.6, -9.8, 8.7},
                    {5.4, -8.6, 7.2},  {6.6, -5.6, 5.4},  {7.5, -2.2, 2.4}};
    }
}

double volumeOf(HairCut cut) {
    switch (cut) {
        case HairCut::shaven:
            return 1.01;
        case HairCut::curly:
            return 1.16;
        case HairCut::bob:
        case HairCut::flowing:
            return 1.13;
        default:
            return 1.09;
    }
}

// The part of a closed outline that lies above the line from `left` to `right`, in that order.
std::vector<Point> upperPart(const Curve& outline, Point left, Point right) {
    const std::size_t n = outline.points.size();
    const auto above = [&](std::size_t i) {
        const Point p = outline.points[i % n] - left;
        const Point chord = right - left;
        return chord.x * p.y - chord.y * p.x < 0.0;
    };
    std::size_t start = 0;
    while (start < n && !(above(start) && !above(start + n - 1))) {
        ++start;
    }
    std::vector<Point> part;
    for (std::size_t i = start; i < start + n && above(i); ++i) {
        part.push_back(outline.points[i % n]);
    }
    return part;
}

// Strands from the crown towards the edges of the hair, some lighter and some darker than it.
void drawStrands(const Canvas& canvas, const DrawnHead& head, const Hair& hair,
                 const std::vector<Point>& top, const std::vector<Point>& line, Dice& dice) {
    const bool parted = hair.cut == HairCut::parted;
    const Point crown = head.place({parted ? 3.2 * hair.partSide : 0.0, -12.2, parted ? 6.0 : 3.0});
    for (int strand = 0; strand < 120; ++strand) {
        const std::vector<Point>& edge = dice.chance(0.4) ? top : line;
        const auto place = static_cast<std::size_t>(dice.below(static_cast<int>(edge.size())));
        const Point next = edge[std::min(place + 1, edge.size() - 1)];
        const Point end = between(edge[place], next, dice.unit());
        const Point start = between(crown, end, dice.within(0.05, 0.5));
        const Point bend = between(start, end, 0.5) + Point{0.0, -0.7 * head.unit()};
        const Colour tint = mix(hair.colour, dice.chance(0.5) ? kWhite : kBlack, 0.3);
        canvas.curve({{start, bend, between(start, end, dice.within(0.8, 1.0))}, false});
        canvas.stroke(tint, dice.within(0.05, 0.22) * head.unit(), 0.35);
    }
}

void drawCurls(const Canvas& canvas, const DrawnHead& head, Colour colour,
               const std::vector<Point>& line, double size, Dice& dice) {
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        const double step = 0.9 * size * head.unit();
        const int curls = 1 + static_cast<int>(distance(line[i], line[i + 1]) / step);
        for (int curl = 0; curl < curls; ++curl) {
            const Point centre = between(line[i], line[i + 1], (curl + dice.unit()) / curls);
            const double radius = dice.within(0.8, 1.2) * size * head.unit();
            canvas.ellipse(centre, radius, radius);
            canvas.fill(mix(colour, kBlack, dice.within(0.0, 0.3)));
            canvas.ellipse(centre, 0.6 * radius, 0.6 * radius);
            canvas.stroke(mix(colour, kWhite, 0.2), 0.12 * head.unit(), 0.35);
        }
    }
}

// Rows of curls from the outline inwards, the smallest at the forehead.
void drawCurlyTop(const Canvas& canvas, const DrawnHead& head, Colour colour,
                  const std::vector<Point>& top, const std::vector<Point>& line, Dice& dice) {
    constexpr int kRows = 5;
    const auto along = [](const std::vector<Point>& points, double t) {
        const double place = t * static_cast<double>(points.size() - 1);
        const auto i = std::min(static_cast<std::size_t>(place), points.size() - 2);
        return between(points[i], points[i + 1], place - static_cast<double>(i));
    };
    for (int row = 0; row <= kRows; ++row) {
        const double inwards = static_cast<double>(row) / kRows;
        std::vector<Point> curls;
        for (int i = 0; i <= 12; ++i) {
            const double t = i / 12.0;
            curls.push_back(between(along(top, t), along(line, t), inwards));
        }
        drawCurls(canvas, head, colour, curls, 1.2 - 0.5 * inwards, dice);
    }
}

}  // namespace

void drawHairBehind(const Canvas& canvas, const DrawnHead& head, const Hair& hair, Dice& dice) {
    if (hair.cut == HairCut::bald || hair.cut == HairCut::shaven) {
        return;
    }
    const Colour shade = mix(hair.colour, kBlack, 0.3);
    const Curve back = head.skullOutline(volumeOf(hair.cut));
    canvas.fillCurve(back, shade);
    if (hair.cut == HairCut::curly) {
        drawCurls(canvas, head, shade, back.points, 1.2, dice);
    }
    if (hair.cut != HairCut::bob && hair.cut != HairCut::flowing) {
        return;
    }
    const double end = hair.cut == HairCut::bob ? dice.within(4.5, 7.0) : dice.within(13.0, 17.0);
    const double spread = hair.cut == HairCut::bob ? 8.6 : 9.3;
    const std::vector<Point> fall = placeAll(head, {{-4.0, -11.0, -1.0},
                                                    {-7.2, -8.0, -1.0},
                                                    {-spread + 0.4, -3.0, -1.0},
                                                    {-spread, 0.6 * end, -1.0},
                                                    {-0.86 * spread, end, -1.0},
                                                    {0.0, end + 0.5, -2.0},
                                                    {0.86 * spread, end, -1.0},
                                                    {spread, 0.6 * end, -1.0},
                                                    {spread - 0.4, -3.0, -1.0},
                                                    {7.2, -8.0, -1.0},
                                                    {4.0, -11.0, -1.0}});
    canvas.fillCurve({fall, true}, shade);
    for (int strand = 0; strand < 60; ++strand) {
        const double x = dice.within(-0.95, 0.95) * spread;
        const Colour tint = mix(shade, dice.chance(0.4) ? hair.colour : kBlack, 0.6);
        canvas.curve({placeAll(head, {{0.93 * x, -5.0, -1.0},
                                      {x, 0.3 * end, -1.0},
                                      {0.9 * x, end * dice.within(0.85, 1.0), -1.0}}),
                      false});
        canvas.stroke(tint, dice.within(0.08, 0.25) * head.unit(), 0.5);
    }
}

void drawHairOnTop(const Canvas& canvas, const DrawnHead& head, const Hair& hair, Dice& dice) {
    if (hair.cut == HairCut::bald) {
        return;
    }
    const std::vector<Point> line = placeAll(head, hairline(hair));
    const std::vector<Point> top =
        upperPart(head.skullOutline(volumeOf(hair.cut)), line.front(), line.back());
    if (top.empty()) {
        return;
    }
    Curve edge{{line.rbegin(), line.rend()}, false};
    canvas.curve({top, false});
    canvas.curve(edge, true);
    cairo_close_path(canvas.cairo());
    if (hair.cut == HairCut::shaven) {
        canvas.fill(hair.colour, 0.55);
        return;
    }
    if (hair.cut == HairCut::curly) {
        canvas.fill(hair.colour);
        drawCurlyTop(canvas, head, hair.colour, top, line, dice);
        return;
    }
    cairo_save(canvas.cairo());
    cairo_clip_preserve(canvas.cairo());
    canvas.fill(hair.colour);
    drawStrands(canvas, head, hair, top, line, dice);
    canvas.softSpot(head.place({-2.5 * hair.partSide, -12.0, 6.0}), 3.8 * head.unit(),
                    2.0 * head.unit(), kWhite, 0.22);
    cairo_restore(canvas.cairo());
}

#include "drawing/drawn_face.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <stdexcept>

#include "drawing/canvas.h"
#include "drawing/drawn_hair.h"
#include "drawing/drawn_head.h"

namespace {

constexpr Colour kBlack = {0.0, 0.0, 0.0};
constexpr Colour kWhite = {1.0, 1.0, 1.0};

constexpr Colour kSkins[] = {{0.98, 0.86, 0.76}, {0.95, 0.78, 0.65}, {0.89, 0.69, 0.54},
                             {0.78, 0.57, 0.41}, {0.60, 0.41, 0.28}, {0.44, 0.29, 0.20},
                             {0.33, 0.21, 0.15}};
constexpr Colour kHairs[] = {{0.09, 0.07, 0.06}, {0.22, 0.14, 0.09}, {0.38, 0.24, 0.13},
                             {0.58, 0.40, 0.20}, {0.80, 0.65, 0.38}, {0.60, 0.25, 0.10},
                             {0.66, 0.65, 0.64}};
constexpr Colour kIrises[] = {{0.25, 0.15, 0.08},
                              {0.40, 0.26, 0.12},
                              {0.30, 0.45, 0.60},
                              {0.35, 0.48, 0.30},
                              {0.48, 0.50, 0.52}};

template <std::size_t n>
Colour pick(const Colour (&colours)[n], Dice& dice) {
    const Colour first = colours[dice.below(static_cast<int>(n))];
    const Colour second = colours[dice.below(static_cast<int>(n))];
    return mix(first, second, dice.within(0.0, 0.35));
}

Colour muted(Dice& dice, double strength) {
    const double grey = dice.within(0.3, 0.8);
    const auto channel = [&] {
        return std::clamp(grey + dice.within(-strength, strength), 0.0, 1.0);
    };
    const double r = channel();
    const double g = channel();
    return {r, g, channel()};
}

struct FaceStyle {
    Colour skin, iris, cloth, background;
    Hair hair;
    double light;  // -1: from the left, 1: from the right
    bool glasses, beard, moustache, freckles, openMouth;
    double browWeight;  // half the height of a brow, in model units
};

FaceStyle chooseStyle(Dice& dice) {
    FaceStyle style = {};
    style.skin = pick(kSkins, dice);
    style.iris = pick(kIrises, dice);
    style.cloth = muted(dice, 0.35);
    style.background = muted(dice, 0.12);
    // Dark hair goes with dark skin, as a rule.
    style.hair.colour = mix(kHairs[0], pick(kHairs, dice), std::min(1.0, 1.6 * style.skin.g));
    style.hair.cut = static_cast<HairCut>(dice.below(kHairCutCount));
    style.hair.partSide = dice.chance(0.5) ? -1.0 : 1.0;
    style.light = dice.chance(0.5) ? -1.0 : 1.0;
    style.glasses = dice.chance(0.2);
    const bool longHair = style.hair.cut == HairCut::bob || style.hair.cut == HairCut::flowing;
    style.beard = !longHair && dice.chance(0.2);
    style.moustache = !longHair && (style.beard || dice.chance(0.1));
    style.freckles = dice.chance(0.15);
    style.openMouth = dice.chance(0.4);
    style.browWeight = dice.within(0.18, 0.42);
    return style;
}

// One face while it is drawn: what every part of the drawing looks at.
struct Sketch {
    const Canvas& canvas;
    const DrawnHead& head;
    const FaceStyle& style;
    Dice& dice;
    double unit;  // pixels per model unit

    Point at(std::int32_t id) const { return head.landmark(id); }
    Point down(double units) const {
        return Point{-std::sin(head.roll()), std::cos(head.roll())} * (units * unit);
    }
    Point right(double units) const {
        return Point{std::cos(head.roll()), std::sin(head.roll())} * (units * unit);
    }
};

void drawBackground(const Sketch& s) {
    s.canvas.paint(s.style.background);
    const double size = s.canvas.width();
    for (int spot = 0; spot < 14; ++spot) {
        const Point centre = {s.dice.within(0.0, size), s.dice.within(0.0, size)};
        const Point radii = {s.dice.within(0.1, 0.45) * size, s.dice.within(0.1, 0.45) * size};
        const Colour tint = mix(s.style.background, s.dice.chance(0.5) ? kWhite : kBlack, 0.5);
        s.canvas.softSpot(centre, radii.x, radii.y, tint, 0.3);
    }
}

// The body stands upright, however the head is held; only the neck joins the two.
void drawBody(const Sketch& s) {
    const Point neck = s.head.place({0.0, 6.0, 1.5});
    const Colour shade = mix(s.style.skin, kBlack, 0.22);
    const double width = s.dice.within(4.0, 5.0) * s.unit;
    const double fall = 7.0 * s.unit;
    const Point throat = {neck.x * 0.8 + s.canvas.width() * 0.1, neck.y + fall};
    s.canvas.fillCurve(
        {{neck + Point{-width, -fall * 0.6}, between(neck, throat, 0.4) + Point{-width, 0.0},
          throat + Point{-1.4 * width, 0.0}, throat + Point{1.4 * width, 0.0},
          between(neck, throat, 0.4) + Point{width, 0.0}, neck + Point{width, -fall * 0.6}},
         true},
        shade);
    const double shoulder = s.dice.within(12.0, 15.0) * s.unit;
    const double collar = s.dice.within(0.3, 2.4) * s.unit;
    const double bottom = s.canvas.height() + 4.0 * s.unit;
    const Curve cloth{{{throat.x - shoulder - 4.0 * s.unit, bottom},
                       {throat.x - shoulder, throat.y + 1.5 * s.unit},
                       {throat.x - 1.3 * width, throat.y - 2.6 * s.unit},
                       {throat.x, throat.y - 2.6 * s.unit + collar},
                       {throat.x + 1.3 * width, throat.y - 2.6 * s.unit},
                       {throat.x + shoulder, throat.y + 1.5 * s.unit},
                       {throat.x + shoulder + 4.0 * s.unit, bottom}},
                      false};
    s.canvas.fillCurve(cloth, s.style.cloth);
    s.canvas.curve({{cloth.points[2], cloth.points[3], cloth.points[4]}, false});
    s.canvas.stroke(mix(s.style.cloth, kBlack, 0.4), 0.35 * s.unit);
}

void drawEars(const Sketch& s) {
    for (const double side : {-1.0, 1.0}) {
        const Point centre = s.head.place({side * 7.7, -1.6, 0.6});
        const double turned = 1.15 - 0.9 * side * std::sin(s.head.yaw());
        const double width = std::max(0.3, turned) * s.unit;
        s.canvas.ellipse(centre, width, 2.2 * s.unit, s.head.roll());
        s.canvas.fill(mix(s.style.skin, kBlack, 0.08));
        s.canvas.ellipse(centre + s.right(-0.1 * side), 0.55 * width, 1.5 * s.unit, s.head.roll());
        s.canvas.stroke(mix(s.style.skin, kBlack, 0.35), 0.25 * s.unit, 0.7);
    }
}

// Skin with light from one side, darker towards the outline.
void drawSkin(const Sketch& s, const Curve& outline) {
    const Colour skin = s.style.skin;
    const Colour shade = mix(skin, {0.25, 0.10, 0.08}, 0.55);
    s.canvas.curve(outline);
    cairo_save(s.canvas.cairo());
    cairo_clip_preserve(s.canvas.cairo());
    s.canvas.fill(skin);
    s.canvas.softSpot(s.head.place({4.0 * s.style.light, -3.0, 8.0}), 9.0 * s.unit, 11.0 * s.unit,
                      mix(skin, kWhite, 0.6), 0.45);
    s.canvas.softSpot(s.head.place({-7.5 * s.style.light, 1.0, 4.0}), 7.0 * s.unit, 13.0 * s.unit,
                      shade, 0.6);
    s.canvas.softStroke(outline, shade, 3.2 * s.unit, 0.45);
    for (const double side : {-1.0, 1.0}) {
        s.canvas.softSpot(s.head.place({side * 4.4, 0.9, 8.6}), 2.4 * s.unit, 1.9 * s.unit,
                          mix(skin, {0.85, 0.2, 0.15}, 0.5), 0.28);
    }
    s.canvas.softSpot(s.head.place({0.0, -8.0, 9.5}), 3.6 * s.unit, 2.0 * s.unit,
                      mix(skin, kWhite, 0.7), 0.35);
    s.canvas.softSpot(s.at(314) + s.down(-0.6), 1.6 * s.unit, 1.1 * s.unit, mix(skin, kWhite, 0.5),
                      0.4);
    s.canvas.softSpot(between(s.at(11), s.at(314), 0.35), 1.8 * s.unit, 0.6 * s.unit, shade, 0.5);
    if (s.style.freckles) {
        for (int spot = 0; spot < 60; ++spot) {
            const Point3 place = {s.dice.within(-5.0, 5.0), s.dice.within(-1.8, 1.6), 9.5};
            const double radius = s.dice.within(0.08, 0.17) * s.unit;
            s.canvas.ellipse(s.head.place(place), radius, radius);
            s.canvas.fill(shade, 0.45);
        }
    }
    cairo_restore(s.canvas.cairo());
}

void drawBeard(const Sketch& s, const Curve& outline) {
    const Colour hair = s.style.hair.colour;
    if (s.style.beard) {
        cairo_save(s.canvas.cairo());
        s.canvas.curve(outline);
        cairo_clip(s.canvas.cairo());
        std::vector<Point> edge;
        for (const Point3& point :
             {Point3{-7.8, -0.5, 1.5}, Point3{-6.1, 1.0, 5.2}, Point3{-4.4, 2.8, 8.4},
              Point3{-2.6, 2.0, 10.3}, Point3{0.0, 2.0, 11.2}, Point3{2.6, 2.0, 10.3},
              Point3{4.4, 2.8, 8.4}, Point3{6.1, 1.0, 5.2}, Point3{7.8, -0.5, 1.5},
              Point3{9.0, 12.0, 3.0}, Point3{-9.0, 12.0, 3.0}}) {
            edge.push_back(s.head.place(point));
        }
        s.canvas.fillCurve({edge, true}, hair, 0.72);
        cairo_restore(s.canvas.cairo());
    }
    if (s.style.moustache) {
        const Point middle = between(s.at(200), s.at(10), 0.45);
        s.canvas.fillCurve({{s.at(12) + s.down(-0.1), between(middle, s.at(12), 0.5) + s.down(-0.5),
                             middle + s.down(-0.3), between(middle, s.at(13), 0.5) + s.down(-0.5),
                             s.at(13) + s.down(-0.1), middle + s.down(0.4)},
                            true},
                           hair, 0.85);
    }
}

void drawNose(const Sketch& s) {
    const Colour shade = mix(s.style.skin, {0.2, 0.05, 0.03}, 0.6);
    const Point tip = s.at(9);
    const Point base = s.at(200);
    const Point left = s.at(44);
    const Point right = s.at(43);
    const Point dark = s.style.light < 0 ? right : left;
    const Point brow = s.at(s.style.light < 0 ? 4 : 3);
    s.canvas.softStroke({{brow, between(s.at(6), brow, 0.45), between(tip, dark, 0.75)}, false},
                        shade, 1.3 * s.unit, 0.3);
    s.canvas.softSpot(between(base, s.at(10), 0.3), 1.8 * s.unit, 0.9 * s.unit, shade, 0.4);
    s.canvas.softStroke({{s.at(6), between(s.at(6), tip, 0.6), tip}, false},
                        mix(s.style.skin, kWhite, 0.7), 0.9 * s.unit, 0.35);
    s.canvas.softSpot(tip, 0.9 * s.unit, 0.8 * s.unit, kWhite, 0.4);
    for (const Point wing : {left, right}) {
        const Point inward = (base - wing) * (1.0 / std::max(1e-6, distance(base, wing)));
        const Point outer = wing - inward * (0.15 * s.unit);
        cairo_new_path(s.canvas.cairo());
        s.canvas.arcThrough(wing + s.down(-0.75) + inward * (0.3 * s.unit), outer,
                            wing + s.down(0.5) + inward * (0.55 * s.unit), 0.6);
        s.canvas.stroke(shade, 0.22 * s.unit, 0.8);
        s.canvas.ellipse(between(wing, base, 0.52) + s.down(0.12), 0.42 * s.unit, 0.22 * s.unit,
                         s.head.roll());
        s.canvas.fill(mix(shade, kBlack, 0.5), 0.9);
    }
    s.canvas.curve(
        {{between(left, base, 0.6) + s.down(0.25), base, between(right, base, 0.6) + s.down(0.25)},
         false});
    s.canvas.stroke(shade, 0.16 * s.unit, 0.7);
}

// Corners, upper lip, lower lip and the line between them pass through their landmarks.
void drawMouth(const Sketch& s) {
    const Colour lip = mix(s.style.skin, {0.72, 0.15, 0.18}, s.dice.within(0.35, 0.7));
    const Colour line = mix(lip, {0.15, 0.02, 0.03}, 0.7);
    const Point left = s.at(12);
    const Point right = s.at(13);
    const Point upper = s.at(10);
    const Point lower = s.at(11);
    const Point middle = s.at(45);
    const Point bow = s.down(-0.16);
    const Curve upperEdge{
        {left, between(left, upper, 0.5) + s.down(-0.22), upper + s.right(-0.5) + bow, upper,
         upper + s.right(0.5) + bow, between(right, upper, 0.5) + s.down(-0.22), right},
        false};
    const Curve lowerEdge{{right, between(right, lower, 0.5) + s.down(0.25), lower,
                           between(left, lower, 0.5) + s.down(0.25), left},
                          false};
    s.canvas.curve(upperEdge);
    s.canvas.curve(lowerEdge, true);
    cairo_close_path(s.canvas.cairo());
    s.canvas.fill(lip);
    s.canvas.softSpot(between(lower, middle, 0.4), 1.1 * s.unit, 0.35 * s.unit, kWhite, 0.3);
    if (s.style.openMouth) {
        const Point high = between(middle, upper, 0.35);
        const Point low = between(middle, lower, 0.35);
        cairo_new_path(s.canvas.cairo());
        s.canvas.arcThrough(left, high, right, 0.6);
        s.canvas.arcThrough(right, low, left, 0.6);
        s.canvas.fill({0.35, 0.08, 0.08});
        cairo_new_path(s.canvas.cairo());
        s.canvas.arcThrough(between(left, right, 0.06), high, between(left, right, 0.94), 0.6);
        s.canvas.arcThrough(between(left, right, 0.94), between(high, low, 0.7),
                            between(left, right, 0.06), 0.6);
        s.canvas.fill({0.95, 0.93, 0.88});
    } else {
        s.canvas.curve(
            {{left, between(left, middle, 0.55), middle, between(right, middle, 0.55), right},
             false});
        s.canvas.stroke(line, 0.22 * s.unit, 0.9);
    }
    for (const Point corner : {left, right}) {
        s.canvas.ellipse(corner, 0.2 * s.unit, 0.16 * s.unit);
        s.canvas.fill(line, 0.7);
    }
}

void eyeOutline(const Sketch& s, Point outer, Point upper, Point inner, Point lower) {
    cairo_new_path(s.canvas.cairo());
    s.canvas.arcThrough(outer, upper, inner, 0.5);
    s.canvas.arcThrough(inner, lower, outer, 0.5);
    cairo_close_path(s.canvas.cairo());
}

void drawEye(const Sketch& s, Point centre, Point inner, Point lower, Point outer) {
    const Point upper = centre + (centre - lower) * 1.1;
    const Colour shade = mix(s.style.skin, {0.2, 0.06, 0.05}, 0.6);
    const double span = distance(inner, outer);
    s.canvas.softSpot(upper + s.down(-0.3), 0.85 * span, 0.55 * span, shade, 0.4);
    s.canvas.softStroke({{inner + s.down(0.4), lower + s.down(0.55), outer + s.down(0.4)}, false},
                        shade, 0.7 * s.unit, 0.22);
    cairo_save(s.canvas.cairo());
    eyeOutline(s, outer, upper, inner, lower);
    cairo_clip(s.canvas.cairo());
    s.canvas.paint({0.95, 0.94, 0.92});
    const double iris = 0.68 * s.unit;
    s.canvas.ellipse(centre, iris, iris);
    s.canvas.fill(s.style.iris);
    s.canvas.ellipse(centre, iris, iris);
    s.canvas.stroke(mix(s.style.iris, kBlack, 0.6), 0.16 * s.unit);
    s.canvas.ellipse(centre, 0.45 * iris, 0.45 * iris);
    s.canvas.fill({0.03, 0.03, 0.03});
    s.canvas.ellipse(centre + s.right(0.2 * s.style.light) + s.down(-0.22), 0.15 * s.unit,
                     0.15 * s.unit);
    s.canvas.fill(kWhite, 0.95);
    s.canvas.softStroke({{outer, upper + s.down(0.1), inner}, false}, kBlack, 0.7 * s.unit, 0.25);
    cairo_restore(s.canvas.cairo());
    cairo_new_path(s.canvas.cairo());
    s.canvas.arcThrough(outer, upper, inner, 0.5);
    s.canvas.stroke({0.08, 0.05, 0.04}, 0.24 * s.unit);
    cairo_new_path(s.canvas.cairo());
    s.canvas.arcThrough(outer, lower, inner, 0.5);
    s.canvas.stroke(shade, 0.12 * s.unit, 0.8);
    s.canvas.curve({{outer + s.down(-0.35), upper + s.down(-0.45), inner + s.down(-0.15)}, false});
    s.canvas.stroke(shade, 0.14 * s.unit, 0.7);
}

void drawBrow(const Sketch& s, Point inner, Point middle, Point outer) {
    const Point thick = s.down(s.style.browWeight);
    const Colour colour = mix(mix(s.style.hair.colour, s.style.skin, 0.15), kBlack, 0.25);
    s.canvas.fillCurve(
        {{inner - thick, between(inner, middle, 0.5) - thick * 1.2, middle - thick, outer,
          middle + thick, between(inner, middle, 0.5) + thick * 0.9, inner + thick * 0.9},
         true},
        colour, 0.9);
    for (int hair = 0; hair < 16; ++hair) {
        const double t = s.dice.unit();
        const Point root = between(inner, middle, t) + thick * s.dice.within(-0.2, 0.8);
        const Point tip = root + (middle - inner) * 0.18 - thick * 0.9;
        s.canvas.curve({{root, tip}, false});
        s.canvas.stroke(mix(colour, kBlack, 0.4), 0.08 * s.unit, 0.6);
    }
}

void drawGlasses(const Sketch& s) {
    const Colour frame = mix(s.style.cloth, kBlack, 0.75);
    const double span = distance(s.at(0), s.at(1));
    for (const std::int32_t eye : {0, 1}) {
        s.canvas.ellipse(s.at(eye) + s.down(0.25), 0.36 * span, 0.3 * span, s.head.roll());
        s.canvas.setColour(kWhite, 0.07);
        cairo_fill_preserve(s.canvas.cairo());
        s.canvas.stroke(frame, 0.34 * s.unit);
    }
    const Point inward = (s.at(1) - s.at(0)) * (0.36);
    s.canvas.curve({{s.at(0) + inward, s.at(6) + s.down(-0.15), s.at(1) - inward}, false});
    s.canvas.stroke(frame, 0.34 * s.unit);
    s.canvas.curve({{s.at(0) - inward, s.head.place({-7.3, -3.0, 2.0})}, false});
    s.canvas.curve({{s.at(1) + inward, s.head.place({7.3, -3.0, 2.0})}, false});
    s.canvas.stroke(frame, 0.34 * s.unit);
}

// A camera's grain, so that no area is perfectly even.
void addGrain(std::vector<std::uint8_t>& pixels, Dice& dice) {
    for (std::uint8_t& value : pixels) {
        const int grain =
            static_cast<int>(std::floor(4.0 * (dice.unit() + dice.unit() - 1.0) + 0.5));
        value = static_cast<std::uint8_t>(std::clamp(value + grain, 0, 255));
    }
}

}  // namespace

DrawnFace drawFace(std::uint64_t seed, int side) {
    if (side < 32) {
        throw std::invalid_argument("a drawn face needs at least 32 pixels");
    }
    Dice dice(seed);
    const FaceStyle style = chooseStyle(dice);
    const DrawnHead head(dice, side);
    const Canvas canvas(side, side);
    const Sketch sketch{canvas, head, style, dice, head.unit()};
    const Curve outline = head.faceOutline();
    drawBackground(sketch);
    drawHairBehind(canvas, head, style.hair, dice);
    drawBody(sketch);
    drawEars(sketch);
    drawSkin(sketch, outline);
    drawBeard(sketch, outline);
    drawNose(sketch);
    drawMouth(sketch);
    drawEye(sketch, head.landmark(0), head.landmark(221), head.landmark(222), head.landmark(223));
    drawEye(sketch, head.landmark(1), head.landmark(227), head.landmark(226), head.landmark(225));
    drawBrow(sketch, head.landmark(3), head.landmark(300), head.landmark(2));
    drawBrow(sketch, head.landmark(4), head.landmark(302), head.landmark(5));
    drawHairOnTop(canvas, head, style.hair, dice);
    if (style.glasses) {
        drawGlasses(sketch);
    }
    DrawnFace face{side, side, canvas.pixels(), head.record()};
    addGrain(face.pixels, dice);
    return face;
}

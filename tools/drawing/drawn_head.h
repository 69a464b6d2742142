// The head behind a drawn face: the head model with proportions of its own, turned and projected.
#ifndef ZOMU_TOOLS_DRAWING_DRAWN_HEAD_H
#define ZOMU_TOOLS_DRAWING_DRAWN_HEAD_H

#include <array>
#include <cstdint>
#include <vector>

#include "drawing/canvas.h"
#include "drawing/dice.h"
#include "patches/landmarks.h"

// Model space: x across the face, y down it, z towards the viewer, in the head model's units.
struct Point3 {
    double x, y, z;
};

class DrawnHead {
  public:
    // A head somewhere near the middle of a square of `side` pixels.
    DrawnHead(Dice& dice, int side);

    // Where a point of a head of average width lands on the canvas.
    Point place(Point3 point) const;
    Point landmark(std::int32_t id) const;

    // All 29 in the library's convention, ordered by id.
    LandmarkRecord record() const;

    double unit() const { return m_scale; }  // pixels per model unit
    double roll() const { return m_roll; }   // radians, clockwise in the picture
    double yaw() const { return m_yaw; }

    // The outline of head and face together, and that of the skull alone, grown by `volume`.
    Curve faceOutline() const;
    Curve skullOutline(double volume) const;

  private:
    Point project(Point3 point) const;
    void varyProportions(Dice& dice);
    Curve outlineOf(const std::vector<Point3>& points, Point3 centre) const;

    std::array<Point3, kModelPointCount> m_model;  // in the order of kHeadModel
    double m_width;                                // of the whole head, 1 is average
    double m_jaw;                                  // the same for its lower part
    double m_roll, m_yaw, m_pitch;
    double m_scale;
    Point m_centre;
};

#endif

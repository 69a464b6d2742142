#include "drawing/drawn_head.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr Point3 kPivot = {0.0, -2.0, 3.0};  // about which heads turn, near the top of the spine
constexpr Point3 kSkull = {0.0, -4.9, 1.0};
constexpr Point3 kSkullRadii = {7.5, 8.6, 8.0};

std::size_t rowOf(std::int32_t id) {
    return static_cast<std::size_t>(kLandmarkRow[id]);
}

std::vector<Point3> skullPoints(double volume) {
    std::vector<Point3> points;
    for (int ring = 0; ring < 12; ++ring) {
        const double tilt = std::numbers::pi * (ring + 0.5) / 12.0;
        for (int step = 0; step < 24; ++step) {
            const double turn = 2.0 * std::numbers::pi * step / 24.0;
            points.push_back({kSkull.x + kSkullRadii.x * volume * std::sin(tilt) * std::cos(turn),
                              kSkull.y + kSkullRadii.y * volume * std::cos(tilt),
                              kSkull.z + kSkullRadii.z * volume * std::sin(tilt) * std::sin(turn)});
        }
    }
    return points;
}

}  // namespace

DrawnHead::DrawnHead(Dice& dice, int side)
    : m_width(dice.within(0.93, 1.05)),
      m_jaw(dice.within(0.88, 1.06)),
      m_roll(dice.within(-10.0, 10.0) * kDegree),
      m_yaw(dice.within(-18.0, 18.0) * kDegree),
      m_pitch(dice.within(-9.0, 9.0) * kDegree),
      m_scale(side / dice.within(28.0, 32.0)),
      m_centre{side * dice.within(0.47, 0.53), side * dice.within(0.50, 0.54)} {
    for (std::size_t row = 0; row < m_model.size(); ++row) {
        const float(&point)[3] = kHeadModel[row];
        m_model[row] = {static_cast<double>(point[0]), static_cast<double>(point[1]),
                        static_cast<double>(point[2])};
    }
    varyProportions(dice);
}

// Shifts are in model units; all of them keep left and right alike. No call throws the dice twice:
// compilers differ in the order of arguments.
void DrawnHead::varyProportions(Dice& dice) {
    const auto shift = [this](std::initializer_list<std::int32_t> ids, double dx, double dy) {
        for (const std::int32_t id : ids) {
            Point3& point = m_model[rowOf(id)];
            point.x += point.x < 0.0 ? -dx : dx;
            point.y += dy;
        }
    };
    const double eyesApart = dice.within(-0.22, 0.25);
    shift({0, 1, 221, 222, 223, 225, 226, 227}, eyesApart, 0.0);
    shift({221, 227}, dice.within(-0.12, 0.1), 0.0);
    shift({223, 225}, dice.within(-0.12, 0.2), 0.0);
    shift({223, 225}, 0.0, dice.within(-0.2, 0.15));
    shift({222, 226}, 0.0, dice.within(-0.1, 0.14));
    const double browsUp = dice.within(-0.45, 0.35);
    shift({2, 3, 4, 5, 300, 302}, 0.0, browsUp);
    shift({3, 4}, dice.within(-0.2, 0.25), 0.0);
    shift({3, 4}, 0.0, dice.within(-0.2, 0.2));
    shift({300, 302}, 0.0, dice.within(-0.2, 0.3));
    const double noseLength = dice.within(-0.5, 0.45);
    shift({43, 44}, dice.within(-0.22, 0.35), noseLength);
    shift({9, 200}, 0.0, noseLength);
    const double mouthDown = 0.5 * noseLength + dice.within(-0.15, 0.3);
    const double smile = dice.within(-0.15, 0.5);
    const double lips = dice.within(-0.2, 0.3);
    shift({10, 11, 12, 13, 45}, 0.0, mouthDown);
    shift({12, 13}, dice.within(-0.3, 0.2) + 0.8 * smile, -smile);
    shift({10}, 0.0, -0.4 * lips);
    shift({11}, 0.0, lips);
    shift({314}, 0.0, dice.within(-0.3, 0.7));
}

Point DrawnHead::project(Point3 point) const {
    const double x = point.x - kPivot.x;
    const double y = point.y - kPivot.y;
    const double z = point.z - kPivot.z;
    const double turnedX = x * std::cos(m_yaw) + z * std::sin(m_yaw);
    const double turnedZ = z * std::cos(m_yaw) - x * std::sin(m_yaw);
    const double noddedY = y * std::cos(m_pitch) + turnedZ * std::sin(m_pitch);
    const double u = turnedX * std::cos(m_roll) - noddedY * std::sin(m_roll);
    const double v = turnedX * std::sin(m_roll) + noddedY * std::cos(m_roll);
    return m_centre + Point{u, v} * m_scale;
}

// The jaw factor fades in from the ears to the chin.
Point DrawnHead::place(Point3 point) const {
    const double low = std::clamp(point.y / 5.0, 0.0, 1.0);
    return project({point.x * m_width * (1.0 + (m_jaw - 1.0) * low), point.y, point.z});
}

Point DrawnHead::landmark(std::int32_t id) const {
    return place(m_model[rowOf(id)]);
}

// The library counts from pixel centres, the canvas from pixel corners.
LandmarkRecord DrawnHead::record() const {
    LandmarkRecord record = {};
    for (std::int32_t id = 0; id < kLandmarkIdCount; ++id) {
        if (id != 0 && kLandmarkRow[id] == 0) {
            continue;
        }
        const Point point = landmark(id);
        record.entries[record.count++] = {id, static_cast<float>(point.x - 0.5),
                                          static_cast<float>(point.y - 0.5)};
    }
    return record;
}

// Walks round `centre` and takes the reach of the convex hull in every direction; smoothing then
// rounds its corners off.
Curve DrawnHead::outlineOf(const std::vector<Point3>& points, Point3 centre) const {
    constexpr std::size_t kDirections = 96;
    const Point middle = place(centre);
    std::vector<Point> placed;
    placed.reserve(points.size());
    for (const Point3& point : points) {
        placed.push_back(place(point) - middle);
    }
    // Support in each direction; the hull's reach follows from the supports around it.
    std::array<double, kDirections> support;
    std::array<Point, kDirections> direction;
    for (std::size_t i = 0; i < kDirections; ++i) {
        const double angle = 2.0 * std::numbers::pi * static_cast<double>(i) / kDirections;
        direction[i] = {std::cos(angle), std::sin(angle)};
        support[i] = 0.0;
        for (const Point& point : placed) {
            support[i] = std::max(support[i], point.x * direction[i].x + point.y * direction[i].y);
        }
    }
    std::array<double, kDirections> reach;
    for (std::size_t i = 0; i < kDirections; ++i) {
        reach[i] = std::numeric_limits<double>::max();
        for (std::size_t j = 0; j < kDirections; ++j) {
            const double along = direction[i].x * direction[j].x + direction[i].y * direction[j].y;
            if (along > 0.1) {
                reach[i] = std::min(reach[i], support[j] / along);
            }
        }
    }
    Curve outline;
    outline.closed = true;
    for (std::size_t i = 0; i < kDirections; ++i) {
        constexpr std::size_t kReach = 4;
        double sum = 0.0;
        for (std::size_t j = 0; j <= 2 * kReach; ++j) {
            sum += reach[(i + kDirections + j - kReach) % kDirections];
        }
        outline.points.push_back(middle + direction[i] * (sum / (2 * kReach + 1)));
    }
    return outline;
}

Curve DrawnHead::faceOutline() const {
    std::vector<Point3> points = skullPoints(1.0);
    for (const std::int32_t id : {240, 241, 315, 316}) {
        const Point3 point = m_model[rowOf(id)];
        points.push_back({1.05 * point.x, point.y, point.z});  // what smoothing takes away
    }
    const double chin = m_model[rowOf(314)].y;
    for (const double side : {-1.0, 1.0}) {
        points.push_back({side * 1.6, chin + 0.75, 9.6});
        points.push_back({side * 4.1, 0.5 * chin + 2.4, 6.6});
        points.push_back({side * 5.9, -0.4, 7.4});
        points.push_back({side * 5.5, 2.2, 6.8});
        points.push_back({side * 5.9, -5.0, 7.6});
        points.push_back({side * 4.2, -9.6, 7.6});
    }
    return outlineOf(points, {0.0, -2.5, 4.0});
}

Curve DrawnHead::skullOutline(double volume) const {
    return outlineOf(skullPoints(volume), kSkull);
}

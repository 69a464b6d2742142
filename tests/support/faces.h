// Landmark records for tests: the head model seen from any direction.
#ifndef ZOMU_TESTS_SUPPORT_FACES_H
#define ZOMU_TESTS_SUPPORT_FACES_H

#include <cmath>
#include <cstring>
#include <numbers>

#include "reference/reference_tables.h"
#include "support/random.h"
#include "zomu.h"

// How a head is seen. Angles are in degrees; all zero looks straight into the camera.
struct HeadView {
    double yaw = 0;    // about the axis that runs down the face
    double pitch = 0;  // about the axis across the face
    double roll = 0;   // in the plane of the picture
    double scale = 8;  // pixels per model unit; the eye distance is 6.2773 units
    double x = 100;    // where the origin of the model lands, in pixels
    double y = 100;
};

// Row by row: turns about x (pitch), then y (yaw), then z (roll).
struct Rotation {
    double at[9];
};

inline Rotation rotationOf(const HeadView& view) {
    const double degree = std::numbers::pi / 180.0;
    const double cx = std::cos(view.pitch * degree), sx = std::sin(view.pitch * degree);
    const double cy = std::cos(view.yaw * degree), sy = std::sin(view.yaw * degree);
    const double cz = std::cos(view.roll * degree), sz = std::sin(view.roll * degree);
    return {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,  //
             sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,  //
             -sy, cy * sx, cy * cx}};
}

// A full record of 29 entries in the order of their ids, seen without perspective.
inline LandmarkRecord projectFace(const HeadView& view) {
    const Rotation R = rotationOf(view);
    LandmarkRecord record;
    std::memset(&record, 0, sizeof record);
    record.count = ZOMU_LANDMARK_COUNT;
    for (int i = 0; i < ZOMU_LANDMARK_COUNT; ++i) {
        const ReferenceLandmark& point = kReferenceLandmarks[i];
        const auto X = static_cast<double>(point.X);
        const auto Y = static_cast<double>(point.Y);
        const auto Z = static_cast<double>(point.Z);
        const double u = view.scale * (R.at[0] * X + R.at[1] * Y + R.at[2] * Z) + view.x;
        const double v = view.scale * (R.at[3] * X + R.at[4] * Y + R.at[5] * Z) + view.y;
        record.entries[i] = {point.id, static_cast<float>(u), static_cast<float>(v)};
    }
    return record;
}

// Moves every landmark by up to `pixels` in each direction, as a detector's noise would.
inline void jitter(LandmarkRecord& record, Random& random, float pixels) {
    for (int i = 0; i < record.count; ++i) {
        record.entries[i].x += random.uniform(-pixels, pixels);
        record.entries[i].y += random.uniform(-pixels, pixels);
    }
}

inline void shuffleEntries(LandmarkRecord& record, Random& random) {
    random.shuffle(record.entries, record.count);
}

// The record without the four landmarks at the sides of the head: 25 entries, order kept.
inline LandmarkRecord withoutSidesOfHead(const LandmarkRecord& record) {
    LandmarkRecord reduced = record;
    reduced.count = 0;
    for (int i = 0; i < record.count; ++i) {
        const int id = record.entries[i].id;
        if (id != 240 && id != 241 && id != 315 && id != 316) {
            reduced.entries[reduced.count++] = record.entries[i];
        }
    }
    return reduced;
}

// Some view of a head that a picture of the given size might hold.
inline HeadView randomView(Random& random, int width, int height) {
    HeadView view;
    view.yaw = static_cast<double>(random.uniform(-60, 60));
    view.pitch = static_cast<double>(random.uniform(-40, 40));
    view.roll = static_cast<double>(random.uniform(-180, 180));
    view.scale = static_cast<double>(random.uniform(0.5F, 20));
    view.x = static_cast<double>(random.unit()) * width;
    view.y = static_cast<double>(random.unit()) * height;
    return view;
}

#endif

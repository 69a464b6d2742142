// Landmark records for the tests: blocks of exact length, and views of the head model from any
// side.
#ifndef ZOMU_TESTS_PATCHES_SAMPLE_FACE_H
#define ZOMU_TESTS_PATCHES_SAMPLE_FACE_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numbers>
#include <vector>

#include "reference/reference_tables.h"
#include "zomu.h"

// A record in a block of exactly 8 + 12 n bytes, so that a sanitizer sees every read beyond it.
class RecordBlock {
  public:
    explicit RecordBlock(const std::vector<LandmarkEntry>& entries)
        : bytes(new std::uint8_t[8 + entries.size() * sizeof(LandmarkEntry)]) {
        setCount(static_cast<std::int32_t>(entries.size()));
        std::memset(bytes.get() + 4, 0xA5, 4);  // the reserved word, which nobody may read
        if (!entries.empty()) {
            std::memcpy(bytes.get() + 8, entries.data(), entries.size() * sizeof(LandmarkEntry));
        }
    }

    void setCount(std::int32_t count) { std::memcpy(bytes.get(), &count, 4); }

    const LandmarkRecord& record() const {
        return *reinterpret_cast<const LandmarkRecord*>(bytes.get());
    }

  private:
    std::unique_ptr<std::uint8_t[]> bytes;
};

// A scaled orthographic camera: turns about x (pitch), then y (yaw), then z (roll), in degrees;
// then k pixels a model unit; then a shift in the picture.
struct CameraView {
    double k = 10.0;
    double pitch = 0.0;
    double yaw = 0.0;
    double roll = 0.0;
    double left = 160.0;
    double top = 150.0;
};

struct Rotation {
    double at[9];
};

inline Rotation rotationOf(const CameraView& view) {
    const double degree = std::numbers::pi / 180.0;
    const double cx = std::cos(view.pitch * degree), sx = std::sin(view.pitch * degree);
    const double cy = std::cos(view.yaw * degree), sy = std::sin(view.yaw * degree);
    const double cz = std::cos(view.roll * degree), sz = std::sin(view.roll * degree);
    return {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,  //
             sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,  //
             -sy, cy * sx, cy * cx}};
}

// The full record of 29 landmarks as the camera sees them, in the order of the model's rows.
inline std::vector<LandmarkEntry> seenFrom(const CameraView& view) {
    const Rotation R = rotationOf(view);
    std::vector<LandmarkEntry> entries;
    for (const ReferenceLandmark& row : kReferenceLandmarks) {
        const auto X = static_cast<double>(row.X);
        const auto Y = static_cast<double>(row.Y);
        const auto Z = static_cast<double>(row.Z);
        const double u = view.k * (R.at[0] * X + R.at[1] * Y + R.at[2] * Z) + view.left;
        const double v = view.k * (R.at[3] * X + R.at[4] * Y + R.at[5] * Z) + view.top;
        entries.push_back({row.id, static_cast<float>(u), static_cast<float>(v)});
    }
    return entries;
}

inline const LandmarkEntry& entryOf(const std::vector<LandmarkEntry>& entries, std::int32_t id) {
    return *std::find_if(entries.begin(), entries.end(),
                         [id](const LandmarkEntry& entry) { return entry.id == id; });
}

inline std::vector<LandmarkEntry> withoutSides(std::vector<LandmarkEntry> entries) {
    std::erase_if(entries, [](const LandmarkEntry& entry) {
        return entry.id == 240 || entry.id == 241 || entry.id == 315 || entry.id == 316;
    });
    return entries;
}

#endif

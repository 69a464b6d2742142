// Landmark records for the tests: blocks of exact length, and views of the head model from any
// side.
#ifndef ZOMU_TESTS_PATCHES_SAMPLE_FACE_H
#define ZOMU_TESTS_PATCHES_SAMPLE_FACE_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numbers>
#include <vector>

#include "zomu.h"

// One landmark of the contract, in the order of the model's rows. `kept` is -1 at the sides of the
// head.
struct ContractRow {
    std::int32_t id;
    int kept;
    float X, Y, Z;
};

constexpr ContractRow kContract[29] = {
    {0, 0, -3.227F, -3.484F, 9.589F},     {1, 1, 3.05F, -3.546F, 9.59F},
    {2, 2, -5.7F, -4.652F, 8.292F},       {3, 3, -1.549F, -5.085F, 10.83F},
    {4, 4, 1.612F, -5.106F, 10.83F},      {5, 5, 5.705F, -4.704F, 8.148F},
    {6, 6, -0.0185F, -3.543F, 11.07F},    {9, 7, 0.01795F, -0.2319F, 13.32F},
    {10, 8, -0.02015F, 2.274F, 11.62F},   {11, 9, -0.04147F, 4.102F, 11.41F},
    {12, 10, -2.673F, 3.301F, 10.002F},   {13, 11, 2.528F, 3.315F, 9.962F},
    {43, 12, 1.661F, 0.3568F, 10.66F},    {44, 13, -1.74F, 0.2793F, 10.69F},
    {45, 14, 0.07737F, 3.101F, 11.32F},   {200, 15, -0.01402F, 1.045F, 11.69F},
    {221, 16, -1.782F, -3.277F, 9.267F},  {222, 17, -3.255F, -2.946F, 9.531F},
    {223, 18, -4.436F, -3.397F, 8.747F},  {225, 19, 4.376F, -3.418F, 8.762F},
    {226, 20, 3.056F, -2.961F, 9.522F},   {227, 21, 1.626F, -3.367F, 9.263F},
    {240, -1, -7.386F, 0.05087F, 1.039F}, {241, -1, 7.377F, 0.0564F, 1.298F},
    {300, 22, -3.956F, -5.678F, 10.06F},  {302, 23, 3.664F, -5.768F, 10.18F},
    {314, 24, -0.0435F, 6.917F, 10.75F},  {315, -1, -6.365F, 3.718F, 3.913F},
    {316, -1, 6.252F, 3.752F, 3.822F},
};

// A record in a block of exactly 8 + 12 n bytes, so that a sanitizer sees every read beyond it.
class RecordBlock {
  public:
    explicit RecordBlock(const std::vector<LandmarkEntry>& entries)
        : bytes(new std::uint8_t[8 + entries.size() * sizeof(LandmarkEntry)]) {
        setCount(static_cast<std::int32_t>(entries.size()));
        setReserved(0);
        if (!entries.empty())
            std::memcpy(bytes.get() + 8, entries.data(), entries.size() * sizeof(LandmarkEntry));
    }

    void setCount(std::int32_t count) { std::memcpy(bytes.get(), &count, 4); }
    void setReserved(std::uint32_t word) { std::memcpy(bytes.get() + 4, &word, 4); }

    const LandmarkRecord& record() const {
        return *reinterpret_cast<const LandmarkRecord*>(bytes.get());
    }

  private:
    std::unique_ptr<std::uint8_t[]> bytes;
};

// A scaled orthographic camera: turns about x (pitch), then y (yaw), then z (roll), in degrees;
// then k pixels a model unit; then a shift in the picture.
struct HeadView {
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

inline Rotation rotationOf(const HeadView& view) {
    const double degree = std::numbers::pi / 180.0;
    const double cx = std::cos(view.pitch * degree);
    const double sx = std::sin(view.pitch * degree);
    const double cy = std::cos(view.yaw * degree);
    const double sy = std::sin(view.yaw * degree);
    const double cz = std::cos(view.roll * degree);
    const double sz = std::sin(view.roll * degree);
    return {{cz * cy, cz * sy * sx - sz * cx, cz * sy * cx + sz * sx,  //
             sz * cy, sz * sy * sx + cz * cx, sz * sy * cx - cz * sx,  //
             -sy, cy * sx, cy * cx}};
}

// The full record of 29 landmarks as the camera sees them, in the order of the model's rows.
inline std::vector<LandmarkEntry> seenFrom(const HeadView& view) {
    const Rotation R = rotationOf(view);
    std::vector<LandmarkEntry> entries;
    for (const ContractRow& row : kContract) {
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
    std::size_t i = 0;
    while (entries.at(i).id != id)
        ++i;
    return entries[i];
}

inline std::vector<LandmarkEntry> withoutSides(const std::vector<LandmarkEntry>& entries) {
    std::vector<LandmarkEntry> kept;
    for (const LandmarkEntry& entry : entries)
        if (entry.id != 240 && entry.id != 241 && entry.id != 315 && entry.id != 316)
            kept.push_back(entry);
    return kept;
}

#endif

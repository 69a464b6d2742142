#include <algorithm>
#include <bit>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "support/face_generator.h"
#include "support/faces.h"

using Entries = std::vector<LandmarkEntry>;

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr float kLargest = std::numeric_limits<float>::max();
static constexpr float kOddValues[] = {
    kNan,           -kNan,         kInfinity,     -kInfinity,     kLargest,    -kLargest,
    0x1p-149F,      -0x1p-149F,    0x1p-126F,     -0.0F,          0.0F,        1e20F,
    -1e20F,         2147483648.0F, 2147483520.0F, -2147483648.0F, 16777216.0F, 8388607.5F,
    -2147483904.0F, 1.8446744e19F, -1.0F,         0.5F,           -0.5F,       1e-30F};

// The neighbour of a float: one step up or down.
static float besides(Random& random, float value) {
    return std::nextafter(value, random.oneIn(2) ? kInfinity : -kInfinity);
}

static LandmarkEntry& entryOf(Entries& entries, int id) {
    return *std::find_if(entries.begin(), entries.end(),
                         [id](const LandmarkEntry& entry) { return entry.id == id; });
}

static void leaveAsItIs(Random&, Entries&, int, int) {}

static void moveFarAway(Random& random, Entries& entries, int, int) {
    const float x = std::ldexp(random.uniform(-1, 1), random.between(0, 127));
    const float y = std::ldexp(random.uniform(-1, 1), random.between(0, 127));
    for (LandmarkEntry& e : entries) {
        e.x += x;
        e.y += y;
    }
}

static void changeScale(Random& random, Entries& entries, int, int) {
    const float scale = std::ldexp(random.uniform(0.5F, 1), random.between(-150, 125));
    for (LandmarkEntry& e : entries) {
        e.x *= scale;
        e.y *= scale;
    }
}

static void stretchOneAxis(Random& random, Entries& entries, int, int) {
    const float scale = std::ldexp(random.uniform(-1, 1), random.between(-140, 100));
    const bool isX = random.oneIn(2);
    for (LandmarkEntry& e : entries) {
        (isX ? e.x : e.y) *= scale;
    }
}

static void scatter(Random& random, Entries& entries, int width, int height) {
    const float reach = std::ldexp(1.0F, random.between(-3, 30));
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    for (LandmarkEntry& e : entries) {
        e.x = random.uniform(-reach, w + reach);
        e.y = random.uniform(-reach, h + reach);
    }
}

static void takeAnyBits(Random& random, Entries& entries, int, int) {
    for (LandmarkEntry& e : entries) {
        e.x = random.anyFloat();
        e.y = random.anyFloat();
    }
}

static void takeOddValues(Random& random, Entries& entries, int, int) {
    const int count = random.oneIn(4) ? static_cast<int>(entries.size()) : random.between(1, 4);
    for (int i = 0; i < count; ++i) {
        LandmarkEntry& entry = random.oneOf(entries);
        (random.oneIn(2) ? entry.x : entry.y) = random.oneOf(kOddValues);
    }
}

static void takeOneValue(Random& random, Entries& entries, int width, int) {
    const float value = random.oneIn(2) ? random.oneOf(kOddValues)
                                        : random.uniform(-10, static_cast<float>(width) + 10);
    for (LandmarkEntry& e : entries) {
        e.x = value;
        e.y = value;
    }
}

// Few places, or one, or places that are one step of a float apart.
static void gather(Random& random, Entries& entries, int width, int height) {
    const int count = random.between(1, 4);
    LandmarkEntry places[4];
    for (LandmarkEntry& place : places) {
        place = {0, random.uniform(-5, static_cast<float>(width) + 5),
                 random.uniform(-5, static_cast<float>(height) + 5)};
    }
    const bool inSteps = random.oneIn(2);
    for (LandmarkEntry& e : entries) {
        const LandmarkEntry& place = places[random.between(0, count - 1)];
        e.x = inSteps ? besides(random, place.x) : place.x;
        e.y = inSteps ? besides(random, place.y) : place.y;
    }
}

static void putOnALine(Random& random, Entries& entries, int, int) {
    const float slope =
        random.oneIn(3) ? 0.0F : std::ldexp(random.uniform(-1, 1), random.between(-20, 20));
    const float start = random.uniform(-100, 400);
    const bool isSteep = random.oneIn(2);
    for (LandmarkEntry& e : entries) {
        (isSteep ? e.x : e.y) = start + slope * (isSteep ? e.y : e.x);
    }
}

// Places on whole and half pixels, where roundings and cuts decide.
static void snap(Random& random, Entries& entries, int, int) {
    const float step = std::ldexp(1.0F, random.between(-2, 5));
    for (LandmarkEntry& e : entries) {
        e.x = std::floor(e.x / step) * step;
        e.y = std::floor(e.y / step) * step;
    }
}

// The two landmarks that the alignment hangs on: equal, a hair apart, far apart or swapped.
static void oddAnchors(Random& random, Entries& entries, int, int) {
    LandmarkEntry& upper = entryOf(entries, 6);
    LandmarkEntry& lower = entryOf(entries, 10);
    switch (random.between(0, 4)) {
        case 0:
            lower.x = upper.x;
            lower.y = upper.y;
            break;
        case 1:
            lower.x = besides(random, upper.x);
            lower.y = random.oneIn(2) ? upper.y : besides(random, upper.y);
            break;
        case 2:
            lower.y = upper.y + std::ldexp(1.0F, random.between(-30, 127));
            break;
        case 3:
            std::swap(upper.x, lower.x);
            std::swap(upper.y, lower.y);
            break;
        default:
            (random.oneIn(2) ? upper : lower).x = random.oneOf(kOddValues);
            break;
    }
}

static void goSubnormal(Random& random, Entries& entries, int, int) {
    for (LandmarkEntry& e : entries) {
        e.x = std::bit_cast<float>(random.between(0, 0x7FFFFF));
        e.y = -std::bit_cast<float>(random.between(0, 0x7FFFFF));
    }
}

// Profiles, heads upside down and nearly from above, where the fit is worst.
static void turnByQuarters(Random& random, Entries& entries, int width, int height) {
    HeadView view = randomView(random, width, height);
    view.yaw = 90 * random.between(-2, 2) + static_cast<double>(random.uniform(-1, 1));
    view.pitch = 90 * random.between(-2, 2) + static_cast<double>(random.uniform(-1, 1));
    view.roll = 90 * random.between(-2, 2);
    const LandmarkRecord turned = projectFace(view);
    entries.assign(std::begin(turned.entries), std::end(turned.entries));
}

static constexpr FaceKind kKinds[] = {
    {"aHeadSomewhere", leaveAsItIs}, {"turnedByQuarters", turnByQuarters},
    {"farAway", moveFarAway},        {"ofAnyScale", changeScale},
    {"ofAnyShape", stretchOneAxis},  {"scattered", scatter},
    {"ofAnyBits", takeAnyBits},      {"withOddValues", takeOddValues},
    {"ofOneValue", takeOneValue},    {"atFewPlaces", gather},
    {"onALine", putOnALine},         {"onWholePixels", snap},
    {"withOddAnchors", oddAnchors},  {"subnormal", goSubnormal},
};

std::span<const FaceKind> faceKinds() {
    return kKinds;
}

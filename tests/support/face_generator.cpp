#include "support/face_generator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

#include "support/faces.h"

using Entries = std::vector<LandmarkEntry>;

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr float kLargest = std::numeric_limits<float>::max();
static constexpr float kSmallest = std::numeric_limits<float>::denorm_min();
static constexpr float kSmallestNormal = std::numeric_limits<float>::min();

static constexpr float kOddValues[] = {
    kNan,       -kNan,         kInfinity,       -kInfinity,     kLargest,      -kLargest,
    kSmallest,  -kSmallest,    kSmallestNormal, -0.0F,          0.0F,          1e20F,
    -1e20F,     2147483648.0F, -2147483648.0F,  -2147483904.0F, 2147483520.0F, 16777216.0F,
    8388607.5F, 1.8446744e19F, -1.0F,           0.5F,           -0.5F,         1e-30F};

static constexpr int kSides[] = {240, 241, 315, 316};

static bool isSide(int id) {
    return std::find(std::begin(kSides), std::end(kSides), id) != std::end(kSides);
}

template <typename T, std::size_t kCount>
static T oneOf(Random& random, const T (&values)[kCount]) {
    return values[random.between(0, static_cast<int>(kCount) - 1)];
}

static LandmarkEntry& anyEntry(Random& random, Entries& entries) {
    return entries[static_cast<std::size_t>(
        random.between(0, static_cast<int>(entries.size()) - 1))];
}

// The neighbour of a float: one step up or down.
static float besides(Random& random, float value) {
    return std::nextafter(value, random.oneIn(2) ? kInfinity : -kInfinity);
}

template <typename Change>
static void forEach(Entries& entries, Change change) {
    for (LandmarkEntry& entry : entries) {
        change(entry);
    }
}

static LandmarkEntry& entryOf(Entries& entries, int id) {
    return *std::find_if(entries.begin(), entries.end(),
                         [id](const LandmarkEntry& entry) { return entry.id == id; });
}

// --- Kinds
// ----------------------------------------------------------------------------------------

static void leaveAsItIs(Random&, Entries&, int, int) {}

static void moveFarAway(Random& random, Entries& entries, int, int) {
    const float x = std::ldexp(random.uniform(-1, 1), random.between(0, 127));
    const float y = std::ldexp(random.uniform(-1, 1), random.between(0, 127));
    forEach(entries, [&](LandmarkEntry& e) { e.x += x, e.y += y; });
}

static void changeScale(Random& random, Entries& entries, int, int) {
    const float scale = std::ldexp(random.uniform(0.5F, 1), random.between(-150, 125));
    forEach(entries, [&](LandmarkEntry& e) { e.x *= scale, e.y *= scale; });
}

static void stretchOneAxis(Random& random, Entries& entries, int, int) {
    const float scale = std::ldexp(random.uniform(-1, 1), random.between(-140, 100));
    const bool isX = random.oneIn(2);
    forEach(entries, [&](LandmarkEntry& e) { (isX ? e.x : e.y) *= scale; });
}

static void scatter(Random& random, Entries& entries, int width, int height) {
    const float reach = std::ldexp(1.0F, random.between(-3, 30));
    const float w = static_cast<float>(width);
    const float h = static_cast<float>(height);
    forEach(entries, [&](LandmarkEntry& e) {
        e.x = random.uniform(-reach, w + reach);
        e.y = random.uniform(-reach, h + reach);
    });
}

static void takeAnyBits(Random& random, Entries& entries, int, int) {
    forEach(entries, [&](LandmarkEntry& e) { e.x = random.anyFloat(), e.y = random.anyFloat(); });
}

static void takeOddValues(Random& random, Entries& entries, int, int) {
    const int count = random.oneIn(4) ? static_cast<int>(entries.size()) : random.between(1, 4);
    for (int i = 0; i < count; ++i) {
        LandmarkEntry& entry = anyEntry(random, entries);
        (random.oneIn(2) ? entry.x : entry.y) = oneOf(random, kOddValues);
    }
}

static void takeOneValue(Random& random, Entries& entries, int width, int) {
    const float value = random.oneIn(2) ? oneOf(random, kOddValues)
                                        : random.uniform(-10, static_cast<float>(width) + 10);
    forEach(entries, [&](LandmarkEntry& e) { e.x = value, e.y = value; });
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
    forEach(entries, [&](LandmarkEntry& e) {
        const LandmarkEntry& place = places[random.between(0, count - 1)];
        e.x = inSteps ? besides(random, place.x) : place.x;
        e.y = inSteps ? besides(random, place.y) : place.y;
    });
}

static void putOnALine(Random& random, Entries& entries, int, int) {
    const float slope =
        random.oneIn(3) ? 0.0F : std::ldexp(random.uniform(-1, 1), random.between(-20, 20));
    const float start = random.uniform(-100, 400);
    const bool isSteep = random.oneIn(2);
    forEach(entries, [&](LandmarkEntry& e) {
        (isSteep ? e.x : e.y) = start + slope * (isSteep ? e.y : e.x);
    });
}

// Places on whole and half pixels, where roundings and cuts decide.
static void snap(Random& random, Entries& entries, int, int) {
    const float step = std::ldexp(1.0F, random.between(-2, 5));
    forEach(entries, [&](LandmarkEntry& e) {
        e.x = std::floor(e.x / step) * step;
        e.y = std::floor(e.y / step) * step;
    });
}

// The two landmarks that the alignment hangs on: equal, a hair apart, far apart or swapped.
static void troubleTheAnchors(Random& random, Entries& entries, int, int) {
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
            (random.oneIn(2) ? upper : lower).x = oneOf(random, kOddValues);
            break;
    }
}

static void goDenormal(Random& random, Entries& entries, int, int) {
    forEach(entries, [&](LandmarkEntry& e) {
        e.x = std::bit_cast<float>(static_cast<std::uint32_t>(random.bits() >> 41U));
        e.y = -std::bit_cast<float>(static_cast<std::uint32_t>(random.bits() >> 41U));
    });
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

static constexpr FaceKind kKinds[] = {{"aHeadSomewhere", leaveAsItIs},
                                      {"turnedByQuarters", turnByQuarters},
                                      {"farAway", moveFarAway},
                                      {"ofAnyScale", changeScale},
                                      {"stretchedOrMirrored", stretchOneAxis},
                                      {"scattered", scatter},
                                      {"ofAnyBits", takeAnyBits},
                                      {"withOddValues", takeOddValues},
                                      {"ofOneValue", takeOneValue},
                                      {"atFewPlaces", gather},
                                      {"onALine", putOnALine},
                                      {"onWholePixels", snap},
                                      {"withOddAnchors", troubleTheAnchors},
                                      {"subnormal", goDenormal}};

std::span<const FaceKind> faceKinds() {
    return kKinds;
}

// --- Records
// ---------------------------------------------------------------------------------------

// Ids of the contract's own range that stand for no landmark, twice the same among them.
static void renameSome(Random& random, Entries& entries) {
    const int count = random.oneIn(4) ? 25 : random.between(1, 5);
    for (int i = 0; i < count; ++i) {
        LandmarkEntry& entry = anyEntry(random, entries);
        const int id = random.oneIn(2) ? random.between(0, 317) : anyEntry(random, entries).id;
        if (!isSide(entry.id) && !isSide(id)) {
            entry.id = id;
        }
    }
}

// The sides of the head may stand there any number of times.
static void addSides(Random& random, Entries& entries) {
    const int count = random.oneIn(10) ? 300 : random.between(1, 8);
    for (int i = 0; i < count; ++i) {
        const LandmarkEntry& like = anyEntry(random, entries);
        entries.push_back({oneOf(random, kSides), like.x + random.unit(), like.y - random.unit()});
    }
}

static void dropSides(Entries& entries) {
    std::erase_if(entries, [](const LandmarkEntry& entry) { return isSide(entry.id); });
}

static constexpr std::int32_t kBadIds[] = {-1,
                                           318,
                                           319,
                                           1000,
                                           std::numeric_limits<std::int32_t>::max(),
                                           std::numeric_limits<std::int32_t>::min()};
static constexpr std::int32_t kBadCounts[] = {0,  1,   -1,
                                              24, -29, std::numeric_limits<std::int32_t>::min()};

// Breaks the contract in one place, unless chance mends it again. Returns the count that the record
// says: more than there is only where the entries refuse the record before the walk reaches their
// end.
static std::int32_t spoilContract(Random& random, Entries& entries) {
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    const auto count = [&] { return static_cast<std::int32_t>(entries.size()); };
    switch (random.between(0, 5)) {
        case 0:
            entries.erase(entries.begin() + random.between(0, count() - 1));
            return count();
        case 1:
            entries.push_back(anyEntry(random, entries));
            return count();
        case 2:
            anyEntry(random, entries).id = oneOf(random, kBadIds);
            return count();
        case 3:
            return oneOf(random, kBadCounts);
        case 4:
            entries.back().id = oneOf(random, kBadIds);
            return random.between(count(), kMost);
        default:  // one kept entry too many at the end
            dropSides(entries);
            entries.push_back(anyEntry(random, entries));
            return random.between(26, kMost);
    }
}

static constexpr std::size_t kMostEntries = 29 + 300 + 1;

FaceGenerator::FaceGenerator()
    : recordRoom(offsetof(LandmarkRecord, entries) + kMostEntries * sizeof(LandmarkEntry)) {}

const LandmarkRecord& FaceGenerator::place(std::int32_t count, const Entries& entries,
                                           bool endsAtGuard) {
    const std::size_t entryBytes = entries.size() * sizeof(LandmarkEntry);
    const std::size_t bytes = offsetof(LandmarkRecord, entries) + entryBytes;
    std::uint8_t* start = endsAtGuard ? recordRoom.end() - bytes : recordRoom.begin();
    std::memcpy(start, &count, sizeof count);
    std::memset(start + offsetof(LandmarkRecord, reserved), 0xA5, sizeof(LandmarkRecord::reserved));
    std::memcpy(start + offsetof(LandmarkRecord, entries), entries.data(), entryBytes);
    return *reinterpret_cast<const LandmarkRecord*>(start);
}

Face FaceGenerator::make(Random& random) {
    return make(random, oneOf(random, kKinds));
}

Face FaceGenerator::make(Random& random, const FaceKind& kind) {
    const SourceImage image = pictures.place(random);
    HeadView view = randomView(random, image.width, image.height);
    if (random.oneIn(2)) {
        view.scale =
            static_cast<double>(random.uniform(0.005F, 0.08F)) * (image.width + image.height);
    }
    LandmarkRecord head = projectFace(view);
    if (random.oneIn(2)) {
        jitter(head, random, random.uniform(0, 3));
    }
    Entries entries(std::begin(head.entries), std::end(head.entries));
    kind.place(random, entries, image.width, image.height);
    if (random.oneIn(6)) {
        renameSome(random, entries);
    }
    if (random.oneIn(4)) {
        dropSides(entries);
    }
    if (random.oneIn(10)) {
        addSides(random, entries);
    }
    if (random.oneIn(2)) {
        random.shuffle(entries.data(), static_cast<int>(entries.size()));
    }
    const std::int32_t count = random.oneIn(6) ? spoilContract(random, entries)
                                               : static_cast<std::int32_t>(entries.size());
    return {image, place(count, entries, !random.oneIn(4))};
}

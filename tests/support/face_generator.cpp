#include "support/face_generator.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

#include "support/faces.h"

using Entries = std::vector<LandmarkEntry>;

static constexpr int kSides[] = {240, 241, 315, 316};

static bool isSide(int id) {
    return std::find(std::begin(kSides), std::end(kSides), id) != std::end(kSides);
}

// Ids of the contract's own range that stand for no landmark, twice the same among them.
static void renameSome(Random& random, Entries& entries) {
    const int count = random.oneIn(4) ? 25 : random.between(1, 5);
    for (int i = 0; i < count; ++i) {
        LandmarkEntry& entry = random.oneOf(entries);
        const int id = random.oneIn(2) ? random.between(0, 317) : random.oneOf(entries).id;
        if (!isSide(entry.id) && !isSide(id)) {
            entry.id = id;
        }
    }
}

// The sides of the head may stand there any number of times.
static void addSides(Random& random, Entries& entries) {
    const int count = random.oneIn(10) ? 300 : random.between(1, 8);
    for (int i = 0; i < count; ++i) {
        const LandmarkEntry& like = random.oneOf(entries);
        entries.push_back({random.oneOf(kSides), like.x + random.unit(), like.y - random.unit()});
    }
}

static void dropSides(Entries& entries) {
    std::erase_if(entries, [](const LandmarkEntry& entry) { return isSide(entry.id); });
}

static constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
static constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
static constexpr std::int32_t kBadIds[] = {-1, 318, 319, 1000, kMost, kLeast};
static constexpr std::int32_t kBadCounts[] = {0, 1, -1, 24, -29, kLeast};

// Breaks the contract in one place, unless chance mends it again. Returns the count that the record
// says: more than there is only where the entries refuse the record before the walk reaches their
// end.
static std::int32_t spoilContract(Random& random, Entries& entries) {
    const auto count = [&] { return static_cast<std::int32_t>(entries.size()); };
    switch (random.between(0, 5)) {
        case 0:
            entries.erase(entries.begin() + random.between(0, count() - 1));
            return count();
        case 1:
            entries.push_back(random.oneOf(entries));
            return count();
        case 2:
            random.oneOf(entries).id = random.oneOf(kBadIds);
            return count();
        case 3:
            return random.oneOf(kBadCounts);
        case 4:
            entries.back().id = random.oneOf(kBadIds);
            return random.between(count(), kMost);
        default:  // one kept entry too many at the end
            dropSides(entries);
            entries.push_back(random.oneOf(entries));
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
    const std::span<const FaceKind> kinds = faceKinds();
    return make(random, random.oneOf(kinds));
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

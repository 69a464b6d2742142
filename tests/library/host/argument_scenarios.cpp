// What a host may hand to an extraction: pictures anywhere in memory, records of many kinds, and
// arguments that no template can be made of.
#include <cmath>
#include <limits>
#include <stdexcept>

#include "library/host/host.h"

static PlacedPicture placed(const Picture& picture) {
    return PlacedPicture(picture, layoutOfName("ends-at-guard"));
}

static void extractFromLayout(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const auto [picture, record] = scene(0);
    const PlacedPicture image(picture, layoutOfName(host.arguments.at(0)));
    host.keep(context.extract(image, picture.width, picture.height, PlacedRecord(record)));
}

static void extractFromSmallestPicture(Host& host) {
    const Library library(host.path);
    const Context context(library);
    Random random(5);
    const Picture picture = randomPicture(random, 2, 2, 6);
    host.keep(context.extract(placed(picture), 2, 2, PlacedRecord(scene(0).record)));
}

static LandmarkRecord withAllCoordinates(LandmarkRecord record, float value) {
    for (LandmarkEntry& entry : record.entries) {
        entry.x = value;
        entry.y = value;
    }
    return record;
}

static LandmarkRecord moved(LandmarkRecord record, float distance) {
    for (LandmarkEntry& entry : record.entries) {
        entry.x += distance;
        entry.y -= distance;
    }
    return record;
}

static PlacedRecord recordOfKind(const std::string& kind) {
    LandmarkRecord record = scene(0).record;
    if (kind == "reserved") {
        return PlacedRecord(record, 0xFF);
    }
    if (kind == "shuffled") {
        Random random(6);
        shuffleEntries(record, random);
        return PlacedRecord(record);
    }
    if (kind == "without-sides") {
        return PlacedRecord(withoutSidesOfHead(record));
    }
    if (kind == "outside") {
        return PlacedRecord(moved(record, 2000));
    }
    if (kind == "far-outside") {
        return PlacedRecord(moved(record, 1e30F));
    }
    if (kind == "one-point") {
        return PlacedRecord(withAllCoordinates(record, 40));
    }
    if (kind == "infinite") {
        return PlacedRecord(withAllCoordinates(record, std::numeric_limits<float>::infinity()));
    }
    if (kind == "nan") {
        return PlacedRecord(withAllCoordinates(record, std::nanf("")));
    }
    throw std::invalid_argument("no record " + kind);
}

static void extractFromRecord(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const Picture picture = scene(0).picture;
    const PlacedRecord record = recordOfKind(host.arguments.at(0));
    host.keep(context.extract(placed(picture), picture.width, picture.height, record));
}

// Templates that must stay as they are: each value is its own index.
static FaceTemplate numberedTemplate() {
    FaceTemplate face;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        face.projection[i] = static_cast<float>(i);
    }
    face.quadraticTerm = 500;
    face.projectionNorm = 501;
    return face;
}

// Nothing is read through any pointer without a context, or without room for a template.
static void passNulls(Host& host) {
    const Library library(host.path);
    library.destroy(nullptr);
    GuardedPages forbidden(1);
    forbidden.forbid(forbidden.begin());
    const auto* image = forbidden.begin();
    const auto* landmarks = reinterpret_cast<const LandmarkRecord*>(forbidden.begin());

    FaceTemplate face = numberedTemplate();
    library.extract(nullptr, image, 200, 100, 600, landmarks, &face);
    host.keep(face);
    library.extract(nullptr, nullptr, 0, 0, 0, nullptr, &face);
    host.keep(face);

    const Context context(library);
    library.extract(context.get(), image, 200, 100, 600, landmarks, nullptr);
    library.extract(context.get(), nullptr, 0, 0, 0, nullptr, nullptr);
}

// Entries of a full record, the sides of the head last.
static std::vector<LandmarkEntry> sidesLast(const LandmarkRecord& record) {
    const LandmarkRecord kept = withoutSidesOfHead(record);
    std::vector<LandmarkEntry> entries(kept.entries, kept.entries + kept.count);
    for (const std::int32_t id : {240, 241, 315, 316}) {
        entries.push_back({id, 30, 40});
    }
    return entries;
}

static PlacedRecord badRecordOfKind(const std::string& kind) {
    std::vector<LandmarkEntry> entries = sidesLast(scene(0).record);
    constexpr auto kHuge = std::numeric_limits<std::int32_t>::max();
    if (kind == "negative-count") {
        return PlacedRecord(-1, {});
    }
    if (kind == "24-entries") {
        entries.resize(24);
        return PlacedRecord(24, entries);
    }
    if (kind == "24-kept-entries") {
        entries.erase(entries.begin());
        return PlacedRecord(28, entries);
    }
    if (kind == "26-kept-entries") {
        entries[25] = {314, 50, 60};
        return PlacedRecord(29, entries);
    }
    if (kind == "26-kept-entries-and-a-huge-count") {
        entries.resize(25);
        entries.push_back({314, 50, 60});
        return PlacedRecord(kHuge, entries);
    }
    if (kind == "id-below-0") {
        entries[7].id = -1;
        return PlacedRecord(29, entries);
    }
    if (kind == "id-318") {
        entries[28].id = 318;
        return PlacedRecord(29, entries);
    }
    throw std::invalid_argument("no bad record " + kind);
}

// Two templates: the refused one, then a good one from the same context.
static void extractFromBadRecord(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const Scene good = scene(0);
    const PlacedRecord record = badRecordOfKind(host.arguments.at(0));
    host.keep(
        context.extract(placed(good.picture), good.picture.width, good.picture.height, record));
    host.keep(context.extract(good));
}

// The same for pictures: null, or of the given width and height with no byte that may be read.
static void extractFromBadPicture(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const Scene good = scene(0);
    GuardedPages forbidden(1);
    forbidden.forbid(forbidden.begin());
    const bool isNull = host.arguments.at(0) == "null";
    FaceTemplate face = numberedTemplate();
    library.extract(context.get(), isNull ? nullptr : forbidden.begin(), host.number(1),
                    host.number(2), 3 * host.number(1), &good.record, &face);
    host.keep(face);
    host.keep(context.extract(good));
}

static void extractWithoutRecord(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const Scene good = scene(0);
    FaceTemplate face = numberedTemplate();
    library.extract(context.get(), good.picture.topRow(), good.picture.width, good.picture.height,
                    good.picture.stride, nullptr, &face);
    host.keep(face);
    host.keep(context.extract(good));
}

const Scenario kArgumentScenarios[] = {
    {"extract-from-layout", extractFromLayout},
    {"extract-from-smallest-picture", extractFromSmallestPicture},
    {"extract-from-record", extractFromRecord},
    {"pass-nulls", passNulls},
    {"extract-from-bad-record", extractFromBadRecord},
    {"extract-from-bad-picture", extractFromBadPicture},
    {"extract-without-record", extractWithoutRecord},
    {nullptr, nullptr},
};

// What a host may hand to an extraction: pictures anywhere in memory, records of many kinds, and
// arguments that no template can be made of.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <numeric>
#include <stdexcept>

#include "library/host/host.h"

static PlacedRecord withAllCoordinates(LandmarkRecord record, float value) {
    for (LandmarkEntry& entry : record.entries) {
        entry.x = entry.y = value;
    }
    return PlacedRecord(record);
}

static PlacedRecord moved(LandmarkRecord record, float distance) {
    for (LandmarkEntry& entry : record.entries) {
        entry.x += distance;
        entry.y -= distance;
    }
    return PlacedRecord(record);
}

// The entries with the sides of the head last, the first `count` of them, and one of them another.
static PlacedRecord changed(const LandmarkRecord& record, std::int32_t count, std::size_t place,
                            std::int32_t id, std::size_t size = 29) {
    const LandmarkRecord kept = withoutSidesOfHead(record);
    std::vector<LandmarkEntry> entries(kept.entries, kept.entries + kept.count);
    for (const std::int32_t side : {240, 241, 315, 316}) {
        entries.push_back({side, 30, 40});
    }
    entries.resize(size);
    entries.at(place) = {id, 50, 60};
    return PlacedRecord(count, entries);
}

static const struct {
    const char* name;
    PlacedRecord (*make)(const LandmarkRecord& record);
} kRecords[] = {
    {"good", [](auto& record) { return PlacedRecord(record); }},
    {"none", [](auto&) { return PlacedRecord(0, {}); }},  // a null pointer
    {"reserved", [](auto& record) { return PlacedRecord(record, 0xFF); }},
    {"shuffled",
     [](auto& record) {
         LandmarkRecord result = record;
         Random random(6);
         shuffleEntries(result, random);
         return PlacedRecord(result);
     }},
    {"without-sides", [](auto& record) { return PlacedRecord(withoutSidesOfHead(record)); }},
    {"outside", [](auto& record) { return moved(record, 2000); }},
    {"far-outside", [](auto& record) { return moved(record, 1e30F); }},
    {"one-point", [](auto& record) { return withAllCoordinates(record, 40); }},
    {"infinite", [](auto& record) { return withAllCoordinates(record, HUGE_VALF); }},
    {"nan", [](auto& record) { return withAllCoordinates(record, std::nanf("")); }},
    {"negative-count", [](auto&) { return PlacedRecord(-1, {}); }},
    {"24-entries", [](auto& record) { return changed(record, 24, 0, 0, 24); }},
    // A side of the head takes the place of an entry that counts, and the other way round.
    {"24-kept-entries", [](auto& record) { return changed(record, 29, 0, 240); }},
    {"26-kept-entries", [](auto& record) { return changed(record, 29, 25, 314); }},
    {"huge-count", [](auto& record) { return changed(record, INT32_MAX, 25, 314, 26); }},
    {"id-below-0", [](auto& record) { return changed(record, 29, 7, -1); }},
    {"id-318", [](auto& record) { return changed(record, 29, 28, 318); }},
};

static PlacedRecord recordOfKind(const std::string& kind) {
    for (const auto& [name, make] : kRecords) {
        if (name == kind) {
            return make(scene(0).record);
        }
    }
    throw std::invalid_argument("no record " + kind);
}

// Templates that must stay as they are, or be overwritten: each value is its own index.
static FaceTemplate numberedTemplate() {
    float values[sizeof(FaceTemplate) / sizeof(float)];
    std::iota(std::begin(values), std::end(values), 0.0F);
    FaceTemplate face;
    std::memcpy(&face, values, sizeof face);
    return face;
}

// A picture and a record by the names of their kinds. A picture that is "null", or "forbidden" to
// read, has its width and height behind. Keeps the template, then a good one from the same context.
static void extractFrom(Host& host) {
    const Library library(host.path);
    const Context context(library);
    const std::string& kind = host.arguments.at(0);
    const PlacedRecord record = recordOfKind(host.arguments.at(1));
    const LandmarkRecord* landmarks = host.arguments.at(1) == "none" ? nullptr : record.get();
    FaceTemplate face = numberedTemplate();
    if (kind == "null" || kind == "forbidden") {
        GuardedPages forbidden(1);
        forbidden.forbid(forbidden.begin());
        library.extract(context.get(), kind == "null" ? nullptr : forbidden.begin(), host.number(2),
                        host.number(3), 3 * host.number(2), landmarks, &face);
    } else {
        Random random(5);
        const bool isSmallest = kind == "smallest";
        const Picture picture = isSmallest ? randomPicture(random, 2, 2, 6) : scene(0).picture;
        const PlacedPicture placed(picture, PictureLayout(isSmallest ? "ends-at-guard" : kind));
        library.extract(context.get(), placed.topRow, picture.width, picture.height, placed.stride,
                        landmarks, &face);
    }
    host.keep(face);
    host.keep(context.extract(scene(0)));
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

const Scenario kArgumentScenarios[] = {
    {"extract-from", extractFrom},
    {"pass-nulls", passNulls},
    {nullptr, nullptr},
};

#include "hardening/hostile_sweep.h"

#include <cstddef>
#include <cstring>
#include <memory>

#include "patches/face_patches.h"
#include "service/extraction.h"
#include "model/model_tables.h"

static constexpr std::size_t kMostEntries = 29 + 300 + 1;

HostileSweep::HostileSweep()
    : recordRoom(offsetof(LandmarkRecord, entries) + kMostEntries * sizeof(LandmarkEntry)) {
    Random random(90);
    for (auto& image : meanImages) {
        for (float& value : image) {
            value = random.uniform(-20, 200);
        }
    }
}

const LandmarkRecord& HostileSweep::place(const HostileRecord& record, bool endsAtGuard) {
    const std::size_t entryBytes = record.entries.size() * sizeof(LandmarkEntry);
    const std::size_t bytes = offsetof(LandmarkRecord, entries) + entryBytes;
    std::uint8_t* start = endsAtGuard ? recordRoom.end() - bytes : recordRoom.begin();
    std::memcpy(start, &record.count, sizeof record.count);
    std::memset(start + offsetof(LandmarkRecord, reserved), 0xA5, sizeof(LandmarkRecord::reserved));
    std::memcpy(start + offsetof(LandmarkRecord, entries), record.entries.data(), entryBytes);
    return *reinterpret_cast<const LandmarkRecord*>(start);
}

static std::string refusalDifference(const char* expected, const char* actual) {
    const std::string expectedWords = expected == nullptr ? "no refusal" : expected;
    const std::string actualWords = actual == nullptr ? "no refusal" : actual;
    return expectedWords == actualWords ? ""
                                        : "expected: " + expectedWords + ", actual: " + actualWords;
}

std::string HostileSweep::run(std::uint64_t seed, bool withWholeCanvases) {
    Random random(seed);
    const SourceImage image = pictures.place(random);
    const HostileRecord made = hostileRecord(random, image.width, image.height);
    const LandmarkRecord& record = place(made, !random.oneIn(4));
    ++counted.records;

    const char* expected = expectedRefusal(made);
    const char* actual = whyTemplateIsRefused(image.bytes, image.width, image.height, &record);
    std::string difference = refusalDifference(expected, actual);
    if (!difference.empty()) {
        return difference;
    }
    if (actual != nullptr) {
        ++counted.refused;
        return "";
    }
    const PatchList patches = cutFacePatches(context.canvases, g_modelTables.meanImages, image, record);
    difference = check.difference(image, record, patches);
    ++counted.compared;
    if (difference.empty() && withWholeCanvases) {
        difference = PatchCheck::differenceFromWholeCanvases(image, record, patches);
        ++counted.comparedWithCanvases;
    }
    return difference;
}

#include "patches/landmarks.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

// The comment after each row is the id of its landmark. Rows 0 and 1 are the eyes.
const float kHeadModel[kModelPointCount][3] = {
    {-3.227F, -3.484F, 9.589F},    // 0
    {3.05F, -3.546F, 9.59F},       // 1
    {-5.7F, -4.652F, 8.292F},      // 2
    {-1.549F, -5.085F, 10.83F},    // 3
    {1.612F, -5.106F, 10.83F},     // 4
    {5.705F, -4.704F, 8.148F},     // 5
    {-0.0185F, -3.543F, 11.07F},   // 6
    {0.01795F, -0.2319F, 13.32F},  // 9
    {-0.02015F, 2.274F, 11.62F},   // 10
    {-0.04147F, 4.102F, 11.41F},   // 11
    {-2.673F, 3.301F, 10.002F},    // 12
    {2.528F, 3.315F, 9.962F},      // 13
    {1.661F, 0.3568F, 10.66F},     // 43
    {-1.74F, 0.2793F, 10.69F},     // 44
    {0.07737F, 3.101F, 11.32F},    // 45
    {-0.01402F, 1.045F, 11.69F},   // 200
    {-1.782F, -3.277F, 9.267F},    // 221
    {-3.255F, -2.946F, 9.531F},    // 222
    {-4.436F, -3.397F, 8.747F},    // 223
    {4.376F, -3.418F, 8.762F},     // 225
    {3.056F, -2.961F, 9.522F},     // 226
    {1.626F, -3.367F, 9.263F},     // 227
    {-7.386F, 0.05087F, 1.039F},   // 240
    {7.377F, 0.0564F, 1.298F},     // 241
    {-3.956F, -5.678F, 10.06F},    // 300
    {3.664F, -5.768F, 10.18F},     // 302
    {-0.0435F, 6.917F, 10.75F},    // 314
    {-6.365F, 3.718F, 3.913F},     // 315
    {6.252F, 3.752F, 3.822F},      // 316
};

const std::int32_t kLandmarkRow[kLandmarkIdCount] = {
    0,  1,  2,  3,  4,  5,  6,  0,  0, 7, 8, 9, 10, 11, 0,  0,  0,  0, 0, 0,  // from 0
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 20
    0,  0,  0,  12, 13, 14, 0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 40
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 60
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 80
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 100
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 120
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 140
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 160
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 180
    15, 0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 200
    0,  16, 17, 18, 0,  19, 20, 21, 0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 220
    22, 23, 0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 240
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 260
    0,  0,  0,  0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  0,  0,  0,  0, 0, 0,  // from 280
    24, 0,  25, 0,  0,  0,  0,  0,  0, 0, 0, 0, 0,  0,  26, 27, 28, 0,        // from 300
};

bool isSideOfHead(std::int32_t id) {
    return id == 240 || id == 241 || id == 315 || id == 316;
}

// By offset, because the host may have allocated more or fewer entries than the array declares.
const LandmarkEntry* entriesOf(const LandmarkRecord& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    return reinterpret_cast<const LandmarkEntry*>(bytes + offsetof(LandmarkRecord, entries));
}

// Once, even if another thread writes there: an ordinary variable may be read again where it is used.
template <class Value>
static Value readOnce(const Value& value) {
    return std::atomic_ref<Value>(const_cast<Value&>(value)).load(std::memory_order_relaxed);
}

const char* RecordCopy::take(const LandmarkRecord& host) {
    longer.clear();
    own.count = readOnce(host.count);
    if (own.count < kKeptCount) {
        return "fewer than 25 landmarks";
    }
    const LandmarkEntry* entries = entriesOf(host);
    int kept = 0;
    for (std::int32_t i = 0; i < own.count; ++i) {
        const LandmarkEntry entry = {readOnce(entries[i].id), readOnce(entries[i].x),
                                     readOnce(entries[i].y)};
        if (entry.id < 0 || entry.id >= kLandmarkIdCount) {
            return "a landmark id outside 0 to 317";
        }
        kept += isSideOfHead(entry.id) ? 0 : 1;
        if (kept > kKeptCount) {
            return "more than 25 landmarks besides the sides of the head";
        }
        if (i < ZOMU_LANDMARK_COUNT) {
            own.entries[i] = entry;
            continue;
        }
        if (i == ZOMU_LANDMARK_COUNT) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(&own);
            longer.assign(bytes, bytes + sizeof own);
        }
        const auto* bytes = reinterpret_cast<const unsigned char*>(&entry);
        longer.insert(longer.end(), bytes, bytes + sizeof entry);
    }
    return kept < kKeptCount ? "fewer than 25 landmarks besides the sides of the head" : nullptr;
}

const LandmarkRecord& RecordCopy::record() const {
    return longer.empty() ? own : *reinterpret_cast<const LandmarkRecord*>(longer.data());
}

const char* whyRecordIsRefused(const LandmarkRecord& record) {
    return RecordCopy().take(record);
}

int compareLandmarkIds(const void* first, const void* second) {
    const std::int32_t a = static_cast<const LandmarkEntry*>(first)->id;
    const std::int32_t b = static_cast<const LandmarkEntry*>(second)->id;
    if (a > b) {
        return 1;
    }
    return a < b ? -1 : 0;
}

KeptLandmarks selectKeptLandmarks(const LandmarkRecord& record) {
    KeptLandmarks kept{};
    std::size_t taken = 0;
    const LandmarkEntry* entries = entriesOf(record);
    for (std::int32_t i = 0; i < record.count && taken < kept.size(); ++i) {
        if (!isSideOfHead(entries[i].id)) {
            kept[taken++] = entries[i];
        }
    }
    // Stable: two entries with the same id keep their order with every standard library.
    std::stable_sort(kept.begin(), kept.end(), [](const LandmarkEntry& a, const LandmarkEntry& b) {
        return compareLandmarkIds(&a, &b) < 0;
    });
    return kept;
}

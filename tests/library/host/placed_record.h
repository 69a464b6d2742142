// A landmark record of any length that ends, with its last entry, at a page that nobody may read.
#ifndef ZOMU_TESTS_LIBRARY_HOST_PLACED_RECORD_H
#define ZOMU_TESTS_LIBRARY_HOST_PLACED_RECORD_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "support/guarded_pages.h"
#include "zomu.h"

class PlacedRecord {
  public:
    // `count` is what the record says, `entries` what is there.
    PlacedRecord(std::int32_t count, const std::vector<LandmarkEntry>& entries,
                 std::uint8_t reservedByte = 0)
        : memory(bytesOf(entries)) {
        start = memory.end() - bytesOf(entries);
        std::memcpy(start, &count, sizeof count);
        std::fill_n(start + offsetof(LandmarkRecord, reserved), sizeof(LandmarkRecord::reserved),
                    reservedByte);
        if (!entries.empty()) {
            std::memcpy(start + offsetof(LandmarkRecord, entries), entries.data(),
                        entries.size() * sizeof(LandmarkEntry));
        }
    }

    explicit PlacedRecord(const LandmarkRecord& record, std::uint8_t reservedByte = 0)
        : PlacedRecord(record.count, {record.entries, record.entries + record.count},
                       reservedByte) {}

    const LandmarkRecord* get() const { return reinterpret_cast<const LandmarkRecord*>(start); }

  private:
    static std::size_t bytesOf(const std::vector<LandmarkEntry>& entries) {
        return offsetof(LandmarkRecord, entries) + entries.size() * sizeof(LandmarkEntry);
    }

    GuardedPages memory;
    std::uint8_t* start;
};

#endif

// Landmark records for the tests, in blocks of exact length.
#ifndef ZOMU_TESTS_PATCHES_SAMPLE_FACE_H
#define ZOMU_TESTS_PATCHES_SAMPLE_FACE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "support/faces.h"
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

// The full record of 29 landmarks as entries.
inline std::vector<LandmarkEntry> seenFrom(const HeadView& view) {
    const LandmarkRecord record = projectFace(view);
    return {std::begin(record.entries), std::end(record.entries)};
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

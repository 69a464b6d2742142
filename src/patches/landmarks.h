// The landmark contract: ids, the fixed head model, and the 25 landmarks that place the patches.
#ifndef ZOMU_PATCHES_LANDMARKS_H
#define ZOMU_PATCHES_LANDMARKS_H

#include <array>
#include <cstdint>
#include <vector>

#include "zomu.h"

constexpr int kModelPointCount = 29;
constexpr int kLandmarkIdCount = 318;  // ids run from 0 to 317
constexpr int kKeptCount = 25;

// Kept positions of the two landmarks that the alignment is fitted to.
constexpr int kUpperAnchor = 6;  // id 6, between the eyes
constexpr int kLowerAnchor = 8;  // id 10, upper lip

using KeptLandmarks = std::array<LandmarkEntry, kKeptCount>;

// x across the face (negative is image left), y down it, z towards the viewer, in model units.
extern const float kHeadModel[kModelPointCount][3];

// The row of kHeadModel for each id; ids without a landmark have row 0.
extern const std::int32_t kLandmarkRow[kLandmarkIdCount];

// True for the four landmarks at the sides of the head, which do not place any patch.
bool isSideOfHead(std::int32_t id);

// The record's entries, `count` of them, which may be more or fewer than its type declares.
const LandmarkEntry* entriesOf(const LandmarkRecord& record);

// A record as it was when it was copied. The host may change its own at any time, also between a check
// and a use: so it is read once, and the copy is checked and used.
class RecordCopy {
  public:
    // Returns what is wrong with the record, as a short text without a line end, or null if it meets the
    // contract: `count` at least 25, ids from 0 to 317, exactly 25 entries besides those at the sides
    // of the head. Reading stops at the 26th of these: no more of a bad record is read than of a good
    // one. Asks for memory only if there are more than 29 entries.
    const char* take(const LandmarkRecord& host);

    // After a take that returned null.
    const LandmarkRecord& record() const;

  private:
    LandmarkRecord own = {};
    std::vector<unsigned char> longer;  // the whole record, if it does not fit
};

// What is wrong with a record, as RecordCopy::take says it.
const char* whyRecordIsRefused(const LandmarkRecord& record);

// Orders two entries (`const void*` to LandmarkEntry, for the standard sort) by `id`: 1, -1 or 0.
int compareLandmarkIds(const void* first, const void* second);

// The first 25 entries that are not at the sides of the head, ordered by id. `record` must meet the
// contract.
KeptLandmarks selectKeptLandmarks(const LandmarkRecord& record);

#endif

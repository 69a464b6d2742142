// Landmark records that no face could give, and records that break the contract.
#ifndef ZOMU_TESTS_HARDENING_HOSTILE_RECORD_H
#define ZOMU_TESTS_HARDENING_HOSTILE_RECORD_H

#include <cstdint>
#include <vector>

#include "support/random.h"
#include "zomu.h"

// What the record says, and what stands behind its first 8 bytes. `count` may promise more than
// there is where an entry before that makes the record a bad one.
struct HostileRecord {
    std::int32_t count;
    std::vector<LandmarkEntry> entries;
};

// About one in six breaks the contract. The picture's size only tells where its edges are.
HostileRecord hostileRecord(Random& random, int width, int height);

// Why the record must be refused, word for word; null where it keeps the contract.
const char* expectedRefusal(const HostileRecord& record);

#endif

// Create and destroy, again and again.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "hardening/common.h"
#include "hardening/memory_use.h"
#include "library/host/scene.h"
#include "model/model_tables.h"

namespace {

constexpr double kFlat = 2.0;  // megabytes

// Lowest and highest of what was measured since the first value.
struct Range {
    double first = 0;
    double lowest = 0;
    double highest = 0;

    void take(double value) {
        if (first == 0.0) {
            first = lowest = highest = value;
        }
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }

    bool isFlat() const { return highest < first + kFlat && lowest > first - kFlat; }
};

// The allocator keeps tens of megabytes of freed memory for the next requests, and more or less of it
// depending on which small block happens to be the last of its heap. Once it has been told to return
// all of that, what is measured is the library's.
double residentMegabytes() {
    malloc_trim(0);
    return static_cast<double>(residentKilobytes()) / 1000;
}

}  // namespace

TEST(Endurance, createAndDestroyLeaveTheResidentMemoryFlat) {
    const int rounds = isFullSweep() ? 300 : 30;
    loadTablesFrom(ZOMU_EXACT_MODEL);
    const Scene face = scene(0);
    FaceTemplate first;
    Range inUse;
    Range destroyed;
    for (int round = 1; round <= rounds; ++round) {
        ZomuContext* context = ZomuCreate();
        const FaceTemplate result = extractScene(context, face);
        first = round == 1 ? result : first;
        ASSERT_TRUE(sameTemplates(first, result)) << "round " << round;
        const double withContext = residentMegabytes();
        ZomuDestroy(context);
        if (round >= 3) {
            inUse.take(withContext);
            destroyed.take(residentMegabytes());
        }
    }
    EXPECT_TRUE(inUse.isFlat()) << inUse.lowest << " to " << inUse.highest;
    EXPECT_TRUE(destroyed.isFlat()) << destroyed.lowest << " to " << destroyed.highest;
    EXPECT_GT(inUse.lowest, destroyed.highest + 20) << "a measure that sees no context is none";
    std::printf(
        "create and destroy: %d times; from the third on %.1f to %.1f MB resident with a context "
        "in use, %.1f to %.1f without\n",
        rounds, inUse.lowest, inUse.highest, destroyed.lowest, destroyed.highest);
}

// Create and destroy, again and again.
#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "hardening/same_templates.h"
#include "hardening/sweep_form.h"
#include "library/host/scene.h"
#include "service/model_tables.h"

namespace {

constexpr double kFlat = 2.0;  // megabytes

double residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    file >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

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

}  // namespace

// Three levels, from the third round on. With a context in use, when nearly all that the allocator
// has is taken. Behind a destroy, with what the allocator keeps in reserve given back: what the
// library itself still holds. And behind a destroy as it is: how much of a context's memory the
// allocator then keeps for the next one is its own affair, and changes when a small block happens
// to lie at the end of its heap; but it is never more than a context took.
TEST(Endurance, createAndDestroyLeaveTheResidentMemoryFlat) {
    const int rounds = isFullSweep() ? 300 : 30;
    setenv("TMPDIR", ZOMU_EXACT_MODEL, 1);
    attachLibrary();
    const Scene face = scene(0);
    const Picture& picture = face.picture;
    FaceTemplate first;
    FaceTemplate result;
    Range inUse;
    Range destroyed;
    Range givenBack;
    for (int round = 1; round <= rounds; ++round) {
        ZomuContext* context = ZomuCreate();
        ZomuExtractTemplate(context, picture.topRow(), picture.width, picture.height,
                            picture.stride, &face.record, round == 1 ? &first : &result);
        ASSERT_TRUE(round == 1 || sameTemplates(first, result)) << "round " << round;
        const double withContext = residentMegabytes();
        ZomuDestroy(context);
        if (round < 3) {
            continue;
        }
        inUse.take(withContext);
        destroyed.take(residentMegabytes());
        if (round == 3 || round % 30 == 0) {
            malloc_trim(0);
            givenBack.take(residentMegabytes());
        }
    }
    EXPECT_TRUE(inUse.isFlat()) << inUse.lowest << " to " << inUse.highest;
    EXPECT_TRUE(givenBack.isFlat()) << givenBack.lowest << " to " << givenBack.highest;
    EXPECT_LT(destroyed.highest, inUse.first);
    EXPECT_GT(inUse.lowest, givenBack.highest + 20) << "a measure that sees no context is none";
    std::printf(
        "create and destroy: %d times; from the third on %.1f to %.1f MB resident with a context "
        "in use, %.1f to %.1f without, %.1f to %.1f with the allocator's reserve given back\n",
        rounds, inUse.lowest, inUse.highest, destroyed.lowest, destroyed.highest, givenBack.lowest,
        givenBack.highest);
}

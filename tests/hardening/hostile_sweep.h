// Random faces that nobody would hand over, each made from its number alone.
#ifndef ZOMU_TESTS_HARDENING_HOSTILE_SWEEP_H
#define ZOMU_TESTS_HARDENING_HOSTILE_SWEEP_H

#include <cstdint>
#include <string>

#include "hardening/hostile_picture.h"
#include "hardening/hostile_record.h"
#include "hardening/patch_check.h"
#include "service/context.h"
#include "support/guarded_pages.h"

// Cuts the patches of one face after another. Pictures and records stand beside guard pages, so
// that a read outside the rows or behind the last entry ends the process.
class HostileSweep {
  public:
    struct Counts {
        std::uint64_t records = 0;
        std::uint64_t refused = 0;
        std::uint64_t compared = 0;              // bit for bit, all 25 patches
        std::uint64_t comparedWithCanvases = 0;  // of these, once more with whole canvases
    };

    // Puts random values into the mean images, which stay so.
    HostileSweep();

    // Empty where the face was refused with the right words, or its patches have the bits of the
    // reference; else what is wrong.
    std::string run(std::uint64_t seed, bool withWholeCanvases);

    const Counts& counts() const { return counted; }

  private:
    const LandmarkRecord& place(const HostileRecord& record, bool endsAtGuard);

    PictureGround pictures;
    GuardedPages recordRoom;
    PatchCheck check;
    ZomuContext context;
    Counts counted;
};

#endif

// Pictures at the worst places of memory: between pages that nobody may touch.
#ifndef ZOMU_TESTS_SUPPORT_PICTURE_GROUND_H
#define ZOMU_TESTS_SUPPORT_PICTURE_GROUND_H

#include <cstddef>
#include <cstdint>

#include "patches/sampling.h"
#include "support/guarded_pages.h"
#include "support/random.h"

// Places one picture after another; a picture is good until the next one is placed. Its bytes, and
// those between its rows, are noise, ramps, a few levels, or one value.
class PictureGround {
  public:
    PictureGround();

    // From 2 x 2 up to a few hundred pixels either way, most of them small.
    SourceImage place(Random& random);

  private:
    SourceImage placePacked(Random& random, int width, int height);
    SourceImage placeFromGuardToGuard(Random& random);
    SourceImage placeInRowsBetweenGuards(Random& random, int width, int height);
    SourceImage placeInDistantRows(Random& random, int width, int height);
    SourceImage laidOut(Random& random, std::uint8_t* lowest, int width, int height,
                        std::ptrdiff_t distance);

    ClosedSpace space;     // the pages of the present picture are open
    GuardedPages striped;  // every other page is a guard
};

#endif

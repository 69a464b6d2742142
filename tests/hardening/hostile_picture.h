// Pictures at the worst places of memory: between pages that nobody may touch.
#ifndef ZOMU_TESTS_HARDENING_HOSTILE_PICTURE_H
#define ZOMU_TESTS_HARDENING_HOSTILE_PICTURE_H

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "patches/sampling.h"
#include "support/guarded_pages.h"
#include "support/random.h"

// Address space of which nothing may be touched but the pages that are opened. It costs no memory.
class ClosedSpace {
  public:
    explicit ClosedSpace(std::size_t bytes);
    ~ClosedSpace() { munmap(room, size); }
    ClosedSpace(const ClosedSpace&) = delete;
    ClosedSpace& operator=(const ClosedSpace&) = delete;

    std::uint8_t* begin() const { return room; }

    void open(std::uint8_t* byte, std::size_t bytes);  // whole pages, those that hold the bytes
    void closeAll();

  private:
    struct Pages {
        std::uint8_t* first;
        std::size_t bytes;
    };

    std::size_t size;
    std::uint8_t* room;
    std::vector<Pages> opened;
};

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

// Faces for the patch stage, ordinary ones and such as nobody would hand over, each made of a
// random generator's decisions: those of a seed, or those of a fuzz input.
#ifndef ZOMU_TESTS_SUPPORT_FACE_GENERATOR_H
#define ZOMU_TESTS_SUPPORT_FACE_GENERATOR_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "patches/sampling.h"
#include "support/guarded_pages.h"
#include "support/picture_ground.h"
#include "support/random.h"
#include "zomu.h"

// A way in which the landmarks lie. `place` is given a head that somebody might show; the picture's
// size only tells where its edges are.
struct FaceKind {
    const char* name;
    void (*place)(Random& random, std::vector<LandmarkEntry>& entries, int width, int height);
};

std::span<const FaceKind> faceKinds();

struct Face {
    SourceImage image;
    const LandmarkRecord& record;  // one in six breaks the contract
};

// Makes one face after another; a face is good until the next one is made. Pictures and records
// stand beside guard pages, so that a read outside the rows or behind the last entry ends the
// process.
class FaceGenerator {
  public:
    FaceGenerator();

    Face make(Random& random);  // of any kind
    Face make(Random& random, const FaceKind& kind);

  private:
    const LandmarkRecord& place(std::int32_t count, const std::vector<LandmarkEntry>& entries,
                                bool endsAtGuard);

    PictureGround pictures;
    GuardedPages recordRoom;
};

#endif

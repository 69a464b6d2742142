// The patches of one face beside those of the reference, fast enough for a million faces: the
// reference works out a canvas pixel when a crop asks for it, once for all patches that see the
// face through the same transform.
#ifndef ZOMU_TESTS_HARDENING_PATCH_CHECK_H
#define ZOMU_TESTS_HARDENING_PATCH_CHECK_H

#include <cstdint>
#include <memory>
#include <string>

#include "patches/face_patches.h"
#include "patches/sampling.h"
#include "reference/reference_patches.h"
#include "zomu.h"

class PatchCheck {
  public:
    PatchCheck();

    // What is wrong with the patches and the pose, or nothing. Mean images are those of the
    // library.
    std::string difference(const SourceImage& image, const LandmarkRecord& record,
                           const PatchList& patches);

    // The same by the reference's whole canvases.
    static std::string differenceFromWholeCanvases(const SourceImage& image,
                                                   const LandmarkRecord& record,
                                                   const PatchList& patches);

  private:
    struct Canvas {
        int channels;
        ReferenceAlignment alignment;
        std::uint64_t faceOf[160 * 160];  // the face for which a pixel has been worked out
        std::uint8_t bytes[160 * 160 * 3];
    };

    Canvas& canvasOf(int canonicalEyeSpan, bool isColour) const;
    const std::uint8_t* pixelOf(Canvas& canvas, int row, int column) const;
    std::string patchDifference(int patch, const PatchList& patches, const LandmarkEntry& first,
                                const LandmarkEntry& second);
    std::string rowDifference(int patch, Canvas& canvas, const LandmarkEntry& centre, bool mirrored,
                              const float* actual) const;

    std::unique_ptr<Canvas[]> canvases;  // one for each kind and canonicalEyeSpan
    std::uint64_t face = 0;
    SourceImage picture = {};
    ReferenceBytes grey;
};

#endif

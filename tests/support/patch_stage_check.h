// The patch stage beside the reference, bit for bit: for random faces, a sweep over hostile ones
// and a fuzzer.
#ifndef ZOMU_TESTS_SUPPORT_PATCH_STAGE_CHECK_H
#define ZOMU_TESTS_SUPPORT_PATCH_STAGE_CHECK_H

#include <memory>
#include <string>
#include <vector>

#include "model/model_tables.h"
#include "patches/face_patches.h"
#include "support/face_generator.h"
#include "zomu.h"

// Has canvases and mean images of its own, the latter random. A difference is told in words, no
// difference by an empty text.
class PatchStage {
  public:
    PatchStage();

    const float* meanImage(int patch) const { return tables->meanImages[patch]; }

    PatchList cut(const SourceImage& image, const LandmarkRecord& landmarks);

    int refused = 0;   // faces of check()
    int compared = 0;  // the others, which had the reference's bits

    // Whether the record is refused with the right words, or has the right pose and patches.
    std::string check(const Face& face);

    // The same for one patch, cut by the stage's own functions: a hundredth of the work.
    std::string checkOnePatch(const Face& face, int patch);

    std::string difference(const SourceImage& image, const LandmarkRecord& landmarks,
                           const PatchList& patches) const;

  private:
    std::vector<float> expectedPatch(const SourceImage& image, const LandmarkRecord& landmarks,
                                     int patch) const;

    struct Tables {
        MeanImages meanImages;
    };

    std::unique_ptr<Tables> tables;
    FaceCanvases canvases;
};

#endif

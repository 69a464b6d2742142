// One face at many places of a picture that would not fit into memory: only the pages with the face are there.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "patches/face_patches.h"
#include "sheets/face_picture.h"
#include "support/random.h"
#include "zomu_check.h"

namespace {

constexpr int kSide = 20000;
constexpr std::size_t kStride = 3 * std::size_t{kSide};

// How far the patches of a view are from others: the mean difference in grey levels.
double difference(const ZomuFaceView& view, const PatchList& others) {
    static FaceCanvases canvases;
    static constexpr MeanImages kNoMeanImages = {};
    const PatchList patches =
        cutFacePatches(canvases, kNoMeanImages, {view.image, view.width, view.height, view.stride},
                       *view.landmarks);
    double sum = 0.0;
    double values = 0.0;
    for (std::size_t k = 0; k < patches.size(); ++k) {
        for (int i = 0; i < patches[k]->numElements; ++i) {
            sum += std::fabs(static_cast<double>(patches[k]->data[i] - others[k]->data[i]));
            values += 1.0;
        }
    }
    return sum / values;
}

LandmarkRecord movedBy(LandmarkRecord record, int x, int y) {
    for (LandmarkEntry& entry : record.entries) {
        entry.x += static_cast<float>(x);
        entry.y += static_cast<float>(y);
    }
    return record;
}

}  // namespace

TEST(NearFace, makesTheSamePatchesAtAnyPlaceOfALargePicture) {
    const FacePicture face =
        loadFacePicture(ZOMU_SAMPLES "/portrait.png", ZOMU_SAMPLES "/portrait.csv");
    const BgrPicture& portrait = face.picture;
    void* memory = mmap(nullptr, kStride * kSide, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* pixels = static_cast<std::uint8_t*>(memory);
    const auto paste = [&](int x0, int y0) {
        for (int y = 0; y < portrait.height; ++y) {
            std::memcpy(pixels + static_cast<std::size_t>(y0 + y) * kStride +
                            3 * static_cast<std::size_t>(x0),
                        portrait.at(0, y), 3 * static_cast<std::size_t>(portrait.width));
        }
    };
    paste(200, 200);
    FaceCanvases canvases;
    const LandmarkRecord first = movedBy(face.landmarks, 200, 200);
    const SourceImage whole = {pixels, kSide, kSide, static_cast<std::int32_t>(kStride)};
    const PatchList expected = cutFacePatches(canvases, MeanImages{}, whole, first);
    Random random(1);
    double farAway = 0.0;
    for (int i = 0; i < 100; ++i) {
        madvise(memory, kStride * kSide, MADV_DONTNEED);
        const int x0 = random.between(0, kSide - portrait.width);
        const int y0 = random.between(0, kSide - portrait.height);
        paste(x0, y0);
        const LandmarkRecord record = movedBy(face.landmarks, x0, y0);
        ZomuFaceView view;
        ZomuNearFace(pixels, kSide, kSide, static_cast<std::int32_t>(kStride), &record, &view);
        EXPECT_LT(difference(view, expected), 0.1) << x0 << ", " << y0;
        const ZomuFaceView unmoved = {pixels,  kSide, kSide, static_cast<std::int32_t>(kStride),
                                      &record, {}};
        farAway += difference(unmoved, expected) / 100;
    }
    EXPECT_GT(farAway, 5.0) << "else there is nothing to mend";
    munmap(memory, kStride * kSide);
}

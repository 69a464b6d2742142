// ZomuNearFace: where the handed picture begins, and that nothing is left out on which a patch depends.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "patches/face_patches.h"
#include "support/faces.h"
#include "support/pictures.h"
#include "support/random.h"
#include "zomu_check.h"

namespace {

PatchList patchesOf(const ZomuFaceView& view) {
    static FaceCanvases canvases;
    static constexpr MeanImages kNoMeanImages = {};
    return cutFacePatches(canvases, kNoMeanImages,
                          {view.image, view.width, view.height, view.stride}, *view.landmarks);
}

bool areSame(const PatchList& a, const PatchList& b) {
    for (std::size_t k = 0; k < a.size(); ++k) {
        const std::size_t bytes = static_cast<std::size_t>(a[k]->numElements) * sizeof(float);
        if (std::memcmp(a[k]->data, b[k]->data, bytes) != 0) {
            return false;
        }
    }
    return true;
}

constexpr int kFaces = 100;

ZomuFaceView unmoved(const Picture& picture, const LandmarkRecord& record) {
    return {picture.topRow(), picture.width, picture.height, picture.stride, &record, {}};
}

// A head whose picture begins as near to it as it may: the box of its landmarks, with the margin, begins
// just behind column 512 and row 256.
LandmarkRecord headAtTheEdge(HeadView view) {
    view.x = view.y = 0.0;
    LandmarkRecord record = projectFace(view);
    float low[2] = {1e9F, 1e9F};
    float high[2] = {-1e9F, -1e9F};
    for (const LandmarkEntry& entry : record.entries) {
        low[0] = std::min(low[0], entry.x);
        low[1] = std::min(low[1], entry.y);
        high[0] = std::max(high[0], entry.x);
        high[1] = std::max(high[1], entry.y);
    }
    const float margin = 2.0F * std::max(high[0] - low[0], high[1] - low[1]);
    for (LandmarkEntry& entry : record.entries) {
        entry.x += 512.01F + margin - low[0];
        entry.y += 256.01F + margin - low[1];
    }
    return record;
}

}  // namespace

TEST(NearFace, leavesOutWholeStepsThatAreFarEnoughFromTheFace) {
    // The portrait's size at any place: 89 pixels across, 90 down.
    HeadView head;
    head.scale = 6.5;
    const LandmarkRecord atOrigin = projectFace(head);
    float left = 1e9F;
    float top = 1e9F;
    float bottom = 0;
    float right = 0;
    for (const LandmarkEntry& entry : atOrigin.entries) {
        left = std::min(left, entry.x);
        right = std::max(right, entry.x);
        top = std::min(top, entry.y);
        bottom = std::max(bottom, entry.y);
    }
    const float margin = 2.0F * std::max(right - left, bottom - top);
    struct Case {
        float begin;  // of the box, less the margin
        int size, cut;
    };
    // Width and height are treated alike.
    const Case cases[] = {{-100, 20000, 0},      {0, 20000, 0},     {255, 20000, 0},
                          {257, 20000, 256},     {511, 20000, 256}, {513, 20000, 512},
                          {15999, 20000, 15872}, {255, 100000, 0},  {1000, 1300, 768},
                          {70000, 100000, 69888}};
    static const std::uint8_t kPixel = 0;
    for (const Case& one : cases) {
        LandmarkRecord record = atOrigin;
        for (LandmarkEntry& entry : record.entries) {
            entry.x += one.begin + margin - left;
            entry.y += one.begin + margin - top;
        }
        ZomuFaceView view;
        ZomuNearFace(&kPixel, one.size, one.size + 1, -7, &record, &view);
        EXPECT_EQ(view.image - &kPixel, one.cut * -7 + 3 * one.cut) << one.begin;
        EXPECT_EQ(view.width, one.size - one.cut) << one.begin;
        EXPECT_EQ(view.height, one.size + 1 - one.cut) << one.begin;
        EXPECT_EQ(view.stride, -7);
        const LandmarkEntry& entry = view.landmarks->entries[5];
        EXPECT_EQ(entry.id, record.entries[5].id);
        EXPECT_EQ(entry.x + static_cast<float>(one.cut), record.entries[5].x) << "without rounding";
        EXPECT_EQ(entry.y + static_cast<float>(one.cut), record.entries[5].y) << "without rounding";
    }
}

TEST(NearFace, handsOverUnchangedWhatDoesNotPassTheCheck) {
    const std::uint8_t pixel = 0;
    HeadView head;
    head.x = head.y = 5000;
    const LandmarkRecord good = projectFace(head);
    LandmarkRecord none = good;
    none.count = -1;
    LandmarkRecord line = good;
    for (LandmarkEntry& entry : line.entries) {
        entry.y = 5000;
    }
    const LandmarkRecord* kinds[] = {&none, &line, nullptr};
    for (const LandmarkRecord* record : kinds) {
        ZomuFaceView view;
        ZomuNearFace(&pixel, 10000, 9000, 30000, record, &view);
        EXPECT_EQ(view.image, &pixel);
        EXPECT_EQ(view.width, 10000);
        EXPECT_EQ(view.height, 9000);
        EXPECT_EQ(view.landmarks, record);
    }
    ZomuFaceView view;
    ZomuNearFace(nullptr, 10000, 9000, 30000, &good, &view);
    EXPECT_EQ(view.image, nullptr);
    EXPECT_EQ(view.landmarks, &good);
}

TEST(NearFace, cutsOffNoPixelThatAPatchReads) {
    Random random(16);
    int cut = 0;
    for (int i = 0; i < kFaces; ++i) {
        HeadView head;
        head.yaw = static_cast<double>(random.uniform(-60, 60));
        head.pitch = static_cast<double>(random.uniform(-40, 40));
        head.roll = static_cast<double>(random.uniform(-180, 180));
        head.scale = static_cast<double>(random.uniform(2, 9));
        LandmarkRecord record = headAtTheEdge(head);
        record = random.oneIn(2) ? record : withoutSidesOfHead(record);
        const bool isBottomUp = random.oneIn(2);
        Picture picture(1150, 900, isBottomUp ? -3450 : 3450);
        picture.bytes.assign(picture.bytes.size(), 200);
        ZomuFaceView view;
        ZomuNearFace(picture.topRow(), picture.width, picture.height, picture.stride, &record,
                     &view);
        const int x0 = picture.width - view.width;
        const int y0 = picture.height - view.height;
        cut += x0 >= 256 && y0 >= 256 ? 1 : 0;
        for (int y = y0; y < picture.height; ++y) {
            for (int x = 3 * x0; x < 3 * picture.width; ++x) {
                picture.pixel(0, y)[x] = static_cast<std::uint8_t>((x * 7 + y * 13) ^ (x * y >> 3));
            }
        }
        const PatchList before = patchesOf(unmoved(picture, record));
        const PatchList fromView = patchesOf(view);
        for (int y = 0; y < picture.height; ++y) {
            std::memset(picture.pixel(0, y), 0, y < y0 ? 3450 : 3 * static_cast<std::size_t>(x0));
        }
        EXPECT_TRUE(areSame(before, patchesOf(unmoved(picture, record)))) << i;
        EXPECT_TRUE(areSame(fromView, patchesOf(view))) << i;
    }
    EXPECT_GT(cut, kFaces / 2);
}

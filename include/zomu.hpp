// ZOMU for C++17 hosts: the same four functions with owners, views and values. Header only. It does
// nothing that zomu.h and zomu_check.h cannot do, and everything that zomu.h says applies.
//
//   ZomuExtractor extractor;
//   ZomuTemplate a = extractor.extract(ZomuPixels{bytes, width, height, stride}, landmarks);
//   a.save("a.zomu");
//   float score = a.scoreAgainst(ZomuTemplate::load("b.zomu"));
#ifndef ZOMU_HPP
#define ZOMU_HPP

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "zomu.h"
#include "zomu_check.h"
#include "zomu_model.hpp"
#include "zomu_template.hpp"

// A view of a picture: blue, green, red; `stride` bytes from one row to the next, negative if
// `topRow` is the last row in memory.
struct ZomuPixels {
    const std::uint8_t* topRow = nullptr;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t stride = 0;
};

// Landmarks that cannot be those of a face in the picture. The text says why.
class ZomuLandmarkError : public std::invalid_argument {
  public:
    explicit ZomuLandmarkError(const ZomuLandmarkReport& report)
        : std::invalid_argument(report.text), fault(report.fault) {}

    ZomuLandmarkFault fault;
};

// Owns a context: 25 networks, about 40 MB. Movable, not copyable. One call at a time: each thread
// needs its own extractor. Its templates carry the fingerprint of its model.
class ZomuExtractor {
  public:
    // With the fingerprint of the folder that the library reads, which the first extractor of a
    // process computes: see ZomuModel::ofThisProcess. Zeros if the folder is not complete.
    ZomuExtractor() : ZomuExtractor(ZomuModel::ofThisProcess()) {}

    // With a fingerprint that the host knows, where it has changed the environment since the library
    // was loaded, or has models that change.
    explicit ZomuExtractor(const ZomuFingerprint& fingerprint)
        : context(ZomuCreate()), model(fingerprint) {}

    // Throws ZomuLandmarkError for landmarks that zomu_check.h finds at fault. Returns an unusable
    // template if the library could not compute it, after a line on standard output with the
    // reason. `landmarks` holds `count` entries, as in zomu.h.
    ZomuTemplate extract(const ZomuPixels& picture, const LandmarkRecord& landmarks) {
        ZomuLandmarkReport report;
        if (ZomuCheckLandmarks(&landmarks, picture.width, picture.height, &report) !=
            ZOMU_LANDMARKS_GOOD) {
            throw ZomuLandmarkError(report);
        }
        return extractUnchecked(picture, landmarks);
    }

    // The same for landmarks that the host vouches for, whatever they look like. Wrong ones give
    // ordinary templates that mean nothing.
    ZomuTemplate extractUnchecked(const ZomuPixels& picture, const LandmarkRecord& landmarks) {
        ZomuTemplate result;
        result.model = model;
        // A moved-from extractor has no context, and the call writes nothing: the template stays
        // NaN.
        std::array<float, ZOMU_PROJECTION_SIZE + 2> nothing = {};
        nothing.fill(std::nanf(""));
        std::memcpy(&result.face, nothing.data(), sizeof result.face);
        ZomuFaceView view;
        ZomuNearFace(picture.topRow, picture.width, picture.height, picture.stride, &landmarks,
                     &view);
        ZomuExtractTemplate(context.get(), view.image, view.width, view.height, view.stride,
                            view.landmarks, &result.face);
        return result;
    }

  private:
    struct Destroy {
        void operator()(ZomuContext* owned) const { ZomuDestroy(owned); }
    };
    std::unique_ptr<ZomuContext, Destroy> context;
    ZomuFingerprint model = {};
};

#endif

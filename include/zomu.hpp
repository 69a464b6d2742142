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
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "zomu.h"
#include "zomu_check.h"

// A view of a picture: blue, green, red; `stride` bytes from one row to the next, negative if
// `topRow` is the last row in memory.
struct ZomuPixels {
    const std::uint8_t* topRow = nullptr;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t stride = 0;
};

// A template as a value, with the fingerprint of its model.
//
// Files are those of zomu-template: 8 bytes "ZOMUTPL1", the fingerprint of the model (32 bytes),
// 502 floats, little-endian; 2048 bytes.
struct ZomuTemplate {
    FaceTemplate face = {};

    // What `zomu-model fingerprint` prints, as bytes. Zeros: unknown. The library cannot tell.
    std::array<std::uint8_t, 32> model = {};

    // False if the library could not compute it: all 502 values are then NaN.
    bool isUsable() const {
        for (const float value : face.projection) {
            if (!std::isfinite(value)) {
                return false;
            }
        }
        return std::isfinite(face.quadraticTerm) && std::isfinite(face.projectionNorm);
    }

    // ZomuCompareTemplates. Throws std::invalid_argument for templates of different models.
    float scoreAgainst(const ZomuTemplate& other) const {
        if (model != other.model) {
            throw std::invalid_argument("templates of different models cannot be compared");
        }
        return ZomuCompareTemplates(&face, &other.face);
    }

    // Equal means the same bits and the same model: a template of NaN equals its copy.
    friend bool operator==(const ZomuTemplate& a, const ZomuTemplate& b) {
        // NOLINTNEXTLINE: the analyser expects values to be compared, not bits.
        return a.model == b.model && std::memcmp(&a.face, &b.face, sizeof a.face) == 0;
    }
    friend bool operator!=(const ZomuTemplate& a, const ZomuTemplate& b) { return !(a == b); }

    // Throws std::runtime_error, with path and reason: no such file, not a template file, values
    // that are not finite.
    static ZomuTemplate load(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            throw std::runtime_error(path.string() + ": cannot be opened");
        }
        // One byte more than a template file has, to detect longer files.
        std::array<char, kFileSize + 1> bytes = {};
        file.read(bytes.data(), bytes.size());
        if (file.gcount() != static_cast<std::streamsize>(kFileSize) ||
            std::memcmp(bytes.data(), kMark, kMarkSize) != 0) {
            throw std::runtime_error(path.string() + ": is not a template file");
        }
        ZomuTemplate loaded;
        std::memcpy(loaded.model.data(), &bytes[kMarkSize], loaded.model.size());
        std::array<float, kValueCount> values = {};
        for (std::size_t i = 0; i < kValueCount; ++i) {
            std::uint32_t bits = 0;
            for (std::size_t k = 0; k < 4; ++k) {
                const auto byte = static_cast<unsigned char>(bytes[kHeadSize + 4 * i + k]);
                bits |= static_cast<std::uint32_t>(byte) << (8 * k);
            }
            std::memcpy(&values[i], &bits, sizeof bits);
        }
        std::memcpy(&loaded.face, values.data(), sizeof loaded.face);
        if (!loaded.isUsable()) {
            throw std::runtime_error(path.string() + ": holds values that are not finite");
        }
        return loaded;
    }

    // Throws std::invalid_argument for a template that is not usable, std::runtime_error if the
    // file cannot be written.
    void save(const std::filesystem::path& path) const {
        if (!isUsable()) {
            throw std::invalid_argument("a template that is not finite cannot be kept");
        }
        std::array<char, kFileSize> bytes = {};
        std::memcpy(bytes.data(), kMark, kMarkSize);
        std::memcpy(&bytes[kMarkSize], model.data(), model.size());
        std::array<float, kValueCount> values = {};
        std::memcpy(values.data(), &face, sizeof face);
        for (std::size_t i = 0; i < kValueCount; ++i) {
            std::uint32_t bits = 0;
            std::memcpy(&bits, &values[i], sizeof bits);
            for (std::size_t k = 0; k < 4; ++k) {
                bytes[kHeadSize + 4 * i + k] = static_cast<char>((bits >> (8 * k)) & 0xFFU);
            }
        }
        std::ofstream file(path, std::ios::binary | std::ios::trunc);
        file.write(bytes.data(), bytes.size());
        file.close();
        if (!file) {
            throw std::runtime_error(path.string() + ": cannot be written");
        }
    }

  private:
    static constexpr char kMark[] = "ZOMUTPL1";
    static constexpr std::size_t kMarkSize = 8;
    static constexpr std::size_t kHeadSize = kMarkSize + 32;
    static constexpr std::size_t kValueCount = ZOMU_PROJECTION_SIZE + 2;
    static constexpr std::size_t kFileSize = kHeadSize + 4 * kValueCount;
};

// Landmarks that cannot be those of a face in the picture. The text says why.
class ZomuLandmarkError : public std::invalid_argument {
  public:
    explicit ZomuLandmarkError(const ZomuLandmarkReport& report)
        : std::invalid_argument(report.text), fault(report.fault) {}

    ZomuLandmarkFault fault;
};

// Owns a context: 25 networks, about 40 MB. Movable, not copyable. One call at a time: each thread
// needs its own extractor.
class ZomuExtractor {
  public:
    ZomuExtractor() : context(ZomuCreate()) {}

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
};

#endif

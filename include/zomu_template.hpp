// ZOMU for C++17 hosts: templates as values, and their files. Header only; zomu.hpp includes it.
#ifndef ZOMU_TEMPLATE_HPP
#define ZOMU_TEMPLATE_HPP

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "zomu.h"
#include "zomu_new_file.hpp"

// A template as a value, with the fingerprint of its model.
//
// Files are those of zomu-template: 8 bytes "ZOMUTPL1", the fingerprint of the model (32 bytes),
// 502 floats, little-endian; 2048 bytes.
struct ZomuTemplate {
    FaceTemplate face = {};

    // What `zomu-model fingerprint` prints, as bytes. Zeros: unknown. ZomuExtractor fills it in.
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

    // What shows that no extraction gave this template, as the end of a sentence; null if nothing
    // does. Without a fault no score is above 3.01. It proves nothing: whoever can write a template can
    // write that of anybody.
    const char* fault() const {
        if (!isUsable()) {
            return "holds values that are not finite";
        }
        double squares = 0.0;
        for (const float value : face.projection) {
            squares += static_cast<double>(value) * static_cast<double>(value);
        }
        const double length = std::sqrt(squares);
        const auto norm = static_cast<double>(face.projectionNorm);
        if (norm < 1e-6 || norm > 1e6) {
            return "holds a length that no extraction gives";
        }
        if (std::abs(norm - length) > 1e-3 * length) {
            return "holds a norm that does not fit its values";
        }
        if (face.quadraticTerm < 0.0F || face.quadraticTerm > 1e12F) {
            return "holds a quadratic term that no extraction gives";
        }
        return nullptr;
    }

    // ZomuCompareTemplates. Throws std::invalid_argument for templates of different models, and for
    // those of an unknown one, which may be different. Templates of an extractor and of a file are not
    // looked at again: see fault().
    float scoreAgainst(const ZomuTemplate& other) const {
        if (model != other.model) {
            throw std::invalid_argument("templates of different models cannot be compared");
        }
        if (model == decltype(model){}) {
            throw std::invalid_argument(
                "templates of an unknown model cannot be compared: set their fingerprint");
        }
        return ZomuCompareTemplates(&face, &other.face);
    }

    // Equal means the same bits and the same model: a template of NaN equals its copy.
    friend bool operator==(const ZomuTemplate& a, const ZomuTemplate& b) {
        // NOLINTNEXTLINE: the analyser expects values to be compared, not bits.
        return a.model == b.model && std::memcmp(&a.face, &b.face, sizeof a.face) == 0;
    }
    friend bool operator!=(const ZomuTemplate& a, const ZomuTemplate& b) { return !(a == b); }

    // Throws std::runtime_error, with path and reason: no such file, not a template file, a fault.
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
        if (const char* found = loaded.fault()) {
            throw std::runtime_error(path.string() + ": " + found);
        }
        return loaded;
    }

    // Throws std::invalid_argument for a template with a fault, std::runtime_error if the file cannot
    // be written. The bytes go to a new file in the same folder, which then takes the place of the
    // former one: that stays as it was if, say, the disk is full, and hands on its permissions. Only a
    // regular file is replaced, and no symbolic link is followed.
    void save(const std::filesystem::path& path) const {
        if (const char* found = fault()) {
            throw std::invalid_argument(std::string("a template that ") + found +
                                        " cannot be kept");
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
        ZomuNewFile file(path);
        file.write(bytes.data(), bytes.size());
        file.putInPlace();
    }

  private:
    static constexpr char kMark[] = "ZOMUTPL1";
    static constexpr std::size_t kMarkSize = 8;
    static constexpr std::size_t kHeadSize = kMarkSize + 32;
    static constexpr std::size_t kValueCount = ZOMU_PROJECTION_SIZE + 2;
    static constexpr std::size_t kFileSize = kHeadSize + 4 * kValueCount;
};

#endif

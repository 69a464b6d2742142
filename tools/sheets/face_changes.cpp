#include "sheets/face_changes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

#include "sheets/canvas.h"
#include "sheets/landmark_names.h"

namespace {

std::uint8_t toByte(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

BgrPicture resampled(const BgrPicture& source, int width, int height,
                     const cairo_matrix_t& toSource) {
    const Canvas canvas(width, height);
    canvas.coverWith(source.pixels.data(), source.width, source.height, toSource);
    return {width, height, canvas.pixels()};
}

template <typename Change>
void moveLandmarks(LandmarkRecord& landmarks, Change change) {
    for (std::int32_t i = 0; i < landmarks.count; ++i) {
        LandmarkEntry& entry = landmarks.entries[i];
        double x = static_cast<double>(entry.x);
        double y = static_cast<double>(entry.y);
        change(x, y);
        entry.x = static_cast<float>(x);
        entry.y = static_cast<float>(y);
    }
}

template <typename Change>
FacePicture withChannels(const FacePicture& face, Change change) {
    FacePicture result = face;
    for (std::uint8_t& value : result.picture.pixels) {
        value = toByte(change(static_cast<double>(value)));
    }
    return result;
}

}  // namespace

FacePicture turned(const FacePicture& face, double degrees) {
    const BgrPicture& source = face.picture;
    const double angle = degrees * std::numbers::pi / 180.0;
    const double cosine = std::cos(angle);
    const double sine = std::sin(angle);
    const double centreX = 0.5 * (source.width - 1);
    const double centreY = 0.5 * (source.height - 1);
    // Cairo's whole numbers are pixel corners.
    cairo_matrix_t toSource;
    cairo_matrix_init_translate(&toSource, 0.5 * source.width, 0.5 * source.height);
    cairo_matrix_rotate(&toSource, -angle);
    cairo_matrix_translate(&toSource, -0.5 * source.width, -0.5 * source.height);
    FacePicture result = {resampled(source, source.width, source.height, toSource), face.landmarks};
    moveLandmarks(result.landmarks, [&](double& x, double& y) {
        const double dx = x - centreX;
        const double dy = y - centreY;
        x = centreX + cosine * dx - sine * dy;
        y = centreY + sine * dx + cosine * dy;
    });
    return result;
}

// Sizes are whole, so that each axis gets a factor of its own next to the one asked for. Pixel
// corners scale, not centres: the corner of the first pixel is at -0.5.
FacePicture scaled(const FacePicture& face, double factor) {
    const double wide = face.picture.width * factor;
    const double high = face.picture.height * factor;
    if (!(wide >= 0.5 && high >= 0.5 && wide <= 30000.0 && high <= 30000.0)) {
        throw std::invalid_argument("a scaled picture has to be 1 to 30000 pixels wide and high");
    }
    const int width = static_cast<int>(std::lround(wide));
    const int height = static_cast<int>(std::lround(high));
    const double across = static_cast<double>(width) / face.picture.width;
    const double down = static_cast<double>(height) / face.picture.height;
    cairo_matrix_t toSource;
    cairo_matrix_init_scale(&toSource, 1.0 / across, 1.0 / down);
    FacePicture result = {resampled(face.picture, width, height, toSource), face.landmarks};
    moveLandmarks(result.landmarks, [&](double& x, double& y) {
        x = (x + 0.5) * across - 0.5;
        y = (y + 0.5) * down - 0.5;
    });
    return result;
}

FacePicture mirrored(const FacePicture& face) {
    const BgrPicture& source = face.picture;
    FacePicture result = {blackPicture(source.width, source.height), face.landmarks};
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            std::copy_n(source.at(source.width - 1 - x, y), 3, result.picture.at(x, y));
        }
    }
    moveLandmarks(result.landmarks, [&](double& x, double&) { x = source.width - 1 - x; });
    for (std::int32_t i = 0; i < result.landmarks.count; ++i) {
        result.landmarks.entries[i].id = mirroredId(result.landmarks.entries[i].id);
    }
    return result;
}

FacePicture darkened(const FacePicture& face, double factor) {
    return withChannels(face, [&](double value) { return value * factor; });
}

// Twelve uniform numbers from 0 to 1 together have variance 1 and come close to the bell curve.
// They are made by hand: the standard library's distributions differ from maker to maker.
FacePicture withNoise(const FacePicture& face, double sigma, std::uint64_t seed) {
    std::mt19937_64 engine(seed);
    return withChannels(face, [&](double value) {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) {
            sum += static_cast<double>(engine() >> 11) * 0x1p-53;
        }
        return value + sigma * sum;
    });
}

std::int32_t mirroredId(std::int32_t id) {
    for (const LandmarkName& name : kLandmarkNames) {
        if (name.isPair() && (id == name.left || id == name.right)) {
            return id == name.left ? name.right : name.left;
        }
    }
    return id;
}

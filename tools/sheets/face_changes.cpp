#include "sheets/face_changes.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <stdexcept>

#include "drawing/dice.h"

namespace {

constexpr std::int32_t kTwins[][2] = {{0, 1},     {2, 5},     {3, 4},     {12, 13},
                                      {43, 44},   {221, 227}, {222, 226}, {223, 225},
                                      {240, 241}, {300, 302}, {315, 316}};

std::uint8_t toByte(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

// The pixel at `index` of a row of `size` that is continued by its mirror images on both sides.
int reflected(int index, int size) {
    const int period = 2 * size;
    const int place = ((index % period) + period) % period;
    return place < size ? place : period - 1 - place;
}

// Bilinear, with whole numbers on pixel centres.
void samplePixel(const BgrPicture& picture, double x, double y, std::uint8_t* pixel) {
    const double left = std::floor(x);
    const double top = std::floor(y);
    const double fx = x - left;
    const double fy = y - top;
    const int x0 = reflected(static_cast<int>(left), picture.width);
    const int x1 = reflected(static_cast<int>(left) + 1, picture.width);
    const int y0 = reflected(static_cast<int>(top), picture.height);
    const int y1 = reflected(static_cast<int>(top) + 1, picture.height);
    for (int channel = 0; channel < 3; ++channel) {
        const double upper =
            (1.0 - fx) * picture.at(x0, y0)[channel] + fx * picture.at(x1, y0)[channel];
        const double lower =
            (1.0 - fx) * picture.at(x0, y1)[channel] + fx * picture.at(x1, y1)[channel];
        pixel[channel] = toByte((1.0 - fy) * upper + fy * lower);
    }
}

// Which pixels of a row make up one pixel of a row of another size, and how much of each.
struct Blend {
    int first;
    std::vector<double> shares;  // sum 1
};

// A tent as wide as the larger of the two pixels around the place where the new pixel's centre
// lies.
std::vector<Blend> blendsForSize(int from, int to) {
    const double step = static_cast<double>(from) / to;
    const double reach = std::max(1.0, step);
    std::vector<Blend> blends;
    for (int i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * step - 0.5;
        const int first = static_cast<int>(std::floor(centre - reach)) + 1;
        const int last = static_cast<int>(std::ceil(centre + reach)) - 1;
        Blend blend = {first, {}};
        double sum = 0.0;
        for (int j = first; j <= last; ++j) {
            blend.shares.push_back(1.0 - std::abs(j - centre) / reach);
            sum += blend.shares.back();
        }
        for (double& share : blend.shares) {
            share /= sum;
        }
        blends.push_back(blend);
    }
    return blends;
}

BgrPicture withSize(const BgrPicture& picture, int width, int height) {
    const std::vector<Blend> columns = blendsForSize(picture.width, width);
    const std::vector<Blend> rows = blendsForSize(picture.height, height);
    BgrPicture result = blackPicture(width, height);
    for (int y = 0; y < height; ++y) {
        const Blend& down = rows[static_cast<std::size_t>(y)];
        for (int x = 0; x < width; ++x) {
            const Blend& across = columns[static_cast<std::size_t>(x)];
            double sum[3] = {0.0, 0.0, 0.0};
            for (std::size_t j = 0; j < down.shares.size(); ++j) {
                const int sourceY = reflected(down.first + static_cast<int>(j), picture.height);
                for (std::size_t i = 0; i < across.shares.size(); ++i) {
                    const int sourceX =
                        reflected(across.first + static_cast<int>(i), picture.width);
                    const std::uint8_t* source = picture.at(sourceX, sourceY);
                    for (int channel = 0; channel < 3; ++channel) {
                        sum[channel] += down.shares[j] * across.shares[i] * source[channel];
                    }
                }
            }
            for (int channel = 0; channel < 3; ++channel) {
                result.at(x, y)[channel] = toByte(sum[channel]);
            }
        }
    }
    return result;
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
    FacePicture result = {blackPicture(source.width, source.height), face.landmarks};
    for (int y = 0; y < source.height; ++y) {
        for (int x = 0; x < source.width; ++x) {
            const double dx = x - centreX;
            const double dy = y - centreY;
            samplePixel(source, centreX + cosine * dx + sine * dy,
                        centreY - sine * dx + cosine * dy, result.picture.at(x, y));
        }
    }
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
    FacePicture result = {withSize(face.picture, width, height), face.landmarks};
    const double across = static_cast<double>(width) / face.picture.width;
    const double down = static_cast<double>(height) / face.picture.height;
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

// Twelve uniform numbers together have variance 1 and come close to the bell curve.
FacePicture withNoise(const FacePicture& face, double sigma, std::uint64_t seed) {
    Dice dice(seed);
    return withChannels(face, [&](double value) {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) {
            sum += dice.unit();
        }
        return value + sigma * sum;
    });
}

std::int32_t mirroredId(std::int32_t id) {
    for (const auto& twins : kTwins) {
        if (id == twins[0] || id == twins[1]) {
            return id == twins[0] ? twins[1] : twins[0];
        }
    }
    return id;
}

// Source pictures for tests: any size and any row stride, with storage that ends at the last byte
// that may be read, so that a sanitizer sees the first byte too many.
#ifndef ZOMU_TESTS_SUPPORT_PICTURES_H
#define ZOMU_TESTS_SUPPORT_PICTURES_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/random.h"

// Three bytes a pixel, blue, green, red. A negative stride stores the rows bottom up.
class Picture {
  public:
    Picture(int columns, int rows, int rowStride)
        : width(columns),
          height(rows),
          stride(rowStride),
          bytes(static_cast<std::size_t>(rows - 1) * distance() +
                3 * static_cast<std::size_t>(columns)) {}

    Picture(int columns, int rows) : Picture(columns, rows, 3 * columns) {}

    const std::uint8_t* topRow() const {
        return stride < 0 ? bytes.data() + static_cast<std::size_t>(height - 1) * distance()
                          : bytes.data();
    }

    std::uint8_t* pixel(int x, int y) {
        const int rowsBefore = stride < 0 ? height - 1 - y : y;
        return bytes.data() + static_cast<std::size_t>(rowsBefore) * distance() +
               3 * static_cast<std::size_t>(x);
    }

    int width;
    int height;
    int stride;
    std::vector<std::uint8_t> bytes;  // the gaps between rows as well

  private:
    std::size_t distance() const { return static_cast<std::size_t>(std::abs(stride)); }
};

// Noise, or smooth ramps with some noise, or few hard-edged levels; gaps hold noise, too.
inline Picture randomPicture(Random& random, int width, int height, int stride) {
    Picture picture(width, height, stride);
    for (std::uint8_t& byte : picture.bytes) {
        byte = random.byte();
    }
    const int kind = random.between(0, 2);
    if (kind == 0) {
        return picture;
    }
    const int slopeX = random.between(-5, 5);
    const int slopeY = random.between(-5, 5);
    const int start = random.between(0, 255);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                const int ramp = start + 40 * channel + slopeX * x + slopeY * y;
                const int value = kind == 1 ? ramp + random.between(0, 7) : (ramp >> 6) * 127;
                picture.pixel(x, y)[channel] = static_cast<std::uint8_t>(value & 255);
            }
        }
    }
    return picture;
}

// A stride that fits the width: packed, padded by up to 40 bytes, or either of them bottom up.
inline int randomStride(Random& random, int width) {
    const int stride = 3 * width + (random.oneIn(2) ? random.between(1, 40) : 0);
    return random.oneIn(3) ? -stride : stride;
}

#endif

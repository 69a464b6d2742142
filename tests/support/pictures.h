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

// Leaves what is there, or paints smooth ramps, few hard-edged levels, or one value over it.
inline void paintSomething(Random& random, std::uint8_t* topRow, int width, int height,
                           std::ptrdiff_t stride) {
    enum { nothing, ramp, levels, oneValue };
    const int kind = random.between(nothing, oneValue);
    const int start = random.between(0, 255);
    const int slopeX = random.between(-7, 7);
    const int slopeY = random.between(-7, 7);
    for (int y = 0; kind != nothing && y < height; ++y) {
        std::uint8_t* row = topRow + y * stride;
        for (int i = 0; i < 3 * width; ++i) {
            const int onRamp = start + 40 * (i % 3) + slopeX * (i / 3) + slopeY * y;
            const int value = kind == ramp ? onRamp : kind == levels ? (onRamp >> 6) * 127 : start;
            row[i] = static_cast<std::uint8_t>(value & 255);
        }
    }
}

// The gaps hold noise whatever the picture shows.
inline Picture randomPicture(Random& random, int width, int height, int stride) {
    Picture picture(width, height, stride);
    picture.bytes = random.upTo(picture.bytes.size());
    paintSomething(random, picture.pixel(0, 0), width, height, stride);
    return picture;
}

#endif

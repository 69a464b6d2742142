#include "hardening/hostile_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr int kLargestSide = 320;
constexpr int kLargestPadding = 100;
constexpr int kDistantRows = 4;
constexpr std::size_t kGreatestStride = std::size_t{1} << 31U;

std::size_t roundedUp(std::size_t bytes) {
    const std::size_t page = GuardedPages::pageSize();
    return (bytes + page - 1) / page * page;
}

// Small sides are the likelier ones, by powers of two.
int anySide(Random& random) {
    const float side = std::exp2(random.uniform(1, 8.32193F));
    return std::clamp(static_cast<int>(side), 2, kLargestSide);
}

void fillWithNoise(Random& random, std::uint8_t* bytes, std::size_t count) {
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const std::uint64_t word = random.bits();
        std::memcpy(bytes + i, &word, sizeof word);
    }
    for (; i < count; ++i) {
        bytes[i] = random.byte();
    }
}

struct Painter {
    int kind, start, slopeX, slopeY;

    std::uint8_t byteAt(int x, int y, int channel) const {
        const int ramp = start + 40 * channel + slopeX * x + slopeY * y;
        const int value = kind == 1 ? ramp : kind == 2 ? (ramp >> 6) * 127 : start;
        return static_cast<std::uint8_t>(value & 255);
    }
};

// Noise has been there before; three in four pictures get something else in place of it.
void paint(Random& random, const SourceImage& image, std::uint8_t* topRow) {
    const Painter painter = {random.between(0, 3), random.between(0, 255), random.between(-7, 7),
                             random.between(-7, 7)};
    if (painter.kind == 0) {
        return;
    }
    for (int y = 0; y < image.height; ++y) {
        std::uint8_t* row = topRow + static_cast<std::ptrdiff_t>(y) * image.stride;
        for (int i = 0; i < 3 * image.width; ++i) {
            row[i] = painter.byteAt(i / 3, y, i % 3);
        }
    }
}

std::size_t spanOf(int width, int height, int distance) {
    return static_cast<std::size_t>(height - 1) * static_cast<std::size_t>(distance) +
           3 * static_cast<std::size_t>(width);
}

}  // namespace

ClosedSpace::ClosedSpace(std::size_t bytes) : size(roundedUp(bytes)) {
    void* address =
        mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (address == MAP_FAILED) {
        throw std::bad_alloc();
    }
    room = static_cast<std::uint8_t*>(address);
}

void ClosedSpace::open(std::uint8_t* byte, std::size_t bytes) {
    const std::size_t page = GuardedPages::pageSize();
    const auto offset = static_cast<std::size_t>(byte - room);
    const std::size_t first = offset / page * page;
    opened.push_back({room + first, roundedUp(offset + bytes) - first});
    if (mprotect(opened.back().first, opened.back().bytes, PROT_READ | PROT_WRITE) != 0) {
        throw std::bad_alloc();
    }
}

void ClosedSpace::closeAll() {
    for (const Pages& pages : opened) {
        madvise(pages.first, pages.bytes, MADV_DONTNEED);
        mprotect(pages.first, pages.bytes, PROT_NONE);
    }
    opened.clear();
}

PictureGround::PictureGround()
    : space((kDistantRows - 1) * kGreatestStride + 4 * GuardedPages::pageSize()),
      striped(2 * std::size_t{kLargestSide} * GuardedPages::pageSize()) {
    for (std::size_t row = 0; row < kLargestSide; ++row) {
        striped.forbid(striped.begin() + (2 * row + 1) * GuardedPages::pageSize());
    }
}

SourceImage PictureGround::place(Random& random) {
    space.closeAll();
    const int width = anySide(random);
    const int height = anySide(random);
    if (random.oneIn(50)) {
        return placeInDistantRows(random, width, std::min(height, kDistantRows));
    }
    switch (random.between(0, 3)) {
        case 0:
            return placeInRowsBetweenGuards(random, width, height);
        case 1:
            return placeFromGuardToGuard(random);
        default:
            return placePacked(random, width, height);
    }
}

// A picture whose lowest byte is `lowest`, with rows `distance` apart, up or down.
SourceImage PictureGround::laidOut(Random& random, std::uint8_t* lowest, int width, int height,
                                   std::ptrdiff_t distance) {
    const bool isBottomUp = distance > std::numeric_limits<std::int32_t>::max() || random.oneIn(2);
    std::uint8_t* topRow = lowest + (isBottomUp ? (height - 1) * distance : 0);
    const SourceImage image = {topRow, width, height,
                               static_cast<std::int32_t>(isBottomUp ? -distance : distance)};
    paint(random, image, topRow);
    return image;
}

// Begins behind a guard or ends at one. Rows are packed, or have gaps, or overlap.
SourceImage PictureGround::placePacked(Random& random, int width, int height) {
    int distance = 3 * width;
    if (random.oneIn(2)) {
        distance += random.between(1, kLargestPadding);
    } else if (random.oneIn(8)) {
        distance = random.between(0, distance - 1);
    }
    const std::size_t bytes = spanOf(width, height, distance);
    std::uint8_t* lowest = space.begin() + GuardedPages::pageSize();
    if (random.oneIn(2)) {
        lowest += roundedUp(bytes) - bytes;
    }
    space.open(lowest, bytes);
    fillWithNoise(random, lowest, bytes);
    return laidOut(random, lowest, width, height, distance);
}

// Begins behind a guard and ends at the next one: rows are as far apart as makes the picture fill
// its pages, for which the width must suit the height.
SourceImage PictureGround::placeFromGuardToGuard(Random& random) {
    const int gaps = 1 << random.between(0, 8);
    const int width = std::max(2, gaps * random.between(1, std::max(1, kLargestSide / gaps)));
    const std::size_t bytes = roundedUp(spanOf(width, gaps + 1, 3 * width)) +
                              (random.oneIn(2) ? GuardedPages::pageSize() : 0);
    const std::size_t lastRow = 3 * static_cast<std::size_t>(width);
    const auto distance =
        static_cast<std::ptrdiff_t>((bytes - lastRow) / static_cast<std::size_t>(gaps));
    std::uint8_t* lowest = space.begin() + GuardedPages::pageSize();
    space.open(lowest, bytes);
    fillWithNoise(random, lowest, bytes);
    return laidOut(random, lowest, width, gaps + 1, distance);
}

// Each row has a page of its own and begins or ends with it; guards stand between the pages.
SourceImage PictureGround::placeInRowsBetweenGuards(Random& random, int width, int height) {
    const std::size_t page = GuardedPages::pageSize();
    const std::size_t rowBytes = 3 * static_cast<std::size_t>(width);
    std::uint8_t* lowest = striped.begin() + (random.oneIn(2) ? 0 : page - rowBytes);
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        fillWithNoise(random, lowest + 2 * page * row, rowBytes);
    }
    return laidOut(random, lowest, width, height, static_cast<std::ptrdiff_t>(2 * page));
}

// Rows up to 2 GB apart, which is what a stride can say.
SourceImage PictureGround::placeInDistantRows(Random& random, int width, int height) {
    const std::size_t page = GuardedPages::pageSize();
    const std::size_t rowBytes = 3 * static_cast<std::size_t>(width);
    std::size_t distance = kGreatestStride - static_cast<std::size_t>(random.between(0, 4));
    if (random.oneIn(2)) {
        distance = random.bits() % kGreatestStride / page * page + 2 * page;
    }
    distance = std::min(distance, kGreatestStride);
    std::uint8_t* lowest = space.begin() + page + (random.oneIn(2) ? 0 : page - rowBytes);
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        space.open(lowest + row * distance, rowBytes);
        fillWithNoise(random, lowest + row * distance, rowBytes);
    }
    return laidOut(random, lowest, width, height, static_cast<std::ptrdiff_t>(distance));
}

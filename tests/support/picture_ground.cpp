#include "support/picture_ground.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "support/pictures.h"

namespace {

constexpr int kLargestSide = 320;
constexpr int kLargestPadding = 100;
constexpr int kDistantRows = 4;
constexpr std::size_t kGreatestStride = std::size_t{1} << 31U;

std::size_t rowBytesOf(int width) {
    return 3 * static_cast<std::size_t>(width);
}

// Small sides are the likelier ones, by powers of two.
int anySide(Random& random) {
    const float side = std::exp2(random.uniform(1, 8.32193F));
    return std::clamp(static_cast<int>(side), 2, kLargestSide);
}

// From some place of one stock on: noise of its own for each picture would take most of a sweep's
// time and all of a fuzz input's bytes.
class Noise {
  public:
    explicit Noise(Random& random) : place(static_cast<std::size_t>(random.between(0, 0xFFFF))) {}

    void fill(std::uint8_t* bytes, std::size_t count) {
        static const std::vector<std::uint8_t> stock = Random(92).upTo(std::size_t{1} << 17U);
        while (count > 0) {
            const std::size_t piece = std::min(count, stock.size() - place);
            std::memcpy(bytes, stock.data() + place, piece);
            bytes += piece;
            count -= piece;
            place = (place + piece) % stock.size();
        }
    }

  private:
    std::size_t place;
};

std::size_t spanOf(int width, int height, int distance) {
    return static_cast<std::size_t>(height - 1) * static_cast<std::size_t>(distance) +
           rowBytesOf(width);
}

}  // namespace

PictureGround::PictureGround()
    : space((kDistantRows - 1) * kGreatestStride + 4 * sizeOfPage()),
      striped(2 * std::size_t{kLargestSide} * sizeOfPage()) {
    for (std::size_t row = 0; row < kLargestSide; ++row) {
        striped.forbid(striped.begin() + (2 * row + 1) * sizeOfPage());
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
    paintSomething(random, topRow, width, height, image.stride);
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
    std::uint8_t* lowest = space.begin() + sizeOfPage();
    if (random.oneIn(2)) {
        lowest += ClosedSpace::wholePages(bytes) - bytes;
    }
    space.open(lowest, bytes);
    Noise(random).fill(lowest, bytes);
    return laidOut(random, lowest, width, height, distance);
}

// Begins behind a guard and ends at the next one: rows are as far apart as makes the picture fill
// its pages, for which the width must suit the height.
SourceImage PictureGround::placeFromGuardToGuard(Random& random) {
    const int gaps = 1 << random.between(0, 8);
    const int width = std::max(2, gaps * random.between(1, std::max(1, kLargestSide / gaps)));
    const std::size_t bytes = ClosedSpace::wholePages(spanOf(width, gaps + 1, 3 * width)) +
                              (random.oneIn(2) ? sizeOfPage() : 0);
    const std::size_t distance = (bytes - rowBytesOf(width)) / static_cast<std::size_t>(gaps);
    std::uint8_t* lowest = space.begin() + sizeOfPage();
    space.open(lowest, bytes);
    Noise(random).fill(lowest, bytes);
    return laidOut(random, lowest, width, gaps + 1, static_cast<std::ptrdiff_t>(distance));
}

// Each row has a page of its own and begins or ends with it; guards stand between the pages.
SourceImage PictureGround::placeInRowsBetweenGuards(Random& random, int width, int height) {
    const std::size_t rowBytes = rowBytesOf(width);
    std::uint8_t* lowest = striped.begin() + (random.oneIn(2) ? 0 : sizeOfPage() - rowBytes);
    Noise noise(random);
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        noise.fill(lowest + 2 * sizeOfPage() * row, rowBytes);
    }
    return laidOut(random, lowest, width, height, static_cast<std::ptrdiff_t>(2 * sizeOfPage()));
}

// Rows up to 2 GB apart, which is what a stride can say.
SourceImage PictureGround::placeInDistantRows(Random& random, int width, int height) {
    const std::size_t rowBytes = rowBytesOf(width);
    std::size_t distance = kGreatestStride - static_cast<std::size_t>(random.between(0, 4));
    if (random.oneIn(2)) {
        distance = random.bits() % kGreatestStride / sizeOfPage() * sizeOfPage() + 2 * sizeOfPage();
    }
    distance = std::min(distance, kGreatestStride);
    std::uint8_t* lowest =
        space.begin() + sizeOfPage() + (random.oneIn(2) ? 0 : sizeOfPage() - rowBytes);
    Noise noise(random);
    for (std::size_t row = 0; row < static_cast<std::size_t>(height); ++row) {
        space.open(lowest + row * distance, rowBytes);
        noise.fill(lowest + row * distance, rowBytes);
    }
    return laidOut(random, lowest, width, height, static_cast<std::ptrdiff_t>(distance));
}

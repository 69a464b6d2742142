// A picture in memory, row by row where a host might have put it.
#ifndef ZOMU_TESTS_LIBRARY_HOST_PLACED_PICTURE_H
#define ZOMU_TESTS_LIBRARY_HOST_PLACED_PICTURE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "support/guarded_pages.h"
#include "support/pictures.h"

// By a name that says all of it: "bottom-up-padded", "rows-between-guards".
struct PictureLayout {
    explicit PictureLayout(const std::string& name)
        : isPadded(name.ends_with("padded")),
          hasGuards(name.ends_with("between-guards")),
          isBottomUp(name.starts_with("bottom-up")),
          startsBehindGuard(name.ends_with("behind-guard")) {
        if (!isPadded && !hasGuards && !isBottomUp && !startsBehindGuard &&
            name != "ends-at-guard") {
            throw std::invalid_argument("no layout " + name);
        }
    }

    bool isPadded;
    bool hasGuards;  // between the rows
    bool isBottomUp;
    bool startsBehindGuard;  // otherwise the last byte of the picture stands before a guard
};

// Padding holds a pattern that no reader could take for black. Where guards stand between the rows,
// a row is at most a page long and ends with its page; the page behind it is a guard.
class PlacedPicture {
  public:
    PlacedPicture(const Picture& picture, const PictureLayout& layout)
        : memory(bytesOf(picture, layout)) {
        std::fill(memory.begin(), memory.end(), std::uint8_t{0xC3});
        const std::size_t distance = distanceOf(picture, layout);
        const int last = picture.height - 1;
        std::uint8_t* first =
            layout.startsBehindGuard ? memory.begin() : memory.end() - bytesOf(picture, layout);
        for (int y = 0; y <= last; ++y) {
            const auto position = static_cast<std::size_t>(layout.isBottomUp ? last - y : y);
            std::uint8_t* row = first + position * distance;
            std::copy_n(picture.topRow() + static_cast<std::ptrdiff_t>(y) * picture.stride,
                        3 * picture.width, row);
            if (y == 0) {
                topRow = row;
            }
            if (layout.hasGuards && position != 0) {
                memory.forbid(row - GuardedPages::pageSize());
            }
        }
        stride = static_cast<std::int32_t>(distance) * (layout.isBottomUp ? -1 : 1);
    }

    const std::uint8_t* topRow = nullptr;
    std::int32_t stride;

  private:
    static std::size_t distanceOf(const Picture& picture, const PictureLayout& layout) {
        const auto rowBytes = 3 * static_cast<std::size_t>(picture.width);
        return layout.hasGuards ? 2 * GuardedPages::pageSize()
                                : rowBytes + (layout.isPadded ? 41 : 0);
    }

    static std::size_t bytesOf(const Picture& picture, const PictureLayout& layout) {
        return static_cast<std::size_t>(picture.height - 1) * distanceOf(picture, layout) +
               3 * static_cast<std::size_t>(picture.width);
    }

    GuardedPages memory;
};

#endif

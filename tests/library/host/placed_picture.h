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

struct PictureLayout {
    enum class Rows { packed, padded, betweenGuards };

    const char* name;
    Rows rows;
    bool isBottomUp;
    bool startsBehindGuard;  // otherwise the last byte of the picture stands before a guard
};

inline const PictureLayout& layoutOfName(const std::string& name) {
    using enum PictureLayout::Rows;
    static constexpr PictureLayout kLayouts[] = {
        {"ends-at-guard", packed, false, false},
        {"starts-behind-guard", packed, false, true},
        {"padded", padded, false, false},
        {"bottom-up", packed, true, false},
        {"bottom-up-behind-guard", packed, true, true},
        {"bottom-up-padded", padded, true, false},
        {"rows-between-guards", betweenGuards, false, false},
        {"bottom-up-rows-between-guards", betweenGuards, true, false},
    };
    for (const PictureLayout& layout : kLayouts) {
        if (layout.name == name) {
            return layout;
        }
    }
    throw std::invalid_argument("no layout " + name);
}

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
            if (layout.rows == PictureLayout::Rows::betweenGuards && position != 0) {
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
        switch (layout.rows) {
            case PictureLayout::Rows::packed:
                return rowBytes;
            case PictureLayout::Rows::padded:
                return rowBytes + 41;
            case PictureLayout::Rows::betweenGuards:
                break;
        }
        return 2 * GuardedPages::pageSize();
    }

    static std::size_t bytesOf(const Picture& picture, const PictureLayout& layout) {
        return static_cast<std::size_t>(picture.height - 1) * distanceOf(picture, layout) +
               3 * static_cast<std::size_t>(picture.width);
    }

    GuardedPages memory;
};

#endif

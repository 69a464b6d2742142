// A picture and a landmark record out of fuzz input, each in a block of exactly the bytes that the
// library may read, so that a sanitizer sees the first one too many.
//
// What a host promises is kept: `count` entries are there to be read, unless the record is one that
// is refused before its walk comes to the end of its entries.
#ifndef ZOMU_TESTS_FUZZ_FUZZ_FACE_H
#define ZOMU_TESTS_FUZZ_FUZZ_FACE_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "patches/landmarks.h"
#include "support/faces.h"
#include "support/random.h"
#include "zomu.h"

// Rows of three bytes a pixel at any distance, in either direction, overlapping ones and rows of
// one place included.
class FuzzPicture {
  public:
    explicit FuzzPicture(FuzzInput& input) {
        width = input.between(2, 65);
        height = input.between(2, 65);
        const int kind = input.between(0, 7);
        stride = kind < 6 ? 3 * width + (kind < 3 ? 0 : input.between(1, 40))
                          : input.between(0, 3 * width + 9);
        if (input.between(0, 2) == 0) {
            stride = -stride;
        }
        const auto distance = static_cast<std::size_t>(std::abs(stride));
        const std::size_t before = stride < 0 ? distance * static_cast<std::size_t>(height - 1) : 0;
        size =
            distance * static_cast<std::size_t>(height - 1) + 3 * static_cast<std::size_t>(width);
        bytes = std::make_unique_for_overwrite<std::uint8_t[]>(size);
        top = bytes.get() + before;
        std::memcpy(bytes.get(), noise() + input.between(0, 65535), size);
    }

    const std::uint8_t* topRow() const { return top; }

    int width;
    int height;
    int stride;

  private:
    // Of a fixed seed: what bytes a picture holds decides nothing.
    static const std::uint8_t* noise() {
        static const std::vector<std::uint8_t> bytes = [] {
            Random random(92);
            std::vector<std::uint8_t> drawn(1U << 17U);
            for (std::uint8_t& byte : drawn) {
                byte = random.byte();
            }
            return drawn;
        }();
        return bytes.data();
    }

    std::size_t size;
    std::unique_ptr<std::uint8_t[]> bytes;
    const std::uint8_t* top;
};

// A head seen from somewhere, then any number of changes to its entries.
class FuzzRecord {
  public:
    explicit FuzzRecord(FuzzInput& input) {
        HeadView view;
        view.yaw = static_cast<double>(input.uniform(-90, 90));
        view.pitch = static_cast<double>(input.uniform(-90, 90));
        view.roll = static_cast<double>(input.uniform(-180, 180));
        view.scale = static_cast<double>(input.uniform(0, 20));
        view.x = static_cast<double>(input.uniform(-100, 200));
        view.y = static_cast<double>(input.uniform(-100, 200));
        const LandmarkRecord face = projectFace(view);

        const std::uint8_t kind = input.byte();
        const LandmarkRecord start = (kind & 1U) != 0 ? withoutSidesOfHead(face) : face;
        for (int i = 0; i < start.count; ++i) {
            entries.push_back(start.entries[i]);
        }
        for (int changes = input.between(0, 40); changes > 0 && !input.isEmpty(); --changes) {
            change(input);
        }
        auto count = static_cast<std::int32_t>(entries.size());
        if ((kind & 6U) == 6 && (isDecidedByItsEntries() || input.between(0, 1) == 0)) {
            const std::int32_t said = input.integer();
            count = said < count || isDecidedByItsEntries() ? said : count;
        }
        bytes = std::make_unique<std::uint8_t[]>(8 + entries.size() * sizeof(LandmarkEntry));
        std::memcpy(bytes.get(), &count, sizeof count);
        if (!entries.empty()) {
            std::memcpy(bytes.get() + 8, entries.data(), entries.size() * sizeof(LandmarkEntry));
        }
    }

    const LandmarkRecord& record() const {
        return *reinterpret_cast<const LandmarkRecord*>(bytes.get());
    }

  private:
    void change(FuzzInput& input) {
        const auto place = static_cast<std::size_t>(input.byte());
        LandmarkEntry other = {};
        LandmarkEntry& entry = entries.empty() ? other : entries[place % entries.size()];
        switch (input.between(0, 7)) {
            case 0:
                entry.x = input.anyFloat();
                break;
            case 1:
                entry.y = input.anyFloat();
                break;
            case 2:
                entry.x += input.uniform(-50, 50);
                entry.y += input.uniform(-50, 50);
                break;
            case 3:
                std::swap(entry, entries.empty() ? other : entries.back());
                break;
            case 4:
                entry.id = input.between(0, 319);
                break;
            case 5:
                entry.id = input.integer();
                break;
            case 6:
                entries.push_back({kReferenceLandmarks[input.between(0, 28)].id,
                                   input.uniform(-50, 150), input.uniform(-50, 150)});
                break;
            default:
                if (!entries.empty()) {
                    entries.pop_back();
                }
        }
    }

    // True where the entries that are there refuse the record, so that it may say any count.
    bool isDecidedByItsEntries() const {
        int kept = 0;
        for (const LandmarkEntry& entry : entries) {
            if (entry.id < 0 || entry.id >= kLandmarkIdCount) {
                return true;
            }
            kept += isSideOfHead(entry.id) ? 0 : 1;
        }
        return kept > kKeptCount;
    }

    std::vector<LandmarkEntry> entries;
    std::unique_ptr<std::uint8_t[]> bytes;
};

#endif

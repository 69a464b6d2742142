// Landmarks as hosts get them wrong, for the sweep over the check.
#ifndef ZOMU_TESTS_CHECK_WRONG_RECORDS_H
#define ZOMU_TESTS_CHECK_WRONG_RECORDS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <utility>
#include <vector>

#include "sheets/face_changes.h"
#include "sheets/face_picture.h"
#include "support/random.h"
#include "zomu.h"

// What a mistake is made of: a face, and that of another picture.
struct WrongInput {
    const FacePicture& face;
    const LandmarkRecord& other;
    Random& random;
};

struct Mistake {
    const char* name;
    LandmarkRecord (*make)(const WrongInput& input);
};

template <typename Change>
LandmarkRecord changed(LandmarkRecord record, const Change& change) {
    for (int i = 0; i < record.count; ++i) {
        change(record.entries[i]);
    }
    return record;
}

inline LandmarkRecord asFractions(const WrongInput& input) {
    const auto width = static_cast<float>(input.face.picture.width);
    const auto height = static_cast<float>(input.face.picture.height);
    return changed(input.face.landmarks, [=](LandmarkEntry& entry) {
        entry.x /= width;
        entry.y /= height;
    });
}

inline LandmarkRecord withExchangedAxes(const WrongInput& input) {
    return changed(input.face.landmarks, [](LandmarkEntry& entry) { std::swap(entry.x, entry.y); });
}

inline LandmarkRecord countedFromOne(const WrongInput& input) {
    return changed(input.face.landmarks, [](LandmarkEntry& entry) {
        entry.x += 1.0F;
        entry.y += 1.0F;
    });
}

// The person's left for the left of the picture, or a mirrored picture's coordinates.
inline LandmarkRecord withExchangedSides(const WrongInput& input) {
    const bool isOfIds = input.random.oneIn(2);
    const auto last = static_cast<float>(input.face.picture.width - 1);
    return changed(input.face.landmarks, [=](LandmarkEntry& entry) {
        if (isOfIds) {
            entry.id = mirroredId(entry.id);
        } else {
            entry.x = last - entry.x;
        }
    });
}

inline LandmarkRecord countedFromBelow(const WrongInput& input) {
    const auto last = static_cast<float>(input.face.picture.height - 1);
    return changed(input.face.landmarks, [=](LandmarkEntry& entry) { entry.y = last - entry.y; });
}

// Landmark number i is point number i of 68: the jaw, the brows, the bridge of the nose.
inline LandmarkRecord inOrderOf68(const WrongInput& input) {
    const LandmarkRecord& record = input.face.landmarks;
    const auto at = [&](int id) {
        const LandmarkEntry* end = record.entries + ZOMU_LANDMARK_COUNT;
        return *std::find_if(record.entries, end,
                             [=](const LandmarkEntry& e) { return e.id == id; });
    };
    std::vector<std::pair<float, float>> points;
    const auto add = [&](const std::vector<int>& way, int count) {
        for (int i = 0; i < count; ++i) {
            const float step = static_cast<float>(way.size() - 1) * static_cast<float>(i) /
                               static_cast<float>(count - 1);
            const std::size_t from = std::min(static_cast<std::size_t>(step), way.size() - 2);
            const LandmarkEntry a = at(way[from]);
            const LandmarkEntry b = at(way[from + 1]);
            const float share = step - static_cast<float>(from);
            points.emplace_back(a.x + share * (b.x - a.x), a.y + share * (b.y - a.y));
        }
    };
    add({240, 315, 314, 316, 241}, 17);
    add({2, 300, 3}, 5);
    add({4, 302, 5}, 5);
    add({6, 9}, 4);
    auto next = points.begin();
    return changed(record, [&](LandmarkEntry& entry) {
        entry.x = next->first;
        entry.y = next->second;
        ++next;
    });
}

inline LandmarkRecord ofAnotherPicture(const WrongInput& input) {
    return input.other;
}

inline LandmarkRecord shuffled(const WrongInput& input) {
    std::array<int, ZOMU_LANDMARK_COUNT> ids = {};
    LandmarkRecord record = input.face.landmarks;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        ids[i] = record.entries[i].id;
    }
    input.random.shuffle(ids.data(), record.count);
    auto next = ids.begin();
    return changed(record, [&](LandmarkEntry& entry) { entry.id = *next++; });
}

// By one to three widths of the picture, in any direction.
inline LandmarkRecord offThePicture(const WrongInput& input) {
    const auto width = static_cast<float>(input.face.picture.width);
    const float far = input.random.uniform(1, 3) * (input.random.oneIn(2) ? width : -width);
    const float beside = input.random.uniform(-3, 3) * width;
    const bool isAcross = input.random.oneIn(2);
    return changed(input.face.landmarks, [=](LandmarkEntry& entry) {
        entry.x += isAcross ? far : beside;
        entry.y += isAcross ? beside : far;
    });
}

// One value is NaN, infinite or huge, or all have become 0.
inline LandmarkRecord withBrokenNumbers(const WrongInput& input) {
    static constexpr float kValues[] = {std::numeric_limits<float>::quiet_NaN(),
                                        std::numeric_limits<float>::infinity(), 1e30F, -1e30F};
    LandmarkRecord record = input.face.landmarks;
    if (input.random.oneIn(5)) {
        return changed(record, [](LandmarkEntry& entry) { entry.x = entry.y = 0.0F; });
    }
    LandmarkEntry& entry = input.random.oneOf(record.entries);
    (input.random.oneIn(2) ? entry.x : entry.y) = input.random.oneOf(kValues);
    return record;
}

constexpr std::array<Mistake, 10> kMistakes = {{{"fractions", asFractions},
                                                {"x and y exchanged", withExchangedAxes},
                                                {"counted from 1", countedFromOne},
                                                {"mirrored", withExchangedSides},
                                                {"y from below", countedFromBelow},
                                                {"order of 68 points", inOrderOf68},
                                                {"shuffled", shuffled},
                                                {"off the picture", offThePicture},
                                                {"broken numbers", withBrokenNumbers},
                                                {"another picture's", ofAnotherPicture}}};

#endif

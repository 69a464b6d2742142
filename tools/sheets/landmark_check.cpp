#include "sheets/landmark_check.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "patches/head_pose.h"
#include "patches/landmarks.h"
#include "sheets/landmark_names.h"
#include "sheets/sheet_style.h"

namespace {

// docs/landmarks.md says how these were found.
constexpr double kResidualLimit = 0.15;
constexpr double kPairLimit = -0.05;

using Pair = std::pair<std::int32_t, std::int32_t>;

struct Place {
    double x, y;
};

Place operator-(Place a, Place b) {
    return {a.x - b.x, a.y - b.y};
}

Place placeOf(const LandmarkEntry& entry) {
    return {static_cast<double>(entry.x), static_cast<double>(entry.y)};
}

const LandmarkEntry* entryOf(const LandmarkRecord& record, std::int32_t id) {
    const LandmarkEntry* entries = entriesOf(record);
    const LandmarkEntry* end = entries + record.count;
    const LandmarkEntry* found =
        std::find_if(entries, end, [id](const LandmarkEntry& entry) { return entry.id == id; });
    return found == end ? nullptr : found;
}

// Where the fitted model has a landmark, in pixels.
Place placeOnModel(const HeadPose& pose, std::int32_t id) {
    const float* row = kHeadModel[kLandmarkRow[id]];
    const auto along = [&](int first) {
        double sum = 0.0;
        for (int i = 0; i < 3; ++i) {
            sum += static_cast<double>(pose.R[first + i]) * static_cast<double>(row[i]);
        }
        return static_cast<double>(pose.k) * sum;
    };
    return {along(0) + static_cast<double>(pose.T[0]), along(3) + static_cast<double>(pose.T[1])};
}

struct Fit {
    HeadPose pose;
    double eyeDistance;  // pixels
    double residual;     // root of the mean squared distance from the model, in eye distances
    std::int32_t farthest;
};

Fit fitAndMeasure(const LandmarkRecord& record) {
    Fit fit{fitHeadPose(record), 0.0, 0.0, 0};
    fit.eyeDistance = static_cast<double>(fit.pose.k * kModelEyeDistance);
    double squares = 0.0;
    double largest = -1.0;
    for (std::int32_t i = 0; i < record.count; ++i) {
        const LandmarkEntry& entry = entriesOf(record)[i];
        const Place miss = placeOf(entry) - placeOnModel(fit.pose, entry.id);
        const double square = miss.x * miss.x + miss.y * miss.y;
        squares += square;
        if (square > largest) {
            largest = square;
            fit.farthest = entry.id;
        }
    }
    fit.residual = std::sqrt(squares / static_cast<double>(record.count)) / fit.eyeDistance;
    return fit;
}

// Pairs whose way from left to right runs against that of the fitted model, in the order of their
// ids.
std::vector<Pair> exchangedPairs(const LandmarkRecord& record, const Fit& fit) {
    std::vector<Pair> pairs;
    for (const LandmarkName& name : kLandmarkNames) {
        const auto [left, right] = Pair{name.left, name.right};
        const LandmarkEntry* a = entryOf(record, left);
        const LandmarkEntry* b = entryOf(record, right);  // null for one on the midline
        if (a == nullptr || b == nullptr) {
            continue;
        }
        const Place image = placeOf(*b) - placeOf(*a);
        const Place model = placeOnModel(fit.pose, right) - placeOnModel(fit.pose, left);
        const double along = image.x * model.x + image.y * model.y;
        if (along / (fit.eyeDistance * fit.eyeDistance) < kPairLimit) {
            pairs.emplace_back(left, right);
        }
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
}

LandmarkRecord withExchanged(LandmarkRecord record, const std::vector<Pair>& pairs) {
    for (std::int32_t i = 0; i < record.count; ++i) {
        std::int32_t& id = record.entries[i].id;
        for (const auto& [left, right] : pairs) {
            if (id == left || id == right) {
                id = id == left ? right : left;
                break;
            }
        }
    }
    return record;
}

// Cross product of the way between the eyes and the way down to the mouth: positive in a face.
double turnToMouth(const LandmarkRecord& record) {
    const Place left = placeOf(*entryOf(record, 0));
    const Place right = placeOf(*entryOf(record, 1));
    const Place mouth = placeOf(*entryOf(record, 45));
    const Place eyes = right - left;
    const Place down = mouth - Place{(left.x + right.x) / 2.0, (left.y + right.y) / 2.0};
    return eyes.x * down.y - eyes.y * down.x;
}

std::string namesOf(const std::vector<Pair>& pairs) {
    std::string text;
    for (const auto& [left, right] : pairs) {
        text += (text.empty() ? "" : ", ") + std::to_string(left) + " and " + std::to_string(right);
    }
    return text;
}

}  // namespace

std::string landmarkWarning(const LandmarkRecord& record) {
    const Fit fit = fitAndMeasure(record);
    if (!std::isfinite(fit.residual)) {
        return "the landmarks do not lie like a face: all of them are at one place or on one line";
    }
    // Pairs are named where they are all that is wrong.
    const std::vector<Pair> pairs = exchangedPairs(record, fit);
    if (!pairs.empty() && fitAndMeasure(withExchanged(record, pairs)).residual <= kResidualLimit) {
        return "left and right look exchanged: " + namesOf(pairs);
    }
    if (fit.residual > kResidualLimit) {
        return "the landmarks do not lie like a face: they miss the head model by " +
               decimal(fit.residual, 2) + " eye distances (up to " + decimal(kResidualLimit, 2) +
               " is usual), most of all landmark " + std::to_string(fit.farthest) +
               "; is the order another one?";
    }
    if (turnToMouth(record) <= 0.0) {
        return "left and right look exchanged in all landmarks, or y runs upwards: id 0 is the eye "
               "on the left of the picture, not the person's left eye";
    }
    return "";
}

// Models that the model kit makes, for tests that want one whole.
#ifndef ZOMU_TESTS_SUPPORT_MADE_MODEL_H
#define ZOMU_TESTS_SUPPORT_MADE_MODEL_H

#include <filesystem>
#include <string>

#include "model/model_maker.h"

inline void noProgress(int, int, const std::string&) {}

inline ModelRequest requestFor(const std::filesystem::path& folder,
                               WeightKind kind = WeightKind::integer) {
    ModelRequest request;
    request.folder = folder;
    request.weights = kind;
    return request;
}

inline ModelSummary makeModelIn(const std::filesystem::path& folder,
                                WeightKind kind = WeightKind::integer) {
    return makeModel(requestFor(folder, kind), noProgress);
}

// The name of a test that runs once for each kind.
inline std::string nameOfKind(WeightKind kind) {
    return kind == WeightKind::random ? "random" : "integer";
}

#endif

// Makes a complete model folder out of a seed.
#ifndef ZOMU_TOOLS_MODEL_MODEL_MAKER_H
#define ZOMU_TOOLS_MODEL_MODEL_MAKER_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "model/drawn_model.h"

struct ModelRequest {
    std::filesystem::path folder;
    std::uint64_t seed = 1;
    WeightKind weights = WeightKind::random;
    bool replace = false;  // a model folder that already exists
};

struct ModelSummary {
    int files = 0;
    std::int64_t bytes = 0;
    std::int64_t largestSum = 0;  // of an integer model, any network; see exact_sums.h
};

// Called before the first step and after each one, `done` of `total`. May throw to stop the work.
using ModelProgress = std::function<void(int done, int total, const std::string& stage)>;

// The folder appears with all of its files, or not at all. Whatever is thrown leaves nothing
// behind. Throws std::runtime_error where
//   - something already exists at that place: anything but an empty folder or, with `replace`, a
//     folder that holds files of a model and nothing else;
//   - the system refuses to create, write or rename;
//   - the sums of an integer model could grow beyond what floats hold exactly.
//
// The same seed gives the same bytes on every machine.
//
// Uses the library's description slots: must not run at the same time as anything else that does.
ModelSummary makeModel(const ModelRequest& request, const ModelProgress& progress);

#endif

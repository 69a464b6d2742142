#include "manifest/photo_walk.h"

#include <omp.h>

#include <algorithm>
#include <array>
#include <exception>
#include <stdexcept>

namespace {

// What became of one photograph.
struct Outcome {
    std::string problem;  // it is left out
    std::exception_ptr failure;
};

void work(const ManifestRow& row, const PhotoWork& photoWork, std::size_t slot, Outcome& outcome) {
    FacePicture face;
    try {
        face = loadFacePicture(row.photo.string(), row.landmarks.string());
        if (face.picture.width < 2 || face.picture.height < 2) {
            throw std::runtime_error(row.photo.string() + ": is smaller than 2 x 2 pixels");
        }
        if (!photoWork.isUnchecked) {
            requireFace(face, row.landmarks.string());
        }
    } catch (const std::runtime_error& problem) {
        outcome.problem = problem.what();
        return;
    }
    try {
        photoWork.compute(face, omp_get_thread_num(), slot);
    } catch (...) {
        outcome.failure = std::current_exception();
    }
}

}  // namespace

std::size_t walkPhotos(const std::vector<ManifestRow>& rows, const PhotoWork& photoWork) {
    std::size_t stored = 0;
    for (std::size_t first = 0; first < rows.size(); first += kWalkBlock) {
        const std::size_t count = std::min(kWalkBlock, rows.size() - first);
        std::array<Outcome, kWalkBlock> outcomes;
#pragma omp parallel for schedule(dynamic)
        for (std::size_t slot = 0; slot < count; ++slot) {
            work(rows[first + slot], photoWork, slot, outcomes[slot]);
        }
        for (std::size_t slot = 0; slot < count; ++slot) {
            if (outcomes[slot].failure != nullptr) {
                std::rethrow_exception(outcomes[slot].failure);
            }
            if (!outcomes[slot].problem.empty()) {
                photoWork.report(outcomes[slot].problem);
                continue;
            }
            photoWork.store(rows[first + slot], slot);
            ++stored;
        }
    }
    return stored;
}

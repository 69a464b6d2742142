#include "model/face_averages.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "model/model_tables.h"
#include "model/seeded_numbers.h"
#include "patches/face_patches.h"
#include "patches/sampling.h"
#include "service/extraction.h"

namespace {

PatchList cutPatches(ZomuContext& context, const DrawnFace& face) {
    return cutFacePatches(context.canvases, g_modelTables.meanImages,
                          {face.pixels.data(), face.width, face.height, 3 * face.width},
                          face.landmarks);
}

// Adds both rows of a patch to the sums of its kind.
void addRows(std::vector<double>& sums, const Matrix& patch) {
    sums.resize(static_cast<std::size_t>(patch.numCols), 0.0);
    for (std::size_t e = 0; e < sums.size(); ++e) {
        const float plain = patch.data[e];
        const float mirrored = patch.data[sums.size() + e];
        sums[e] += static_cast<double>(plain) + static_cast<double>(mirrored);
    }
}

// Sums are 64-bit: exact for pixels, and far more accurate than the result for features.
std::vector<float> divide(const std::vector<double>& sums, double count) {
    std::vector<float> means(sums.size());
    std::transform(sums.begin(), sums.end(), means.begin(),
                   [count](double sum) { return static_cast<float>(sum / count); });
    return means;
}

}  // namespace

std::vector<DrawnFace> drawFaces(std::uint64_t seed, int count, const FaceDone& faceDone) {
    SeededNumbers seeds(seed, "faces");
    std::vector<DrawnFace> faces;
    for (int face = 0; face < count; ++face) {
        faces.push_back(drawFace(seeds.bits()));
        faceDone();
    }
    return faces;
}

AveragedImages averagePatches(ZomuContext& context, const std::vector<DrawnFace>& faces,
                              const FaceDone& faceDone) {
    std::memset(g_modelTables.meanImages, 0, sizeof g_modelTables.meanImages);
    std::vector<std::vector<double>> sums(kNetCount);
    for (const DrawnFace& face : faces) {
        const PatchList patches = cutPatches(context, face);
        for (std::size_t k = 0; k < sums.size(); ++k) {
            addRows(sums[k], *patches[k]);
        }
        faceDone();
    }
    AveragedImages means;
    for (const std::vector<double>& sum : sums) {
        means.push_back(divide(sum, 2.0 * static_cast<double>(faces.size())));
    }
    return means;
}

std::vector<float> averageFeatures(ZomuContext& context, const std::vector<DrawnFace>& faces,
                                   const AveragedImages& images, const FaceDone& faceDone) {
    std::memset(g_modelTables.meanImages, 0, sizeof g_modelTables.meanImages);
    for (std::size_t k = 0; k < images.size(); ++k) {
        std::copy(images[k].begin(), images[k].end(), g_modelTables.meanImages[k]);
    }
    std::vector<float> features(kFeatureCount);
    std::vector<double> sums(kFeatureCount, 0.0);
    for (const DrawnFace& face : faces) {
        computeFeatures(context, g_modelTables.meanImages, face.pixels.data(), face.width,
                        face.height, 3 * face.width, face.landmarks, features.data());
        for (std::size_t n = 0; n < sums.size(); ++n) {
            sums[n] += static_cast<double>(features[n]);
        }
        faceDone();
    }
    if (!std::all_of(sums.begin(), sums.end(), [](double sum) { return std::isfinite(sum); })) {
        throw std::runtime_error("a network gave a feature that is not finite");
    }
    return divide(sums, static_cast<double>(faces.size()));
}

// The base of layers whose filters slide over an image.
#ifndef ZOMU_LAYERS_LOCAL_LAYER_H
#define ZOMU_LAYERS_LOCAL_LAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "layers/filter_shape.h"
#include "layers/weight_layer.h"

// More than any embedded network has (43,264), less than memory would be short of.
constexpr std::int64_t kMostOutputs = 1 << 18;

// A position of a filter is called a module. Weights are transposed when loaded: one row for each
// filter.
class LocalLayer : public WeightLayer {
  public:
    explicit LocalLayer(const LayerSource& source);

    // One entry for each input.
    std::vector<std::int32_t> padding;
    std::vector<std::int32_t> stride;
    std::vector<std::int32_t> filterSize;  // as described; a pass derives it from the weights
    std::vector<std::int32_t> channels;
    std::vector<std::int32_t> imgSize;  // height of the image; its width follows from the input
    std::vector<std::int32_t> imgPixels;
    std::vector<std::int32_t> filterPixels;

    std::int32_t modulesX = 0;  // modules per side
    std::int32_t modules = 0;   // modulesX squared; a pass computes it in 64 bits
    std::int32_t filters = 0;   // as described; a pass counts the rows of the weights

  protected:
    // The lists' entries for one input. Throws std::out_of_range if a list is too short.
    FilterGeometry geometryOf(std::int32_t inputIndex) const;

    // Throws UnusableLayer unless the result of `filterCount` filters has rows of at most kMostOutputs
    // values. For a first share the output must not be a matrix of images of another size; for a
    // later one the result has to fit into the output as it is.
    void requireRoom(const FilterShape& shape, const Matrix& images, std::int32_t filterCount,
                     float targetScale) const;
};

#endif

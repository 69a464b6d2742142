// The geometry of filters that slide over an image.
#ifndef ZOMU_LAYERS_LOCAL_LAYER_H
#define ZOMU_LAYERS_LOCAL_LAYER_H

#include <cstdint>
#include <string>
#include <vector>

#include "layers/conv_kernel.h"
#include "layers/weight_layer.h"

// A position of a filter is called a module. Its weights arrive transposed: one row for each
// filter.
class LocalLayer : public WeightLayer {
  public:
    LocalLayer(ConvNet& owner, const std::string& sectionName);

    // One entry for each input.
    std::vector<std::int32_t> padding;
    std::vector<std::int32_t> stride;
    std::vector<std::int32_t>
        filterSize;  // side of a filter; the passes derive it from the weights
    std::vector<std::int32_t> channels;
    std::vector<std::int32_t> imgSize;  // height of the image; its width follows from the input
    std::vector<std::int32_t> imgPixels;
    std::vector<std::int32_t> filterPixels;

    std::int32_t modulesX = 0;  // modules per side
    std::int32_t modules = 0;
    std::int32_t filters = 0;  // as described; the passes count the rows of the weights

  protected:
    // The lists' entries for one input. Throws std::out_of_range where a list is too short.
    FilterGeometry geometryOf(std::int32_t inputIndex) const;

    // The kernels believe all sizes. Throws UnusableWeights unless these keep them inside their
    // matrices: a filter of `filterCols` elements is whole squares, there is a module for each
    // position, and the former output, where it is kept, has the shape of the new one.
    void requireFit(const FilterGeometry& geometry, const Matrix& images, std::int32_t filterCols,
                    std::int32_t filterRows, float targetScale) const;
};

#endif

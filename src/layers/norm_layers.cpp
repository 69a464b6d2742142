#include "description/parameters.h"
#include "layers/layer_registry.h"
#include "layers/norm_kernel.h"
#include "layers/unusable_layer.h"

namespace {

// Reads its settings and computes nothing: without actsTarget=0 its output stays empty.
class ResponseNormLayer : public Layer {
  public:
    explicit ResponseNormLayer(const LayerSource& source) : Layer(source) {
        getInt(source.section, "channels", norm.channels);
        getInt(source.section, "sizeX", norm.sizeX);
        getFloat(source.section, "scale", norm.scale);
        getFloat(source.section, "pow", norm.pow);
    }

    void computeActs(std::int32_t, float) override {}

    CrossMapNorm norm;
};

class CrossMapResponseNormLayer : public ResponseNormLayer {
  public:
    using ResponseNormLayer::ResponseNormLayer;

    void computeActs(std::int32_t, float) override {
        const std::int32_t columns = inputs[0]->numCols;
        requireUsable(norm.channels > 0 && (columns == 0 || columns >= norm.channels));
        crossMapNormForward(*inputs[0], *outputs, norm);
    }
};

// Computes nothing either.
class ContrastNormLayer : public ResponseNormLayer {
  public:
    explicit ContrastNormLayer(const LayerSource& source) : ResponseNormLayer(source) {
        getInt(source.section, "imgSize", imgSize);
    }

    std::int32_t imgSize = 0;
    Matrix scratch;  // stays empty
};

}  // namespace

std::unique_ptr<Layer> createResponseNormLayer(const LayerSource& source) {
    return std::make_unique<ResponseNormLayer>(source);
}

std::unique_ptr<Layer> createCrossMapResponseNormLayer(const LayerSource& source) {
    return std::make_unique<CrossMapResponseNormLayer>(source);
}

std::unique_ptr<Layer> createContrastNormLayer(const LayerSource& source) {
    return std::make_unique<ContrastNormLayer>(source);
}

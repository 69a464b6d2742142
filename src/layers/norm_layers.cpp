#include "description/parameters.h"
#include "layers/layer_kinds.h"
#include "layers/norm_kernel.h"

namespace {

// Reads its settings and computes nothing: without actsTarget=0 its output stays empty.
class ResponseNormLayer : public Layer {
  public:
    ResponseNormLayer(ConvNet& owner, const std::string& sectionName) : Layer(owner, sectionName) {
        getInt(name, "channels", norm.channels);
        getInt(name, "sizeX", norm.sizeX);
        getFloat(currentSection(name), "scale", norm.scale);
        getFloat(currentSection(name), "pow", norm.pow);
    }

    void computeActs(std::int32_t, float) override {}

    CrossMapNorm norm;
};

class CrossMapResponseNormLayer : public ResponseNormLayer {
  public:
    using ResponseNormLayer::ResponseNormLayer;

    void computeActs(std::int32_t, float) override {
        crossMapNormForward(*inputs[0], *outputs, norm);
    }
};

// As empty as its base.
class ContrastNormLayer : public ResponseNormLayer {
  public:
    ContrastNormLayer(ConvNet& owner, const std::string& sectionName)
        : ResponseNormLayer(owner, sectionName) {
        getInt(name, "imgSize", imgSize);
    }

    std::int32_t imgSize = 0;
    Matrix scratch;
};

}  // namespace

std::unique_ptr<Layer> createResponseNormLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<ResponseNormLayer>(net, name);
}

std::unique_ptr<Layer> createCrossMapResponseNormLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<CrossMapResponseNormLayer>(net, name);
}

std::unique_ptr<Layer> createContrastNormLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<ContrastNormLayer>(net, name);
}

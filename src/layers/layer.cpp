#include "layers/layer.h"

#include <cstddef>

#include "description/parameters.h"

Layer::Layer(const LayerSource& source) : name(source.name) {
    getString(source.section, "type", type);
    getInt(source.section, "actsTarget", actsTarget);
    if (actsTarget < 0) {
        ownOutputs = std::make_unique<Matrix>();
        outputs = ownOutputs.get();
    }
}

void Layer::fprop(const MatrixList& given) {
    inputs = given;
    const auto inputCount = static_cast<std::int32_t>(prev.size());
    if (actsTarget >= 0) {
        // at() throws if `actsTarget` does not name an input.
        outputs = inputs.at(static_cast<std::size_t>(actsTarget));
    }
    received = inputCount;
    if (actsTarget >= 0) {
        computeActs(actsTarget, 0.0F);
    }
    for (std::int32_t i = 0; i < inputCount; ++i) {
        if (i != actsTarget) {
            // With a shared matrix, input `actsTarget` has given the output its values.
            computeActs(i, actsTarget < 0 && i == 0 ? 0.0F : 1.0F);
        }
    }
    runNext();
}

void Layer::inputReady() {
    ++received;
    // After the run, further calls count beyond the number of inputs until the next reset.
    if (received != static_cast<std::int32_t>(prev.size())) {
        return;
    }
    MatrixList ready;
    ready.reserve(prev.size());
    for (Layer* layer : prev) {
        ready.push_back(layer->getActs());
    }
    fprop(ready);
}

void Layer::reset() {
    received = 0;
    backCount = 0;
}

Matrix* Layer::getActs() {
    return outputs;
}

void Layer::runNext() {
    for (Layer* layer : next) {
        layer->inputReady();
    }
}

#include "description/parameters.h"
#include "layers/layer_registry.h"
#include "layers/neuron.h"

namespace {

// Transforms the matrix of its first input and never its own: getActs returns the result only with
// actsTarget=0. A second input makes the neuron run twice.
class NeuronLayer : public Layer {
  public:
    explicit NeuronLayer(const LayerSource& source) : Layer(source) {
        std::string keyword;
        getString(source.section, "neuron", keyword);
        neuron = createNeuron(source.section, keyword);
    }

    void computeActs(std::int32_t, float) override { neuron->run(inputs[0]); }

    std::unique_ptr<Neuron> neuron;
};

}  // namespace

std::unique_ptr<Layer> createNeuronLayer(const LayerSource& source) {
    return std::make_unique<NeuronLayer>(source);
}

#include "description/parameters.h"
#include "layers/layer_registry.h"
#include "layers/neuron.h"

namespace {

// Works on the matrix of its first input and never on one of its own, so that only actsTarget=0
// hands the result on through getActs. With a second input the neuron runs a second time.
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

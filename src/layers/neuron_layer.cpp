#include "layers/layer_kinds.h"

#include "description/parameters.h"
#include "layers/neuron.h"

namespace {

// Works on the matrix of its first input and never on one of its own, so that only actsTarget=0
// hands the result on through getActs. With a second input the neuron runs a second time.
class NeuronLayer : public Layer {
  public:
    NeuronLayer(ConvNet& owner, const std::string& sectionName) : Layer(owner, sectionName) {
        std::string keyword;
        getString(currentSection(name), "neuron", keyword);
        neuron = createNeuron(name, keyword);
    }

    void computeActs(std::int32_t, float) override { neuron->run(inputs[0]); }

    std::unique_ptr<Neuron> neuron;
};

}  // namespace

std::unique_ptr<Layer> createNeuronLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<NeuronLayer>(net, name);
}

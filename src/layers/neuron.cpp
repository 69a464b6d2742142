#include "layers/neuron.h"

namespace {

class ReluNeuron : public Neuron {
  public:
    void applyInPlace() override { acts->maxWithScalar(0.0F, *acts); }
};

struct NeuronKind {
    const char* keyword;
    std::unique_ptr<Neuron> (*create)(const std::string& sectionName);
};

const NeuronKind kNeuronKinds[] = {
    {"relu",
     [](const std::string&) -> std::unique_ptr<Neuron> { return std::make_unique<ReluNeuron>(); }},
};

}  // namespace

void Neuron::run(Matrix* target) {
    acts = target;
    activated = true;
    applyInPlace();
}

std::unique_ptr<Neuron> createNeuron(const std::string& sectionName,
                                     const std::string& neuronName) {
    for (const NeuronKind& kind : kNeuronKinds) {
        if (neuronName == kind.keyword) {
            return kind.create(sectionName);
        }
    }
    throw std::string("Unknown neuron type: " + neuronName);
}

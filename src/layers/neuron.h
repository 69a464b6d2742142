// Element-wise activation functions, applied in place.
#ifndef ZOMU_LAYERS_NEURON_H
#define ZOMU_LAYERS_NEURON_H

#include <memory>
#include <string>

#include "description/description_reader.h"
#include "matrix/matrix.h"

//  class              keyword   y, for each element x of the storage
//  ReluNeuron         relu      x if x > 0, else +0.0, also for NaN
//  SoftReluNeuron     softrelu  log(exp(x) + 1)
//  BoundedReluNeuron  brelu     relu(x) if that is below a, else a
//  AbsNeuron          abs       x without its sign bit
//  LogisticNeuron     logistic  1 / (exp(-x) + 1)
//  TanhNeuron         tanh      tanh(x * b) * a
//  SquareNeuron       square    x * x
//  SqrtNeuron         sqrt      square root
//  LinearNeuron       linear    x * a + b
//  Neuron             ident     x
//
// Each operation is rounded to float; exp, log, tanh and the square root are computed in 64 bits
// first. a and b are keys of the layer's section, 0 if missing.
class Neuron {
  public:
    Neuron() = default;
    virtual ~Neuron() = default;
    Neuron(const Neuron&) = delete;
    Neuron& operator=(const Neuron&) = delete;

    virtual void applyInPlace() {}

    // Makes `target` the current matrix and transforms it.
    virtual void run(Matrix* target);

    bool activated = false;  // set by run, read by nothing
    Matrix* acts = nullptr;
};

struct NeuronKind {
    const char* keyword;
    std::unique_ptr<Neuron> (*create)(const DescriptionSection* section);
};

// The values of the key `neuron`, in the order in which they are compared.
constexpr int kNeuronKindCount = 10;
extern const NeuronKind kNeuronKinds[kNeuronKindCount];

// Creates the neuron of that keyword, with its parameters from the section. Throws the BuildError
// "Unknown neuron type: <keyword>" for any other.
std::unique_ptr<Neuron> createNeuron(const DescriptionSection* section,
                                     const std::string& neuronName);

#endif

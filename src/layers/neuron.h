// Element-wise activation functions, applied in place.
#ifndef ZOMU_LAYERS_NEURON_H
#define ZOMU_LAYERS_NEURON_H

#include <memory>
#include <string>

#include "matrix/matrix.h"

//  class        keyword  y, for each element x of the storage
//  ReluNeuron   relu     x if x > 0, else +0.0 (so is NaN)
//
// The base class leaves everything as it is.
class Neuron {
  public:
    Neuron() = default;
    virtual ~Neuron() = default;
    Neuron(const Neuron&) = delete;
    Neuron& operator=(const Neuron&) = delete;

    virtual void applyInPlace() {}

    // Makes `target` the matrix to work on and transforms it.
    void run(Matrix* target);

    bool activated = false;  // set by run, read by nothing
    Matrix* acts = nullptr;
};

// The neuron of that keyword, with its parameters from the section of that name. Throws the plain
// text "Unknown neuron type: <keyword>" for any other.
std::unique_ptr<Neuron> createNeuron(const std::string& sectionName, const std::string& neuronName);

#endif

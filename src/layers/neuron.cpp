#include "layers/neuron.h"

#include <cmath>

#include "description/parameters.h"
#include "layers/build_error.h"
#include "matrix/float_rules.h"
#include "matrix/vector_functions.h"

namespace {

// Replaces each element x of the storage by function(x).
template <typename Function>
void transform(Matrix& acts, Function function) {
    for (std::int32_t n = 0; n < acts.numElements; ++n) {
        acts.data[n] = function(acts.data[n]);
    }
}

// A parameter from the section, 0 if its key is missing.
float parameter(const DescriptionSection* section, const char* key) {
    float value = 0.0F;
    getFloat(section, key, value);
    return value;
}

class ReluNeuron : public Neuron {
  public:
    void applyInPlace() override { acts->maxWithScalar(0.0F, *acts); }
};

class SoftReluNeuron : public Neuron {
  public:
    void applyInPlace() override {
        transform(*acts, [](float x) {
            const float t = narrowExp(x) + 1.0F;
            return narrowLog(t);
        });
    }
};

class BoundedReluNeuron : public Neuron {
  public:
    explicit BoundedReluNeuron(float bound) : a(bound) {}
    void applyInPlace() override {
        transform(*acts, [this](float x) {
            // In this order, a NaN in x counts as 0, and a NaN bound is the result.
            const float m = x > 0.0F ? x : 0.0F;
            return a > m ? m : a;
        });
    }
    float a;
};

class AbsNeuron : public Neuron {
  public:
    void applyInPlace() override {
        transform(*acts, [](float x) { return std::fabs(x); });
    }
};

class LogisticNeuron : public Neuron {
  public:
    void applyInPlace() override {
        // The steps of LogisticByExp, each rounded on its own.
        acts->scale(-1.0F, *acts);
        acts->apply(ElementFunction::Exp);
        acts->addScalar(1.0F, *acts);
        acts->apply(ElementFunction::Reciprocal);
    }
};

class TanhNeuron : public Neuron {
  public:
    TanhNeuron(float factor, float slope) : a(factor), b(slope) {}
    void applyInPlace() override {
        transform(*acts, [this](float x) {
            const float p = x * b;
            const float t = narrowTanh(p);
            return t * a;
        });
    }
    float a;
    float b;
};

class SquareNeuron : public Neuron {
  public:
    void applyInPlace() override { vsSqr(acts->numElements, acts->data, acts->data); }
};

class SqrtNeuron : public Neuron {
  public:
    void applyInPlace() override { transform(*acts, narrowSqrt); }
};

class LinearNeuron : public Neuron {
  public:
    LinearNeuron(float slope, float offset) : a(slope), b(offset) {}
    void applyInPlace() override {
        transform(*acts, [this](float x) {
            const float p = x * a;
            return p + b;
        });
    }
    float a;
    float b;
};

// Create neurons without parameters, with the key `a`, and with the keys `a` and `b`.
template <class SomeNeuron>
std::unique_ptr<Neuron> plain(const DescriptionSection*) {
    return std::make_unique<SomeNeuron>();
}

template <class SomeNeuron>
std::unique_ptr<Neuron> withA(const DescriptionSection* section) {
    return std::make_unique<SomeNeuron>(parameter(section, "a"));
}

template <class SomeNeuron>
std::unique_ptr<Neuron> withAB(const DescriptionSection* section) {
    return std::make_unique<SomeNeuron>(parameter(section, "a"), parameter(section, "b"));
}

}  // namespace

const NeuronKind kNeuronKinds[kNeuronKindCount] = {
    {"relu", plain<ReluNeuron>},         {"softrelu", plain<SoftReluNeuron>},
    {"brelu", withA<BoundedReluNeuron>}, {"abs", plain<AbsNeuron>},
    {"logistic", plain<LogisticNeuron>}, {"tanh", withAB<TanhNeuron>},
    {"square", plain<SquareNeuron>},     {"sqrt", plain<SqrtNeuron>},
    {"linear", withAB<LinearNeuron>},    {"ident", plain<Neuron>},
};

void Neuron::run(Matrix* target) {
    acts = target;
    activated = true;
    applyInPlace();
}

std::unique_ptr<Neuron> createNeuron(const DescriptionSection* section,
                                     const std::string& neuronName) {
    for (const NeuronKind& kind : kNeuronKinds) {
        if (neuronName == kind.keyword) {
            return kind.create(section);
        }
    }
    throw BuildError{"Unknown neuron type: " + neuronName};
}

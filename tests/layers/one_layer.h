// One layer `x` behind the data layers `a`, `b` and `c`, which hand on the matrices of those names.
#ifndef ZOMU_TESTS_LAYERS_ONE_LAYER_H
#define ZOMU_TESTS_LAYERS_ONE_LAYER_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/nets.h"

class OneLayer {
  public:
    // `keys` holds the lines of the layer's section.
    explicit OneLayer(const std::string& keys, const std::string& folder = "")
        : net(buildNet("[Net]\nLayerCount=4\nLayerNames=a_b_c_x\n"
                       "[a]\ntype=data\ndataIdx=0\nactsTarget=0\n"
                       "[b]\ntype=data\ndataIdx=1\nactsTarget=0\n"
                       "[c]\ntype=data\ndataIdx=2\nactsTarget=0\n[x]\n" +
                           keys,
                       folder)) {}

    std::vector<float> run() { return valuesOf(*runNet(*net, {&a, &b, &c})); }

    std::vector<float> run(Matrix first, Matrix second = Matrix(), Matrix third = Matrix()) {
        a = std::move(first);
        b = std::move(second);
        c = std::move(third);
        return run();
    }

    Layer& layer() { return *net->layers[3]; }
    Matrix*& output() { return layer().outputs; }

    Matrix a;
    Matrix b;
    Matrix c;

  private:
    std::unique_ptr<ConvNet> net;
};

#endif

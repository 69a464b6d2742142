// One layer of each kind, run as in a network: after two data layers, for two images of 32 planes
// of 10 x 10, the output of the second pool of an embedded network.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "layers/two_input_net.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

constexpr int kImages = 2;
constexpr int kPlanes = 32;
constexpr int kSide = 10;
constexpr int kValues = kPlanes * kSide * kSide;
constexpr int kOutputs = 160;
constexpr int kFilters = 48;
constexpr int kModules = 8 * 8;

std::vector<float> noise(int count, unsigned seed) {
    std::mt19937 engine(seed);
    std::vector<float> values(static_cast<std::size_t>(count));
    for (float& value : values) {
        value = static_cast<float>(engine() >> 8U) * 0x1p-23F - 1.0F;
    }
    return values;
}

// Writes the weight files of all layers that have weights.
const std::string& weightFolder() {
    static const TemporaryFolder folder;
    static const std::string prefix = [] {
        const std::string path = folder.prefix();
        const auto write = [&path](const char* name, int rows, int cols) {
            writeWeightFile(path + name, rows, cols, noise(rows * cols, 3));
        };
        write("full", kValues, kOutputs);
        write("fullBiases", 1, kOutputs);
        write("filters", 9 * kPlanes, kFilters);
        write("filterBiases", kFilters, 1);
        write("bank", 9 * kPlanes * kModules, kFilters);
        write("bankBiases", kFilters * kModules, 1);
        return path;
    }();
    return prefix;
}

const std::string kShape =
    "channels=32\nfilters=48\npadding=0\nstride=1\nfilterSize=3\nfilterPixels=9\nimgSize=10\n"
    "imgPixels=100\nmodulesX=8\n";

struct LayerCase {
    const char* name;
    std::string section;
};

const LayerCase kCases[] = {
    {"fc", "type=fc\ninputs=d\nweights=full\nbiases=fullBiases\noutputs=160\n"},
    {"conv", "type=conv\ninputs=d\nweights=filters\nbiases=filterBiases\n" + kShape},
    {"local", "type=local\ninputs=d\nweights=bank\nbiases=bankBiases\n" + kShape},
    {"maxPool",
     "type=pool\npool=max\ninputs=d\nstart=0\nsizeX=2\nstride=2\noutputsX=5\nchannels=32\n"},
    {"avgPool",
     "type=pool\npool=avg\ninputs=d\nstart=0\nsizeX=2\nstride=2\noutputsX=5\nchannels=32\n"},
    {"rnorm", "type=rnorm\ninputs=d\nactsTarget=0\nchannels=32\nsizeX=5\nscale=0.0001\npow=0.75\n"},
    {"cmrnorm", "type=cmrnorm\ninputs=d\nchannels=32\nsizeX=5\nscale=0.0001\npow=0.75\n"},
    {"cnorm",
     "type=cnorm\ninputs=d\nactsTarget=0\nchannels=32\nsizeX=5\nscale=0.0001\npow=0.75\nimgSize="
     "10\n"},
    {"softmax", "type=softmax\ninputs=d\n"},
    {"eltsum", "type=eltsum\ninputs=d_e\ncoeffs=1_-0.5\n"},
    {"eltmax", "type=eltmax\ninputs=d_e\n"},
    {"relu", "type=neuron\nneuron=relu\ninputs=d\nactsTarget=0\n"},
    {"logistic", "type=neuron\nneuron=logistic\ninputs=d\nactsTarget=0\n"},
    {"tanh", "type=neuron\nneuron=tanh\na=1\nb=1\ninputs=d\nactsTarget=0\n"},
};

void runLayer(benchmark::State& state, const LayerCase& layer) {
    const auto net = netBehindTwoInputs("l", "[l]\n" + layer.section, weightFolder());
    Matrix first = matrixOf(kImages, kValues, noise(kImages * kValues, 1));
    Matrix second = matrixOf(kImages, kValues, noise(kImages * kValues, 2));
    const Matrix* result = runNet(*net, {&first, &second});
    // A layer whose weights do not match gives NaN, and quickly.
    const auto isFinite = [](float value) { return std::isfinite(value); };
    if (result->numRows != kImages ||
        !std::all_of(result->data, result->data + result->numElements, isFinite)) {
        state.SkipWithError("the layer did not compute");
    }
    for (auto _ : state) {
        result = runNet(*net, {&first, &second});
        benchmark::DoNotOptimize(result->data);
        benchmark::ClobberMemory();
    }
}

const bool kIsRegistered = [] {
    for (const LayerCase& layer : kCases) {
        benchmark::RegisterBenchmark((std::string("layer/") + layer.name).c_str(),
                                     [&layer](benchmark::State& state) { runLayer(state, layer); });
    }
    return true;
}();

}  // namespace

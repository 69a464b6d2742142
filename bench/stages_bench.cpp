// The stages of an extraction with the kernels of each instruction set, the floor of each, and the
// straightforward way. Results are checked before they are timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench_sets.h"
#include "floor.h"
#include "inputs.h"
#include "network/conv_net.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_fused_network.h"
#include "reference/reference_patches.h"
#include "straightforward.h"

namespace {

bool same(const float* a, const float* b, std::size_t count) {
    return std::memcmp(a, b, count * sizeof(float)) == 0;
}

std::vector<std::vector<float>> plainPatches() {
    const FacePicture& face = photo(1.0);
    modelFolder();
    const SourceImage image = imageOf(face);
    return referencePatches(image.bytes, image.width, image.height, image.stride, face.landmarks,
                            &g_modelTables.meanImages[0][0]);
}

// Cuts the patches of a photo, for the networks to read.
void cut(ZomuContext& context) {
    FaceTemplate out;
    const FaceRequest request = requestOf(photo(1.0), out);
    cutPatches(context, g_modelTables.meanImages, {&request, 1});
}

void patchesOurs(benchmark::State& state) {
    ZomuContext& context = contextWith(*runnableKernels().front());
    cut(context);
    const auto expected = plainPatches();
    for (std::size_t k = 0; k < expected.size(); ++k) {
        if (!same(expected[k].data(), context.work[0]->patches[k]->data, expected[k].size())) {
            state.SkipWithError("a patch differs from the reference");
        }
    }
    for (auto _ : state) {
        cut(context);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(patchesOurs)->Name("stage/patches/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

void patchesReference(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(plainPatches());
    }
}
BENCHMARK(patchesReference)
    ->Name("stage/patches/reference")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The features that the networks must give: of direct kernels those of plain loops with one fused
// multiply-add for each term, of layers those of the straightforward networks.
const std::vector<float>& expectedFeatures(bool isFused) {
    const auto compute = [](bool fused) {
        const auto patches = plainPatches();
        std::vector<float> features(kFeatureCount);
        for (std::size_t k = 0; k < patches.size(); ++k) {
            std::vector<float> outputs;
            if (fused) {
                const ReferenceNetwork network =
                    readReferenceNetwork(modelFolder(), static_cast<int>(k) + 1);
                const float* patch = patches[k].data();
                outputs = runFusedNetwork(network, patch);
                const auto mirrored = runFusedNetwork(network, patch + patches[k].size() / 2);
                outputs.insert(outputs.end(), mirrored.begin(), mirrored.end());
            } else {
                outputs = plainModel().networks[k].run(patches[k].data());
            }
            referenceStoreNetworkOutput(outputs.data(), &features[k * kOutputValues]);
        }
        return features;
    };
    static const std::vector<float> fused = compute(true);
    static const std::vector<float> layers = compute(false);
    return isFused ? fused : layers;
}

void networks(benchmark::State& state, const Kernels& kernels) {
    ZomuContext& context = contextWith(kernels);
    cut(context);
    std::vector<float> features(kFeatureCount);
    runNetworks(context, 1, features.data());
    const auto& expected = expectedFeatures(kernels.runConvolutions != nullptr);
    if (!same(features.data(), expected.data(), features.size())) {
        state.SkipWithError("a feature differs from the reference");
    }
    for (auto _ : state) {
        runNetworks(context, 1, features.data());
        benchmark::ClobberMemory();
    }
}

void networksStraightforward(benchmark::State& state) {
    const auto patches = plainPatches();
    for (auto _ : state) {
        for (std::size_t k = 0; k < patches.size(); ++k) {
            benchmark::DoNotOptimize(plainModel().networks[k].run(patches[k].data()));
        }
    }
}
BENCHMARK(networksStraightforward)
    ->Name("stage/networks/straightforward")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Argument: threads.
void projection(benchmark::State& state, const Kernels& kernels) {
    ZomuContext& context = contextWith(kernels, static_cast<int>(state.range(0)));
    FaceTemplate ours;
    FaceTemplate expected;
    const FaceRequest request = requestOf(photo(1.0), ours);
    const std::vector<float> features = someFeatures(context);
    std::ranges::copy(features, context.features.begin());
    projectFaces(context, g_modelTables, {&request, 1});
    referenceProjectFeatures(features.data(), plainModel().a.data(), plainModel().b.data(),
                             expected);
    if (std::memcmp(&ours, &expected, sizeof ours) != 0) {
        state.SkipWithError("the projection differs from the reference");
    }
    for (auto _ : state) {
        projectFaces(context, g_modelTables, {&request, 1});
        benchmark::ClobberMemory();
    }
}

void projectionReference(benchmark::State& state) {
    const std::vector<float> features = someFeatures(contextWith(*runnableKernels().front()));
    const PlainModel& model = plainModel();
    FaceTemplate result;
    for (auto _ : state) {
        referenceProjectFeatures(features.data(), model.a.data(), model.b.data(), result);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(projectionReference)
    ->Name("stage/projection/reference")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The fused multiply-adds of one network for a patch and its mirror image.
std::int64_t multiplyAddsOf(const NetworkWeights& network) {
    const NetworkSides sides(network.side);
    std::int64_t count = std::int64_t{sides.lastValues() + sides.pooledValues()} * kNetworkOutputs;
    std::int64_t planes = network.channels;
    for (int i = 0; i < kConvolutions; ++i) {
        const int positions = sides.in[i] - kFilterSides[i] + 1;
        count += planes * kFilterSides[i] * kFilterSides[i] * kFilters[i] * positions * positions;
        planes = kFilters[i];
    }
    return 2 * count;
}

void floorOfSums(benchmark::State& state, const Floor& floor) {
    std::int64_t count = 0;
    for (const auto& net : contextWith(*runnableKernels().front()).nets) {
        count += multiplyAddsOf(net->plan->weights);
    }
    for (auto _ : state) {
        floor.multiplyAdd(count);
    }
    state.counters["operations"] = 2.0 * static_cast<double>(count);
}

// All weights of the networks but their few biases.
std::vector<FloatRange> weightRanges() {
    std::vector<FloatRange> ranges;
    for (const auto& net : contextWith(*runnableKernels().front()).nets) {
        const NetworkWeights& weights = net->plan->weights;
        const NetworkSides sides(weights.side);
        for (const auto& filters : net->plan->filters) {
            ranges.push_back({filters->data, filters->numElements});
        }
        ranges.push_back({weights.fromLast, sides.lastValues() * kNetworkOutputs});
        ranges.push_back({weights.fromPooled, sides.pooledValues() * kNetworkOutputs});
    }
    return ranges;
}

void floorOfWeights(benchmark::State& state, const Floor& floor) {
    const std::vector<FloatRange> ranges = weightRanges();
    double bytes = 0;
    for (const FloatRange& range : ranges) {
        bytes += sizeof(float) * static_cast<double>(range.count);
    }
    for (auto _ : state) {
        for (const FloatRange& range : ranges) {
            floor.read(range);
        }
    }
    state.counters["bytes"] = bytes;
}

// Argument: threads.
void floorOfTables(benchmark::State& state, const Floor& floor) {
    ZomuContext& context =
        contextWith(*runnableKernels().front(), static_cast<int>(state.range(0)));
    const ProjectionTable& table = g_modelTables.projection;
    for (auto _ : state) {
        context.team.run(kProjectionParts, [&](int part, int) {
            if (part < ProjectionTable::kGroups) {
                floor.read({table.groups[part][0], kFeatureCount * kGroupRows});
            } else {
                floor.read({table.rest[0], kFeatureCount * ProjectionTable::kRestRows});
            }
        });
    }
    state.counters["bytes"] = sizeof table;
}

const bool kIsRegistered = [] {
    for (const Kernels* kernels : runnableKernels()) {
        const std::string set = kernels->name;
        inMilliseconds("stage/networks/" + set,
                       [kernels](benchmark::State& state) { networks(state, *kernels); });
        inMilliseconds("stage/projection/" + set,
                       [kernels](benchmark::State& state) { projection(state, *kernels); })
            ->Arg(1)
            ->Arg(2);
    }
    for (const Floor* floor : runnableFloors()) {
        const std::string set = floor->name;
        inMilliseconds("floor/sums/" + set,
                       [floor](benchmark::State& state) { floorOfSums(state, *floor); });
        inMilliseconds("floor/weights/" + set,
                       [floor](benchmark::State& state) { floorOfWeights(state, *floor); });
        inMilliseconds("floor/tables/" + set,
                       [floor](benchmark::State& state) { floorOfTables(state, *floor); })
            ->Arg(1)
            ->Arg(2);
    }
    return true;
}();

}  // namespace

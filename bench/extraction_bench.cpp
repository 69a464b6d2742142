// Whole extractions: with the kernels of each instruction set, on one thread and on two, singly and in
// batches; and the straightforward way. Templates are checked before they are timed.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench_sets.h"
#include "heap_count.h"
#include "inputs.h"
#include "model/model_tables.h"

namespace {

constexpr int kBatch = 16;

void extract(ZomuContext& context, const FacePicture& face, FaceTemplate& out) {
    const FaceRequest request = requestOf(face, out);
    extractTemplates(context, g_modelTables, {&request, 1});
}

bool same(const FaceTemplate& a, const FaceTemplate& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Argument: threads.
void whole(benchmark::State& state, const Kernels& kernels, double megapixels) {
    const FacePicture& face = photo(megapixels);
    FaceTemplate expected;
    FaceTemplate out;
    const bool isFused = kernels.runConvolutions != nullptr;
    extract(contextWith(isFused ? *runnableKernels().front() : kernels), face, expected);
    ZomuContext& context = contextWith(kernels, static_cast<int>(state.range(0)));
    extract(context, face, out);
    if (!same(out, expected) || !(out.projectionNorm > 0.0F)) {
        state.SkipWithError("the template depends on the instruction set or on the threads");
    }
    for (auto _ : state) {
        extract(context, face, out);
        benchmark::ClobberMemory();
    }
}

// The straightforward extraction computes what an extraction by layers does, to the last bit.
void wholeStraightforward(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    Kernels layers = *runnableKernels().front();
    layers.runConvolutions = nullptr;
    FaceTemplate ours;
    FaceTemplate plain;
    extract(contextWith(layers), face, ours);
    contextWith(*runnableKernels().front());
    plainExtract(plainModel(), imageOf(face), face.landmarks, plain);
    if (!same(ours, plain)) {
        state.SkipWithError("the straightforward pipeline gives a different template");
    }
    for (auto _ : state) {
        plainExtract(plainModel(), imageOf(face), face.landmarks, plain);
        benchmark::ClobberMemory();
    }
}

struct Batch {
    std::vector<FaceTemplate> templates = std::vector<FaceTemplate>(kBatch);
    std::vector<FaceRequest> requests;

    // Different photos, so that no face finds the pixels of the one before it in the cache.
    Batch() {
        for (int i = 0; i < kBatch; ++i) {
            const FacePicture& face = photo(0.3 + 0.01 * i);
            requests.push_back(requestOf(face, templates[static_cast<std::size_t>(i)]));
        }
    }

    void extractTogether(ZomuContext& context) const {
        extractTemplates(context, g_modelTables, requests);
    }

    void extractSingly(ZomuContext& context) const {
        for (const FaceRequest& request : requests) {
            extractTemplates(context, g_modelTables, {&request, 1});
        }
    }
};

void batchTogether(benchmark::State& state, const Kernels& kernels) {
    ZomuContext& context = contextWith(kernels);
    const Batch together;
    const Batch singly;
    together.extractTogether(context);
    singly.extractSingly(context);
    if (!std::ranges::equal(together.templates, singly.templates, same)) {
        state.SkipWithError("a template depends on its batch");
    }
    for (auto _ : state) {
        together.extractTogether(context);
        benchmark::ClobberMemory();
    }
}

void batchSingly(benchmark::State& state, const Kernels& kernels) {
    ZomuContext& context = contextWith(kernels);
    const Batch batch;
    for (auto _ : state) {
        batch.extractSingly(context);
        benchmark::ClobberMemory();
    }
}

// Heap requests of each of a hundred extractions after the first. Argument: threads.
void heapRequests(benchmark::State& state) {
    const FacePicture& face = photo(0.3);
    ZomuContext& context =
        contextWith(*runnableKernels().front(), static_cast<int>(state.range(0)));
    FaceTemplate out;
    extract(context, face, out);
    std::size_t fewest = SIZE_MAX;
    std::size_t most = 0;
    for (auto _ : state) {
        for (int i = 0; i < 100; ++i) {
            const HeapCount before = heapCount();
            extract(context, face, out);
            const std::size_t requests = heapCount().requests - before.requests;
            fewest = std::min(fewest, requests);
            most = std::max(most, requests);
        }
    }
    state.counters["fewestRequests"] = static_cast<double>(fewest);
    state.counters["mostRequests"] = static_cast<double>(most);
}

const bool kIsRegistered = [] {
    const auto addWhole = [](const char* size, const Kernels* kernels, double megapixels) {
        return inMilliseconds(
            std::string("whole/") + size + "/" + kernels->name,
            [kernels, megapixels](benchmark::State& state) { whole(state, *kernels, megapixels); });
    };
    for (const Kernels* kernels : runnableKernels()) {
        const std::string set = kernels->name;
        addWhole("1MP", kernels, 1.0)->Arg(1)->Arg(2);
        if (kernels->runConvolutions == nullptr) {
            continue;
        }
        inMilliseconds("batch/together/" + set,
                       [kernels](benchmark::State& state) { batchTogether(state, *kernels); });
        inMilliseconds("batch/singly/" + set,
                       [kernels](benchmark::State& state) { batchSingly(state, *kernels); });
    }
    addWhole("0.3MP", runnableKernels().front(), 0.3)->Arg(1);
    addWhole("48MP", runnableKernels().front(), 48.0)->Arg(1);
    inMilliseconds("whole/1MP/straightforward", wholeStraightforward);
    inMilliseconds("heap", heapRequests)->Arg(1)->Arg(2)->Iterations(1);
    return true;
}();

}  // namespace

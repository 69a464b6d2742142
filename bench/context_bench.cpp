// Creation and memory of a context, and comparison.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "bench_sets.h"
#include "inputs.h"
#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "zomu.h"

namespace {

FaceTemplate templateOf(double megapixels) {
    FaceTemplate result;
    const FaceRequest request = requestOf(photo(megapixels), result);
    ZomuContext& context = contextWith(*runnableKernels().front());
    extractTemplates(context, g_modelTables, {&request, 1});
    return result;
}

void compareOurs(benchmark::State& state) {
    const FaceTemplate a = templateOf(0.3);
    const FaceTemplate b = templateOf(1.0);
    const float score = ZomuCompareTemplates(&a, &b);
    if (score != referenceCompareTemplates(a, b)) {
        state.SkipWithError("the score differs from the reference");
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZomuCompareTemplates(&a, &b));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(compareOurs)->Name("compare/ours");

// The shortest code for 500 additions that depend on each other.
void compareAdditions(benchmark::State& state) {
    const FaceTemplate a = templateOf(0.3);
    for (auto _ : state) {
        float sum = 0.0F;
        for (const float value : a.projection) {
            sum = sum + value;
        }
        benchmark::DoNotOptimize(sum);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(compareAdditions)->Name("compare/additions");

void createOurs(benchmark::State& state) {
    const std::string& folder = modelFolder();
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::make_unique<ZomuContext>(folder));
    }
}
BENCHMARK(createOurs)->Name("create/ours")->Unit(benchmark::kMillisecond)->UseRealTime();

// The same 275 files, each read at once into newly allocated memory.
void createRead(benchmark::State& state) {
    const std::string& folder = modelFolder();
    for (auto _ : state) {
        std::vector<std::unique_ptr<char[]>> contents;
        for (int number = 1; number <= kNetCount; ++number) {
            for (const char* format : {"1-%d-1", "1-%d-2", "2-%d-1", "2-%d-2", "3-%d-1", "3-%d-2",
                                       "4-%d-1", "4-%d-2", "5-%d-1", "5-%d-2", "5-%d-3"}) {
                char name[16];
                std::snprintf(name, sizeof name, format, number);
                std::FILE* file = std::fopen((folder + name).c_str(), "rb");
                if (file == nullptr) {
                    state.SkipWithError("a weight file is missing");
                    return;
                }
                std::setvbuf(file, nullptr, _IONBF, 0);
                std::fseek(file, 0, SEEK_END);
                const auto size = static_cast<std::size_t>(std::ftell(file));
                std::fseek(file, 0, SEEK_SET);
                contents.push_back(std::make_unique_for_overwrite<char[]>(size));
                const std::size_t got = std::fread(contents.back().get(), 1, size, file);
                benchmark::DoNotOptimize(got);
                std::fclose(file);
            }
        }
        benchmark::DoNotOptimize(contents.data());
    }
}
BENCHMARK(createRead)->Name("create/read")->Unit(benchmark::kMillisecond)->UseRealTime();

std::size_t heapBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

// What a context holds after its first extraction. Argument: threads.
void contextMemory(benchmark::State& state) {
    modelFolder();
    const FacePicture& face = photo(0.3);
    FaceTemplate out;
    const FaceRequest request = requestOf(face, out);
    double bytes = 0;
    for (auto _ : state) {
        const std::size_t before = heapBytes();
        ZomuContext context(modelFolder(), static_cast<int>(state.range(0)));
        extractTemplates(context, g_modelTables, {&request, 1});
        bytes = static_cast<double>(heapBytes()) - static_cast<double>(before);
    }
    state.counters["contextBytes"] = bytes;
    state.counters["tableBytes"] = sizeof g_modelTables;
}
BENCHMARK(contextMemory)
    ->Name("memory")
    ->Arg(1)
    ->Arg(2)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

// The stages of an extraction, whole extractions, comparison and creation, each with its baseline.
// Results are checked before they are timed.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "heap_count.h"
#include "inputs.h"
#include "layers/weight_layer.h"
#include "matrix/blas.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "patches/face_patches.h"
#include "patches/patch_layout.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_patches.h"
#include "service/extraction.h"
#include "straightforward.h"
#include "support/projection_rows.h"
#include "template/template_arithmetic.h"

namespace {

SourceImage imageOf(const FacePicture& face) {
    return {face.picture.pixels.data(), face.picture.width, face.picture.height,
            3 * face.picture.width};
}

MatrixList pointersTo(const PatchList& patches) {
    MatrixList pointers;
    for (const auto& patch : patches) {
        pointers.push_back(patch.get());
    }
    return pointers;
}

void extract(const FacePicture& face, FaceTemplate& out) {
    const SourceImage image = imageOf(face);
    extractTemplate(sharedContext(), g_modelTables, image.bytes, image.width, image.height,
                    image.stride, face.landmarks, out);
}

std::vector<PlainNetwork>& plainNetworks() {
    static std::vector<PlainNetwork> networks = [] {
        std::vector<PlainNetwork> list;
        for (int number = 1; number <= kNetCount; ++number) {
            list.emplace_back(modelFolder(), number);
        }
        return list;
    }();
    return networks;
}

void patchesOurs(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    modelFolder();
    const SourceImage image = imageOf(face);
    const PatchList patches =
        cutFacePatches(sharedContext().canvases, g_modelTables.meanImages, image, face.landmarks);
    const auto expected = referencePatches(image.bytes, image.width, image.height, image.stride,
                                           face.landmarks, &g_modelTables.meanImages[0][0]);
    for (std::size_t k = 0; k < patches.size(); ++k) {
        if (std::memcmp(expected[k].data(), patches[k]->data, 4 * expected[k].size()) != 0) {
            state.SkipWithError("a patch differs from the reference");
        }
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(cutFacePatches(sharedContext().canvases, g_modelTables.meanImages,
                                                image, face.landmarks));
    }
}
BENCHMARK(patchesOurs)->Name("stage/patches/ours")->Unit(benchmark::kMillisecond);

void patchesReference(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    modelFolder();
    const SourceImage image = imageOf(face);
    for (auto _ : state) {
        benchmark::DoNotOptimize(referencePatches(image.bytes, image.width, image.height,
                                                  image.stride, face.landmarks,
                                                  &g_modelTables.meanImages[0][0]));
    }
}
BENCHMARK(patchesReference)->Name("stage/patches/reference")->Unit(benchmark::kMillisecond);

void networksOurs(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    ZomuContext& context = sharedContext();
    const PatchList patches =
        cutFacePatches(context.canvases, g_modelTables.meanImages, imageOf(face), face.landmarks);
    const MatrixList pointers = pointersTo(patches);
    for (auto _ : state) {
        for (const auto& net : context.nets) {
            benchmark::DoNotOptimize(runNet(*net, pointers));
        }
    }
}
BENCHMARK(networksOurs)->Name("stage/networks/ours")->Unit(benchmark::kMillisecond);

void networksStraightforward(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    const PatchList patches = cutFacePatches(sharedContext().canvases, g_modelTables.meanImages,
                                             imageOf(face), face.landmarks);
    for (auto _ : state) {
        for (std::size_t i = 0; i < patches.size(); ++i) {
            benchmark::DoNotOptimize(plainNetworks()[i].run(patches[i]->data));
        }
    }
}
BENCHMARK(networksStraightforward)
    ->Name("stage/networks/straightforward")
    ->Unit(benchmark::kMillisecond);

// Only the products of the same run, with operands of the same shapes.
void networksProducts(benchmark::State& state) {
    struct Product {
        const Matrix* a;
        const Matrix* b;
        float beta;
        float* c;
    };
    const FacePicture& face = photo(1.0);
    ZomuContext& context = sharedContext();
    const PatchList patches =
        cutFacePatches(context.canvases, g_modelTables.meanImages, imageOf(face), face.landmarks);
    const MatrixList pointers = pointersTo(patches);
    std::vector<std::unique_ptr<Matrix>> operands;
    std::vector<Product> products;
    for (const auto& net : context.nets) {
        runNet(*net, pointers);
        for (const auto& layer : net->layers) {
            const auto* weighted = dynamic_cast<const WeightLayer*>(layer.get());
            if (weighted == nullptr) {
                continue;
            }
            const Matrix& out = *layer->outputs;
            if (layer->type == "fc") {
                for (std::size_t i = 0; i < 2; ++i) {
                    products.push_back({layer->inputs[i], weighted->weights[i]->matrix.get(),
                                        i == 0 ? 0.0F : 1.0F, out.data});
                }
                continue;
            }
            const Matrix& filters = *weighted->weights[0]->matrix;
            operands.push_back(
                std::make_unique<Matrix>(filters.numCols, out.numCols / filters.numRows));
            Matrix& P = *operands.back();
            for (std::int32_t i = 0; i < P.numElements; ++i) {
                P.data[i] = static_cast<float>(i % 7);
            }
            for (std::ptrdiff_t row = 0; row < 2; ++row) {
                products.push_back({&filters, &P, 0.0F, out.data + row * out.numCols});
            }
        }
    }
    if (products.size() != std::size_t{25} * 10) {
        state.SkipWithError("not 10 products per network");
    }
    for (auto _ : state) {
        for (const Product& product : products) {
            multiply(1.0F, *product.a, *product.b, product.beta, product.c, product.b->numCols);
        }
        benchmark::ClobberMemory();
    }
}
BENCHMARK(networksProducts)->Name("stage/networks/products")->Unit(benchmark::kMillisecond);

std::vector<float> someFeatures() {
    const FacePicture& face = photo(1.0);
    const SourceImage image = imageOf(face);
    std::vector<float> features(kFeatureCount);
    computeFeatures(sharedContext(), g_modelTables.meanImages, image.bytes, image.width,
                    image.height, image.stride, face.landmarks, features.data());
    return features;
}

void projectionOurs(benchmark::State& state) {
    const std::vector<float> features = someFeatures();
    FaceTemplate ours;
    FaceTemplate expected;
    const Kernels& kernels = *runnableKernels().front();
    projectFeatures(kernels, g_modelTables, features.data(), ours);
    referenceProjectFeatures(features.data(), rowsOf(g_modelTables.projection, 0).data(),
                             rowsOf(g_modelTables.projection, kProjectionCount).data(), expected);
    if (std::memcmp(&ours, &expected, sizeof ours) != 0) {
        state.SkipWithError("the projection differs from the reference");
    }
    for (auto _ : state) {
        projectFeatures(kernels, g_modelTables, features.data(), ours);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(projectionOurs)->Name("stage/projection/ours")->Unit(benchmark::kMillisecond);

void projectionReference(benchmark::State& state) {
    const std::vector<float> features = someFeatures();
    const std::vector<float> a = rowsOf(g_modelTables.projection, 0);
    const std::vector<float> b = rowsOf(g_modelTables.projection, kProjectionCount);
    FaceTemplate result;
    for (auto _ : state) {
        referenceProjectFeatures(features.data(), a.data(), b.data(), result);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(projectionReference)->Name("stage/projection/reference")->Unit(benchmark::kMillisecond);

// Adds every float of both tables, as an integer, to one of several sums: only reading takes time.
void projectionRead(benchmark::State& state) {
    modelFolder();
    for (auto _ : state) {
        std::uint32_t sums[16] = {};
        const auto* table = reinterpret_cast<const char*>(&g_modelTables.projection);
        for (std::size_t i = 0; i < sizeof g_modelTables.projection; i += 64) {
            std::uint32_t words[16];
            std::memcpy(words, table + i, sizeof words);
            for (int k = 0; k < 16; ++k) {
                sums[k] += words[k];
            }
        }
        benchmark::DoNotOptimize(sums);
    }
}
BENCHMARK(projectionRead)->Name("stage/projection/read")->Unit(benchmark::kMillisecond);

// Argument: threads.
void wholeOurs(benchmark::State& state, double megapixels) {
    const FacePicture& face = photo(megapixels);
    const int former = omp_get_max_threads();
    FaceTemplate first;
    FaceTemplate again;
    omp_set_num_threads(1);
    extract(face, first);
    omp_set_num_threads(static_cast<int>(state.range(0)));
    extract(face, again);
    if (std::memcmp(&first, &again, sizeof first) != 0 || !(first.projectionNorm > 0.0F)) {
        state.SkipWithError("the template depends on the number of threads");
    }
    const HeapCount before = heapCount();
    extract(face, again);
    const HeapCount after = heapCount();
    for (auto _ : state) {
        extract(face, again);
        benchmark::ClobberMemory();
    }
    omp_set_num_threads(former);
    state.counters["heapRequests"] = static_cast<double>(after.requests - before.requests);
    state.counters["heapBytes"] = static_cast<double>(after.bytes - before.bytes);
}
BENCHMARK_CAPTURE(wholeOurs, small, 0.3)
    ->Name("whole/0.3MP/ours")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(wholeOurs, medium, 1.0)
    ->Name("whole/1MP/ours")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(wholeOurs, large, 48.0)
    ->Name("whole/48MP/ours")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void wholeStraightforward(benchmark::State& state) {
    const FacePicture& face = photo(1.0);
    const SourceImage image = imageOf(face);
    modelFolder();
    FaceTemplate ours;
    FaceTemplate plain;
    extract(face, ours);
    plainExtract(plainNetworks(), image.bytes, image.width, image.height, image.stride,
                 face.landmarks, plain);
    if (std::memcmp(&ours, &plain, sizeof ours) != 0) {
        state.SkipWithError("the straightforward pipeline gives a different template");
    }
    for (auto _ : state) {
        plainExtract(plainNetworks(), image.bytes, image.width, image.height, image.stride,
                     face.landmarks, plain);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(wholeStraightforward)
    ->Name("whole/1MP/straightforward")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// Whether the heap grows over a thousand extractions.
void heapGrowth(benchmark::State& state) {
    const FacePicture& face = photo(0.3);
    FaceTemplate out;
    extract(face, out);
    std::size_t fewest = SIZE_MAX;
    std::size_t most = 0;
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i) {
            const HeapCount before = heapCount();
            extract(face, out);
            const std::size_t requests = heapCount().requests - before.requests;
            fewest = std::min(fewest, requests);
            most = std::max(most, requests);
        }
    }
    state.counters["fewestRequests"] = static_cast<double>(fewest);
    state.counters["mostRequests"] = static_cast<double>(most);
}
BENCHMARK(heapGrowth)->Name("heap/1000")->Iterations(1)->Unit(benchmark::kMillisecond);

FaceTemplate templateOf(double megapixels) {
    FaceTemplate result;
    extract(photo(megapixels), result);
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
BENCHMARK(createOurs)->Name("create/ours")->Unit(benchmark::kMillisecond);

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
BENCHMARK(createRead)->Name("create/read")->Unit(benchmark::kMillisecond);

}  // namespace

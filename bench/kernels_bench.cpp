// The steps of a network one by one, each next to the straightforward loop. Sizes are those of the
// first convolution of a colour network with a patch of 47 x 47.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "layers/conv_kernel.h"
#include "layers/local_kernel.h"
#include "layers/norm_kernel.h"
#include "layers/pool_kernel.h"
#include "matrix/blas.h"
#include "matrix/matrix.h"
#include "matrix/vector_functions.h"
#include "straightforward.h"

namespace {

constexpr int kChannels = 3;
constexpr int kSide = 47;
constexpr int kFilterSide = 4;
constexpr int kModulesX = 44;
constexpr int kModules = kModulesX * kModulesX;
constexpr int kFilters = 16;
constexpr int kFilterElements = kChannels * kFilterSide * kFilterSide;

Matrix noise(int rows, int cols, unsigned seed = 1) {
    std::mt19937 engine(seed);
    Matrix matrix(rows, cols);
    for (int i = 0; i < matrix.numElements; ++i) {
        matrix.data[i] = static_cast<float>(engine() >> 8U) * 0x1p-23F - 1.0F;
    }
    return matrix;
}

void copyInto(const Matrix& source, Matrix& target) {
    std::memcpy(target.data, source.data,
                sizeof(float) * static_cast<std::size_t>(source.numElements));
}

bool same(const Matrix& a, const Matrix& b) {
    return std::memcmp(a.data, b.data, sizeof(float) * static_cast<std::size_t>(a.numElements)) ==
           0;
}

const FilterGeometry kGeometry = {kChannels, kSide, kModulesX, kModulesX, 0, 1};

void reluOurs(benchmark::State& state) {
    const Matrix values = noise(2, kFilters * kModules);
    Matrix ours = noise(2, kFilters * kModules);
    Matrix plain = noise(2, kFilters * kModules);
    ours.maxWithScalar(0.0F, ours);
    plainRelu(plain.data, plain.numElements);
    if (!same(ours, plain)) {
        state.SkipWithError("relu differs from the plain loop");
    }
    for (auto _ : state) {
        copyInto(values, ours);
        ours.maxWithScalar(0.0F, ours);
        benchmark::DoNotOptimize(ours.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(reluOurs)->Name("kernel/relu/ours");

void reluPlain(benchmark::State& state) {
    const Matrix values = noise(2, kFilters * kModules);
    Matrix work = noise(2, kFilters * kModules);
    for (auto _ : state) {
        copyInto(values, work);
        plainRelu(work.data, work.numElements);
        benchmark::DoNotOptimize(work.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(reluPlain)->Name("kernel/relu/plain");

void biasOurs(benchmark::State& state) {
    const Matrix biases = noise(kFilters, 1, 2);
    Matrix ours = noise(kFilters, kModules);
    Matrix plain = noise(kFilters, kModules);
    ours.addVector(biases, 1.0F, ours);
    plainBias(biases, plain);
    if (!same(ours, plain)) {
        state.SkipWithError("bias differs from the plain loop");
    }
    for (auto _ : state) {
        ours.addVector(biases, 1.0F, ours);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(biasOurs)->Name("kernel/bias/ours");

void biasPlain(benchmark::State& state) {
    const Matrix biases = noise(kFilters, 1, 2);
    Matrix work = noise(kFilters, kModules);
    for (auto _ : state) {
        plainBias(biases, work);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(biasPlain)->Name("kernel/bias/plain");

void unfoldOurs(benchmark::State& state) {
    const Matrix image = noise(1, kChannels * kSide * kSide);
    const FilterShape shape = filterShape(kGeometry, image.numCols, kFilterElements);
    const Matrix ours(kFilterElements, kModules);
    const Matrix plain(kFilterElements, kModules);
    unfoldPatches(image.data, shape, ours.data);
    plainUnfold(image.data, kChannels, kSide, kSide, kFilterSide, plain.data);
    if (!same(ours, plain)) {
        state.SkipWithError("unfold differs from the plain loop");
    }
    for (auto _ : state) {
        unfoldPatches(image.data, shape, ours.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(unfoldOurs)->Name("kernel/unfold/ours");

void unfoldPlain(benchmark::State& state) {
    const Matrix image = noise(1, kChannels * kSide * kSide);
    const Matrix P(kFilterElements, kModules);
    for (auto _ : state) {
        plainUnfold(image.data, kChannels, kSide, kSide, kFilterSide, P.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(unfoldPlain)->Name("kernel/unfold/plain");

const PoolGeometry kTiles = {kFilters, 2, 0, 2, kModulesX / 2};

void maxPoolOurs(benchmark::State& state) {
    const Matrix images = noise(2, kFilters * kModules);
    Matrix ours;
    Matrix plain(2, kFilters * kModules / 4);
    maxPoolForward(images, ours, kTiles);
    plainMaxPool(images.data, 2, kFilters, kModulesX, plain.data);
    if (!same(ours, plain)) {
        state.SkipWithError("pool differs from the plain loop");
    }
    for (auto _ : state) {
        maxPoolForward(images, ours, kTiles);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(maxPoolOurs)->Name("kernel/maxPool/ours");

void maxPoolPlain(benchmark::State& state) {
    const Matrix images = noise(2, kFilters * kModules);
    Matrix target(2, kFilters * kModules / 4);
    for (auto _ : state) {
        plainMaxPool(images.data, 2, kFilters, kModulesX, target.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(maxPoolPlain)->Name("kernel/maxPool/plain");

void avgPool(benchmark::State& state) {
    const Matrix images = noise(2, kFilters * kModules);
    Matrix target;
    for (auto _ : state) {
        avgPoolForward(images, target, kTiles);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(avgPool)->Name("kernel/avgPool/ours");

void convolutionProduct(benchmark::State& state) {
    const Matrix filters = noise(kFilters, kFilterElements);
    const Matrix P = noise(kFilterElements, kModules);
    Matrix T(kFilters, kModules);
    for (auto _ : state) {
        multiply(1.0F, filters, P, 0.0F, T.data, T.numCols);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(convolutionProduct)->Name("kernel/product/convolution");

void fullProduct(benchmark::State& state) {
    const Matrix X = noise(2, 768);
    const Matrix W = noise(768, 160);
    Matrix Y(2, 160);
    for (auto _ : state) {
        multiply(1.0F, X, W, 0.0F, Y.data, Y.numCols);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(fullProduct)->Name("kernel/product/fc");

void convolution(benchmark::State& state) {
    const Matrix images = noise(2, kChannels * kSide * kSide);
    const Matrix filters = noise(kFilters, kFilterElements);
    const Matrix biases = noise(kFilters, 1);
    const FilterShape shape = filterShape(kGeometry, images.numCols, filters.numCols);
    Matrix target;
    for (auto _ : state) {
        convForward(images, filters, biases, target, shape, 0.0F, 1.0F);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(convolution)->Name("kernel/conv/ours");

void localFilters(benchmark::State& state) {
    const Matrix images = noise(2, 8 * 10 * 10);
    const Matrix filters = noise(8, 64 * 8 * 9);
    const FilterShape shape = filterShape({8, 10, 8, 8, 0, 1}, images.numCols, 8 * 9);
    Matrix biases = noise(8, 64);
    Matrix target;
    for (auto _ : state) {
        localForward(images, filters, biases, target, shape, 0.0F);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(localFilters)->Name("kernel/local/ours");

void crossMapNorm(benchmark::State& state) {
    const Matrix images = noise(2, 32 * 100);
    Matrix target;
    for (auto _ : state) {
        crossMapNormForward(images, target, {32, 5, 1e-4F, 0.75F});
        benchmark::ClobberMemory();
    }
}
BENCHMARK(crossMapNorm)->Name("kernel/cmrnorm/ours");

void exponential(benchmark::State& state) {
    const Matrix values = noise(1, 10000);
    Matrix target(1, 10000);
    for (auto _ : state) {
        vsExp(10000, values.data, target.data);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(exponential)->Name("kernel/vsExp/ours");

}  // namespace

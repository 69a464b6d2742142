// The kernels of every instruction set that this processor has, beside plain loops.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "kernels/kernels.h"
#include "reference/reference_fused_network.h"
#include "support/bits.h"
#include "support/random.h"

namespace {

struct Shape {
    int side;
    int channels;
};

constexpr Shape kShapes[] = {{55, 3}, {55, 1}, {47, 3}, {47, 1}};

ReferenceWeights randomWeights(Random& random, int rows, int cols, float size, bool isOdd) {
    ReferenceWeights weights = {rows, cols, {}};
    const auto count = static_cast<std::size_t>(rows * cols);
    weights.values = random.floats(count, -size, size);
    for (std::size_t i = 0; isOdd && i < count; i += 97) {
        weights.values[i] = random.anyFloat();
    }
    return weights;
}

ReferenceNetwork randomNetwork(Random& random, const Shape& shape, bool isOdd) {
    const NetworkSides sides(shape.side);
    ReferenceNetwork network;
    network.side = shape.side;
    network.channels = shape.channels;
    int planes = shape.channels;
    for (int i = 0; i < kConvolutions; ++i) {
        const int terms = planes * kFilterSides[i] * kFilterSides[i];
        const float size = i == 0 ? 0.02F : 1.5F / std::sqrt(static_cast<float>(terms));
        network.filters[i] = randomWeights(random, terms, kFilters[i], size, isOdd && i == 0);
        network.biases[i] = randomWeights(random, kFilters[i], 1, 0.1F, isOdd);
        planes = kFilters[i];
    }
    network.fromLocal4 = randomWeights(random, sides.lastValues(), 160, 0.1F, isOdd);
    network.fromPool3 = randomWeights(random, sides.pooledValues(), 160, 0.1F, false);
    network.outputBiases = randomWeights(random, 1, 160, 0.1F, false);
    return network;
}

NetworkWeights weightsOf(const ReferenceNetwork& network) {
    NetworkWeights weights;
    weights.side = network.side;
    weights.channels = network.channels;
    for (int i = 0; i < kConvolutions; ++i) {
        weights.filters[i] = network.filters[i].values.data();
        weights.biases[i] = network.biases[i].values.data();
    }
    weights.fromLast = network.fromLocal4.values.data();
    weights.fromPooled = network.fromPool3.values.data();
    weights.outputBiases = network.outputBiases.values.data();
    return weights;
}

// Every image's outputs by these kernels, one after the other.
std::vector<float> run(const Kernels& kernels, const NetworkWeights& network,
                       const std::vector<float>& images, std::size_t count) {
    const auto scratch = std::make_unique<NetworkScratch>();
    std::vector<StageValues> stages(count);
    std::vector<float> outputs(count * 160);
    for (std::size_t i = 0; i < count; ++i) {
        kernels.runConvolutions(network, &images[i * images.size() / count],
                                {network.fromLast, 1000}, *scratch, stages[i]);
    }
    kernels.runFullConnection(network, stages.data(), static_cast<int>(count / 2),
                              reinterpret_cast<float(*)[160]>(outputs.data()));
    return outputs;
}

void expectTheBitsOfPlainLoops(const ReferenceNetwork& network, const std::vector<float>& images,
                               std::size_t count) {
    std::vector<float> expected;
    for (std::size_t i = 0; i < count; ++i) {
        const std::vector<float> one = runFusedNetwork(network, &images[i * images.size() / count]);
        expected.insert(expected.end(), one.begin(), one.end());
    }
    for (const Kernels* kernels : runnableKernels()) {
        if (kernels->runConvolutions == nullptr) {
            continue;
        }
        const std::vector<float> found = run(*kernels, weightsOf(network), images, count);
        std::size_t different = 0;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            // The bits of a NaN are the processor's own.
            const bool areBothNan = std::isnan(expected[i]) && std::isnan(found[i]);
            different += areBothNan || sameFloat(expected[i], found[i]) ? 0U : 1U;
        }
        EXPECT_EQ(different, 0U) << kernels->name << ", side " << network.side << ", channels "
                                 << network.channels;
    }
}

// `count` images of random pixels.
std::vector<float> randomImages(Random& random, const Shape& shape, int count) {
    const int pixels = count * shape.channels * shape.side * shape.side;
    return random.floats(static_cast<std::size_t>(pixels), -128.0F, 128.0F);
}

}  // namespace

TEST(NetworkKernel, givesTheBitsOfPlainLoopsInEveryInstructionSet) {
    Random random(31);
    for (const Shape& shape : kShapes) {
        const ReferenceNetwork network = randomNetwork(random, shape, false);
        expectTheBitsOfPlainLoops(network, randomImages(random, shape, 2), 2);
    }
}

TEST(NetworkKernel, runsOnManyImagesAsOnEachAlone) {
    Random random(32);
    const ReferenceNetwork network = randomNetwork(random, {47, 1}, false);
    expectTheBitsOfPlainLoops(network, randomImages(random, {47, 1}, 6), 6);
}

// Weights, biases and pixels of any bits here and there: overflow, infinities and NaN.
TEST(NetworkKernel, keepsAndDropsInfinitiesAndNanAsPlainLoopsDo) {
    Random random(33);
    for (int round = 0; round < 8; ++round) {
        const Shape& shape = random.oneOf(kShapes);
        const ReferenceNetwork network = randomNetwork(random, shape, true);
        std::vector<float> images = randomImages(random, shape, 2);
        for (std::size_t i = 0; i < images.size(); i += 701) {
            images[i] = random.anyFloat();
        }
        expectTheBitsOfPlainLoops(network, images, 2);
    }
}

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "layers/layer_registry.h"
#include "layers/pool_kernel.h"
#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

// Five different numbers, so that keys read by each other's name show.
const PoolGeometry kGeometry = {3, 4, 1, 2, 5};
const char* const kKeys = "channels=3\nsizeX=4\nstart=1\nstride=2\noutputsX=5\n";

// A pool layer `p` behind `d`, or behind `d` and `e`.
std::unique_ptr<ConvNet> netOf(const std::string& kind, const std::string& keys = kKeys,
                               const std::string& inputs = "d") {
    return netBehindTwoInputs("p",
                              "[p]\ntype=pool\npool=" + kind + "\ninputs=" + inputs + "\n" + keys);
}

// Two rows of three planes of 9 x 9.
Matrix randomPatch(std::uint64_t seed) {
    return matrixOf(2, 3 * 81, Random(seed).floats(std::size_t{2} * 3 * 81, -9, 9));
}

std::vector<float> maxPooled(const Matrix& images, const PoolGeometry& geometry) {
    Matrix target;
    maxPoolForward(images, target, geometry);
    return valuesOf(target);
}

std::vector<float> avgPooled(const Matrix& images, const PoolGeometry& geometry) {
    Matrix target;
    avgPoolForward(images, target, geometry);
    return valuesOf(target);
}

}  // namespace

TEST(PoolKinds, standInTheOrderInWhichTheyAreCompared) {
    EXPECT_EQ(kPoolKindCount, 2);
    EXPECT_STREQ(kPoolKinds[0].keyword, "max");
    EXPECT_STREQ(kPoolKinds[1].keyword, "avg");
}

TEST(PoolLayer, poolsAsItsKeywordSays) {
    Matrix patch = randomPatch(1);
    const auto maxNet = netOf("max");
    const auto avgNet = netOf("avg");
    EXPECT_TRUE(
        sameFloats(maxPooled(patch, kGeometry), valuesOf(*runNet(*maxNet, {&patch, &patch}))));
    EXPECT_TRUE(
        sameFloats(avgPooled(patch, kGeometry), valuesOf(*runNet(*avgNet, {&patch, &patch}))));
}

TEST(PoolLayer, readsEachKeyByItsOwnName) {
    Matrix patch = randomPatch(2);
    const std::vector<float> expected = avgPooled(patch, kGeometry);
    const auto net = netOf("avg", "outputsX=5\nstride=2\nstart=1\nsizeX=4\nchannels=3\n");
    const Matrix* out = runNet(*net, {&patch, &patch});
    EXPECT_EQ(out->numRows, 2);
    EXPECT_EQ(out->numCols, 75);
    EXPECT_TRUE(sameFloats(expected, valuesOf(*out)));

    std::int32_t PoolGeometry::*const fields[] = {&PoolGeometry::channels, &PoolGeometry::sizeX,
                                                  &PoolGeometry::start, &PoolGeometry::stride,
                                                  &PoolGeometry::outputsX};
    for (const auto first : fields) {
        for (const auto second : fields) {
            PoolGeometry swapped = kGeometry;
            std::swap(swapped.*first, swapped.*second);
            EXPECT_EQ(first == second,
                      static_cast<bool>(sameFloats(expected, avgPooled(patch, swapped))))
                << "two keys could be exchanged unseen";
        }
    }
}

TEST(PoolLayer, takesANegativeStart) {
    Matrix patch = randomPatch(3);
    const auto net = netOf("max", "channels=3\nsizeX=3\nstart=-1\nstride=2\noutputsX=4\n");
    EXPECT_TRUE(
        sameFloats(maxPooled(patch, {3, 3, -1, 2, 4}), valuesOf(*runNet(*net, {&patch, &patch}))));
}

TEST(PoolLayer, ignoresASecondInput) {
    Matrix patch = randomPatch(4);
    Matrix other = matrixOf(1, 2, {99, 99});
    for (const char* kind : {"max", "avg"}) {
        const auto alone = netOf(kind);
        const std::vector<float> expected = valuesOf(*runNet(*alone, {&patch, &other}));
        const auto both = netOf(kind, kKeys, "d_e");
        EXPECT_TRUE(sameFloats(expected, valuesOf(*runNet(*both, {&patch, &other})))) << kind;
    }
}

TEST(PoolLayer, overwritesItsOutputForEveryIndexAndScale) {
    Matrix patch = randomPatch(5);
    for (const char* kind : {"max", "avg"}) {
        const auto net = netOf(kind);
        Matrix* out = runNet(*net, {&patch, &patch});
        const std::vector<float> expected = valuesOf(*out);
        for (const auto& [index, scale] : {std::pair{0, 0.0F}, {0, 1.0F}, {7, 0.0F}, {7, 1.0F}}) {
            std::fill_n(out->data, out->numElements, 1000.0F);
            net->layers.back()->computeActs(index, scale);
            EXPECT_TRUE(sameFloats(expected, valuesOf(*out))) << kind << index << scale;
        }
    }
}

TEST(PoolLayer, keepsTheStorageOfItsOutputFromRunToRun) {
    Matrix first = randomPatch(6);
    Matrix second = randomPatch(7);
    const auto net = netOf("avg");
    const Matrix* out = runNet(*net, {&first, &first});
    const float* storage = out->data;
    const std::vector<float> expected = valuesOf(*out);
    EXPECT_EQ(runNet(*net, {&second, &second}), out);
    EXPECT_TRUE(sameFloats(avgPooled(second, kGeometry), valuesOf(*out)));
    runNet(*net, {&first, &first});
    EXPECT_TRUE(sameFloats(expected, valuesOf(*out)));
    EXPECT_EQ(out->data, storage);
}

TEST(PoolLayer, leavesItsInputAlone) {
    Matrix patch = randomPatch(8);
    const std::vector<float> before = valuesOf(patch);
    const auto net = netOf("avg");
    EXPECT_NE(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats(before, valuesOf(patch)));
}

TEST(PoolLayer, namesTheUnknownKind) {
    ConvNet net(0, "", "");
    for (const std::string kind : {"", "Max", "AVG", "maximum", "average", "ma", "maxx", "sum"}) {
        describe("[p]\npool=" + kind + "\n");
        try {
            createPoolLayer(net, "p");
            ADD_FAILURE() << kind << " was accepted";
        } catch (const std::string& words) {
            EXPECT_EQ(words, "Unknown pooling layer type " + kind);
        }
    }
}

TEST(PoolLayer, needsAKind) {
    ConvNet net(0, "", "");
    describe("[p]\nchannels=1\n");
    try {
        createPoolLayer(net, "p");
        FAIL() << "a section without `pool` was accepted";
    } catch (const std::string& words) {
        EXPECT_EQ(words, "Unknown pooling layer type ");
    }
}

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "layers/norm_kernel.h"
#include "layers/two_input_net.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

// Four different numbers, so that keys read by each other's name show.
const CrossMapNorm kNorm = {6, 4, 2.0F, 1.0F};
const char* const kKeys = "channels=6\nsizeX=4\nscale=2\npow=1\n";

// A layer `n` of that type behind `d`, or behind `d` and `e`.
std::unique_ptr<ConvNet> netOf(const std::string& type, const std::string& keys,
                               const std::string& inputs = "d") {
    return netBehindTwoInputs("n", "[n]\ntype=" + type + "\ninputs=" + inputs + "\n" + keys);
}

// Two rows of six planes of two positions, which are four planes of three as well.
Matrix randomPatch(std::uint64_t seed) {
    return matrixOf(2, 12, Random(seed).floats(24, -3, 3));
}

std::vector<float> normed(const Matrix& images, const CrossMapNorm& norm) {
    Matrix target;
    crossMapNormForward(images, target, norm);
    return valuesOf(target);
}

void expectAnEmptyOutput(const std::string& type, const std::string& keys) {
    const auto net = netBehindTwoInputs(
        "n_m", "[n]\ntype=" + type + "\ninputs=d\n" + keys +
                   "[m]\ntype=neuron\nneuron=linear\nb=1\ninputs=n\nactsTarget=0\n");
    Matrix patch = randomPatch(1);
    const std::vector<float> before = valuesOf(patch);
    for (int run = 0; run < 2; ++run) {
        const Matrix* out = runNet(*net, {&patch, &patch});
        EXPECT_EQ(out, layerNamed(*net, "n")->getActs());
        EXPECT_NE(out, &patch);
        EXPECT_EQ(out->data, nullptr);
        EXPECT_EQ(out->numElements, 0);
        EXPECT_TRUE(sameFloats(before, valuesOf(patch)));
    }
}

void expectTheInputItself(const std::string& type, const std::string& keys) {
    const auto net = netOf(type, "actsTarget=0\n" + keys, "d_e");
    Matrix patch = randomPatch(2);
    Matrix other = randomPatch(3);
    const std::vector<float> before = valuesOf(patch);
    const std::vector<float> otherBefore = valuesOf(other);
    EXPECT_EQ(runNet(*net, {&patch, &other}), &patch);
    EXPECT_EQ(patch.numRows, 2);
    EXPECT_EQ(patch.numCols, 12);
    EXPECT_TRUE(sameFloats(before, valuesOf(patch)));
    EXPECT_TRUE(sameFloats(otherBefore, valuesOf(other)));
}

}  // namespace

TEST(ResponseNormLayer, withoutActsTargetHandsOnAnEmptyMatrix) {
    expectAnEmptyOutput("rnorm", kKeys);
    expectAnEmptyOutput("rnorm", "");
}

TEST(ResponseNormLayer, withActsTargetHandsOnItsInputUnchanged) {
    expectTheInputItself("rnorm", kKeys);
    expectTheInputItself("rnorm", "");
}

TEST(ContrastNormLayer, withoutActsTargetHandsOnAnEmptyMatrix) {
    expectAnEmptyOutput("cnorm", kKeys);
    expectAnEmptyOutput("cnorm", "");
}

TEST(ContrastNormLayer, withActsTargetHandsOnItsInputUnchanged) {
    expectTheInputItself("cnorm", kKeys);
    expectTheInputItself("cnorm", "");
}

TEST(ContrastNormLayer, makesNothingOfItsImageSize) {
    for (const std::string size : {"imgSize=47\n", "imgSize=-1\n", "imgSize=abc\n"}) {
        expectAnEmptyOutput("cnorm", kKeys + size);
        expectTheInputItself("cnorm", kKeys + size);
    }
}

TEST(CrossMapResponseNormLayer, readsEachKeyByItsOwnName) {
    Matrix patch = randomPatch(4);
    const std::vector<float> expected = normed(patch, kNorm);
    const auto net = netOf("cmrnorm", kKeys);
    EXPECT_TRUE(sameFloats(expected, valuesOf(*runNet(*net, {&patch, &patch}))));
    const auto reversed = netOf("cmrnorm", "pow=1\nscale=2\nsizeX=4\nchannels=6\n");
    EXPECT_TRUE(sameFloats(expected, valuesOf(*runNet(*reversed, {&patch, &patch}))));

    // In each of these two keys have changed places.
    for (const CrossMapNorm& swapped : {CrossMapNorm{4, 6, 2.0F, 1.0F},
                                        {2, 4, 6.0F, 1.0F},
                                        {1, 4, 2.0F, 6.0F},
                                        {6, 2, 4.0F, 1.0F},
                                        {6, 1, 2.0F, 4.0F},
                                        {6, 4, 1.0F, 2.0F}}) {
        EXPECT_FALSE(sameFloats(expected, normed(patch, swapped)));
    }
}

TEST(CrossMapResponseNormLayer, takesFractionsForScaleAndPower) {
    Matrix patch = randomPatch(5);
    const auto net = netOf("cmrnorm", "channels=4\nsizeX=3\nscale=0.375\npow=-0.75\n");
    EXPECT_TRUE(sameFloats(normed(patch, {4, 3, 0.375F, -0.75F}),
                           valuesOf(*runNet(*net, {&patch, &patch}))));
}

TEST(CrossMapResponseNormLayer, ignoresASecondInput) {
    Matrix patch = randomPatch(6);
    Matrix other = matrixOf(1, 2, {99, 99});
    const auto net = netOf("cmrnorm", kKeys, "d_e");
    const std::vector<float> before = valuesOf(patch);
    EXPECT_TRUE(sameFloats(normed(patch, kNorm), valuesOf(*runNet(*net, {&patch, &other}))));
    EXPECT_TRUE(sameFloats(before, valuesOf(patch)));
    EXPECT_TRUE(sameFloats({99, 99}, valuesOf(other)));
}

TEST(CrossMapResponseNormLayer, overwritesItsOutputForEveryIndexAndScale) {
    Matrix patch = randomPatch(7);
    const auto net = netOf("cmrnorm", kKeys);
    Matrix* out = runNet(*net, {&patch, &patch});
    for (const auto& [index, scale] : {std::pair{0, 0.0F}, {0, 1.0F}, {7, 0.0F}, {7, 1.0F}}) {
        std::fill_n(out->data, out->numElements, 1000.0F);
        net->layers.back()->computeActs(index, scale);
        EXPECT_TRUE(sameFloats(normed(patch, kNorm), valuesOf(*out)));
    }
}

TEST(CrossMapResponseNormLayer, keepsTheStorageOfItsOutputFromRunToRun) {
    Matrix first = randomPatch(8);
    Matrix second = randomPatch(9);
    const auto net = netOf("cmrnorm", kKeys);
    const Matrix* out = runNet(*net, {&first, &first});
    const float* storage = out->data;
    runNet(*net, {&second, &second});
    EXPECT_TRUE(sameFloats(normed(second, kNorm), valuesOf(*out)));
    runNet(*net, {&first, &first});
    EXPECT_TRUE(sameFloats(normed(first, kNorm), valuesOf(*out)));
    EXPECT_EQ(out->data, storage);
}

TEST(CrossMapResponseNormLayer, withActsTargetWorksOnWhatItHasAlreadyOverwritten) {
    // The sums: 3^2 = 9, then 9^2 + 81^2 = 6642.
    Matrix patch = matrixOf(1, 2, {2, 3});
    const auto net = netOf("cmrnorm", "actsTarget=0\nchannels=2\nsizeX=3\nscale=3\npow=-1\n");
    EXPECT_EQ(runNet(*net, {&patch, &patch}), &patch);
    EXPECT_TRUE(sameFloats({10 * 9.0F, 6643.0F * 6642.0F}, valuesOf(patch)));
}

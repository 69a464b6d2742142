#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "layers/one_layer.h"
#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

// Four different numbers, so that keys read by each other's name show.
const CrossMapNorm kNorm = {6, 4, 2.0F, 1.0F};
const std::string kKeys = "channels=6\nsizeX=4\nscale=2\npow=1\n";

// Two rows of six planes of two positions, which are four planes of three as well.
Matrix randomPatch(std::uint64_t seed) {
    return matrixOf(2, 12, Random(seed).floats(24, -3, 3));
}

// The sections of the layers that compute nothing.
const std::string kIdleSections[] = {
    "type=rnorm\n",
    "type=rnorm\n" + kKeys,
    "type=cnorm\n",
    "type=cnorm\nimgSize=abc\n" + kKeys,
};

}  // namespace

TEST(IdleNormLayers, handOnAnEmptyMatrixOrTheInputThatTheyShare) {
    for (const std::string& section : kIdleSections) {
        OneLayer own("inputs=a_b\n" + section);
        EXPECT_TRUE(own.run(randomPatch(1), randomPatch(3)).empty()) << section;
        EXPECT_EQ(own.output()->data, nullptr) << section;
        EXPECT_TRUE(sameFloats(valuesOf(randomPatch(1)), valuesOf(own.a))) << section;

        OneLayer shared("inputs=a_b\nactsTarget=0\n" + section);
        EXPECT_TRUE(
            sameFloats(valuesOf(randomPatch(2)), shared.run(randomPatch(2), randomPatch(3))));
        EXPECT_EQ(shared.output(), &shared.a) << section;
        EXPECT_EQ(shared.a.numRows, 2);
        EXPECT_TRUE(sameFloats(valuesOf(randomPatch(3)), valuesOf(shared.b))) << section;
    }
}

TEST(CrossMapResponseNormLayer, readsEachKeyByItsOwnName) {
    const std::vector<float> expected = referenceNorm(kNorm, randomPatch(4));
    for (const std::string& keys : {kKeys, std::string("pow=1\nscale=2\nsizeX=4\nchannels=6\n")}) {
        OneLayer net("type=cmrnorm\ninputs=a_b\n" + keys);
        EXPECT_TRUE(sameFloats(expected, net.run(randomPatch(4), rowOf({99, 99}))))
            << "whatever its second input";
        EXPECT_NE(net.output(), &net.a);
        EXPECT_TRUE(sameFloats(valuesOf(randomPatch(4)), valuesOf(net.a)));
    }
    OneLayer zeros("type=cmrnorm\ninputs=a\nchannels=6\nsizeX=4\n");
    EXPECT_TRUE(sameFloats(valuesOf(randomPatch(5)), zeros.run(randomPatch(5))))
        << "a scale and a power that are absent count as 0";
}

TEST(CrossMapResponseNormLayer, takesAsManyPlanesAsColumnsAndAnyNumberForNone) {
    OneLayer net("type=cmrnorm\ninputs=a\nchannels=2\nsizeX=3\nscale=3\npow=-1\n");
    EXPECT_TRUE(sameFloats({2 * 14, 3 * 14}, net.run(rowOf({2, 3}))));
    EXPECT_TRUE(net.run(Matrix(3, 0)).empty());
    EXPECT_EQ(net.output()->numRows, 3);
}

TEST(CrossMapResponseNormLayer, withActsTargetWorksOnWhatItHasAlreadyOverwritten) {
    // The sums: 3^2 = 9, then 9^2 + 81^2 = 6642.
    OneLayer net("type=cmrnorm\ninputs=a\nactsTarget=0\nchannels=2\nsizeX=3\nscale=3\npow=-1\n");
    EXPECT_TRUE(sameFloats({10 * 9.0F, 6643.0F * 6642.0F}, net.run(rowOf({2, 3}))));
    EXPECT_EQ(net.output(), &net.a);
}

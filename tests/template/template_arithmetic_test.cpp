#include "template/template_arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "reference/reference_arithmetic.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/projection_rows.h"
#include "support/random.h"

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr int kRows = 500;
static constexpr int kColumns = 8000;

// What is stored for 320 values: that of the reference, and nothing beside it.
static void expectStoredAsByTheReference(const std::vector<float>& values) {
    static std::size_t calls = 0;
    const std::vector<float> copy = values;
    GuardedBuffer<float> destination(320, calls++ % 4);
    storeNetworkOutput(copy.data(), destination.data());
    EXPECT_TRUE(destination.guardsIntact());
    EXPECT_TRUE(sameFloats(values, copy)) << "the output itself must not change";
    std::vector<float> expected(320);
    referenceStoreNetworkOutput(values.data(), expected.data());
    EXPECT_TRUE(sameFloats(expected.data(), destination.data(), 320));
}

// Of ordinary sizes, of such as overflow and vanish when they are squared or added up, of any bits,
// and with odd values in one half, which must stay there.
TEST(StoreNetworkOutput, equalsTheReferenceBitForBit) {
    Random random(14);
    for (int round = 0; round < 700 && !testing::Test::HasFailure(); ++round) {
        const int reach = round % 2 == 0 ? 40 : 100;
        const float size = std::ldexp(1.0F, random.between(-reach, reach));
        std::vector<float> values = random.floats(320, -size, size);
        if (round >= 500) {
            std::ranges::generate(values, [&] { return random.anyFloat(); });
        }
        expectStoredAsByTheReference(values);
    }
    const std::vector<float> values = random.floats(320, -1.0F, 1.0F);
    for (const std::ptrdiff_t start : {0, 160}) {
        for (const float value : {0.0F, kNan, -kInfinity, 1.5e19F}) {
            for (const int count : {1, 160}) {
                std::vector<float> odd = values;
                std::fill_n(odd.begin() + start, count, value);
                expectStoredAsByTheReference(odd);
            }
        }
    }
}

// The template of the reference, and nothing written beside it.
static void expectProjectedAsByTheReference(const ModelTables& tables,
                                            const std::vector<float>& features) {
    const std::vector<float> before = features;
    FaceTemplate expected;
    referenceProjectFeatures(features.data(), rowsOf(tables.projection, 0).data(),
                             rowsOf(tables.projection, 500).data(), expected);
    for (const Kernels* kernels : runnableKernels()) {
        GuardedBuffer<FaceTemplate> room(1);
        projectFeatures(*kernels, tables, features.data(), room[0]);
        EXPECT_TRUE(room.guardsIntact());
        EXPECT_TRUE(sameFloats(before, features)) << "the features must not change";
        EXPECT_TRUE(sameFloats(reinterpret_cast<const float*>(&expected),
                               reinterpret_cast<const float*>(room.data()), 502))
            << kernels->name;
    }
}

TEST(Projection, equalsTheReference) {
    Random random(25);
    const auto tables = std::make_unique<ModelTables>();
    for (int row = 0; row < 2 * kRows; ++row) {
        for (int n = 0; n < kColumns; ++n) {
            tables->projection.at(row, n) = random.uniform(-1, 1);
        }
    }
    for (const float size : {1.0F, 1.0F, 1.0F, 0x1p-18F, 0x1p-6F, 0x1p6F, 0x1p18F}) {
        expectProjectedAsByTheReference(*tables, random.floats(kColumns, -size, size));
    }
    // With odd values in the tables: few enough for most rows to stay finite.
    for (int row = 0; row < 2 * kRows; ++row) {
        for (int i = 0; i < 30; ++i) {
            tables->projection.at(row, random.between(0, 7999)) = random.anyFloat();
        }
    }
    expectProjectedAsByTheReference(*tables, random.floats(kColumns, -1e-3F, 1e-3F));
}

TEST(FeatureMean, isSubtractedAndNothingElse) {
    Random random(22);
    for (const float size : {1.0F, 0.0F}) {
        const std::vector<float> mean = random.floats(kColumns, -size, size);
        const std::vector<float> meanBefore = mean;
        std::vector<float> expected = random.floats(kColumns, -1.0F, 1.0F);
        std::generate_n(expected.begin(), 100, [&] { return random.anyFloat(); });
        expected[5] = -0.0F;
        GuardedBuffer<float> features(kColumns, 1);
        std::ranges::copy(expected, features.data());
        referenceSubtractFeatureMean(expected.data(), mean.data());
        subtractFeatureMean(mean.data(), features.data());
        EXPECT_TRUE(sameFloats(expected.data(), features.data(), kColumns));
        EXPECT_TRUE(features.guardsIntact());
        EXPECT_TRUE(sameFloats(meanBefore, mean)) << "the mean must not change";
    }
}

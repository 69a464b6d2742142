#include "template/template_arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "reference/reference_arithmetic.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"

static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
static constexpr float kInfinity = std::numeric_limits<float>::infinity();
static constexpr std::size_t kRows = 500;
static constexpr std::size_t kColumns = 8000;

// What is stored for 320 values: that of the reference, and nothing beside it, whatever the element
// count of the output says.
static std::vector<float> stored(const std::vector<float>& values) {
    static std::size_t calls = 0;
    std::vector<float> copy = values;
    Matrix out = Matrix::view(copy.data(), 2, 160);
    out.numElements = 7;
    GuardedBuffer<float> destination(320, calls++ % 4);
    storeNetworkOutput(out, destination.data());
    EXPECT_TRUE(destination.guardsIntact());
    EXPECT_TRUE(sameFloats(values, copy)) << "the output itself must not change";
    std::vector<float> expected(320);
    referenceStoreNetworkOutput(values.data(), expected.data());
    EXPECT_TRUE(sameFloats(expected.data(), destination.data(), 320));
    return {destination.data(), destination.data() + 320};
}

TEST(StoreNetworkOutput, scalesEachHalfToUnitLength) {
    std::vector<float> values(320, 0.0F);
    values[0] = 3.0F;
    values[1] = 4.0F;
    values[319] = 2.0F;
    std::vector<float> expected(320, 0.0F);
    expected[0] = 0.6F;
    expected[1] = 0.8F;
    expected[319] = 1.0F;
    EXPECT_TRUE(sameFloats(expected, stored(values)));
}

TEST(StoreNetworkOutput, zerosNanAndInfinitiesStayInTheirHalf) {
    Random random(11);
    for (const std::size_t half : {0U, 1U}) {
        const std::vector<float> values = random.floats(320, -1.0F, 1.0F);
        const auto start = static_cast<std::ptrdiff_t>(160 * half);
        std::vector<float> zeros = values;
        std::fill_n(zeros.begin() + start, 160, 0.0F);
        std::vector<float> oneNan = values;
        oneNan[160 * half + 77] = kNan;
        std::vector<float> oneInfinity = values;
        oneInfinity[160 * half + 40] = -kInfinity;
        const std::vector<float> ofZeros = stored(zeros);
        const std::vector<float> ofNan = stored(oneNan);
        const std::vector<float> ofInfinity = stored(oneInfinity);
        for (std::size_t i = 0; i < 320; ++i) {
            const bool isInHalf = i / 160 == half;
            const bool isInfinite = i == 160 * half + 40;
            EXPECT_EQ(isInHalf, std::isnan(ofZeros[i])) << i;
            EXPECT_EQ(isInHalf, std::isnan(ofNan[i])) << i;
            // An infinite norm: finite values vanish, the infinite one has no direction.
            EXPECT_EQ(isInfinite, std::isnan(ofInfinity[i])) << i;
            EXPECT_EQ(isInHalf && !isInfinite, ofInfinity[i] == 0.0F) << i;
        }
    }
}

// A square that overflows in 32 bits gives an infinite norm although the accumulator could hold it;
// one that underflows counts as zero. A sum beyond the range of 32 bits fits the accumulator, but
// not its narrowed value.
TEST(StoreNetworkOutput, squaresAndTheirSumOverflowAndUnderflowIn32Bits) {
    std::vector<float> values(320, 0.0F);
    values[3] = 1e30F;
    values[160] = 1e-30F;
    const std::vector<float> result = stored(values);
    EXPECT_TRUE(sameFloat(0.0F, result[3]));
    EXPECT_TRUE(sameFloat(kInfinity, result[160]));
    EXPECT_TRUE(
        sameFloats(std::vector<float>(320, 0.0F), stored(std::vector<float>(320, 1.5e19F))));
}

TEST(StoreNetworkOutput, equalsTheReferenceBitForBit) {
    Random random(14);
    for (int round = 0; round < 700 && !testing::Test::HasFailure(); ++round) {
        const float size = std::ldexp(1.0F, random.between(-40, 40));
        std::vector<float> values = random.floats(320, -size, size);
        if (round >= 500) {
            std::ranges::generate(values, [&] { return random.anyFloat(); });
        }
        stored(values);
    }
}

// Would the random rounds above notice another rounding? Each wrong way to form the norm or the
// quotient must give other bits in some of them.
TEST(StoreNetworkOutput, otherRoundingsWouldBeNoticed) {
    Random random(14);
    int floatSum = 0, wideSquares = 0, rootOfWideSum = 0, reciprocal = 0;
    for (int round = 0; round < 500; ++round) {
        const float size = std::ldexp(1.0F, random.between(-40, 40));
        const std::vector<float> values = random.floats(320, -size, size);
        const std::vector<float> expected = stored(values);

        const auto differs = [&](float norm) {
            for (std::size_t c = 0; c < 160; ++c) {
                if (!sameBits(expected[c], values[c] / norm)) {
                    return 1;
                }
            }
            return 0;
        };
        double sum = 0, wide = 0;
        float narrow = 0;
        for (std::size_t c = 0; c < 160; ++c) {
            const float square = values[c] * values[c];
            narrow += square;
            sum += static_cast<double>(square);
            wide += static_cast<double>(values[c]) * static_cast<double>(values[c]);
        }
        const auto rootOf = [](float x) {
            return static_cast<float>(std::sqrt(static_cast<double>(x)));
        };
        const float norm = rootOf(static_cast<float>(sum));
        ASSERT_EQ(0, differs(norm)) << "this is the way it has to be";
        floatSum += differs(rootOf(narrow));
        wideSquares += differs(rootOf(static_cast<float>(wide)));
        rootOfWideSum += differs(static_cast<float>(std::sqrt(sum)));
        const float factor = 1.0F / norm;
        for (std::size_t c = 0; c < 160; ++c) {
            if (!sameBits(expected[c], values[c] * factor)) {
                ++reciprocal;
                break;
            }
        }
    }
    EXPECT_GT(floatSum, 0);
    EXPECT_GT(wideSquares, 0);
    EXPECT_GT(rootOfWideSum, 0);
    EXPECT_GT(reciprocal, 0);
}

// Tables of zeros, which a test may fill.
class Projection : public testing::Test {
  protected:
    void fillProjections(Random& random) {
        for (ProjectionTable* table : {&tables->projectionA, &tables->projectionB}) {
            std::generate_n(&(*table)[0][0], kRows * kColumns,
                            [&] { return random.uniform(-1, 1); });
        }
    }

    // The template of the reference, and nothing written beside it.
    FaceTemplate projected(const std::vector<float>& features) const {
        const std::vector<float> before = features;
        GuardedBuffer<FaceTemplate> room(1);
        projectFeatures(*tables, features.data(), room[0]);
        EXPECT_TRUE(room.guardsIntact());
        EXPECT_TRUE(sameFloats(before, features)) << "the features must not change";
        FaceTemplate expected;
        referenceProjectFeatures(features.data(), &tables->projectionA[0][0],
                                 &tables->projectionB[0][0], expected);
        EXPECT_TRUE(holds(valuesOf(expected), room[0]));
        return room[0];
    }

    static std::vector<float> valuesOf(const FaceTemplate& face) {
        const auto* values = reinterpret_cast<const float*>(&face);
        return {values, values + 502};
    }

    static testing::AssertionResult holds(const std::vector<float>& values,
                                          const FaceTemplate& face) {
        return sameFloats(values, valuesOf(face));
    }

    const std::unique_ptr<ModelTables> tables = std::make_unique<ModelTables>();
};

TEST_F(Projection, theMeanIsSubtractedAndNothingElse) {
    Random random(22);
    const std::vector<float> zeros(kColumns);
    const std::vector<float> mean = random.floats(kColumns, -1.0F, 1.0F);
    for (const std::vector<float>& subtrahend : {mean, zeros}) {
        const std::vector<float> subtrahendBefore = subtrahend;
        std::vector<float> expected = random.floats(kColumns, -1.0F, 1.0F);
        std::generate_n(expected.begin(), 100, [&] { return random.anyFloat(); });
        expected[5] = -0.0F;
        GuardedBuffer<float> features(kColumns, 1);
        std::ranges::copy(expected, features.data());
        referenceSubtractFeatureMean(expected.data(), subtrahend.data());
        subtractFeatureMean(subtrahend.data(), features.data());
        EXPECT_TRUE(sameFloats(expected.data(), features.data(), kColumns));
        EXPECT_TRUE(features.guardsIntact());
        EXPECT_TRUE(sameFloats(subtrahendBefore, subtrahend)) << "the mean must not change";
    }
}

// Powers of two in few places: all sums are exact and can be checked by eye.
TEST_F(Projection, firstTableGivesOneNumberAndSecondGivesTheRest) {
    std::vector<float> features(kColumns, 0.0F);
    features[0] = 2.0F;
    features[7999] = -1.0F;
    tables->projectionA[0][0] = 1.5F;       // row result 3
    tables->projectionA[499][7999] = 4.0F;  // row result -4
    tables->projectionB[0][0] = 1.5F;       // row result 3
    tables->projectionB[499][0] = 4.0F;     // row result 8 - 4 = 4
    tables->projectionB[499][7999] = 4.0F;
    std::vector<float> expected(502, 0.0F);
    expected[0] = 3;
    expected[499] = 4;
    expected[500] = 25;  // squared length, no root
    expected[501] = 5;
    EXPECT_TRUE(holds(expected, projected(features)));
}

TEST_F(Projection, missingTablesGiveATemplateOfZerosButDoNotHideNan) {
    std::vector<float> features(kColumns, 0.25F);
    EXPECT_TRUE(holds(std::vector<float>(502, 0.0F), projected(features)));
    features[4000] = kNan;
    EXPECT_TRUE(holds(std::vector<float>(502, kNan), projected(features)));
}

// From a network whose second half is zero up to the finished template.
TEST_F(Projection, networkOutputOfZerosMakesEveryValueNan) {
    Random random(24);
    fillProjections(random);
    const std::vector<float> mean = random.floats(kColumns, -0.1F, 0.1F);
    std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
    std::vector<float> values = random.floats(320, -1.0F, 1.0F);
    std::fill(values.begin() + 160, values.end(), 0.0F);
    storeNetworkOutput(Matrix::view(values.data(), 2, 160), features.data() + 320 * 24);
    subtractFeatureMean(mean.data(), features.data());
    EXPECT_TRUE(holds(std::vector<float>(502, kNan), projected(features)));
}

TEST_F(Projection, ofAnyBitPatternsEqualsTheReference) {
    Random random(26);
    for (std::size_t r = 0; r < kRows; ++r) {
        // Few enough odd values for most rows to stay finite.
        for (int i = 0; i < 30; ++i) {
            tables->projectionA[r][random.between(0, 7999)] = random.anyFloat();
            tables->projectionB[r][random.between(0, 7999)] = random.anyFloat();
        }
    }
    projected(random.floats(kColumns, -1e-3F, 1e-3F));
}

// Features of several sizes equal the reference. Their data tells the right sum from each wrong one
// in nearly every row, and in at least one template in the sums of squares, which are one number a
// template.
TEST_F(Projection, equalsTheReferenceAndOtherOrdersOfSummationWouldBeNoticed) {
    Random random(25);
    fillProjections(random);
    int rowsThatDiffer[std::size(kOtherSums)] = {};
    int quadraticsThatDiffer[std::size(kOtherSums)] = {};
    int normsThatDiffer[std::size(kOtherSums)] = {};
    for (int round = 0; round < 12; ++round) {
        const float size = std::ldexp(1.0F, round < 8 ? 0 : 12 * round - 114);
        const std::vector<float> features = random.floats(kColumns, -size, size);
        const FaceTemplate right = projected(features);
        // The first table's rows, by way of the second table's place in a template.
        FaceTemplate rowsOfA;
        referenceProjectFeatures(features.data(), &tables->projectionB[0][0],
                                 &tables->projectionA[0][0], rowsOfA);
        const float* pa = rowsOfA.projection;
        const float* pb = right.projection;
        for (std::size_t i = 0; i < std::size(kOtherSums); ++i) {
            const auto sum = kOtherSums[i].sum;
            for (std::size_t r = 0; r < kRows && round == 0; ++r) {
                const float row = sum(tables->projectionB[r], features.data(), kColumns);
                rowsThatDiffer[i] += sameBits(right.projection[r], row) ? 0 : 1;
            }
            const auto norm =
                static_cast<float>(std::sqrt(static_cast<double>(sum(pb, pb, kRows))));
            normsThatDiffer[i] += sameBits(right.projectionNorm, norm) ? 0 : 1;
            quadraticsThatDiffer[i] += sameBits(right.quadraticTerm, sum(pa, pa, kRows)) ? 0 : 1;
        }
    }
    for (std::size_t i = 0; i < std::size(kOtherSums); ++i) {
        EXPECT_GT(rowsThatDiffer[i], 400) << kOtherSums[i].name;
        EXPECT_GT(quadraticsThatDiffer[i], 0) << kOtherSums[i].name;
        EXPECT_GT(normsThatDiffer[i], 0) << kOtherSums[i].name;
    }
}

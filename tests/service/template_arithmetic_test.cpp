#include "template/template_arithmetic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <vector>

#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"
#include "support/zeroed_tables.h"

static constexpr std::size_t kRows = 500;
static constexpr std::size_t kColumns = 8000;

// Runs the production function on 320 values and returns what it stores.
static std::vector<float> stored(std::vector<float> values) {
    const Matrix out = Matrix::view(values.data(), 2, 160);
    std::vector<float> destination(320);
    storeNetworkOutput(out, destination.data());
    return destination;
}

static std::vector<float> storedByReference(const std::vector<float>& values) {
    std::vector<float> destination(320);
    referenceStoreNetworkOutput(values.data(), destination.data());
    return destination;
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

TEST(StoreNetworkOutput, halfOfZerosGivesNanInThatHalfOnly) {
    Random random(11);
    for (const std::size_t zeroHalf : {std::size_t{0}, std::size_t{1}}) {
        std::vector<float> values = random.floats(320, -1.0F, 1.0F);
        std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(160 * zeroHalf), 160, 0.0F);
        const std::vector<float> result = stored(values);
        for (std::size_t i = 0; i < 320; ++i) {
            EXPECT_EQ(i / 160 == zeroHalf, std::isnan(result[i])) << "index " << i;
        }
        EXPECT_TRUE(sameFloats(storedByReference(values), result));
    }
}

TEST(StoreNetworkOutput, nanAndInfinityStayInTheirHalf) {
    Random random(12);
    std::vector<float> values = random.floats(320, -1.0F, 1.0F);
    values[77] = std::numeric_limits<float>::quiet_NaN();
    values[200] = -std::numeric_limits<float>::infinity();
    const std::vector<float> result = stored(values);
    for (std::size_t i = 0; i < 160; ++i) {
        EXPECT_TRUE(std::isnan(result[i])) << "index " << i;
    }
    // An infinite norm: finite values vanish, the infinite one has no direction.
    for (std::size_t i = 160; i < 320; ++i) {
        EXPECT_TRUE(i == 200 ? std::isnan(result[i]) : result[i] == 0.0F) << "index " << i;
    }
    EXPECT_TRUE(sameFloats(storedByReference(values), result));
}

// A square that overflows in 32 bits gives an infinite norm although the accumulator could hold it;
// one that underflows counts as zero.
TEST(StoreNetworkOutput, squaresOverflowAndUnderflowIn32Bits) {
    std::vector<float> values(320, 0.0F);
    values[3] = 1e30F;
    values[160] = 1e-30F;
    const std::vector<float> result = stored(values);
    EXPECT_TRUE(sameFloat(0.0F, result[3]));
    EXPECT_TRUE(sameFloat(std::numeric_limits<float>::infinity(), result[160]));
    EXPECT_TRUE(sameFloats(storedByReference(values), result));
}

// Sums beyond the range of 32 bits fit the accumulator but not its narrowed value.
TEST(StoreNetworkOutput, sumIsNarrowedBeforeTheRoot) {
    const std::vector<float> values(320, 1.5e19F);
    const std::vector<float> result = stored(values);
    EXPECT_TRUE(sameFloats(std::vector<float>(320, 0.0F), result));
}

TEST(StoreNetworkOutput, touchesExactly320ValuesWhateverTheElementCountSays) {
    Random random(13);
    for (const std::size_t misalignment : {0U, 1U, 2U, 3U}) {
        std::vector<float> values = random.floats(320, -5.0F, 5.0F);
        const std::vector<float> before = values;
        Matrix out = Matrix::view(values.data(), 2, 160);
        out.numElements = 7;
        GuardedBuffer<float> destination(320, misalignment);
        storeNetworkOutput(out, destination.data());
        EXPECT_TRUE(destination.guardsIntact());
        EXPECT_TRUE(
            sameFloats(storedByReference(values).data(), destination.data(), values.size()));
        EXPECT_TRUE(sameFloats(before, values)) << "the output itself must not change";
    }
}

TEST(StoreNetworkOutput, equalsTheReferenceBitForBit) {
    Random random(14);
    for (int round = 0; round < 500; ++round) {
        const float size = std::ldexp(1.0F, random.between(-40, 40));
        const std::vector<float> values = random.floats(320, -size, size);
        ASSERT_TRUE(sameFloats(storedByReference(values), stored(values))) << "round " << round;
    }
    for (int round = 0; round < 200; ++round) {
        std::vector<float> values(320);
        for (float& value : values) {
            value = random.anyFloat();
        }
        ASSERT_TRUE(sameFloats(storedByReference(values), stored(values))) << "round " << round;
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
        const std::vector<float> expected = storedByReference(values);

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

// The process-wide tables, zero again after each test.
class ProjectionTables : public testing::Test {
    const ZeroedTables tables;

  protected:
    static void fill(float* table, std::size_t count, Random& random, float low, float high) {
        for (std::size_t i = 0; i < count; ++i) {
            table[i] = random.uniform(low, high);
        }
    }

    static void fillProjections(Random& random) {
        fill(&g_modelTables.projectionA[0][0], kRows * kColumns, random, -1.0F, 1.0F);
        fill(&g_modelTables.projectionB[0][0], kRows * kColumns, random, -1.0F, 1.0F);
    }

    static FaceTemplate projected(const std::vector<float>& features) {
        FaceTemplate result;
        projectFeatures(g_modelTables, features.data(), result);
        return result;
    }

    static FaceTemplate projectedByReference(const std::vector<float>& features) {
        FaceTemplate result;
        referenceProjectFeatures(features.data(), &g_modelTables.projectionA[0][0],
                                 &g_modelTables.projectionB[0][0], result);
        return result;
    }

    static testing::AssertionResult sameTemplates(const FaceTemplate& expected,
                                                  const FaceTemplate& actual) {
        return sameFloats(reinterpret_cast<const float*>(&expected),
                          reinterpret_cast<const float*>(&actual), 502);
    }
};

TEST_F(ProjectionTables, zeroMeanLeavesFeaturesUnchanged) {
    Random random(21);
    std::vector<float> features(kColumns);
    for (float& value : features) {
        value = random.anyFloat();
    }
    features[5] = -0.0F;
    const std::vector<float> before = features;
    subtractFeatureMean(g_modelTables.featureMean, features.data());
    EXPECT_TRUE(sameFloats(before, features));
}

TEST_F(ProjectionTables, meanSubtractionEqualsTheReferenceAndKeepsToItsRange) {
    Random random(22);
    fill(g_modelTables.featureMean, kColumns, random, -1.0F, 1.0F);
    g_modelTables.featureMean[7999] = 1e-3F;
    std::vector<float> expected = random.floats(kColumns, -1.0F, 1.0F);
    GuardedBuffer<float> features(kColumns, 1);
    std::copy(expected.begin(), expected.end(), features.data());
    const std::vector<float> mean(g_modelTables.featureMean, g_modelTables.featureMean + kColumns);

    referenceSubtractFeatureMean(expected.data(), mean.data());
    subtractFeatureMean(g_modelTables.featureMean, features.data());
    EXPECT_TRUE(sameFloats(expected.data(), features.data(), kColumns));
    EXPECT_TRUE(features.guardsIntact());
    EXPECT_TRUE(sameFloats(mean.data(), g_modelTables.featureMean, kColumns))
        << "the mean must not change";
}

// Powers of two in few places: all sums are exact and can be checked by eye.
TEST_F(ProjectionTables, firstTableGivesOneNumberAndSecondGivesTheRest) {
    std::vector<float> features(kColumns, 0.0F);
    features[0] = 2.0F;
    features[7999] = -1.0F;
    g_modelTables.projectionA[0][0] = 1.5F;       // row result 3
    g_modelTables.projectionA[499][7999] = 4.0F;  // row result -4
    g_modelTables.projectionB[0][0] = 1.5F;       // row result 3
    g_modelTables.projectionB[17][7999] = 0.0F;
    g_modelTables.projectionB[499][0] = 4.0F;  // row result 8 - 4 = 4
    g_modelTables.projectionB[499][7999] = 4.0F;
    const FaceTemplate result = projected(features);
    for (std::size_t r = 0; r < kRows; ++r) {
        const float expected = r == 0 ? 3.0F : r == 499 ? 4.0F : 0.0F;
        EXPECT_EQ(expected, result.projection[r]) << "row " << r;
    }
    EXPECT_EQ(25.0F, result.quadraticTerm) << "squared length, no root";
    EXPECT_EQ(5.0F, result.projectionNorm);
}

TEST_F(ProjectionTables, missingTablesGiveATemplateOfZeros) {
    Random random(23);
    const std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
    const FaceTemplate result = projected(features);
    const std::vector<float> zeros(502, 0.0F);
    EXPECT_TRUE(sameFloats(zeros.data(), reinterpret_cast<const float*>(&result), 502));
}

TEST_F(ProjectionTables, missingTablesDoNotHideNan) {
    std::vector<float> features(kColumns, 0.25F);
    features[4000] = std::numeric_limits<float>::quiet_NaN();
    const FaceTemplate result = projected(features);
    const std::vector<float> nans(502, std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(sameFloats(nans.data(), reinterpret_cast<const float*>(&result), 502));
}

// From a network whose second half is zero up to the finished template.
TEST_F(ProjectionTables, networkOutputOfZerosMakesEveryValueNan) {
    Random random(24);
    fillProjections(random);
    fill(g_modelTables.featureMean, kColumns, random, -0.1F, 0.1F);
    std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
    std::vector<float> values = random.floats(320, -1.0F, 1.0F);
    std::fill(values.begin() + 160, values.end(), 0.0F);
    storeNetworkOutput(Matrix::view(values.data(), 2, 160), features.data() + 320 * 24);
    subtractFeatureMean(g_modelTables.featureMean, features.data());
    const FaceTemplate result = projected(features);
    const std::vector<float> nans(502, std::numeric_limits<float>::quiet_NaN());
    EXPECT_TRUE(sameFloats(nans.data(), reinterpret_cast<const float*>(&result), 502));
}

TEST_F(ProjectionTables, projectionEqualsTheReferenceBitForBit) {
    Random random(25);
    fillProjections(random);
    for (int round = 0; round < 4; ++round) {
        const float size = std::ldexp(1.0F, 12 * round - 18);
        const std::vector<float> features = random.floats(kColumns, -size, size);
        ASSERT_TRUE(sameTemplates(projectedByReference(features), projected(features)))
            << "round " << round;
    }
}

TEST_F(ProjectionTables, projectionOfAnyBitPatternsEqualsTheReference) {
    Random random(26);
    for (std::size_t r = 0; r < kRows; ++r) {
        // Few enough odd values for most rows to stay finite.
        for (int i = 0; i < 30; ++i) {
            g_modelTables.projectionA[r][random.between(0, 7999)] = random.anyFloat();
            g_modelTables.projectionB[r][random.between(0, 7999)] = random.anyFloat();
        }
    }
    const std::vector<float> features = random.floats(kColumns, -1e-3F, 1e-3F);
    EXPECT_TRUE(sameTemplates(projectedByReference(features), projected(features)));
}

TEST_F(ProjectionTables, projectionWritesAllOfTheTemplateAndNothingElse) {
    Random random(27);
    fillProjections(random);
    const std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
    const std::vector<float> before = features;
    GuardedBuffer<FaceTemplate> room(1);
    projectFeatures(g_modelTables, features.data(), room[0]);
    EXPECT_TRUE(room.guardsIntact());
    EXPECT_TRUE(sameTemplates(projectedByReference(features), room[0]));
    EXPECT_TRUE(sameFloats(before, features)) << "the features must not change";
}

namespace {

// Wrong ways to add up n products: every one is a rearrangement that looks harmless.

float sumReversed(const float* w, const float* x, std::size_t n) {
    float sum = 0;
    for (std::size_t i = n; i-- > 0;) {
        sum = sum + w[i] * x[i];
    }
    return sum;
}

float sumPairwise(const float* w, const float* x, std::size_t n) {
    if (n == 1) {
        return w[0] * x[0];
    }
    const std::size_t half = n / 2;
    return sumPairwise(w, x, half) + sumPairwise(w + half, x + half, n - half);
}

float sumInFourLanes(const float* w, const float* x, std::size_t n) {
    float lane[4] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < n; ++i) {
        lane[i % 4] = lane[i % 4] + w[i] * x[i];
    }
    return (lane[0] + lane[1]) + (lane[2] + lane[3]);
}

float sumFused(const float* w, const float* x, std::size_t n) {
    float sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        sum = std::fma(w[i], x[i], sum);
    }
    return sum;
}

float sumIn64Bits(const float* w, const float* x, std::size_t n) {
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        sum = sum + static_cast<double>(w[i]) * static_cast<double>(x[i]);
    }
    return static_cast<float>(sum);
}

}  // namespace

static const struct {
    const char* name;
    float (*sum)(const float*, const float*, std::size_t);
} kWrongWays[] = {{"reversed", sumReversed},
                  {"pairwise", sumPairwise},
                  {"four lanes", sumInFourLanes},
                  {"fused", sumFused},
                  {"64 bits", sumIn64Bits}};

// The data of the bit-for-bit tests tells the right sum from each wrong one, in nearly every row.
TEST_F(ProjectionTables, otherOrdersOfSummationWouldBeNoticedInTheRows) {
    Random random(25);
    fillProjections(random);
    const std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
    const FaceTemplate right = projected(features);
    for (const auto& way : kWrongWays) {
        int rowsThatDiffer = 0;
        float quadratic = 0;
        for (std::size_t r = 0; r < kRows; ++r) {
            const float pa = way.sum(g_modelTables.projectionA[r], features.data(), kColumns);
            const float pb = way.sum(g_modelTables.projectionB[r], features.data(), kColumns);
            quadratic = quadratic + pa * pa;
            if (!sameBits(right.projection[r], pb)) {
                ++rowsThatDiffer;
            }
        }
        EXPECT_GT(rowsThatDiffer, 400) << way.name;
        EXPECT_FALSE(sameBits(right.quadraticTerm, quadratic)) << way.name;
    }
}

// The same for the two sums of squares, which are one number a template: each wrong way must show
// in at least one of a few templates.
TEST_F(ProjectionTables, otherOrdersOfSummationWouldBeNoticedInTheSumsOfSquares) {
    Random random(28);
    fillProjections(random);
    int quadraticsThatDiffer[std::size(kWrongWays)] = {};
    int normsThatDiffer[std::size(kWrongWays)] = {};
    for (int round = 0; round < 8; ++round) {
        const std::vector<float> features = random.floats(kColumns, -1.0F, 1.0F);
        const FaceTemplate right = projected(features);
        ASSERT_TRUE(sameTemplates(projectedByReference(features), right)) << "round " << round;
        // The first table's rows, by way of the second table's place in a template.
        FaceTemplate rowsOfA;
        referenceProjectFeatures(features.data(), &g_modelTables.projectionB[0][0],
                                 &g_modelTables.projectionA[0][0], rowsOfA);
        const float* pa = rowsOfA.projection;
        const float* pb = right.projection;
        for (std::size_t i = 0; i < std::size(kWrongWays); ++i) {
            const auto sum = kWrongWays[i].sum;
            if (!sameBits(right.quadraticTerm, sum(pa, pa, kRows))) {
                ++quadraticsThatDiffer[i];
            }
            const auto wide = static_cast<double>(sum(pb, pb, kRows));
            if (!sameBits(right.projectionNorm, static_cast<float>(std::sqrt(wide)))) {
                ++normsThatDiffer[i];
            }
        }
    }
    for (std::size_t i = 0; i < std::size(kWrongWays); ++i) {
        EXPECT_GT(quadraticsThatDiffer[i], 0) << kWrongWays[i].name;
        EXPECT_GT(normsThatDiffer[i], 0) << kWrongWays[i].name;
    }
}

// The numbers of untrained models: their statistics, and scores that cannot exceed 1.
#include "model/drawn_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "model/model_tables.h"
#include "network/net_texts.h"
#include "support/bits.h"
#include "support/projection_rows.h"
#include "support/made_model.h"
#include "support/random.h"
#include "template/template_arithmetic.h"
#include "zomu.h"

static NetPlan planOf(int net) {
    return planNetwork(netDescriptionTexts[net]);
}

static double meanSquare(const std::vector<float>& values) {
    double sum = 0;
    for (const float value : values) {
        sum += static_cast<double>(value) * static_cast<double>(value);
    }
    return sum / static_cast<double>(values.size());
}

TEST(DrawnModel, randomWeightsHaveTwiceTheVarianceOfTheirFanIn) {
    const NetPlan plan = planOf(3);
    const NetNumbers numbers = drawNetwork(WeightKind::random, 5, plan);
    ASSERT_EQ(numbers.size(), plan.size());
    // conv2, local3, local4, and both inputs of fc, which add up in the same outputs. Their
    // smallest matrix has 4608 values: a relative standard error of sqrt(2 / 4608) = 0.02 at most.
    EXPECT_NEAR(meanSquare(numbers[4].weights[0]) * 144 / 2, 1.0, 0.1);
    EXPECT_NEAR(meanSquare(numbers[7].weights[0]) * 288 / 2, 1.0, 0.06);
    EXPECT_NEAR(meanSquare(numbers[10].weights[0]) * 192 / 2, 1.0, 0.06);
    EXPECT_NEAR(meanSquare(numbers[12].weights[0]) * (576 + 768) / 2, 1.0, 0.03);
    EXPECT_NEAR(meanSquare(numbers[12].weights[1]) * (576 + 768) / 2, 1.0, 0.03);
}

TEST(DrawnModel, firstFiltersIgnoreBrightness) {
    for (const WeightKind kind : {WeightKind::random, WeightKind::integer}) {
        for (const int net : {0, 3}) {
            const std::vector<float> filters = drawNetwork(kind, 5, planOf(net))[1].weights[0];
            for (std::size_t col = 0; col < 16; ++col) {
                double sum = 0;
                for (std::size_t i = col; i < filters.size(); i += 16) {
                    sum += static_cast<double>(filters[i]);
                }
                EXPECT_NEAR(sum, 0.0, 1e-6) << "net " << net << ", filter " << col;
            }
        }
    }
}

TEST(DrawnModel, integerNetworksHoldSmallIntegersInEveryRow) {
    const NetPlan plan = planOf(0);
    const NetNumbers numbers = drawNetwork(WeightKind::integer, 5, plan);
    for (std::size_t i = 0; i < plan.size(); ++i) {
        for (std::size_t k = 0; k < plan[i].weights.size(); ++k) {
            const MatrixShape& shape = plan[i].weights[k];
            const auto cols = static_cast<std::size_t>(shape.cols);
            const std::vector<float>& values = numbers[i].weights[k];
            for (std::size_t row = 0; row < static_cast<std::size_t>(shape.rows); ++row) {
                const float* begin = values.data() + row * cols;
                EXPECT_TRUE(std::any_of(begin, begin + cols, [](float x) { return x != 0.0F; }))
                    << shape.name << ", row " << row;
            }
            for (const float value : values) {
                EXPECT_TRUE(std::abs(value) <= 2.0F && std::trunc(value) == value) << shape.name;
            }
        }
        for (const float bias : numbers[i].biases) {
            EXPECT_TRUE(bias >= -8.0F && bias <= 7.0F && std::trunc(bias) == bias);
        }
    }
}

TEST(DrawnModel, meanImagesAreAroundMidGrey) {
    const std::vector<float> image = drawMeanImage(5, "0-1-0", 9075);
    ASSERT_EQ(image.size(), 9075U);
    EXPECT_EQ(*std::min_element(image.begin(), image.end()), 96.0F);
    EXPECT_EQ(*std::max_element(image.begin(), image.end()), 159.0F);
}

// Features as random networks would give them, projected with the tables of a model.
class Projecting : public testing::TestWithParam<WeightKind> {
  protected:
    void SetUp() override {
        const Projections drawn = drawProjections(GetParam(), 11);
        ASSERT_EQ(drawn.a.size(), 500U * 8000);
        ASSERT_EQ(drawn.b.size(), 500U * 8000);
        for (std::size_t i = 0; i < drawn.a.size(); ++i) {
            const auto row = static_cast<int>(i / 8000);
            const auto column = static_cast<int>(i % 8000);
            tables->projection.at(row, column) = drawn.a[i];
            tables->projection.at(500 + row, column) = drawn.b[i];
        }
    }

    FaceTemplate project() {
        const std::vector<float> features = random.floats(kFeatureCount, -0.1F, 0.1F);
        FaceTemplate result;
        projectFeatures(*runnableKernels().front(), *tables, features.data(), result);
        return result;
    }

    const std::unique_ptr<ModelTables> tables = std::make_unique<ModelTables>();
    Random random{17};
};

TEST_P(Projecting, aTemplateScoresOneWithItselfAndHasItsSquaredLengthToTheBit) {
    for (int i = 0; i < 5; ++i) {
        const FaceTemplate face = project();
        EXPECT_TRUE(sameFloat(1.0F, ZomuCompareTemplates(&face, &face)));
        float sum = 0.0F;
        for (const float value : face.projection) {
            const float square = value * value;
            sum = sum + square;
        }
        EXPECT_TRUE(sameFloat(sum, face.quadraticTerm));
        EXPECT_GT(face.projectionNorm, 0.5F);
        EXPECT_LT(face.projectionNorm, 20.0F);
    }
}

TEST_P(Projecting, scoresAreOneLessTheRelativeSquaredDistance) {
    const FaceTemplate a = project();
    const FaceTemplate b = project();
    double distance = 0;
    double lengthA = 0;
    double lengthB = 0;
    for (int r = 0; r < ZOMU_PROJECTION_SIZE; ++r) {
        const auto x = static_cast<double>(a.projection[r]);
        const auto y = static_cast<double>(b.projection[r]);
        distance += (x - y) * (x - y);
        lengthA += x * x;
        lengthB += y * y;
    }
    const float score = ZomuCompareTemplates(&a, &b);
    EXPECT_NEAR(static_cast<double>(score), 1.0 - distance / std::sqrt(lengthA * lengthB), 1e-4);
    EXPECT_LT(score, 0.5F);
}

TEST_P(Projecting, theTwoTablesCannotBeMistakenForEachOther) {
    const std::vector<float> a = rowsOf(tables->projection, 0);
    const std::vector<float> b = rowsOf(tables->projection, 500);
    for (const std::size_t row : {0U, 1U, 498U}) {
        const std::size_t first = row * kFeatureCount;
        EXPECT_EQ(sameFloats(&a[first], &b[first], kFeatureCount), row != 1);
    }
    EXPECT_EQ(b[499 * 8000 + 3], -a[499 * 8000 + 3]);
}

INSTANTIATE_TEST_SUITE_P(DrawnModel, Projecting,
                         testing::Values(WeightKind::random, WeightKind::integer),
                         [](const auto& kind) { return nameOfKind(kind.param); });

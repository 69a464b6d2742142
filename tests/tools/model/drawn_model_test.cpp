// The numbers of untrained models: their statistics. made_models_test.cpp has the scores.
#include "model/drawn_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "model/model_tables.h"
#include "network/net_texts.h"
#include "support/made_model.h"

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

// That they hold integers, and small ones, is a condition of makeModel.
TEST(DrawnModel, integerNetworksUseEveryRow) {
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
        }
    }
}

TEST(DrawnModel, meanImagesAreAroundMidGrey) {
    const std::vector<float> image = drawMeanImage(5, "0-1-0", 9075);
    ASSERT_EQ(image.size(), 9075U);
    EXPECT_EQ(*std::min_element(image.begin(), image.end()), 96.0F);
    EXPECT_EQ(*std::max_element(image.begin(), image.end()), 159.0F);
}

TEST(DrawnModel, tablesDifferInTheSignOfEverySecondRowAndNotInLength) {
    for (const WeightKind kind : {WeightKind::random, WeightKind::integer}) {
        const Projections tables = drawProjections(kind, 11);
        ASSERT_EQ(tables.a.size(), std::size_t{kProjectionCount} * kFeatureCount);
        ASSERT_EQ(tables.b.size(), tables.a.size());
        for (std::size_t i = 0; i < tables.a.size(); ++i) {
            const float sign = i / kFeatureCount % 2 == 0 ? 1.0F : -1.0F;
            ASSERT_EQ(tables.b[i], sign * tables.a[i]) << i;
        }
        // Features of length 1 have projections of about that length.
        const double length = std::sqrt(kProjectionCount * meanSquare(tables.b));
        EXPECT_NEAR(length, 1.0, 0.3) << nameOfKind(kind);
    }
}

// The bound on sums of products, on networks whose bound is worked out by hand.
#include "model/exact_sums.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "network/net_texts.h"

// Network 4: one plane of 47 x 47. All weights and biases zero, the mean image mid-grey.
class ExactSums : public testing::Test {
  protected:
    ExactSums() : plan(planNetwork(netDescriptionTexts[3])), mean(2209, 100.0F) {
        for (const LayerPlan& layer : plan) {
            LayerNumbers& zeros = numbers.emplace_back();
            for (const MatrixShape& shape : layer.weights) {
                zeros.weights.emplace_back(shape.rows * shape.cols, 0.0F);
            }
            for (const MatrixShape& shape : layer.biases) {
                zeros.biases.assign(static_cast<std::size_t>(shape.rows * shape.cols), 0.0F);
            }
        }
    }

    void expectLargest(std::int64_t value, const std::string& layer) const {
        const LargestSum largest = largestSum(plan, numbers, mean);
        EXPECT_EQ(largest.value, value);
        EXPECT_EQ(largest.layer, layer);
    }

    // Positions of the layers with weights.
    static constexpr std::size_t kConv1 = 1, kConv2 = 4, kLocal3 = 7, kLocal4 = 10, kFc = 12;

    NetPlan plan;
    NetNumbers numbers;
    std::vector<float> mean;
};

TEST_F(ExactSums, withoutWeightsThePictureItselfIsTheLargest) {
    expectLargest(155, "data");
    mean[1234] = 201.0F;
    expectLargest(201, "data");
    mean[5] = -20.0F;
    expectLargest(275, "data");
}

TEST_F(ExactSums, signsDoNotCancelAndBiasesCount) {
    std::vector<float>& filters = numbers[kConv1].weights[0];
    filters[0 * 16 + 3] = 2.0F;
    filters[9 * 16 + 3] = -5.0F;
    filters[1 * 16 + 4] = 6.0F;
    numbers[kConv1].biases[3] = -4.0F;
    expectLargest(7 * 155 + 4, "conv1");
}

// Plane 3 of conv1 feeds rows 27 to 35 of conv2's filters, and so on up to fc, which adds two
// stages.
TEST_F(ExactSums, sumsGrowFromStageToStage) {
    numbers[kConv1].weights[0][3] = 2.0F;
    numbers[kConv2].weights[0][(3 * 9 + 8) * 32 + 31] = -3.0F;
    numbers[kLocal3].weights[0][(31 * 9) * 48 + 47] = 5.0F;
    numbers[kLocal3].biases[47] = 1.0F;
    numbers[kLocal4].weights[0][(47 * 4 + 2) * 64 + 63] = -7.0F;
    const std::int64_t atPool3 = 155 * 2 * 3 * 5 + 1;
    expectLargest(atPool3 * 7, "local4");

    numbers[kFc].weights[0][(63 * 9 + 8) * 160 + 159] = 1.0F;
    numbers[kFc].weights[1][(47 * 16 + 15) * 160 + 159] = -2.0F;
    numbers[kFc].biases[159] = 10.0F;
    expectLargest(atPool3 * 7 + 2 * atPool3 + 10, "fc");
}

TEST_F(ExactSums, planesWithoutInputStaySmall) {
    numbers[kConv1].weights[0][3] = 2.0F;
    // The row before the first one that plane 3 feeds.
    numbers[kConv2].weights[0][(3 * 9 - 1) * 32 + 31] = 100.0F;
    expectLargest(310, "conv1");
}

TEST_F(ExactSums, reachesTheLimitAtTwoToTheTwentyFourth) {
    mean.assign(mean.size(), 127.0F);  // pixels from -127 to 128
    numbers[kConv1].weights[0][0] = 131071.0F;
    numbers[kConv1].biases[0] = 127.0F;
    expectLargest(kExactLimit - 1, "conv1");
    numbers[kConv1].biases[0] = 128.0F;
    expectLargest(kExactLimit, "conv1");
    // Huge numbers do not overflow.
    numbers[kConv1].weights[0].assign(256, 16000000.0F);
    numbers[kConv2].weights[0].assign(144 * 32, 16000000.0F);
    EXPECT_GE(largestSum(plan, numbers, mean).value, kExactLimit);
}

TEST_F(ExactSums, whatIsNotASmallIntegerIsRefused) {
    for (const float value : {0.5F, -1.25F, 16777216.0F, std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()}) {
        NetNumbers wrong = numbers;
        wrong[kLocal4].weights[0][77] = value;
        EXPECT_THROW(largestSum(plan, wrong, mean), std::runtime_error) << value;
        wrong = numbers;
        wrong[kFc].biases[7] = value;
        EXPECT_THROW(largestSum(plan, wrong, mean), std::runtime_error) << value;
        std::vector<float> wrongMean = mean;
        wrongMean[2208] = value;
        EXPECT_THROW(largestSum(plan, numbers, wrongMean), std::runtime_error) << value;
    }
    mean.pop_back();
    EXPECT_THROW(largestSum(plan, numbers, mean), std::runtime_error);
}

// Whole networks against a second writing of them in 64-bit floats: one network of each of the
// three shapes that the descriptions have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "network/conv_net.h"
#include "network/net_texts.h"
#include "reference/reference_network.h"
#include "reference/reference_tables.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/random.h"
#include "support/temporary_folder.h"

// Three planes of 55 x 55, three of 47 x 47, one of 47 x 47.
static constexpr int kNumbersOfEachShape[] = {2, 11, 10};

static std::size_t patchSize(int number) {
    const ReferencePatch& patch = kReferencePatches[number - 1];
    return static_cast<std::size_t>((patch.isColour ? 3 : 1) * patch.size * patch.size);
}

// The 320 outputs of network `number`, built from `folder`, for two rows of one patch. All other
// entries of the patch list are null: a network may look at its own only.
class BuiltNetwork {
  public:
    BuiltNetwork(const std::string& folder, int networkNumber)
        : number(networkNumber), net(number - 1, netDescriptionTexts[number - 1], folder) {}

    std::vector<float> run(std::vector<float> patch) {
        Matrix rows = Matrix::view(patch.data(), 2, static_cast<int>(patchSize(number)));
        MatrixList list(25, nullptr);
        list[static_cast<std::size_t>(number - 1)] = &rows;
        const Matrix* out = runNet(net, list);
        if (out == nullptr || out->numRows != 2 || out->numCols != 160) {
            ADD_FAILURE() << "the output is not 2 x 160";
            return std::vector<float>(320, 0.0F);
        }
        return std::vector<float>(out->data, out->data + 320);
    }

  private:
    int number;
    ConvNet net;
};

static testing::AssertionResult withinBounds(const ReferenceOutput& expected,
                                             const std::vector<float>& actual) {
    for (std::size_t i = 0; i < 320; ++i) {
        const double difference = std::abs(static_cast<double>(actual[i]) - expected.values[i]);
        // Written so that NaN fails.
        if (!(difference <= expected.bounds[i])) {
            return testing::AssertionFailure()
                   << "index " << i << ": expected " << expected.values[i] << " within "
                   << expected.bounds[i] << ", actual " << hexFloat(actual[i]);
        }
    }
    return testing::AssertionSuccess();
}

static double largest(const std::vector<double>& values) {
    double result = 0;
    for (const double value : values) {
        result = std::max(result, std::abs(value));
    }
    return result;
}

static std::vector<float> narrowed(const ReferenceOutput& output) {
    std::vector<float> values;
    for (const double value : output.values) {
        values.push_back(static_cast<float>(value));
    }
    return values;
}

TEST(NetworkReference, randomNetworksStayWithinTheirErrorBounds) {
    Random random(41);
    for (const int number : kNumbersOfEachShape) {
        const TemporaryFolder folder;
        writeNetWeights(folder.prefix(), number, random);
        const ReferenceNetwork reference = readReferenceNetwork(folder.prefix(), number);
        BuiltNetwork net(folder.prefix(), number);
        for (int round = 0; round < 2; ++round) {
            const std::vector<float> patch = random.floats(2 * patchSize(number), -128, 127);
            const ReferenceOutput expected = runReferenceNetwork(reference, patch.data());
            EXPECT_TRUE(withinBounds(expected, net.run(patch)))
                << "network " << number << ", round " << round;
            // The comparison means something only while the bounds are small beside the values and
            // the rectifiers have something to do.
            EXPECT_LT(largest(expected.bounds), 1e-3 * largest(expected.values));
            EXPECT_GT(expected.rectified, 1000);
        }
    }
}

// Weights of -1, 0 and 1, few of them in each column, and patches of small integers: all sums stay
// far below 2^24, every float operation is exact in any order, and not one bit may differ.
static void writeIntegerWeights(const std::string& folder, int number, Random& random) {
    for (const WeightFile& file : weightFilesOf(number)) {
        const auto rows = static_cast<std::size_t>(file.rows);
        const auto cols = static_cast<std::size_t>(file.cols);
        std::vector<float> values(rows * cols, 0.0F);
        if (file.isBias) {
            for (float& value : values) {
                value = static_cast<float>(random.between(-9, 9));
            }
        } else {
            for (std::size_t i = 0; i < 10 * cols; ++i) {
                const auto row = static_cast<std::size_t>(random.between(0, file.rows - 1));
                values[row * cols + i % cols] = random.oneIn(3) ? -1.0F : 1.0F;
            }
        }
        writeWeightFile(folder + file.name(number), file.rows, file.cols, values);
    }
}

TEST(NetworkReference, networksOfSmallIntegersAreExact) {
    Random random(42);
    for (const int number : kNumbersOfEachShape) {
        const TemporaryFolder folder;
        writeIntegerWeights(folder.prefix(), number, random);
        const ReferenceNetwork reference = readReferenceNetwork(folder.prefix(), number);
        BuiltNetwork net(folder.prefix(), number);
        for (int round = 0; round < 2; ++round) {
            std::vector<float> patch(2 * patchSize(number));
            for (float& value : patch) {
                value = static_cast<float>(random.between(-20, 20));
            }
            const ReferenceOutput expected = runReferenceNetwork(reference, patch.data());
            ASSERT_LT(expected.largestSum, 0x1p24) << "not exact any more";
            EXPECT_GT(expected.rectified, 1000);
            EXPECT_TRUE(sameFloats(narrowed(expected), net.run(patch)))
                << "network " << number << ", round " << round;
            EXPECT_GT(largest(expected.values), 100) << "an output of zeros proves nothing";
        }
    }
}

TEST(NetworkReference, patchOfZerosLeavesTheBiases) {
    Random random(43);
    const int number = 4;
    const TemporaryFolder folder;
    writeNetWeights(folder.prefix(), number, random);
    const ReferenceNetwork reference = readReferenceNetwork(folder.prefix(), number);
    const std::vector<float> patch(2 * patchSize(number), 0.0F);
    const std::vector<float> actual = BuiltNetwork(folder.prefix(), number).run(patch);
    EXPECT_TRUE(withinBounds(runReferenceNetwork(reference, patch.data()), actual));
    EXPECT_TRUE(sameFloats(actual.data(), actual.data() + 160, 160)) << "equal rows, equal outputs";
}

// The exact comparison is telling: with any two neighbouring rows of any file exchanged (elements,
// where there is only one row or column) the outputs are others.
TEST(NetworkReference, exchangedWeightsWouldBeNoticed) {
    Random random(44);
    const int number = 10;
    const TemporaryFolder folder;
    writeIntegerWeights(folder.prefix(), number, random);
    std::vector<float> patch(2 * patchSize(number));
    for (float& value : patch) {
        value = static_cast<float>(random.between(-20, 20));
    }
    const ReferenceNetwork right = readReferenceNetwork(folder.prefix(), number);
    const std::vector<float> expected = narrowed(runReferenceNetwork(right, patch.data()));
    ASSERT_TRUE(sameFloats(expected, BuiltNetwork(folder.prefix(), number).run(patch)));

    ReferenceNetwork wrong = right;
    std::vector<std::pair<std::string, ReferenceWeights*>> files = {
        {"weights from local4", &wrong.fromLocal4},
        {"weights from pool3", &wrong.fromPool3},
        {"output biases", &wrong.outputBiases}};
    for (std::size_t i = 0; i < 4; ++i) {
        files.emplace_back("filters " + std::to_string(i), &wrong.filters[i]);
        files.emplace_back("biases " + std::to_string(i), &wrong.biases[i]);
    }
    for (const auto& [name, weights] : files) {
        const ReferenceWeights saved = *weights;
        const bool vector = weights->rows == 1 || weights->cols == 1;
        const auto count = static_cast<std::size_t>(vector ? 1 : weights->cols);
        for (std::size_t i = 0; i < count; ++i) {
            std::swap(weights->values[4 * count + i], weights->values[5 * count + i]);
        }
        EXPECT_FALSE(sameFloats(expected, narrowed(runReferenceNetwork(wrong, patch.data()))))
            << name;
        *weights = saved;
    }
}

// A crop must not reach the other crop's row.
TEST(NetworkReference, rowsOfAPatchDoNotInfluenceEachOther) {
    Random random(45);
    for (const int number : kNumbersOfEachShape) {
        const TemporaryFolder folder;
        writeNetWeights(folder.prefix(), number, random);
        BuiltNetwork net(folder.prefix(), number);
        const std::size_t size = patchSize(number);
        std::vector<float> patch = random.floats(2 * size, -128, 127);
        const std::vector<float> first = net.run(patch);
        std::rotate(patch.begin(), patch.begin() + static_cast<std::ptrdiff_t>(size), patch.end());
        const std::vector<float> exchanged = net.run(patch);
        EXPECT_TRUE(sameFloats(first.data(), exchanged.data() + 160, 160)) << "network " << number;
        EXPECT_TRUE(sameFloats(first.data() + 160, exchanged.data(), 160)) << "network " << number;
        EXPECT_FALSE(sameFloats(first, exchanged)) << "network " << number;
    }
}

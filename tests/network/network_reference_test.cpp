// Whole networks against a second writing of them in 64-bit floats: one network of each of the
// three shapes that the descriptions have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "network/net_texts.h"
#include "reference/reference_network.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

using Values = std::vector<float>;

// Three planes of 55 x 55, three of 47 x 47, one of 47 x 47.
constexpr int kNumbersOfEachShape[] = {2, 11, 10};

using Writer = void (*)(const std::string& folder, int number, Random& random);

// The 320 outputs for two rows of one patch. All other entries of the patch list are null: a
// network may look at its own only.
Values run(ConvNet& net, int number, Values patch) {
    Matrix rows = Matrix::view(patch.data(), 2, static_cast<std::int32_t>(patch.size() / 2));
    MatrixList list(25, nullptr);
    list[static_cast<std::size_t>(number - 1)] = &rows;
    const Matrix& out = *runNet(net, list);
    EXPECT_TRUE(out.numRows == 2 && out.numCols == 160);
    return valuesOf(out);
}

double largest(const std::vector<double>& values) {
    double result = 0;
    for (const double value : values) {
        result = std::max(result, std::abs(value));
    }
    return result;
}

// Weights of -1, 0 and 1, few of them in each column: with patches of small integers all sums stay
// far below 2^24, and every float operation is exact in any order.
void writeIntegerWeights(const std::string& folder, int number, Random& random) {
    for (const WeightFile& file : weightFilesOf(number)) {
        const auto cols = static_cast<std::size_t>(file.cols);
        Values values(static_cast<std::size_t>(file.rows) * cols);
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

// Builds a network from random files and compares it with its second writing on two patches, of
// values from -limit to limit. Whole weights and patches may not differ in any bit.
void compare(int number, Writer writeWeights, int limit, bool isWhole, Random& random) {
    SCOPED_TRACE(number);
    const TemporaryFolder folder;
    writeWeights(folder.prefix(), number, random);
    const auto net = buildNet(netDescriptionTexts[number - 1], folder.prefix());
    const ReferenceNetwork reference = readReferenceNetwork(folder.prefix(), number);
    const int size = reference.channels * reference.side * reference.side;
    for (int round = 0; round < 2; ++round) {
        Values patch(std::size_t{2} * static_cast<std::size_t>(size));
        for (float& value : patch) {
            value = static_cast<float>(random.between(-limit, limit));
            value += isWhole ? 0.0F : random.unit();
        }
        const ReferenceOutput expected = runReferenceNetwork(reference, patch.data());
        const Values actual = run(*net, number, patch);
        for (std::size_t i = 0; i < actual.size(); ++i) {
            const double bound = isWhole ? 0.0 : expected.bounds[i];
            const double difference = std::abs(static_cast<double>(actual[i]) - expected.values[i]);
            // NaN fails as well.
            ASSERT_LE(difference, bound) << "index " << i << ": expected " << expected.values[i]
                                         << ", actual " << hexFloat(actual[i]);
        }
        // The comparison means something only while sums of whole numbers are exact, bounds are
        // small beside the values, values are not zeros and the rectifiers have something to do.
        EXPECT_TRUE(!isWhole || expected.largestSum < 0x1p24) << expected.largestSum;
        EXPECT_LT(largest(expected.bounds), 1e-3 * largest(expected.values));
        EXPECT_GT(largest(expected.values), isWhole ? 100 : 1);
        EXPECT_GT(expected.rectified, 1000);

        // A crop must not reach the other crop's row.
        std::rotate(patch.begin(), patch.begin() + size, patch.end());
        const Values exchanged = run(*net, number, patch);
        EXPECT_TRUE(sameFloats(actual.data(), exchanged.data() + 160, 160));
        EXPECT_TRUE(sameFloats(actual.data() + 160, exchanged.data(), 160));
        EXPECT_FALSE(sameFloats(actual, exchanged));
    }
}

}  // namespace

TEST(NetworkReference, randomNetworksStayWithinTheirErrorBounds) {
    Random random(41);
    for (const int number : kNumbersOfEachShape) {
        compare(number, writeNetWeights, 128, false, random);
    }
}

TEST(NetworkReference, networksOfSmallIntegersAreExact) {
    Random random(42);
    for (const int number : kNumbersOfEachShape) {
        compare(number, writeIntegerWeights, 20, true, random);
    }
}

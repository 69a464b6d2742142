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

// Network `number` and its second writing, from the same files.
class BothNetworks {
  public:
    using Writer = void (*)(const std::string& folder, int number, Random& random);

    BothNetworks(int networkNumber, Writer writeWeights, Random& random) : number(networkNumber) {
        writeWeights(folder.prefix(), number, random);
        reference = readReferenceNetwork(folder.prefix(), number);
        net = buildNet(netDescriptionTexts[number - 1], folder.prefix());
    }

    int patchSize() const { return reference.channels * reference.side * reference.side; }

    // Two rows, of whole numbers from -20 to 20 or of any from -128 to 127.
    Values patch(Random& random, bool isWhole) const {
        Values patch = random.floats(std::size_t{2} * static_cast<std::size_t>(patchSize()),
                                     isWhole ? -20.0F : -128.0F, isWhole ? 20.0F : 127.0F);
        if (isWhole) {
            std::transform(patch.begin(), patch.end(), patch.begin(),
                           [](float x) { return std::round(x); });
        }
        return patch;
    }

    // The 320 outputs for two rows of one patch. All other entries of the patch list are null: a
    // network may look at its own only.
    Values run(Values patch) {
        Matrix rows = Matrix::view(patch.data(), 2, patchSize());
        MatrixList list(25, nullptr);
        list[static_cast<std::size_t>(number - 1)] = &rows;
        const Matrix& out = *runNet(*net, list);
        EXPECT_TRUE(out.numRows == 2 && out.numCols == 160);
        return valuesOf(out);
    }

    ReferenceNetwork reference;

  private:
    const int number;
    TemporaryFolder folder;
    std::unique_ptr<ConvNet> net;
};

void expectWithinBounds(const ReferenceOutput& expected, const Values& actual) {
    ASSERT_EQ(actual.size(), expected.values.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        const double difference = std::abs(static_cast<double>(actual[i]) - expected.values[i]);
        // NaN fails as well.
        ASSERT_LE(difference, expected.bounds[i])
            << "index " << i << ": expected " << expected.values[i] << ", actual "
            << hexFloat(actual[i]);
    }
}

double largest(const std::vector<double>& values) {
    double result = 0;
    for (const double value : values) {
        result = std::max(result, std::abs(value));
    }
    return result;
}

Values narrowed(const ReferenceOutput& output) {
    return {output.values.begin(), output.values.end()};
}

// Weights of -1, 0 and 1, few of them in each column, and patches of small integers: all sums stay
// far below 2^24, every float operation is exact in any order, and not one bit may differ.
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

}  // namespace

TEST(NetworkReference, randomNetworksStayWithinTheirErrorBounds) {
    Random random(41);
    for (const int number : kNumbersOfEachShape) {
        SCOPED_TRACE(number);
        BothNetworks networks(number, writeNetWeights, random);
        for (int round = 0; round < 2; ++round) {
            Values patch = networks.patch(random, false);
            const ReferenceOutput expected = runReferenceNetwork(networks.reference, patch.data());
            const Values actual = networks.run(patch);
            expectWithinBounds(expected, actual);
            // The comparison means something only while the bounds are small beside the values and
            // the rectifiers have something to do.
            EXPECT_LT(largest(expected.bounds), 1e-3 * largest(expected.values));
            EXPECT_GT(expected.rectified, 1000);
            // A crop must not reach the other crop's row.
            std::rotate(patch.begin(), patch.begin() + networks.patchSize(), patch.end());
            const Values exchanged = networks.run(patch);
            EXPECT_TRUE(sameFloats(actual.data(), exchanged.data() + 160, 160));
            EXPECT_TRUE(sameFloats(actual.data() + 160, exchanged.data(), 160));
            EXPECT_FALSE(sameFloats(actual, exchanged));
        }
    }
}

TEST(NetworkReference, networksOfSmallIntegersAreExact) {
    Random random(42);
    for (const int number : kNumbersOfEachShape) {
        SCOPED_TRACE(number);
        BothNetworks networks(number, writeIntegerWeights, random);
        for (int round = 0; round < 2; ++round) {
            const Values patch = networks.patch(random, true);
            const ReferenceOutput expected = runReferenceNetwork(networks.reference, patch.data());
            ASSERT_LT(expected.largestSum, 0x1p24) << "not exact any more";
            EXPECT_GT(expected.rectified, 1000);
            EXPECT_TRUE(sameFloats(narrowed(expected), networks.run(patch)));
            EXPECT_GT(largest(expected.values), 100) << "an output of zeros proves nothing";
        }
    }
}

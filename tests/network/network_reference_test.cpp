// Whole networks against a second writing of them in 64-bit floats: one network of each of the
// three shapes that the descriptions have.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
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

}  // namespace

// Networks of whole numbers are exact: the golden test compares all of them bit for bit.
TEST(NetworkReference, randomNetworksStayWithinTheirErrorBounds) {
    Random random(41);
    for (const int number : kNumbersOfEachShape) {
        SCOPED_TRACE(number);
        const TemporaryFolder folder;
        writeNetWeights(folder.prefix(), number, random);
        const auto net = buildNet(netDescriptionTexts[number - 1], folder.prefix());
        const ReferenceNetwork reference = readReferenceNetwork(folder.prefix(), number);
        const int size = reference.channels * reference.side * reference.side;
        Values patch = random.floats(std::size_t{2} * static_cast<std::size_t>(size), -128, 129);
        const ReferenceOutput expected = runReferenceNetwork(reference, patch.data());
        const Values actual = run(*net, number, patch);
        for (std::size_t i = 0; i < actual.size(); ++i) {
            const double difference = std::abs(static_cast<double>(actual[i]) - expected.values[i]);
            // NaN fails as well.
            ASSERT_LE(difference, expected.bounds[i])
                << "index " << i << ": expected " << expected.values[i] << ", actual "
                << hexFloat(actual[i]);
        }
        // The comparison means something only while bounds are small beside the values, values are
        // not zeros and the rectifiers have something to do.
        EXPECT_LT(largest(expected.bounds), 1e-3 * largest(expected.values));
        EXPECT_GT(largest(expected.values), 1);
        EXPECT_GT(expected.rectified, 1000);

        // A crop must not reach the other crop's row.
        std::rotate(patch.begin(), patch.begin() + size, patch.end());
        const Values exchanged = run(*net, number, patch);
        EXPECT_TRUE(sameFloats(actual.data(), exchanged.data() + 160, 160));
        EXPECT_TRUE(sameFloats(actual.data() + 160, exchanged.data(), 160));
        EXPECT_FALSE(sameFloats(actual, exchanged));
    }
}

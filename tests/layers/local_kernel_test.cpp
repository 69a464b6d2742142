#include "layers/local_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "layers/random_filters.h"
#include "support/bits.h"
#include "support/nets.h"

namespace {

// One for each filter and module, in the order of rows or of columns.
Matrix biasesOf(const ReferenceFilters& c, const std::vector<float>& biases, std::int32_t trans) {
    const auto count = static_cast<std::int32_t>(biases.size());
    if (trans == kRowMajor) {
        return matrixOf(count, 1, biases);
    }
    const Matrix rows = matrixOf(c.filters, c.modules(), biases);
    return matrixOf(1, count, valuesOf(*rows.transpose()), trans);
}

// `target` has any shape.
void expectDefinition(const ReferenceFilters& c, bool isAny, Random& random, Matrix& target) {
    const auto make = [&] { return isAny ? random.anyFloat() : random.uniform(-2, 2); };
    const Matrix images = filled(c.images, c.imageElements(), make);
    const Matrix filters = filled(c.filters, c.modules() * c.filterElements(), make);
    const std::vector<float> addends = valuesOf(filled(c.filters, c.modules(), make));
    Matrix biases = biasesOf(c, addends, random.oneIn(2) ? kRowMajor : kTransposed);
    const std::vector<float> storedBiases = valuesOf(biases);
    const FilterShape shape = filterShape(c.geometry(), images.numCols, c.filterElements());
    std::vector<float> sums =
        referenceFilterSums(c, ReferenceBank::PerModule, images.data, filters.data);

    Matrix none;
    none.trans = biases.trans;
    localForward(images, filters, none, target, shape, 0.0F);
    ASSERT_TRUE(sameFloats(sums, valuesOf(target))) << "without biases";

    // It is overwritten, too, and gets no biases, but the rest of its rows stays.
    const float scales[] = {1.0F, 0.5F, -1.0F};
    Matrix kept = filled(c.images, c.filters * c.modules() + random.between(0, 2), make);
    std::vector<float> keptValues = valuesOf(kept);
    for (std::int32_t n = 0; n < c.images; ++n) {
        std::copy_n(sums.begin() + n * target.numCols, target.numCols,
                    keptValues.begin() + n * kept.numCols);
    }
    localForward(images, filters, biases, kept, shape, random.oneOf(scales));
    ASSERT_EQ(kept.numRows, c.images);
    ASSERT_TRUE(sameFloats(keptValues, valuesOf(kept))) << "kept";

    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] = sums[i] + addends[i % addends.size()];
    }
    localForward(images, filters, biases, target, shape, -0.0F);
    ASSERT_EQ(target.numRows, c.images);
    ASSERT_EQ(target.numCols, c.filters * c.modules());
    ASSERT_EQ(target.trans, kRowMajor);
    ASSERT_TRUE(sameFloats(sums, valuesOf(target))) << "with biases";
    ASSERT_EQ(biases.numRows, c.filters);
    ASSERT_EQ(biases.numCols, c.modules());
    ASSERT_TRUE(sameFloats(storedBiases, valuesOf(biases)));
}

}  // namespace

TEST(LocalForward, equalsTheDefinitionForManyGeometriesTargetsAndBiasesAndAnyBitPattern) {
    Random random(41);
    Matrix target;
    for (int round = 0; round < 600 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        expectDefinition(randomFilters(random, 1), round % 2 == 0, random, target);
    }
}

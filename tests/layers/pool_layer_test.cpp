#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "layers/one_layer.h"
#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

// Five different numbers, so that keys read by each other's name show.
const PoolGeometry kGeometry = {3, 4, 1, 2, 5};
const std::string kKeys = "channels=3\nsizeX=4\nstart=1\nstride=2\noutputsX=5\n";

const std::pair<std::string, ReferencePool> kKinds[] = {{"max", ReferencePool::Max},
                                                        {"avg", ReferencePool::Avg}};

// Two rows of three planes of 9 x 9.
Matrix randomPatch(std::uint64_t seed) {
    return matrixOf(2, 3 * 81, Random(seed).floats(std::size_t{2} * 3 * 81, -9, 9));
}

}  // namespace

TEST(PoolLayer, poolsAsItsKeysSayAndLeavesItsInputAlone) {
    for (const auto& [keyword, kind] : kKinds) {
        for (const std::string inputs : {"a", "a_b"}) {
            OneLayer net("type=pool\npool=" + keyword + "\ninputs=" + inputs + "\n" + kKeys);
            for (const std::uint64_t seed : {1U, 3U}) {
                EXPECT_TRUE(sameFloats(referencePool(kind, kGeometry, randomPatch(seed)),
                                       net.run(randomPatch(seed), rowOf({99, 99}))))
                    << keyword << ", whatever its second input";
            }
            EXPECT_NE(net.output(), &net.a);
            EXPECT_TRUE(sameFloats(valuesOf(randomPatch(3)), valuesOf(net.a)));
        }
    }
}

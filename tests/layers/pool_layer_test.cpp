#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "layers/build_error.h"
#include "layers/layer_registry.h"
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

std::string sectionOf(const std::string& kind, const std::string& keys,
                      const std::string& inputs = "a") {
    return "type=pool\npool=" + kind + "\ninputs=" + inputs + "\n" + keys;
}

// Two rows of three planes of 9 x 9.
Matrix randomPatch(std::uint64_t seed) {
    return matrixOf(2, 3 * 81, Random(seed).floats(std::size_t{2} * 3 * 81, -9, 9));
}

}  // namespace

TEST(PoolKinds, standInTheOrderInWhichTheyAreCompared) {
    EXPECT_EQ(kPoolKindCount, 2);
    EXPECT_STREQ(kPoolKinds[0].keyword, "max");
    EXPECT_STREQ(kPoolKinds[1].keyword, "avg");
}

TEST(PoolLayer, poolsAsItsKeysSayAndLeavesItsInputAlone) {
    for (const auto& [keyword, kind] : kKinds) {
        for (const std::string inputs : {"a", "a_b"}) {
            OneLayer net(sectionOf(keyword, kKeys, inputs));
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

TEST(PoolLayer, namesTheUnknownKind) {
    const std::string name = "p";
    for (const std::string kind : {"", "Max", "AVG", "maximum", "average", "ma", "maxx", "sum"}) {
        const NetDescription description = parseDescription(("[p]\npool=" + kind).c_str());
        LayerSource source = bareLayer(name);
        source.section = getSection(description, name);
        try {
            createPoolLayer(source);
            ADD_FAILURE() << kind << " was accepted";
        } catch (const BuildError& error) {
            EXPECT_EQ(error.reason, "Unknown pooling layer type " + kind);
        }
    }
    EXPECT_THROW(createPoolLayer(bareLayer(name)), BuildError) << "without the key";
}

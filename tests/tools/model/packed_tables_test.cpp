// Projection tables as basis and factors.
#include "model/packed_tables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <vector>

#include "model/model_tables.h"
#include "support/random.h"
#include "support/thrown.h"

namespace {

constexpr std::size_t kColumns = kFeatureCount;
constexpr std::size_t kValues = kProjectionCount * kColumns;

TablePair zeros() {
    return {std::vector<float>(kValues), std::vector<float>(kValues)};
}

void setRow(TablePair& tables, std::size_t row, float factorA, float factorB, Random& random) {
    const std::vector<float> basis = random.floats(kColumns, -1, 1);
    for (std::size_t n = 0; n < kColumns; ++n) {
        tables.a[row * kColumns + n] = factorA * basis[n];
        tables.b[row * kColumns + n] = factorB * basis[n];
    }
}

void expectClose(const std::vector<float>& actual, const std::vector<float>& expected,
                 float largest) {
    for (std::size_t n = 0; n < kValues; ++n) {
        ASSERT_LE(std::fabs(actual[n] - expected[n]), largest / 1024) << n;
    }
}

}  // namespace

TEST(PackedTables, rowsComeBackToTheirPlaces) {
    Random random(5);
    TablePair tables = zeros();
    setRow(tables, 0, 2.0F, 0.5F, random);
    setRow(tables, 3, 0.0F, 1.0F, random);
    setRow(tables, 4, -1.0F, 1.0F, random);
    setRow(tables, 499, 1.0F, 0.0F, random);
    PackWriter writer;
    putTables(writer, tables.a, tables.b);
    EXPECT_EQ(writer.bytes().size(), 4 + 4 * (12 + 1 + 2 * kColumns));
    PackReader reader(writer.bytes());
    const TablePair back = getTables(reader);
    EXPECT_TRUE(reader.atEnd());
    expectClose(back.a, tables.a, 2.0F);
    expectClose(back.b, tables.b, 1.0F);
}

TEST(PackedTables, rowsThatDoNotBelongTogetherOrToATableAreRefused) {
    Random random(6);
    TablePair tables = zeros();
    setRow(tables, 17, 1.0F, 1.0F, random);
    tables.a[17 * kColumns + 5] += 0.1F;  // of a row of length 52
    PackWriter writer;
    EXPECT_EQ(reasonOf([&] { putTables(writer, tables.a, tables.b); }),
              "row 17 of 6-1 is not a multiple of the row of 6-2");

    PackWriter beyond;
    beyond.putUint32(1);
    beyond.putUint32(500);  // a row that no table has
    PackReader reader(beyond.bytes());
    EXPECT_THROW(getTables(reader), std::runtime_error);
}

// Numbers through a pack and back, within the bounds that the format promises.
#include "model/packed_numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <vector>

#include "support/random.h"

TEST(PackedNumbers, integersAndFloatsComeBack) {
    PackWriter writer;
    writer.putUint32(0x89abcdefU);
    writer.putFloat(-0.1F);
    EXPECT_EQ((Bytes{writer.bytes().begin(), writer.bytes().begin() + 4}),
              (Bytes{0xef, 0xcd, 0xab, 0x89}));
    PackReader reader(writer.bytes());
    EXPECT_EQ(reader.getUint32(), 0x89abcdefU);
    EXPECT_EQ(reader.getFloat(), -0.1F);
    EXPECT_TRUE(reader.atEnd());
}

TEST(PackedNumbers, halvesKeepElevenBitsAtAnyScale) {
    Random random(3);
    for (const float scale : {1e-30F, 1e-3F, 1.0F, 3e4F, 1e30F}) {
        std::vector<float> values = random.floats(1000, -scale, scale);
        values[7] = 0;
        PackWriter writer;
        writer.putHalves(values);
        EXPECT_EQ(writer.bytes().size(), 2001U);
        const std::vector<float> back = PackReader(writer.bytes()).getHalves(values.size());
        for (std::size_t n = 0; n < values.size(); ++n) {
            const float bound =
                std::max(std::ldexp(std::fabs(values[n]), -11), std::ldexp(scale, -39));
            ASSERT_LE(std::fabs(back[n] - values[n]), bound) << scale << " " << n;
        }
        EXPECT_EQ(back[7], 0.0F);
    }
}

TEST(PackedNumbers, columnsHaveFactorsOfTheirOwn) {
    Random random(4);
    constexpr std::size_t kRows = 50;
    constexpr std::size_t kColumns = 3;
    const float largest[kColumns] = {1e-6F, 1.0F, 1e6F};
    std::vector<float> values(kRows * kColumns);
    for (std::size_t n = 0; n < values.size(); ++n) {
        // The first of a column is the largest, so that this is known.
        values[n] = largest[n % kColumns] * (n < kColumns ? -1.0F : random.floats(1, -1, 1)[0]);
    }
    PackWriter writer;
    writer.putColumns(values, kColumns);
    EXPECT_EQ(writer.bytes().size(), kColumns * 4 + kRows * kColumns);
    PackReader reader(writer.bytes());
    const std::vector<float> back = reader.getColumns(kRows, kColumns);
    EXPECT_TRUE(reader.atEnd());
    for (std::size_t n = 0; n < values.size(); ++n) {
        ASSERT_LE(std::fabs(back[n] - values[n]), 1.001F * largest[n % kColumns] / 254) << n;
    }
}

TEST(PackedNumbers, zerosAndTheSmallestNumbersStayFinite) {
    PackWriter halves;
    halves.putHalves(std::vector<float>(5, 0.0F));
    EXPECT_EQ(PackReader(halves.bytes()).getHalves(5), std::vector<float>(5, 0.0F));
    const float tiny = std::numeric_limits<float>::denorm_min();
    PackWriter writer;
    writer.putColumns(std::vector<float>{0, tiny, 0, -tiny}, 2);
    EXPECT_EQ(PackReader(writer.bytes()).getColumns(2, 2), std::vector<float>(4, 0.0F));
}

TEST(PackedNumbers, whatIsNotFiniteIsRefused) {
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
        PackWriter writer;
        EXPECT_THROW(writer.putHalves(std::vector<float>{1, bad}), std::runtime_error);
        EXPECT_THROW(writer.putColumns(std::vector<float>{1, bad}, 1), std::runtime_error);
    }
}

TEST(PackedNumbers, readingBehindTheEndIsRefused) {
    const Bytes bytes(10, 0);
    EXPECT_THROW(PackReader(bytes).getHalves(5), std::runtime_error);
    EXPECT_THROW(PackReader(bytes).getColumns(3, 2), std::runtime_error);
    PackReader reader(bytes);
    EXPECT_NO_THROW(reader.getHalves(4));
    EXPECT_THROW(reader.getUint32(), std::runtime_error);
}

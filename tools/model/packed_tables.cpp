#include "model/packed_tables.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "model/model_tables.h"

namespace {

constexpr auto kColumns = static_cast<std::size_t>(kFeatureCount);

// Of the length of a row: what may differ between it and a multiple of its fellow, more than
// floats do and less than halves.
constexpr double kRowTolerance = 1e-4;

double dot(std::span<const float> x, std::span<const float> y) {
    double sum = 0;
    for (std::size_t n = 0; n < x.size(); ++n) {
        sum += static_cast<double>(x[n]) * static_cast<double>(y[n]);
    }
    return sum;
}

// Factors of the two rows over the row that is kept of both, which has length 1.
struct RowFactors {
    double a, b;
    std::vector<float> basis;
};

RowFactors factorRows(std::span<const float> a, std::span<const float> b, std::size_t row) {
    const double lengthA = std::sqrt(dot(a, a));
    const double lengthB = std::sqrt(dot(b, b));
    const std::span<const float> longer = lengthA > lengthB ? a : b;
    const double longest = std::max(lengthA, lengthB);
    RowFactors factors{0, 0, std::vector<float>(kColumns)};
    for (std::size_t n = 0; n < kColumns; ++n) {
        factors.basis[n] = static_cast<float>(static_cast<double>(longer[n]) / longest);
    }
    factors.a = dot(a, factors.basis);
    factors.b = dot(b, factors.basis);
    // The part of a row that does not lie along the basis, measured, not taken from two large sums.
    const auto isMultiple = [&](std::span<const float> own, double length, double factor) {
        double rest = 0;
        for (std::size_t n = 0; n < kColumns; ++n) {
            const double part =
                static_cast<double>(own[n]) - factor * static_cast<double>(factors.basis[n]);
            rest += part * part;
        }
        return std::sqrt(rest) <= kRowTolerance * length;
    };
    if (!isMultiple(a, lengthA, factors.a) || !isMultiple(b, lengthB, factors.b)) {
        throw std::runtime_error("row " + std::to_string(row) +
                                 " of 6-1 is not a multiple of the row of 6-2");
    }
    return factors;
}

}  // namespace

void putTables(PackWriter& writer, const std::vector<float>& a, const std::vector<float>& b) {
    std::vector<std::uint32_t> kept;
    const auto rowOf = [](const std::vector<float>& table, std::size_t row) {
        return std::span<const float>(table).subspan(row * kColumns, kColumns);
    };
    for (std::size_t row = 0; row < kProjectionCount; ++row) {
        if (dot(rowOf(a, row), rowOf(a, row)) + dot(rowOf(b, row), rowOf(b, row)) > 0) {
            kept.push_back(static_cast<std::uint32_t>(row));
        }
    }
    writer.putUint32(static_cast<std::uint32_t>(kept.size()));
    for (const std::uint32_t row : kept) {
        const RowFactors factors = factorRows(rowOf(a, row), rowOf(b, row), row);
        writer.putUint32(row);
        writer.putFloat(static_cast<float>(factors.a));
        writer.putFloat(static_cast<float>(factors.b));
        writer.putHalves(factors.basis);
    }
}

TablePair getTables(PackReader& reader) {
    constexpr std::size_t kValues = kProjectionCount * kColumns;
    TablePair tables{std::vector<float>(kValues), std::vector<float>(kValues)};
    const std::uint32_t count = reader.getUint32();
    for (std::uint32_t k = 0; k < count; ++k) {
        const std::uint32_t row = reader.getUint32();
        if (row >= kProjectionCount) {
            throw std::runtime_error("names a row that no table has");
        }
        const float factorA = reader.getFloat();
        const float factorB = reader.getFloat();
        const std::vector<float> basis = reader.getHalves(kColumns);
        for (std::size_t n = 0; n < kColumns; ++n) {
            tables.a[row * kColumns + n] = factorA * basis[n];
            tables.b[row * kColumns + n] = factorB * basis[n];
        }
    }
    return tables;
}

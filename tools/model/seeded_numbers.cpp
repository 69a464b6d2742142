#include "model/seeded_numbers.h"

#include <numeric>
#include <stdexcept>
#include <utility>

namespace {

// The 64-bit FNV-1a hash: any fixed mix would do that tells short names apart.
std::uint64_t hashOf(const std::string& name) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
    }
    return hash;
}

// A bijection that spreads neighbouring seeds over all 64 bits, so that a seed and a name cannot
// cancel each other: two rounds of xor-shift and multiplication by an odd number.
std::uint64_t spread(std::uint64_t seed) {
    seed = (seed ^ (seed >> 31)) * 0x9e3779b97f4a7c15U;
    seed = (seed ^ (seed >> 29)) * 0xd1342543de82ef95U;
    return seed ^ (seed >> 32);
}

}  // namespace

SeededNumbers::SeededNumbers(std::uint64_t seed, const std::string& name)
    : engine(spread(seed) ^ hashOf(name)) {}

double SeededNumbers::normal() {
    std::int64_t sum = 0;
    for (int draw = 0; draw < 3; ++draw) {
        const std::uint64_t word = bits();
        for (int shift = 0; shift < 64; shift += 16) {
            sum += static_cast<std::int64_t>((word >> shift) & 0xffff);
        }
    }
    // The mean of the sum is 12 * 65535 / 2, its variance 12 * (2^32 - 1) / 12.
    return static_cast<double>(sum - 6 * 65535) * 0x1p-16;
}

std::vector<float> SeededNumbers::normals(std::size_t count, double scale) {
    std::vector<float> values(count);
    for (float& value : values) {
        value = static_cast<float>(normal() * scale);
    }
    return values;
}

std::vector<float> SeededNumbers::integers(std::size_t count, int low, int bitCount) {
    std::vector<float> values(count);
    for (float& value : values) {
        value = static_cast<float>(low + static_cast<int>(bits() >> (64 - bitCount)));
    }
    return values;
}

std::vector<float> SeededNumbers::dealtTaps(std::int32_t rows, std::int32_t cols,
                                            std::span<const int> taps) {
    const auto rowCount = static_cast<std::size_t>(rows);
    const auto colCount = static_cast<std::size_t>(cols);
    if (taps.size() > rowCount) {
        throw std::invalid_argument("more taps than rows");
    }
    std::vector<std::size_t> deck(rowCount);
    std::iota(deck.begin(), deck.end(), std::size_t{0});
    std::size_t left = 0;
    const auto nextRow = [&] {
        if (left == 0) {
            for (std::size_t i = rowCount - 1; i > 0; --i) {
                std::swap(deck[i], deck[bits() % (i + 1)]);
            }
            left = rowCount;
        }
        return deck[--left];
    };

    std::vector<float> values(rowCount * colCount, 0.0F);
    for (std::size_t col = 0; col < colCount; ++col) {
        for (const int tap : taps) {
            // A new deck may deal a row that this column has already: that card is passed over.
            std::size_t row = nextRow();
            while (values[row * colCount + col] != 0.0F) {
                row = nextRow();
            }
            values[row * colCount + col] = static_cast<float>(tap);
        }
    }
    return values;
}

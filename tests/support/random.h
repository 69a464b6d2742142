// A random generator that gives the same numbers with every compiler and standard library.
//
// The engine is pinned down by the C++ standard; the distributions of <random> are not, so that
// none of them is used here.
#ifndef ZOMU_TESTS_SUPPORT_RANDOM_H
#define ZOMU_TESTS_SUPPORT_RANDOM_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

class Random {
  public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    std::uint64_t bits() { return engine(); }

    std::uint8_t byte() { return static_cast<std::uint8_t>(engine() >> 56); }

    // An integer from `low` to `high`, both included. The bias of the remainder is below 2^-32.
    int between(int low, int high) {
        const auto range = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low) + 1;
        return static_cast<int>(low + static_cast<std::int64_t>(engine() % range));
    }

    // True once in `n` calls on average.
    bool oneIn(int n) { return between(1, n) == 1; }

    // A multiple of 2^-24 from 0 to below 1.
    float unit() { return static_cast<float>(engine() >> 40) * 0x1p-24F; }

    float uniform(float low, float high) { return low + (high - low) * unit(); }

    // Any bit pattern: subnormals, infinities and NaN come up as well.
    float anyFloat() { return std::bit_cast<float>(static_cast<std::uint32_t>(engine() >> 32)); }

    std::vector<float> floats(std::size_t count, float low, float high) {
        std::vector<float> values(count);
        for (float& value : values) {
            value = uniform(low, high);
        }
        return values;
    }

    template <typename T>
    void shuffle(T* items, int count) {
        for (int i = count - 1; i > 0; --i) {
            std::swap(items[i], items[between(0, i)]);
        }
    }

  private:
    std::mt19937_64 engine;
};

#endif

// A random generator that gives the same numbers with every compiler and standard library, or the
// same decisions out of the bytes of a fuzz input.
//
// The engine is pinned down by the C++ standard; the distributions of <random> are not, so that
// none of them is used here.
#ifndef ZOMU_TESTS_SUPPORT_RANDOM_H
#define ZOMU_TESTS_SUPPORT_RANDOM_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

class Random {
  public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    // Takes the bytes front to back, for each value as few as hold it. Behind the end all are zero,
    // for which oneIn() says no.
    Random(const std::uint8_t* bytes, std::size_t count)
        : isFed(true), food(bytes), end(bytes + count) {}

    std::uint64_t bits() { return take(8); }

    std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)); }

    // Any of 2^32.
    std::int32_t integer() { return static_cast<std::int32_t>(take(4)); }

    // An integer from `low` to `high`, both included. The bias of the remainder is below 2^-32.
    int between(int low, int high) {
        const auto range = static_cast<std::uint64_t>(static_cast<std::int64_t>(high) - low) + 1;
        const std::size_t needed = range <= 0x100 ? 1 : range <= 0x10000 ? 2 : 4;
        return static_cast<int>(low + static_cast<std::int64_t>(take(isFed ? needed : 8) % range));
    }

    // True once in `n` calls on average.
    bool oneIn(int n) { return between(1, n) == (isFed ? n : 1); }

    // Any item of an array or a vector that is not empty.
    template <typename Items>
    auto& oneOf(Items& items) {
        return items[static_cast<std::size_t>(between(0, static_cast<int>(std::size(items)) - 1))];
    }

    // A multiple of 2^-24 from 0 to below 1.
    float unit() { return static_cast<float>(take(3)) * 0x1p-24F; }

    float uniform(float low, float high) { return low + (high - low) * unit(); }

    // Any bit pattern: subnormals, infinities and NaN come up as well.
    float anyFloat() { return std::bit_cast<float>(static_cast<std::uint32_t>(take(4))); }

    // `count` bytes, or as many as are left.
    std::vector<std::uint8_t> upTo(std::size_t count) {
        const std::size_t left = isFed ? static_cast<std::size_t>(end - food) : count;
        std::vector<std::uint8_t> bytes(std::min(count, left));
        std::generate(bytes.begin(), bytes.end(), [this] { return byte(); });
        return bytes;
    }

    std::vector<float> floats(std::size_t count, float low, float high) {
        std::vector<float> values(count);
        std::generate(values.begin(), values.end(), [=, this] { return uniform(low, high); });
        return values;
    }

    template <typename T>
    void shuffle(T* items, int count) {
        for (int i = count - 1; i > 0; --i) {
            std::swap(items[i], items[between(0, i)]);
        }
    }

  private:
    // A number of so many bytes, 1 to 8.
    std::uint64_t take(std::size_t count) {
        if (!isFed) {
            return engine() >> (64 - 8 * count);
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < count && food != end; ++i) {
            value |= static_cast<std::uint64_t>(*food++) << (8 * i);
        }
        return value;
    }

    std::mt19937_64 engine;
    bool isFed = false;
    const std::uint8_t* food = nullptr;
    const std::uint8_t* end = nullptr;
};

#endif

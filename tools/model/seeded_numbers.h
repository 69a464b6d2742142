// Series of numbers that follow from a seed alone, with every compiler and standard library.
//
// The engine is pinned down by the C++ standard; the distributions of <random> and the functions of
// the C mathematics library are not, so that nothing here is made from them.
#ifndef ZOMU_TOOLS_MODEL_SEEDED_NUMBERS_H
#define ZOMU_TOOLS_MODEL_SEEDED_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

// Every file has a series of its own, so that no file depends on another one's length or place.
class SeededNumbers {
  public:
    SeededNumbers(std::uint64_t seed, const std::string& name);

    std::uint64_t bits() { return engine(); }

    // Mean 0, variance 1, never beyond 6: the sum of twelve uniform numbers of 16 bits, shifted and
    // scaled without rounding.
    double normal();

    // `count` times normal() * scale.
    std::vector<float> normals(std::size_t count, double scale);

    // Integers from `low` to `low` + 2^bitCount - 1, all equally likely.
    std::vector<float> integers(std::size_t count, int low, int bitCount);

    // A matrix of zeros with `taps` in random rows of every column. Rows are dealt like cards from
    // a shuffled deck: none gets its second tap before all have one.
    std::vector<float> dealtTaps(std::int32_t rows, std::int32_t cols, std::span<const int> taps);

  private:
    std::mt19937_64 engine;
};

#endif

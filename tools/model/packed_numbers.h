// How a packed model stores its numbers. What is written here is read back by the same arithmetic
// on every machine: each number is one product at most, rounded once.
#ifndef ZOMU_TOOLS_MODEL_PACKED_NUMBERS_H
#define ZOMU_TOOLS_MODEL_PACKED_NUMBERS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

class PackWriter {
  public:
    void putUint32(std::uint32_t value);
    void putFloat(float value);

    // int8 exponent e, then a half for each value: value = half x 2^e. The power of two uses the
    // halves' range up and is exact, so that an error is at most 2^-11 of a value, or 2^-40 of the
    // largest one.
    void putHalves(std::span<const float> values);

    // A float for each column, then rows x columns int8: value = byte x factor of its column. An
    // error is at most 1/254 of the column's largest value.
    void putColumns(std::span<const float> values, std::size_t columns);

    const Bytes& bytes() const { return content; }

  private:
    Bytes content;
};

// Every reader throws std::runtime_error "ends too early" where the bytes do.
class PackReader {
  public:
    explicit PackReader(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    std::uint32_t getUint32();
    float getFloat();
    std::vector<float> getHalves(std::size_t count);
    std::vector<float> getColumns(std::size_t rows, std::size_t columns);

    bool atEnd() const { return rest.empty(); }

  private:
    std::span<const std::uint8_t> take(std::size_t count);

    std::span<const std::uint8_t> rest;
};

#endif

// Values out of the bytes of one fuzz input, taken from the front. Behind the end everything is
// zero.
#ifndef ZOMU_TESTS_FUZZ_FUZZ_INPUT_H
#define ZOMU_TESTS_FUZZ_FUZZ_INPUT_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : bytes(data), left(size) {}

    bool isEmpty() const { return left == 0; }

    std::uint8_t byte() {
        std::uint8_t value = 0;
        take(&value, 1);
        return value;
    }

    std::uint32_t word() {
        std::uint32_t value = 0;
        take(&value, sizeof value);
        return value;
    }

    std::int32_t integer() { return static_cast<std::int32_t>(word()); }

    // From `low` to `high`, both included, at most 65,536 apart.
    int between(int low, int high) {
        std::uint16_t value = 0;
        take(&value, high - low < 256 ? 1 : 2);
        return low + value % (high - low + 1);
    }

    // Any bits.
    float anyFloat() { return std::bit_cast<float>(word()); }

    // From `low` to `high`, in steps.
    float uniform(float low, float high) {
        return low + (high - low) * static_cast<float>(between(0, 65535)) / 65535.0F;
    }

    // `size` bytes, or as many as there are.
    std::vector<std::uint8_t> upTo(std::size_t size) {
        std::vector<std::uint8_t> taken(std::min(size, left));
        take(taken.data(), taken.size());
        return taken;
    }

  private:
    void take(void* destination, std::size_t size) {
        const std::size_t count = std::min(size, left);
        if (count > 0) {
            std::memcpy(destination, bytes, count);
        }
        bytes += count;
        left -= count;
    }

    const std::uint8_t* bytes;
    std::size_t left;
};

#endif

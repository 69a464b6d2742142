// One number for a table of constants: a change of any of them gives another.
#ifndef ZOMU_TESTS_SUPPORT_DIGEST_H
#define ZOMU_TESTS_SUPPORT_DIGEST_H

#include <bit>
#include <cstdint>

// FNV-1a over the values' bits.
class Digest {
  public:
    void add(std::int32_t value) {
        const auto bits = static_cast<std::uint32_t>(value);
        for (unsigned shift = 0; shift < 32; shift += 8) {
            state = (state ^ (bits >> shift & 0xFFU)) * 0x100000001B3U;
        }
    }

    void add(float value) { add(std::bit_cast<std::int32_t>(value)); }

    std::uint64_t value() const { return state; }

  private:
    std::uint64_t state = 0xCBF29CE484222325U;
};

#endif

#include "model/half_float.h"

#include <bit>
#include <cmath>

namespace {

constexpr std::uint32_t kHalfInfinity = 0x7c00;
constexpr std::uint32_t kQuietHalf = 0x7e00;
constexpr int kDroppedBits = 13;  // 23 bits of a float's fraction less 10 of a half's

// Shifts the lowest bits away and rounds to nearest, ties to even.
std::uint32_t roundedShift(std::uint32_t bits, int count) {
    const std::uint32_t half = 1U << (count - 1);
    const std::uint32_t lost = bits & ((half << 1) - 1);
    const std::uint32_t kept = bits >> count;
    return lost > half || (lost == half && (kept & 1U) != 0) ? kept + 1 : kept;
}

}  // namespace

std::uint16_t toHalf(float value) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const std::uint32_t sign = (bits >> 16) & 0x8000U;
    const std::uint32_t magnitude = bits & 0x7fffffffU;
    std::uint32_t half;
    if (magnitude > 0x7f800000U) {
        half = kQuietHalf;
    } else if (magnitude >= 0x47800000U) {  // 2^16 and more
        half = kHalfInfinity;
    } else if (magnitude >= 0x38800000U) {  // normal as a half: exponents are 112 apart
        half = roundedShift(magnitude - (112U << 23), kDroppedBits);
    } else if (magnitude >= 0x33000000U) {  // 2^-25 and more: a multiple of 2^-24
        const std::uint32_t fraction = (magnitude & 0x7fffffU) | 0x800000U;
        half = roundedShift(fraction, 126 - static_cast<int>(magnitude >> 23));
    } else {
        half = 0;
    }
    return static_cast<std::uint16_t>(sign | half);
}

float fromHalf(std::uint16_t half) {
    const std::uint32_t sign = (half & 0x8000U) << 16;
    const std::uint32_t exponent = (half >> 10) & 0x1fU;
    const std::uint32_t fraction = half & 0x3ffU;
    if (exponent == 0) {
        const float magnitude = std::ldexp(static_cast<float>(fraction), -24);
        return sign != 0 ? -magnitude : magnitude;
    }
    const std::uint32_t wide = exponent == 31 ? 255 : exponent + 112;
    return std::bit_cast<float>(sign | (wide << 23) | (fraction << kDroppedBits));
}

#include "model/packed_numbers.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <stdexcept>

#include "model/half_float.h"

namespace {

// The largest value of a block lands below 2^15, inside the range of halves.
constexpr int kLargestExponent = 15;

constexpr float kLargestByte = 127.0F;

float largestMagnitude(std::span<const float> values) {
    float largest = 0;
    for (const float value : values) {
        if (!std::isfinite(value)) {
            throw std::runtime_error("a value is not finite");
        }
        largest = std::max(largest, std::fabs(value));
    }
    return largest;
}

}  // namespace

void PackWriter::putUint32(std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        content.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

void PackWriter::putFloat(float value) {
    putUint32(std::bit_cast<std::uint32_t>(value));
}

void PackWriter::putHalves(std::span<const float> values) {
    int exponent = 0;
    std::frexp(largestMagnitude(values), &exponent);  // largest below 2^exponent
    exponent = std::clamp(exponent - kLargestExponent, -127, 127);
    content.push_back(static_cast<std::uint8_t>(static_cast<std::int8_t>(exponent)));
    for (const float value : values) {
        const std::uint16_t half = toHalf(std::ldexp(value, -exponent));
        content.push_back(static_cast<std::uint8_t>(half & 0xff));
        content.push_back(static_cast<std::uint8_t>(half >> 8));
    }
}

void PackWriter::putColumns(std::span<const float> values, std::size_t columns) {
    largestMagnitude(values);  // refuses what is not finite
    std::vector<float> factors(columns, 0.0F);
    for (std::size_t n = 0; n < values.size(); ++n) {
        float& factor = factors[n % columns];
        factor = std::max(factor, std::fabs(values[n]));
    }
    for (float& factor : factors) {
        factor = factor / kLargestByte;
        putFloat(factor);
    }
    for (std::size_t n = 0; n < values.size(); ++n) {
        const float factor = factors[n % columns];
        // A column of values too small for a factor of their own becomes zeros.
        const float steps = factor > 0 ? std::nearbyint(values[n] / factor) : 0.0F;
        const float byte = std::clamp(steps, -kLargestByte, kLargestByte);
        content.push_back(static_cast<std::uint8_t>(static_cast<std::int8_t>(byte)));
    }
}

std::span<const std::uint8_t> PackReader::take(std::size_t count) {
    if (rest.size() < count) {
        throw std::runtime_error("ends too early");
    }
    const std::span<const std::uint8_t> taken = rest.first(count);
    rest = rest.subspan(count);
    return taken;
}

std::uint32_t PackReader::getUint32() {
    std::uint32_t value = 0;
    int shift = 0;
    for (const std::uint8_t byte : take(4)) {
        value |= static_cast<std::uint32_t>(byte) << shift;
        shift += 8;
    }
    return value;
}

float PackReader::getFloat() {
    return std::bit_cast<float>(getUint32());
}

std::vector<float> PackReader::getHalves(std::size_t count) {
    const int exponent = static_cast<std::int8_t>(take(1)[0]);
    const std::span<const std::uint8_t> bytes = take(2 * count);
    std::vector<float> values(count);
    for (std::size_t n = 0; n < count; ++n) {
        const int half = bytes[2 * n] | (bytes[2 * n + 1] << 8);
        values[n] = std::ldexp(fromHalf(static_cast<std::uint16_t>(half)), exponent);
    }
    return values;
}

std::vector<float> PackReader::getColumns(std::size_t rows, std::size_t columns) {
    std::vector<float> factors(columns);
    for (float& factor : factors) {
        factor = getFloat();
    }
    const std::span<const std::uint8_t> bytes = take(rows * columns);
    std::vector<float> values(rows * columns);
    for (std::size_t n = 0; n < values.size(); ++n) {
        values[n] = static_cast<float>(static_cast<std::int8_t>(bytes[n])) * factors[n % columns];
    }
    return values;
}

#include "description/numbers.h"

#include <limits>

static constexpr int kIntDigits = 10;
static constexpr int kWholeDigits = 39;  // as many as the largest float has
static constexpr int kFractionDigits = 38;

static_assert(std::numeric_limits<float>::is_iec559, "conversions that overflow give infinity");

static bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

// Skips a sign; true for a minus.
static bool readSign(const char*& cursor) {
    const bool negative = *cursor == '-';
    if (negative || *cursor == '+') {
        ++cursor;
    }
    return negative;
}

// Skips zeros; true if there were any.
static bool readZeros(const char*& cursor) {
    const char* start = cursor;
    while (*cursor == '0') {
        ++cursor;
    }
    return cursor != start;
}

// Skips at most `room` digits and returns how many there were.
static int readDigits(const char*& cursor, int room) {
    int count = 0;
    while (count < room && isDigit(*cursor)) {
        ++cursor;
        ++count;
    }
    return count;
}

ParseResult parseInt32(const char* text, std::int32_t& out) {
    constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();

    const char* cursor = text;
    const bool negative = readSign(cursor);
    const bool zeroSeen = readZeros(cursor);
    const char* digits = cursor;
    const int count = readDigits(cursor, kIntDigits);
    if (count == 0 && !zeroSeen) {
        return parseNoNumber;
    }

    // Ten digits fit in 64 bits, so the range check sees the exact value.
    std::int64_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value * 10 + (digits[i] - '0');
    }
    if (negative) {
        value = -value;
    }
    if (isDigit(*cursor) || value < kMin || value > kMax) {
        out = static_cast<std::int32_t>(negative ? kMin : kMax);
        return parseClamped;
    }
    out = static_cast<std::int32_t>(value);
    return parseOk;
}

ParseResult parseWholePart(const char*& cursor, double& out) {
    const bool zeroSeen = readZeros(cursor);
    const char* digits = cursor;
    const int count = readDigits(cursor, kWholeDigits);
    if (isDigit(*cursor)) {
        return parseClamped;
    }
    if (count == 0 && *cursor != '.' && !zeroSeen) {
        return parseNoNumber;
    }

    double sum = 0.0;
    double scale = 1.0;
    // The last digit first. `scale` is exact up to 10^22 and rounded beyond.
    for (int i = count - 1; i >= 0; --i) {
        sum += (digits[i] - '0') * scale;
        scale *= 10.0;
    }
    out = sum;
    return count == 0 && *cursor != '.' && *cursor != '\0' ? parseStopped : parseOk;
}

void parseFractionPart(const char*& cursor, double& out) {
    const char* digits = cursor;
    const int count = readDigits(cursor, kFractionDigits);
    double sum = 0.0;
    // Neither 0.1 nor its powers are exact, so the order of the products matters.
    double scale = 0.1;
    for (int i = 0; i < count; ++i) {
        sum += (digits[i] - '0') * scale;
        scale *= 0.1;
    }
    out = sum;
}

ParseResult parseFloat32(const char* text, float& out) {
    constexpr auto kLargest = static_cast<double>(std::numeric_limits<float>::max());

    const char* cursor = text;
    const double sign = readSign(cursor) ? -1.0 : 1.0;
    double whole = 0.0;
    const ParseResult result = parseWholePart(cursor, whole);
    if (result == parseNoNumber) {
        return parseNoNumber;
    }
    if (result == parseClamped) {
        out = static_cast<float>(sign * kLargest);
        return parseClamped;
    }
    if (*cursor != '.') {
        // No clamp here: beyond the float range, narrowing gives infinity.
        out = static_cast<float>(whole * sign);
        return parseOk;
    }

    ++cursor;
    double fraction = 0.0;
    parseFractionPart(cursor, fraction);
    const double sum = fraction + whole;
    if (sum > kLargest) {
        out = static_cast<float>(sign * kLargest);
        return parseClamped;
    }
    out = static_cast<float>(sum * sign);
    return parseOk;
}

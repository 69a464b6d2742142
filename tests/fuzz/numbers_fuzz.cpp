// The number parsers behind the scalar getters against plain twins, which take the text apart first
// and compute afterwards.
#include <bit>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "description/parameters.h"
#include "fuzz/fuzz_target.h"

namespace {

struct ExpectedInt {
    ParseResult result;
    std::int32_t value;
};

struct ExpectedFloat {
    ParseResult result;
    float value;
};

// A text taken apart: sign, leading zeros, the digits behind them, and what follows these.
struct Parts {
    bool isNegative = false;
    std::string_view zeros;
    std::string_view digits;
    std::string_view rest;
};

std::string_view takeWhile(std::string_view& text, std::string_view characters) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(characters));
    text.remove_prefix(taken.size());
    return taken;
}

Parts takeApart(std::string_view text, bool hasSign) {
    Parts parts;
    parts.rest = text;
    if (hasSign && !parts.rest.empty() && (parts.rest[0] == '-' || parts.rest[0] == '+')) {
        parts.isNegative = parts.rest[0] == '-';
        parts.rest.remove_prefix(1);
    }
    parts.zeros = takeWhile(parts.rest, "0");
    parts.digits = takeWhile(parts.rest, "0123456789");
    return parts;
}

ExpectedInt expectedInt(std::string_view text, std::int32_t before) {
    const Parts parts = takeApart(text, true);
    if (parts.digits.empty() && parts.zeros.empty()) {
        return {parseNoNumber, before};
    }
    if (parts.digits.empty()) {
        return {parseOk, 0};
    }
    const std::string_view limit = parts.isNegative ? "2147483648" : "2147483647";
    const bool isLarger = parts.digits.size() > limit.size() ||
                          (parts.digits.size() == limit.size() && parts.digits > limit);
    if (isLarger) {
        return {parseClamped, parts.isNegative ? std::numeric_limits<std::int32_t>::min()
                                               : std::numeric_limits<std::int32_t>::max()};
    }
    const std::int64_t value = std::stoll(std::string(parts.digits));
    return {parseOk, static_cast<std::int32_t>(parts.isNegative ? -value : value)};
}

double wholeOf(std::string_view digits) {
    double sum = 0.0;
    double scale = 1.0;
    for (std::size_t i = digits.size(); i > 0; --i) {
        sum += static_cast<double>(digits[i - 1] - '0') * scale;
        scale *= 10.0;
    }
    return sum;
}

double fractionOf(std::string_view digits) {
    double sum = 0.0;
    double scale = 0.1;
    for (const char digit : digits) {
        sum += static_cast<double>(digit - '0') * scale;
        scale *= 0.1;
    }
    return sum;
}

ParseResult expectedWhole(const Parts& parts) {
    const char next = parts.rest.empty() ? '\0' : parts.rest[0];
    if (parts.digits.size() >= 40) {
        return parseClamped;
    }
    if (!parts.digits.empty()) {
        return parseOk;
    }
    if (!parts.zeros.empty()) {
        return next == '.' || next == '\0' ? parseOk : parseStopped;
    }
    return next == '.' ? parseOk : parseNoNumber;
}

ExpectedFloat expectedFloat(std::string_view text, float before) {
    Parts parts = takeApart(text, true);
    const double sign = parts.isNegative ? -1.0 : 1.0;
    const float largest = parts.isNegative ? -0x1.fffffep+127F : 0x1.fffffep+127F;
    const ParseResult result = expectedWhole(parts);
    if (result == parseNoNumber) {
        return {parseNoNumber, before};
    }
    if (result == parseClamped) {
        return {parseClamped, largest};
    }
    const double whole = wholeOf(parts.digits);
    if (parts.rest.empty() || parts.rest[0] != '.') {
        return {parseOk, static_cast<float>(whole * sign)};
    }
    parts.rest.remove_prefix(1);
    const double sum = fractionOf(takeWhile(parts.rest, "0123456789").substr(0, 38)) + whole;
    if (sum > 3.4028234663852886e38) {
        return {parseClamped, largest};
    }
    return {parseOk, static_cast<float>(sum * sign)};
}

void checkWholePart(const char* text) {
    const Parts parts = takeApart(text, false);
    const ParseResult expected = expectedWhole(parts);
    const char* cursor = text;
    double value = -7.0;
    REQUIRE(parseWholePart(cursor, value) == expected);
    if (expected == parseOk || expected == parseStopped) {
        REQUIRE(std::bit_cast<std::uint64_t>(value) ==
                std::bit_cast<std::uint64_t>(wholeOf(parts.digits)));
        REQUIRE(cursor == text + parts.zeros.size() + parts.digits.size());
    } else {
        REQUIRE(value == -7.0);
    }
}

void checkFractionPart(const char* text) {
    std::string_view rest = text;
    const std::string_view digits = takeWhile(rest, "0123456789").substr(0, 38);
    const char* cursor = text;
    double value = -7.0;
    parseFractionPart(cursor, value);
    REQUIRE(std::bit_cast<std::uint64_t>(value) ==
            std::bit_cast<std::uint64_t>(fractionOf(digits)));
    REQUIRE(cursor == text + digits.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The parsers are given values of a description, which end in a NUL.
    std::vector<char> bytes(data, data + size);
    bytes.push_back('\0');
    const char* text = bytes.data();

    std::int32_t number = 77;
    const ExpectedInt whole = expectedInt(text, number);
    REQUIRE(parseInt32(text, number) == whole.result);
    REQUIRE(number == whole.value);

    float real = 7.5F;
    const ExpectedFloat expected = expectedFloat(text, real);
    REQUIRE(parseFloat32(text, real) == expected.result);
    REQUIRE(std::bit_cast<std::uint32_t>(real) == std::bit_cast<std::uint32_t>(expected.value));

    checkWholePart(text);
    checkFractionPart(text);
    return 0;
}

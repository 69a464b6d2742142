// The list getters against plain twins: a split written byte by byte, integers compared as digits,
// and floats converted by another function of the standard library than streams use.
#include <bit>
#include <charconv>
#include <string>
#include <vector>

#include "description/parameters.h"
#include "fuzz/fuzz_target.h"

namespace {

std::vector<std::string> expectedTokens(const std::string& value) {
    std::vector<std::string> tokens;
    std::string token;
    for (const char byte : value) {
        if (byte == '_') {
            tokens.push_back(token);
            token.clear();
        } else {
            token += byte;
        }
    }
    if (!token.empty()) {
        tokens.push_back(token);
    }
    return tokens;
}

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

// Steps over the white space and the sign of a number, which it returns: "-" or nothing.
std::string takeSign(const std::string& token, std::size_t& at) {
    while (at < token.size() && std::string(" \t\n\v\f\r").find(token[at]) != std::string::npos) {
        ++at;
    }
    const bool hasSign = at < token.size() && (token[at] == '-' || token[at] == '+');
    return hasSign && token[at++] == '-' ? "-" : "";
}

std::string takeDigits(const std::string& token, std::size_t& at) {
    std::string digits;
    while (at < token.size() && isDigit(token[at])) {
        digits += token[at++];
    }
    return digits;
}

// False where the token holds no number, or one that does not fit.
bool expectedInt(const std::string& token, std::int32_t& number) {
    std::size_t at = 0;
    const std::string sign = takeSign(token, at);
    const std::string digits = takeDigits(token, at);
    const std::string text = sign + digits;
    std::int32_t value = 0;
    const std::from_chars_result result =
        std::from_chars(text.data(), text.data() + text.size(), value);
    if (digits.empty() || result.ec != std::errc()) {
        return false;
    }
    number = value;
    return true;
}

// Tells a number too small for a float, which is 0, from one too large: by where its first digit
// stands that is not 0.
bool isBelowOne(const std::string& whole, const std::string& fraction,
                const std::string& exponent) {
    const std::string digits = whole + fraction;
    const std::size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) {
        return true;
    }
    const auto place = static_cast<double>(whole.size()) - static_cast<double>(first);
    return place + (exponent.empty() ? 0.0 : std::stod(exponent)) <= 0.0;
}

bool expectedFloat(const std::string& token, float& number) {
    std::size_t at = 0;
    const std::string sign = takeSign(token, at);
    const std::string whole = takeDigits(token, at);
    std::string fraction;
    if (at < token.size() && token[at] == '.') {
        ++at;
        fraction = takeDigits(token, at);
    }
    if (whole.empty() && fraction.empty()) {
        return false;
    }
    std::string exponent;
    if (at < token.size() && (token[at] == 'e' || token[at] == 'E')) {
        ++at;
        if (at < token.size() && (token[at] == '-' || token[at] == '+')) {
            exponent = token[at++] == '-' ? "-" : "";
        }
        const std::string digits = takeDigits(token, at);
        if (digits.empty()) {
            return false;  // an exponent was begun and never given
        }
        exponent += digits.size() > 6 && digits.find_first_not_of('0') != std::string::npos &&
                            digits.size() - digits.find_first_not_of('0') > 6
                        ? "999999"
                        : digits;
    }
    const std::string text =
        sign + "0" + whole + "." + fraction + "0" + (exponent.empty() ? "" : "e" + exponent);
    float value = 0.0F;
    const std::from_chars_result result =
        std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isOutOfRange = result.ec != std::errc() ||
                              (std::bit_cast<std::uint32_t>(value) & 0x7FFFFFFFU) == 0x7F800000U;
    if (isOutOfRange && !isBelowOne(whole, fraction, exponent)) {
        return false;
    }
    number = isOutOfRange ? (sign.empty() ? 0.0F : -0.0F) : value;
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // As far as a description can hold it in one value: without the bytes that the reader drops or
    // that end a value. Vertical tab and form feed are white space that stays.
    std::string value;
    for (std::size_t i = 0; i < size && data[i] != 0; ++i) {
        if (std::string(" \t\r\n;,").find(static_cast<char>(data[i])) == std::string::npos) {
            value += static_cast<char>(data[i]);
        }
    }
    const std::string text = "[s]\ncoeffs=" + value + "\n";
    g_currentNet = 0;
    parseDescription(g_descriptions[0], text.c_str(), static_cast<std::uint32_t>(text.size()));

    const std::vector<std::string> tokens = expectedTokens(value);
    REQUIRE(splitList(value) == tokens);
    REQUIRE(getStringList("s", "coeffs") == tokens);

    const std::vector<std::int32_t> integers = getIntList("s", "coeffs");
    const std::vector<float> floats = getFloatList("s");
    REQUIRE(integers.size() == tokens.size());
    REQUIRE(floats.size() == tokens.size());
    std::int32_t integer = 0;
    float real = 0.0F;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        expectedInt(tokens[i], integer);
        REQUIRE(integers[i] == integer);
        expectedFloat(tokens[i], real);
        REQUIRE(std::bit_cast<std::uint32_t>(floats[i]) == std::bit_cast<std::uint32_t>(real));
    }
    return 0;
}

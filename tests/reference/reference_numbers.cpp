#include "reference/reference_numbers.h"

#include <charconv>
#include <cmath>
#include <limits>

static constexpr const char* kDigits = "0123456789";

static std::string_view takeWhile(std::string_view& text, std::string_view characters) {
    const std::string_view taken = text.substr(0, text.find_first_not_of(characters));
    text.remove_prefix(taken.size());
    return taken;
}

// Steps over a sign; true for a minus.
static bool takeMinus(std::string_view& text) {
    const bool isSigned = !text.empty() && (text[0] == '-' || text[0] == '+');
    const bool isNegative = isSigned && text[0] == '-';
    text.remove_prefix(isSigned ? 1 : 0);
    return isNegative;
}

// --- Scalars ------------------------------------------------------------------------------------

ReferenceResult referenceInt(std::string_view text, std::int32_t& number) {
    const bool isNegative = takeMinus(text);
    const std::string_view zeros = takeWhile(text, "0");
    const std::string_view digits = takeWhile(text, kDigits);
    if (digits.empty() && zeros.empty()) {
        return ReferenceResult::noNumber;
    }
    const std::string_view limit = isNegative ? "2147483648" : "2147483647";
    if (digits.size() > limit.size() || (digits.size() == limit.size() && digits > limit)) {
        number = isNegative ? std::numeric_limits<std::int32_t>::min()
                            : std::numeric_limits<std::int32_t>::max();
        return ReferenceResult::clamped;
    }
    const std::int64_t value = digits.empty() ? 0 : std::stoll(std::string(digits));
    number = static_cast<std::int32_t>(isNegative ? -value : value);
    return ReferenceResult::ok;
}

// Without a sign. Leading zeros need a point or the end behind them.
ReferenceResult referenceWhole(std::string_view text, double& number, std::size_t& read) {
    const std::string_view zeros = takeWhile(text, "0");
    const std::string_view digits = takeWhile(text, kDigits);
    const bool isPoint = !text.empty() && text[0] == '.';
    if (digits.empty() && zeros.empty() && !isPoint) {
        return ReferenceResult::noNumber;
    }
    if (digits.size() >= 40) {
        return ReferenceResult::clamped;
    }
    number = 0.0;
    double scale = 1.0;
    for (std::size_t i = digits.size(); i > 0; --i) {
        number += static_cast<double>(digits[i - 1] - '0') * scale;
        scale *= 10.0;
    }
    read = zeros.size() + digits.size();
    const bool isStopped = digits.empty() && !isPoint && !text.empty();
    return isStopped ? ReferenceResult::stopped : ReferenceResult::ok;
}

double referenceFraction(std::string_view text, std::size_t& read) {
    const std::string_view digits = takeWhile(text, kDigits).substr(0, 38);
    double sum = 0.0;
    double scale = 0.1;
    for (const char digit : digits) {
        sum += static_cast<double>(digit - '0') * scale;
        scale *= 0.1;
    }
    read = digits.size();
    return sum;
}

ReferenceResult referenceFloat(std::string_view text, float& number) {
    const double sign = takeMinus(text) ? -1.0 : 1.0;
    const float largest = static_cast<float>(sign) * std::numeric_limits<float>::max();
    double value = 0.0;
    std::size_t read = 0;
    const ReferenceResult result = referenceWhole(text, value, read);
    if (result == ReferenceResult::noNumber) {
        return result;
    }
    text.remove_prefix(read);
    const bool hasFraction = !text.empty() && text[0] == '.';
    if (result != ReferenceResult::clamped && hasFraction) {
        value = referenceFraction(text.substr(1), read) + value;
    }
    if (result == ReferenceResult::clamped || (hasFraction && value > 3.4028234663852886e38)) {
        number = largest;
        return ReferenceResult::clamped;
    }
    number = static_cast<float>(value * sign);
    return ReferenceResult::ok;
}

// --- Lists --------------------------------------------------------------------------------------

std::vector<std::string> referenceTokens(const std::string& value) {
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

template <typename Number>
static bool convert(const std::string& text, Number& number) {
    Number value{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc()) {
        number = value;
    }
    return result.ec == std::errc();
}

void referenceListInt(const std::string& token, std::int32_t& number) {
    std::string_view rest = token;
    takeWhile(rest, " \t\n\v\f\r");
    const std::string sign = takeMinus(rest) ? "-" : "";
    convert(sign + std::string(takeWhile(rest, kDigits)), number);
}

// Where the first digit of a decimal number stands that is not 0: at most 0 below one.
static double placeOfFirstDigit(const std::string& whole, const std::string& fraction,
                                const std::string& exponent) {
    const std::size_t first = (whole + fraction).find_first_not_of('0');
    return first == std::string::npos
               ? 0.0
               : static_cast<double>(whole.size()) - static_cast<double>(first) +
                     (exponent.empty() ? 0.0 : std::stod(exponent));
}

void referenceListFloat(const std::string& token, float& number) {
    std::string_view rest = token;
    takeWhile(rest, " \t\n\v\f\r");
    const std::string sign = takeMinus(rest) ? "-" : "";
    const std::string whole(takeWhile(rest, kDigits));
    std::string fraction;
    if (!rest.empty() && rest[0] == '.') {
        rest.remove_prefix(1);
        fraction = takeWhile(rest, kDigits);
    }
    std::string exponent;
    if (!rest.empty() && (rest[0] == 'e' || rest[0] == 'E')) {
        rest.remove_prefix(1);
        exponent = takeMinus(rest) ? "-" : "";
        const std::string_view zeros = takeWhile(rest, "0");
        const std::string_view digits = takeWhile(rest, kDigits);
        if (digits.empty() && zeros.empty()) {
            return;  // an exponent was begun and never given
        }
        exponent += digits.empty() ? "0" : digits.size() > 6 ? "999999" : std::string(digits);
    }
    if (whole.empty() && fraction.empty()) {
        return;
    }
    float value = 0.0F;
    const bool isConverted = convert(
        sign + "0" + whole + "." + fraction + "0" + (exponent.empty() ? "" : "e" + exponent),
        value);
    if (isConverted && !std::isinf(value)) {
        number = value;
    } else if (placeOfFirstDigit(whole, fraction, exponent) <= 0.0) {
        number = sign.empty() ? 0.0F : -0.0F;  // too small for a float
    }
}

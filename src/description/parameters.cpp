#include "description/parameters.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>

constinit NetDescription g_descriptions[kDescriptionCount];
constinit std::int32_t g_currentNet = 0;

static constexpr int kIntDigits = 10;
static constexpr int kWholeDigits = 39;  // as many as the largest float has
static constexpr int kFractionDigits = 38;

static_assert(std::numeric_limits<float>::is_iec559, "conversions that overflow give infinity");

const DescriptionSection* getSection(const NetDescription& description, const std::string& name) {
    const std::int32_t index = name.empty() ? description.defaultSection
                                            : findSection(description.sections.get(),
                                                          description.sectionCount, name.c_str());
    return index < 0 ? nullptr : description.sections[static_cast<std::size_t>(index)].get();
}

const DescriptionSection* currentSection(const std::string& name) {
    return getSection(g_descriptions[g_currentNet], name);
}

// The value behind a key, up to its first NUL, or null.
static const char* findValue(const DescriptionSection* section, const std::string& key) {
    if (section == nullptr) {
        return nullptr;
    }
    const std::int32_t index =
        key.empty() ? section->defaultEntry
                    : findEntry(section->entries.get(), section->entryCount, key.c_str());
    if (index < 0) {
        return nullptr;
    }
    const char* entry = section->entries[static_cast<std::size_t>(index)];
    return entry + std::strlen(entry) + 1;
}

bool getString(const DescriptionSection* section, const std::string& key, std::string& out) {
    const char* value = findValue(section, key);
    if (value == nullptr) {
        return false;
    }
    out = value;
    return true;
}

bool getFloat(const DescriptionSection* section, const std::string& key, float& out) {
    const char* value = findValue(section, key);
    return value != nullptr && parseFloat32(value, out) != parseNoNumber;
}

void getInt(const std::string& sectionName, const std::string& key, std::int32_t& out) {
    const char* value = findValue(currentSection(sectionName), key);
    if (value != nullptr) {
        parseInt32(value, out);
    }
}

std::vector<std::string> getStringList(const std::string& sectionName, const std::string& key) {
    std::string value;
    getString(currentSection(sectionName), key, value);
    return splitList(value);
}

// A failed extraction may store 0 or a limit, so it never reaches `number`.
template <typename Number>
static std::vector<Number> getNumberList(const std::string& sectionName, const std::string& key) {
    std::vector<Number> numbers;
    Number number = 0;
    for (const std::string& token : getStringList(sectionName, key)) {
        std::istringstream stream(token);
        stream.imbue(std::locale::classic());
        Number extracted = 0;
        if (stream >> extracted) {
            number = extracted;
        }
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<std::int32_t> getIntList(const std::string& sectionName, const std::string& key) {
    return getNumberList<std::int32_t>(sectionName, key);
}

std::vector<float> getFloatList(const std::string& sectionName) {
    return getNumberList<float>(sectionName, "coeffs");
}

std::vector<std::string> splitList(const std::string& value) {
    std::vector<std::string> tokens;
    std::size_t begin = 0;
    while (begin < value.size()) {
        const std::size_t end = std::min(value.find('_', begin), value.size());
        tokens.push_back(value.substr(begin, end - begin));
        begin = end + 1;
    }
    return tokens;
}

static bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

// Steps over a sign; true for a minus.
static bool readSign(const char*& cursor) {
    const bool negative = *cursor == '-';
    if (negative || *cursor == '+') {
        ++cursor;
    }
    return negative;
}

// Steps over zeros; true if there were any.
static bool readZeros(const char*& cursor) {
    const char* start = cursor;
    while (*cursor == '0') {
        ++cursor;
    }
    return cursor != start;
}

// Steps over at most `room` digits and returns their number.
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

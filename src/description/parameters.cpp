#include "description/parameters.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <locale>
#include <sstream>

#include "description/numbers.h"

const DescriptionSection* getSection(const NetDescription& description, const std::string& name) {
    const std::int32_t index =
        name.empty() ? description.defaultSection : findSection(description.sections, name.c_str());
    return index < 0 ? nullptr : &description.sections[static_cast<std::size_t>(index)];
}

// The value of a key, which its first NUL ends, or null where the key is missing.
static const char* findValue(const DescriptionSection* section, const std::string& key) {
    if (section == nullptr) {
        return nullptr;
    }
    const std::int32_t index =
        key.empty() ? section->defaultEntry : findEntry(section->entries, key.c_str());
    if (index < 0) {
        return nullptr;
    }
    const char* entry = section->entries[static_cast<std::size_t>(index)].c_str();
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

void getInt(const DescriptionSection* section, const std::string& key, std::int32_t& out) {
    const char* value = findValue(section, key);
    if (value != nullptr) {
        parseInt32(value, out);
    }
}

std::vector<std::string> getStringList(const DescriptionSection* section, const std::string& key) {
    std::string value;
    getString(section, key, value);
    return splitList(value);
}

// A failed extraction may store 0 or a limit: only a successful one reaches `number`.
template <typename Number>
static std::vector<Number> getNumberList(const DescriptionSection* section,
                                         const std::string& key) {
    std::vector<Number> numbers;
    Number number = 0;
    for (const std::string& token : getStringList(section, key)) {
        std::istringstream stream(token);
        // A host's locale may have a decimal comma or group digits.
        stream.imbue(std::locale::classic());
        Number extracted = 0;
        if (stream >> extracted) {
            number = extracted;
        }
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<std::int32_t> getIntList(const DescriptionSection* section, const std::string& key) {
    return getNumberList<std::int32_t>(section, key);
}

std::vector<float> getFloatList(const DescriptionSection* section) {
    return getNumberList<float>(section, "coeffs");
}

std::vector<std::string> splitList(const std::string& value) {
    std::vector<std::string> tokens;
    std::size_t begin = 0;
    // Stops at the end, so a final `_` does not start another token.
    while (begin < value.size()) {
        const std::size_t end = std::min(value.find('_', begin), value.size());
        tokens.push_back(value.substr(begin, end - begin));
        begin = end + 1;
    }
    return tokens;
}

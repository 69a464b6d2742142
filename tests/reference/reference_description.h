// The description notation once more, a line at a time: its comment goes, then its blanks, then the
// places of its brackets and of its first `=` say what it is. No cursor, no search, and an
// insertion that walks from the front.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_DESCRIPTION_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_DESCRIPTION_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

struct ReferenceSection {
    std::string name;
    std::vector<std::string> blobs;  // key, NUL, value with NUL for commas, NUL, NUL
};

struct ReferenceDescription {
    std::vector<ReferenceSection> sections;
};

// True if the NUL-terminated string in front of `a` stands before that in front of `b`: signed
// bytes, of which the NUL at the end is one.
inline bool referenceLess(const std::string& a, const std::string& b) {
    const auto bytesOf = [](const char* text) {
        return std::vector<signed char>(text, text + std::strlen(text) + 1);
    };
    return bytesOf(a.c_str()) < bytesOf(b.c_str());
}

inline const std::string& referenceName(const std::string& blob) {
    return blob;
}
inline const std::string& referenceName(const ReferenceSection& section) {
    return section.name;
}

template <typename Item>
void insertReference(std::vector<Item>& items, const Item& item) {
    std::size_t place = 0;
    while (place < items.size() && referenceLess(referenceName(items[place]), referenceName(item)))
        ++place;
    items.insert(items.begin() + static_cast<std::ptrdiff_t>(place), item);
}

inline ReferenceDescription readReferenceDescription(std::string text) {
    ReferenceDescription result;
    ReferenceSection section = {"[DEFAULT]", {}};
    std::replace(text.begin(), text.end(), '\r', '\n');
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        line = line.substr(0, line.find(';'));
        std::erase_if(line, [](char byte) { return byte == ' ' || byte == '\t'; });
        const std::size_t bracket = line.find('[');
        const std::size_t closing = line.find(']', bracket);
        const std::size_t equals = line.find('=');
        // Behind a header of no name only another header counts, and no `=` hides it.
        const bool isLost = section.name.empty();
        if (bracket != std::string::npos && closing != std::string::npos &&
            (isLost || bracket < equals)) {
            if (!isLost)
                insertReference(result.sections, section);
            section = {line.substr(bracket + 1, closing - bracket - 1), {}};
        } else if (!isLost && equals < bracket && equals > 0 && equals + 1 < line.size()) {
            std::string value = line.substr(equals + 1);
            std::replace(value.begin(), value.end(), ',', '\0');
            insertReference(section.blobs, line.substr(0, equals) + '\0' + value + '\0' + '\0');
        }
    }
    if (!section.name.empty())
        insertReference(result.sections, section);
    return result;
}

#endif

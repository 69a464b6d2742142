#include "description/description_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

int compareNames(const char* wanted, const char* stored) {
    while (*wanted != '\0' && *wanted == *stored) {
        ++wanted;
        ++stored;
    }
    // Plain char is unsigned on some platforms.
    return static_cast<signed char>(*wanted) - static_cast<signed char>(*stored);
}

static const char* nameOf(const DescriptionSection& section) {
    return section.name.c_str();
}

// An entry starts with its key, whose NUL ends the comparison.
static const char* nameOf(const std::string& entry) {
    return entry.c_str();
}

// Inserts `item` before the first whose name is not less, and so before all equal ones.
template <typename Item>
static void insertSorted(std::vector<Item>& items, Item item) {
    const auto place = std::lower_bound(items.begin(), items.end(), nameOf(item),
                                        [](const Item& stored, const char* name) {
                                            return compareNames(name, nameOf(stored)) > 0;
                                        });
    items.insert(place, std::move(item));
}

// The midpoints are part of the result: they decide which of several equal names is found.
template <typename Item>
static std::int32_t findSorted(const std::vector<Item>& items, const char* name) {
    std::int32_t low = 0;
    std::int32_t high = static_cast<std::int32_t>(items.size()) - 1;
    while (low <= high) {
        const std::int32_t middle = (low + high) / 2;
        const int order = compareNames(name, nameOf(items[static_cast<std::size_t>(middle)]));
        if (order == 0) {
            return middle;
        }
        if (order > 0) {
            low = middle + 1;
        } else {
            high = middle - 1;
        }
    }
    return -1;
}

std::int32_t findSection(const std::vector<DescriptionSection>& sections, const char* name) {
    return findSorted(sections, name);
}

std::int32_t findEntry(const std::vector<std::string>& entries, const char* key) {
    return findSorted(entries, key);
}

namespace {

// A single pass over a text.
class DescriptionReader {
  public:
    explicit DescriptionReader(const char* text) : cursor(text) {}

    std::vector<DescriptionSection> readSections();

  private:
    enum KeyResult { keyReadKey, keyReadBracket, keyReadNothing };

    DescriptionSection parseSection(const std::string& name);
    KeyResult readKey(std::string& entry);
    void readValue(std::string& entry);
    bool isSectionHeader();
    std::string readSectionHeader();
    void gather(const char* stops, std::string& bytes);
    void skipLine();

    const char* cursor;
};

// The default name includes brackets and so stays unique: a name read from a text has no `]`.
std::vector<DescriptionSection> DescriptionReader::readSections() {
    std::vector<DescriptionSection> sections;
    // Whatever precedes the first header.
    insertSorted(sections, parseSection("[DEFAULT]"));
    while (*cursor != '\0') {
        const std::string name = readSectionHeader();
        if (!name.empty()) {
            insertSorted(sections, parseSection(name));
        }
    }
    return sections;
}

// Reads entries up to the end of the text or up to the next header, leaving the cursor at its `[`.
DescriptionSection DescriptionReader::parseSection(const std::string& name) {
    DescriptionSection section;
    section.name = name;
    std::string entry;
    while (*cursor != '\0') {
        entry.clear();
        const KeyResult result = readKey(entry);
        if (result == keyReadKey) {
            const std::size_t keyLength = entry.size();
            readValue(entry);
            // A key without a value makes no entry.
            if (entry.size() != keyLength) {
                entry.append(2, '\0');
                insertSorted(section.entries, entry);
            }
        } else if (result == keyReadBracket && isSectionHeader()) {
            break;
        }
    }
    return section;
}

// After keyReadKey, `entry` holds the key and its NUL, and the cursor is past the `=`. A line that
// ends, or turns into a comment, before its `=` is dropped.
DescriptionReader::KeyResult DescriptionReader::readKey(std::string& entry) {
    gather("\r\n;[=", entry);
    if (*cursor == '[') {
        return keyReadBracket;
    }
    if (*cursor != '=' || entry.empty()) {
        skipLine();
        return keyReadNothing;
    }
    entry.push_back('\0');
    ++cursor;
    return keyReadKey;
}

void DescriptionReader::readValue(std::string& entry) {
    const auto keyLength = static_cast<std::ptrdiff_t>(entry.size());
    gather("\r\n;", entry);
    // Getters read up to a NUL, and so get what precedes the first comma.
    std::replace(entry.begin() + keyLength, entry.end(), ',', '\0');
    skipLine();
}

// Any `[` with a `]` later on its line is a header, whatever surrounds the two. Otherwise the line
// is consumed here.
bool DescriptionReader::isSectionHeader() {
    const char* end = cursor + std::strcspn(cursor, "]\r\n;");
    if (*end == ']') {
        return true;
    }
    cursor = end;
    skipLine();
    return false;
}

// Consumes one line and returns the name in its brackets; empty if it does not open a section.
std::string DescriptionReader::readSectionHeader() {
    std::string name;
    cursor += std::strcspn(cursor, "[\r\n;");
    if (*cursor == '[') {
        ++cursor;
        gather("]\r\n;", name);
        if (*cursor != ']') {
            name.clear();
        }
    }
    skipLine();
    return name;
}

// Appends the bytes up to the first of `stops` or the end of the text, without spaces and tabs.
void DescriptionReader::gather(const char* stops, std::string& bytes) {
    const char* end = cursor + std::strcspn(cursor, stops);
    std::copy_if(cursor, end, std::back_inserter(bytes),
                 [](char byte) { return byte != ' ' && byte != '\t'; });
    cursor = end;
}

// Moves past the end of the line and any line ends right after it.
void DescriptionReader::skipLine() {
    cursor += std::strcspn(cursor, "\r\n");
    cursor += std::strspn(cursor, "\r\n");
}

}  // namespace

NetDescription parseDescription(const char* text) {
    NetDescription description;
    description.sections = DescriptionReader(text).readSections();
    return description;
}

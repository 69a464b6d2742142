// Reads a network text into sorted tables of sections and of their keys and values.
//
// The notation resembles an INI file: `[name]` opens a section, `key=value` makes an entry, `;`
// starts a comment. It has rules of its own and no errors: what cannot be used is dropped.
//   - Spaces and tabs are dropped everywhere, even inside names, keys and values.
//   - A comma splits a value; `"`, `#` and `\` are bytes like any other.
//   - Repeated keys and sections are all kept, newest first.
//   - Keys before the first header belong to the section `[DEFAULT]`, which always exists.
#ifndef ZOMU_DESCRIPTION_DESCRIPTION_READER_H
#define ZOMU_DESCRIPTION_DESCRIPTION_READER_H

#include <cstdint>
#include <string>
#include <vector>

struct DescriptionSection {
    std::string name;
    // Ascending by key. Each entry is one run of bytes: key, NUL, value with a NUL for every comma,
    // NUL, NUL.
    std::vector<std::string> entries;
    std::int32_t defaultEntry = -1;  // what the empty key selects: no entry
};

struct NetDescription {
    std::vector<DescriptionSection> sections;  // ascending by name
    std::int32_t defaultSection = -1;          // what the empty name selects: no section
};

// Reads the NUL-terminated `text` and keeps no pointer into it.
NetDescription parseDescription(const char* text);

// Compares two strings byte by byte as signed 8-bit values on every platform: bytes from 0x80 sort
// before all of ASCII. Negative, 0 or positive as `wanted` is less, equal or greater.
int compareNames(const char* wanted, const char* stored);

// Binary searches for an equal name or key. They return its index, or -1; among equal ones, the
// first that a midpoint hits. Callers map the empty string to the default themselves.
std::int32_t findSection(const std::vector<DescriptionSection>& sections, const char* name);
std::int32_t findEntry(const std::vector<std::string>& entries, const char* key);

#endif

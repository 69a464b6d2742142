// Reads a network text into sorted tables of sections and of their keys and values.
//
// The notation resembles an INI file: `[name]` opens a section, `key=value` makes an entry, `;`
// starts a comment. It has rules of its own, and there are no errors: what cannot be used is
// dropped.
//   - Blanks and tabs vanish everywhere, also inside names, keys and values.
//   - A comma cuts a value; `"`, `#` and `\` are bytes like any other.
//   - Keys and sections that repeat are all kept, the newest in front of the older ones.
//   - Keys in front of the first header belong to the section `[DEFAULT]`, which always exists.
#ifndef ZOMU_DESCRIPTION_DESCRIPTION_READER_H
#define ZOMU_DESCRIPTION_DESCRIPTION_READER_H

#include <cstdint>
#include <memory>
#include <vector>

struct PoolBlock {
    std::uint32_t capacity = 0;
    std::uint32_t used = 0;
    std::unique_ptr<char[]> data;
};

// Where all strings of a description live, back to back and unaligned. Blocks are filled one after
// another; a block never moves, so that pointers into it last as long as the pool.
struct DescriptionPool {
    std::uint32_t currentBlock = 0;
    std::uint32_t blockSize = 1;  // capacity of the next block
    std::vector<PoolBlock> blocks;
};

struct DescriptionSection {
    const char* name = nullptr;  // in the pool, as are the entries
    std::uint32_t entryCount = 0;
    // Each entry is one run of bytes: key, NUL, value with a NUL for every comma, NUL, NUL.
    // Ascending by key.
    std::unique_ptr<const char*[]> entries;
    const DescriptionPool* pool = nullptr;
    std::int32_t defaultEntry = -1;  // what the empty key stands for: no entry
};

// Empty until parseDescription fills it. Construction is constant, so that a table of these in
// static storage can be used from any initialiser.
struct NetDescription {
    NetDescription() = default;
    ~NetDescription();
    NetDescription(const NetDescription&) = delete;
    NetDescription& operator=(const NetDescription&) = delete;

    std::uint32_t sectionCount = 0;
    std::unique_ptr<std::unique_ptr<DescriptionSection>[]> sections;  // ascending by name
    std::unique_ptr<DescriptionPool> pool;
    std::int32_t defaultSection = -1;  // what the empty name stands for: no section
};

// Replaces the contents by those of the NUL-terminated `text`. `textLength` only sizes the pool;
// the text ends at its NUL, wherever that is. Always true. Keeps no pointer into `text`.
bool parseDescription(NetDescription& description, const char* text, std::uint32_t textLength);

// Releases everything; pointers to sections, names, keys and values end here.
void clearDescription(NetDescription& description);

// Orders two strings byte by byte as signed 8-bit values, on every platform: bytes from 0x80 stand
// before all of ASCII. Negative, 0 or positive as `wanted` is less, equal or greater.
int compareNames(const char* wanted, const char* stored);

// Binary searches for an equal name or key; the index, or -1. Among equal ones the search returns
// the first that its midpoints meet. Callers map the empty string to the default themselves.
std::int32_t findSection(const std::unique_ptr<DescriptionSection>* sections, std::uint32_t count,
                         const char* name);
std::int32_t findEntry(const char* const* entries, std::uint32_t count, const char* key);

#endif

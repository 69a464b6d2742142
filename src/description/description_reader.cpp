#include "description/description_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

static constexpr std::uint32_t kFirstBlocks = 16;

static PoolBlock createBlock(std::uint32_t capacity) {
    return {capacity, 0, std::make_unique<char[]>(capacity)};
}

// Sixteen blocks that hold the text together; most texts shrink, and poolTrim drops the rest.
static std::unique_ptr<DescriptionPool> createPool(std::uint32_t textLength) {
    auto pool = std::make_unique<DescriptionPool>();
    pool->blockSize = textLength / kFirstBlocks + 1;
    for (std::uint32_t i = 0; i < kFirstBlocks; ++i) {
        pool->blocks.push_back(createBlock(pool->blockSize));
    }
    return pool;
}

// What is left of a block that was too full is lost, so that strings stand in the order of reading.
static char* poolAllocate(DescriptionPool& pool, std::uint32_t size) {
    while (pool.blocks[pool.currentBlock].capacity - pool.blocks[pool.currentBlock].used < size) {
        ++pool.currentBlock;
        pool.blockSize = std::max(pool.blockSize, size);
        if (pool.currentBlock == pool.blocks.size()) {
            pool.blocks.push_back(createBlock(pool.blockSize));
        } else if (pool.blocks[pool.currentBlock].capacity < size) {
            pool.blocks[pool.currentBlock] = createBlock(pool.blockSize);
        }
    }
    PoolBlock& block = pool.blocks[pool.currentBlock];
    char* bytes = block.data.get() + block.used;
    block.used += size;
    return bytes;
}

static const char* poolStore(DescriptionPool& pool, const char* bytes, std::size_t size) {
    char* stored = poolAllocate(pool, static_cast<std::uint32_t>(size));
    std::memcpy(stored, bytes, size);
    return stored;
}

static void poolTrim(DescriptionPool& pool) {
    pool.blocks.erase(pool.blocks.begin() + pool.currentBlock + 1, pool.blocks.end());
}

int compareNames(const char* wanted, const char* stored) {
    while (*wanted != '\0' && *wanted == *stored) {
        ++wanted;
        ++stored;
    }
    return static_cast<signed char>(*wanted) - static_cast<signed char>(*stored);
}

static const char* nameOf(const std::unique_ptr<DescriptionSection>& section) {
    return section->name;
}

// A blob starts with its key, whose NUL ends the comparison.
static const char* nameOf(const char* entry) {
    return entry;
}

// Puts `item` in front of the first whose name is not less, and so in front of all equal ones.
template <typename Item>
static void insertSorted(std::vector<Item>& items, Item item) {
    const auto place = std::lower_bound(items.begin(), items.end(), nameOf(item),
                                        [](const Item& stored, const char* name) {
                                            return compareNames(name, nameOf(stored)) > 0;
                                        });
    items.insert(place, std::move(item));
}

// The midpoints are part of the result: they choose among equal names.
template <typename Item>
static std::int32_t findSorted(const Item* items, std::uint32_t count, const char* name) {
    std::int32_t low = 0;
    std::int32_t high = static_cast<std::int32_t>(count) - 1;
    while (low <= high) {
        const std::int32_t middle = (low + high) / 2;
        const int order = compareNames(name, nameOf(items[middle]));
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

std::int32_t findSection(const std::unique_ptr<DescriptionSection>* sections, std::uint32_t count,
                         const char* name) {
    return findSorted(sections, count, name);
}

std::int32_t findEntry(const char* const* entries, std::uint32_t count, const char* key) {
    return findSorted(entries, count, key);
}

namespace {

// A cursor that walks over a text once, and what to do with the bytes under it.
class DescriptionReader {
  public:
    DescriptionReader(const char* text, DescriptionPool& target) : cursor(text), pool(target) {}

    std::vector<std::unique_ptr<DescriptionSection>> readSections();

  private:
    enum KeyResult { keyReadKey, keyReadBracket, keyReadNothing };

    std::unique_ptr<DescriptionSection> parseSection(const std::string& name);
    KeyResult readKey(std::string& entry);
    void readValue(std::string& entry);
    bool isSectionHeader();
    std::string readSectionHeader();
    void gather(const char* stops, std::string& bytes);
    void skipLine();

    const char* cursor;
    DescriptionPool& pool;
};

// The name with brackets stays unique: one read from a text holds no `]`.
std::vector<std::unique_ptr<DescriptionSection>> DescriptionReader::readSections() {
    std::vector<std::unique_ptr<DescriptionSection>> sections;
    insertSorted(sections, parseSection("[DEFAULT]"));
    while (*cursor != '\0') {
        const std::string name = readSectionHeader();
        if (!name.empty()) {
            insertSorted(sections, parseSection(name));
        }
    }
    return sections;
}

// Reads entries up to the end of the text or the next header, whose `[` is then under the cursor.
std::unique_ptr<DescriptionSection> DescriptionReader::parseSection(const std::string& name) {
    auto section = std::make_unique<DescriptionSection>();
    section->pool = &pool;
    section->name = poolStore(pool, name.c_str(), name.size() + 1);

    std::vector<const char*> entries;
    std::string entry;
    while (*cursor != '\0') {
        entry.clear();
        const KeyResult result = readKey(entry);
        if (result == keyReadKey) {
            const std::size_t keyLength = entry.size();
            readValue(entry);
            if (entry.size() != keyLength) {
                entry.append(2, '\0');
                insertSorted(entries, poolStore(pool, entry.data(), entry.size()));
            }
        } else if (result == keyReadBracket && isSectionHeader()) {
            break;
        }
    }

    section->entryCount = static_cast<std::uint32_t>(entries.size());
    section->entries = std::make_unique<const char*[]>(entries.size());
    std::copy(entries.begin(), entries.end(), section->entries.get());
    return section;
}

// On keyReadKey `entry` holds the key and its NUL, and the cursor is behind the `=`. A line that
// ends, or turns into a comment, in front of its `=` is dropped.
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
    std::replace(entry.begin() + keyLength, entry.end(), ',', '\0');
    skipLine();
}

// Any `[` with a `]` later on its line is a header, whatever stands around the two. Otherwise the
// line is consumed here.
bool DescriptionReader::isSectionHeader() {
    const char* end = cursor + std::strcspn(cursor, "]\r\n;");
    if (*end == ']') {
        return true;
    }
    cursor = end;
    skipLine();
    return false;
}

// Consumes one line. The name in its brackets, or nothing if it opens no section.
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

// Appends the bytes up to the first of `stops` or the end of the text, without blanks and tabs.
void DescriptionReader::gather(const char* stops, std::string& bytes) {
    const char* end = cursor + std::strcspn(cursor, stops);
    std::copy_if(cursor, end, std::back_inserter(bytes),
                 [](char byte) { return byte != ' ' && byte != '\t'; });
    cursor = end;
}

// Moves behind the line's end and behind all line ends that follow at once.
void DescriptionReader::skipLine() {
    cursor += std::strcspn(cursor, "\r\n");
    cursor += std::strspn(cursor, "\r\n");
}

}  // namespace

NetDescription::~NetDescription() {
    clearDescription(*this);
}

bool parseDescription(NetDescription& description, const char* text, std::uint32_t textLength) {
    clearDescription(description);
    description.pool = createPool(textLength);
    auto sections = DescriptionReader(text, *description.pool).readSections();
    // The count comes last: an allocation that fails before leaves a description without sections.
    description.sections = std::make_unique<std::unique_ptr<DescriptionSection>[]>(sections.size());
    std::move(sections.begin(), sections.end(), description.sections.get());
    description.sectionCount = static_cast<std::uint32_t>(sections.size());
    poolTrim(*description.pool);
    return true;
}

void clearDescription(NetDescription& description) {
    if (description.sectionCount == 0 || !description.sections || !description.pool) {
        return;
    }
    description.sections.reset();
    description.pool.reset();
    description.sectionCount = 0;
}

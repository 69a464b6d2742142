// The description notation once more, read byte by byte into plain strings and lists: no pool, no
// search, an insertion that walks from the front.
#ifndef ZOMU_TESTS_REFERENCE_REFERENCE_DESCRIPTION_H
#define ZOMU_TESTS_REFERENCE_REFERENCE_DESCRIPTION_H

#include <cstddef>
#include <string>
#include <vector>

struct ReferenceSection {
    std::string name;
    std::vector<std::string> blobs;  // key, NUL, value with NUL for commas, NUL, NUL
};

struct ReferenceDescription {
    std::vector<ReferenceSection> sections;
    std::string stored;  // names with their NUL and blobs, in the order of reading
};

// Where a byte stands in the order: 0x80 to 0xFF in front of 0x00 to 0x7F.
inline int referenceRank(char byte) {
    const int value = static_cast<unsigned char>(byte);
    return value >= 0x80 ? value - 0x80 : value + 0x80;
}

// True if the NUL-terminated string in front of `a` stands before that in front of `b`.
inline bool referenceLess(const std::string& a, const std::string& b) {
    for (std::size_t i = 0;; ++i) {
        const char x = i < a.size() ? a[i] : '\0';
        const char y = i < b.size() ? b[i] : '\0';
        if (x != y)
            return referenceRank(x) < referenceRank(y);
        if (x == '\0')
            return false;
    }
}

class ReferenceReader {
  public:
    explicit ReferenceReader(const std::string& source) : text(source) {}

    ReferenceDescription read() {
        readSection("[DEFAULT]");
        while (at(position) != '\0') {
            const std::string name = readHeader();
            if (!name.empty())
                readSection(name);
        }
        return result;
    }

  private:
    char at(std::size_t i) const { return i < text.size() ? text[i] : '\0'; }
    static bool isBlank(char byte) { return byte == ' ' || byte == '\t'; }
    static bool isLineEnd(char byte) { return byte == '\r' || byte == '\n'; }

    void skipLine() {
        while (at(position) != '\0' && !isLineEnd(at(position)))
            ++position;
        while (isLineEnd(at(position)))
            ++position;
    }

    void readSection(const std::string& name) {
        ReferenceSection section;
        section.name = name;
        result.stored += name;
        result.stored += '\0';
        std::string key;
        while (at(position) != '\0') {
            const char byte = at(position);
            if (isBlank(byte)) {
                ++position;
            } else if (isLineEnd(byte) || byte == ';') {
                key.clear();
                skipLine();
            } else if (byte == '[') {
                key.clear();
                if (closesOnThisLine())
                    break;
                skipLine();
            } else if (byte == '=') {
                ++position;
                readEntry(section, key);
                key.clear();
            } else {
                key += byte;
                ++position;
            }
        }
        std::size_t place = 0;
        while (place < result.sections.size() && referenceLess(result.sections[place].name, name))
            ++place;
        result.sections.insert(result.sections.begin() + static_cast<std::ptrdiff_t>(place),
                               section);
    }

    bool closesOnThisLine() const {
        for (std::size_t i = position + 1;; ++i) {
            const char byte = at(i);
            if (byte == ']')
                return true;
            if (byte == '\0' || isLineEnd(byte) || byte == ';')
                return false;
        }
    }

    // Behind the `=`. A key of no bytes, or a value of none, makes no entry.
    void readEntry(ReferenceSection& section, const std::string& key) {
        std::string value;
        while (at(position) != '\0' && !isLineEnd(at(position)) && at(position) != ';') {
            const char byte = at(position++);
            if (!isBlank(byte))
                value += byte == ',' ? '\0' : byte;
        }
        skipLine();
        if (key.empty() || value.empty())
            return;
        const std::string blob = key + '\0' + value + '\0' + '\0';
        result.stored += blob;
        std::size_t place = 0;
        while (place < section.blobs.size() && referenceLess(section.blobs[place].c_str(), key))
            ++place;
        section.blobs.insert(section.blobs.begin() + static_cast<std::ptrdiff_t>(place), blob);
    }

    std::string readHeader() {
        while (at(position) != '[') {
            if (at(position) == '\0' || isLineEnd(at(position)) || at(position) == ';') {
                skipLine();
                return "";
            }
            ++position;
        }
        ++position;
        std::string name;
        for (;; ++position) {
            const char byte = at(position);
            if (byte == '\0' || isLineEnd(byte) || byte == ';') {
                skipLine();
                return "";
            }
            if (byte == ']') {
                skipLine();
                return name;
            }
            if (!isBlank(byte))
                name += byte;
        }
    }

    std::string text;
    std::size_t position = 0;
    ReferenceDescription result;
};

inline ReferenceDescription readReferenceDescription(const std::string& text) {
    return ReferenceReader(text).read();
}

#endif

// The description reader against its second writing, and every getter on every section and key of
// what was read, and on names that are not there.
//
// A getter on a missing section or key is legal, so that nothing has to be kept out here. What ends
// a process, the building of a network from a wrong description, is no part of the reader.
#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "description/parameters.h"
#include "fuzz/fuzz_target.h"
#include "reference/reference_description.h"

namespace {

// A text that is no name, two that may be there, and one from the other end of the order.
const std::vector<std::string> kOtherNames = {"", "coeffs", "[DEFAULT]", "\x80"};

// Where a search that halves the range meets `wanted` first, or -1.
int expectedPlace(const std::vector<std::string>& sorted, const std::string& wanted) {
    int low = 0;
    int high = static_cast<int>(sorted.size()) - 1;
    while (!wanted.empty() && low <= high) {
        const int middle = (low + high) / 2;
        const std::string& stored = sorted[static_cast<std::size_t>(middle)];
        if (stored == wanted) {
            return middle;
        }
        if (referenceLess(stored, wanted)) {
            low = middle + 1;
        } else {
            high = middle - 1;
        }
    }
    return -1;
}

struct KeysAndValues {
    std::vector<std::string> keys;
    std::vector<std::string> values;  // up to their first comma
};

KeysAndValues keysAndValues(const ReferenceSection& section) {
    KeysAndValues all;
    for (const std::string& blob : section.blobs) {
        all.keys.emplace_back(blob.c_str());
        all.values.emplace_back(blob.c_str() + all.keys.back().size() + 1);
    }
    return all;
}

// The names themselves, others, and in turn a cut and a lengthened one.
std::vector<std::string> namesToAsk(const std::vector<std::string>& names) {
    std::vector<std::string> asked = kOtherNames;
    asked.insert(asked.end(), names.begin(), names.end());
    for (std::size_t i = 0; i < names.size(); ++i) {
        asked.push_back(i % 2 == 0 ? names[i].substr(0, names[i].size() - 1) : names[i] + "a");
    }
    return asked;
}

void checkSameContents(const NetDescription& description, const ReferenceDescription& expected) {
    REQUIRE(description.sectionCount == expected.sections.size());
    for (std::uint32_t i = 0; i < description.sectionCount; ++i) {
        const DescriptionSection& section = *description.sections[i];
        const ReferenceSection& plain = expected.sections[i];
        REQUIRE(plain.name == section.name);
        REQUIRE(section.entryCount == plain.blobs.size());
        for (std::uint32_t j = 0; j < section.entryCount; ++j) {
            const std::string& blob = plain.blobs[j];
            REQUIRE(std::memcmp(section.entries[j], blob.data(), blob.size()) == 0);
        }
    }
}

void checkKey(const std::string& sectionName, const DescriptionSection* section,
              const std::string& key, const std::string* value) {
    std::string text = "before";
    REQUIRE(getString(section, key, text) == (value != nullptr));
    REQUIRE(text == (value != nullptr ? *value : "before"));

    float real = 7.5F;
    float expectedReal = 7.5F;
    const bool isReal =
        value != nullptr && parseFloat32(value->c_str(), expectedReal) != parseNoNumber;
    REQUIRE(getFloat(section, key, real) == isReal);
    REQUIRE(std::bit_cast<std::uint32_t>(real) == std::bit_cast<std::uint32_t>(expectedReal));

    std::int32_t number = 77;
    std::int32_t expectedNumber = 77;
    if (value != nullptr) {
        parseInt32(value->c_str(), expectedNumber);
    }
    getInt(sectionName, key, number);
    REQUIRE(number == expectedNumber);

    const std::vector<std::string> tokens = getStringList(sectionName, key);
    REQUIRE(tokens == (value != nullptr ? splitList(*value) : std::vector<std::string>()));
}

void checkSection(const std::string& name, const ReferenceSection* plain) {
    const DescriptionSection* section = currentSection(name);
    REQUIRE((section != nullptr) == (plain != nullptr));
    if (section == nullptr) {
        checkKey(name, section, "type", nullptr);
        REQUIRE(getIntList(name, "type").empty() && getFloatList(name).empty());
        return;
    }
    const KeysAndValues all = keysAndValues(*plain);
    for (const std::string& key : namesToAsk(all.keys)) {
        const int place = expectedPlace(all.keys, key);
        checkKey(name, section, key,
                 place < 0 ? nullptr : &all.values[static_cast<std::size_t>(place)]);
    }
    for (const std::string& key : all.keys) {
        REQUIRE(getIntList(name, key).size() == getStringList(name, key).size());
    }
    REQUIRE(getFloatList(name).size() == getStringList(name, "coeffs").size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first byte is the length that sizes the pool, which need not be that of the text.
    if (size == 0) {
        return 0;
    }
    std::vector<char> text(data + 1, data + size);
    text.push_back('\0');
    const std::size_t length = std::strlen(text.data());
    const auto said = static_cast<std::uint32_t>(data[0] == 255 ? length : data[0]);

    g_currentNet = 0;
    NetDescription& description = g_descriptions[0];
    REQUIRE(parseDescription(description, text.data(), said));
    const ReferenceDescription expected = readReferenceDescription(text.data());
    text.assign(text.size(), '!');  // nothing may point into it
    checkSameContents(description, expected);

    std::vector<std::string> names;
    for (const ReferenceSection& section : expected.sections) {
        names.push_back(section.name);
    }
    for (const std::string& name : namesToAsk(names)) {
        const int place = expectedPlace(names, name);
        checkSection(name,
                     place < 0 ? nullptr : &expected.sections[static_cast<std::size_t>(place)]);
    }
    clearDescription(description);
    return 0;
}

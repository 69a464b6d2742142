// The description reader against its second writing, and every getter on every section and key of
// what was read, and on names that are not there.
//
// A getter on a missing section or key is legal, so that nothing has to be kept out here. What ends
// a process, the building of a network from a wrong description, is no part of the reader.
#include <bit>
#include <string>
#include <vector>

#include "description/numbers.h"
#include "description/parameters.h"
#include "fuzz/fuzz_target.h"
#include "reference/reference_description.h"

using Strings = std::vector<std::string>;

// Where a search that halves the range meets `wanted` first, or -1.
static int expectedPlace(const Strings& sorted, const std::string& wanted) {
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

// The names themselves, others, and in turn a cut and a lengthened one.
static Strings namesToAsk(const Strings& names) {
    Strings asked = {"", "coeffs", "[DEFAULT]", "\x80"};
    asked.insert(asked.end(), names.begin(), names.end());
    for (std::size_t i = 0; i < names.size(); ++i) {
        asked.push_back(i % 2 == 0 ? names[i].substr(0, names[i].size() - 1) : names[i] + "a");
    }
    return asked;
}

static void checkSameContents(const NetDescription& description,
                              const ReferenceDescription& expected) {
    REQUIRE(description.sections.size() == expected.sections.size());
    for (std::size_t i = 0; i < expected.sections.size(); ++i) {
        REQUIRE(description.sections[i].name == expected.sections[i].name);
        REQUIRE(description.sections[i].entries == expected.sections[i].blobs);
    }
}

// `value` is null where there must be none.
static void checkKey(const DescriptionSection* section, const std::string& key,
                     const std::string* value) {
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
    getInt(section, key, number);
    REQUIRE(number == expectedNumber);

    const Strings tokens = getStringList(section, key);
    REQUIRE(tokens == (value != nullptr ? splitList(*value) : Strings()));
    REQUIRE(getIntList(section, key).size() == tokens.size());
}

static void checkSection(const DescriptionSection* section, const ReferenceSection* plain) {
    REQUIRE((section != nullptr) == (plain != nullptr));
    Strings keys;
    Strings values;  // up to their first comma
    if (plain != nullptr) {
        for (const std::string& blob : plain->blobs) {
            keys.emplace_back(blob.c_str());
            values.emplace_back(blob.c_str() + keys.back().size() + 1);
        }
    }
    for (const std::string& key : namesToAsk(keys)) {
        const int place = expectedPlace(keys, key);
        checkKey(section, key, place < 0 ? nullptr : &values[static_cast<std::size_t>(place)]);
    }
    REQUIRE(getFloatList(section).size() == getStringList(section, "coeffs").size());
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(data, data + size);
    const NetDescription description = parseDescription(text.c_str());
    const ReferenceDescription expected = readReferenceDescription(text.c_str());
    text.assign(text.size(), '!');  // nothing may point into it
    checkSameContents(description, expected);

    Strings names;
    for (const ReferenceSection& section : expected.sections) {
        names.push_back(section.name);
    }
    for (const std::string& name : namesToAsk(names)) {
        const int place = expectedPlace(names, name);
        checkSection(getSection(description, name),
                     place < 0 ? nullptr : &expected.sections[static_cast<std::size_t>(place)]);
    }
    return 0;
}

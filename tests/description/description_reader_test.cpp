#include "description/description_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "reference/reference_description.h"
#include "support/random.h"

namespace {

// All of a description in its stored order: "name key=value key=value | name ...", with the commas
// of a value as they were in the text.
std::string show(const NetDescription& description) {
    std::string shown;
    for (const DescriptionSection& section : description.sections) {
        shown += (shown.empty() ? "" : " | ") + section.name;
        for (const std::string& entry : section.entries) {
            const std::string key = entry.c_str();
            const std::size_t end = entry.size() - 2;
            EXPECT_EQ(entry.substr(end), std::string(2, '\0')) << key;
            std::string value = entry.substr(key.size() + 1, end - key.size() - 1);
            std::replace(value.begin(), value.end(), '\0', ',');
            shown += " " + key + "=" + value;
        }
    }
    return shown;
}

struct Example {
    const char* what;
    std::string text;
    std::string shown;
};

const Example kExamples[] = {
    {"one empty section", "", "[DEFAULT]"},
    {"the keys before all headers in a section of their own", "k=1\n[N]\nj=2",
     "N j=2 | [DEFAULT] k=1"},
    {"sections in the order of bytes", "[a]\n[Net]\n[Z]\n", "Net | Z | [DEFAULT] | a"},
    {"a header that ends the name of that section early", "[[DEFAULT]]\nb=2",
     "[DEFAULT b=2 | [DEFAULT]"},
    {"no blanks and tabs anywhere", "[ a b\t]\n \tk=c o\t", "[DEFAULT] | ab k=co"},
    {"no comments", "k=v;w\n;a=1\nb;x=2\nc=3 ; note = 4\n", "[DEFAULT] c=3 k=v"},
    {"no lines without key, = and value", "=1\n  =2\nabc\nd=;e\nk=3\nlast", "[DEFAULT] k=3"},
    {"other marks as they are", "k=a=b\nl=[x]\no=3\\\n#q=5", "[DEFAULT] #q=5 k=a=b l=[x] o=3\\"},
    {"a NUL for each comma of a value", "k=,b\nj=,\ni=a,,\na,b=1",
     "[DEFAULT] a,b=1 i=a,, j=, k=,b"},
    {"a header wherever two brackets stand", "a[b]=1\nk=2\n[a[b]c]\nk=3",
     "[DEFAULT] | a[b k=3 | b k=2"},
    {"no header without its second bracket", "[s]\n[a\n[a;b]\na[b=1\nk=1", "[DEFAULT] | s k=1"},
    {"nothing below a header without a name", "i=0\n[]\nj=1\n;[v]\nx=[c]\nk=2",
     "[DEFAULT] i=0 | c k=2"},
    {"all that repeats, the newest first", "k=1\na=0\n[a]\n[b]\nk=1\nk=2\n[a]\nl=3",
     "[DEFAULT] a=0 k=1 | a l=3 | a | b k=2 k=1"},
};

// The value that a lookup of `key` finds in the first section, or "none".
std::string lookUp(const std::string& text, const char* key) {
    const NetDescription description = parseDescription(text.c_str());
    const std::vector<std::string>& entries = description.sections[0].entries;
    const std::int32_t index = findEntry(entries, key);
    return index < 0 ? "none"
                     : &entries[static_cast<std::size_t>(index)][std::string(key).size() + 1];
}

std::int32_t findIn(const std::string& text, const char* name) {
    return findSection(parseDescription(text.c_str()).sections, name);
}

}  // namespace

TEST(DescriptionReader, emptyTextGivesOneEmptySectionAndNoDefaults) {
    const NetDescription description = parseDescription("");
    EXPECT_EQ(show(description), "[DEFAULT]");
    EXPECT_EQ(description.defaultSection, -1);
    EXPECT_EQ(description.sections[0].defaultEntry, -1);
}

TEST(DescriptionReader, keepsWhatTheNotationSays) {
    for (const auto& [what, text, shown] : kExamples) {
        EXPECT_EQ(show(parseDescription(text.c_str())), shown) << what;
    }
    const NetDescription description = parseDescription("a=x,y");
    EXPECT_EQ(description.sections[0].entries[0], std::string("a\0x\0y\0\0", 7));
}

TEST(DescriptionReader, allLineEndsAreAlike) {
    for (const char* end : {"\n", "\r", "\r\n", "\n\r", "\r\r\n\n\r"}) {
        std::string text;
        for (const char* line : {"a=1", "[s]", "b=2;x", "", ";c=3", "d", "e=", "[u", "f=4"}) {
            text += std::string(line) + end;
        }
        EXPECT_EQ(show(parseDescription(text.c_str())), "[DEFAULT] a=1 | s b=2 f=4");
    }
}

TEST(DescriptionReader, searchesOfRepeatedNamesFollowTheMidpoints) {
    // Behind each text the values of k in their stored order, and the places that are looked at.
    const std::pair<const char*, const char*> examples[] = {
        {"k=1\nk=2", "2"},                      // 2 1: 0
        {"k=1\nk=2\nz=9", "1"},                 // 2 1 z: 1
        {"a=0\nk=1\nk=2", "2"},                 // a 2 1: 1
        {"k=1\nk=2\nk=3\nk=4", "3"},            // 4 3 2 1: 1
        {"a=0\nb=0\nk=1\nk=2\nk=3", "3"},       // a b 3 2 1: 2
        {"k=1\nk=2\nx=0\ny=0\nz=0", "2"},       // 2 1 x y z: 2, 0
        {"a=0\nb=0\nc=0\nk=1\nk=2\nk=3", "2"},  // a b c 3 2 1: 2, 4
    };
    for (const auto& [text, found] : examples) {
        EXPECT_EQ(lookUp(text, "k"), found) << text;
    }
    EXPECT_EQ(findIn("[a]\nk=1\n[b]\n[a]\nk=2\n", "a"), 1);
    EXPECT_EQ(findIn("[a]\n[a]\n[b]\n[c]\n[d]\n", "a"), 2);  // of 0 to 5
}

TEST(DescriptionReader, searchesWantTheWholeNameInItsCase) {
    const std::string text = "[Net]\nKey=1\n";
    EXPECT_EQ(findIn(text, "Net"), 0);
    EXPECT_EQ(lookUp(text, "Key"), "1");
    for (const char* name : {"net", "Ne", "Nets", "key", "Ke", "Keys", "", "\x80"}) {
        EXPECT_EQ(findIn(text, name), -1) << name;
        EXPECT_EQ(lookUp(text, name), "none") << name;
    }
    EXPECT_EQ(findSection({}, "a"), -1);
    EXPECT_EQ(findEntry({}, "a"), -1);
}

TEST(DescriptionReader, namesAreOrderedBySignedBytes) {
    const char* const ascending[] = {"\x80", "\xFF", "", "\x01", "a\xC3", "a", "ab", "b", "\x7F"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const int order = compareNames(ascending[i], ascending[j]);
            EXPECT_EQ((order > 0) - (order < 0), (i > j) - (i < j)) << i << " and " << j;
        }
    }
}

TEST(DescriptionReader, thousandsOfLongKeysAreSortedAndFound) {
    std::vector<std::string> keys;
    for (int i = 0; i < 3000; ++i) {
        keys.push_back(std::string(300, 'k') + std::to_string(i));
    }
    Random(1).shuffle(keys.data(), static_cast<int>(keys.size()));
    std::string text;
    for (const std::string& key : keys) {
        text += key + "=of " + key + "\n";
    }
    const NetDescription description = parseDescription(text.c_str());
    const std::vector<std::string>& entries = description.sections[0].entries;
    for (const std::string& key : keys) {
        const std::int32_t place = findEntry(entries, key.c_str());
        ASSERT_GE(place, 0);
        ASSERT_EQ(entries[static_cast<std::size_t>(place)], key + '\0' + "of" + key + '\0' + '\0');
    }
}

TEST(DescriptionReader, randomTextsGiveWhatThePlainReaderGives) {
    const std::string alphabet = "aabk[[]]==,;;  \t\r\n\n\n\"#\\\x80\xFF";
    Random random(20);
    for (int round = 0; round < 20000; ++round) {
        std::string text(static_cast<std::size_t>(random.between(0, 120)), ' ');
        for (char& byte : text) {
            byte = alphabet[static_cast<std::size_t>(
                random.between(0, static_cast<int>(alphabet.size()) - 1))];
        }
        const NetDescription actual = parseDescription(text.c_str());
        const ReferenceDescription expected = readReferenceDescription(text);
        ASSERT_EQ(actual.sections.size(), expected.sections.size()) << testing::PrintToString(text);
        for (std::size_t i = 0; i < actual.sections.size(); ++i) {
            ASSERT_EQ(actual.sections[i].name, expected.sections[i].name) << text;
            ASSERT_EQ(actual.sections[i].entries, expected.sections[i].blobs) << text;
        }
    }
}

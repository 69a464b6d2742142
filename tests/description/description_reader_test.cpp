#include "description/description_reader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "reference/reference_description.h"
#include "support/random.h"

// Compiles only while construction is constant.
static constinit NetDescription constantDescription;

static void parse(NetDescription& description, const std::string& text) {
    EXPECT_TRUE(
        parseDescription(description, text.c_str(), static_cast<std::uint32_t>(text.size())));
}

static std::string valueOf(const char* entry) {
    return entry + std::strlen(entry) + 1;
}

// All of a description in its stored order: "name key=value key=value | name ...", values up to
// their first NUL.
static std::string show(const NetDescription& description) {
    std::string shown;
    for (std::uint32_t i = 0; i < description.sectionCount; ++i) {
        const DescriptionSection& section = *description.sections[i];
        shown += i == 0 ? "" : " | ";
        shown += section.name;
        for (std::uint32_t k = 0; k < section.entryCount; ++k) {
            const char* entry = section.entries[k];
            shown += std::string(" ") + entry + "=" + valueOf(entry);
        }
    }
    return shown;
}

static std::string shownParse(const std::string& text) {
    NetDescription description;
    parse(description, text);
    return show(description);
}

// The used bytes of all blocks, one after the other.
static std::string storedBytes(const NetDescription& description) {
    std::string bytes;
    for (const PoolBlock& block : description.pool->blocks) {
        bytes.append(block.data.get(), block.used);
    }
    return bytes;
}

// Compares names, blobs to the last NUL, order and storage.
static void expectSameDescription(const ReferenceDescription& expected,
                                  const NetDescription& actual) {
    ASSERT_EQ(actual.sectionCount, expected.sections.size());
    for (std::uint32_t i = 0; i < actual.sectionCount; ++i) {
        const ReferenceSection& wanted = expected.sections[i];
        const DescriptionSection& section = *actual.sections[i];
        EXPECT_EQ(section.name, wanted.name);
        EXPECT_EQ(section.pool, actual.pool.get());
        EXPECT_EQ(section.defaultEntry, -1);
        ASSERT_EQ(section.entryCount, wanted.blobs.size()) << "section " << wanted.name;
        for (std::uint32_t k = 0; k < section.entryCount; ++k) {
            const std::string& blob = wanted.blobs[k];
            EXPECT_EQ(std::memcmp(section.entries[k], blob.data(), blob.size()), 0)
                << "section " << wanted.name << ", entry " << k << ": " << section.entries[k];
        }
    }
    EXPECT_EQ(storedBytes(actual), expected.stored);
}

// The value that a lookup of `key` finds in section 0, or "none".
static std::string lookUp(const NetDescription& description, const char* key) {
    const DescriptionSection& section = *description.sections[0];
    const std::int32_t index = findEntry(section.entries.get(), section.entryCount, key);
    return index < 0 ? "none" : valueOf(section.entries[static_cast<std::size_t>(index)]);
}

static std::int32_t findIn(const NetDescription& description, const char* name) {
    return findSection(description.sections.get(), description.sectionCount, name);
}

TEST(DescriptionReader, descriptionIsEmptyUntilItIsParsed) {
    EXPECT_EQ(constantDescription.sectionCount, 0U);
    EXPECT_EQ(constantDescription.sections, nullptr);
    EXPECT_EQ(constantDescription.pool, nullptr);
    EXPECT_EQ(constantDescription.defaultSection, -1);
    EXPECT_EQ(findIn(constantDescription, "Net"), -1);
}

TEST(DescriptionReader, emptyTextGivesOneEmptyDefaultSection) {
    NetDescription description;
    parse(description, "");
    EXPECT_EQ(show(description), "[DEFAULT]");
    EXPECT_EQ(description.sectionCount, 1U);
    EXPECT_EQ(description.sections[0]->entryCount, 0U);
    EXPECT_EQ(description.defaultSection, -1);
}

TEST(DescriptionReader, keysBeforeAllHeadersBelongToTheDefaultSection) {
    EXPECT_EQ(shownParse("k=1\n[Net]\nj=2\n"), "Net j=2 | [DEFAULT] k=1");
}

TEST(DescriptionReader, sectionsStandInByteOrderAroundTheDefaultSection) {
    EXPECT_EQ(shownParse("[Net]\nLayerCount=13\n"), "Net LayerCount=13 | [DEFAULT]");
    EXPECT_EQ(shownParse("[data]\n[Net]\n[Z]\n[a]\n"), "Net | Z | [DEFAULT] | a | data");
}

TEST(DescriptionReader, blanksAndTabsVanishEverywhere) {
    EXPECT_EQ(shownParse(" type = conv "), shownParse("type=conv"));
    EXPECT_EQ(shownParse("type=co nv"), "[DEFAULT] type=conv");
    EXPECT_EQ(shownParse("a b = 1"), "[DEFAULT] ab=1");
    EXPECT_EQ(shownParse("\ta\tb\t=\t1\t2\t\n"), "[DEFAULT] ab=12");
    EXPECT_EQ(shownParse("[ a b\t]\nk=1"), "[DEFAULT] | ab k=1");
    EXPECT_EQ(shownParse("k=1\n   \n \t \nj=2"), "[DEFAULT] j=2 k=1");
}

TEST(DescriptionReader, entryBlobEndsInTwoNuls) {
    NetDescription description;
    parse(description, "LayerCount=13");
    EXPECT_EQ(storedBytes(description), std::string("[DEFAULT]\0LayerCount\00013\0\0", 25));
}

TEST(DescriptionReader, commaCutsValue) {
    NetDescription description;
    parse(description, "a=x,y");
    EXPECT_EQ(show(description), "[DEFAULT] a=x");
    EXPECT_EQ(std::memcmp(description.sections[0]->entries[0], "a\0x\0y\0\0", 7), 0);
    EXPECT_EQ(storedBytes(description).size(), 10U + 7U);
}

TEST(DescriptionReader, leadingCommaMakesAnEntryWithAnEmptyFirstPart) {
    NetDescription description;
    parse(description, "k=,b\nj=,\n");
    EXPECT_EQ(show(description), "[DEFAULT] j= k=");
    EXPECT_EQ(std::memcmp(description.sections[0]->entries[1], "k\0\0b\0\0", 6), 0);
    EXPECT_EQ(std::memcmp(description.sections[0]->entries[0], "j\0\0\0\0", 5), 0);
}

TEST(DescriptionReader, nothingBehindEqualsMakesNoEntry) {
    for (const char* text : {"k=", "k=  ;note", "k=\n", "k=\t \r\n", "k=;"}) {
        NetDescription description;
        parse(description, text);
        EXPECT_EQ(show(description), "[DEFAULT]") << text;
        EXPECT_EQ(lookUp(description, "k"), "none") << text;
    }
}

TEST(DescriptionReader, equalsWithoutKeyIsDropped) {
    EXPECT_EQ(shownParse("=1\n  =2\nk=3"), "[DEFAULT] k=3");
}

TEST(DescriptionReader, lineWithoutEqualsIsDropped) {
    EXPECT_EQ(shownParse("abc\nk=3\nlast"), "[DEFAULT] k=3");
}

TEST(DescriptionReader, semicolonStartsAComment) {
    EXPECT_EQ(shownParse("k=v;w\n;a=1\nb;x=2\nc=3 ; note = 4\n"), "[DEFAULT] c=3 k=v");
}

TEST(DescriptionReader, otherPunctuationIsOrdinaryInValues) {
    EXPECT_EQ(shownParse("k=a=b\nl=[x]\nm=\"1\"\nn=#2\no=3\\\np=4\n#q=5"),
              "[DEFAULT] #q=5 k=a=b l=[x] m=\"1\" n=#2 o=3\\ p=4");
}

TEST(DescriptionReader, lastValueNeedsNoLineEnd) {
    EXPECT_EQ(shownParse("[s]\nk=1\nl=2"), "[DEFAULT] | s k=1 l=2");
}

TEST(DescriptionReader, allLineEndsAreAlike) {
    for (const char* end : {"\n", "\r", "\r\n", "\n\r", "\n\n\n", "\r\r\n\n\r"}) {
        std::string text;
        for (const char* line : {"a=1", "[s]", "b=2;x", "", ";c=3", "d", "e=", "[u", "f=4"}) {
            text += std::string(line) + end;
        }
        EXPECT_EQ(shownParse(text), "[DEFAULT] a=1 | s b=2 f=4") << testing::PrintToString(end);
    }
    EXPECT_EQ(shownParse("a=1\rb=2\r\nc=3\nd=4\n\re=5"), "[DEFAULT] a=1 b=2 c=3 d=4 e=5");
}

TEST(DescriptionReader, unclosedHeaderIsDroppedAndTheSectionGoesOn) {
    EXPECT_EQ(shownParse("[s]\n[a\nk=1"), "[DEFAULT] | s k=1");
    EXPECT_EQ(shownParse("[s]\n[a;b]\nk=1"), "[DEFAULT] | s k=1");
    EXPECT_EQ(shownParse("[s]\na[b=1\nk=1"), "[DEFAULT] | s k=1");
    EXPECT_EQ(shownParse("[s]\nk=1\n[a"), "[DEFAULT] | s k=1");
}

TEST(DescriptionReader, bracketInsideALineOpensASection) {
    EXPECT_EQ(shownParse("a[b]=1\nk=2"), "[DEFAULT] | b k=2");
    EXPECT_EQ(shownParse("k=1\nabc [b]\nk=2"), "[DEFAULT] k=1 | b k=2");
    EXPECT_EQ(shownParse("[a]x=1\nk=2"), "[DEFAULT] | a k=2");
    EXPECT_EQ(shownParse("[a[b]c]\nk=2"), "[DEFAULT] | a[b k=2");
    EXPECT_EQ(shownParse("[a=b]\nk=2"), "[DEFAULT] | a=b k=2");
    EXPECT_EQ(shownParse("[a,b]\nk=2"), "[DEFAULT] | a,b k=2");
}

TEST(DescriptionReader, emptyHeaderLosesEverythingUpToTheNextHeader) {
    for (const char* header : {"[]", "[ ]", "[\t ] x=0", "z[]"}) {
        const std::string text = std::string("[s]\ni=0\n") + header +
                                 "\nj=1\n[u\n;[v]\nx;[w]\n[y;]\n\n a=[b]c\nk=2\na=[c]\n";
        EXPECT_EQ(shownParse(text), "[DEFAULT] | b a=[c] k=2 | s i=0") << header;
    }
    EXPECT_EQ(shownParse("k=1\n[]\nj=2"), "[DEFAULT] k=1");
    EXPECT_EQ(shownParse("k=1\n[]"), "[DEFAULT] k=1");
    EXPECT_EQ(shownParse("[]\n[a"), "[DEFAULT]");
}

TEST(DescriptionReader, headerCanSpellTheDefaultSectionOnlyWithoutItsBracket) {
    EXPECT_EQ(shownParse("a=1\n[[DEFAULT]]\nb=2"), "[DEFAULT b=2 | [DEFAULT] a=1");
}

TEST(DescriptionReader, repeatedKeysStandNewestFirst) {
    EXPECT_EQ(shownParse("k=1\na=0\nk=2\nz=9\nk=3"), "[DEFAULT] a=0 k=3 k=2 k=1 z=9");
}

TEST(DescriptionReader, lookupOfARepeatedKeyFollowsTheMidpoints) {
    NetDescription description;
    parse(description, "k=1\nk=2");  // 2 1: the midpoint of 0 and 1 is 0
    EXPECT_EQ(lookUp(description, "k"), "2");
    parse(description, "k=1\nk=2\nz=9");  // 2 1 z: the midpoint is 1
    EXPECT_EQ(lookUp(description, "k"), "1");
    parse(description, "a=0\nk=1\nk=2");  // a 2 1
    EXPECT_EQ(lookUp(description, "k"), "2");
    parse(description, "k=1\nk=2\nk=3\nk=4");  // 4 3 2 1
    EXPECT_EQ(lookUp(description, "k"), "3");
    parse(description, "a=0\nb=0\nk=1\nk=2\nk=3");  // a b 3 2 1
    EXPECT_EQ(lookUp(description, "k"), "3");
    parse(description, "a=0\nb=0\nc=0\nk=1\nk=2\nk=3");  // a b c 3 2 1: midpoints 2, 4
    EXPECT_EQ(lookUp(description, "k"), "2");
}

TEST(DescriptionReader, repeatedSectionsStayApart) {
    NetDescription description;
    parse(description, "[a]\nk=1\n[b]\n[a]\nk=2\n");
    EXPECT_EQ(show(description), "[DEFAULT] | a k=2 | a k=1 | b");
    EXPECT_EQ(findIn(description, "a"), 1);
    parse(description, "[a]\nk=1\n[a]\nk=2\n");
    EXPECT_EQ(findIn(description, "a"), 1);
    parse(description, "[a]\n[a]\n[b]\n[c]\n[d]\n");  // 0 1 2 3 4 5: midpoints 2
    EXPECT_EQ(findIn(description, "a"), 2);
}

TEST(DescriptionReader, namesAreCaseSensitive) {
    NetDescription description;
    parse(description, "[Net]\nKey=1\n");
    EXPECT_EQ(findIn(description, "Net"), 0);
    EXPECT_EQ(findIn(description, "net"), -1);
    EXPECT_EQ(findIn(description, "Ne"), -1);
    EXPECT_EQ(findIn(description, "Nets"), -1);
    EXPECT_EQ(lookUp(description, "Key"), "1");
    EXPECT_EQ(lookUp(description, "key"), "none");
    EXPECT_EQ(lookUp(description, "Ke"), "none");
    EXPECT_EQ(lookUp(description, "Keys"), "none");
}

TEST(DescriptionReader, bytesAreComparedAsSigned) {
    EXPECT_LT(compareNames("\x80", "\x01"), 0);
    EXPECT_GT(compareNames("\x01", "\xFF"), 0);
    EXPECT_LT(compareNames("\x80", "\xFF"), 0);
    EXPECT_LT(compareNames("\xFF", ""), 0);
    EXPECT_GT(compareNames("a", "a\xFF"), 0);
    EXPECT_LT(compareNames("a", "ab"), 0);
    EXPECT_GT(compareNames("ab", "a"), 0);
    EXPECT_EQ(compareNames("ab", "ab"), 0);
    EXPECT_EQ(compareNames("", ""), 0);
    EXPECT_EQ(shownParse("a=1\n\x7F=2\n\x80=3\n\xFF=4\na\xC3=5"),
              "[DEFAULT] \x80=3 \xFF=4 a\xC3=5 a=1 \x7F=2");
}

TEST(DescriptionReader, searchOfAnEmptyTableFindsNothing) {
    EXPECT_EQ(findSection(nullptr, 0, "a"), -1);
    EXPECT_EQ(findEntry(nullptr, 0, "a"), -1);
}

TEST(DescriptionReader, entriesMayBeOfAnyLength) {
    for (const std::size_t length : {1U, 6U, 7U, 8U, 55U, 56U, 57U, 63U, 64U, 65U, 5000U}) {
        const std::string name(length, 'n');
        const std::string key(length, 'k');
        const std::string value(length, 'v');
        EXPECT_EQ(shownParse("[" + name + "]\n" + key + "=" + value),
                  "[DEFAULT] | " + name + " " + key + "=" + value);
    }
}

TEST(DescriptionReader, thousandsOfKeysAreSortedAndFound) {
    std::vector<std::string> keys;
    for (int i = 0; i < 5000; ++i) {
        keys.push_back(std::string("key") + std::to_string(i));
    }
    Random(1).shuffle(keys.data(), static_cast<int>(keys.size()));
    std::string text;
    for (const std::string& key : keys) {
        text += key + "=value of " + key + "\n";
    }

    NetDescription description;
    parse(description, text);
    const DescriptionSection& section = *description.sections[0];
    ASSERT_EQ(section.entryCount, 5000U);
    for (std::uint32_t i = 1; i < section.entryCount; ++i) {
        ASSERT_LT(std::strcmp(section.entries[i - 1], section.entries[i]), 0) << i;
    }
    for (const std::string& key : keys) {
        ASSERT_EQ(lookUp(description, key.c_str()), "valueof" + key);
    }
    EXPECT_EQ(lookUp(description, "key5000"), "none");
    EXPECT_EQ(lookUp(description, "key"), "none");
}

TEST(DescriptionReader, manySectionsAreSortedAndFound) {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += std::string("[s") + std::to_string(i * 7 % 300) + "]\nnumber=" + std::to_string(i) +
                "\n";
    }
    NetDescription description;
    parse(description, text);
    ASSERT_EQ(description.sectionCount, 301U);
    for (int i = 0; i < 300; ++i) {
        const std::string name = std::string("s") + std::to_string(i * 7 % 300);
        const std::int32_t index = findIn(description, name.c_str());
        ASSERT_GE(index, 0) << name;
        const DescriptionSection& section = *description.sections[static_cast<std::size_t>(index)];
        EXPECT_EQ(section.name, name);
        EXPECT_EQ(valueOf(section.entries[0]), std::to_string(i));
    }
}

TEST(DescriptionReader, poolBlocksHoldASixteenthOfTheText) {
    const std::string text = "k=1\n" + std::string(16 * 40 - 4, ' ');
    NetDescription description;
    parse(description, text);
    // 10 bytes for the name and 5 for the entry: all but the first of the blocks are dropped.
    ASSERT_EQ(description.pool->blocks.size(), 1U);
    EXPECT_EQ(description.pool->blockSize, 41U);
    EXPECT_EQ(description.pool->currentBlock, 0U);
    EXPECT_EQ(description.pool->blocks[0].capacity, 41U);
    EXPECT_EQ(description.pool->blocks[0].used, 15U);
}

TEST(DescriptionReader, poolMovesOnToWiderBlocks) {
    // Blocks of 1 byte. The name needs 10 and goes to block 1; blobs of 5 and 7 do not fit behind
    // it; 5 bytes go to block 2 and leave room for 5, but not for 7, and so on.
    const std::string text = "a=1\nb=222\nc=3\nd=123456789012\ne=5";
    NetDescription description;
    parseDescription(description, text.c_str(), 0);
    const DescriptionPool& pool = *description.pool;
    const std::uint32_t capacities[] = {1, 10, 10, 10, 10, 16, 16};
    const std::uint32_t used[] = {0, 10, 5, 7, 5, 16, 5};
    ASSERT_EQ(pool.blocks.size(), 7U);
    EXPECT_EQ(pool.currentBlock, 6U);
    EXPECT_EQ(pool.blockSize, 16U);
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(pool.blocks[i].capacity, capacities[i]) << i;
        EXPECT_EQ(pool.blocks[i].used, used[i]) << i;
    }
    expectSameDescription(readReferenceDescription(text), description);
}

TEST(DescriptionReader, poolGrowsPastItsFirstBlocks) {
    std::string text;
    for (int i = 100; i < 400; ++i) {
        text += std::string("key") + std::to_string(i) + "=" + std::to_string(i) + "\n";
    }
    NetDescription description;
    parseDescription(description, text.c_str(), 16);  // blocks of 2 bytes, then of 12
    EXPECT_EQ(description.pool->blocks.size(), 302U);
    EXPECT_EQ(description.pool->currentBlock, 301U);
    expectSameDescription(readReferenceDescription(text), description);
}

TEST(DescriptionReader, textLengthOnlySizesThePool) {
    const std::string text = "[a]\nk=1\n[b]\nl=2,3\n";
    for (const std::uint32_t length : {0U, 1U, 15U, 16U, 17U, 100000U}) {
        NetDescription description;
        EXPECT_TRUE(parseDescription(description, text.c_str(), length));
        EXPECT_EQ(show(description), "[DEFAULT] | a k=1 | b l=2") << length;
    }
}

TEST(DescriptionReader, secondParseReplacesTheFirst) {
    NetDescription description;
    parse(description, "[a]\nk=1\n");
    parse(description, "[b]\nl=2\n");
    EXPECT_EQ(show(description), "[DEFAULT] | b l=2");
    parse(description, "");
    EXPECT_EQ(show(description), "[DEFAULT]");
    EXPECT_EQ(description.defaultSection, -1);
}

TEST(DescriptionReader, contentsOutliveTheText) {
    NetDescription description;
    std::string text = "[a]\nk=1\n";
    parse(description, text);
    text.assign(text.size(), 'x');
    EXPECT_EQ(show(description), "[DEFAULT] | a k=1");
}

TEST(DescriptionReader, clearingEmptiesADescription) {
    NetDescription description;
    parse(description, "[a]\nk=1\n");
    for (int i = 0; i < 2; ++i) {
        clearDescription(description);
        EXPECT_EQ(description.sectionCount, 0U);
        EXPECT_EQ(description.sections, nullptr);
        EXPECT_EQ(description.pool, nullptr);
        EXPECT_EQ(findIn(description, "a"), -1);
    }
    parse(description, "[b]\n");
    EXPECT_EQ(show(description), "[DEFAULT] | b");
}

TEST(DescriptionReader, clearingLeavesAnIncompleteDescriptionAlone) {
    NetDescription description;
    description.pool = std::make_unique<DescriptionPool>();
    clearDescription(description);
    EXPECT_NE(description.pool, nullptr);
    description.pool.reset();
    description.sectionCount = 3;
    clearDescription(description);
    EXPECT_EQ(description.sectionCount, 3U);

    parse(description, "[a]\n");
    description.sectionCount = 0;
    clearDescription(description);
    EXPECT_NE(description.sections, nullptr);
    EXPECT_NE(description.pool, nullptr);
}

TEST(DescriptionReader, randomTextsGiveWhatThePlainReaderGives) {
    const std::string alphabet = "aabk[[]]==,;;  \t\r\n\n\n\"#\\\x80\xFF";
    Random random(20);
    NetDescription description;
    for (int round = 0; round < 20000; ++round) {
        std::string text(static_cast<std::size_t>(random.between(0, 120)), ' ');
        for (char& byte : text) {
            byte = alphabet[static_cast<std::size_t>(
                random.between(0, static_cast<int>(alphabet.size()) - 1))];
        }
        parse(description, text);
        expectSameDescription(readReferenceDescription(text), description);
        ASSERT_FALSE(testing::Test::HasFailure()) << testing::PrintToString(text);
    }
}

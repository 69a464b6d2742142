// Landmark files: what is accepted, what is refused with which words, and that floats survive.
#include "landmark_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "support/bits.h"
#include "support/german_locale.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

constexpr std::int32_t kAllIds[] = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                    12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                    226, 227, 240, 241, 300, 302, 314, 315, 316};

bool isSide(std::int32_t id) {
    return id == 240 || id == 241 || id == 315 || id == 316;
}

// One line for each id; the line of `id` says `instead`.
std::string linesWith(std::int32_t id, const std::string& instead) {
    std::string text;
    for (const std::int32_t each : kAllIds) {
        text += each == id ? instead : std::to_string(each) + ",1,2\n";
    }
    return text;
}

struct Parsed {
    bool good;
    LandmarkRecord record;
    std::string problem;
};

Parsed parse(const std::string& text) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.csv";
    std::ofstream(path, std::ios::binary) << text;
    Parsed parsed = {};
    Problem problem = {};
    parsed.good = readLandmarks(path.c_str(), &parsed.record, &problem);
    parsed.problem = problem.text;
    return parsed;
}

void expectRecord(const Parsed& parsed, int count) {
    ASSERT_TRUE(parsed.good) << parsed.problem;
    EXPECT_EQ(parsed.record.count, count);
}

LandmarkRecord recordOf(const std::vector<float>& values) {
    LandmarkRecord record = {};
    for (const std::int32_t id : kAllIds) {
        const auto place = static_cast<std::size_t>(record.count);
        record.entries[record.count++] = {id, values[2 * place], values[2 * place + 1]};
    }
    return record;
}

void expectSameRecord(const LandmarkRecord& actual, const LandmarkRecord& expected) {
    ASSERT_EQ(actual.count, expected.count);
    for (int i = 0; i < expected.count; ++i) {
        EXPECT_EQ(actual.entries[i].id, expected.entries[i].id) << i;
        EXPECT_TRUE(sameFloat(expected.entries[i].x, actual.entries[i].x)) << i;
        EXPECT_TRUE(sameFloat(expected.entries[i].y, actual.entries[i].y)) << i;
    }
}

void expectRoundTrip(const LandmarkRecord& record) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.csv";
    Problem problem = {};
    ASSERT_TRUE(writeLandmarks(path.c_str(), &record, &problem)) << problem.text;
    LandmarkRecord back;
    ASSERT_TRUE(readLandmarks(path.c_str(), &back, &problem)) << problem.text;
    expectSameRecord(back, record);
}

}  // namespace

TEST(LandmarkFile, readsTheSample) {
    LandmarkRecord record;
    Problem problem = {};
    ASSERT_TRUE(readLandmarks(ZOMU_SAMPLES "/portrait.csv", &record, &problem)) << problem.text;
    EXPECT_EQ(record.count, 29);
    const LandmarkEntry& first = record.entries[0];
    const LandmarkEntry& last = record.entries[28];
    EXPECT_EQ(std::tuple(first.id, first.x, first.y), std::tuple(0, 124.5F, 101.2F));
    EXPECT_EQ(std::tuple(last.id, last.x, last.y), std::tuple(316, 180.5F, 157.5F));
}

TEST(LandmarkFile, keepsTheOrderOfTheLines) {
    std::string text;
    for (int i = 28; i >= 0; --i) {
        text += std::to_string(kAllIds[i]) + "," + std::to_string(i) + ".25,-" + std::to_string(i) +
                "\n";
    }
    const Parsed parsed = parse(text);
    expectRecord(parsed, 29);
    for (int i = 0; i < 29; ++i) {
        const auto number = static_cast<float>(28 - i);
        const LandmarkEntry& entry = parsed.record.entries[i];
        EXPECT_EQ(std::tuple(entry.id, entry.x, entry.y),
                  std::tuple(kAllIds[28 - i], number + 0.25F, -number));
    }
}

TEST(LandmarkFile, acceptsHeaderBlanksAndLineEndsOfAnyKind) {
    const std::string lines = linesWith(-1, "");
    std::string windows;
    for (const char c : lines) {
        windows += c == '\n' ? "\r\n" : std::string(1, c);
    }
    for (const std::string& text : {lines, lines.substr(0, lines.size() - 1), windows,
                                    "id,x,y\n" + lines, "\n\r\n id , x , y \r\n\n" + lines,
                                    "\xEF\xBB\xBF"
                                    "id,x,y\n" +
                                        lines}) {
        expectRecord(parse(text), 29);
    }
    const Parsed spaced = parse(linesWith(6, "  6 ,\t+1.5e1 , -.5 \n\n"));
    expectRecord(spaced, 29);
    EXPECT_EQ(spaced.record.entries[6].x, 15.0F);
    EXPECT_EQ(spaced.record.entries[6].y, -0.5F);
}

TEST(LandmarkFile, onlySidesOfTheHeadMayBeMissing) {
    std::string without;
    for (const std::int32_t id : kAllIds) {
        without += isSide(id) ? "" : std::to_string(id) + ",1,2\n";
        const Parsed parsed = parse(linesWith(id, ""));
        if (isSide(id)) {
            expectRecord(parsed, 28);
        } else {
            EXPECT_FALSE(parsed.good) << id;
            EXPECT_EQ(parsed.problem, "landmark " + std::to_string(id) + " is missing");
        }
    }
    expectRecord(parse(without), 25);
}

TEST(LandmarkFile, saysWhatIsMissing) {
    EXPECT_EQ(parse("").problem, "holds no landmarks");
    EXPECT_EQ(parse("id,x,y\n\n").problem, "holds no landmarks");
    EXPECT_EQ(parse("240,1,2\n").problem, "holds no landmarks");
    EXPECT_EQ(parse("id,x,y\n0,1,2\n3,1,2\n").problem, "23 landmarks are missing, the first is 1");
}

TEST(LandmarkFile, namesTheLineOfEveryFault) {
    using Lines = std::vector<const char*>;
    const std::map<const char*, Lines> faults = {
        {"expected id,x,y", {"6,1\n", "6\n", "6;1;2\n", "6,1,2,3\n", "6,1,2,\n"}},
        {"id is not a whole number",
         {"id,x,y\n", "six,1,2\n", ",1,2\n", "6.0,1,2\n", "-6,1,2\n", "1000000,1,2\n",
          "99999999999999999999,1,2\n"}},
        {"there is no landmark 7", {"7,1,2\n"}},
        {"there is no landmark 317", {"317,1,2\n"}},
        {"landmark 5 already appears in line 6", {"5,1,2\n"}},
        {"x is not a number", {"6,,2\n", "6,one,2\n", "6,1 5,2\n", "6,inf,1\n"}},
        {"y is not a number", {"6,1,\n", "6,1,0x10\n", "6,1,nan\n", "6,1,1e\n", "6,1,--1\n"}},
        {"x is too large", {"6,-1e999,1\n"}},
        {"y is too large", {"6,1,1e39\n"}}};
    for (const auto& [problem, lines] : faults) {
        for (const char* line : lines) {
            const Parsed parsed = parse(linesWith(6, line));
            EXPECT_FALSE(parsed.good) << line;
            EXPECT_EQ(parsed.problem, std::string("line 7: ") + problem) << line;
        }
    }
    for (const std::string& line :
         {std::string("6,1\0,2\n", 7), "6," + std::string(100, '1') + ",2\n"}) {
        EXPECT_EQ(parse(linesWith(6, line)).problem, "line 7: x is not a number");
    }
    // Blank lines and the header count.
    EXPECT_EQ(parse("\nid,x,y\n\n0,1\n").problem, "line 4: expected id,x,y");
    EXPECT_EQ(parse("id,x,y\nid,x,y\n").problem, "line 2: id is not a whole number");
    // There is no thirtieth landmark, so that one line too many repeats another.
    EXPECT_EQ(parse(linesWith(-1, "") + "316,1,2\n").problem,
              "line 30: landmark 316 already appears in line 29");
}

TEST(LandmarkFile, writtenFloatsComeBackToTheBit) {
    Random random(11);
    for (int round = 0; round < 200; ++round) {
        std::vector<float> values = random.floats(58, -50, 4000);
        for (std::size_t i = 0; i < values.size(); i += 3) {
            const float any = random.anyFloat();
            values[i] = std::isfinite(any) ? any : 0.1F;
        }
        expectRoundTrip(recordOf(values));
    }
    using Limits = std::numeric_limits<float>;
    std::vector<float> extremes = {Limits::max(), Limits::lowest(), Limits::min(),
                                   Limits::denorm_min(), 16777217.0F};
    extremes.resize(58, -0.0F);
    expectRoundTrip(recordOf(extremes));
    expectRoundTrip(recordOf(std::vector<float>(58, -1.23456789e-38F)));  // the longest lines
}

TEST(LandmarkFile, writesAHeaderAndPlainNumbers) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.csv";
    const LandmarkRecord record = {2, {}, {{316, 180.5F, -3.0F}, {0, 0.1F, 1e10F}}};
    Problem problem = {};
    ASSERT_TRUE(writeLandmarks(path.c_str(), &record, &problem));
    EXPECT_EQ(readFile(path), "id,x,y\n316,180.5,-3\n0,0.100000001,1e+10\n");
}

TEST(LandmarkFile, missingFilesAndRecordsThatCannotBeWrittenAreReported) {
    LandmarkRecord record = recordOf(std::vector<float>(58, 1.0F));
    Problem problem = {};
    EXPECT_FALSE(readLandmarks("/nowhere/at/all.csv", &record, &problem));
    EXPECT_EQ(std::string(problem.text), "cannot be opened: No such file or directory");
    for (const std::int32_t count : {30, -1}) {
        record.count = count;
        EXPECT_FALSE(writeLandmarks("not-written.csv", &record, &problem));
        EXPECT_EQ(std::string(problem.text),
                  "cannot be written: " + std::to_string(count) + " landmarks");
    }
}

TEST(LandmarkFile, localeOfTheHostDoesNotMatter) {
    const GermanLocale german;
    EXPECT_EQ(GermanLocale::oneHalf(), "0,5");
    expectRoundTrip(recordOf(std::vector<float>(58, 12.75F)));
    EXPECT_EQ(GermanLocale::oneHalf(), "0,5") << "the host's locale is back";
}

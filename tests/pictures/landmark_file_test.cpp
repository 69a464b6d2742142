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

#include "reference/reference_tables.h"
#include "support/bits.h"
#include "support/german_locale.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

// One line for each landmark; the line of `id` says `instead`.
std::string linesWith(std::int32_t id, const std::string& instead) {
    std::string text;
    for (const ReferenceLandmark& each : kReferenceLandmarks) {
        text += each.id == id ? instead : std::to_string(each.id) + ",1,2\n";
    }
    return text;
}

LandmarkRecord recordOf(const std::vector<float>& values) {
    LandmarkRecord record = {};
    for (const ReferenceLandmark& landmark : kReferenceLandmarks) {
        const auto place = static_cast<std::size_t>(record.count);
        record.entries[record.count++] = {landmark.id, values[2 * place], values[2 * place + 1]};
    }
    return record;
}

class LandmarkFile : public testing::Test {
  protected:
    // The file is refused with this problem, or without one is read into `record`.
    void expectProblem(const std::string& text, const std::string& words) {
        std::ofstream(path, std::ios::binary) << text;
        problem = {};
        EXPECT_EQ(readLandmarks(path.c_str(), &record, &problem), words.empty()) << text;
        EXPECT_EQ(std::string(problem.text), words);
    }

    void expectCount(const std::string& text, int count) {
        expectProblem(text, "");
        EXPECT_EQ(record.count, count) << text;
    }

    void expectRoundTrip(const LandmarkRecord& written) {
        ASSERT_TRUE(writeLandmarks(path.c_str(), &written, &problem)) << problem.text;
        ASSERT_TRUE(readLandmarks(path.c_str(), &record, &problem)) << problem.text;
        ASSERT_EQ(record.count, written.count);
        for (int i = 0; i < written.count; ++i) {
            EXPECT_EQ(record.entries[i].id, written.entries[i].id) << i;
            EXPECT_TRUE(sameFloat(written.entries[i].x, record.entries[i].x)) << i;
            EXPECT_TRUE(sameFloat(written.entries[i].y, record.entries[i].y)) << i;
        }
    }

    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.csv";
    LandmarkRecord record;
    Problem problem = {};
};

}  // namespace

TEST_F(LandmarkFile, keepsTheOrderOfTheLines) {
    std::string text;
    for (int i = 28; i >= 0; --i) {
        const std::string number = std::to_string(i);
        text += std::to_string(kReferenceLandmarks[i].id) + "," + number + ".25,-" + number + "\n";
    }
    expectCount(text, 29);
    for (int i = 0; i < 29; ++i) {
        const auto number = static_cast<float>(28 - i);
        const LandmarkEntry& entry = record.entries[i];
        EXPECT_EQ(std::tuple(entry.id, entry.x, entry.y),
                  std::tuple(kReferenceLandmarks[28 - i].id, number + 0.25F, -number));
    }
}

TEST_F(LandmarkFile, acceptsHeaderBlanksAndLineEndsOfAnyKind) {
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
        expectCount(text, 29);
    }
    expectCount(linesWith(6, "  6 ,\t+1.5e1 , -.5 \n\n"), 29);
    EXPECT_EQ(record.entries[6].x, 15.0F);
    EXPECT_EQ(record.entries[6].y, -0.5F);
}

TEST_F(LandmarkFile, onlySidesOfTheHeadMayBeMissing) {
    std::string without;
    for (const ReferenceLandmark& landmark : kReferenceLandmarks) {
        const std::string id = std::to_string(landmark.id);
        if (landmark.keptPosition < 0) {
            expectCount(linesWith(landmark.id, ""), 28);
        } else {
            expectProblem(linesWith(landmark.id, ""), "landmark " + id + " is missing");
            without += id + ",1,2\n";
        }
    }
    expectCount(without, 25);
}

TEST_F(LandmarkFile, saysWhatIsMissing) {
    for (const char* text : {"", "id,x,y\n\n", "240,1,2\n"}) {
        expectProblem(text, "holds no landmarks");
    }
    expectProblem("id,x,y\n0,1,2\n3,1,2\n", "23 landmarks are missing, the first is 1");
}

TEST_F(LandmarkFile, namesTheLineOfEveryFault) {
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
    for (const auto& [words, lines] : faults) {
        for (const char* line : lines) {
            expectProblem(linesWith(6, line), std::string("line 7: ") + words);
        }
    }
    for (const std::string& line :
         {std::string("6,1\0,2\n", 7), "6," + std::string(100, '1') + ",2\n"}) {
        expectProblem(linesWith(6, line), "line 7: x is not a number");
    }
    // Blank lines and the header count.
    expectProblem("\nid,x,y\n\n0,1\n", "line 4: expected id,x,y");
    expectProblem("id,x,y\nid,x,y\n", "line 2: id is not a whole number");
    // There is no thirtieth landmark, so that one line too many repeats another.
    expectProblem(linesWith(-1, "") + "316,1,2\n",
                  "line 30: landmark 316 already appears in line 29");
}

TEST_F(LandmarkFile, writtenFloatsComeBackToTheBit) {
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

TEST_F(LandmarkFile, writesAHeaderAndPlainNumbers) {
    record = {2, {}, {{316, 180.5F, -3.0F}, {0, 0.1F, 1e10F}}};
    ASSERT_TRUE(writeLandmarks(path.c_str(), &record, &problem));
    EXPECT_EQ(readFile(path), "id,x,y\n316,180.5,-3\n0,0.100000001,1e+10\n");
}

TEST_F(LandmarkFile, missingFilesAndRecordsThatCannotBeWrittenAreReported) {
    record = recordOf(std::vector<float>(58, 1.0F));
    EXPECT_FALSE(readLandmarks("/nowhere/at/all.csv", &record, &problem));
    EXPECT_EQ(std::string(problem.text),
              "cannot be opened: No such file or directory; `zomu find PICTURE --csv FOLDER` "
              "writes landmark files");
    EXPECT_FALSE(readLandmarks(folder.path().string().c_str(), &record, &problem));
    EXPECT_EQ(std::string(problem.text).find("zomu find"), std::string::npos) << problem.text;
    for (const std::int32_t count : {30, -1}) {
        record.count = count;
        EXPECT_FALSE(writeLandmarks("not-written.csv", &record, &problem));
        EXPECT_EQ(std::string(problem.text),
                  "cannot be written: " + std::to_string(count) + " landmarks");
    }
}

TEST_F(LandmarkFile, localeOfTheHostDoesNotMatter) {
    const GermanLocale german;
    EXPECT_EQ(GermanLocale::oneHalf(), "0,5");
    expectRoundTrip(recordOf(std::vector<float>(58, 12.75F)));
    EXPECT_EQ(GermanLocale::oneHalf(), "0,5") << "the host's locale is back";
}

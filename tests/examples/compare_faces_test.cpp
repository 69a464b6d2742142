// The example program from outside: what it prints where, and how it ends.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "support/environment.h"
#include "support/process.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "zomu.h"

namespace {

const std::string kPicture = ZOMU_SAMPLES "/portrait.png";
const std::string kLandmarks = ZOMU_SAMPLES "/portrait.csv";

// With a complete model.
ProcessResult compareFaces(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {COMPARE_FACES_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runProcess(command, {{kTemporaryVariable, ZOMU_TEST_MODEL}});
}

bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

void writeBytes(const std::string& path, const void* bytes, std::size_t size) {
    std::ofstream file(path, std::ios::binary);
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    ASSERT_TRUE(file.flush());
}

FaceTemplate someTemplate(float slope) {
    FaceTemplate face = {};
    float squares = 0.0F;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        face.projection[i] = 1.0F + slope * static_cast<float>(i % 7);
        squares += face.projection[i] * face.projection[i];
    }
    face.quadraticTerm = 400.0F;
    face.projectionNorm = __builtin_sqrtf(squares);
    return face;
}

// Ends with status 1, says `line` and nothing else, and prints no score.
void expectFailure(const std::vector<std::string>& arguments, const std::string& line) {
    const ProcessResult result = compareFaces(arguments);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "compare_faces: " + line + "\n");
}

void expectMisuse(const std::vector<std::string>& arguments, const std::string& line) {
    const ProcessResult result = compareFaces(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.substr(0, result.err.find('\n')), line);
    EXPECT_TRUE(result.err.ends_with("Try compare_faces --help.\n")) << result.err;
}

// The words for this are the C library's.
void expectUnknownOption(const std::vector<std::string>& arguments, const std::string& word) {
    const ProcessResult result = compareFaces(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    const std::string first = result.err.substr(0, result.err.find('\n'));
    EXPECT_TRUE(first.starts_with(COMPARE_FACES_PATH ": ")) << first;
    EXPECT_NE(first.find(word), std::string::npos) << first;
    EXPECT_TRUE(result.err.ends_with("Try compare_faces --help.\n")) << result.err;
}

}  // namespace

TEST(CompareFaces, helpGoesToStandardOutput) {
    for (const char* option : {"--help", "-h"}) {
        const ProcessResult result = compareFaces({option});
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.starts_with("Usage: compare_faces FACE FACE")) << result.out;
        EXPECT_NE(result.out.find("Exit status: 0"), std::string::npos);
    }
}

TEST(CompareFaces, scoresPicturesAndTemplatesAlike) {
    const TemporaryFolder folder;
    const std::string face = folder.prefix() + "a.zt";
    const ProcessResult direct = compareFaces({kPicture, kLandmarks, kPicture, kLandmarks});
    EXPECT_EQ(direct.exitStatus, 0);
    EXPECT_EQ(direct.err, "");
    ASSERT_TRUE(isOneLine(direct.out)) << direct.out;
    std::size_t used = 0;
    (void)std::stod(direct.out, &used);
    EXPECT_EQ(used, direct.out.size() - 1) << direct.out;

    const ProcessResult kept = compareFaces({"-o", face, kPicture, kLandmarks});
    EXPECT_EQ(kept.exitStatus, 0);
    EXPECT_EQ(kept.out + kept.err, "");
    EXPECT_EQ(readFile(face).size(), sizeof(FaceTemplate));

    for (const std::vector<std::string>& words : {std::vector<std::string>{face, face},
                                                  {face, kPicture, kLandmarks},
                                                  {kPicture, kLandmarks, face}}) {
        const ProcessResult result = compareFaces(words);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, direct.out);
    }
}

TEST(CompareFaces, optionsMayStandAnywhere) {
    const TemporaryFolder folder;
    const std::string first = folder.prefix() + "a.zt";
    const std::string second = folder.prefix() + "b.zt";
    EXPECT_EQ(compareFaces({kPicture, kLandmarks, "-o", first}).exitStatus, 0);
    EXPECT_EQ(compareFaces({kPicture, "--output=" + second, kLandmarks}).exitStatus, 0);
    EXPECT_EQ(readFile(first), readFile(second));
}

TEST(CompareFaces, scoreHasNineDigits) {
    const TemporaryFolder folder;
    const FaceTemplate a = someTemplate(0.0F);
    const FaceTemplate b = someTemplate(0.25F);
    writeBytes(folder.prefix() + "a.zt", &a, sizeof a);
    writeBytes(folder.prefix() + "b.zt", &b, sizeof b);
    const ProcessResult result = compareFaces({folder.prefix() + "a.zt", folder.prefix() + "b.zt"});
    char expected[32];
    std::snprintf(expected, sizeof expected, "%.9g\n",
                  static_cast<double>(ZomuCompareTemplates(&a, &b)));
    EXPECT_EQ(result.out, expected);
    EXPECT_EQ(result.err, "");
}

TEST(CompareFaces, commandLinesThatDoNotFitAreMisuse) {
    const std::string start = "compare_faces: ";
    expectMisuse({}, start + "two faces are needed");
    expectMisuse({"a.zt"}, start + "two faces are needed");
    expectMisuse({"a.png", "a.csv"}, start + "two faces are needed");
    const std::string unpaired =
        start + "a picture stands without landmarks, or there are more than two faces";
    expectMisuse({"a.png"}, unpaired);
    expectMisuse({"a.png", "b.zt"}, unpaired);
    expectMisuse({"a.png", "a.csv", "b.png"}, unpaired);
    expectMisuse({"a.zt", "b.zt", "c.zt"}, unpaired);
    expectMisuse({"a.png", "a.csv", "b.png", "b.csv", "c.png"}, unpaired);
    expectMisuse({"-o", "a.zt"}, start + "-o takes exactly one face");
    expectMisuse({"-o", "a.zt", "b.zt", "c.zt"}, start + "-o takes exactly one face");
    expectMisuse({"-o", "a.png", "b.png", "b.csv"},
                 start + "the name of a template has to end in .zt");
    expectUnknownOption({"--nonsense"}, "nonsense");
    expectUnknownOption({"-o"}, "option requires an argument -- ");
}

TEST(CompareFaces, filesThatAreMissingAreNamed) {
    const std::string missing = "cannot be opened: No such file or directory";
    expectFailure({"no.png", kLandmarks, kPicture, kLandmarks}, "no.png: " + missing);
    expectFailure({kPicture, "no.csv", kPicture, kLandmarks}, "no.csv: " + missing);
    expectFailure({kPicture, kLandmarks, kPicture, "no.csv"}, "no.csv: " + missing);
    expectFailure({kPicture, kLandmarks, "no.zt"}, "no.zt: " + missing);
}

TEST(CompareFaces, filesOfTheWrongKindAreNamed) {
    expectFailure({kLandmarks, kPicture, kPicture, kLandmarks},
                  kLandmarks + ": is neither PNG nor JPEG");
    expectFailure({kPicture, kPicture, kPicture, kLandmarks},
                  kPicture + ": line 1: expected id,x,y");
    const TemporaryFolder folder;
    const std::string few = folder.prefix() + "few.csv";
    writeBytes(few, "0,1,2\n", 6);
    expectFailure({kPicture, few, kPicture, kLandmarks},
                  few + ": 24 landmarks are missing, the first is 1");
}

TEST(CompareFaces, templatesOfAnotherSizeAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    for (const std::size_t size : {0U, 1U, 2007U, 2009U, 4016U}) {
        writeBytes(path, std::string(size, '\0').data(), size);
        expectFailure({path, path}, path + ": is not a template: " + std::to_string(size) +
                                        " bytes instead of 2008");
    }
    expectFailure({"-o", folder.prefix() + "b.zt", kPicture + "/x.zt"},
                  kPicture + "/x.zt: cannot be opened: " + kNotAFolder);
}

TEST(CompareFaces, templatesThatAreNotFiniteAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    for (const int place : {0, 499, 500, 501}) {
        for (const float value :
             {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
            FaceTemplate face = someTemplate(0.0F);
            std::memcpy(reinterpret_cast<char*>(&face) + 4 * place, &value, 4);
            writeBytes(path, &face, sizeof face);
            expectFailure({path, path},
                          path + ": is not a template: it holds values that are not finite");
        }
    }
}

TEST(CompareFaces, templatesWithoutLengthHaveNoScore) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    const FaceTemplate nothing = {};
    writeBytes(path, &nothing, sizeof nothing);
    expectFailure({path, path}, "no score: one of the templates has no length");
}

TEST(CompareFaces, withoutAModelThereIsNoTemplate) {
    const TemporaryFolder empty;
    const std::string kept = empty.prefix() + "a.zt";
    const ProcessResult result = runProcess({COMPARE_FACES_PATH, "-o", kept, kPicture, kLandmarks},
                                            {{kTemporaryVariable, empty.path().string()}});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "compare_faces: " + kPicture +
                              ": gives no template: model files are missing or damaged\n");
    EXPECT_TRUE(result.out.starts_with("load ")) << result.out.substr(0, 200);
    EXPECT_EQ(readFile(kept), "") << "nothing is kept";
}

TEST(CompareFaces, picturesOfOnePixelGiveNoTemplate) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "dot.png";
    static const unsigned char dot[] = {
        0x89, 'P',  'N',  'G',  '\r', '\n', 0x1A, '\n', 0,    0,    0,    13,   'I',  'H',
        'D',  'R',  0,    0,    0,    1,    0,    0,    0,    1,    8,    0,    0,    0,
        0,    0x3A, 0x7E, 0x9B, 0x55, 0,    0,    0,    10,   'I',  'D',  'A',  'T',  0x78,
        0x9C, 0x63, 0x60, 0,    0,    0,    2,    0,    1,    0x48, 0xAF, 0xA4, 0x71, 0,
        0,    0,    0,    'I',  'E',  'N',  'D',  0xAE, 0x42, 0x60, 0x82};
    writeBytes(path, dot, sizeof dot);
    const ProcessResult result = compareFaces({path, kLandmarks, kPicture, kLandmarks});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err,
              "compare_faces: " + path + ": gives no template: it is smaller than 2 x 2 pixels\n");
}

TEST(CompareFaces, outputThatCannotBeWrittenIsAFailure) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "a.zt";
    const FaceTemplate face = someTemplate(0.0F);
    writeBytes(path, &face, sizeof face);
    const std::string nowhere = folder.prefix() + "no/b.zt";
    expectFailure({"-o", nowhere, path},
                  nowhere + ": cannot be created: No such file or directory");
}

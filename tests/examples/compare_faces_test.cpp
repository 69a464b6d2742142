// The example program from outside: what it prints where, and how it ends.
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "sheets/face_picture.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.h"

namespace {

constexpr char kProgram[] = ZOMU_COMPARE_PATH;

class CompareFaces : public testing::Test {
  protected:
    std::string write(const std::string& name, const std::string& bytes) const {
        const std::string path = folder.prefix() + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    std::string write(const std::string& name, const FaceTemplate& face) const {
        return write(name, std::string(reinterpret_cast<const char*>(&face), sizeof face));
    }

    static void expectFailure(const Words& arguments, const std::string& words) {
        expectRefusal(kProgram, arguments, 1, words);
    }

    const TemporaryFolder folder;
};

FaceTemplate someTemplate(float slope) {
    FaceTemplate face = {};
    float squares = 0.0F;
    for (int i = 0; i < ZOMU_PROJECTION_SIZE; ++i) {
        face.projection[i] = 1.0F + slope * static_cast<float>(i % 7);
        squares += face.projection[i] * face.projection[i];
    }
    face.quadraticTerm = 400.0F;
    face.projectionNorm = std::sqrt(squares);
    return face;
}

}  // namespace

TEST_F(CompareFaces, helpGoesToStandardOutput) {
    for (const char* option : {"--help", "-h"}) {
        const ProcessResult result = runTool(kProgram, {option});
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.starts_with("Usage: compare_faces FACE FACE")) << result.out;
        EXPECT_NE(result.out.find("Exit status: 0"), std::string::npos);
    }
}

TEST_F(CompareFaces, scoresPicturesAndTemplatesAlikeAndTakesOptionsAnywhere) {
    const std::string face = folder.prefix() + "a.zt";
    const ProcessResult direct = runTool(kProgram, {kPicture, kLandmarks, kPicture, kLandmarks});
    EXPECT_EQ(direct.exitStatus, 0);
    EXPECT_EQ(direct.err, "");
    std::size_t used = 0;
    (void)std::stod(direct.out, &used);
    EXPECT_EQ(used, direct.out.size() - 1) << direct.out;
    EXPECT_EQ(direct.out.back(), '\n');

    expectDone(kProgram, {"-o", face, kPicture, kLandmarks});
    EXPECT_EQ(readFile(face).size(), sizeof(FaceTemplate));
    const std::string second = folder.prefix() + "b.zt";
    expectDone(kProgram, {kPicture, kLandmarks, "-o", second});
    EXPECT_EQ(readFile(second), readFile(face));
    expectDone(kProgram, {kPicture, "--output=" + second, kLandmarks});
    EXPECT_EQ(readFile(second), readFile(face));
    for (const Words& words : {Words{face, face}, Words{face, kPicture, kLandmarks},
                               Words{kPicture, kLandmarks, face}}) {
        expectDone(kProgram, words, direct.out);
    }
}

TEST_F(CompareFaces, scoreHasNineDigits) {
    const FaceTemplate a = someTemplate(0.0F);
    const FaceTemplate b = someTemplate(0.25F);
    char expected[32];
    std::snprintf(expected, sizeof expected, "%.9g\n",
                  static_cast<double>(ZomuCompareTemplates(&a, &b)));
    expectDone(kProgram, {write("a.zt", a), write("b.zt", b)}, expected);
}

TEST_F(CompareFaces, commandLinesThatDoNotFitAreMisuse) {
    const std::string start = "compare_faces: ";
    const std::string few = start + "two faces are needed";
    const std::string unpaired =
        start + "a picture stands without landmarks, or there are more than two faces";
    const std::string one = start + "-o takes exactly one face";
    // Command lines, and the first line of what is said of them.
    const std::vector<std::pair<Words, std::string>> misuses = {
        {{}, few},
        {{"a.zt"}, few},
        {{"a.png", "a.csv"}, few},
        {{"a.png"}, unpaired},
        {{"a.png", "b.zt"}, unpaired},
        {{"a.png", "a.csv", "b.png"}, unpaired},
        {{"a.zt", "b.zt", "c.zt"}, unpaired},
        {{"a.png", "a.csv", "b.png", "b.csv", "c.png"}, unpaired},
        {{"-o", "a.zt"}, one},
        {{"-o", "a.zt", "b.zt", "c.zt"}, one},
        {{"-o", "a.png", "b.png", "b.csv"}, start + "the name of a template has to end in .zt"},
        // The words for these are the C library's.
        {{"--nonsense"}, "nonsense"},
        {{"-o"}, "option requires an argument -- "},
    };
    for (const auto& [arguments, line] : misuses) {
        const ProcessResult result = runTool(kProgram, arguments);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.out, "");
        const std::string first = result.err.substr(0, result.err.find('\n'));
        if (line.starts_with(start)) {
            EXPECT_EQ(first, line);
        } else {
            EXPECT_TRUE(first.starts_with(ZOMU_COMPARE_PATH ": ")) << first;
            EXPECT_NE(first.find(line), std::string::npos) << first;
        }
        EXPECT_TRUE(result.err.ends_with("Try compare_faces --help.\n")) << result.err;
    }
}

TEST_F(CompareFaces, filesThatCannotBeUsedAreNamed) {
    const std::string missing = ": cannot be opened: No such file or directory";
    const std::string few = write("few.csv", std::string("0,1,2\n"));
    const std::string nowhere = folder.prefix() + "no/b.zt";
    const std::string face = write("a.zt", someTemplate(0.0F));
    const std::vector<std::pair<Words, std::string>> faults = {
        {{"no.png", kLandmarks, kPicture, kLandmarks}, "no.png" + missing},
        {{kPicture, "no.csv", kPicture, kLandmarks}, "no.csv" + missing},
        {{kPicture, kLandmarks, kPicture, "no.csv"}, "no.csv" + missing},
        {{kPicture, kLandmarks, "no.zt"}, "no.zt" + missing},
        {{kLandmarks, kPicture, kPicture, kLandmarks}, kLandmarks + ": is neither PNG nor JPEG"},
        {{kPicture, kPicture, kPicture, kLandmarks}, kPicture + ": line 1: expected id,x,y"},
        {{kPicture, few, kPicture, kLandmarks}, few + ": 24 landmarks are missing, the first is 1"},
        {{"-o", folder.prefix() + "b.zt", kPicture + "/x.zt"},
         kPicture + "/x.zt: cannot be opened: " + kNotAFolder},
        {{"-o", nowhere, face}, nowhere + ": cannot be created: No such file or directory"},
    };
    for (const auto& [arguments, line] : faults) {
        expectFailure(arguments, line);
    }
}

TEST_F(CompareFaces, templatesThatAreNoneAreRefused) {
    for (const std::size_t size : {0U, 1U, 2007U, 2009U, 4016U}) {
        const std::string path = write("a.zt", std::string(size, '\0'));
        expectFailure({path, path}, path + ": is not a template: " + std::to_string(size) +
                                        " bytes instead of 2008");
    }
    for (const int place : {0, 499, 500, 501}) {
        for (const float value :
             {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
            FaceTemplate face = someTemplate(0.0F);
            std::memcpy(reinterpret_cast<char*>(&face) + 4 * place, &value, 4);
            const std::string path = write("a.zt", face);
            expectFailure({path, path},
                          path + ": is not a template: it holds values that are not finite");
        }
    }
    const std::string nothing = write("a.zt", FaceTemplate{});
    expectFailure({nothing, nothing}, "no score: one of the templates has no length");
}

TEST_F(CompareFaces, withoutAModelThereIsNoTemplate) {
    const std::string kept = folder.prefix() + "a.zt";
    const ProcessResult result =
        runTool(kProgram, {"-o", kept, kPicture, kLandmarks}, folder.path().string());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "compare_faces: " + kPicture +
                              ": gives no template: model files are missing or damaged\n");
    EXPECT_TRUE(result.out.starts_with("load ")) << result.out.substr(0, 200);
    EXPECT_EQ(readFile(kept), "") << "nothing is kept";
}

TEST_F(CompareFaces, landmarksOfNoFaceInThePictureGiveNoTemplate) {
    const std::string dot = folder.prefix() + "dot.png";
    savePng(dot, blackPicture(1, 1));
    expectFailure({dot, kLandmarks, kPicture, kLandmarks},
                  kLandmarks +
                      ": 29 of 29 landmarks lie outside the picture of 1 x 1 pixels: are they "
                      "those of another picture?");
    FacePicture face = loadFacePicture(kPicture, kLandmarks);
    for (LandmarkEntry& entry : face.landmarks.entries) {
        entry.y = 299.0F - entry.y;
    }
    const std::string upwards = folder.prefix() + "upwards.csv";
    saveLandmarks(upwards, face.landmarks);
    expectFailure({kPicture, upwards, kPicture, kLandmarks},
                  upwards +
                      ": y runs upwards: it counts from the first row of the picture, which "
                      "is 0, downwards");
}

TEST_F(CompareFaces, handsOverThePictureNearTheFace) {
    FacePicture face = loadFacePicture(kPicture, kLandmarks);
    const BgrPicture portrait = face.picture;
    face.picture = blackPicture(1800, 1800);
    for (int y = 0; y < portrait.height; ++y) {
        std::memcpy(face.picture.at(1500, 1500 + y), portrait.at(0, y),
                    3 * static_cast<std::size_t>(portrait.width));
    }
    for (LandmarkEntry& entry : face.landmarks.entries) {
        entry.x += 1500.0F;
        entry.y += 1500.0F;
    }
    const std::string stem = folder.prefix() + "far";
    savePng(stem + ".png", face.picture);
    saveLandmarks(stem + ".csv", face.landmarks);
    const ProcessResult compared =
        runTool(kProgram, {stem + ".png", stem + ".csv", stem + ".png", stem + ".csv"});
    const std::string kept = folder.prefix() + "far.zomu";
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", stem + ".png", stem + ".csv", kept});
    expectDone(ZOMU_TEMPLATE_PATH, {"compare", kept, kept}, compared.out);
}

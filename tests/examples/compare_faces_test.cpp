// The example program from outside: what it prints where, and how it ends.
#include <cstring>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "sheets/face_picture.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"

namespace {

constexpr char kProgram[] = ZOMU_COMPARE_PATH;
const Words kPortraitTwice = {kPicture, kLandmarks, kPicture, kLandmarks};

class CompareFaces : public testing::Test {
  protected:
    static void expectFailure(const Words& arguments, const std::string& words) {
        expectRefusal(kProgram, arguments, 1, words);
    }

    const TemporaryFolder folder;
};

}  // namespace

TEST_F(CompareFaces, helpGoesToStandardOutput) {
    for (const char* option : {"--help", "-h"}) {
        const ProcessResult result = runTool(kProgram, {option});
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.starts_with("Usage: compare_faces PICTURE LANDMARKS")) << result.out;
        EXPECT_NE(result.out.find("Exit status: 0"), std::string::npos);
    }
}

// A template in a file gives the same score, in nine digits.
TEST_F(CompareFaces, scoresTwoFaces) {
    const Words other = {ZOMU_SAMPLES "/people/photos/90006/00.jpg",
                         ZOMU_SAMPLES "/people/photos/90006/00.csv"};
    const std::string first = folder.prefix() + "a.zomu";
    const std::string second = folder.prefix() + "b.zomu";
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", kPicture, kLandmarks, first});
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", other[0], other[1], second});
    const ProcessResult compared = runTool(ZOMU_TEMPLATE_PATH, {"compare", first, second});
    ASSERT_EQ(compared.exitStatus, 0) << compared.err;
    expectDone(kProgram, {kPicture, kLandmarks, other[0], other[1]}, compared.out);
}

TEST_F(CompareFaces, commandLinesThatDoNotFitAreMisuse) {
    const std::string count =
        "compare_faces: two faces are needed, each as a picture and its landmarks; `zomu find "
        "PICTURE --csv FOLDER` writes landmark files";
    // Command lines, and the first line of what is said of them.
    const std::vector<std::pair<Words, std::string>> misuses = {
        {{}, count},
        {{"a.png"}, count},
        {{"a.png", "a.csv"}, count},
        {{"a.png", "a.csv", "b.png"}, count},
        {{"a.png", "a.csv", "b.png", "b.csv", "c.png"}, count},
        // The words for these are the C library's.
        {{"--nonsense"}, "nonsense"},
        {{"-o", "a.zomu", kPicture, kLandmarks}, "option -- "},
    };
    for (const auto& [arguments, line] : misuses) {
        const ProcessResult result = runTool(kProgram, arguments);
        EXPECT_EQ(result.exitStatus, 2);
        EXPECT_EQ(result.out, "");
        const std::string first = result.err.substr(0, result.err.find('\n'));
        if (line == count) {
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
    const std::string next = "; `zomu find PICTURE --csv FOLDER` writes landmark files";
    const std::string few = folder.prefix() + "few.csv";
    std::ofstream(few) << "0,1,2\n";
    const std::vector<std::pair<Words, std::string>> faults = {
        {{"no.png", kLandmarks, kPicture, kLandmarks}, "no.png" + missing},
        {{kPicture, "no.csv", kPicture, kLandmarks}, "no.csv" + missing + next},
        {{kPicture, kLandmarks, kPicture, "no.csv"}, "no.csv" + missing + next},
        {{kLandmarks, kPicture, kPicture, kLandmarks},
         kLandmarks + ": is neither PNG nor JPEG; convert it, or take another"},
        {{kPicture, kPicture, kPicture, kLandmarks}, kPicture + ": line 1: expected id,x,y"},
        {{kPicture, few, kPicture, kLandmarks}, few + ": 24 landmarks are missing, the first is 1"},
    };
    for (const auto& [arguments, line] : faults) {
        expectFailure(arguments, line);
    }
}

TEST_F(CompareFaces, withoutAModelOneLineSaysWhatToDo) {
    const ProcessResult result = runTool(kProgram, kPortraitTwice, folder.path().string());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "compare_faces: " + kPicture +
                              ": gives no template: model files are missing or damaged, and "
                              "zomu-model install puts a model in place\n");
    EXPECT_TRUE(result.out.starts_with("load ")) << result.out.substr(0, 200);
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

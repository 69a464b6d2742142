// zomu-inspect and zomu-variants from outside: which files they write, and how they end.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "patches/landmarks.h"
#include "sheets/face_picture.h"
#include "support/process.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"

namespace {

const std::string kPicture = ZOMU_SAMPLES "/portrait.png";
const std::string kLandmarks = ZOMU_SAMPLES "/portrait.csv";

void expectSilentSuccess(const std::vector<std::string>& command) {
    const ProcessResult result = runProcess(command, {});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
}

void expectFailure(const std::vector<std::string>& command, int status, const std::string& line) {
    const ProcessResult result = runProcess(command, {});
    EXPECT_EQ(result.exitStatus, status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, line + "\n");
}

std::vector<std::string> filesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(ZomuVariants, writesPicturesWithTheirLandmarks) {
    const TemporaryFolder folder;
    const std::string target = folder.prefix() + "new/one";
    expectSilentSuccess({ZOMU_VARIANTS_PATH, kPicture, kLandmarks, target});
    EXPECT_EQ(filesIn(target),
              (std::vector<std::string>{"compressed.csv", "compressed.jpg", "darker.csv",
                                        "darker.png", "larger.csv", "larger.png", "mirrored.csv",
                                        "mirrored.png", "noisy.csv", "noisy.png", "smaller.csv",
                                        "smaller.png", "turned.csv", "turned.png"}));
    const FacePicture portrait = loadFacePicture(kPicture, kLandmarks);
    for (const char* name : {"darker.png", "larger.png", "mirrored.png", "noisy.png", "smaller.png",
                             "turned.png", "compressed.jpg"}) {
        const std::filesystem::path path = std::filesystem::path(target) / name;
        const std::filesystem::path landmarks =
            std::filesystem::path(path).replace_extension("csv");
        const FacePicture face = loadFacePicture(path.string(), landmarks.string());
        EXPECT_EQ(whyRecordIsRefused(face.landmarks), nullptr) << name;
        EXPECT_NE(face.picture.pixels, portrait.picture.pixels) << name;
    }
    EXPECT_EQ(loadPicture(target + "/larger.png").width, 480);
    EXPECT_EQ(loadPicture(target + "/smaller.png").height, 210);
}

TEST(ZomuVariants, seedSettlesTheFiles) {
    const TemporaryFolder folder;
    const auto pictureFor = [&](const std::string& name, const std::string& seed) {
        expectSilentSuccess(
            {ZOMU_VARIANTS_PATH, kPicture, kLandmarks, folder.prefix() + name, "--seed", seed});
        return readFile(folder.prefix() + name + "/noisy.png");
    };
    EXPECT_EQ(pictureFor("a", "5"), pictureFor("b", "5"));
    EXPECT_NE(pictureFor("a", "5"), pictureFor("b", "6"));
}

TEST(ZomuInspect, writesTwoSheets) {
    const TemporaryFolder folder;
    const std::string target = folder.prefix() + "sheets";
    expectSilentSuccess({ZOMU_INSPECT_PATH, kPicture, kLandmarks, target});
    EXPECT_EQ(filesIn(target), (std::vector<std::string>{"landmarks.png", "patches.png"}));
    EXPECT_GT(loadPicture(target + "/landmarks.png").width, 1000);
    EXPECT_GT(loadPicture(target + "/patches.png").width, 1000);
}

TEST(PictureTools, sayInOneLineWhatIsWrong) {
    const TemporaryFolder folder;
    const std::string file = folder.prefix() + "file";
    savePng(file, blackPicture(1, 5));
    for (const std::string program : {ZOMU_INSPECT_PATH, ZOMU_VARIANTS_PATH}) {
        const std::string name = std::filesystem::path(program).stem().string();
        expectFailure({program, "no.png", kLandmarks, file}, 1,
                      name + ": no.png: cannot be opened: No such file or directory");
        expectFailure({program, kPicture, kPicture, file}, 1,
                      name + ": " + kPicture + ": line 1: expected id,x,y");
        expectFailure({program, kPicture, kLandmarks, file + "/x"}, 1,
                      name + ": " + file + "/x: cannot be created: Not a directory");
        expectFailure({program, kPicture, kLandmarks}, 2, name + ": OUTDIR is required");
        const ProcessResult help = runProcess({program, "--help"}, {});
        EXPECT_EQ(help.exitStatus, 0);
        EXPECT_NE(help.out.find("Usage: " + name), std::string::npos) << help.out;
    }
    expectFailure({ZOMU_INSPECT_PATH, file, kLandmarks, folder.prefix() + "x"}, 1,
                  "zomu-inspect: " + file + ": is smaller than 2 x 2 pixels");
    expectFailure({ZOMU_VARIANTS_PATH, kPicture, kLandmarks, file, "--seed", "-1"}, 2,
                  "zomu-variants: --seed: must not be negative");
}

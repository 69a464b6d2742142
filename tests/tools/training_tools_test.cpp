// zomu-patches and zomu-scores from outside: what they write for good photographs, and that a bad
// one costs one line and no more.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "patches/face_patches.h"
#include "patches/patch_layout.h"
#include "sheets/face_changes.h"
#include "sheets/face_picture.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kNpyHeader = 128;

// The portrait and a darker copy of it as one person, with a photograph between them that is not
// there.
class TrainingTools : public testing::Test {
  protected:
    TrainingTools() {
        const FacePicture face = darkened(loadFacePicture(kPicture, kLandmarks), 0.6);
        savePng(folder.prefix() + "dark.png", face.picture);
        saveLandmarks(folder.prefix() + "dark.csv", face.landmarks);
        writeManifest(manifest, {{"eve", kPicture, kLandmarks},
                                 {"nobody", folder.path() / "no.png", kLandmarks},
                                 {"eve", folder.path() / "dark.png", folder.path() / "dark.csv"}});
    }

    // Runs one of the two programs, which says this of the missing photograph and `more`.
    void expectOutcome(const std::string& program, Words arguments, int status,
                       const std::string& text, const std::string& more = "") const {
        arguments.push_back(out.string());
        expectResult(runTool(program, arguments), status, text,
                     nameOf(program) + ": " + (folder.path() / "no.png").string() +
                         ": cannot be opened: No such file or directory\n" + more);
    }

    TemporaryFolder folder;
    fs::path manifest = folder.path() / "manifest.csv";
    fs::path out = folder.path() / "out";
};

std::vector<float> floatsOf(const fs::path& path) {
    const std::string bytes = readFile(path.string());
    std::vector<float> values((bytes.size() - kNpyHeader) / sizeof(float));
    std::memcpy(values.data(), bytes.data() + kNpyHeader, values.size() * sizeof(float));
    return values;
}

}  // namespace

TEST_F(TrainingTools, patchesAreTheBytesThatNetworksSee) {
    expectOutcome(ZOMU_PATCHES_PATH, {"cut", manifest.string()}, 0, "2 photographs, 1 left out\n");
    static constexpr MeanImages kNoMeanImages = {};
    FaceCanvases canvases;
    const std::vector<ManifestRow> rows = readManifest(out / "faces.csv");
    ASSERT_EQ(rows.size(), 2U);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const FacePicture face =
            loadFacePicture(rows[row].photo.string(), rows[row].landmarks.string());
        const PatchList patches = cutFacePatches(canvases, kNoMeanImages,
                                                 {face.picture.pixels.data(), face.picture.width,
                                                  face.picture.height, 3 * face.picture.width},
                                                 face.landmarks);
        for (std::size_t k = 0; k < patches.size(); ++k) {
            const std::string number = std::to_string(101 + k).substr(1);
            const std::string bytes = readFile((out / ("patches-" + number + ".npy")).string());
            const auto size = static_cast<std::size_t>(patches[k]->numElements);
            ASSERT_EQ(bytes.size(), kNpyHeader + 2 * size);
            for (std::size_t e = 0; e < size; ++e) {
                const auto byte = static_cast<std::uint8_t>(bytes[kNpyHeader + row * size + e]);
                ASSERT_EQ(static_cast<float>(byte), patches[k]->data[e]) << k << " " << e;
            }
        }
    }
}

TEST_F(TrainingTools, featuresAreUnitVectorsOfEachCrop) {
    expectOutcome(ZOMU_PATCHES_PATH, {"features", manifest.string()}, 0,
                  "2 photographs, 1 left out\n");
    const std::vector<float> features = floatsOf(out / "features.npy");
    ASSERT_EQ(features.size(), 2U * 8000);
    for (std::size_t start = 0; start < features.size(); start += 160) {
        double sum = 0;
        for (std::size_t n = start; n < start + 160; ++n) {
            sum += static_cast<double>(features[n]) * static_cast<double>(features[n]);
        }
        ASSERT_NEAR(sum, 1.0, 1e-5) << start;
    }
}

TEST_F(TrainingTools, scoresAreThoseOfTheHost) {
    expectOutcome(ZOMU_SCORES_PATH, {"--csv", manifest.string()}, 0,
                  "2 photographs, 1 left out, 1 pairs\n");
    const std::vector<float> scores = floatsOf(out / "scores.npy");
    ASSERT_EQ(scores.size(), 1U);
    const ProcessResult host =
        runTool(ZOMU_COMPARE_PATH,
                {kPicture, kLandmarks, folder.prefix() + "dark.png", folder.prefix() + "dark.csv"});
    EXPECT_NEAR(scores[0], std::stof(host.out), 1e-4F) << host.out;
    EXPECT_EQ(floatsOf(out / "templates.npy").size(), 2U * 502);

    char score[32];
    std::snprintf(score, sizeof score, "%.9g", static_cast<double>(scores[0]));
    EXPECT_EQ(readFile((out / "scores.csv").string()),
              "person,photo,other person,other photo,score\neve," + kPicture + ",eve," +
                  (folder.path() / "dark.png").string() + "," + score + "\n");
}

TEST_F(TrainingTools, nothingUsableIsAFailure) {
    writeManifest(manifest, {{"nobody", folder.path() / "no.png", kLandmarks}});
    expectOutcome(ZOMU_PATCHES_PATH, {"cut", manifest.string()}, 1, "",
                  "zomu-patches: none of the photographs could be used\n");
    expectOutcome(ZOMU_SCORES_PATH, {manifest.string()}, 1, "",
                  "zomu-scores: fewer than two photographs could be used\n");
}

TEST_F(TrainingTools, aDamagedModelGivesNoFeatures) {
    const fs::path model = folder.path() / "~zvplugintmp~";
    fs::copy(ZOMU_TEST_MODEL "/~zvplugintmp~", model);
    fs::resize_file(model / "1-1-1", 100);
    const ProcessResult result = runTool(
        ZOMU_PATCHES_PATH, {"features", manifest.string(), out.string()}, folder.path().string());
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_TRUE(result.err.ends_with(": gives features that are not finite\n")) << result.err;
}

// What the tools do with landmarks of no face: one line and no result, unless --unchecked insists.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <utility>

#include "manifest/manifest.h"
#include "sheets/face_changes.h"
#include "sheets/face_picture.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "tools/tool_run.h"
#include "zomu.hpp"

namespace fs = std::filesystem;

namespace {

// The portrait with the ids of a mirrored one.
class WrongLandmarks : public testing::Test {
  protected:
    WrongLandmarks() {
        LandmarkRecord record = face.landmarks;
        for (LandmarkEntry& entry : record.entries) {
            entry.id = mirroredId(entry.id);
        }
        saveLandmarks(exchanged, record);
    }

    // Standard error has one line, which names the file.
    void expectRefusalOfThem(const std::string& program, const Words& arguments) const {
        expectRefusal(program, arguments, 1, exchanged + ": " + kText);
    }

    static constexpr char kText[] =
        "left and right look exchanged in all landmarks: id 0 is the eye on the left of the "
        "picture, not the person's left eye";
    const FacePicture face = loadFacePicture(kPicture, kLandmarks);
    const TemporaryFolder folder;
    const std::string exchanged = folder.prefix() + "exchanged.csv";
    const std::string out = folder.prefix() + "out";
};

// The portrait near the end of a large picture.
FacePicture farAway(const FacePicture& face, int x0, int y0) {
    FacePicture large = {blackPicture(x0 + face.picture.width, y0 + face.picture.height),
                         face.landmarks};
    for (int y = 0; y < face.picture.height; ++y) {
        std::copy_n(face.picture.at(0, y), 3 * face.picture.width, large.picture.at(x0, y0 + y));
    }
    for (LandmarkEntry& entry : large.landmarks.entries) {
        // In eighths, which have no digits to lose.
        entry.x = std::round(8.0F * entry.x) / 8.0F + static_cast<float>(x0);
        entry.y = std::round(8.0F * entry.y) / 8.0F + static_cast<float>(y0);
    }
    return large;
}

}  // namespace

TEST_F(WrongLandmarks, giveNoTemplate) {
    expectRefusalOfThem(ZOMU_TEMPLATE_PATH, {"extract", kPicture, exchanged, out});
    EXPECT_FALSE(fs::exists(out));
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", "--unchecked", kPicture, exchanged, out});
    EXPECT_TRUE(ZomuTemplate::load(out).isUsable());
}

TEST_F(WrongLandmarks, giveNoVariants) {
    expectRefusalOfThem(ZOMU_VARIANTS_PATH, {kPicture, exchanged, out});
    EXPECT_FALSE(fs::exists(out));
    expectDone(ZOMU_VARIANTS_PATH, {kPicture, exchanged, out, "--unchecked"});
    EXPECT_TRUE(fs::exists(out + "/turned.png"));
}

TEST_F(WrongLandmarks, areShownOnTheSheetsAllTheSame) {
    expectRefusalOfThem(ZOMU_INSPECT_PATH, {kPicture, exchanged, out});
    EXPECT_TRUE(fs::exists(out + "/landmarks.png"));
    EXPECT_TRUE(fs::exists(out + "/patches.png"));
    expectDone(ZOMU_INSPECT_PATH, {kPicture, exchanged, out, "--unchecked"});
    for (const float place : {0.0F, 0.5F, -1e6F, 1e30F}) {
        LandmarkRecord record = face.landmarks;
        for (LandmarkEntry& entry : record.entries) {
            entry.x = entry.y = &entry == record.entries ? 0.0F : place;
        }
        saveLandmarks(exchanged, record);
        EXPECT_EQ(runTool(ZOMU_INSPECT_PATH, {kPicture, exchanged, out}).exitStatus, 1) << place;
    }
}

TEST_F(WrongLandmarks, leaveAPhotographOutOfManifests) {
    const fs::path manifest = folder.path() / "manifest.csv";
    writeManifest(manifest, {{"eve", kPicture, kLandmarks},
                             {"eve", kPicture, exchanged},
                             {"eve", kPicture, kLandmarks}});
    struct Program {
        std::string path;
        Words words;
    };
    for (const auto& [program, words] :
         {Program{ZOMU_SCORES_PATH, {}}, Program{ZOMU_PATCHES_PATH, {"cut"}},
          Program{ZOMU_PATCHES_PATH, {"features"}}}) {
        Words arguments = words;
        arguments.insert(arguments.end(), {manifest.string(), out});
        const std::string pairs = words.empty() ? ", 1 pairs\n" : "\n";
        expectResult(runTool(program, arguments), 0, "2 photographs, 1 left out" + pairs,
                     nameOf(program) + ": " + exchanged + ": " + kText + "\n");
        arguments.emplace_back("--unchecked");
        const std::string all = words.empty() ? ", 3 pairs\n" : "\n";
        expectDone(program, arguments, "3 photographs, 0 left out" + all);
    }
}

TEST_F(WrongLandmarks, farFacesAreHandedOverNearTheirPlace) {
    const FacePicture large = farAway(face, 1300, 1100);
    savePng(folder.prefix() + "far.png", large.picture);
    saveLandmarks(folder.prefix() + "far.csv", large.landmarks);
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", folder.prefix() + "far.png",
                                    folder.prefix() + "far.csv", folder.prefix() + "far.zomu"});
    // The same bits at a place that differs by what is left out.
    const FacePicture nearer = farAway(face, 1300 - 1024, 1100 - 768);
    savePng(folder.prefix() + "near.png", nearer.picture);
    saveLandmarks(folder.prefix() + "near.csv", nearer.landmarks);
    expectDone(ZOMU_TEMPLATE_PATH, {"extract", folder.prefix() + "near.png",
                                    folder.prefix() + "near.csv", folder.prefix() + "near.zomu"});
    EXPECT_EQ(ZomuTemplate::load(folder.prefix() + "far.zomu"),
              ZomuTemplate::load(folder.prefix() + "near.zomu"));

    writeManifest(folder.path() / "m.csv",
                  {{"eve", folder.path() / "far.png", folder.path() / "far.csv"},
                   {"eve", folder.path() / "near.png", folder.path() / "near.csv"}});
    const auto halvesOf = [&](const std::string& name) {
        const std::string bytes = readFile(out + "/" + name).substr(128);
        return std::pair(bytes.substr(0, bytes.size() / 2), bytes.substr(bytes.size() / 2));
    };
    const std::string manifest = folder.prefix() + "m.csv";
    expectDone(ZOMU_SCORES_PATH, {manifest, out}, "2 photographs, 0 left out, 1 pairs\n");
    expectDone(ZOMU_PATCHES_PATH, {"cut", manifest, out}, "2 photographs, 0 left out\n");
    expectDone(ZOMU_PATCHES_PATH, {"features", manifest, out}, "2 photographs, 0 left out\n");
    for (const char* name : {"templates.npy", "patches-01.npy", "features.npy"}) {
        const auto [first, second] = halvesOf(name);
        EXPECT_TRUE(first == second) << name;
    }
}

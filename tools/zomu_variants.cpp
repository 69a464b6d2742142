// zomu-variants: one face in many pictures, to try scores with.
#include <cstdint>
#include <filesystem>
#include <string>

#include "command_line/command_line.h"
#include "files/staged_files.h"
#include "sheets/face_changes.h"
#include "sheets/face_picture.h"

namespace {

constexpr int kJpegQuality = 40;

void savePair(const std::filesystem::path& folder, const std::string& name,
              const FacePicture& face) {
    savePng((folder / (name + ".png")).string(), face.picture);
    saveLandmarks((folder / (name + ".csv")).string(), face.landmarks);
}

FileNames namesOfFiles() {
    FileNames names = {"compressed.jpg", "compressed.csv"};
    for (const char* name : {"turned", "larger", "smaller", "darker", "noisy", "mirrored"}) {
        names.insert(std::string(name) + ".png");
        names.insert(std::string(name) + ".csv");
    }
    return names;
}

void writeVariants(const FacePicture& face, const std::filesystem::path& folder,
                   std::uint64_t seed) {
    createFolder(folder.string());
    StagedFiles files(folder, "zomu-variants", namesOfFiles());
    const std::filesystem::path& staged = files.path();
    savePair(staged, "turned", turned(face, 15.0));
    savePair(staged, "larger", scaled(face, 1.6));
    savePair(staged, "smaller", scaled(face, 0.7));
    savePair(staged, "darker", darkened(face, 0.6));
    savePair(staged, "noisy", withNoise(face, 14.0, seed));
    savePair(staged, "mirrored", mirrored(face));
    saveJpeg((staged / "compressed.jpg").string(), face.picture, kJpegQuality);
    saveLandmarks((staged / "compressed.csv").string(), face.landmarks);
    files.commit();
}

}  // namespace

int main(int argc, char** argv) {
    std::string picture;
    std::string landmarks;
    std::string folder;
    std::uint64_t seed = 16;
    bool isUnchecked = false;
    return runTool(
        "zomu-variants",
        "Writes changed copies of a face, each as a picture and its landmarks: turned, larger,\n"
        "smaller, darker, noisy, mirrored and compressed.",
        argc, argv,
        [&](Command& tool) {
            tool.addArgument("PICTURE", picture, "PNG or JPEG file");
            tool.addLandmarks(landmarks);
            tool.addArgument("OUTDIR", folder, "folder for the pictures, created if missing");
            tool.addOption("--seed", seed, "seed of the noise");
            tool.addUnchecked(isUnchecked);
        },
        [&] {
            const FacePicture face = loadFacePicture(picture, landmarks);
            if (!isUnchecked) {
                requireFace(face, landmarks);
            }
            writeVariants(face, folder, seed);
        });
}

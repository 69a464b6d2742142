// zomu-variants: one face in many pictures, to try scores with.
#include <cstdint>
#include <filesystem>
#include <string>

#include "command_line/command_line.h"
#include "sheets/face_changes.h"
#include "sheets/face_picture.h"

namespace {

constexpr int kJpegQuality = 40;

void savePair(const std::filesystem::path& folder, const std::string& name,
              const FacePicture& face) {
    savePng((folder / (name + ".png")).string(), face.picture);
    saveLandmarks((folder / (name + ".csv")).string(), face.landmarks);
}

void writeVariants(const FacePicture& face, const std::filesystem::path& folder,
                   std::uint64_t seed) {
    createFolder(folder.string());
    savePair(folder, "turned", turned(face, 15.0));
    savePair(folder, "larger", scaled(face, 1.6));
    savePair(folder, "smaller", scaled(face, 0.7));
    savePair(folder, "darker", darkened(face, 0.6));
    savePair(folder, "noisy", withNoise(face, 14.0, seed));
    savePair(folder, "mirrored", mirrored(face));
    saveJpeg((folder / "compressed.jpg").string(), face.picture, kJpegQuality);
    saveLandmarks((folder / "compressed.csv").string(), face.landmarks);
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
            tool.addArgument("LANDMARKS", landmarks, "CSV file with id,x,y");
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

// zomu-inspect: shows as pictures what the library makes of a face before the networks run.
#include <filesystem>
#include <stdexcept>
#include <string>

#include "command_line/command_line.h"
#include "files/staged_files.h"
#include "sheets/landmark_sheet.h"
#include "sheets/patch_sheet.h"

namespace {

void inspect(const std::string& picturePath, const std::string& landmarkPath,
             const std::filesystem::path& folder, bool isUnchecked) {
    const FacePicture face = loadFacePicture(picturePath, landmarkPath);
    if (face.picture.width < 2 || face.picture.height < 2) {
        throw std::runtime_error(picturePath + ": is smaller than 2 x 2 pixels");
    }
    createFolder(folder.string());
    const std::string name = std::filesystem::path(picturePath).filename().string();
    StagedFiles files(folder, "zomu-inspect", {"landmarks.png", "patches.png"});
    savePng((files.path() / "landmarks.png").string(),
            drawLandmarkSheet(face, "Landmarks of " + name));
    savePng((files.path() / "patches.png").string(), drawPatchSheet(face, "Patches of " + name));
    files.commit();
    // The sheets are there to show what is wrong.
    if (!isUnchecked) {
        requireFace(face, landmarkPath);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string picture;
    std::string landmarks;
    std::string folder;
    bool isUnchecked = false;
    return runTool(
        "zomu-inspect", "Draws what the library sees of a face: its landmarks and its 25 patches.",
        argc, argv,
        [&](Command& tool) {
            tool.addArgument("PICTURE", picture, "PNG or JPEG file");
            tool.addLandmarks(landmarks);
            tool.addArgument("OUTDIR", folder,
                             "folder for landmarks.png and patches.png, created if missing");
            tool.addUnchecked(isUnchecked);
        },
        [&] { inspect(picture, landmarks, folder, isUnchecked); });
}

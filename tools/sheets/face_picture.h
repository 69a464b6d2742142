// A picture with the landmarks of the face in it, from files and back. Failures are thrown as
// std::runtime_error with the text "<path>: <problem>".
#ifndef ZOMU_TOOLS_SHEETS_FACE_PICTURE_H
#define ZOMU_TOOLS_SHEETS_FACE_PICTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "zomu.h"
#include "zomu_check.h"

struct BgrPicture {
    int width, height;
    std::vector<std::uint8_t> pixels;  // blue, green, red; rows of 3 x width bytes

    const std::uint8_t* at(int x, int y) const { return pixels.data() + offset(x, y); }
    std::uint8_t* at(int x, int y) { return pixels.data() + offset(x, y); }

  private:
    std::size_t offset(int x, int y) const {
        return 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                    static_cast<std::size_t>(x));
    }
};

struct FacePicture {
    BgrPicture picture;
    LandmarkRecord landmarks;
};

BgrPicture blackPicture(int width, int height);

BgrPicture loadPicture(const std::string& path);
FacePicture loadFacePicture(const std::string& picturePath, const std::string& landmarkPath);

// Throws what zomu_check.h finds wrong with the landmarks, which are those of this file.
void requireFace(const FacePicture& face, const std::string& landmarkPath);

// What is to be extracted: the picture that begins near the face. The view points into both.
void viewNearFace(const FacePicture& face, ZomuFaceView& view);

void savePng(const std::string& path, const BgrPicture& picture);
void saveJpeg(const std::string& path, const BgrPicture& picture, int quality);
void saveLandmarks(const std::string& path, const LandmarkRecord& landmarks);

// Creates the folder and those above it, where they are missing.
void createFolder(const std::string& path);

#endif

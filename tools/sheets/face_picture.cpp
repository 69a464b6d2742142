#include "sheets/face_picture.h"

#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>

#include "landmark_file.h"
#include "picture_file.h"

namespace {

void check(bool good, const std::string& path, const Problem& problem) {
    if (!good) {
        throw std::runtime_error(path + ": " + problem.text);
    }
}

// The C side takes pixels it may not change by a pointer that is not const.
Picture borrow(const BgrPicture& picture) {
    return {picture.width, picture.height, 3 * picture.width,
            const_cast<std::uint8_t*>(picture.pixels.data())};
}

}  // namespace

BgrPicture blackPicture(int width, int height) {
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    return {width, height, std::vector<std::uint8_t>(3 * pixels)};
}

BgrPicture loadPicture(const std::string& path) {
    Picture picture;
    Problem problem;
    check(readPicture(path.c_str(), &picture, &problem), path, problem);
    const std::unique_ptr<Picture, decltype(&freePicture)> owner(&picture, freePicture);
    const std::size_t bytes =
        static_cast<std::size_t>(picture.stride) * static_cast<std::size_t>(picture.height);
    try {
        return {picture.width, picture.height, {picture.pixels, picture.pixels + bytes}};
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(path +
                                 ": does not fit into memory: " + std::to_string(picture.width) +
                                 " x " + std::to_string(picture.height) + " pixels; shrink it");
    }
}

FacePicture loadFacePicture(const std::string& picturePath, const std::string& landmarkPath) {
    FacePicture face = {loadPicture(picturePath), {}};
    Problem problem;
    check(readLandmarks(landmarkPath.c_str(), &face.landmarks, &problem), landmarkPath, problem);
    return face;
}

void requireFace(const FacePicture& face, const std::string& landmarkPath) {
    ZomuLandmarkReport report;
    if (ZomuCheckLandmarks(&face.landmarks, face.picture.width, face.picture.height, &report) !=
        ZOMU_LANDMARKS_GOOD) {
        throw std::runtime_error(landmarkPath + ": " + report.text);
    }
}

void viewNearFace(const FacePicture& face, ZomuFaceView& view) {
    ZomuNearFace(face.picture.pixels.data(), face.picture.width, face.picture.height,
                 3 * face.picture.width, &face.landmarks, &view);
}

void savePng(const std::string& path, const BgrPicture& picture) {
    const Picture borrowed = borrow(picture);
    Problem problem;
    check(writePng(path.c_str(), &borrowed, &problem), path, problem);
}

void saveJpeg(const std::string& path, const BgrPicture& picture, int quality) {
    const Picture borrowed = borrow(picture);
    Problem problem;
    check(writeJpeg(path.c_str(), &borrowed, quality, &problem), path, problem);
}

void saveLandmarks(const std::string& path, const LandmarkRecord& landmarks) {
    Problem problem;
    check(writeLandmarks(path.c_str(), &landmarks, &problem), path, problem);
}

void createFolder(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error || !std::filesystem::is_directory(path, error)) {
        throw std::runtime_error(path + ": cannot be created" +
                                 (error ? ": " + error.message() : ""));
    }
}

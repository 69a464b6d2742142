// A host in C++ with the shared library and zomu.hpp alone: writes the template of a face to a file.
#include <cstdio>
#include <exception>

#include "sheets/face_picture.h"
#include "zomu.hpp"

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    try {
        const FacePicture face = loadFacePicture(argv[1], argv[2]);
        const ZomuPixels pixels = {face.picture.pixels.data(), face.picture.width,
                                   face.picture.height, 3 * face.picture.width};
        ZomuExtractor().extract(pixels, face.landmarks).save(argv[3]);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
    return 0;
}

#include "picture_library.h"

bool ZomuReadPicture(const char* path, Picture* picture, Problem* problem) {
    return readPicture(path, picture, problem);
}

void ZomuFreePicture(Picture* picture) {
    freePicture(picture);
}

/* The functions of the shared library ZOMUpictures: readPicture and freePicture, by names for everybody's
 * process. It is made for the Python package, which declares them a second time; other hosts compile
 * picture_file.c and what it needs. */
#ifndef ZOMU_PICTURES_PICTURE_LIBRARY_H
#define ZOMU_PICTURES_PICTURE_LIBRARY_H

#include <stdbool.h>

#include "file_bytes.h"
#include "picture_file.h"
#include "zomu.h"

ZOMU_API bool ZomuReadPicture(const char* path, Picture* picture, Problem* problem);

ZOMU_API void ZomuFreePicture(Picture* picture);

#endif

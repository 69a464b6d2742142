/* PNG files: their pixels and their chunks. */
#ifndef ZOMU_PICTURES_PNG_FILE_H
#define ZOMU_PICTURES_PNG_FILE_H

#include <stdbool.h>

#include "file_bytes.h"
#include "picture_file.h"

/* The picture as stored, blue, green, red. Where it fails, `picture` may hold pixels: release them. */
bool decodePng(const FileBytes* file, Picture* picture, Problem* problem);

/* EXIF's orientation from the first eXIf chunk whose checksum is right, 1 where there is none. */
int pngOrientation(const FileBytes* file);

#endif

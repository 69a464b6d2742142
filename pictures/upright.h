/* Pictures that were taken with the camera on its side, and the EXIF mark that says so. */
#ifndef ZOMU_PICTURES_UPRIGHT_H
#define ZOMU_PICTURES_UPRIGHT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "file_bytes.h"
#include "picture_file.h"

/* EXIF's orientation, 1 to 8, from a block that begins with its byte order. 1, as stored, where the
 * block is damaged, larger than 1 MiB or says nothing; also for a null pointer. */
int exifOrientation(const uint8_t* exif, size_t size);

/* The same from the first eXIf chunk of a PNG file. */
int pngOrientation(const FileBytes* file);

/* Turns and mirrors a picture with packed rows so that its first row is at the top and its first column
 * at the left. For the moment of turning, the picture is in memory twice. */
bool turnUpright(int orientation, Picture* picture, Problem* problem);

#endif

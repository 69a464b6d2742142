/* PNG and JPEG files to and from the pixels that the library takes: blue, green, red. */
#ifndef ZOMU_PICTURES_PICTURE_FILE_H
#define ZOMU_PICTURES_PICTURE_FILE_H

#include <stdbool.h>
#include <stdint.h>

#include "file_bytes.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct Picture {
    int32_t width;
    int32_t height;
    int32_t stride;  /* bytes from row to row */
    uint8_t* pixels; /* blue, green, red; from readPicture: malloc's, rows packed */
} Picture;

/* Larger pictures are refused before memory is taken for them. */
#define PICTURE_PIXEL_LIMIT (1 << 28)

/* Reads a PNG or JPEG file; its first bytes decide which, not its name. Grey, palette and 16-bit
 * pictures become 8-bit colour, transparent parts lie on white. A damaged or cut-off file is
 * refused as a whole, and so is a JPEG file of more than 100 scans. A picture is turned upright as its
 * EXIF orientation says; where there is none, or the mark is damaged, it is taken as stored. On failure
 * `picture` is empty. */
bool readPicture(const char* path, Picture* picture, Problem* problem);

bool writePng(const char* path, const Picture* picture, Problem* problem);

/* `quality` runs from 1 to 100. Colour is stored at half resolution, as cameras do. */
bool writeJpeg(const char* path, const Picture* picture, int quality, Problem* problem);

/* For what readPicture gave; empty pictures have no effect. */
void freePicture(Picture* picture);

#ifdef __cplusplus
}
#endif

#endif

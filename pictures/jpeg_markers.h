/* What the markers of a JPEG file say before anything of it is decoded. */
#ifndef ZOMU_PICTURES_JPEG_MARKERS_H
#define ZOMU_PICTURES_JPEG_MARKERS_H

#include <stddef.h>
#include <stdint.h>

#include "file_bytes.h"

typedef struct JpegMarkers {
    int scans;           /* up to the end of the picture, or to where the markers make no sense */
    const uint8_t* exif; /* the first EXIF block before the pixels, inside the file; null: none */
    size_t exifSize;
} JpegMarkers;

/* Looks at each byte once and reads none outside the file. */
JpegMarkers readJpegMarkers(const FileBytes* file);

#endif

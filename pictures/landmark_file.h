/* Landmarks as text: one `id,x,y` a line, in pixels of the picture they belong to. */
#ifndef ZOMU_PICTURES_LANDMARK_FILE_H
#define ZOMU_PICTURES_LANDMARK_FILE_H

#include <stdbool.h>

#include "file_bytes.h"
#include "zomu.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads one face, in the order of the lines. A first line `id,x,y` may be there; blank lines,
 * blanks around values and CR LF are accepted. Every id must be one of the library's 29 and appear
 * once; only the four at the sides of the head (240, 241, 315, 316) may be missing. Numbers are
 * decimal with a point, whatever the locale. A problem names its line. */
bool readLandmarks(const char* path, LandmarkRecord* landmarks, Problem* problem);

/* Writes the header and every entry, with enough digits for reading to give the same floats. At
 * most ZOMU_LANDMARK_COUNT entries. */
bool writeLandmarks(const char* path, const LandmarkRecord* landmarks, Problem* problem);

#ifdef __cplusplus
}
#endif

#endif

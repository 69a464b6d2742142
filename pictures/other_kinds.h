/* Names of the kinds of files that are taken for photographs and are neither PNG nor JPEG. */
#ifndef ZOMU_PICTURES_OTHER_KINDS_H
#define ZOMU_PICTURES_OTHER_KINDS_H

#include "file_bytes.h"

/* By the first bytes: "GIF", "HEIC" and the like; null where they are those of none. */
const char* nameOfOtherKind(const FileBytes* file);

#endif

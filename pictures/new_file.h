/* Files that appear complete or not at all. Whatever is written to disk goes through here. */
#ifndef ZOMU_PICTURES_NEW_FILE_H
#define ZOMU_PICTURES_NEW_FILE_H

#include <stdbool.h>
#include <stdio.h>

#include "file_bytes.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Its bytes go to a file beside the target, under a name of chance that nothing has yet; one renaming
 * puts it in place. A former file stays as it was until then, and hands on its permissions. */
typedef struct NewFile {
    FILE* stream; /* to write to; its position may be changed */
    char* path;   /* the target */
    char* beside; /* null once nothing is left to remove */
} NewFile;

/* The target is absent or a regular file. A symbolic link is refused and not followed, whatever is
 * behind it; so are folders, pipes and devices, /dev/stdout among them. Where it fails, there is
 * nothing to end. */
bool beginNewFile(const char* path, NewFile* file, Problem* problem);

/* Looks at the target once more and puts the file in place. Ends the file: where it fails, as on a
 * full disk, nothing is left of it. */
bool finishNewFile(NewFile* file, Problem* problem);

/* Whether beginNewFile would take the target. */
bool isPlaceForFile(const char* path, Problem* problem);

/* Puts a finished file in place, as finishNewFile does. */
bool moveFile(const char* from, const char* path, Problem* problem);

/* Fills in `problem` after a write that failed, from errno. Returns false. */
bool failWriting(Problem* problem);

/* Removes what was written. No effect on a file that has ended. */
void discardNewFile(NewFile* file);

#ifdef __cplusplus
}
#endif

#endif

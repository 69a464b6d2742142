// Opens the files of the model folder, and reports those that cannot be opened.
#ifndef ZOMU_MODEL_MODEL_FILE_H
#define ZOMU_MODEL_MODEL_FILE_H

#include "platform/regular_file.h"

// Opens `path`. If that fails, or if it is no regular file, prints "load <path> failed" to standard
// output and returns false.
bool openModelFile(RegularFile& file, const char* path);

// Prints the line alone, for a caller that already knows that `path` cannot be opened.
void reportUnopenedFile(const char* path);

#endif

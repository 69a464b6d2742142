// Opening the files of the model folder, with the one line that tells of a failure.
#ifndef ZOMU_MODEL_MODEL_FILE_H
#define ZOMU_MODEL_MODEL_FILE_H

#include <fstream>
#include <string>

// Opens `path` for binary reading and clears the stream's state. Where that fails, puts "load
// <path> failed" on standard output, flushes it and returns false. A folder cannot be opened,
// although some systems let it.
bool openModelFile(std::ifstream& stream, const std::string& path);

// The line alone, for a caller that knows already that `path` cannot be opened.
void reportUnopenedFile(const char* path);

#endif

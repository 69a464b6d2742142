// Opens the files of the model folder, and reports those that cannot be opened.
#ifndef ZOMU_MODEL_MODEL_FILE_H
#define ZOMU_MODEL_MODEL_FILE_H

#include <fstream>
#include <string>

// Opens `path` for binary reading and clears the stream's state. If that fails, prints "load <path>
// failed" to standard output, flushes it and returns false. A folder fails too, although some
// systems allow opening one.
bool openModelFile(std::ifstream& stream, const std::string& path);

// Prints the line alone, for a caller that already knows that `path` cannot be opened.
void reportUnopenedFile(const char* path);

#endif

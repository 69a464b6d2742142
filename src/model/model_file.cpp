#include "model/model_file.h"

#include "platform/host_output.h"

bool openModelFile(RegularFile& file, const char* path) {
    if (file.open(path)) {
        return true;
    }
    reportUnopenedFile(path);
    return false;
}

void reportUnopenedFile(const char* path) {
    printLine("load ", path, " failed");
}

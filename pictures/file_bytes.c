#include "file_bytes.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "new_file.h"

bool fail(Problem* problem, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(problem->text, sizeof problem->text, format, arguments);
    va_end(arguments);
    return false;
}

/* One byte more than the limit is asked for, which tells a full file from one that is too long. */
static bool readStream(FILE* stream, size_t limit, FileBytes* bytes, Problem* problem) {
    size_t room = 0;
    for (;;) {
        if (bytes->size == room) {
            room = room < 32768 ? 65536 : room * 2;
            if (room > limit + 1) {
                room = limit + 1;
            }
            uint8_t* grown = realloc(bytes->data, room);
            if (grown == NULL) {
                return fail(problem, "cannot be read: out of memory");
            }
            bytes->data = grown;
        }
        const size_t got = fread(bytes->data + bytes->size, 1, room - bytes->size, stream);
        if (got == 0) {
            break;
        }
        bytes->size += got;
        if (bytes->size > limit) {
            return fail(problem, "is larger than %zu bytes", limit);
        }
    }
    if (ferror(stream)) {
        return fail(problem, "cannot be read: %s", strerror(errno));
    }
    return true;
}

bool readFile(const char* path, size_t limit, FileBytes* bytes, Problem* problem) {
    bytes->data = NULL;
    bytes->size = 0;
    FILE* stream = fopen(path, "rb");
    if (stream == NULL) {
        return fail(problem, "cannot be opened: %s", strerror(errno));
    }
    const bool good = readStream(stream, limit, bytes, problem);
    fclose(stream);
    if (!good) {
        freeFileBytes(bytes);
    }
    return good;
}

bool writeFile(const char* path, const void* data, size_t size, Problem* problem) {
    NewFile file;
    if (!beginNewFile(path, &file, problem)) {
        return false;
    }
    /* No bytes may have no place. */
    if (size > 0 && fwrite(data, 1, size, file.stream) != size) {
        failWriting(problem);
        discardNewFile(&file);
        return false;
    }
    return finishNewFile(&file, problem);
}

void freeFileBytes(FileBytes* bytes) {
    free(bytes->data);
    bytes->data = NULL;
    bytes->size = 0;
}

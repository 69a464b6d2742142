/* Whole files in and out of memory, and the one sentence that says why it did not work. */
#ifndef ZOMU_PICTURES_FILE_BYTES_H
#define ZOMU_PICTURES_FILE_BYTES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What went wrong, for people: no line end, no full stop, and no path, which the caller knows. */
typedef struct Problem {
    char text[256];
} Problem;

/* Fills in `problem` as printf would; a text that is too long is cut. Returns false, so that a
 * function can end with it. */
#if defined(__MINGW32__)
__attribute__((format(gnu_printf, 2, 3)))
#elif defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
bool fail(Problem* problem, const char* format, ...);

typedef struct FileBytes {
    uint8_t* data; /* from malloc; null only before readFile and after freeFileBytes */
    size_t size;
} FileBytes;

/* Reads all of a file, which may be a pipe. More than `limit` bytes are an error. */
bool readFile(const char* path, size_t limit, FileBytes* bytes, Problem* problem);

/* Creates or replaces a regular file, see new_file.h. */
bool writeFile(const char* path, const void* data, size_t size, Problem* problem);

void freeFileBytes(FileBytes* bytes);

#ifdef __cplusplus
}
#endif

#endif

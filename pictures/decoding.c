#include "decoding.h"

#include <stdlib.h>
#include <string.h>

bool allocatePixels(int64_t width, int64_t height, Picture* picture, Problem* problem) {
    if (width > PICTURE_PIXEL_LIMIT / height) {
        return fail(problem, "is too large: %lld x %lld pixels; shrink it to at most %d million",
                    (long long)width, (long long)height, PICTURE_PIXEL_LIMIT / 1000000);
    }
    picture->width = (int32_t)width;
    picture->height = (int32_t)height;
    picture->stride = 3 * picture->width;
    picture->pixels = malloc((size_t)picture->stride * (size_t)height);
    if (picture->pixels == NULL) {
        return fail(problem, "does not fit into memory: %lld x %lld pixels; shrink it",
                    (long long)width, (long long)height);
    }
    return true;
}

/* The decoders say "Insufficient memory" and "out of memory" where the file is none the worse. */
bool failDecoding(Problem* problem, const char* kind, const char* reason) {
    return strstr(reason, "memory") != NULL
               ? fail(problem, "does not fit into memory: %s; shrink it", reason)
               : fail(problem, "is a damaged %s: %s; take another copy", kind, reason);
}
